// floor_store STORE CONVERSATION PROMPT < EVENTS: the seconds in which a program that does nothing else parses an
// agent's events and commits the rows that a runner stores for them, each line in one transaction.

#include <fmt/format.h>
#include <unistd.h>

#include <boost/json.hpp>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/bare_sqlite.hpp"
#include "bench/timing.hpp"

namespace ravant::bench {
namespace {

namespace json = boost::json;

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

enum class Entity : std::int64_t { conversation = 3, item, invocation };
enum class Change : std::int64_t { inserted, updated };

struct Usage {
  std::int64_t input = 0, output = 0, cacheRead = 0, cacheCreation = 0, total = 0;
};

class Store {
 public:
  Store(const char* file, std::string uuid) : database_(file), uuid_(std::move(uuid)) {
    conversation_ = find_(Blob{uuid_});
  }

  void begin() { begin_(); }
  void commit() {
    if (std::exchange(hasConversationChanged_, false)) {
      insertChange_(std::to_underlying(Entity::conversation), std::to_underlying(Change::updated), Blob{uuid_},
                    nullptr);
      dropOldChanges();
    }
    commit_();
  }

  void beginRun(std::string_view prompt) {
    begin();
    insertRun_(conversation_, std::string_view("floor"), now());
    commit();
    database_.execute("PRAGMA synchronous = FULL");
    begin();
    const std::int64_t time = now();
    touchPrompt_(time, conversation_);
    const std::string record = json::serialize(json::object{
        {"type", "user"},
        {"message", {{"role", "user"}, {"content", json::array{json::object{{"type", "text"}, {"text", prompt}}}}}},
        {"timestamp", "2026-11-21T09:14:16.123456Z"}});
    insertItem_(conversation_, std::string_view("userMessage"), time, nullptr, nullptr, prompt,
                std::string_view(record));
    announce(Entity::item, Change::inserted, database_.lastRow());
    announceConversation();
    commit();
    database_.execute("PRAGMA synchronous = NORMAL");
  }

  void endRun() {
    database_.execute("PRAGMA synchronous = FULL");
    begin();
    touch_(now(), conversation_);
    removeRun_(conversation_);
    announceConversation();
    commit();
  }

  void setSession(std::string_view session) {
    setSession_(session, conversation_);
    announceConversation();
  }

  void addMessage(std::string_view line, std::string_view text, std::string_view model, std::string_view messageId) {
    const std::int64_t time = now();
    touch_(time, conversation_);
    insertItem_(conversation_, std::string_view("agentMessage"), time, model, messageId, text, line);
    message_ = database_.lastRow();
    messageId_ = messageId;
    addBlocks(text);
    announce(Entity::item, Change::inserted, message_);
    announceConversation();
    group_.reset();
  }

  void addInvocation(std::string_view line, std::string_view name, std::string_view callId, std::string_view input) {
    const std::int64_t time = now();
    touch_(time, conversation_);
    if (!group_) {
      constexpr std::string_view kNothing = "";
      insertItem_(conversation_, std::string_view("toolInvocationGroup"), time, nullptr, nullptr, kNothing, kNothing);
      group_ = database_.lastRow();
      announce(Entity::item, Change::inserted, *group_);
    }
    insertInvocation_(*group_, conversation_, time, name, callId, name, input, line);
    invocations_.insert_or_assign(std::string(callId), database_.lastRow());
    announce(Entity::invocation, Change::inserted, database_.lastRow());
    announceConversation();
  }

  void completeInvocation(const std::string& callId, std::string_view output) {
    const std::int64_t time = now();
    const std::int64_t invocation = invocations_.at(callId);
    invocations_.erase(callId);
    completeInvocation_(output, time, invocation);
    touch_(time, conversation_);
    announce(Entity::invocation, Change::updated, invocation);
    announceConversation();
  }

  void applyUsage(const Usage& usage, std::optional<std::string_view> messageId) {
    applyUsage_(usage.total, usage.total, usage.input, usage.output, usage.cacheRead, usage.cacheCreation, now(),
                conversation_);
    announceConversation();
    if (messageId != messageId_) return;
    applyItemUsage_(usage.input, usage.output, usage.cacheRead, usage.cacheCreation, usage.total, usage.total,
                    message_);
    announce(Entity::item, Change::updated, message_);
  }

