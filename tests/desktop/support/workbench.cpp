#include "tests/desktop/support/workbench.hpp"

#include <QTimer>
#include <cstdlib>

namespace ravant::test {
namespace {

using desktop::OrderlyEnd;

Locations locationsIn(const TemporaryFolder& folder, std::string_view settings) {
  ::setenv("HOME", folder.path().c_str(), 1);
  return {.dataFolder = folder / "data", .settingsFile = folder.write("settings.json", settings)};
}

}  // namespace

bool until(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  bool isLate = false;
  QTimer deadline;
  deadline.setSingleShot(true);
  QObject::connect(&deadline, &QTimer::timeout, [&] { isLate = true; });
  deadline.start(limit);
  while (!condition()) {
    if (isLate) return false;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  return true;
}

Workbench::Workbench(std::string_view settings) {
  program_.emplace(locationsIn(folder_, settings));
  // With it, no agent of this machine is looked for.
  await(application().agents().createAgentIfMissing(AgentType::ravant, "", {}));
  program_->begin();
}

Workbench::~Workbench() {
  OrderlyEnd* const end = window().end();
  end->stopAndQuit();
  EXPECT_TRUE(until([&] { return end->state() == OrderlyEnd::State::Ended; })) << "the program did not end";
}

Project Workbench::addProject(std::string_view name) {
  const std::filesystem::path path = folder_ / name;
  std::filesystem::create_directories(path);
  return await(application().projects().create(path, std::string(name)));
}

ConversationId Workbench::addConversation(const Project& project, AgentType agent) {
  const auto registered = await(application().agents().agents());
  const auto found = std::ranges::find(registered, agent, &Agent::type);
  const Agent used =
      found != registered.end() ? *found : await(application().agents().createAgent(agent, "/usr/bin/agent", {}));
  return await(application().conversations().createConversation(project.id, used.id)).value();
}

void Workbench::settle() { await(application().modelContainer()->changeFeed()->flush()); }

}  // namespace ravant::test
