#pragma once

#include <QtQml/qqmlregistration.h>
#include <QList>
#include <QRect>
#include <QTimer>
#include <QWindow>
#include <map>

#include "app/window_settings.hpp"
#include "desktop/program/desktop_window.hpp"
#include "desktop/theme/theme.hpp"

namespace ravant::desktop {

/// The nearest place for the window at which all of it can be seen, on the screen that shows most of it, else on the
/// first one. `screens` are not empty.
QRect placedOn(const QList<QRect>& screens, QRect wanted);

/// Shows the window before all others, as far as the desktop lets it by the token, which can be empty.
void bringForward(QWindow& window, const QString& activationToken);

/// Where the window is and how its columns divide it, from one start to the next: what the settings keep, written by
/// and by when it changes, and at the end.
class WindowPlacement : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  QML_UNCREATABLE("belongs to the window")
  /// Where the window opens.
  Q_PROPERTY(QRect opening READ opening CONSTANT)
  /// Of the columns, without zoom.
  Q_PROPERTY(int sidebarWidth READ sidebarWidth WRITE setSidebarWidth NOTIFY columnsChanged)
  Q_PROPERTY(int contentWidth READ contentWidth WRITE setContentWidth NOTIFY columnsChanged)
  Q_PROPERTY(bool sidebarShown READ isSidebarShown WRITE setSidebarShown NOTIFY columnsChanged)

 public:
  /// `theme` outlives this.
  explicit WindowPlacement(Theme& theme);

  /// Follows the window from here on, and maximizes one that was.
  void follow(QWindow& window);

  QRect opening() const { return opening_; }
  int sidebarWidth() const { return sidebarWidth_; }
  void setSidebarWidth(int width);
  int contentWidth() const { return contentWidth_; }
  void setContentWidth(int width);
  bool isSidebarShown() const { return isSidebarShown_; }
  void setSidebarShown(bool shown);

 Q_SIGNALS:
  void columnsChanged();

 private:
  using Values = std::map<std::string, SettingValue>;

  int withinLimits(std::string_view key, int width) const;
  void takeGeometry();
  Values values() const;
  void keepSoon();
  void keep();
  awaitable<void> write(Values changed);

  SettingsFile& settings_;
  Theme& theme_;
  QWindow* window_ = nullptr;
  QRect opening_;
  WindowGeometry geometry_;
  int sidebarWidth_;
  int contentWidth_;
  bool isSidebarShown_;
  Values kept_;
  QTimer soon_;
};

}  // namespace ravant::desktop
