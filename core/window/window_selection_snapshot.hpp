#pragma once

#include <optional>
#include <utility>

#include "core/window/window_models.hpp"
#include "core/window/window_navigation_history.hpp"
#include "core/window/window_selection.hpp"

namespace ravant {

/// A window's selection as it is kept from one start of the program to the next.
struct WindowSelectionSnapshot {
  using Content = ContentSelection;
  using Detail = DetailSelection;

  WindowSelectionSnapshot() = default;
  WindowSelectionSnapshot(std::optional<Content> shownContent, std::optional<Detail> shownDetail)
      : content(std::move(shownContent)), detail(std::move(shownDetail)) {}
  explicit WindowSelectionSnapshot(const WindowNavigationHistory::Snapshot& live)
      : WindowSelectionSnapshot(live.content, live.detail) {}

  /// The selection without what is no longer in the store.
  WindowNavigationHistory::Snapshot resolve(WindowModels& in) const;

  /// The id, where the store has the entity.
  template <class EntityId>
  static std::optional<EntityId> model(const EntityId& id, WindowModels& in) {
    return in.contains(id) ? std::optional(id) : std::nullopt;
  }

  std::optional<Content> content;
  std::optional<Detail> detail;

  bool operator==(const WindowSelectionSnapshot&) const = default;
};

}  // namespace ravant
