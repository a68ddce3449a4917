#pragma once

#include <QDBusAbstractAdaptor>
#include <QStringList>
#include <QVariantMap>

#include "desktop/program/open_request.hpp"

namespace ravant::desktop {

/// What the desktop asks of the program by the session bus, under its name `com.ravant.Ravant`.
///
/// Source: D-Bus activation in the Desktop Entry Specification 1.5, interface org.freedesktop.Application.
class SessionBus final : public QObject {
  Q_OBJECT

 public:
  /// Takes the name if nobody has it. Nothing where there is no bus.
  SessionBus();
  ~SessionBus() override;

 Q_SIGNALS:
  void requested(const ravant::desktop::OpenRequest& request);
};

/// The interface's methods, on the object of the name.
class ApplicationInterface final : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

 public:
  explicit ApplicationInterface(SessionBus& bus) : QDBusAbstractAdaptor(&bus), bus_(bus) {}

 public Q_SLOTS:
  // NOLINTBEGIN(readability-identifier-naming): the names of the interface
  void Activate(const QVariantMap& platform);
  void Open(const QStringList& addresses, const QVariantMap& platform);
  void ActivateAction(const QString& action, const QVariantList& arguments, const QVariantMap& platform);
  // NOLINTEND(readability-identifier-naming)

 private:
  SessionBus& bus_;
};

}  // namespace ravant::desktop
