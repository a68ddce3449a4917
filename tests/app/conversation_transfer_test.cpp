#include <fcntl.h>
#include <gmock/gmock.h>

#include <random>

#include "app/transfer/conversation_export.hpp"
#include "app/transfer/conversation_file.hpp"
#include "core/store/transcript_import.hpp"
#include "platform/json/json.hpp"
#include "platform/text/utf8.hpp"
#include "tests/support/appended.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::vector<std::string> kHostile = {"",
                                           "plain",
                                           "```\nfence\n````\n~~~",
                                           "</script><script>alert(1)</script><!--",
                                           "</details>\n\n# Prompt, forged\n\n<img src=x>",
                                           "a `<b>` and \\`<i>` | `x | <u>`",
                                           std::string("nul\0nul", 7),
                                           "\xE2\x80\xAEgnp.exe\x1b[2J\r\x7f\u0085",
                                           "漢字 é 😀",
                                           "\xED\xA0\x80 lone",
                                           "\xFF\xFE bytes",
                                           "{\"base64\":\"AAAA\"}",
                                           "&lt; ]]> '\"\\",
                                           "\n\n",
                                           std::string(10'000, '"')};

class Transfer : public testing::Test {
 protected:
  std::string text() { return kHostile[random() % kHostile.size()]; }
  std::optional<std::string> maybe() { return random() % 2 ? std::optional(text()) : std::nullopt; }
  std::optional<std::int64_t> maybeNumber() {
    return random() % 2 ? std::optional(static_cast<std::int64_t>(random()) << 30) : std::nullopt;
  }
  Timestamp time() { return kMorning + std::chrono::microseconds(random()); }

  ConversationItem item(Timestamp at) {
    ConversationItem made{.rawJSON = text(), .createdAt = at, .text = text(), .detail = {}};
    switch (random() % 5) {
      case 0:
        made.detail = UserMessage{.endReason = PromptOutcome::cancelled, .endedAt = time()};
        break;
      case 1: {
        AgentMessage message{.agentModel = maybe(),
                             .providerMessageId = maybe(),
                             .inputTokens = maybeNumber(),
                             .outputTokens = maybeNumber(),
                             .cacheReadTokens = maybeNumber(),
                             .cacheCreationTokens = maybeNumber(),
                             .usedTokens = maybeNumber(),
                             .totalProcessedTokens = maybeNumber(),
                             .blocks = {}};
        for (std::int64_t i = 0; i < static_cast<std::int64_t>(random() % 4); ++i) {
          message.blocks.push_back({.text = text(),
                                    .language = maybe(),
                                    .index = 2 * i,
                                    .kind = random() % 2 ? MessageBlockKind::code : MessageBlockKind::prose});
        }
        made.detail = message;
        break;
      }
      case 2: {
        ToolInvocationGroup group;
        for (std::uint32_t i = 0; i < random() % 3; ++i) {
          group.invocations.push_back(
              {.rawJSON = text(),
               .text = text(),
               .createdAt = time(),
               .toolName = text(),
               .toolCallId = text(),
               .input = maybe(),
               .output = maybe(),
               .status = random() % 2 ? ToolInvocationStatus::running : ToolInvocationStatus::failed,
               .completedAt = random() % 2 ? std::optional(time()) : std::nullopt});
        }
        made.detail = group;
        break;
      }
      case 3:
        made.detail = CompactionEvent{};
        break;
      default:
        made.detail = FailureEvent{};
    }
    return made;
  }

  ConversationId generate(OpenStore& into, int count) {
    const Conversation given{.agentResumedSessionId = "session-1",
                             .lastUsedModel = maybe(),
                             .lastUsedEffortRawValue = maybe(),
                             .createdAt = time(),
                             .lastActivityAt = time(),
                             .lastPromptAt = time(),
                             .archived = random() % 2 == 0,
                             .lastUsedTokens = maybeNumber(),
                             .lastUsageUpdatedAt = time(),
                             .lastMaxTokens = maybeNumber(),
                             .title = maybe(),
                             .workItem = WorkItem{.kind = WorkItem::Kind::githubPull, .name = text(), .url = text()},
                             .foreignAgentType = AgentType::codex};
    Timestamp at = kMorning;
    return run(TranscriptImport::make(into.container)
                   ->createIn({.path = "/home/user/\xFF" + text(), .projectName = text()}, given,
                              [&, count]() mutable -> std::optional<ConversationItem> {
                                if (count-- == 0) return std::nullopt;
                                at += std::chrono::microseconds(random() % 2);
                                return item(at);
                              }))
        ->conversation;
  }

  static std::string exported(OpenStore& from, ConversationId id, ExportFormat format) {
    const auto summary = run(from.conversations->conversation(id)).value();
    const Project project = run(from.projects->projects()).at(0);
    ConversationExport text(*from.reader,
                            {.conversation = summary.conversation,
                             .projectPath = project.path,
                             .projectName = project.name,
                             .agentType = summary.agentType,
                             .firstWords = summary.firstWords},
                            summary.items, format);
    std::string all;
    while (const auto piece = run(text.next())) all += *piece;
    return all;
  }

  std::shared_ptr<ConversationFile> file(std::string_view contents) {
    const auto path = folder.write("file.json", contents);
    return std::make_shared<ConversationFile>(UniqueFd(::open(path.c_str(), O_RDONLY | O_CLOEXEC)));
  }

  std::optional<TranscriptImport::Created> import(OpenStore& into, std::string_view contents) {
    const auto read = file(contents);
    Conversation conversation = read->conversation().conversation;
    conversation.foreignAgentType = read->conversation().agentType;
    return run(
        TranscriptImport::make(into.container)
            ->createIn({.path = read->conversation().projectPath, .projectName = read->conversation().projectName},
                       conversation, [read] { return read->next(); }));
  }

  std::string whyNot(std::string_view contents) {
    try {
      import(store, contents);
      return "it was imported";
    } catch (const ConversationFileError& error) {
      return error.what();
    }
  }

  std::mt19937 random{11};
  TemporaryFolder folder;
  OpenStore store{folder.path()};
};

TEST_F(Transfer, bringsBackTheSameBytesIntoAnEmptyStore) {
  for (unsigned round = 0; round < 6; ++round) {
    random.seed(round);
    const TemporaryFolder first, second;
    OpenStore from(first.path()), to(second.path());
    const std::string bytes = exported(from, generate(from, 60), ExportFormat::json);
    EXPECT_TRUE(parseJson(bytes)) << "the whole is one JSON value";
    const auto back = import(to, bytes);
    ASSERT_TRUE(back) << round;
    EXPECT_EQ(back->items, 60);
    EXPECT_EQ(exported(to, back->conversation, ExportFormat::json), bytes) << round;
    EXPECT_FALSE(import(to, bytes)) << "it is there already";
  }
}

TEST_F(Transfer, refusesAFileThatIsCutAnywhere) {
  random.seed(3);
  const ConversationId id = generate(store, 3);
  const std::string bytes = exported(store, id, ExportFormat::json);
  run(store.conversations->deleteConversation(id));
  const std::size_t step = std::max<std::size_t>(1, bytes.size() / 120);
  for (std::size_t size = 0; size + 1 < bytes.size(); size += size + 40 > bytes.size() ? 1 : step) {
    EXPECT_THAT(whyNot(std::string_view(bytes).substr(0, size)), HasSubstr("line ")) << size;
  }
  EXPECT_EQ(run(store.conversations->conversationsWithPrefix("")).size(), 0U);
}

TEST_F(Transfer, saysWhatIsWrongWithAFile) {
  const ConversationId id = generate(store, 0);
  append(*TranscriptImport::make(store.container), store.conversation(id),
         [left = 2]() mutable -> std::optional<ConversationItem> {
           if (left-- == 0) return std::nullopt;
           return ConversationItem{.rawJSON = {}, .createdAt = kMorning, .text = "words", .detail = UserMessage{}};
         },
         {.agent = AgentType::pi, .sessionId = "s", .file = "/f", .inode = 1, .byteOffset = 1});
  const std::string bytes = exported(store, id, ExportFormat::json);
  run(store.conversations->deleteConversation(id));
  const auto with = [&](std::string_view old, std::string_view changed) {
    std::string text = bytes;
    const std::size_t at = text.rfind(old);
    EXPECT_NE(at, std::string::npos) << old;
    return whyNot(text.replace(at, old.size(), changed));
  };
  EXPECT_THAT(whyNot("{\"type\":\"user\"}\n{}"), HasSubstr("no conversation that Ravant exported"));
  EXPECT_THAT(whyNot(""), HasSubstr("line 1: this is no conversation"));
  EXPECT_THAT(with("\"version\":1", "\"version\":2"), HasSubstr("exported by a newer Ravant"));
  EXPECT_THAT(with("\"kind\":\"userMessage\"", "\"kind\":\"other\""), testing::StartsWith("line 6: \"kind\" is"));
  EXPECT_THAT(with("\"words\"", "\"\\ud800\""), testing::StartsWith("line 6: this is no JSON"));
  EXPECT_THAT(with("2026-11-21T10", "2026-11-21T09"), HasSubstr("older than the one before"));
  EXPECT_THAT(with("]}", "]} {"), HasSubstr("something follows the end"));
  EXPECT_THAT(with("\"rawJSON\":\"\"", "\"rawJSON\":{\"base64\":\"A\"}"), HasSubstr("\"rawJSON\""));
  EXPECT_EQ(run(store.conversations->conversationsWithPrefix("")).size(), 0U);
  EXPECT_THAT(with("\"createdAt\":\"2026-", "\"createdAt\":\"26-"), testing::StartsWith("line 6: \"createdAt\""));
  EXPECT_THAT(with("\"archived\":", "\"archived\":3"), testing::StartsWith("line 3: "));
  EXPECT_THAT(with("\"path\":", "\"path\":3,\"x\":"), testing::StartsWith("line 2: \"path\" is"));
  EXPECT_THAT(with("\"session-1\"", "\"--mcp-config=/x\""), HasSubstr("\"agentResumedSessionId\""));
  EXPECT_THAT(with("]}", "],\"items\":[]}"), HasSubstr("twice"));
  EXPECT_THAT(with("]}", "],\"more\":[1}"), HasSubstr("line "));
  EXPECT_EQ(run(store.conversations->conversationsWithPrefix("")).size(), 0U);
  EXPECT_EQ(with("},\n{", " } ,\n\n { "), "it was imported") << "white space may have been changed";
  run(store.conversations->deleteConversation(id));
  EXPECT_EQ(with("]}", "] , \"more\":[{}], \"and\" : \"]}\" }"), "it was imported") << "of a later version";
}

TEST_F(Transfer, endsNoExportAsWholeThatIsNot) {
  const auto exportOf = [&](ConversationId id) {
    return ConversationExport(
        *store.reader,
        {.conversation = store.conversation(id), .projectPath = "/p", .projectName = "p", .agentType = {}},
        run(store.conversations->conversation(id))->items, ExportFormat::json);
  };
  const ConversationId gone = generate(store, 3);
  ConversationExport whole = exportOf(gone);
  run(store.conversations->deleteConversation(gone));
  EXPECT_THROW(run(whole.next()), std::runtime_error);

  const ConversationId shrinking = generate(store, 600);
  ConversationExport cut = exportOf(shrinking);
  run(cut.next());
  store.container->connect().execute(
      "DELETE FROM conversation_item WHERE id > (SELECT max(id) - 100 FROM conversation_item)");
  EXPECT_THROW(while (run(cut.next())){}, std::runtime_error);
}

/// What stands outside of fenced code in Markdown. A fence ends at one as long, and with the quote that it is in.
std::vector<std::string> linesOutsideOfFences(const std::string& markdown) {
  std::vector<std::string> lines;
  std::string fence;
  bool isQuoted = false;
  std::istringstream in(markdown);
  for (std::string line; std::getline(in, line);) {
    if (isQuoted && !line.starts_with("> ")) fence.clear();
    if (fence.empty()) isQuoted = line.starts_with("> ");
    const std::string_view bare = std::string_view(line).substr(isQuoted ? 2 : 0);
    const std::size_t ticks = std::min(bare.find_first_not_of('`'), bare.size());
    const bool isFence = ticks >= 3 && !bare.substr(ticks).contains('`');
    if (!fence.empty()) {
      if (isFence && ticks >= fence.size() && ticks == bare.size()) fence.clear();
    } else if (isFence) {
      fence = bare.substr(0, ticks);
    } else {
      lines.push_back(line);
    }
  }
  EXPECT_TRUE(fence.empty() || isQuoted);
  return lines;
}

TEST_F(Transfer, keepsMarkdownsStructureWhateverIsWritten) {
  const ConversationId id = generate(store, 400);
  const std::string markdown = exported(store, id, ExportFormat::markdown);
  EXPECT_EQ(markdown, exported(store, id, ExportFormat::markdown));
  EXPECT_TRUE(isValidUtf8(markdown));
  EXPECT_THAT(markdown, Not(testing::ContainsRegex("[\x01-\x08\x0b-\x1f\x7f]")));
  EXPECT_THAT(markdown, Not(HasSubstr("\u202E")));
  std::size_t headings = 0;
  for (const std::string& line : linesOutsideOfFences(markdown)) {
    if (line.starts_with("## ")) ++headings;
    const bool isOurs = line.empty() || line.starts_with("> ") || line.starts_with("# ") || line.starts_with("- ") ||
                        line == "<details>" || line == "</details>" || line.starts_with("<summary>") ||
                        line == "Input:" || line == "Output:" || line.starts_with("Ended: ") ||
                        (line.starts_with("## ") && line.contains(", 2026-"));
    EXPECT_TRUE(isOurs) << line;
    // A tag only where code spans are sure to keep it in.
    if (line.starts_with("> ")) {
      EXPECT_THAT(line, Not(testing::ContainsRegex("<(script|img|i>|u>|/details|!--)")));
    }
  }
  EXPECT_EQ(headings, 400U);
  EXPECT_THAT(markdown, HasSubstr("`````\n```\nfence\n````\n~~~\n`````"));
}

TEST_F(Transfer, writesHtmlThatCanOnlyBeRead) {
  const ConversationId id = generate(store, 400);
  const std::string html = exported(store, id, ExportFormat::html);
  EXPECT_TRUE(isValidUtf8(html));
  EXPECT_THAT(html, HasSubstr("default-src 'none'"));
  EXPECT_THAT(html, Not(testing::ContainsRegex("[\x01-\x08\x0b-\x1f\x7f]")));
  // Every tag is one of ours, and as many are closed as were opened.
  std::map<std::string, int> open;
  for (std::size_t at = html.find('<'); at != std::string::npos; at = html.find('<', at + 1)) {
    const bool closes = html[at + 1] == '/';
    const std::size_t name = at + (closes ? 2 : 1);
    open[html.substr(name, html.find_first_of(" >\n", name) - name)] += closes ? -1 : 1;
  }
  const std::map<std::string, int> expected = {
      {"!DOCTYPE", 1}, {"meta", 5}, {"html", 0}, {"head", 0},    {"style", 0},   {"title", 0},   {"body", 0},
      {"h1", 0},       {"bdi", 0},  {"dl", 0},   {"dt", 0},      {"dd", 0},      {"section", 0}, {"h2", 0},
      {"p", 0},        {"pre", 0},  {"code", 0}, {"details", 0}, {"summary", 0}, {"b", 0}};
  EXPECT_EQ(open, expected);
}

}  // namespace
}  // namespace ravant::test
