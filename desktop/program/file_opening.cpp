#include "desktop/program/file_opening.hpp"

#include <QClipboard>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeDatabase>
#include <QProcess>
#include <QUrl>
#include <fstream>

#include "app/known_settings.hpp"
#include "desktop/program/desktop_window.hpp"
#include "platform/async/on_pool.hpp"

namespace ravant::desktop {
namespace {

const QString kFile = QStringLiteral("{file}");

QStringList commandFor(const QString& editor, const FilePlace& place) {
  QStringList words = QProcess::splitCommand(editor);
  if (!editor.contains(kFile)) words.append(kFile);
  for (QString& word : words) {
    word.replace(QStringLiteral("{line}"), QString::number(place.line));
    word.replace(QStringLiteral("{column}"), QString::number(place.column));
    word.replace(kFile, QString::fromStdString(place.file.string()));
  }
  return words;
}

/// Whether the desktop would show it as a text: a program or a page that an agent wrote is not started by a click.
bool isHarmlessText(const QString& file) {
  const QMimeType type = QMimeDatabase().mimeTypeForFile(file, QMimeDatabase::MatchExtension);
  // It descends from scripts, but nothing runs it.
  if (type.name() == QStringLiteral("application/json")) return !QFileInfo(file).isExecutable();
  const auto isRendered = [&](const char* name) { return type.inherits(QLatin1String(name)); };
  return !QFileInfo(file).isExecutable() && type.inherits(QStringLiteral("text/plain")) && !isRendered("text/html") &&
         !isRendered("application/xml") && !isRendered("application/x-desktop") &&
         !isRendered("application/x-executable");
}

void makeSettings(const std::filesystem::path& file) {
  if (std::filesystem::exists(file)) return;
  std::filesystem::create_directories(file.parent_path());
  if (!(std::ofstream(file, std::ios::app) << "{\n}\n"))
    throw std::runtime_error(
        QObject::tr("%1 cannot be written").arg(QString::fromStdString(file.string())).toStdString());
}

}  // namespace

void openFile(const SettingsFile& settings, const FilePlace& place) {
  const QString file = QString::fromStdString(place.file.string());
  const auto tell = [&file](const QString& words) {
    DesktopWindow* const window = DesktopWindow::present();
    if (!window) return;
    window->notices()->tellError(words,
                                 {QObject::tr("Copy path"), [file] { QGuiApplication::clipboard()->setText(file); }});
  };
  const QString editor = QString::fromStdString(settings.text(setting::kEditor)).trimmed();
  if (!editor.isEmpty()) {
    QStringList words = commandFor(editor, place);
    const QString program = words.takeFirst();
    if (!QProcess::startDetached(program, words)) {
      tell(QObject::tr("The editor “%1” cannot be started for %2").arg(program, file));
    }
  } else if (!isHarmlessText(file)) {
    tell(QObject::tr("%1 is only opened in an editor, which “editor” in the settings names").arg(file));
  } else if (!QDesktopServices::openUrl(QUrl::fromLocalFile(file))) {
    tell(QObject::tr("No program opens %1. “editor” in the settings names one").arg(file));
  }
}

awaitable<void> openSettingsFile(Application& application) {
  const std::filesystem::path file = application.settings().path();
  co_await onPool(application.modelContainer()->work(), [file] { makeSettings(file); });
  openFile(application.settings(), {.file = file});
}

}  // namespace ravant::desktop
