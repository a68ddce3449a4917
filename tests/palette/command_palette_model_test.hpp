#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "palette/command_palette_model.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {

/// An account, a workspace, a pinned view, an issue and two pull requests.
inline constexpr const char* kServices = R"sql(
INSERT INTO integration (id, uuid, kind, created_at, host, username)
  VALUES (1, x'00000000000000000000000000000001', 'github', 1, 'github.com', 'octocat');
INSERT INTO integration (id, uuid, kind, created_at, workspace_url_key, workspace_name, user_email)
  VALUES (2, x'00000000000000000000000000000002', 'linear', 2, 'acme', 'Acme Works', 'me@acme.example');
INSERT INTO pinned_item (uuid, kind, integration_id, sidebar_order, created_at, team_key, team_name, sort_order_string)
  VALUES (x'00000000000000000000000000000003', 'linearIssues', 2, 0, 1, 'ENG', 'Engineering', 'priority');
INSERT INTO linear_issue (id, integration_id, issue_id, identifier, title, state_name, state_color_hex, state_type_raw,
  priority, priority_label, team_key, team_name, url, created_at, updated_at)
  VALUES (7, 2, 'i7', 'ENG-7', 'Mend the reader', 'Todo', '#fff', 'unstarted', 0, '', 'ENG', 'Engineering', 'u', 1, 1);
INSERT INTO github_pull_request (id, integration_id, node_id, number, title, url, is_draft, merged, closed,
  repository_name, involvement, rank, synced_at, asked_at)
  VALUES (4, 1, 'n4', 12, 'Read lines', 'u4', 0, 0, 0, 'octo/tools', 1, 0, 1, 1),
         (5, 1, 'n5', 13, 'Merged long ago', 'u5', 0, 1, 1, 'octo/tools', 1, 1, 1, 1);
)sql";

/// A palette of a window, above a store.
class PaletteTest : public testing::Test, public WindowState::Face, public CommandPaletteModel::Observer {
 protected:
  PaletteTest() {
    await([this]() -> awaitable<void> {
      feed = co_await store.container->changeFeed()->subscribe(loop.get_executor());
    }());
    asio::co_spawn(loop, hand(feed), [](std::exception_ptr) {});
  }
  ~PaletteTest() override {
    palette = nullptr;
    feed->end();
    run(window->close(), loop);
  }

  awaitable<void> hand(std::shared_ptr<ChangeSubscription> from) {
    while (const auto batch = co_await from->next()) {
      ++batches;
      if (palette) palette->take(*batch);
    }
  }

  void windowChanged() override {}
  void perform(WindowCommand command) override { performed.emplace_back(description(command).name); }
  bool canPerform(WindowCommand command) const override { return command != WindowCommand::archive; }
  void paletteChanged() override { ++changes; }

  void configure(CommandPaletteOptions options) {
    if (palette) palette->close();
    options.interface = loop.get_executor();
    palette = std::make_shared<CommandPaletteModel>(std::move(options));
    palette->configure(window, store.container, [this] { performed.emplace_back("openSettings"); });
    palette->setObserver(this);
  }
  /// The loop is never empty: the feed is waited for.
  void await(awaitable<void> operation) {
    bool isDone = false;
    std::exception_ptr error;
    asio::co_spawn(loop, std::move(operation), [&](std::exception_ptr thrown) {
      error = thrown;
      isDone = true;
    });
    loop.restart();
    while (!isDone) loop.run_one();
    if (error) std::rethrow_exception(error);
  }
  void awaitChange() {
    loop.restart();
    for (const int before = changes; changes == before;) loop.run_one();
  }
  void open() { await(palette->open()); }

  std::vector<std::string> ids(const std::string& title) const {
    std::vector<std::string> found;
    for (const CommandPaletteSection& section : palette->sections()) {
      if (section.title != title) continue;
      for (const CommandPaletteItem& item : section.items) found.push_back(item.id);
    }
    return found;
  }
  std::vector<std::string> titles() const {
    std::vector<std::string> found;
    for (const CommandPaletteSection& section : palette->sections()) found.push_back(section.title);
    return found;
  }
  CommandPaletteItem itemWithID(const std::string& id) const {
    for (const CommandPaletteSection& section : palette->sections()) {
      for (const CommandPaletteItem& item : section.items) {
        if (item.id == id) return item;
      }
    }
    throw std::logic_error("no item " + id);
  }
  void execute(const std::string& id) { await(palette->execute(itemWithID(id))); }

  ConversationId addConversation(const std::string& title) {
    const auto id = run(store.conversations->createConversation(project, std::nullopt)).value();
    if (!title.empty()) run(store.conversations->renameConversation(id, title));
    return id;
  }

  TemporaryFolder folder;
  OpenStore store{folder.path(), std::chrono::seconds(1)};
  asio::io_context loop;
  std::shared_ptr<WindowState> window = std::make_shared<WindowState>("main", loop.get_executor(), *this);
  std::shared_ptr<CommandPaletteModel> palette;
  std::vector<std::string> performed;
  std::shared_ptr<ChangeSubscription> feed;
  int batches = 0;
  int changes = 0;
  ProjectId project = run(store.projects->create("/home/user/api", "api")).id;
};

}  // namespace ravant::test
