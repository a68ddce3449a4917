#pragma once

#include <deque>

#include "desktop/sidebar/sidebar_rows.hpp"

namespace ravant::desktop {

/// The conversations that this window showed, the last one first, and behind them the latest of all.
class RecentConversations : public ravant::desktop::SidebarRows {
  Q_OBJECT
  QML_ELEMENT

 public:
  RecentConversations();

  Q_INVOKABLE void open(int row);

 private:
  std::vector<SidebarRow> wantedRows() const override;
  void note();

  std::deque<ConversationId> shown_;  ///< the last one first
};

}  // namespace ravant::desktop
