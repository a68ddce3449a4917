#pragma once

#include <fmt/format.h>
#include <time.h>

#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>
#include <chrono>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string_view>

#include "desktop/program/desktop_program.hpp"
#include "desktop/theme/theme.hpp"
#include "desktop/window/window_engine.hpp"
#include "desktop/window/window_placement.hpp"

namespace ravant::bench {

using std::chrono::steady_clock;

inline double milliseconds(steady_clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

/// Of all threads of this process, in milliseconds.
inline double processorTime() {
  timespec used{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

inline void print(std::string_view name, double figure) {
  fmt::print("{}\t{:.2f}\n", name, figure);
  std::fflush(stdout);
}

inline void runFor(std::chrono::milliseconds time) {
  QEventLoop loop;
  QTimer::singleShot(time, &loop, &QEventLoop::quit);
  loop.exec();
}

/// Throws after `limit`.
inline void runUntil(const std::function<bool()>& condition, std::chrono::seconds limit = std::chrono::seconds(60)) {
  const auto deadline = steady_clock::now() + limit;
  while (!condition()) {
    if (steady_clock::now() > deadline) throw std::runtime_error("what was measured did not come in time");
    QTimer::singleShot(1, [] {});
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
}

/// Qt without a display, and the loop that the core is given.
class Face {
 public:
  Face(int& argc, char** argv) : application_((withoutDisplay(), argc), argv), theme_(scheme_) {}

  desktop::Theme& theme() { return theme_; }

 private:
  static void withoutDisplay() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
  }

  QGuiApplication application_;
  desktop::ColorScheme scheme_;
  desktop::Theme theme_;
  desktop::InterfaceLoop loop_;
};

/// The store of a folder as the desktop program has it open, in its window or without one, until the orderly end.
class ShownStore {
 public:
  enum class Window { shown, none };

  ShownStore(Face& face, const std::filesystem::path& folder, Window window)
      : program_({.dataFolder = folder, .settingsFile = folder / "settings.json"}), placement_(face.theme()) {
    program_.begin();
    if (window == Window::none) return;
    window_ = engine_.emplace().load(QStringLiteral("Main.qml"),
                                     {{QStringLiteral("placement"), QVariant::fromValue(&placement_)}});
    if (!window_) throw std::runtime_error("the window cannot be made");
    QObject::connect(window_, &QQuickWindow::frameSwapped, window_, [this] { ++frames_; });
  }
  ~ShownStore() {
    desktop::OrderlyEnd* const end = program_.window().end();
    end->stopAndQuit();
    runUntil([&] { return end->state() == desktop::OrderlyEnd::State::Ended; });
  }
  ShownStore(const ShownStore&) = delete;
  ShownStore& operator=(const ShownStore&) = delete;

  desktop::DesktopProgram& program() { return program_; }
  QQuickWindow& window() { return *window_; }
  /// That were drawn so far.
  int frames() const { return frames_; }

  void awaitFrame() {
    const int before = frames_;
    window_->update();
    runUntil([&] { return frames_ > before; });
  }

 private:
  desktop::DesktopProgram program_;
  desktop::WindowPlacement placement_;
  std::optional<desktop::WindowEngine> engine_;
  QQuickWindow* window_ = nullptr;
  int frames_ = 0;
};

}  // namespace ravant::bench
