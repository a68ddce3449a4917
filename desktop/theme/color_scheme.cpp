#include "desktop/theme/color_scheme.hpp"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <algorithm>

namespace ravant::desktop {
namespace {

const QString kPortal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kSettings = QStringLiteral("org.freedesktop.portal.Settings");
const QString kAppearance = QStringLiteral("org.freedesktop.appearance");
const QString kColorScheme = QStringLiteral("color-scheme");
const QString kInterface = QStringLiteral("org.gnome.desktop.interface");
const QString kTextScaling = QStringLiteral("text-scaling-factor");
const QString kAnimations = QStringLiteral("enable-animations");

constexpr uint kPrefersDark = 1;

/// `Read` wraps its answer twice.
QVariant unwrapped(QVariant value) {
  while (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
  return value;
}

}  // namespace

void ColorScheme::follow() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  bus.connect(kPortal, kPath, kSettings, QStringLiteral("SettingChanged"), this,
              SLOT(take(QString, QString, QDBusVariant)));
  ask(kAppearance, kColorScheme);
  ask(kInterface, kTextScaling);
  ask(kInterface, kAnimations);
}

void ColorScheme::ask(const QString& space, const QString& key) {
  QDBusMessage question = QDBusMessage::createMethodCall(kPortal, kPath, kSettings, QStringLiteral("Read"));
  question << space << key;
  auto* const answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer, space, key] {
    const QDBusPendingReply<QDBusVariant> reply = *answer;
    if (!reply.isError()) take(space, key, reply.value());
    answer->deleteLater();
  });
}

void ColorScheme::take(const QString& space, const QString& key, const QDBusVariant& value) {
  const QVariant content = unwrapped(QVariant::fromValue(value));
  if (space == kAppearance && key == kColorScheme) {
    prefersDark_ = content.toUInt() == kPrefersDark;
    Q_EMIT changed();
  } else if (space == kInterface && key == kTextScaling) {
    const double scale = content.toDouble();
    fontScale_ = scale > 0 ? std::clamp(scale, 0.5, 3.0) : 1.0;
    Q_EMIT fontScaleChanged();
  } else if (space == kInterface && key == kAnimations) {
    reducesMotion_ = !content.toBool();
    Q_EMIT reducedMotionChanged();
  }
}

}  // namespace ravant::desktop
