#include "desktop/window/region_ring.hpp"

#include <QQuickWindow>
#include <algorithm>

namespace ravant::desktop {
namespace {

bool holdsFocus(const QQuickItem* region) {
  const QQuickItem* const focused = region->window() ? region->window()->activeFocusItem() : nullptr;
  return focused && (focused == region || region->isAncestorOf(focused));
}

/// False where nothing in the region takes the focus.
bool focus(QQuickItem* region, Qt::FocusReason reason) {
  region->forceActiveFocus(reason);
  QQuickItem* const focused = region->window()->activeFocusItem();
  if (focused != region && holdsFocus(region) && focused->isVisible()) return true;
  QQuickItem* const first = region->nextItemInFocusChain(true);
  if (!first || !region->isAncestorOf(first)) return false;
  first->forceActiveFocus(reason);
  return true;
}

}  // namespace

void RegionRing::enter(QQuickItem* region) {
  if (region && region->window()) focus(region, Qt::OtherFocusReason);
}

void RegionRing::step(int by) {
  QList<QQuickItem*> shown;
  std::ranges::copy_if(regions_, std::back_inserter(shown),
                       [](const QQuickItem* region) { return region->isVisible() && region->window(); });
  if (shown.isEmpty()) return;
  const auto count = shown.size();
  const auto present = std::ranges::find_if(shown, holdsFocus) - shown.begin();
  // From outside of all of them, forward is to the first and backward to the last.
  const auto from = present < count ? present : by > 0 ? count - 1 : 0;
  for (qsizetype steps = 1; steps <= count; ++steps) {
    QQuickItem* const region = shown[(from + by * steps + count * steps) % count];
    if (focus(region, by > 0 ? Qt::TabFocusReason : Qt::BacktabFocusReason)) return;
  }
}

}  // namespace ravant::desktop
