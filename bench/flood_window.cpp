// flood_window STORE CONVERSATION AGENT PROMPT window|none: an agent prints events as fast as it can into a
// conversation that the window shows, while keys are typed into the prompt; or the same run without a window. Prints,
// as lines of a name and a figure, how many milliseconds the run took, how much processor time it and what it started
// used, and how long the slowest of the keys took to be seen.

#include <sys/resource.h>

#include <QKeyEvent>
#include <QQuickItem>
#include <algorithm>

#include "app/prompt_submission.hpp"
#include "bench/shown_window.hpp"
#include "desktop/conversation/transcript_window.hpp"
#include "desktop/window/qml_plugins.hpp"

namespace ravant::bench {
namespace {

constexpr std::chrono::minutes kLimit{5};
constexpr std::chrono::milliseconds kBetweenKeys{50};

double processorTimeOfChildren() {
  rusage used{};
  ::getrusage(RUSAGE_CHILDREN, &used);
  const auto in = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
  };
  return in(used.ru_utime) + in(used.ru_stime);
}

/// Types a letter, then another one, and so on, and looks when each is seen.
class Typist {
 public:
  explicit Typist(ShownStore& shown) : shown_(shown) {
    shown_.program().window().run(QStringLiteral("focusInput"));
    runUntil([&] { return prompt() != nullptr; });
  }

  void typeOne() {
    const auto length = prompt()->property("length").toInt();
    const auto start = steady_clock::now();
    for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
      QCoreApplication::postEvent(&shown_.window(),
                                  new QKeyEvent(type, Qt::Key_A, Qt::NoModifier, QStringLiteral("a")));
    }
    runUntil([&] { return prompt()->property("length").toInt() > length; });
    const int frames = shown_.frames();
    runUntil([&] { return shown_.frames() > frames; });
    slowest_ = std::max(slowest_, milliseconds(steady_clock::now() - start));
    ++keys_;
  }
  double slowest() const { return slowest_; }
  int keys() const { return keys_; }

 private:
  QQuickItem* prompt() {
    QQuickItem* const item = shown_.window().activeFocusItem();
    return item && item->inherits("QQuickTextEdit") ? item : nullptr;
  }

  ShownStore& shown_;
  double slowest_ = 0;
  int keys_ = 0;
};

awaitable<void> takeIn(Application& application, ConversationId conversation, std::string agentPath, std::string prompt,
                       bool& isOver) {
  const auto summary = (co_await application.conversations().conversation(conversation)).value();
  const AgentId agent = summary.conversation.agent.value();
  co_await application.agents().setPath(agent, std::move(agentPath));
  const auto projects = co_await application.projects().projects();
  const auto agents = co_await application.agents().agents();
  co_await submitPrompt(application,
                        {.prompt = std::move(prompt),
                         .project = *std::ranges::find(projects, summary.conversation.project, &Project::id),
                         .agent = *std::ranges::find(agents, agent, &Agent::id),
                         .model = "sonnet",
                         .effort = {},
                         .conversation = conversation,
                         .resumedSessionId = {}});
  isOver = true;
}

void flood(ShownStore& shown, ConversationId conversation, const std::string& agent, const std::string& prompt,
           bool hasWindow) {
  Application& application = shown.program().application();
  std::optional<Typist> typist;
  if (hasWindow) {
    runUntil([&] { return shown.frames() > 0; });
    shown.program().window().state().setSelection(LatestConversations(), conversation);
    runUntil([&] {
      const auto* const rows = shown.window().findChild<desktop::TranscriptWindow*>();
      return rows && rows->shown() == conversation && rows->isOpened();
    });
    typist.emplace(shown);
  }
  runFor(std::chrono::seconds(2));
  bool isOver = false;
  const double time = processorTime() + processorTimeOfChildren();
  const auto start = steady_clock::now();
  desktop::InterfaceLoop::instance().spawn(takeIn(application, conversation, agent, prompt, isOver));
  QTimer keys;
  bool isKeyDue = false;
  QObject::connect(&keys, &QTimer::timeout, [&] { isKeyDue = true; });
  if (hasWindow) keys.start(kBetweenKeys);
  while (!isOver) {
    runUntil([&] { return isOver || isKeyDue; }, kLimit);
    if (std::exchange(isKeyDue, false)) typist->typeOne();
  }
  print("run", milliseconds(steady_clock::now() - start));
  print("processor", processorTime() + processorTimeOfChildren() - time);
  if (!typist) return;
  print("slowest key", typist->slowest());
  print("keys", typist->keys());
}

}  // namespace
}  // namespace ravant::bench

int main(int argc, char** argv) {
  using namespace ravant;
  if (argc != 6) return 2;
  const bool hasWindow = std::string_view(argv[5]) == "window";
  bench::Face face(argc, argv);
  bench::ShownStore shown(face, argv[1],
                          hasWindow ? bench::ShownStore::Window::shown : bench::ShownStore::Window::none);
  bench::flood(shown, ConversationId(Uuid::parse(argv[2]).value()), argv[3], argv[4], hasWindow);
}
