#include "desktop/loop/interface_loop.hpp"

#include <QEventLoop>
#include <exception>

#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "InterfaceLoop");

InterfaceLoop* theLoop = nullptr;

}  // namespace

InterfaceLoop::InterfaceLoop() { theLoop = this; }

InterfaceLoop::~InterfaceLoop() {
  theLoop = nullptr;
  shutdown();
  destroy();
}

InterfaceLoop& InterfaceLoop::instance() {
  Q_ASSERT(theLoop);
  return *theLoop;
}

any_io_executor InterfaceLoop::executor() noexcept { return Executor{this}; }

void InterfaceLoop::spawn(awaitable<void> operation) {
  ++running_;
  asio::co_spawn(executor(), std::move(operation), [this](const std::exception_ptr& error) {
    if (--running_ == 0) Q_EMIT becameIdle();
    if (!error) return;
    try {
      std::rethrow_exception(error);
    } catch (const std::exception& thrown) {
      kLog.error("{}", thrown.what());
      Q_EMIT failed(QString::fromUtf8(thrown.what()));
    }
  });
}

void InterfaceLoop::drain() {
  if (isIdle()) return;
  QEventLoop rest;
  connect(this, &InterfaceLoop::becameIdle, &rest, &QEventLoop::quit);
  rest.exec();
}

QEvent::Type InterfaceLoop::Work::kind() {
  static const int registered = QEvent::registerEventType();
  return static_cast<Type>(registered);
}

bool InterfaceLoop::event(QEvent* event) {
  if (event->type() != Work::kind()) return QObject::event(event);
  static_cast<Work*>(event)->run();
  return true;
}

}  // namespace ravant::desktop
