#include "desktop/start/session_bus.hpp"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QUrl>

#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "SessionBus");

const QString kName = QStringLiteral("com.ravant.Ravant");
const QString kObject = QStringLiteral("/com/ravant/Ravant");
const QString kNewConversation = QStringLiteral("new-conversation");

OpenRequest requestFrom(const QVariantMap& platform) {
  for (const auto* const key : {"activation-token", "desktop-startup-id"}) {
    const QString token = platform.value(QLatin1String(key)).toString();
    if (!token.isEmpty()) return {.activationToken = token.toStdString()};
  }
  return {};
}

}  // namespace

SessionBus::SessionBus() {
  new ApplicationInterface(*this);
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  if (!bus.registerObject(kObject, this)) kLog.warning("the object {} is taken", kObject.toStdString());
  if (!bus.registerService(kName)) kLog.info("another program has the name {}", kName.toStdString());
}

SessionBus::~SessionBus() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (bus.isConnected()) bus.unregisterService(kName);
}

void ApplicationInterface::Activate(const QVariantMap& platform) { Q_EMIT bus_.requested(requestFrom(platform)); }

void ApplicationInterface::Open(const QStringList& addresses, const QVariantMap& platform) {
  for (const QString& address : addresses) {
    OpenRequest request = requestFrom(platform);
    const QUrl url(address);
    if (url.isLocalFile()) request.project = url.toLocalFile().toStdString();
    Q_EMIT bus_.requested(request);
  }
}

void ApplicationInterface::ActivateAction(const QString& action, const QVariantList&, const QVariantMap& platform) {
  OpenRequest request = requestFrom(platform);
  if (action == kNewConversation) request.page = OpenRequest::Page::newConversation;
  Q_EMIT bus_.requested(request);
}

}  // namespace ravant::desktop
