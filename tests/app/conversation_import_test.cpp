#include "app/transfer/conversation_import.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "app/prompt_queue.hpp"
#include "core/agent_runner_error.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;

constexpr std::string_view kFile = R"({{"format":"ravant.conversation","version":1,
"project":{{"path":"{}","name":"p"}},
"conversation":{{"id":"{}","agentType":"claude","createdAt":"2026-11-21T10:00:00Z",
"lastActivityAt":"2026-11-21T10:00:00Z","lastPromptAt":"2026-11-21T10:00:00Z","archived":false}},
"items":[{{"kind":"toolInvocationGroup","createdAt":"2026-11-21T10:00:00Z","text":"","rawJSON":"","invocations":[
{{"toolName":"Bash","toolCallId":"1","output":"half","status":"running","createdAt":"2026-11-21T10:00:00Z","text":"","rawJSON":""}}
]}}]}})";

class Import : public testing::Test {
 protected:
  void SetUp() override {
    ::setenv("HOME", (folder / "home/user").c_str(), 1);
    std::filesystem::create_directories(folder / "home/user");
    application = Application::open(
        {.dataFolder = folder / "data", .settingsFile = folder.write("settings.json", R"({"keyStore":"file"})")});
  }
  void TearDown() override {
    run(application->shutdown());
    application.reset();
    home ? ::setenv("HOME", home->c_str(), 1) : ::unsetenv("HOME");
  }

  std::optional<ImportedConversation> import(const std::string& path) {
    const std::string id = ConversationId(Uuid::random()).text();
    const auto name = folder.write("file.json", fmt::format(fmt::runtime(kFile), path, id));
    const auto file = std::make_shared<ConversationFile>(UniqueFd(::open(name.c_str(), O_RDONLY | O_CLOEXEC)));
    return run(importConversation(*application, file));
  }
  std::string whyNot(const std::string& path) {
    try {
      import(path);
      return "it was imported";
    } catch (const ConversationFileError& error) {
      return error.what();
    }
  }
  Conversation conversation(ConversationId id) {
    return run(application->conversations().conversation(id)).value().conversation;
  }

  std::optional<std::string> home = ::getenv("HOME") ? std::optional<std::string>(::getenv("HOME")) : std::nullopt;
  TemporaryFolder folder;
  std::unique_ptr<Application> application;
};

TEST_F(Import, makesNoProjectOfWhatOnlyTheUserMayName) {
  const std::string user = folder / "home/user";
  run(application->projects().create(folder / "work/inner", "inner"));
  std::filesystem::create_directory_symlink(user, folder / "link");
  EXPECT_THAT(whyNot("/"), HasSubstr("the root of the file system"));
  EXPECT_THAT(whyNot("/tmp/.."), HasSubstr("the root of the file system"));
  EXPECT_THAT(whyNot(user + "/"), HasSubstr("your home folder"));
  EXPECT_THAT(whyNot(user + "/.."), HasSubstr("your home folder is in it"));
  EXPECT_THAT(whyNot(folder / "link"), HasSubstr("your home folder"));
  EXPECT_THAT(whyNot(folder / "work"), HasSubstr("the project inner is in it"));
  EXPECT_EQ(run(application->projects().projects()).size(), 1U);
  run(application->projects().create(user, "named"));
  EXPECT_EQ(whyNot(user + "/"), "it was imported");
  EXPECT_EQ(whyNot(folder / "link"), "it was imported");
  EXPECT_EQ(run(application->projects().projects()).size(), 2U);
}

TEST_F(Import, goesToOneProjectHoweverItsFolderIsWritten) {
  const std::string path = folder / "gone";
  for (const std::string& written : {path, path + "/", path + "//x/../."}) {
    EXPECT_EQ(import(written)->projectPath, path);
  }
  EXPECT_EQ(run(application->projects().projects()).size(), 1U);
}

TEST_F(Import, goesOnWithTheAgentThatIsRegisteredLater) {
  const ConversationId id = import(folder / "project")->id;
  PromptQueue queue(*application);
  run(queue.prompts().add(id, {.prompt = "Go on", .model = "sonnet"}));
  std::string refusal;
  try {
    run(queue.sendNext(id));
  } catch (const PromptRefusedError& error) {
    refusal = error.what();
  }
  EXPECT_THAT(refusal, HasSubstr("Claude Code, is not registered"));
  run(application->agents().createAgent(AgentType::pi, "", {}));
  EXPECT_EQ(conversation(id).agent, std::nullopt);
  const Agent claude = run(application->agents().createAgent(AgentType::claude, "", {}));
  EXPECT_EQ(conversation(id).agent, claude.id);
  EXPECT_EQ(conversation(id).foreignAgentType, std::nullopt);
}

TEST_F(Import, leavesNoToolCallRunning) {
  const ConversationId id = import(folder / "project")->id;
  const auto items = run(application->transcripts().items(id, std::nullopt));
  const ToolInvocation call = std::get<ToolInvocationGroup>(items.at(0).detail).invocations.at(0);
  EXPECT_EQ(call.status, ToolInvocationStatus::failed);
  EXPECT_THAT(*call.output, testing::AllOf(testing::StartsWith("half\n"), HasSubstr("before the tool had a result")));
}

}  // namespace
}  // namespace ravant::test
