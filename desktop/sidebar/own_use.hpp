#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <cstdint>
#include <filesystem>

#include "desktop/loop/rereading.hpp"
#include "desktop/loop/view_model.hpp"
#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {

/// What this program takes: its memory, and the files of its data folder. Read when the window becomes the active one
/// and with changes of the store, after a rest, so that nothing is read while nothing happens. On the interface thread.
class OwnUse : public QObject, public ViewModel {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QString words READ words NOTIFY changed)
  /// Both with what the sizes are of, to be read aloud.
  Q_PROPERTY(QString spoken READ spoken NOTIFY changed)
  /// Where there is no room for both.
  Q_PROPERTY(QString memoryWords READ memoryWords NOTIFY changed)

 public:
  explicit OwnUse(QObject* parent = nullptr) : OwnUse(DesktopWindow::instance(), parent) {}
  OwnUse(DesktopWindow& window, QObject* parent);

  /// Empty until it is known.
  const QString& words() const { return words_; }
  const QString& memoryWords() const { return memoryWords_; }
  const QString& spoken() const { return spoken_; }

 Q_SIGNALS:
  void changed();

 private:
  struct Use {
    std::int64_t memory = 0;  ///< bytes of main memory
    std::int64_t files = 0;   ///< bytes
  };

  static Use useWith(const std::filesystem::path& dataFolder);
  awaitable<void> read();

  DesktopWindow& window_;
  Rereading rereading_;
  QString words_;
  QString memoryWords_;
  QString spoken_;
};

}  // namespace ravant::desktop
