#include <QCommandLineParser>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QtQml/qqmlextensionplugin.h>
#include <cstdlib>

#include "app/locations.hpp"
#include "desktop/program/desktop_program.hpp"
#include "desktop/theme/icon_provider.hpp"
#include "desktop/theme/theme.hpp"
#include "desktop/window/no_network.hpp"
#include "platform/keystore/private_memory.hpp"
#include "platform/process/child_process.hpp"
#include "platform/process/descriptors.hpp"

Q_IMPORT_QML_PLUGIN(Ravant_ProgramPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ThemePlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ControlsPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_SidebarPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ConversationPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_ComposerPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_PalettePlugin)
Q_IMPORT_QML_PLUGIN(Ravant_AttentionPlugin)
Q_IMPORT_QML_PLUGIN(Ravant_WindowPlugin)

namespace ravant::desktop {
namespace {

struct StartOptions {
  std::optional<std::filesystem::path> dataFolder;
};

StartOptions readCommandLine(const QCoreApplication& application) {
  QCommandLineParser parser;
  parser.setApplicationDescription(QStringLiteral("A workbench for coding agents, in one window."));
  parser.addHelpOption();
  parser.addVersionOption();
  const QCommandLineOption dataFolder(QStringLiteral("data-dir"),
                                      QStringLiteral("Where the store is (else RAVANT_DATA_DIR)."),
                                      QStringLiteral("DIR"));
  parser.addOption(dataFolder);
  parser.process(application);
  StartOptions options;
  if (parser.isSet(dataFolder)) options.dataFolder = parser.value(dataFolder).toStdString();
  return options;
}

int run(int argc, char** argv) {
  QGuiApplication application(argc, argv);
  QGuiApplication::setApplicationName(QStringLiteral("Ravant"));
  QGuiApplication::setDesktopFileName(QStringLiteral("com.ravant.Ravant"));
  QGuiApplication::setApplicationVersion(QStringLiteral(RAVANT_VERSION));
  QGuiApplication::setQuitOnLastWindowClosed(false);
  const StartOptions options = readCommandLine(application);

  ColorScheme scheme;
  Theme theme(scheme);
  scheme.follow();

  InterfaceLoop loop;
  DesktopProgram program(Locations::find(options.dataFolder));
  NoNetwork noNetwork;
  QQmlApplicationEngine engine;
  engine.setNetworkAccessManagerFactory(&noNetwork);
  engine.addImageProvider(QStringLiteral("icon"), new IconProvider);
  engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
  QObject::connect(program.window().end(), &OrderlyEnd::ended, &application, [] { QCoreApplication::exit(); });
  program.begin();
  engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Ravant/Window/Main.qml")));
  const bool isShown = !engine.rootObjects().isEmpty();
  if (!isShown) program.window().end()->stopAndQuit();
  const int status = QGuiApplication::exec();
  return isShown ? status : EXIT_FAILURE;
}

}  // namespace
}  // namespace ravant::desktop

int main(int argc, char** argv) {
  ravant::keepMemoryPrivate();
  ravant::useAllDescriptors();
  ravant::ignoreBrokenPipes();
  return ravant::desktop::run(argc, argv);
}
