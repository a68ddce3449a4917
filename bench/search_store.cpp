// search_store FOLDER ITEMS: makes a store of so many items with about 3 KB each, half of them tool calls, and prints
// the seconds in which they are indexed, the bytes of the texts and of the index, and the milliseconds of searches.
// search_store FOLDER ask ITEMS: the milliseconds of searches in a store that has been made so.
// search_store FOLDER append ITEMS: the seconds in which messages are appended one by one, without and with the
// index kept current, until it has taken in all of them.

#include <fmt/format.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "bench/bare_sqlite.hpp"
#include "bench/open_store.hpp"
#include "bench/timing.hpp"
#include "core/store/search/search_index.hpp"
#include "core/store/search/search_reader.hpp"
#include "core/store/search/search_upkeep.hpp"

namespace ravant::bench {
namespace {

constexpr std::int64_t kOfEach = 500;  // items of a conversation
constexpr std::size_t kVocabulary = 60'000;
constexpr Timestamp kFirst{std::chrono::microseconds(1'700'000'000'000'000)};  // one item each minute from here on

/// Texts like those of programmers: few words are frequent, and names and numbers occur once.
class Texts {
 public:
  Texts() {
    constexpr std::string_view kConsonants = "bcdfghklmnprstvw";
    constexpr std::string_view kVowels = "aeiou";
    for (std::size_t i = 0; i < kVocabulary; ++i) {
      std::string word;
      for (std::size_t n = i + 16; n > 0; n /= 80) {
        word += kConsonants[n % 80 / 5];
        word += kVowels[n % 5];
      }
      words_.push_back(i % 7 == 3 ? "get" + std::string(1, static_cast<char>(word[0] - 32)) + word.substr(1) : word);
      weights_.push_back(1.0 / static_cast<double>(i + 3));
    }
    words_[5] = "return";
    words_[40] = "function";
    words_[300] = "segfault";
    choice_ = std::discrete_distribution<std::size_t>(weights_.begin(), weights_.end());
  }

  std::string text(std::size_t words) {
    std::string text;
    for (std::size_t i = 0; i < words; ++i) {
      text += words_[choice_(random_)];
      text += i % 12 == 11 ? ";\n  " : i % 9 == 4 ? "->" : i % 17 == 3 ? "/" : " ";
    }
    text += fmt::format("0x{:08x} ", random_());
    if (random_() % 50 == 0) text += "全文検索の索引 ";
    if (random_() % 400 == 0) text += "segfault in parser ";
    return text;
  }
  const std::string& word(std::size_t rank) const { return words_[rank]; }
  std::size_t below(std::size_t count) { return random_() % count; }

 private:
  std::vector<std::string> words_;
  std::vector<double> weights_;
  std::discrete_distribution<std::size_t> choice_;
  std::mt19937 random_{20261122};
};

double processorSeconds() {
  rusage use{};
  ::getrusage(RUSAGE_SELF, &use);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(use.ru_utime) + seconds(use.ru_stime);
}

ConversationId makeConversation(const OpenStore& store) {
  const Project project = test::run(ProjectStore::make(store.container)->create("/tmp", "bench"));
  const auto agents = AgentModelStore::make(store.container);
  test::run(agents->createAgentIfMissing(AgentType::claude, "/usr/bin/false", {}));
  const AgentId agent = test::run(agents->agents()).front().id;
  return test::run(ConversationModelActor::make(store.container)->createConversation(project.id, agent)).value();
}

/// Writes the rows themselves, in large transactions, for a million items would take minutes one by one.
double fill(const std::filesystem::path& folder, std::int64_t count, Texts& texts) {
  Database database((folder / "store.sqlite").c_str());
  auto conversation = database.prepare(
      "INSERT INTO conversation (uuid, project_id, agent_id, created_at, last_activity_at, last_prompt_at, archived) "
      "SELECT randomblob(16), project_id, agent_id, ?1, ?1, ?1, 0 FROM conversation LIMIT 1");
  auto item = database.prepare(
      "INSERT INTO conversation_item (conversation_id, kind, created_at, text, raw_json) VALUES (?, ?, ?, ?, ?)");
  auto block = database.prepare("INSERT INTO message_block VALUES (?, ?, ?, NULL, ?)");
  auto call = database.prepare(
      "INSERT INTO tool_invocation (group_id, conversation_id, created_at, completed_at, status_raw_value, tool_name, "
      "tool_call_id, text, input, output, raw_json) VALUES (?, ?, ?3, ?3, ?4, 'Bash', 'c', 'Bash', ?5, ?6, ?7)");
  double bytes = 0;
  std::int64_t time = kFirst.time_since_epoch().count();
  for (std::int64_t i = 0; i < count;) {
    database.execute("BEGIN IMMEDIATE");
    for (const std::int64_t end = std::min(count, i + 10 * kOfEach); i < end; ++i, time += 60'000'000) {
      if (i % kOfEach == 0) conversation(time);
      const std::int64_t row = i / kOfEach + 2;
      const std::string text = texts.text(60 + texts.below(260));
      const std::string raw = "{\"type\":\"assistant\",\"message\":\"" + text + "\"}";
      bytes += static_cast<double>(text.size());
      if (i % 2 == 0) {
        item(row, std::string_view(i % 20 == 0 ? "userMessage" : "agentMessage"), time, text, raw);
        const std::int64_t message = database.lastRow();
        const std::string_view view = text;
        block(message, 0, std::string_view("prose"), view.substr(0, view.size() / 2));
        block(message, 1, std::string_view("code"), view.substr(view.size() / 2));
      } else {
        item(row, std::string_view("toolInvocationGroup"), time, std::string_view(""), std::string_view(""));
        const std::string_view view = text;
        call(database.lastRow(), row, time, std::string_view(i % 31 == 0 ? "failed" : "completed"), view.substr(0, 80),
             view.substr(80), raw);
      }
    }
    database.execute("COMMIT");
  }
  return bytes;
}

struct Asked {
  const char* name;
  std::vector<SearchQuery> queries;
};

std::vector<Asked> questions(Texts& texts, std::int64_t count) {
  std::vector<Asked> all(10);
  all[0].name = "rare";
  all[1].name = "common";
  all[2].name = "frequent";
  all[3].name = "beginning";
  all[4].name = "phrase";
  all[5].name = "ideographs";
  all[6].name = "narrowed";
  all[7].name = "timed";
  all[8].name = "narrowedBeginning";
  all[9].name = "symbols";
  const Timestamp end = kFirst + count * std::chrono::minutes(1);
  constexpr std::array<std::string_view, 4> kSymbols = {"{}->{}", "{}/{}", "{};", "\"{} {}\""};
  for (int i = 0; i < 20; ++i) {
    all[0].queries.push_back({.text = texts.word(20'000 + texts.below(40'000))});
    all[1].queries.push_back({.text = texts.word(200 + texts.below(2'000)) + " " + texts.word(texts.below(200))});
    all[2].queries.push_back({.text = texts.word(texts.below(30)) + " " + texts.word(texts.below(30))});
    const std::string& word = texts.word(texts.below(i % 2 == 0 ? 200 : 30'000));
    all[3].queries.push_back({.text = word.substr(0, 2 + texts.below(word.size())), .lastWord = LastWord::begun});
    all[4].queries.push_back(
        {.text = i % 2 == 0 ? "\"segfault in parser\""
                            : fmt::format("\"{} {}\"", texts.word(texts.below(20)), texts.word(texts.below(20)))});
    all[5].queries.push_back({.text = i % 2 == 0 ? "検索" : "索引"});
    all[6].queries.push_back({.text = texts.word(texts.below(100)),
                              .agent = AgentType::claude,
                              .kind = kSearchKinds.at(texts.below(kSearchKinds.size())),
                              .tools = i % 4 == 0 ? ToolFilter::failed : ToolFilter::all});
    const auto few = std::chrono::minutes(10 + texts.below(500));
    SearchQuery timed{.text = texts.word(texts.below(100))};
    if (i % 2 == 0) timed.since = end - few;
    if (i % 2 == 1) timed.until = kFirst + few;
    all[7].queries.push_back(timed);
    SearchQuery beginning{.text = texts.word(texts.below(200)).substr(0, 2), .lastWord = LastWord::begun};
    if (i % 2 == 0) beginning.tools = ToolFilter::failed;
    if (i % 2 == 1) beginning.text = texts.word(20'000 + texts.below(40'000)) + " " + beginning.text;
    all[8].queries.push_back(beginning);
    const std::string_view form = kSymbols.at(static_cast<std::size_t>(i) % kSymbols.size());
    all[9].queries.push_back(
        {.text = fmt::format(fmt::runtime(form), texts.word(texts.below(300)), texts.word(texts.below(300)))});
  }
  return all;
}

double percentile(std::vector<double> times, double part) {
  std::ranges::sort(times);
  return times[static_cast<std::size_t>(std::ceil(part * static_cast<double>(times.size()))) - 1] * 1e3;
}

void ask(const OpenStore& store, Texts& texts, std::int64_t count) {
  const auto reader = SearchReader::make(store.container);
  std::vector<double> every;
  for (Asked& asked : questions(texts, count)) {
    std::vector<double> times;
    std::size_t hits = 0;
    for (const SearchQuery& query : asked.queries) {
      const auto start = std::chrono::steady_clock::now();
      hits += test::run(reader->search(query)).hits.size();
      times.push_back(secondsSince(start));
    }
    fmt::print("{}P50\t{}\n{}P95\t{}\n{}Hits\t{}\n", asked.name, percentile(times, 0.5), asked.name,
               percentile(times, 0.95), asked.name, hits);
    std::ranges::copy(times, std::back_inserter(every));
  }
  fmt::print("allP50\t{}\nallP95\t{}\n", percentile(every, 0.5), percentile(every, 0.95));
}

void search(const std::filesystem::path& folder, std::int64_t count) {
  Texts texts;
  {
    const OpenStore store(folder);
    makeConversation(store);
  }
  const double bytes = fill(folder, count, texts);
  const auto before = std::filesystem::file_size(folder / "store.sqlite");
  {
    const OpenStore store(folder);
    const auto index = SearchIndex::make(store.container, {.pause = {}});
    const double begun = processorSeconds();
    const auto start = std::chrono::steady_clock::now();
    while (test::run(index->takeInSome())) {
    }
    fmt::print("indexed\t{}\nindexedProcessor\t{}\n", secondsSince(start), processorSeconds() - begun);
    store.container->connect().execute("PRAGMA wal_checkpoint(TRUNCATE)");
    fmt::print("texts\t{}\nstore\t{}\nindex\t{}\n", bytes, before,
               std::filesystem::file_size(folder / "store.sqlite") - before);
    ask(store, texts, count);
  }
}

/// Messages of about 1 KB, one transaction each, as they come from an agent.
double append(const std::filesystem::path& folder, int count, bool isIndexed, double& processor, double& behind) {
  std::filesystem::create_directories(folder);
  const OpenStore store(folder);
  const ConversationId id = makeConversation(store);
  const auto items = ConversationItemModelActor::make(store.container);
  Texts texts;
  std::vector<std::string> all;
  for (int i = 0; i < count; ++i) all.push_back(texts.text(140));
  const auto upkeep = SearchUpkeep::make(store.container);
  if (isIndexed) test::run(upkeep->start());
  const double begun = processorSeconds();
  const auto start = std::chrono::steady_clock::now();
  test::run([](auto to, ConversationId conversation, std::vector<std::string> messages) -> awaitable<void> {
    for (std::string& text : messages) {
      co_await to->appendAgentMessage(conversation, R"({"type":"assistant"})", std::move(text), "sonnet", {});
    }
  }(items, id, std::move(all)));
  const double seconds = secondsSince(start);
  // Beside the one that keeps the index current.
  const auto index = SearchIndex::make(store.container, {.pause = {}, .patience = std::chrono::seconds(10)});
  if (isIndexed) {
    const auto appended = std::chrono::steady_clock::now();
    while (test::run(index->takeInSome())) {
    }
    behind = secondsSince(appended);
  }
  processor = processorSeconds() - begun;
  test::run(upkeep->stop());
  return seconds;
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant::bench;
  const std::filesystem::path folder = arguments[1];
  if (std::string_view(arguments[2]) != "append" && std::string_view(arguments[2]) != "ask") {
    search(folder, std::stoll(arguments[2]));
    return 0;
  }
  const int count = std::stoi(arguments[3]);
  if (std::string_view(arguments[2]) == "ask") {
    Texts texts;
    ask(OpenStore(folder), texts, count);
    return 0;
  }
  double without = 1e9, with = 1e9, processorWithout = 1e9, processorWith = 1e9;
  double mostBehind = 0;
  for (int round = 0; round < 3; ++round) {
    double processor = 0;
    double behind = 0;
    without = std::min(without, append(folder / fmt::format("without{}", round), count, false, processor, behind));
    processorWithout = std::min(processorWithout, processor);
    with = std::min(with, append(folder / fmt::format("with{}", round), count, true, processor, behind));
    mostBehind = std::max(mostBehind, behind);
    processorWith = std::min(processorWith, processor);
  }
  fmt::print("without\t{}\nwith\t{}\nprocessorWithout\t{}\nprocessorWith\t{}\nbehind\t{}\n", without, with,
             processorWithout, processorWith, mostBehind);
}
