#include "core/store/held_bytes.hpp"

namespace ravant {

std::size_t heldBytes(const ConversationItem& item) {
  std::size_t bytes = sizeof item + item.text.size() + item.rawJSON.size();
  if (const auto* message = std::get_if<AgentMessage>(&item.detail)) {
    for (const MessageBlock& block : message->blocks) bytes += sizeof block + block.text.size();
  } else if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
    for (const ToolInvocation& call : group->invocations) {
      bytes += sizeof call + call.rawJSON.size() + call.text.size() + (call.input ? call.input->size() : 0) +
               (call.output ? call.output->size() : 0);
    }
  }
  return bytes;
}

}  // namespace ravant
