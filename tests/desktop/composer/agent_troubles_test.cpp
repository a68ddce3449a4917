#include "desktop/composer/agent_troubles.hpp"

#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QTimer>

#include "app/known_settings.hpp"
#include "desktop/composer/prompt_composer.hpp"
#include "platform/files/private_file.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::AgentTroubles;
using desktop::Notices;
using desktop::PromptComposer;
using desktop::textOf;
using testing::HasSubstr;

class Troubles : public testing::Test {
 protected:
  AgentTroubles& troubles() { return *composer.troubles(); }
  std::string words(int row = 0) {
    return troubles().data(troubles().index(row), AgentTroubles::WordsRole).toString().toStdString();
  }
  AgentTroubles::Remedy remedy(int row = 0) {
    return troubles().data(troubles().index(row), AgentTroubles::RemedyRole).value<AgentTroubles::Remedy>();
  }
  bool untilOne(AgentTroubles::Remedy wanted) {
    return until([&] { return troubles().count() == 1 && remedy() == wanted; });
  }
  std::string program() {
    const auto file = workbench.folder().write("claude", "#!/bin/sh\n");
    std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    return file.string();
  }
  Agent addAgent(const std::string& path) {
    return await(application.agents().createAgent(AgentType::claude, path, {{.slug = "sonnet"}}));
  }
  void open(AgentId agent) {
    const auto made = await(application.conversations().createConversation(project.id, agent));
    workbench.window().openConversation(textOf(*made), textOf(project.id));
  }

  Workbench workbench;
  Application& application = workbench.application();
  Project project = workbench.addProject("weather");
  PromptComposer composer;
  QAbstractItemModelTester tester{&troubles(), QAbstractItemModelTester::FailureReportingMode::Warning};
};

TEST_F(Troubles, areThoseOfAllAgentsUntilOneCanBegin) {
  const Agent claude = addAgent("/gone/claude");
  workbench.window().startNewConversation(textOf(project.id));
  ASSERT_TRUE(until([&] { return troubles().count() == 2; }));
  EXPECT_EQ(troubles().readyAgents(), QString());
  EXPECT_EQ(words(0), "Claude Code was not found at /gone/claude.") << "the chosen one first";
  EXPECT_EQ(remedy(0), AgentTroubles::Remedy::Path);
  EXPECT_EQ(words(1).substr(0, words(1).find(". ")), "Ravant has no key for OpenRouter or Mistral");
  EXPECT_THAT(words(1), testing::EndsWith(". Enter a key here to work with Ravant."));
  EXPECT_EQ(remedy(1), AgentTroubles::Remedy::Key);

  troubles().setPath(0, QString::fromStdString(program()));
  ASSERT_TRUE(until([&] { return troubles().readyAgents() == QStringLiteral("Claude Code is ready."); }));
  EXPECT_EQ(troubles().count(), 0) << "the key is no trouble beside an agent that works";

  ASSERT_TRUE(until([&] { return composer.pickers()->agentName() == QStringLiteral("Claude Code"); }));
  composer.pickers()->chooseAgent(0);
  ASSERT_TRUE(untilOne(AgentTroubles::Remedy::Key)) << "but to who wants the agent that lacks it: " << words();
  troubles().enterKey(1, QStringLiteral(" secret-key "));
  ASSERT_TRUE(untilOne(AgentTroubles::Remedy::Model)) << words();
  composer.pickers()->models()->setFilter(QStringLiteral("any"));
  composer.pickers()->chooseModel(composer.pickers()->models()->rowCount() - 1);
  ASSERT_TRUE(until([&] { return troubles().readyAgents() == QStringLiteral("Ravant and Claude Code are ready."); }));
  EXPECT_EQ(troubles().count(), 0);
  EXPECT_EQ(await(application.providerKeys().ravantProviderAPIKey("mistral")), "secret-key");
}

