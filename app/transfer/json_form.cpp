#include <fmt/format.h>

#include <utility>

#include "app/transfer/conversation_wire.hpp"
#include "app/transfer/transcript_form.hpp"

namespace ravant {
namespace {

class JsonForm final : public TranscriptForm {
 public:
  std::string beginning(const ExportedConversation& exported) override {
    return fmt::format("{{\"format\":\"{}\",\"version\":{},\n\"project\":{},\n\"conversation\":{},\n\"items\":[",
                       conversation_wire::kFormat, conversation_wire::kVersion,
                       conversation_wire::projectText(exported), conversation_wire::conversationText(exported));
  }
  std::string entry(const ConversationItem& item) override {
    return (std::exchange(isFirst_, false) ? "\n" : ",\n") + conversation_wire::itemText(item);
  }
  std::string end() override { return "\n]}\n"; }

 private:
  bool isFirst_ = true;
};

}  // namespace

std::unique_ptr<TranscriptForm> jsonForm() { return std::make_unique<JsonForm>(); }

}  // namespace ravant
