#include "core/store/transcript_pages.hpp"

#include <stdexcept>

namespace ravant {
namespace {

constexpr std::int64_t kPage = 256;

}  // namespace

awaitable<std::vector<ConversationItem>> TranscriptPages::next() {
  std::vector<ConversationItem> page = co_await reader_.page(conversation_, last_, PageDirection::after, kPage);
  if (!page.empty()) {
    last_ = page.back().id;
  } else if (last_ && !co_await reader_.position(*last_)) {
    throw std::runtime_error("the conversation was removed while it was read");
  }
  co_return page;
}

}  // namespace ravant
