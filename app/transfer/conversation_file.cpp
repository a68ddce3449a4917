#include "app/transfer/conversation_file.hpp"

#include <algorithm>
#include <utility>

#include "app/transfer/conversation_wire.hpp"
#include "app/transfer/json_pieces.hpp"

namespace ravant {
namespace {

// In bytes of JSON. An entry of the store has at most 10^9, each of which can be an escape of six.
constexpr std::size_t kLargestMember = 64 * 1024 * 1024;
constexpr std::size_t kLargestEntry = 6'000'000'000;

}  // namespace

ConversationFile::ConversationFile(UniqueFd file) : pieces_(std::make_unique<JsonPieces>(std::move(file))) {
  const std::int64_t line = pieces_->line();
  try {
    readBeginning();
  } catch (const conversation_wire::Fault& fault) {
    JsonPieces::failAt(fault.line().value_or(line), fault.what());
  }
}

ConversationFile::~ConversationFile() = default;

void ConversationFile::readBeginning() {
  conversation_wire::Members members;
  if (pieces_->peek() != '{') throw conversation_wire::Fault("this is no conversation that Ravant exported as JSON");
  pieces_->expect('{');
  for (;;) {
    std::string key = pieces_->value(kLargestMember);
    pieces_->expect(':');
    if (key == "\"items\"") break;
    if (key.size() > 1) key = key.substr(1, key.size() - 2);
    pieces_->peek();
    const std::int64_t line = pieces_->line();
    std::string text = pieces_->value(kLargestMember);
    if (std::ranges::count(conversation_wire::kMembersBeforeItems, key) > 0) {
      members.insert_or_assign(std::move(key), conversation_wire::Member{.text = std::move(text), .line = line});
    }
    if (pieces_->peek() == '}') break;
    pieces_->expect(',');
  }
  conversation_wire::expectFormat(members);
  conversation_ = conversation_wire::readConversation(members);
  pieces_->expect('[');
}

std::optional<ConversationItem> ConversationFile::next() {
  if (pieces_->peek() == ']') {
    pieces_->expect(']');
    while (pieces_->peek() == ',') {
      pieces_->expect(',');
      if (pieces_->value(kLargestMember) == "\"items\"") pieces_->fail("there are \"items\" twice");
      pieces_->expect(':');
      pieces_->value(kLargestMember);
    }
    pieces_->expect('}');
    if (pieces_->peek()) pieces_->fail("something follows the end");
    return std::nullopt;
  }
  if (latest_) pieces_->expect(',');
  pieces_->peek();
  const std::int64_t line = pieces_->line();
  try {
    ConversationItem item = conversation_wire::readItem(pieces_->value(kLargestEntry));
    if (latest_ && item.createdAt < *latest_) {
      throw conversation_wire::Fault("the entry is older than the one before it");
    }
    latest_ = item.createdAt;
    return item;
  } catch (const conversation_wire::Fault& fault) {
    JsonPieces::failAt(line, fault.what());
  }
}

}  // namespace ravant
