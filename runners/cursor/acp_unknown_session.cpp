#include "runners/cursor/acp_unknown_session.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace ravant::acp {
namespace {

using Words = std::span<const std::string>;

constexpr std::int64_t kNoSuchResource = -32002;
constexpr std::string_view kId = "<id>";  // the session's
constexpr std::string_view kStop = ".";   // or another mark that parts what is said

constexpr std::array<std::string_view, 5> kNouns = {"session", "sessionid", "conversation", "thread", kId};
/// Such words do not make another thing of the noun that they stand before.
constexpr std::array<std::string_view, 6> kBefore = {"the", "this", "that", "requested", "acp", kStop};
constexpr std::array<std::string_view, 5> kNaming = {"with", "the", "id", "sessionid", kId};
constexpr std::array<std::string_view, 12> kIsMissing = {
    "not found",      "was not found", "is not found",     "cannot be found",      "could not be found",
    "does not exist", "doesnt exist",  "no longer exists", "does no longer exist", "is no longer known",
    "is not known",   "is unknown"};
constexpr std::array<std::string_view, 8> kMisses = {"unknown",     "no such",   "invalid",        "not find",
                                                     "cannot find", "cant find", "unable to find", "failed to find"};

bool isAmong(std::span<const std::string_view> words, std::string_view word) {
  return std::ranges::find(words, word) != words.end();
}

bool isWordCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }

/// In lower case, without apostrophes.
std::vector<std::string> wordsOf(std::string_view text, std::string_view sessionId) {
  std::vector<std::string> words;
  std::string word;
  const auto finish = [&] {
    if (!word.empty()) words.push_back(std::exchange(word, {}));
  };
  while (!text.empty()) {
    const std::string_view behindId = text.substr(std::min(sessionId.size(), text.size()));
    const bool isId = text.starts_with(sessionId) && (behindId.empty() || !isWordCharacter(behindId.front()));
    if (word.empty() && !sessionId.empty() && isId) {
      words.emplace_back(kId);
      text = behindId;
      continue;
    }
    const char c = text.front();
    text.remove_prefix(1);
    if (isWordCharacter(c)) {
      word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    } else if (c != '\'') {
      finish();
      if (std::string_view(".,:;!?()\n").contains(c)) words.emplace_back(kStop);
    }
  }
  finish();
  return words;
}

std::size_t sizeOf(std::string_view phrase) { return static_cast<std::size_t>(std::ranges::count(phrase, ' ')) + 1; }

bool beginsWith(Words words, std::string_view phrase) {
  const std::size_t size = sizeOf(phrase);
  return words.size() >= size && fmt::format("{}", fmt::join(words.first(size), " ")) == phrase;
}

bool endsWith(Words words, std::string_view phrase) {
  const std::size_t size = sizeOf(phrase);
  return words.size() >= size && beginsWith(words.last(size), phrase);
}

Words withoutNaming(Words words) {
  while (!words.empty() && isAmong(kNaming, words.front())) words = words.subspan(1);
  return words;
}

/// How many words at the beginning say that what stands before them is missing.
std::size_t missingAt(Words words) {
  for (const std::string_view phrase : kIsMissing) {
    if (beginsWith(words, phrase)) return sizeOf(phrase);
  }
  return 0;
}

/// "the session s-1 was not found"
bool isMissing(Words before, Words behind) {
  return (before.empty() || isAmong(kBefore, before.back())) && missingAt(withoutNaming(behind)) > 0;
}

/// "no such session", "no conversation found", but not "unknown session option"
bool isMissed(Words before, Words behind) {
  if (endsWith(before, "no")) return beginsWith(behind, "found");
  if (endsWith(before, "the") || endsWith(before, "acp")) before = before.first(before.size() - 1);
  const Words rest = withoutNaming(behind);
  const bool isWholeName = rest.empty() || rest.front() == kStop || rest.front() == "exists";
  return isWholeName &&
         std::ranges::any_of(kMisses, [before](std::string_view phrase) { return endsWith(before, phrase); });
}

/// "resource not found: s-1". One that is not named is the session where the error's code and data allow no other.
bool isMissingResource(const RpcError& error, std::string_view sessionId, Words before, Words behind) {
  if (!before.empty() && before.back() != kStop) return false;
  const std::size_t size = missingAt(behind);
  if (size == 0) return false;
  Words rest = behind.subspan(size);
  while (!rest.empty() && rest.front() == kStop) rest = rest.subspan(1);
  if (!rest.empty()) return rest.front() == kId;
  return error.code == kNoSuchResource && (error.message == error.ownMessage || error.message.contains(sessionId));
}

}  // namespace

bool saysUnknownSession(const RpcError& error, std::string_view sessionId) {
  if (error.code == kRpcMethodNotFound) return true;
  const std::vector<std::string> told = wordsOf(error.ownMessage, sessionId);
  const Words words(told);
  for (std::size_t at = 0; at < words.size(); ++at) {
    const Words before = words.first(at);
    const Words behind = words.subspan(at + 1);
    if (isAmong(kNouns, words[at]) && (isMissing(before, behind) || isMissed(before, behind))) return true;
    if (words[at] == "resource" && isMissingResource(error, sessionId, before, behind)) return true;
  }
  return false;
}

}  // namespace ravant::acp
