#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <map>

#include "desktop/attention/run_ends.hpp"

class QDBusPendingCallWatcher;

namespace ravant::desktop {

/// Shows the ends of runs that the user does not look at as notices of the desktop, where the settings want them and a
/// service shows them. A notice opens its conversation, and goes when that is shown otherwise.
///
/// Source: Desktop Notifications Specification 1.2.
class DesktopNotices : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(ravant::desktop::RunEnds* ends READ ends WRITE follow REQUIRED)

 public:
  explicit DesktopNotices(QObject* parent = nullptr) : DesktopNotices(DesktopWindow::instance(), parent) {}
  DesktopNotices(DesktopWindow& window, QObject* parent);

  RunEnds* ends() const { return ends_; }
  void follow(RunEnds* ends);

 private Q_SLOTS:
  void open(uint notice, const QString& action);
  void takeToken(uint notice, const QString& token);
  void forget(uint notice);

 private:
  struct Shown {
    ConversationId conversation;
    QString activationToken;
  };

  void show(const RunEnd& end);
  void closeWhatIsLookedAt();

  DesktopWindow& window_;
  RunEnds* ends_ = nullptr;
  std::map<uint, Shown> shown_;
};

}  // namespace ravant::desktop
