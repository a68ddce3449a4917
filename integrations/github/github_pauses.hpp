#pragma once

#include <optional>
#include <string>

#include "platform/async/async.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// Where the waits that a host asks of an account are remembered, so that no other request is sent before.
class GithubPauses {
 public:
  virtual ~GithubPauses() = default;
  /// `resource` is the limit's name, as in the field X-RateLimit-Resource ("core", "graphql").
  virtual awaitable<std::optional<Timestamp>> pausedUntil(std::string resource) = 0;
  virtual awaitable<void> pause(std::string resource, Timestamp until) = 0;
};

}  // namespace ravant
