#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <initializer_list>
#include <random>
#include <set>

#include "core/store/search/search_index.hpp"
#include "core/store/search/search_reader.hpp"
#include "platform/json/json.hpp"
#include "platform/process/unique_fd.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

/// In small steps, so that there is something between them.
constexpr SearchIndexPace kSmallSteps{.entries = 3, .pause = {}};

void takeInAll(const std::shared_ptr<SearchIndex>& index) {
  while (run(index->takeInSome())) {
  }
}

/// What identifies a hit: its item, and the tool call where it is in one.
using Place = std::pair<std::int64_t, std::int64_t>;

std::set<Place> placesOf(const std::vector<SearchHit>& hits) {
  std::set<Place> places;
  for (const SearchHit& hit : hits) places.emplace(hit.item.value(), hit.invocation ? hit.invocation->value() : 0);
  return places;
}

struct Wanted {
  std::string text;  ///< in lower case
  bool isBeginning = false;
};

bool isWordByte(char byte) { return std::isalnum(static_cast<unsigned char>(byte)) != 0; }

bool stands(const Wanted& wanted, const std::string& text) {
  for (std::size_t at = text.find(wanted.text); at != std::string::npos; at = text.find(wanted.text, at + 1)) {
    const std::size_t end = at + wanted.text.size();
    const bool begins = at == 0 || !isWordByte(text[at - 1]);
    const bool ends = wanted.isBeginning || end == text.size() || !isWordByte(text[end]);
    if (begins && ends) return true;
  }
  return false;
}

std::string lowerCased(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char byte) { return std::tolower(byte); });
  return text;
}

/// With a byte that is in no word where a capital letter begins a part of a word.
std::string parted(const std::string& text) {
  const auto isUpper = [&](std::size_t at) { return std::isupper(static_cast<unsigned char>(text[at])) != 0; };
  const auto isInPart = [&](std::size_t at) { return at < text.size() && isWordByte(text[at]) && !isUpper(at); };
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i > 0 && isUpper(i) && (isInPart(i - 1) || (isUpper(i - 1) && isInPart(i + 1)))) result += '\1';
    result += text[i];
  }
  return result;
}

/// A message or a tool call: each of its texts as it is and in parts, in lower case.
struct Entry {
  Place place;
  std::vector<std::pair<std::string, std::string>> texts;

  Entry(Place where, std::initializer_list<std::string> all) : place(std::move(where)) {
    for (const std::string& text : all) texts.emplace_back(lowerCased(text), lowerCased(parted(text)));
  }

  bool matches(const std::vector<Wanted>& wanted) const {
    return std::ranges::all_of(wanted, [&](const Wanted& one) {
      return std::ranges::any_of(texts,
                                 [&](const auto& text) { return stands(one, text.first) || stands(one, text.second); });
    });
  }
};

/// What an input says, which is JSON or not.
std::string said(const std::string& input) {
  const auto value = parseJson(input);
  const json::object* members = asObject(value ? &*value : nullptr);
  return members ? std::string(stringAt(*members, "content").value()) : input;
}

std::vector<Entry> allOf(OpenStore& store) {
  std::vector<Entry> entries;
  for (const ConversationSummary& summary : run(store.conversations->conversations({}))) {
    for (const ConversationItem& item : store.transcript(summary.conversation.id)) {
      entries.emplace_back(Place(item.id.value(), 0), std::initializer_list<std::string>{item.text});
      const auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
      if (!group) continue;
      for (const ToolInvocation& call : group->invocations) {
        entries.emplace_back(Place(item.id.value(), call.id.value()),
                             std::initializer_list<std::string>{call.toolName, call.text, said(call.input.value_or("")),
                                                                call.output.value_or("")});
      }
    }
  }
  return entries;
}

std::set<Place> foundByLookingAtAll(const std::vector<Entry>& entries, const std::vector<Wanted>& wanted) {
  std::set<Place> places;
  for (const Entry& entry : entries) {
    if (entry.matches(wanted)) places.insert(entry.place);
  }
  return places;
}

std::string queryFor(const std::vector<Wanted>& wanted) {
  std::string query;
  for (const Wanted& one : wanted) {
    query += one.isBeginning ? one.text + "* " : one.text.contains(' ') ? "\"" + one.text + "\" " : one.text + " ";
  }
  return query;
}

const std::array<std::string, 14> kWords = {"parser",  "Reader",  "HTTPServer", "line_reader", "buffer",
                                            "lineEnd", "view",    "fill",       "endOfFile",   "core/store.cpp",
                                            "std::",   "segment", "fault",      "XMLParser2"};
const std::array<std::string, 18> kAsked = {
    "parser", "reader",         "server",  "httpserver", "line_reader", "line",    "end",  "file",      "store",
    "cpp",    "core/store.cpp", "segment", "fault",      "lineend",     "parser2", "http", "view fill", "buffer view"};

