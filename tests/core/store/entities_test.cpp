#include <gmock/gmock.h>

#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;

std::vector<std::string> slugs(const std::vector<AgentModel>& models) {
  std::vector<std::string> found;
  for (const AgentModel& model : models) found.push_back((model.enabled ? "" : "-") + model.slug);
  return found;
}

class Entities : public testing::Test {
 protected:
  TemporaryFolder folder;
  OpenStore store{folder.path()};
};

TEST_F(Entities, projectsKeepTheirOrder) {
  const Project a = run(store.projects->create("/a", "A"));
  const Project b = run(store.projects->create("/b", "B"));
  const Project c = run(store.projects->create("/c", "C"));
  EXPECT_EQ(run(store.projects->create("/a", "other name")), a);

  run(store.projects->reorder({c.id, ProjectId(Uuid::random()), c.id}));
  EXPECT_TRUE(run(store.projects->rename(b.id, "Bee")));
  EXPECT_TRUE(run(store.projects->setExpandedInSidebar(b.id, false)));
  EXPECT_FALSE(run(store.projects->remove(ProjectId(Uuid::random()))));
  const auto projects = run(store.projects->projects());
  EXPECT_THAT(projects, ElementsAre(testing::Field(&Project::id, c.id), testing::Field(&Project::id, a.id),
                                    testing::AllOf(testing::Field(&Project::name, "Bee"),
                                                   testing::Field(&Project::expandedInSidebar, false))));
}

TEST_F(Entities, agentsAreMadeOnceForTheirType) {
  EXPECT_TRUE(run(store.agents->createAgentIfMissing(AgentType::ravant, "", {})));
  EXPECT_FALSE(run(store.agents->createAgentIfMissing(AgentType::ravant, "", {})));
  const Agent claude = run(store.agents->createAgent(AgentType::claude, "/bin/claude", {}));
  run(store.agents->reorder({claude.id}));
  run(store.agents->setEnabled(claude.id, false));
  run(store.agents->setPath(claude.id, "/opt/claude"));
  const std::vector<std::string> arguments = {"acp", "--so it's"};
  run(store.agents->setArguments(claude.id, arguments));
  const auto agents = run(store.agents->agents());
  ASSERT_EQ(agents.size(), 2U);
  EXPECT_EQ(agents[0], (Agent{claude.id, "/opt/claude", AgentType::claude, false, kMorning, 0, arguments}));
  run(store.agents->setArguments(claude.id, std::nullopt));
  EXPECT_EQ(run(store.agents->agents())[0].arguments, std::nullopt);
}

TEST_F(Entities, refreshedModelsKeepWhatTheUserChose) {
  const ProbedModel full{.slug = "one",
                         .displayName = "One",
                         .efforts = {"low", "\"odd\""},
                         .defaultEffort = "low",
                         .supportsThinking = true,
                         .supportsFastMode = true,
                         .contextWindowOptions = {"200000"},
                         .defaultContextWindow = "200000",
                         .promptInjectedEfforts = {"ultrathink"}};
  const Agent agent = run(store.agents->createAgent(
      AgentType::claude, "", {full, {.slug = "two", .enabledByDefault = false}, {.slug = "gone"}}));
  AgentModel expected = makeAgentModel(full, 0, kMorning);
  expected.agent = agent.id;
  expected.id = run(store.agents->models(agent.id)).front().id;
  EXPECT_EQ(run(store.agents->models(agent.id)).front(), expected);

  run(store.agents->addCustomModel(agent.id, "mine", "Mine"));
  run(store.agents->addCustomModel(agent.id, "soon-listed", "Soon"));
  run(store.agents->setModelEnabled(agent.id, "one", false));
  run(store.agents->setModelEnabled(agent.id, "two", true));
  EXPECT_FALSE(run(store.agents->setModelEnabled(agent.id, "never", true)));
  run(store.agents->refreshModels(agent.id, {{.slug = "new"}, {.slug = "two"}, full, {.slug = "soon-listed"}}));
  EXPECT_THAT(slugs(run(store.agents->models(agent.id))), ElementsAre("new", "two", "-one", "soon-listed", "mine"));
  EXPECT_EQ(run(store.agents->models(agent.id))[2].id, expected.id);

  run(store.agents->removeAgent(agent.id));
  EXPECT_THAT(run(store.agents->models(std::nullopt)), testing::IsEmpty());
}

