#include <QGuiApplication>
#include <QQuickWindow>
#include <QSessionManager>
#include <QStandardPaths>
#include <boost/asio/signal_set.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "app/known_settings.hpp"
#include "app/locations.hpp"
#include "desktop/program/desktop_program.hpp"
#include "desktop/start/display.hpp"
#include "desktop/start/running_instance.hpp"
#include "desktop/start/session_bus.hpp"
#include "desktop/start/start_options.hpp"
#include "desktop/theme/theme.hpp"
#include "desktop/window/qml_plugins.hpp"
#include "desktop/window/settings_follower.hpp"
#include "desktop/window/start_trouble.hpp"
#include "desktop/window/store_opening.hpp"
#include "desktop/window/window_engine.hpp"
#include "desktop/window/window_placement.hpp"
#include "platform/files/private_file.hpp"
#include "platform/keystore/private_memory.hpp"
#include "platform/log/log.hpp"
#include "platform/process/child_process.hpp"
#include "platform/process/descriptors.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "main");

constexpr std::chrono::seconds kPatienceWithAnother(15);
constexpr std::chrono::milliseconds kUntilAskedAgain(20);
/// A window for which no message comes is shown without one.
constexpr std::chrono::seconds kUntilShownAnyway(5);

struct Place {
  bool isOfAnother = false;          ///< which has taken over what this start is to do
  std::optional<InstanceLock> lock;  ///< nothing where the folder cannot hold one: that is told in a window
};

/// The place of the one program for the data folder. Throws `std::runtime_error` where another one does not answer.
Place takePlace(const std::filesystem::path& dataFolder, const OpenRequest& request) {
  const auto deadline = std::chrono::steady_clock::now() + kPatienceWithAnother;
  try {
    makePrivateFolder(dataFolder);
    for (;;) {
      if (auto lock = InstanceLock::tryTake(dataFolder)) return {.lock = std::move(lock)};
      if (handOver(dataFolder, request)) return {.isOfAnother = true, .lock = {}};
      if (std::chrono::steady_clock::now() > deadline) break;
      std::this_thread::sleep_for(kUntilAskedAgain);
    }
  } catch (const std::system_error&) {
    return {};
  }
  throw std::runtime_error("another ravant-desktop has the data folder " + dataFolder.string() +
                           " and does not answer");
}

/// What cannot be read of the settings leaves the looks as they are.
void lookAsSettingsSay(const Locations& locations, Theme& theme) {
  try {
    SettingsFile settings(locations.settingsFile, knownSettings());
    settings.load();
    applyLooks(settings, theme);
  } catch (const SettingsError& error) {
    kLog.info("the looks are not those of the settings: {}", error.what());
  }
}

StartTrouble::Decision decideOn(const Locations& locations, const std::exception& error, Theme& theme) {
  lookAsSettingsSay(locations, theme);
  StartTrouble trouble(locations, error);
  asio::signal_set signals(InterfaceLoop::instance().executor(), SIGTERM, SIGINT, SIGHUP);
  signals.async_wait([self = QPointer(&trouble)](const boost::system::error_code& none, int) {
    if (!none && self) self->quit();
  });
  WindowEngine engine;
  auto decision = StartTrouble::Decision::quit;
  QObject::connect(&trouble, &StartTrouble::decided, [&](StartTrouble::Decision decided) {
    decision = decided;
    QCoreApplication::exit();
  });
  const QVariantMap properties{{QStringLiteral("trouble"), QVariant::fromValue(&trouble)}};
  if (!engine.load(QStringLiteral("Trouble.qml"), properties)) return decision;
  QCoreApplication::exec();
  return decision;
}

/// The session manager asks before it ends the session: a user who may still answer is asked about the runs.
void endWithSession(QSessionManager& manager, DesktopWindow& window) {
  OrderlyEnd& end = *window.end();
  if (end.state() == OrderlyEnd::State::Ending || end.state() == OrderlyEnd::State::Ended) return;
  if (end.runs() > 0 && manager.allowsInteraction()) {
    manager.cancel();
    // The question is seen also by who has the window in the background.
    window.open({});
    end.request();
  } else {
    end.stopAndQuit();
  }
}

/// Whether the desktop means this program by its name: one over a data folder of its own is another one.
bool isOfTheDesktop(const Locations& locations) {
  const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
  return locations.dataFolder == std::filesystem::path(data.toStdString()) / "ravant";
}

void tellReadOnly(DesktopWindow& window) {
  const QString file = QString::fromStdString(window.application().modelContainer()->file().string());
  window.notices()->tellError(
      QObject::tr("%1 cannot be written, or there is no room: what is there can be read, and nothing is kept.")
          .arg(file));
}

