#include "desktop/sidebar/recent_conversations.hpp"

#include <algorithm>
#include <map>

namespace ravant::desktop {
namespace {

constexpr std::size_t kMost = 9;

}  // namespace

RecentConversations::RecentConversations() {
  connect(&DesktopWindow::instance(), &DesktopWindow::selectionChanged, this, &RecentConversations::note);
  note();
}

void RecentConversations::note() {
  if (const auto shown = DesktopWindow::instance().shownConversation()) {
    std::erase(shown_, *shown);
    shown_.push_front(*shown);
  }
  refresh();
}

std::vector<SidebarRow> RecentConversations::wantedRows() const {
  std::vector<ConversationRoster::Listed> recent;
  const auto add = [&](const ConversationRoster::Listed& conversation) {
    const bool isIn = std::ranges::find(recent, conversation) != recent.end();
    if (recent.size() < kMost && !isIn && !conversation->archived) recent.push_back(conversation);
  };
  for (const ConversationId id : shown_) {
    if (const auto conversation = roster()->conversation(id)) add(conversation);
  }
  for (const auto& conversation : roster()->conversations()) {
    if (recent.size() == kMost) break;
    add(conversation);
  }
  std::vector<SidebarRow> rows;
  for (const auto& conversation : recent) {
    const auto* project = roster()->project(conversation->project);
    rows.push_back({.kind = SidebarRow::Kind::conversation,
                    .project = conversation->project,
                    .conversation = conversation,
                    .note = project ? QString::fromStdString(project->name) : QString(),
                    .state = conversation->state});
  }
  return rows;
}

void RecentConversations::open(int row) {
  const SidebarRow* const opened = rowAt(row);
  if (!opened) return;
  WindowState& state = DesktopWindow::instance().state();
  if (state.selection().content) {
    DesktopWindow::instance().openConversation(textOf(opened->conversation->id), textOf(opened->project));
  } else {
    state.setSelection(std::nullopt, opened->conversation->id);
  }
}

}  // namespace ravant::desktop
