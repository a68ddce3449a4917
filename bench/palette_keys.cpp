// palette_keys FOLDER LIST ROUNDS QUERY...: adds a conversation for each line of the list to a store, opens a palette
// on it and types each query, a key after another. Prints, for each query as far as it was typed, nothing first, the
// seconds of processor time that the key took, the shortest of the rounds, and how many conversations were found with
// no limit of a section.

#include <fmt/format.h>

#include <boost/asio/io_context.hpp>
#include <ctime>
#include <fstream>
#include <map>

#include "bench/open_store.hpp"
#include "palette/command_palette_model.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::bench {
namespace {

double processorSeconds() {
  timespec time;
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// In one transaction: the store's own operations would wait for the disk at each.
void addConversations(const ModelContainer& container, const char* list) {
  sqlite::Database database = container.connect();
  sqlite::Transaction transaction(database);
  database.execute(
      "INSERT INTO project (uuid, path, name, created_at, expanded_in_sidebar, sidebar_order) "
      "VALUES (randomblob(16), '/tmp', 'bench', 0, 1, 0)");
  auto insert = database.prepare(
      "INSERT INTO conversation (uuid, project_id, created_at, last_activity_at, last_prompt_at, archived, title) "
      "VALUES (randomblob(16), 1, ?1, ?1, ?1, 0, ?2)");
  std::ifstream lines(list);
  std::int64_t number = 0;
  for (std::string line; std::getline(lines, line);) insert.run(++number, line);
  transaction.commit();
}

struct Key {
  double seconds;
  std::size_t found;
};

std::map<std::string, Key> typed(CommandPaletteModel& palette, const std::string& query) {
  std::map<std::string, Key> keys;
  std::string text;
  for (bool isTyped = false; !isTyped; text += firstCharacters(std::string_view(query).substr(text.size()), 1)) {
    isTyped = text.size() == query.size();
    const double start = processorSeconds();
    palette.setQuery(text);
    keys[text] = {.seconds = processorSeconds() - start, .found = 0};
  }
  return keys;
}

std::shared_ptr<CommandPaletteModel> openPalette(OpenStore& store, asio::io_context& loop, std::size_t sectionItems) {
  auto palette = std::make_shared<CommandPaletteModel>(
      CommandPaletteOptions{.interface = loop.get_executor(), .sectionItems = sectionItems});
  palette->configure(nullptr, store.container, {});
  asio::co_spawn(loop, palette->open(), [&](std::exception_ptr error) {
    if (error) std::rethrow_exception(error);
    loop.stop();
  });
  loop.restart();
  loop.run();
  return palette;
}

}  // namespace
}  // namespace ravant::bench

int main(int count, char** arguments) {
  using namespace ravant;
  using namespace ravant::bench;
  OpenStore store(arguments[1]);
  addConversations(*store.container, arguments[2]);
  asio::io_context loop;
  const auto palette = openPalette(store, loop, 8);
  const auto whole = openPalette(store, loop, 1'000'000);
  for (int query = 4; query < count; ++query) {
    std::map<std::string, Key> best;
    for (int round = 0; round < std::stoi(arguments[3]); ++round) {
      for (const auto& [text, key] : typed(*palette, arguments[query])) {
        const auto [known, isNew] = best.emplace(text, key);
        if (!isNew) known->second.seconds = std::min(known->second.seconds, key.seconds);
      }
    }
    for (auto& [text, key] : best) {
      whole->setQuery(text);
      for (const CommandPaletteSection& section : whole->sections()) {
        if (section.title == "Conversations") key.found = section.items.size();
      }
      fmt::print("{}\t{}\t{}\n", text, key.seconds, key.found);
    }
  }
  palette->close();
  whole->close();
  loop.restart();
  loop.run();
}
