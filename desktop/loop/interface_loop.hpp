#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <boost/asio/execution.hpp>
#include <boost/asio/execution_context.hpp>
#include <cstddef>
#include <functional>

#include "platform/async/async.hpp"

namespace ravant::desktop {

/// The interface thread's Qt event loop as an executor, which the core is given. There is one in a process, made after
/// the application object and destroyed after everything that could come back to it.
///
/// A post is one event. Nothing that blocks is run here, and no loop inside it.
class InterfaceLoop final : public QObject, public asio::execution_context {
  Q_OBJECT

 public:
  InterfaceLoop();
  ~InterfaceLoop() override;

  static InterfaceLoop& instance();

  any_io_executor executor() noexcept;

  /// Runs the operation on the loop. What it throws is logged and announced by `failed`.
  void spawn(awaitable<void> operation);
  /// Whether nothing that was spawned is still under way.
  bool isIdle() const { return running_ == 0; }
  /// Runs the loop until it is idle: for the end of the program, when `exec` has returned.
  void drain();

 Q_SIGNALS:
  /// An operation ended with an error that nobody caught, in words for the user.
  void failed(const QString& words);
  void becameIdle();

 private:
  /// Source: the executor requirements of Asio 1.81 (proposal P0443).
  struct Executor {
    InterfaceLoop* loop;

    asio::execution_context& query(asio::execution::context_t) const noexcept { return *loop; }
    static constexpr asio::execution::blocking_t::never_t query(asio::execution::blocking_t) noexcept { return {}; }
    template <class Function>
    void execute(Function function) const {
      QCoreApplication::postEvent(loop, new Work(std::move(function)));
    }
    bool operator==(const Executor&) const noexcept = default;
  };

  struct Work : QEvent {
    explicit Work(std::move_only_function<void()> function) : QEvent(kind()), run(std::move(function)) {}
    static Type kind();

    std::move_only_function<void()> run;
  };

  bool event(QEvent* event) override;

  std::size_t running_ = 0;
};

}  // namespace ravant::desktop
