#include "agent/chat_completions_error.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <utility>

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
  const auto parsed = std::from_chars(code.data(), code.data() + code.size(), status);
  return parsed.ptr == code.data() + code.size() ? status : 0;
}

constexpr std::string_view kEllipsis = "…";

/// `words` with the beginning of `secret` left out that stands before an ellipsis at their end.
std::string withoutCut(std::string words, std::string_view secret) {
  if (!words.ends_with(kEllipsis)) return words;
  const std::string_view shown = std::string_view(words).substr(0, words.size() - kEllipsis.size());
  for (std::size_t length = std::min(secret.size(), shown.size()); length > 0; --length) {
    if (!shown.ends_with(secret.substr(0, length))) continue;
    words.erase(shown.size() - length, length);
    break;
  }
  return words;
}

std::string apiError(std::string_view provider, std::string_view code, std::string_view words) {
  std::string text = fmt::format("{} API error", provider);
  if (!code.empty()) text += fmt::format(" ({})", code);
  if (const std::string_view body = trimmed(words); !body.empty()) text += fmt::format(": {}", body);
  return repairUtf8(std::move(text));
}

}  // namespace

ChatCompletionsError ChatCompletionsError::http(std::string_view provider, int status, std::string_view body) {
  return {Case::http, status, outlookOf(status), apiError(provider, std::to_string(status), body)};
}

ChatCompletionsError ChatCompletionsError::without(std::string_view secret) const {
  constexpr std::string_view kMark = "[key]";
  std::string words = what();
  for (std::size_t at = 0; !secret.empty() && (at = words.find(secret, at)) != std::string::npos; at += kMark.size()) {
    words.replace(at, secret.size(), kMark);
  }
  return {kind_, status_, outlook_, withoutCut(std::move(words), secret)};
}

ChatCompletionsError ChatCompletionsError::stream(std::string_view provider, const std::optional<std::string>& code,
                                                  std::string_view message) {
  const std::string words = code.value_or(std::string());
  const int status = statusIn(words);
  return {Case::stream, status, outlookOf(status), apiError(provider, words, message)};
}

ChatCompletionsError ChatCompletionsError::transport(std::string_view provider, std::string_view message,
                                                     Outlook outlook) {
  return {Case::transport, 0, outlook, repairUtf8(fmt::format("{} transport error: {}", provider, message))};
}

std::string excerpt(std::string_view text, Extent extent) {
  return extent == Extent::whole ? std::string(text) : fmt::format("{}{}", text, kEllipsis);
}

}  // namespace ravant