TEST_F(Entities, conversationsAreListedByActivity) {
  const ConversationId first = store.makeConversation();
  store.clock->advance(std::chrono::minutes(1));
  const ConversationId second = store.makeConversation(AgentType::pi, "/other");
  store.clock->advance(std::chrono::minutes(1));
  run(store.items->appendUserPrompt(first, "hello", AgentType::claude));
  run(store.conversations->renameConversation(first, "Title"));
  run(store.conversations->updateLastPromptSettings(first, "opus", "high"));
  run(store.conversations->updateResumedSessionId(first, "session"));

  const auto listed = [&](ConversationQuery query) {
    std::vector<ConversationId> ids;
    for (const auto& summary : run(store.conversations->conversations(query))) ids.push_back(summary.conversation.id);
    return ids;
  };
  EXPECT_THAT(listed({}), ElementsAre(first, second));
  EXPECT_THAT(listed({.limit = 1}), ElementsAre(first));
  run(store.conversations->archiveConversation(second));
  EXPECT_THAT(listed({.project = store.conversation(second).project}), testing::IsEmpty());
  EXPECT_THAT(listed({.archived = ArchivedConversations::only}), ElementsAre(second));
  EXPECT_THAT(listed({.archived = ArchivedConversations::included}), ElementsAre(first, second));

  const ConversationSummary summary =
      run(store.conversations->conversationsWithPrefix(first.text().substr(0, 8))).at(0);
  EXPECT_EQ(summary.items, 1);
  EXPECT_EQ(summary.agentType, AgentType::claude);
  EXPECT_EQ(summary.conversation.title, "Title");
  EXPECT_EQ(summary.conversation.lastUsedEffortRawValue, "high");
  EXPECT_EQ(summary.conversation.agentResumedSessionId, "session");
  run(store.conversations->updateResumedSessionId(first, std::nullopt));
  EXPECT_EQ(store.conversation(first).agentResumedSessionId, std::nullopt);

  run(store.conversations->deleteConversation(first));
  EXPECT_EQ(run(store.conversations->conversation(first)), std::nullopt);
  EXPECT_EQ(run(store.conversations->createConversation(ProjectId(Uuid::random()), {})), std::nullopt);
}

TEST_F(Entities, aConversationRemembersWhatItBeganWith) {
  const ConversationId without = store.makeConversation();
  const ProjectId project = store.conversation(without).project;
  const WorkItem pull{.kind = WorkItem::Kind::githubPull, .name = "octo/widgets#7", .url = "https://github.com/7"};
  const WorkItem issue{.kind = WorkItem::Kind::linearIssue, .name = "ENG-42", .url = "https://linear.app/42"};
  const ConversationId ofPull = run(store.conversations->createConversation(project, {}, pull)).value();
  const ConversationId ofIssue = run(store.conversations->createConversation(project, {}, issue)).value();
  run(store.conversations->renameConversation(ofPull, "Title"));

  const OpenStore other{folder.path()};
  std::map<ConversationId, std::optional<WorkItem>> found;
  for (const auto& summary : run(other.conversations->conversations({}))) {
    found[summary.conversation.id] = summary.conversation.workItem;
  }
  EXPECT_THAT(found, testing::UnorderedElementsAre(testing::Pair(without, std::nullopt), testing::Pair(ofPull, pull),
                                                   testing::Pair(ofIssue, issue)));
}

TEST_F(Entities, nothingIsWrittenIntoAFileThatWasMovedAway) {
  const ConversationId conversation = store.makeConversation();
  std::filesystem::rename(folder / "store.sqlite", folder / "away.sqlite");
  for (const bool isAnotherThere : {false, true}) {
    if (isAnotherThere) folder.write("store.sqlite", {});
    try {
      run(store.conversations->renameConversation(conversation, "Title"));
      ADD_FAILURE() << "it was written";
    } catch (const StoreError& error) {
      EXPECT_EQ(error.kind(), StoreError::Case::replaced);
    }
  }
}

TEST_F(Entities, whatAPromptRunsInIsNotRemoved) {
  const ConversationId running = store.makeConversation();
  const ProjectId project = store.conversation(running).project;
  const ConversationId idle = run(store.conversations->createConversation(project, {})).value();
  const auto remove = [](const OpenStore& in, ProjectId id) { return run(in.projects->remove(id)); };
  {
    const OpenStore other{folder.path()};
    EXPECT_TRUE(run(store.items->beginRun(running)));
    for (const OpenStore* one : std::initializer_list<const OpenStore*>{&store, &other}) {
      EXPECT_THROW(run(one->conversations->deleteConversation(running)), InUseError);
      EXPECT_THROW(remove(*one, project), InUseError);
    }
    run(other.conversations->deleteConversation(idle));
    run(store.items->endRun(running, {}));
    EXPECT_TRUE(run(other.items->beginRun(running)));
    EXPECT_THROW(remove(store, project), InUseError);
  }
  EXPECT_TRUE(remove(store, project)) << "the process that ran the prompt is dead";
  EXPECT_FALSE(run(store.items->beginRun(running)));
}

}  // namespace
}  // namespace ravant::test
