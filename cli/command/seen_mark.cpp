#include "cli/command/seen_mark.hpp"

#include "platform/log/log.hpp"

namespace ravant::cli {
namespace {

constexpr Log kLog("com.ravant.cli", "SeenMark");

}  // namespace

awaitable<void> markSeen(Application& application, ConversationId conversation, ConversationItemId upTo) {
  try {
    co_await application.conversations().markSeen(conversation, upTo);
  } catch (const StoreError& error) {
    kLog.warning("that a conversation was looked at is not stored: {}", error.what());
  }
}

}  // namespace ravant::cli