  void applyContextWindow(std::int64_t tokens) {
    applyContextWindow_(tokens, now(), conversation_);
    announceConversation();
  }

 private:
  void addBlocks(std::string_view text) {
    constexpr std::string_view kFence = "```";
    std::int64_t position = 0;
    while (!text.empty()) {
      const std::size_t open = std::min(text.find(kFence), text.size());
      const std::string_view prose = text.substr(0, text.find_last_not_of('\n', open - 1) + 1);
      insertBlock_(message_, position++, std::string_view("prose"), nullptr, prose);
      if (open == text.size()) return;
      const std::size_t code = text.find('\n', open) + 1;
      const std::size_t close = text.find(kFence, code);
      insertBlock_(message_, position++, std::string_view("code"),
                   text.substr(open + kFence.size(), code - 1 - open - kFence.size()),
                   text.substr(code, close - 1 - code));
      text.remove_prefix(std::min(text.find_first_not_of('\n', close + kFence.size()), text.size()));
    }
  }

  void announceConversation() { hasConversationChanged_ = true; }
  void announce(Entity entity, Change change, std::int64_t id) {
    insertChange_(std::to_underlying(entity), std::to_underlying(change), id, Blob{uuid_});
    dropOldChanges();
  }
  void dropOldChanges() {
    const std::int64_t sequence = database_.lastRow();
    if (sequence % 1024 == 0) dropChanges_(sequence - 16384);
  }

  Database database_;
  std::string uuid_;
  std::int64_t conversation_ = 0;
  bool hasConversationChanged_ = false;
  std::int64_t message_ = 0;
  std::optional<std::string> messageId_;
  std::optional<std::int64_t> group_;
  std::map<std::string, std::int64_t> invocations_;

  Statement begin_ = database_.prepare("BEGIN IMMEDIATE");
  Statement commit_ = database_.prepare("COMMIT");
  Statement find_ = database_.prepare("SELECT id FROM conversation WHERE uuid = ?");
  Statement insertRun_ = database_.prepare("INSERT INTO run (conversation_id, owner, started_at) VALUES (?, ?, ?)");
  Statement removeRun_ = database_.prepare("DELETE FROM run WHERE conversation_id = ?");
  Statement touchPrompt_ =
      database_.prepare("UPDATE conversation SET last_prompt_at = ?1, last_activity_at = ?1 WHERE id = ?2");
  Statement touch_ = database_.prepare("UPDATE conversation SET last_activity_at = ? WHERE id = ?");
  Statement setSession_ = database_.prepare("UPDATE conversation SET agent_resumed_session_id = ? WHERE id = ?");
  Statement insertItem_ = database_.prepare(
      "INSERT INTO conversation_item (conversation_id, kind, created_at, agent_model, provider_message_id, text, "
      "raw_json) VALUES (?, ?, ?, ?, ?, ?, ?)");
  Statement insertBlock_ = database_.prepare(
      "INSERT INTO message_block (message_id, position, kind, language, text) VALUES (?, ?, ?, ?, ?)");
  Statement insertInvocation_ = database_.prepare(
      "INSERT INTO tool_invocation (group_id, conversation_id, created_at, status_raw_value, tool_name, tool_call_id, "
      "text, input, raw_json) VALUES (?, ?, ?, 'running', ?, ?, ?, ?, ?)");
  Statement completeInvocation_ = database_.prepare(
      "UPDATE tool_invocation SET status_raw_value = 'completed', output = ?, completed_at = ? WHERE id = ?");
  Statement applyUsage_ = database_.prepare(
      "UPDATE conversation SET last_used_tokens = ?, last_total_processed_tokens = ?, last_input_tokens = ?, "
      "last_output_tokens = ?, last_cache_read_tokens = ?, last_cache_creation_tokens = ?, "
      "last_usage_updated_at = ? WHERE id = ?");
  Statement applyItemUsage_ = database_.prepare(
      "UPDATE conversation_item SET input_tokens = ?, output_tokens = ?, cache_read_tokens = ?, "
      "cache_creation_tokens = ?, used_tokens = ?, total_processed_tokens = ? WHERE id = ?");
  Statement applyContextWindow_ =
      database_.prepare("UPDATE conversation SET last_max_tokens = ?, last_usage_updated_at = ? WHERE id = ?");
  Statement insertChange_ =
      database_.prepare("INSERT INTO change (entity, operation, id, conversation) VALUES (?, ?, ?, ?)");
  Statement dropChanges_ = database_.prepare("DELETE FROM change WHERE sequence <= ?");
};

class Events {
 public:
  explicit Events(Store& store) : store_(store) {}