class Chance {
 public:
  explicit Chance(unsigned seed) : random_(seed) {}
  std::size_t below(std::size_t count) { return random_() % count; }
  template <class List>
  const auto& oneOf(const List& list) {
    return list[below(list.size())];
  }
  std::string text() {
    std::string text;
    for (std::size_t i = below(6) + 1; i > 0; --i) text += oneOf(kWords) + (below(4) == 0 ? "" : " ");
    return text;
  }
  std::string input() {
    if (below(2) == 0) return text();
    return compactJson(json::object{{"content", text() + "\n" + text() + "\"" + text()}});
  }
  std::vector<Wanted> wanted() {
    std::vector<Wanted> all;
    for (std::size_t i = below(2) + 1; i > 0; --i) {
      const std::string& word = oneOf(kAsked);
      const bool isBeginning = below(3) == 0 && !word.contains(' ');
      all.push_back({.text = isBeginning ? word.substr(0, 2 + below(3)) : word, .isBeginning = isBeginning});
    }
    return all;
  }

 private:
  std::mt19937 random_;
};

void doSomething(OpenStore& store, SearchIndex& index, Chance& chance, std::vector<ConversationId>& conversations) {
  if (conversations.empty()) conversations.push_back(store.makeConversation());
  const ConversationId id = chance.oneOf(conversations);
  const std::string callId = std::to_string(chance.below(4));
  switch (chance.below(12)) {
    case 0:
      return run(store.items->appendUserPrompt(id, chance.text(), AgentType::claude));
    case 1:
    case 2:
    case 3:
      return run(
          store.items->appendAgentMessage(id, "{}", chance.text() + "\n```cpp\n" + chance.text() + "\n```", {}, {}));
    case 4:
    case 5:
      return run(store.items->appendToolInvocation(id, "{}", "Bash", "Bash", callId, chance.input(), std::nullopt,
                                                   ToolInvocationStatus::running));
    case 6:
    case 7:
      return run(store.items->completeToolInvocation(
          id, callId, chance.text(), chance.below(2) == 0 ? ToolOutcome::failed : ToolOutcome::completed));
    case 8:
      static_cast<void>(
          run(store.items->apply(id, {turn::UpdateToolInvocation{.toolCallId = callId, .input = chance.input()}})));
      return;
    case 9:
      if (chance.below(8) == 0) {
        run(store.conversations->deleteConversation(id));
        std::erase(conversations, id);
      }
      return;
    case 10:
      conversations.push_back(store.makeConversation());
      return;
    default:
      if (chance.below(60) == 0) return run(index.empty());
      static_cast<void>(run(index.takeInSome()));
  }
}

[[noreturn]] void changeUntilKilled(const std::filesystem::path& folder, unsigned seed, int report) {
  OpenStore store(folder);
  const auto index = SearchIndex::make(store.container, kSmallSteps);
  Chance chance(seed);
  std::vector<ConversationId> conversations;
  for (const ConversationSummary& summary : run(store.conversations->conversations({}))) {
    conversations.push_back(summary.conversation.id);
  }
  for (;;) {
    doSomething(store, *index, chance, conversations);
    if (::write(report, ".", 1) != 1) ::_exit(1);
  }
}

TEST(SearchIndexOfAKilledProcess, FindsWhatLookingAtAllFinds) {
  const TemporaryFolder folder;
  Chance chance(20261122);
  for (unsigned round = 0; round < 8; ++round) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const pid_t child = ::fork();
    if (child == 0) changeUntilKilled(folder.path(), round, pipe[1]);
    ::close(pipe[1]);
    const UniqueFd reports(pipe[0]);
    std::array<char, 16> buffer;
    for (std::size_t enough = 30 + chance.below(80), done = 0; done < enough;) {
      const ssize_t count = ::read(reports.get(), buffer.data(), buffer.size());
      ASSERT_GT(count, 0);
      done += static_cast<std::size_t>(count);
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);

    OpenStore store(folder.path());
    const auto index = SearchIndex::make(store.container, kSmallSteps);
    takeInAll(index);
    EXPECT_EQ(run(index->waiting()), 0);
    const auto reader = SearchReader::make(store.container);
    const std::vector<Entry> entries = allOf(store);
    for (int i = 0; i < 12; ++i) {
      const std::vector<Wanted> wanted = chance.wanted();
      const auto result = run(reader->search({.text = queryFor(wanted), .limit = 100'000}));
      EXPECT_EQ(placesOf(result.hits), foundByLookingAtAll(entries, wanted)) << queryFor(wanted);
    }
  }
}

}  // namespace
}  // namespace ravant::test
