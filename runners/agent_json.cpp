#include "runners/agent_json.hpp"

#include <fmt/ranges.h>

#include <utility>
#include <vector>

#include "core/token_usage_snapshot.hpp"

namespace ravant {
namespace {

constexpr std::chrono::hours kLongestWait{24 * 365};

}  // namespace

std::string textAt(const json::object& object, std::string_view key) {
  return std::string(stringAt(object, key).value_or(std::string_view()));
}

std::optional<std::string> optionalTextAt(const json::object& object, std::string_view key) {
  const auto text = stringAt(object, key);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<std::string_view> firstText(const json::object& object, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    if (const auto text = stringAt(object, key)) return text;
  }
  return std::nullopt;
}

std::string contentText(const json::value* content) {
  if (!content) return {};
  if (const auto* text = content->if_string()) return std::string(*text);
  std::vector<std::string_view> texts;
  if (const auto* blocks = content->if_array()) {
    for (const json::value& block : *blocks) {
      const json::object* object = block.if_object();
      if (!object) continue;
      if (const auto text = stringAt(*object, "text")) texts.push_back(*text);
    }
  }
  return fmt::format("{}", fmt::join(texts, "\n"));
}

std::optional<std::chrono::milliseconds> waitAt(const json::object& object, std::string_view key) {
  const auto wait = readOptionalInt(object, {key});
  if (!wait || *wait < 0 || std::chrono::milliseconds(*wait) > kLongestWait) return std::nullopt;
  return std::chrono::milliseconds(*wait);
}

std::string retryReason(std::string error, const json::object& object, std::string_view attemptKey,
                        std::string_view mostAttemptsKey) {
  const auto attempt = readOptionalInt(object, {attemptKey});
  const auto most = readOptionalInt(object, {mostAttemptsKey});
  if (!attempt || !most) return error;
  if (!error.empty()) error += ", ";
  return std::move(error) + fmt::format("attempt {} of {}", *attempt, *most);
}

}  // namespace ravant
