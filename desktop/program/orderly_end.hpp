#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QTimer>
#include <boost/asio/signal_set.hpp>

#include "app/application.hpp"
#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

class DesktopWindow;

/// The one road by which the program ends: the window is closed, the user quits, a signal comes or the desktop's
/// session is over. On the interface thread.
///
/// A user who quits while prompts run is asked first. Then the window hides, what it shows is stored, all that runs is
/// ended, and `ended` is emitted.
class OrderlyEnd final : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("belongs to the window")
  Q_PROPERTY(State state READ state NOTIFY stateChanged)
  /// Prompts in flight in this process, while the user is asked.
  Q_PROPERTY(int runs READ runs NOTIFY stateChanged)

 public:
  /// `Background`: the window is hidden until the last run is over and none follows, and then the program ends.
  enum class State { Open, Asking, Background, Ending, Ended };
  Q_ENUM(State)

  /// Both outlive this.
  OrderlyEnd(Application& application, DesktopWindow& window);

  State state() const { return state_; }
  int runs() const;

  Q_INVOKABLE void request();
  Q_INVOKABLE void stopAndQuit();
  Q_INVOKABLE void keepRunning();
  /// Back to the open window, from the question or the background.
  Q_INVOKABLE void cancel();

  /// Ends the program at SIGTERM, SIGINT and SIGHUP without a question; at a second one at once.
  void watchSignals();

 Q_SIGNALS:
  void stateChanged();
  void ended();

 private:
  void setState(State state);
  awaitable<void> followSignals();
  awaitable<void> endWhenIdle();
  awaitable<void> end();

  Application& application_;
  DesktopWindow& window_;
  State state_ = State::Open;
  asio::signal_set signals_;
  QTimer idle_;
  std::shared_ptr<NotificationObserver> runsChanged_;  ///< null unless the program waits in the background
};

}  // namespace ravant::desktop
