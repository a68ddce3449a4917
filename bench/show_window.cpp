// show_window STORE CONVERSATION: shows a store in the real window, without a display, and prints what it measured as
// lines of a name and a figure. The conversation is a long one. Times are in milliseconds, memory in MiB.

#include <QQuickItem>
#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "bench/shown_window.hpp"
#include "desktop/conversation/transcript_view.hpp"
#include "desktop/window/qml_plugins.hpp"

namespace ravant::bench {
namespace {

using desktop::InterfaceLoop;
using desktop::TranscriptWindow;

double residentMemory() {
  std::ifstream status("/proc/self/statm");
  double size = 0;
  double resident = 0;
  status >> size >> resident;
  return resident * 4096 / 1048576;
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
  WindowBench(ShownStore& shown, ConversationId conversation)
      : shown_(shown), program_(shown.program()), window_(shown.window()), conversation_(conversation) {}

  void measure() {
    program_.window().state().setSelection(LatestConversations(), {});
    runFor(std::chrono::seconds(2));
    print("memory of the window", residentMemory());
    measureOpening();
    measureJumps();
    measureScrolling();
    measureGrowth();
    measureRest();
  }

 private:
  void measureOpening() {
    const double memory = residentMemory();
    const double time = processorTime();
    program_.window().state().setSelection(LatestConversations(), conversation_);
    runUntil([&] {
      rows_ = window_.findChild<TranscriptWindow*>();
      return rows_ && rows_->isOpened() && rows_->rowCount() > 0;
    });
    shown_.awaitFrame();
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
      shown_.awaitFrame();
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
      shown_.awaitFrame();
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
    window_.findChild<desktop::TranscriptView*>()->page(-1);
    runFor(std::chrono::milliseconds(200));
    const double place = list_->property("contentY").toDouble();
    const auto feed = program_.application().modelContainer()->changeFeed();
    constexpr int kGrowths = 3000;
    const double time = processorTime();
    const auto start = steady_clock::now();
    const int framesBefore = shown_.frames();
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
    print("1,000 growths a second, frames", shown_.frames() - framesBefore);
    print("1,000 growths a second, the reader's place moved by", list_->property("contentY").toDouble() - place);
  }

  void measureRest() {
    program_.window().state().setSelection(LatestConversations(), {});
    runFor(std::chrono::seconds(3));
    const double time = processorTime();
    const int frames = shown_.frames();
    runFor(std::chrono::seconds(10));
    print("still window, processor in 10 s", processorTime() - time);
    print("still window, frames in 10 s", shown_.frames() - frames);
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

  ShownStore& shown_;
  desktop::DesktopProgram& program_;
  QQuickWindow& window_;
  ConversationId conversation_;
  TranscriptWindow* rows_ = nullptr;
  QQuickItem* list_ = nullptr;
};

}  // namespace
}  // namespace ravant::bench

int main(int argc, char** argv) {
  using namespace ravant;
  if (argc != 3) return 2;
  const auto start = bench::steady_clock::now();
  bench::Face face(argc, argv);
  bench::ShownStore shown(face, argv[1], bench::ShownStore::Window::shown);
  bench::runUntil([&] { return shown.frames() > 0; });
  bench::print("first frame after main", bench::milliseconds(bench::steady_clock::now() - start));
  bench::WindowBench(shown, ConversationId(Uuid::parse(argv[2]).value())).measure();
}
