#include "desktop/window/store_opening.hpp"

#include <QCoreApplication>
#include <QQuickWindow>
#include <QScopeGuard>
#include <chrono>
#include <future>

#include "desktop/window/window_engine.hpp"

namespace ravant::desktop {
namespace {

/// What opens sooner shows no window of its own, which would only flicker.
constexpr std::chrono::milliseconds kUntilTold(300);

}  // namespace

std::unique_ptr<Application> openStore(const Locations& locations, const std::function<void()>& dress) {
  QObject waiting;
  auto opening = std::async(std::launch::async, [&] {
    const auto over = qScopeGuard(
        [&] { QMetaObject::invokeMethod(&waiting, [] { QCoreApplication::exit(); }, Qt::QueuedConnection); });
    return Application::open(locations);
  });
  if (opening.wait_for(kUntilTold) == std::future_status::ready) return opening.get();

  dress();
  bool isLeft = false;
  WindowEngine engine;
  if (QQuickWindow* const window = engine.load(QStringLiteral("Opening.qml"), {})) {
    QObject::connect(window, &QWindow::visibleChanged, &waiting, [&](bool isVisible) { isLeft = !isVisible; });
  }
  QCoreApplication::exec();
  auto application = opening.get();
  return isLeft ? nullptr : std::move(application);
}

}  // namespace ravant::desktop
