#pragma once

#include <gmock/gmock.h>

#include <exception>
#include <memory>
#include <string>

#include "integrations/linear/linear_service.hpp"
#include "platform/keystore/file_key_store.hpp"
#include "tests/integrations/linear/simulated_linear.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {

/// A store, a file of keys, and a simulated Linear.
class LinearTest : public testing::Test {
 protected:
  LinearConnection connection() {
    return {.io = store.executors.io(),
            .work = store.executors.work(),
            .http = http,
            .baseAddress = [this] { return linear.url(); },
            .keyStore = keyStore};
  }

  /// The words with which an operation fails; empty where it does not.
  template <class Result>
  std::string failureOf(awaitable<Result> operation) {
    try {
      run(std::move(operation), loop);
      return {};
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  TemporaryFolder folder;
  OpenStore store{folder / "store"};
  std::shared_ptr<HttpEngine> http = std::make_shared<HttpEngine>();
  std::shared_ptr<KeyStore> keyStore = std::make_shared<FileKeyStore>(folder / "keys.json");
  asio::io_context loop;
  SimulatedLinear linear;
};

inline const std::string kLinearKey(SimulatedLinear::kKey);
inline const KeyName kLinearKeyName{.service = "com.ravant.integrations.linear", .account = "ada@example.com@acme"};

}  // namespace ravant::test
