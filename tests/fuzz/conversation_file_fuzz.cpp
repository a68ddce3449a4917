#include "app/transfer/conversation_file.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <optional>
#include <utility>
#include <vector>

#include "app/transfer/transcript_form.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

struct Whole {
  ExportedConversation conversation;
  std::vector<ConversationItem> items;
};

/// Nothing where it is refused.
std::optional<Whole> read(std::string_view contents) {
  UniqueFd file(::memfd_create("export", MFD_CLOEXEC));
  expect(::write(file.get(), contents.data(), contents.size()) == static_cast<ssize_t>(contents.size()), "room");
  ::lseek(file.get(), 0, SEEK_SET);
  try {
    ConversationFile reading(std::move(file));
    Whole whole{.conversation = reading.conversation(), .items = {}};
    while (auto item = reading.next()) whole.items.push_back(*std::move(item));
    return whole;
  } catch (const ConversationFileError& error) {
    expect(std::string_view(error.what()).starts_with("line "), "an error names a line");
    return std::nullopt;
  }
}

std::string written(const Whole& whole) {
  const auto form = jsonForm();
  std::string text = form->beginning(whole.conversation);
  for (const ConversationItem& item : whole.items) text += form->entry(item);
  return text + form->end();
}

}  // namespace
}  // namespace ravant::fuzz

// Whatever a file is, it is refused or read; what was read is written as a file that is read as the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant::fuzz;
  const auto first = read(text(bytes, size));
  if (!first) return 0;
  const std::string exported = written(*first);
  const auto second = read(exported);
  expect(second && second->items == first->items, "what is exported is read back");
  expect(written(*second) == exported, "the same is written the same");
  for (const auto& form : {ravant::markdownForm(), ravant::htmlForm()}) {
    std::string shown = form->beginning(first->conversation);
    for (const ravant::ConversationItem& item : first->items) shown += form->entry(item);
    expect(shown.find('\x1b') == std::string::npos, "what is shown is harmless");
  }
  return 0;
}
