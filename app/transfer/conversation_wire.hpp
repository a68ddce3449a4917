#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "app/transfer/exported_conversation.hpp"
#include "core/conversation_item.hpp"

namespace ravant::conversation_wire {

/// An object of the JSON export. Members are the entities' fields; an absent optional field is left out; times are UTC
/// with microseconds; a text that is no UTF-8 is `{"base64":…}`.
///
///     {"format":"ravant.conversation","version":1,
///     "project":{"path":…,"name":…},
///     "conversation":{…},
///     "items":[
///     {…},
///     {…}
///     ]}
inline constexpr std::string_view kFormat = "ravant.conversation";
inline constexpr std::int64_t kVersion = 1;
/// The key of a text's bytes in the object that stands for it where it is no UTF-8.
inline constexpr std::string_view kBytes = "base64";
/// What is read of the members before the items.
inline constexpr std::array<std::string_view, 4> kMembersBeforeItems = {"format", "version", "project", "conversation"};

std::string projectText(const ExportedConversation& exported);
std::string conversationText(const ExportedConversation& exported);
std::string itemText(const ConversationItem& item);

/// What is wrong with a text that is read; `what()` names the member.
class Fault : public std::runtime_error {
 public:
  explicit Fault(const std::string& words, std::optional<std::int64_t> line = {})
      : std::runtime_error(words), line_(line) {}

  /// Where the member begins, if that is known.
  std::optional<std::int64_t> line() const { return line_; }

 private:
  std::optional<std::int64_t> line_;
};

struct Member {
  std::string text;
  std::int64_t line;
};

/// The members before the items. All of them throw `Fault`.
using Members = std::map<std::string, Member, std::less<>>;
void expectFormat(const Members& members);
ExportedConversation readConversation(const Members& members);
/// Without ids.
ConversationItem readItem(std::string_view text);

}  // namespace ravant::conversation_wire
