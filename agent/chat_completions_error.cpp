#include "agent/chat_completions_error.hpp"

#include <fmt/format.h>

#include <charconv>

#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

using Outlook = ChatCompletionsError::Outlook;

/// A provider that is busy or broken.
Outlook outlookOf(int status) {
  constexpr int kTooManyRequests = 429;
  constexpr int kFirstServerError = 500;
  constexpr int kLastServerError = 599;
  const bool isPassing = status == kTooManyRequests || (status >= kFirstServerError && status <= kLastServerError);
  return isPassing ? Outlook::passing : Outlook::lasting;
}

int statusIn(std::string_view code) {
  int status = 0;
  const char* const end = code.data() + code.size();
  return std::from_chars(code.data(), end, status).ptr == end ? status : 0;
}

std::string apiError(std::string_view provider, std::string_view code, std::string_view words) {
  std::string text = fmt::format("{} API error", provider);
  if (!code.empty()) text += fmt::format(" ({})", code);
  if (const std::string_view body = trimmed(words); !body.empty()) text += fmt::format(": {}", body);
  return repairUtf8(std::move(text));
}

}  // namespace

ChatCompletionsError ChatCompletionsError::http(std::string_view provider, int status, std::string_view body) {
  return {Case::http, outlookOf(status), apiError(provider, std::to_string(status), body)};
}

ChatCompletionsError ChatCompletionsError::without(std::string_view secret) const {
  constexpr std::string_view kMark = "[key]";
  std::string words = what();
  for (std::size_t at = 0; !secret.empty() && (at = words.find(secret, at)) != std::string::npos; at += kMark.size()) {
    words.replace(at, secret.size(), kMark);
  }
  return {kind_, outlook_, words};
}

ChatCompletionsError ChatCompletionsError::stream(std::string_view provider, const std::optional<std::string>& code,
                                                  std::string_view message) {
  const std::string words = code.value_or(std::string());
  return {Case::stream, outlookOf(statusIn(words)), apiError(provider, words, message)};
}

ChatCompletionsError ChatCompletionsError::transport(std::string_view provider, std::string_view message,
                                                     Outlook outlook) {
  return {Case::transport, outlook, repairUtf8(fmt::format("{} transport error: {}", provider, message))};
}

}  // namespace ravant
