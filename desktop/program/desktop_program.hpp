#pragma once

#include <memory>

#include "app/application.hpp"
#include "app/locations.hpp"
#include "app/prompt_queue.hpp"
#include "desktop/program/desktop_window.hpp"
#include "desktop/program/store_changes.hpp"

namespace ravant::desktop {

/// The core as this face holds it: from the opened store to its orderly end.
///
/// Made behind the `InterfaceLoop` and destroyed before it, after everything that QML made. On the interface thread.
class DesktopProgram {
 public:
  explicit DesktopProgram(std::unique_ptr<Application> application);
  /// Blocks. Throws what `Application::open` throws.
  explicit DesktopProgram(const Locations& locations) : DesktopProgram(Application::open(locations)) {}
  ~DesktopProgram();
  DesktopProgram(const DesktopProgram&) = delete;
  DesktopProgram& operator=(const DesktopProgram&) = delete;

  Application& application() { return *application_; }
  StoreChanges& changes() { return changes_; }
  DesktopWindow& window() { return *window_; }
  PromptQueue& queue() { return queue_; }

  /// Follows the store, shows what was shown last, and does what is done beside the user's work, until
  /// `OrderlyEnd::ended`.
  void begin();

 private:
  awaitable<void> prepare();

  std::unique_ptr<Application> application_;
  StoreChanges changes_;
  std::unique_ptr<DesktopWindow> window_;
  PromptQueue queue_;
};

}  // namespace ravant::desktop
