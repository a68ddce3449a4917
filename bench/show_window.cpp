// show_window STORE CONVERSATION: shows a store in the real window, without a display, and prints what it measured as
// lines of a name and a figure. The conversation is a long one. Times are in milliseconds, memory in MiB.

#include <fmt/format.h>
#include <time.h>

#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <string>

#include "desktop/conversation/transcript_window.hpp"
#include "desktop/program/desktop_program.hpp"
#include "desktop/theme/theme.hpp"
#include "desktop/window/qml_plugins.hpp"
#include "desktop/window/window_engine.hpp"
#include "desktop/window/window_placement.hpp"

namespace ravant::bench {
namespace {

using desktop::InterfaceLoop;
using desktop::TranscriptWindow;
using std::chrono::steady_clock;

double milliseconds(steady_clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

double processorTime() {
  timespec used{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

double residentMemory() {
  std::ifstream status("/proc/self/statm");
  double size = 0;
  double resident = 0;
  status >> size >> resident;
  return resident * 4096 / 1048576;
}

void print(std::string_view name, double figure) {
  fmt::print("{}\t{:.2f}\n", name, figure);
  std::fflush(stdout);
}

void runFor(std::chrono::milliseconds time) {
  QEventLoop loop;
  QTimer::singleShot(time, &loop, &QEventLoop::quit);
  loop.exec();
}

void runUntil(const std::function<bool()>& condition) {
  const auto deadline = steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (steady_clock::now() > deadline) throw std::runtime_error("what was measured did not come");
    QTimer::singleShot(1, [] {});
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
}

/// How long the interface thread answered to nothing at its worst, while something went on.
class Stalls {
 public:
  Stalls() {
    QObject::connect(&beat_, &QTimer::timeout, [this] {
      const auto now = steady_clock::now();
      worst_ = std::max(worst_, now - last_);
      last_ = now;
    });
    beat_.setTimerType(Qt::PreciseTimer);
    beat_.start(1);
  }
  double worst() const { return milliseconds(worst_); }

 private:
  QTimer beat_;
  steady_clock::time_point last_ = steady_clock::now();
  steady_clock::duration worst_{};
};

class WindowBench {
 public:
  WindowBench(desktop::DesktopProgram& program, QQuickWindow& window, ConversationId conversation)
      : program_(program), window_(window), conversation_(conversation) {
    QObject::connect(&window_, &QQuickWindow::frameSwapped, [this] { ++frames_; });
  }

  void measure() {
    runUntil([&] { return frames_ > 0; });
    runFor(std::chrono::seconds(2));
    print("memory of the window", residentMemory());
    measureOpening();
    measureJumps();
    measureScrolling();
    measureGrowth();
    measureRest();
  }

 private:
  void awaitFrame() {
    const int before = frames_;
    window_.update();
    runUntil([&] { return frames_ > before; });
  }

  void measureOpening() {
    const double memory = residentMemory();
    const double time = processorTime();
    program_.window().state().setSelection(LatestConversations(), conversation_);
    runUntil([&] {
      rows_ = window_.findChild<TranscriptWindow*>();
      return rows_ && rows_->isOpened() && rows_->rowCount() > 0;
    });
    awaitFrame();
    print("opening, processor", processorTime() - time);
    runFor(std::chrono::seconds(1));
    print("opening, memory", residentMemory() - memory);
    list_ = findList(window_.contentItem());
    if (!list_) throw std::runtime_error("there is no list of the transcript");
  }

  void measureJumps() {
    double worst = 0;
    double sum = 0;
    constexpr int kJumps = 40;
    for (int jump = 0; jump < kJumps; ++jump) {
      bool isThere = false;
      const auto arrived = QObject::connect(rows_, &TranscriptWindow::jumped, [&] { isThere = true; });
      const double time = processorTime();
      rows_->jumpToPlace(static_cast<double>((jump * 37) % kJumps) / kJumps);
      runUntil([&] { return isThere; });
      awaitFrame();
      const double took = processorTime() - time;
      worst = std::max(worst, took);
      sum += took;
      QObject::disconnect(arrived);
      runFor(std::chrono::milliseconds(20));
    }
    print("jump, processor, mean", sum / kJumps);
    print("jump, processor, worst", worst);
  }

  void measureScrolling() {
    std::vector<double> frames;
    rows_->jumpToPlace(0.5);
    runFor(std::chrono::milliseconds(500));
    for (int page = 0; page < 100; ++page) {
      const auto start = steady_clock::now();
      list_->setProperty("contentY", list_->property("contentY").toDouble() + 600);
      awaitFrame();
      frames.push_back(milliseconds(steady_clock::now() - start));
    }
    std::ranges::sort(frames);
    print("page while scrolling, median", frames.at(frames.size() / 2));
    print("page while scrolling, p95", frames.at(frames.size() * 95 / 100));
    print("page while scrolling, worst", frames.back());
  }

  void measureGrowth() {
    rows_->jumpToEnd();
    runFor(std::chrono::milliseconds(500));
    QMetaObject::invokeMethod(list_->parentItem(), "page", Q_ARG(int, -1));
    runFor(std::chrono::milliseconds(200));
    const double place = list_->property("contentY").toDouble();
    const auto feed = program_.application().modelContainer()->changeFeed();
    constexpr int kGrowths = 3000;
    const double time = processorTime();
    const auto start = steady_clock::now();
    const int framesBefore = frames_;
    const Stalls stalls;
    int sent = 0;
    QTimer pump;
    pump.setTimerType(Qt::PreciseTimer);
    QObject::connect(&pump, &QTimer::timeout, [&] {
      const int due = std::min(kGrowths, static_cast<int>(milliseconds(steady_clock::now() - start)));
      for (; sent < due; ++sent) {
        const Growth growth{.text = sent % 40 == 0 ? "\n\nA paragraph: " : "word ", .isNewMessage = sent == 0};
        InterfaceLoop::instance().spawn(feed->announceGrowth(conversation_, growth));
      }
    });
    pump.start(1);
    runUntil([&] { return sent == kGrowths; });
    pump.stop();
    runFor(std::chrono::milliseconds(200));
    print("1,000 growths a second, longest stall", stalls.worst());
    print("1,000 growths a second, processor of one second", (processorTime() - time) / 3.2);
    print("1,000 growths a second, frames", frames_ - framesBefore);
    print("1,000 growths a second, the reader's place moved by", list_->property("contentY").toDouble() - place);
  }

  void measureRest() {
    program_.window().state().setSelection(LatestConversations(), {});
    runFor(std::chrono::seconds(3));
    const double time = processorTime();
    const int frames = frames_;
    runFor(std::chrono::seconds(10));
    print("still window, processor in 10 s", processorTime() - time);
    print("still window, frames in 10 s", frames_ - frames);
  }

  static QQuickItem* findList(QQuickItem* item) {
    if (item->inherits("QQuickListView") && item->property("model").value<QObject*>() &&
        qobject_cast<TranscriptWindow*>(item->property("model").value<QObject*>())) {
      return item;
    }
    for (QQuickItem* child : item->childItems()) {
      if (QQuickItem* const found = findList(child)) return found;
    }
    return nullptr;
  }

  desktop::DesktopProgram& program_;
  QQuickWindow& window_;
  ConversationId conversation_;
  TranscriptWindow* rows_ = nullptr;
  QQuickItem* list_ = nullptr;
  int frames_ = 0;
};

int run(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QT_QUICK_BACKEND", "software");
  const auto start = steady_clock::now();
  const QGuiApplication application(argc, argv);
  desktop::ColorScheme scheme;
  desktop::Theme theme(scheme);
  InterfaceLoop loop;
  const std::filesystem::path folder = argv[1];
  desktop::DesktopProgram program({.dataFolder = folder, .settingsFile = folder / "settings.json"});
  desktop::WindowPlacement placement(theme);
  {
    desktop::WindowEngine engine;
    program.begin();
    QQuickWindow* const window = 
        engine.load(QStringLiteral("Main.qml"), {{QStringLiteral("placement"), QVariant::fromValue(&placement)}});
    if (!window) return EXIT_FAILURE;
    bool isShown = false;
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [&] {
      if (!std::exchange(isShown, true)) print("first frame after main", milliseconds(steady_clock::now() - start));
    });
    WindowBench bench(program, *window, desktop::idOf<ConversationId>(QString::fromLocal8Bit(argv[2])));
    bench.measure();
    bool isOver = false;
    QObject::connect(program.window().end(), &desktop::OrderlyEnd::ended, [&] { isOver = true; });
    program.window().end()->stopAndQuit();
    runUntil([&] { return isOver; });
  }
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace ravant::bench

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  return ravant::bench::run(argc, argv);
}