  void take(std::string_view line) {
    unsigned char buffer[64 * 1024];
    json::monotonic_resource memory(buffer, sizeof buffer);
    const json::value value = json::parse(line, &memory);
    const json::object& event = value.as_object();
    const json::string& type = event.at("type").as_string();
    store_.begin();
    if (!std::exchange(hasSession_, true)) store_.setSession(event.at("session_id").as_string());
    if (type == "assistant") takeAssistant(event.at("message").as_object(), line);
    if (type == "user") takeUser(event.at("message").as_object());
    if (type == "result") takeResult(event);
    store_.commit();
  }

 private:
  void takeAssistant(const json::object& message, std::string_view line) {
    const json::string& id = message.at("id").as_string();
    for (const json::value& content : message.at("content").as_array()) {
      const json::object& block = content.as_object();
      if (block.at("type").as_string() == "text") {
        store_.addMessage(line, block.at("text").as_string(), message.at("model").as_string(), id);
      } else {
        store_.addInvocation(line, block.at("name").as_string(), block.at("id").as_string(),
                             json::serialize(block.at("input")));
      }
    }
    const json::object& usage = message.at("usage").as_object();
    const auto count = [&](std::string_view key) { return usage.at(key).as_int64(); };
    usage_.cacheRead = count("cache_read_input_tokens");
    usage_.cacheCreation = count("cache_creation_input_tokens");
    usage_.input = count("input_tokens") + usage_.cacheRead + usage_.cacheCreation;
    usage_.output = count("output_tokens");
    usage_.total = usage_.input + usage_.output;
    store_.applyUsage(usage_, id);
  }

  void takeUser(const json::object& message) {
    for (const json::value& content : message.at("content").as_array()) {
      const json::object& block = content.as_object();
      store_.completeInvocation(std::string(block.at("tool_use_id").as_string()), block.at("content").as_string());
    }
  }

  void takeResult(const json::object& result) {
    for (const auto& [model, usage] : result.at("modelUsage").as_object()) {
      store_.applyContextWindow(usage.at("contextWindow").as_int64());
    }
    usage_.output = result.at("usage").at("output_tokens").as_int64();
    store_.applyUsage(usage_, std::nullopt);
  }

  Store& store_;
  Usage usage_;
  bool hasSession_ = false;
};

/// Each line that arrives on standard input.
template <class Take>
void eachLine(Take take) {
  std::string text;
  std::vector<char> chunk(64 * 1024);
  for (ssize_t count = 0; (count = ::read(STDIN_FILENO, chunk.data(), chunk.size())) > 0;) {
    text.append(chunk.data(), static_cast<std::size_t>(count));
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
      take(std::string_view(text).substr(begin, end - begin));
    }
    text.erase(0, begin);
  }
}

std::string bytesOf(std::string_view uuid) {
  std::string bytes;
  for (std::size_t i = 0; i < uuid.size(); i += 2) {
    if (uuid[i] == '-') ++i;
    bytes += static_cast<char>(std::stoi(std::string(uuid.substr(i, 2)), nullptr, 16));
  }
  return bytes;
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant::bench;
  const auto start = std::chrono::steady_clock::now();
  Store store(arguments[1], bytesOf(arguments[2]));
  Events events(store);
  store.beginRun(arguments[3]);
  eachLine([&](std::string_view line) { events.take(line); });
  store.endRun();
  fmt::print("{}\n", secondsSince(start));
}
