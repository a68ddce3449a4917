#include "core/store/transcript_pages.hpp"

#include <gmock/gmock.h>

#include <random>

#include "core/store/transcript_import.hpp"
#include "tests/support/appended.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

/// Items of every kind, many at the same time, in two conversations whose items were stored in turn.
class Pages : public testing::Test {
 protected:
  Pages() {
    std::mt19937 random(7);
    const Project project = run(store.projects->create("/home/user/project", "project"));
    const auto import = TranscriptImport::make(store.container);
    const Conversation given{.project = project.id, .createdAt = {}, .lastActivityAt = {}, .lastPromptAt = {}};
    for (ConversationId* id : {&one, &other})
      *id = run(import->create(given, [] { return std::nullopt; }))->conversation;
    for (int batch = 0; batch < 40; ++batch) {
      Conversation into = store.conversation(batch % 3 == 2 ? other : one);
      const Timestamp at = kMorning + std::chrono::seconds(batch / 6);
      append(*import, into,
             [&, left = 5]() mutable { return left-- > 0 ? std::optional(made(random, at)) : std::nullopt; },
             {.agent = AgentType::pi, .sessionId = into.id.text(), .file = "/f", .inode = 1, .byteOffset = 1});
    }
  }

  static ConversationItem made(std::mt19937& random, Timestamp at) {
    ConversationItem item{.rawJSON = "{}", .createdAt = at, .text = std::to_string(random()), .detail = {}};
    switch (random() % 3) {
      case 0:
        item.detail =
            AgentMessage{.blocks = {{.text = "b", .language = {}, .index = 0, .kind = MessageBlockKind::prose}}};
        break;
      case 1:
        item.detail =
            ToolInvocationGroup{{{.createdAt = at, .toolName = "Read", .status = ToolInvocationStatus::running}}};
        break;
      default:
        item.detail = FailureEvent{};
    }
    return item;
  }

  std::vector<ConversationItem> page(std::optional<ConversationItemId> anchor, PageDirection direction,
                                     std::int64_t limit) {
    return run(store.reader->page(one, anchor, direction, limit));
  }

  TemporaryFolder folder;
  OpenStore store{folder.path()};
  ConversationId one;
  ConversationId other;
};

TEST_F(Pages, areWhatAPlainReadingHasAroundEachItem) {
  const std::vector<ConversationItem> all = store.transcript(one);
  ASSERT_THAT(all, SizeIs(testing::Gt(100U)));
  EXPECT_EQ(run(store.reader->count(one)), static_cast<std::int64_t>(all.size()));
  constexpr std::ptrdiff_t kLimit = 7;
  const auto size = static_cast<std::ptrdiff_t>(all.size());
  for (std::ptrdiff_t at = 0; at < size; ++at) {
    const auto anchor = all.begin() + at;
    ASSERT_EQ(run(store.reader->position(anchor->id)), at);
    ASSERT_EQ(page(anchor->id, PageDirection::before, kLimit), std::vector(anchor - std::min(at, kLimit), anchor));
    ASSERT_EQ(page(anchor->id, PageDirection::after, kLimit),
              std::vector(anchor + 1, anchor + 1 + std::min(size - at - 1, kLimit)));
    ASSERT_EQ(run(store.reader->beforeLast(one, size - at - 1)), anchor->id);
  }
  EXPECT_EQ(page({}, PageDirection::after, kLimit), std::vector(all.begin(), all.begin() + kLimit));
  EXPECT_EQ(page({}, PageDirection::before, kLimit), std::vector(all.end() - kLimit, all.end()));
  EXPECT_EQ(run(store.reader->beforeLast(one, size)), std::nullopt);
}

TEST_F(Pages, haveMarksForPromptsAndFailures) {
  run(store.items->appendFailureEvent(one, "{}", "The connection was closed."));
  const std::vector<ConversationItem> all = store.transcript(one);
  for (std::size_t from = 0; from <= all.size(); from += 13) {
    TranscriptMarks expected{.last = all.back().id};
    for (std::size_t at = from; at < all.size(); ++at) {
      const bool isMarked =
          kindOf(all[at]) == ConversationItemKind::userMessage || kindOf(all[at]) == ConversationItemKind::failureEvent;
      if (isMarked) expected.marks.push_back({.position = expected.items, .kind = kindOf(all[at])});
      ++expected.items;
    }
    const auto behind = from == 0 ? std::nullopt : std::optional(all[from - 1].id);
    EXPECT_EQ(run(store.reader->marks(one, behind)), expected) << from;
  }
  EXPECT_EQ(run(store.reader->marks(one, ConversationItemId(999'999))), TranscriptMarks());
}

TEST_F(Pages, areEmptyWhereNothingIs) {
  const ConversationItemId strange = store.transcript(other).at(3).id;
  const ConversationItemId unknown(999'999);
  for (const PageDirection direction : {PageDirection::before, PageDirection::after}) {
    EXPECT_THAT(page(strange, direction, 9), IsEmpty());
    EXPECT_THAT(page(unknown, direction, 9), IsEmpty());
    EXPECT_THAT(page({}, direction, 0), IsEmpty());
    EXPECT_THAT(page({}, direction, -1), IsEmpty());
    EXPECT_THAT(run(store.reader->page(ConversationId(Uuid::random()), {}, direction, 9)), IsEmpty());
  }
  EXPECT_EQ(run(store.reader->position(unknown)), std::nullopt);
}

TEST_F(Pages, endEarlyBehindALargeItemAndLoseNone) {
  for (int i = 0; i < 5; ++i) {
    run(store.items->appendAgentMessage(one, std::string(1'500'000, 'x'), "large", "opus", {}));
  }
  EXPECT_THAT(page({}, PageDirection::before, 100), SizeIs(1));
  TranscriptPages pages(*store.reader, one);
  std::vector<ConversationItem> read;
  for (auto page = run(pages.next()); !page.empty(); page = run(pages.next())) {
    read.insert(read.end(), page.begin(), page.end());
  }
  EXPECT_EQ(read, store.transcript(one));
}

TEST_F(Pages, tellOfAConversationThatGoesMeanwhile) {
  TranscriptPages pages(*store.reader, one);
  run(pages.next());
  run(store.conversations->deleteConversation(one));
  EXPECT_THROW(run(pages.next()), std::runtime_error);
}

}  // namespace
}  // namespace ravant::test
