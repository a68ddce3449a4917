#include "runners/rpc_prompt.hpp"

#include <utility>

#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "RpcPrompt");

}  // namespace

awaitable<void> RpcPrompt::store() {
  if (error || actions.empty()) co_return;
  try {
    auto told = co_await writer.perform(std::exchange(actions, {}));
    if (told) end = std::move(told);
  } catch (const std::exception& failure) {
    kLog.error("what the agent said could not be stored: {}", failure.what());
    error = std::current_exception();
  }
}

}  // namespace ravant
