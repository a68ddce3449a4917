// What stands within a block: spans, links and runs of text.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

#include "desktop/text/file_links.hpp"
#include "desktop/text/html_entities.hpp"
#include "desktop/text/markdown_reader.hpp"
#include "desktop/text/web_links.hpp"

namespace ravant::desktop {

using namespace std::literals;

void MarkdownReader::enterSpan(MD_SPANTYPE type, void* detail) {
  flush();
  writeMark();
  OpenSpan span{type, true, html_.size(), {}};
  switch (type) {
    case MD_SPAN_EM:
      html_.open(HtmlTag::i);
      break;
    case MD_SPAN_STRONG:
      html_.open(HtmlTag::b);
      break;
    case MD_SPAN_DEL:
      html_.open(HtmlTag::s);
      break;
    case MD_SPAN_CODE:
      isInCode_ = true;
      html_.open(HtmlTag::code);
      break;
    case MD_SPAN_A:
      span.target = targetOf(static_cast<MD_SPAN_A_DETAIL*>(detail)->href);
      beginLink(span);
      break;
    case MD_SPAN_IMG:
      span.target = targetOf(static_cast<MD_SPAN_IMG_DETAIL*>(detail)->src);
      beginLink(span);
      break;
    default:
      span.isWritten = false;
  }
  span.begin = html_.size();
  spans_.push_back(std::move(span));
}

/// md4c closes spans that it has not opened, and leaves others open, where a mark is part of a link's target.
void MarkdownReader::leaveSpan(MD_SPANTYPE type, void* /*detail*/) {
  flush();
  const auto isOfType = [&](const OpenSpan& span) { return span.type == type; };
  if (std::ranges::none_of(spans_, isOfType)) return;
  while (!isOfType(spans_.back())) closeSpan();
  closeSpan();
}

void MarkdownReader::closeSpan() {
  const OpenSpan span = std::move(spans_.back());
  spans_.pop_back();
  if (html_.size() == span.begin) html_.text(span.target);
  if (span.type == MD_SPAN_CODE) isInCode_ = false;
  if (!span.isWritten) return;
  html_.close();
  if (span.type == MD_SPAN_A || span.type == MD_SPAN_IMG) isInLink_ = false;
}

void MarkdownReader::beginLink(OpenSpan& span) {
  const auto href = span.type == MD_SPAN_A ? hrefOfTarget(span.target) : externalHref(span.target);
  span.isWritten = href && !isInLink_ && (span.type == MD_SPAN_A || href->starts_with("http"));
  if (!span.isWritten) return;
  html_.openLink(*href);
  isInLink_ = true;
}

void MarkdownReader::text(MD_TEXTTYPE type, const MD_CHAR* text, MD_SIZE size) {
  said_ += size;
  switch (type) {
    case MD_TEXT_BR:
      flush();
      html_.breakLine();
      return;
    case MD_TEXT_SOFTBR:
      flush();
      html_.text(" ");
      return;
    case MD_TEXT_ENTITY:
      run_ += characterOfEntity(seen(text, size));
      return;
    default: {
      const std::string_view run = seen(text, size);
      if (isTop() && open_.back().type == MD_BLOCK_CODE) keepTabs(run);
      addRun(run);
    }
  }
}

/// md4c writes blanks for the tabs that begin a line of code. `run` comes behind them: they are put back.
void MarkdownReader::keepTabs(std::string_view run) {
  constexpr std::size_t kTab = 4;
  const auto place = placeOf(run);
  if (!place) return;
  const std::string_view before = markdown_.substr(0, *place);
  const std::string_view indent = before.substr(before.find_last_not_of(" \t") + 1);
  if (!indent.contains('\t') ||
      (indent.size() < before.size() && !"\r\n"sv.contains(before[before.size() - indent.size() - 1])))
    return;
  const std::size_t blanks = run_.find_last_not_of(' ') + 1;
  if (blanks > 0 && run_[blanks - 1] != '\n') return;
  std::size_t columns = 0;
  for (const char blank : indent) columns = blank == '\t' ? (columns / kTab + 1) * kTab : columns + 1;
  const std::size_t shown = run_.size() - blanks;
  if (shown > columns) return;
  run_.resize(blanks);
  std::size_t column = 0;
  for (const char blank : indent) {
    const std::size_t begin = column;
    column = blank == '\t' ? (column / kTab + 1) * kTab : column + 1;
    const std::size_t hidden = columns - shown;
    if (begin >= hidden) {
      run_ += blank;
    } else if (column > hidden) {
      run_.append(column - hidden, ' ');
    }
  }
}

void MarkdownReader::addRun(std::string_view text) {
  constexpr std::string_view kPipe = "\\|";
  const bool isCellsCode = isInCode_ && (open_.back().type == MD_BLOCK_TH || open_.back().type == MD_BLOCK_TD);
  for (std::size_t at = text.find(kPipe); isCellsCode && at != text.npos; at = text.find(kPipe)) {
    run_ += text.substr(0, at);
    text.remove_prefix(at + 1);
  }
  run_ += text;
}

void MarkdownReader::writeMark() {
  if (!mark_.empty()) html_.text(std::exchange(mark_, {}));
}

void MarkdownReader::flush() {
  if (run_.empty()) return;
  writeMark();
  const std::string run = std::exchange(run_, {});
  if (isInLink_) {
    html_.text(run);
  } else if (isInCode_) {
    html_.textWithFiles(run);
  } else {
    html_.textWithLinks(run);
  }
}

/// Empty for what is not of the Markdown itself.
std::optional<std::size_t> MarkdownReader::placeOf(std::string_view part) const {
  const std::less_equal<> isBefore;
  if (!isBefore(markdown_.begin(), part.begin()) || !isBefore(part.end(), markdown_.end())) return std::nullopt;
  return static_cast<std::size_t>(part.begin() - markdown_.begin());
}

/// What stands at the place of `text`, which the parser took from its own copy; what it made up itself is as it is.
std::string_view MarkdownReader::written(const MD_CHAR* text, std::size_t size) const {
  const auto parsed = reinterpret_cast<std::uintptr_t>(input_.text().data());
  const auto at = reinterpret_cast<std::uintptr_t>(text);
  if (at < parsed || at + size > parsed + input_.text().size()) return {text, size};
  const std::size_t begin = input_.original(at - parsed);
  const std::size_t end = input_.original(at - parsed + size);
  return markdown_.substr(begin, end - begin);
}

/// The same; the block reaches as far.
std::string_view MarkdownReader::seen(const MD_CHAR* text, std::size_t size) {
  const std::string_view part = written(text, size);
  if (const auto place = placeOf(part)) {
    BlockExtent& extent = extents_.back();
    extent.first = std::min(extent.first.value_or(*place), *place);
    extent.last = std::max(extent.last, *place + part.size());
  }
  return part;
}

/// A link by a name has its target where the name is defined, which can be anywhere.
std::string MarkdownReader::targetOf(const MD_ATTRIBUTE& attribute) {
  constexpr std::size_t kMostBlanks = 256;
  if (const auto place = placeOf(written(attribute.text, 0))) {
    std::string_view before = markdown_.substr(0, *place);
    before.remove_prefix(before.size() - std::min(before.size(), kMostBlanks));
    before = before.substr(0, before.find_last_not_of(" \t\r\n<>") + 1);
    if (before.ends_with("](")) seen(attribute.text, attribute.size);
  }
  return value(attribute);
}

std::string MarkdownReader::value(const MD_ATTRIBUTE& attribute) {
  said_ += attribute.size;
  if (attribute.size == 0) return {};
  std::string value;
  for (std::size_t i = 0; attribute.substr_offsets[i] < attribute.size; ++i) {
    const auto begin = attribute.substr_offsets[i];
    const std::string_view part = written(attribute.text + begin, attribute.substr_offsets[i + 1] - begin);
    value += attribute.substr_types[i] == MD_TEXT_ENTITY ? characterOfEntity(part) : std::string(part);
  }
  return value;
}

}  // namespace ravant::desktop
