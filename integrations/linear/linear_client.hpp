#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "integrations/linear/linear_client_error.hpp"
#include "integrations/linear/linear_keys.hpp"
#include "integrations/linear/linear_payloads.hpp"
#include "platform/async/actor.hpp"
#include "platform/http/http_session.hpp"

namespace ravant {

/// What clients of all workspaces share.
struct LinearConnection {
  any_io_executor io;
  any_io_executor work;  ///< for what blocks
  std::shared_ptr<HttpEngine> http;
  HttpSessionOptions session = {};
  /// Called whenever it is needed; what it throws is the error of what needs it.
  std::function<std::string()> baseAddress = [] { return std::string("https://api.linear.app"); };
  std::shared_ptr<KeyStore> keyStore;
};

/// Speaks with Linear for one user of one workspace, with the stored key. Operations throw `LinearClientError`, and
/// `KeyStoreError` and `LinearKeyError` where the key cannot be read or used.
///
/// The key is sent to `LinearConnection::baseAddress` only, over an encrypted connection or to a loopback address;
/// redirections are errors.
class LinearClient final : public Actor {
 public:
  static std::shared_ptr<LinearClient> make(std::string workspace, std::string userEmail,
                                            const LinearConnection& connection, std::shared_ptr<LinearKeys> keys);
  LinearClient(std::string workspace, std::string userEmail, const LinearConnection& connection,
               std::shared_ptr<LinearKeys> keys);

  /// Whose key it is. On the session's executor.
  static awaitable<LinearIdentity> validateCredentials(std::string apiKey, std::shared_ptr<HttpSession> session,
                                                       std::string baseAddress);
  /// The same of the stored key, which is not checked by this when a workspace is added.
  awaitable<LinearIdentity> viewer();
  /// At most `kMostLinearTeams`.
  awaitable<std::vector<LinearTeamPayload>> teams();
  /// At most 50 that are assigned to the user and not finished, those that were changed last first.
  awaitable<LinearIssuesPage> assignedIssues(std::optional<std::string> after);

  /// Ends what is under way, which fails, as does everything later.
  awaitable<void> invalidate();

 private:
  awaitable<std::string> storedKey() { return keys_->linearAPIKey(workspace_, userEmail_, stop_.get_token()); }

  const std::string workspace_;
  const std::string userEmail_;
  const std::string baseAddress_;
  const std::shared_ptr<LinearKeys> keys_;
  const std::shared_ptr<HttpSession> session_;
  std::stop_source stop_;
};

}  // namespace ravant
