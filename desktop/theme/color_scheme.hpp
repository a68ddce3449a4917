#pragma once

#include <QDBusVariant>
#include <QObject>

namespace ravant::desktop {

/// What the desktop says about how programs should look, as it changes. Where nothing answers: light, at the usual
/// size, with motion.
///
/// Source: org.freedesktop.portal.Settings (xdg-desktop-portal 1.16), the namespaces org.freedesktop.appearance and
/// org.gnome.desktop.interface.
class ColorScheme final : public QObject {
  Q_OBJECT

 public:
  ColorScheme() = default;

  /// Asks the desktop, without waiting, and follows it from then on.
  void follow();

  bool prefersDark() const { return prefersDark_; }
  double fontScale() const { return fontScale_; }
  bool reducesMotion() const { return reducesMotion_; }

 Q_SIGNALS:
  void changed();
  void fontScaleChanged();
  void reducedMotionChanged();

 private Q_SLOTS:
  void take(const QString& space, const QString& key, const QDBusVariant& value);

 private:
  void ask(const QString& space, const QString& key);

  bool prefersDark_ = false;
  double fontScale_ = 1.0;
  bool reducesMotion_ = false;
};

}  // namespace ravant::desktop
