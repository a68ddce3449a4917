#include "agent/chat_completions_error.hpp"

#include <fmt/format.h>

#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

std::string apiError(std::string_view provider, std::string_view code, std::string_view words) {
  std::string text = fmt::format("{} API error", provider);
  if (!code.empty()) text += fmt::format(" ({})", code);
  if (const std::string_view body = trimmed(words); !body.empty()) text += fmt::format(": {}", body);
  return repairUtf8(std::move(text));
}

}  // namespace

ChatCompletionsError ChatCompletionsError::http(std::string_view provider, int status, std::string_view body) {
  return {Case::http, apiError(provider, std::to_string(status), body)};
}

ChatCompletionsError ChatCompletionsError::without(std::string_view secret) const {
  constexpr std::string_view kMark = "[key]";
  std::string words = what();
  for (std::size_t at = 0; !secret.empty() && (at = words.find(secret, at)) != std::string::npos; at += kMark.size()) {
    words.replace(at, secret.size(), kMark);
  }
  return {kind_, words};
}

ChatCompletionsError ChatCompletionsError::stream(std::string_view provider, const std::optional<std::string>& code,
                                                  std::string_view message) {
  return {Case::stream, apiError(provider, code.value_or(std::string()), message)};
}

ChatCompletionsError ChatCompletionsError::transport(std::string_view provider, std::string_view message) {
  return {Case::transport, repairUtf8(fmt::format("{} transport error: {}", provider, message))};
}

}  // namespace ravant
