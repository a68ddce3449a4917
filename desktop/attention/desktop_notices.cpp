#include "desktop/attention/desktop_notices.hpp"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include "app/known_settings.hpp"

namespace ravant::desktop {
namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kObject = QStringLiteral("/org/freedesktop/Notifications");
const QString kOpen = QStringLiteral("default");
constexpr int kUsualTime = -1;

QDBusMessage request(const char* method) {
  return QDBusMessage::createMethodCall(kService, kObject, kService, QLatin1String(method));
}

QDBusMessage noticeOf(const RunEnd& end, bool hasBell) {
  QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("com.ravant.Ravant")}};
  if (hasBell) {
    hints.insert(QStringLiteral("sound-name"), QStringLiteral("message-new-instant"));
  } else {
    hints.insert(QStringLiteral("suppress-sound"), true);
  }
  QDBusMessage notice = request("Notify");
  notice << QStringLiteral("Ravant") << 0U << QStringLiteral("com.ravant.Ravant") << end.title << end.words
         << QStringList{kOpen, QObject::tr("Open")} << hints << kUsualTime;
  return notice;
}

}  // namespace

DesktopNotices::DesktopNotices(DesktopWindow& window, QObject* parent) : QObject(parent), window_(window) {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (bus.isConnected()) {
    const auto listen = [&](const char* signal, const char* slot) {
      bus.connect({}, kObject, kService, QLatin1String(signal), this, slot);
    };
    listen("ActionInvoked", SLOT(open(uint, QString)));
    listen("ActivationToken", SLOT(takeToken(uint, QString)));
    listen("NotificationClosed", SLOT(forget(uint)));
  }
  connect(&window, &DesktopWindow::selectionChanged, this, &DesktopNotices::closeWhatIsLookedAt);
  connect(&window, &DesktopWindow::activeChanged, this, &DesktopNotices::closeWhatIsLookedAt);
}

void DesktopNotices::follow(RunEnds* ends) {
  ends_ = ends;
  connect(ends, &RunEnds::ended, this, &DesktopNotices::show);
}

void DesktopNotices::show(const RunEnd& end) {
  const SettingsFile& settings = window_.application().settings();
  if (window_.isLookingAt(end.conversation) || !settings.boolean(setting::kDesktopNotifications)) return;
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  auto* const call = new QDBusPendingCallWatcher(bus.asyncCall(noticeOf(end, settings.boolean(setting::kBell))), this);
  connect(call, &QDBusPendingCallWatcher::finished, this, [this, call, conversation = end.conversation] {
    const QDBusPendingReply<uint> number = *call;
    call->deleteLater();
    if (number.isValid()) shown_.insert_or_assign(number.value(), Shown{conversation, {}});
  });
}

void DesktopNotices::open(uint notice, const QString& action) {
  const auto found = shown_.find(notice);
  if (found == shown_.end() || action != kOpen) return;
  const Shown shown = found->second;
  shown_.erase(found);
  window_.open({.conversation = shown.conversation.text(), .activationToken = shown.activationToken.toStdString()});
}

void DesktopNotices::takeToken(uint notice, const QString& token) {
  if (const auto found = shown_.find(notice); found != shown_.end()) found->second.activationToken = token;
}

void DesktopNotices::forget(uint notice) { shown_.erase(notice); }

void DesktopNotices::closeWhatIsLookedAt() {
  for (auto each = shown_.begin(); each != shown_.end();) {
    if (!window_.isLookingAt(each->second.conversation)) {
      ++each;
      continue;
    }
    QDBusConnection::sessionBus().asyncCall(request("CloseNotification") << each->first);
    each = shown_.erase(each);
  }
}

}  // namespace ravant::desktop
