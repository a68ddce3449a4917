#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock/clock.hpp"

namespace ravant {

class HttpResponse;

/// The interfaces count apart; these are the names of their limits.
inline constexpr std::string_view kGithubRestLimit = "core";
inline constexpr std::string_view kGithubGraphQLLimit = "graphql";

/// No pause is longer; one that names a longer wait is asked again then.
inline constexpr std::chrono::hours kLongestGithubPause{24};

/// What a response says of the host's limits (docs.github.com/rest, "Rate limits for the REST API").
struct GithubLimits {
  std::string asked;     ///< the limit that the request was thought to count for
  std::string resource;  ///< the one that it counted for
  std::optional<std::int64_t> used = {};
  std::optional<std::int64_t> remaining = {};
  std::optional<Timestamp> resetsAt = {};
  std::optional<std::chrono::seconds> retryAfter = {};
  std::optional<Timestamp> answeredAt = {};  ///< by the clock that `resetsAt` is of
};

/// A response that names no limit, or something that cannot be the name of one, counted for `asked`.
GithubLimits limitsOf(const HttpResponse& response, std::string_view asked);

/// Until when nothing may be asked that counts for one of the resources.
struct GithubPause {
  Timestamp until;
  std::vector<std::string> resources;

  bool operator==(const GithubPause&) const = default;
};

/// A response of a status of failure, or one of success without what was asked for.
struct GithubRefusal {
  int status;
  std::string words = {};
  bool saysLimitIsSpent = false;
};

/// What a refusal asks for; nothing for one that has another reason.
std::optional<GithubPause> pauseAskedFor(const GithubRefusal& refusal, const GithubLimits& limits, Timestamp now);

/// Adds up what requests cost.
class GithubCostMeter {
 public:
  void add(const GithubLimits& limits);
  std::int64_t points() const { return points_; }

 private:
  struct Window {
    Timestamp resetsAt;
    std::int64_t used;
  };
  std::map<std::string, Window> windows_;  ///< the latest of each resource
  std::int64_t points_ = 0;
};

}  // namespace ravant