/// What later starts want before the window is there: it is done when the window comes, and who only wants to see
/// Ravant does not undo it.
void keepRequest(StartOptions& options, const OpenRequest& request) {
  const bool isNamed = request.project || request.conversation || request.page == OpenRequest::Page::newConversation;
  if (isNamed) options.request = request;
  options.isActivated = false;
  for (QWindow* const window : QGuiApplication::topLevelWindows()) {
    window->show();
    bringForward(*window, QString::fromStdString(request.activationToken));
  }
}

/// Until the program's end. Answers its exit status.
int show(DesktopProgram& program, Theme& theme, const StartOptions& options,
         std::optional<InstanceListener>& listener) {
  DesktopWindow& window = program.window();
  SettingsFollower settings(window, theme);
  WindowPlacement placement(theme);
  if (!program.application().modelContainer()->isWritable()) tellReadOnly(window);
  std::optional<SessionBus> bus;
  const auto open = [&window](const OpenRequest& request) { window.open(request); };
  if (listener) {
    listener->disconnect();
    QObject::connect(&*listener, &InstanceListener::requested, &window, open);
  }
  if (isOfTheDesktop(program.application().locations())) {
    QObject::connect(&bus.emplace(), &SessionBus::requested, open);
  }
  QObject::connect(qGuiApp, &QGuiApplication::commitDataRequest, &window,
                   [&window](QSessionManager& manager) { endWithSession(manager, window); });

  WindowEngine engine;
  QObject::connect(window.end(), &OrderlyEnd::ended, qGuiApp, [] { QCoreApplication::exit(); });
  QObject::connect(window.end(), &OrderlyEnd::stateChanged, &window, [&] {
    if (window.end()->state() == OrderlyEnd::State::Ending) listener.reset(), bus.reset();
  });
  program.begin();
  if (!options.isActivated) {
    window.open(options.request);
  } else {
    window.awaitRequest();
    QTimer::singleShot(kUntilShownAnyway, &window, [&window] {
      if (window.isAwaited()) window.open({});
    });
  }
  QQuickWindow* const shown =
      engine.load(QStringLiteral("Main.qml"), {{QStringLiteral("placement"), QVariant::fromValue(&placement)}});
  if (shown) {
    placement.follow(*shown);
  } else {
    window.end()->stopAndQuit();
  }
  // Qt exits where it loses the display: what runs must not stay behind.
  std::atexit([] { endAllChildren(Termination::askedFirst); });
  const int status = QCoreApplication::exec();
  return shown ? status : EXIT_FAILURE;
}

int start(int argc, char** argv, StartOptions options) {
  const Locations locations = Locations::find(options.dataFolder);
  const Place place = takePlace(locations.dataFolder, options.request);
  if (place.isOfAnother) return EXIT_SUCCESS;

  expectDisplay(argc, argv);
  const QGuiApplication application(argc, argv);
  QGuiApplication::setApplicationName(QStringLiteral("Ravant"));
  QGuiApplication::setDesktopFileName(QStringLiteral("com.ravant.Ravant"));
  QGuiApplication::setApplicationVersion(QStringLiteral(RAVANT_VERSION));
  QGuiApplication::setQuitOnLastWindowClosed(false);
  ColorScheme scheme;
  Theme theme(scheme);
  scheme.follow();
  InterfaceLoop loop;
  std::optional<InstanceListener> listener;
  if (place.lock) {
    QObject::connect(&listener.emplace(locations.dataFolder), &InstanceListener::requested, qGuiApp,
                     [&options](const OpenRequest& request) { keepRequest(options, request); });
  }
  for (;;) {
    std::unique_ptr<Application> opened;
    try {
      opened = openStore(locations, [&] { lookAsSettingsSay(locations, theme); });
    } catch (const std::exception& error) {
      if (decideOn(locations, error, theme) == StartTrouble::Decision::quit) return EXIT_FAILURE;
      continue;
    }
    if (!opened) return EXIT_SUCCESS;
    DesktopProgram program(std::move(opened));
    return show(program, theme, options, listener);
  }
}

int run(int argc, char** argv) {
  QStringList words;
  for (int index = 1; index < argc; ++index) words.append(QString::fromLocal8Bit(argv[index]));
  const auto read = startOptions(words, RAVANT_VERSION);
  if (const auto* const answer = std::get_if<StartAnswer>(&read)) {
    fmt::print(answer->status == EXIT_SUCCESS ? stdout : stderr, "{}", answer->words);
    return answer->status;
  }
  try {
    return start(argc, argv, std::get<StartOptions>(read));
  } catch (const std::exception& error) {
    fmt::print(stderr, "ravant-desktop: {}\n", error.what());
    return EXIT_FAILURE;
  }
}

}  // namespace
}  // namespace ravant::desktop

int main(int argc, char** argv) {
  ravant::keepMemoryPrivate();
  ravant::useAllDescriptors();
  ravant::ignoreBrokenPipes();
  return ravant::desktop::run(argc, argv);
}
