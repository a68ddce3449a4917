// make_store FOLDER COUNT ITEMS: adds conversations of the project FOLDER/project to a store and prints their ids. The
// items of each are a prompt and then, in turn, a reply with a code block and a tool call.

#include <fmt/format.h>

#include <filesystem>
#include <string>

#include "bench/open_store.hpp"

namespace ravant::bench {
namespace {

constexpr std::string_view kReply =
    "The reader keeps what it has read in one buffer and hands out views of it.\n\n"
    "```cpp\nwhile (const auto line = reader.tryNext()) take(*line);\n```\n\n"
    "That way nothing is copied before somebody asks for a string, whatever the length of a line is.";

awaitable<void> addItem(std::shared_ptr<ConversationItemModelActor> items, ConversationId id, int number) {
  if (number == 0) {
    co_await items->appendUserPrompt(id, "How are lines read?", AgentType::claude);
  } else if (number % 2 == 1) {
    co_await items->appendAgentMessage(id, R"({"type":"assistant"})", std::string(kReply), "sonnet",
                                       fmt::format("msg_{}", number));
  } else {
    co_await items->appendToolInvocation(id, R"({"type":"assistant"})", "Read", "Read", fmt::format("call_{}", number),
                                         R"({"file_path":"/tmp/line_reader.cpp"})", std::string(kReply),
                                         ToolInvocationStatus::completed);
  }
}

awaitable<void> addConversations(std::shared_ptr<ModelContainer> container, std::filesystem::path folder, int count,
                                 int itemsOfEach) {
  const auto projects = ProjectStore::make(container);
  const auto agents = AgentModelStore::make(container);
  const auto conversations = ConversationModelActor::make(container);
  const auto items = ConversationItemModelActor::make(container);

  std::filesystem::create_directories(folder);
  const Project project = co_await projects->create(folder.string(), "bench");
  co_await agents->createAgentIfMissing(AgentType::claude, "/usr/bin/false", {});
  const AgentId agent = (co_await agents->agents()).front().id;
  for (int i = 0; i < count; ++i) {
    const auto id = (co_await conversations->createConversation(project.id, agent)).value();
    co_await conversations->renameConversation(id, fmt::format("Conversation {}", i));
    for (int item = 0; item < itemsOfEach; ++item) co_await addItem(items, id, item);
    fmt::print("{}\n", id.text());
  }
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant;
  const bench::OpenStore store(arguments[1]);
  test::run(bench::addConversations(store.container, std::filesystem::absolute(arguments[1]) / "project",
                                    std::stoi(arguments[2]), std::stoi(arguments[3])));
}