TEST_F(Troubles, ofAConversationAreMendedWhereItIsWritten) {
  const Agent claude = addAgent(program());
  open(claude.id);
  composer.setText(QStringLiteral("wanted"));
  ASSERT_TRUE(until([&] { return composer.canSend(); }));

  await(application.agents().setEnabled(claude.id, false));
  ASSERT_TRUE(untilOne(AgentTroubles::Remedy::Enable));
  EXPECT_FALSE(composer.canSend());
  EXPECT_EQ(words(), "Claude Code is disabled.");
  troubles().mend(0);
  ASSERT_TRUE(until([&] { return troubles().count() == 0 && composer.canSend(); }));

  std::filesystem::rename(workbench.folder() / "weather", workbench.folder() / "moved");
  Q_EMIT workbench.window().changes().agentsChanged();
  ASSERT_TRUE(untilOne(AgentTroubles::Remedy::Folder));
  EXPECT_THAT(words(), HasSubstr("Nothing can run in the project weather"));
  troubles().setFolder(QUrl(QStringLiteral("file:///")));
  ASSERT_TRUE(until([&] { return workbench.window().notices()->rowCount() == 1; }));
  EXPECT_THAT(workbench.window()
                  .notices()
                  ->data(workbench.window().notices()->index(0), Notices::textRole)
                  .toString()
                  .toStdString(),
              HasSubstr("the root of the file system"));
  ASSERT_TRUE(untilOne(AgentTroubles::Remedy::Folder));
  troubles().setFolder(QUrl::fromLocalFile(QString::fromStdString((workbench.folder() / "moved").string())));
  ASSERT_TRUE(until([&] { return troubles().count() == 0; }));
  EXPECT_EQ(composer.projectFolder().toLocalFile().toStdString(), (workbench.folder() / "moved").string());

  std::filesystem::remove(workbench.folder() / "claude");
  Q_EMIT workbench.window().changes().agentsChanged();
  ASSERT_TRUE(untilOne(AgentTroubles::Remedy::Path));
  troubles().setPath(0, QString::fromStdString(program()));
  ASSERT_TRUE(until([&] { return troubles().count() == 0; }));

  await(application.agents().setModelEnabled(claude.id, "sonnet", false));
  ASSERT_TRUE(untilOne(AgentTroubles::Remedy::Model));
  composer.pickers()->models()->setFilter(QStringLiteral("any"));
  composer.pickers()->chooseModel(composer.pickers()->models()->rowCount() - 1);
  ASSERT_TRUE(until([&] { return troubles().count() == 0 && composer.canSend(); }));

  await(application.agents().removeAgent(claude.id));
  ASSERT_TRUE(untilOne(AgentTroubles::Remedy::Add)) << words();
  troubles().setPath(0, QString::fromStdString(program()));
  ASSERT_TRUE(until([&] { return troubles().count() == 0 && composer.canSend(); })) << words();
  EXPECT_EQ(composer.text(), QStringLiteral("wanted"));
}

TEST_F(Troubles, ofAComposerThatIsGoneBeforeTheShellAnswersAreNobodys) {
  const auto shell = workbench.folder().write("sh", R"sh(#!/bin/sh
echo >>"${0%/*}/asked"
while [ ! -e "${0%/*}/answers" ]; do sleep 0.01; done
exec /bin/sh "$@"
)sh");
  std::filesystem::permissions(shell, std::filesystem::perms::owner_all);
  ::setenv("SHELL", shell.c_str(), 1);
  auto other = std::make_unique<PromptComposer>();
  open(addAgent("no-such-agent").id);
  const auto asked = workbench.folder() / "asked";
  QTimer looks;
  looks.start(std::chrono::milliseconds(10));
  ASSERT_TRUE(until([&] { return readFile(asked) == "\n\n"; })) << "by each composer";
  other.reset();
  workbench.folder().write("answers", "");
  EXPECT_TRUE(untilOne(AgentTroubles::Remedy::Path)) << words();
}

TEST_F(Troubles, leadToOtherAgentsWhereOnlyTheBuiltInOneIsThereAndCannotBegin) {
  workbench.window().startNewConversation(textOf(project.id));
  ASSERT_TRUE(until([&] { return troubles().count() == 2; }));
  EXPECT_EQ(remedy(0), AgentTroubles::Remedy::Key);
  EXPECT_EQ(words(1), "No other coding agent was found.");
  EXPECT_EQ(remedy(1), AgentTroubles::Remedy::Scan);
  const auto bin = workbench.folder() / "bin";
  std::filesystem::create_directory(bin);
  std::filesystem::rename(program(), bin / "claude");
  ::setenv("PATH", (bin.string() + ":" + std::getenv("PATH")).c_str(), 1);
  troubles().mend(1);
  EXPECT_TRUE(until([&] { return troubles().readyAgents() == QStringLiteral("Claude Code is ready."); }));
  EXPECT_EQ(troubles().count(), 0);
}

TEST(TroublesOfTheKeyStore, leadToAFileWhereNoneRuns) {
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere/bus", 1);
  Workbench workbench("{}");
  const Project project = workbench.addProject("weather");
  PromptComposer composer;
  AgentTroubles& troubles = *composer.troubles();
  workbench.window().startNewConversation(textOf(project.id));
  const auto at = [&](AgentTroubles::Role role) { return troubles.data(troubles.index(0), role); };
  const auto leadsTo = [&](AgentTroubles::Remedy wanted) {
    return at(AgentTroubles::RemedyRole).value<AgentTroubles::Remedy>() == wanted;
  };
  ASSERT_TRUE(until([&] { return leadsTo(AgentTroubles::Remedy::KeyFile); }));
  EXPECT_THAT(at(AgentTroubles::WordsRole).toString().toStdString(),
              HasSubstr("no service for keys (Secret Service) runs in this session. Start one"));
  troubles.mend(0);
  ASSERT_TRUE(until([&] { return leadsTo(AgentTroubles::Remedy::Restart); }));
  EXPECT_THAT(at(AgentTroubles::WordsRole).toString().toStdString(), HasSubstr("From the next start of Ravant on"));
  EXPECT_THAT(readFile(workbench.application().settings().path()).value(), HasSubstr(R"("keyStore": "file")"));
}

}  // namespace
}  // namespace ravant::test
