#include "integrations/github/github_limits.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

#include "platform/http/http_session.hpp"

namespace ravant {
namespace {

using namespace std::chrono_literals;

constexpr int kFirstRedirection = 300;
constexpr int kForbidden = 403;
constexpr int kTooManyRequests = 429;
constexpr std::chrono::microseconds kShortestPause = 1s;
constexpr std::chrono::microseconds kUnnamedPause = 1min;
constexpr std::chrono::microseconds kLongestPause = kLongestGithubPause;

std::optional<std::int64_t> numberIn(const HttpResponse& response, std::string_view name) {
  constexpr std::int64_t kLargest = 1'000'000'000'000;
  const auto text = response.header(name);
  if (!text) return std::nullopt;
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
  const bool isNumber = error == std::errc() && end == text->data() + text->size();
  return isNumber && number >= 0 && number <= kLargest ? std::optional(number) : std::nullopt;
}

/// Names are stored and logged, so that no other text of a server may be one.
bool isLimitName(std::string_view name) {
  constexpr std::size_t kLongest = 40;
  const auto isIn = [](char c) { return (c >= 'a' && c <= 'z') || c == '_'; };
  return !name.empty() && name.size() <= kLongest && std::ranges::all_of(name, isIn);
}

GithubPause pauseOf(std::vector<std::string> resources, std::chrono::microseconds wait, const GithubLimits& limits,
                    Timestamp now) {
  if (std::ranges::find(resources, limits.resource) == resources.end()) resources.push_back(limits.resource);
  return {.until = now + std::clamp(wait, kShortestPause, kLongestPause), .resources = std::move(resources)};
}

/// The limits on how fast or how much at once is asked hold for both interfaces.
GithubPause pauseOfAll(std::chrono::microseconds wait, const GithubLimits& limits, Timestamp now) {
  return pauseOf({std::string(kGithubRestLimit), std::string(kGithubGraphQLLimit)}, wait, limits, now);
}

GithubPause pauseOfSpent(const GithubLimits& limits, Timestamp now) {
  const Timestamp from = limits.answeredAt.value_or(now);
  const bool isNamed = limits.resetsAt && *limits.resetsAt > from;
  return pauseOf({limits.asked}, isNamed ? *limits.resetsAt - from : kUnnamedPause, limits, now);
}

}  // namespace

GithubLimits limitsOf(const HttpResponse& response, std::string_view asked) {
  const std::string_view resource = response.header("X-RateLimit-Resource").value_or(std::string_view());
  const auto reset = numberIn(response, "X-RateLimit-Reset");
  return {.asked = std::string(asked),
          .resource = std::string(isLimitName(resource) ? resource : asked),
          .used = numberIn(response, "X-RateLimit-Used"),
          .remaining = numberIn(response, "X-RateLimit-Remaining"),
          .resetsAt = reset ? std::optional(Timestamp(std::chrono::seconds(*reset))) : std::nullopt,
          .retryAfter = response.retryAfter(),
          .answeredAt = response.date()};
}

std::optional<GithubPause> pauseAskedFor(const GithubRefusal& refusal, const GithubLimits& limits, Timestamp now) {
  const auto& [status, words, saysLimitIsSpent] = refusal;
  if (status >= kFirstRedirection && status != kForbidden && status != kTooManyRequests) return std::nullopt;
  if (limits.retryAfter) return pauseOfAll(*limits.retryAfter, limits, now);
  if (saysLimitIsSpent || limits.remaining == 0) return pauseOfSpent(limits, now);
  const bool isTooFast = words.contains("secondary rate limit") || words.contains("abuse detection");
  if (status == kTooManyRequests || isTooFast) return pauseOfAll(kUnnamedPause, limits, now);
  return std::nullopt;
}

void GithubCostMeter::add(const GithubLimits& limits) {
  std::int64_t cost = 1;
  if (limits.used && limits.resetsAt) {
    const Window window{.resetsAt = *limits.resetsAt, .used = *limits.used};
    const auto [earlier, isFirst] = windows_.try_emplace(limits.resource, window);
    if (!isFirst && earlier->second.resetsAt == window.resetsAt) {
      cost = std::max<std::int64_t>(window.used - earlier->second.used, 1);
    }
    earlier->second = window;
  }
  points_ += cost;
}

}  // namespace ravant
