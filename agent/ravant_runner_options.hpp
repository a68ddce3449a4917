#pragma once

#include <map>
#include <memory>
#include <string>

#include "agent/chat_completions_client.hpp"
#include "agent/ravant_provider_key.hpp"
#include "platform/process/process_ledger.hpp"

namespace ravant {

/// What the built-in agent works with.
struct RavantRunnerOptions {
  any_io_executor io;
  any_io_executor work;  ///< for what blocks
  std::shared_ptr<HttpEngine> http;
  std::shared_ptr<RavantProviderKey> keys;
  std::map<RavantProvider, std::string> baseAddresses;  ///< as configured
  HttpSessionOptions session = {};
  RetryPolicy retry = {};
  std::string shellPath;
  std::shared_ptr<ProcessLedger> processes;
};

}  // namespace ravant
