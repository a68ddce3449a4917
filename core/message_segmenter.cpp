#include "core/message_segmenter.hpp"

#include <fmt/ranges.h>

#include <algorithm>

namespace ravant {
namespace {

constexpr std::size_t kMaxFenceIndent = 3;
constexpr std::size_t kMinFenceLength = 3;
constexpr std::string_view kBlanks = " \t";

std::string_view withoutIndent(std::string_view line, std::size_t most) {
  const std::size_t spaces = std::min(line.find_first_not_of(' '), line.size());
  return line.substr(std::min(spaces, most));
}

}  // namespace

std::vector<MessageBlock> MessageSegmenter::segments(std::string_view text) {
  MessageSegmenter segmenter;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    segmenter.takeLine(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (segmenter.open_) {
    segmenter.flushCode();
  } else {
    segmenter.flushProse();
  }
  return std::move(segmenter.blocks_);
}

void MessageSegmenter::takeLine(std::string_view line) {
  if (open_) {
    if (closes(line, *open_)) {
      flushCode();
      open_.reset();
    } else {
      pending_.push_back(withoutIndent(line, open_->indent));
    }
  } else if (const auto fence = openingFence(line)) {
    flushProse();
    open_ = fence;
    language_ = infoString(line);
  } else {
    pending_.push_back(line);
  }
}

void MessageSegmenter::flushProse() {
  while (!pending_.empty() && isBlankLine(pending_.back())) pending_.pop_back();
  const auto first = std::ranges::find_if_not(pending_, isBlankLine);
  pending_.erase(pending_.begin(), first);
  if (!pending_.empty()) append(MessageBlockKind::prose, std::nullopt);
}

void MessageSegmenter::flushCode() {
  while (!pending_.empty() && isBlankLine(pending_.back())) pending_.pop_back();
  append(MessageBlockKind::code, std::exchange(language_, std::nullopt));
}

void MessageSegmenter::append(MessageBlockKind kind, std::optional<std::string> language) {
  blocks_.push_back({.text = fmt::format("{}", fmt::join(pending_, "\n")),
                     .language = std::move(language),
                     .index = static_cast<std::int64_t>(blocks_.size()),
                     .kind = kind});
  pending_.clear();
}

std::optional<MessageSegmenter::Fence> MessageSegmenter::openingFence(std::string_view line) {
  const std::string_view marker = withoutIndent(line, kMaxFenceIndent);
  if (!marker.starts_with('`') && !marker.starts_with('~')) return std::nullopt;
  const Fence fence{.character = marker.front(),
                    .length = std::min(marker.find_first_not_of(marker.front()), marker.size()),
                    .indent = line.size() - marker.size()};
  if (fence.length < kMinFenceLength) return std::nullopt;
  const bool isInlineCode = fence.character == '`' && marker.substr(fence.length).contains('`');
  return isInlineCode ? std::nullopt : std::optional(fence);
}

bool MessageSegmenter::closes(std::string_view line, const Fence& open) {
  const std::string_view marker = withoutIndent(line, kMaxFenceIndent);
  const std::size_t length = std::min(marker.find_first_not_of(open.character), marker.size());
  return length >= open.length && isBlankLine(marker.substr(length));
}

std::optional<std::string> MessageSegmenter::infoString(std::string_view ofFenceLine) {
  std::string_view info = withoutIndent(ofFenceLine, kMaxFenceIndent);
  info.remove_prefix(std::min(info.find_first_not_of(info.front()), info.size()));
  info.remove_prefix(std::min(info.find_first_not_of(kBlanks), info.size()));
  const std::string_view language = info.substr(0, info.find_first_of(kBlanks));
  return language.empty() ? std::nullopt : std::optional<std::string>(language);
}

bool MessageSegmenter::isBlankLine(std::string_view line) {
  return line.find_first_not_of(kBlanks) == std::string_view::npos;
}

}  // namespace ravant
