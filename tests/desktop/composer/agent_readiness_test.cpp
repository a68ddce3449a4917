#include "desktop/composer/agent_readiness.hpp"

#include <gmock/gmock.h>

#include <QAbstractItemModelTester>

#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::AgentReadiness;
using testing::HasSubstr;

TEST(AgentReadinessTest, SaysWhatKeepsAgentsFromWorkingUntilItIsMended) {
  Workbench workbench;
  const Project project = workbench.addProject("weather");
  const auto claude = await(workbench.application().agents().createAgent(AgentType::claude, "/gone/claude", {}));
  AgentReadiness readiness;
  QAbstractItemModelTester tester(&readiness, QAbstractItemModelTester::FailureReportingMode::Warning);
  const auto words = [&](int row) {
    return readiness.data(readiness.index(row), AgentReadiness::WordsRole).toString().toStdString();
  };
  const auto remedy = [&](int row) {
    return readiness.data(readiness.index(row), AgentReadiness::RemedyRole).value<AgentReadiness::Remedy>();
  };

  workbench.window().startNewConversation(desktop::textOf(project.id));
  ASSERT_TRUE(until([&] { return readiness.rowCount() == 2; }));
  EXPECT_EQ(readiness.projectName(), QStringLiteral("weather"));
  EXPECT_EQ(readiness.agents(), QString());
  EXPECT_THAT(words(0), HasSubstr("has no key of OpenRouter or Mistral"));
  EXPECT_EQ(remedy(0), AgentReadiness::Remedy::Key);
  EXPECT_EQ(words(1), "Claude Code was not found at /gone/claude.");
  EXPECT_EQ(remedy(1), AgentReadiness::Remedy::Path);

  const auto program = workbench.folder().write("claude", "#!/bin/sh\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  readiness.setPath(1, QString::fromStdString(program.string()));
  ASSERT_TRUE(until([&] { return readiness.rowCount() == 0; })) << "the key is no trouble beside an agent that works";
  EXPECT_EQ(readiness.agents(), QStringLiteral("Ready: Claude Code"));

  await(workbench.application().agents().setEnabled(claude.id, false));
  ASSERT_TRUE(until([&] { return readiness.rowCount() == 1; }));
  readiness.enterKey(1, QStringLiteral(" secret-key "));
  ASSERT_TRUE(until([&] { return readiness.rowCount() == 0; }));
  EXPECT_EQ(readiness.agents(), QStringLiteral("Ready: Ravant"));
  EXPECT_EQ(await(workbench.application().providerKeys().ravantProviderAPIKey("mistral")), "secret-key");
}

}  // namespace
}  // namespace ravant::test
