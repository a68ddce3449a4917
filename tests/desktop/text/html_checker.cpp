#include "tests/desktop/text/html_checker.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <vector>

#include "desktop/text/file_links.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::test {
namespace {

using desktop::LinkKind;
using desktop::MarkdownBlock;
using desktop::MarkdownBlockKind;

constexpr std::size_t kDeepest = 16;
constexpr std::array<std::string_view, 16> kTags{"a",  "b", "blockquote", "code", "div", "h1",  "h2", "h3",
                                                 "h4", "i", "li",         "ol",   "p",   "pre", "s",  "ul"};
constexpr std::array<std::string_view, 4> kEntities{"&amp;", "&lt;", "&gt;", "&quot;"};
constexpr std::string_view kTask = "div class=\"task\"";
constexpr std::string_view kLink = "a href=\"";

bool isSteering(char32_t c) {
  return (c < 0x20 && c != '\n' && c != '\t') || (c >= 0x7F && c <= 0x9F) || c == 0x200E || c == 0x200F ||
         c == 0x061C || (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0xFFFC ||
         (c >= 0xFDD0 && c <= 0xFDEF);
}

std::string complaintAboutText(std::string_view text) {
  if (!isValidUtf8(text)) return "invalid UTF-8";
  if (text.find_first_of("<>\"") != text.npos) return fmt::format("not escaped: {}", text);
  for (std::size_t at = text.find('&'); at != text.npos; at = text.find('&', at + 1)) {
    const auto isHere = [&](std::string_view entity) { return text.substr(at).starts_with(entity); };
    if (std::ranges::none_of(kEntities, isHere)) return fmt::format("bare ampersand: {}", text);
  }
  for (std::size_t at = 0; at < text.size(); at += characterAt(text, at).size) {
    if (isSteering(characterAt(text, at).code))
      return fmt::format("steering character {:X}", +characterAt(text, at).code);
  }
  return {};
}

std::string complaintAboutLink(std::string_view tag) {
  if (!tag.starts_with(kLink) || !tag.ends_with('"')) return fmt::format("attributes: {}", tag);
  std::string href(tag.substr(kLink.size(), tag.size() - kLink.size() - 1));
  if (std::string complaint = complaintAboutText(href); !complaint.empty()) return complaint;
  for (std::size_t at = href.find("&amp;"); at != href.npos; at = href.find("&amp;", at + 1)) href.replace(at, 5, "&");
  return desktop::linkKind(href) == LinkKind::none ? fmt::format("link to {}", href) : std::string();
}

}  // namespace

std::string complaintAbout(std::string_view html) {
  std::vector<std::string_view> open;
  while (!html.empty()) {
    const std::size_t text = std::min(html.find('<'), html.size());
    if (std::string complaint = complaintAboutText(html.substr(0, text)); !complaint.empty()) return complaint;
    html.remove_prefix(text);
    if (html.empty()) break;
    const std::size_t end = html.find('>');
    if (end == html.npos) return "unfinished tag";
    const std::string_view tag = html.substr(1, end - 1);
    html.remove_prefix(end + 1);
    if (tag.starts_with('/')) {
      if (open.empty() || open.back() != tag.substr(1)) return fmt::format("closes {}", tag);
      open.pop_back();
    } else if (tag != "br") {
      const std::string_view name = tag.substr(0, tag.find(' '));
      if (std::ranges::find(kTags, name) == kTags.end()) return fmt::format("tag {}", tag);
      if (name == "a" || (name == "div" ? tag != kTask : name != tag)) {
        if (std::string complaint = complaintAboutLink(tag); !complaint.empty()) return complaint;
      }
      if (name == "a" && std::ranges::find(open, name) != open.end()) return "link within a link";
      open.push_back(name);
      if (open.size() > kDeepest) return "too deep";
    }
  }
  return open.empty() ? std::string() : fmt::format("open {}", open.back());
}

std::string complaintAbout(const std::vector<MarkdownBlock>& blocks) {
  std::string complaint;
  const auto look = [&](std::string_view html) {
    if (complaint.empty()) complaint = complaintAbout(html);
  };
  for (const MarkdownBlock& block : blocks) {
    look(block.html);
    if (!isValidUtf8(block.source)) return "source is invalid UTF-8";
    if ((block.kind == MarkdownBlockKind::table) != block.table.has_value()) return "kind and table differ";
    if ((block.kind == MarkdownBlockKind::heading) != (block.level > 0)) return "kind and level differ";
    if (!block.table) continue;
    const std::size_t columns = block.table->alignments.size();
    if (columns == 0 || columns > 128 || block.table->header.size() != columns) return "wrong columns";
    for (const std::string& cell : block.table->header) look(cell);
    for (const auto& row : block.table->rows) {
      if (row.size() != columns) return "ragged table";
      for (const std::string& cell : row) look(cell);
    }
  }
  return complaint;
}

std::size_t weightOf(const std::vector<MarkdownBlock>& blocks) {
  std::size_t weight = 0;
  for (const MarkdownBlock& block : blocks) {
    weight += block.html.size() + block.source.size();
    if (!block.table) continue;
    for (const std::string& cell : block.table->header) weight += cell.size();
    for (const auto& row : block.table->rows) {
      for (const std::string& cell : row) weight += cell.size() + 1;
    }
  }
  return weight;
}

std::string sourcesOf(const std::vector<MarkdownBlock>& blocks) {
  std::string sources;
  for (const MarkdownBlock& block : blocks) sources.append(block.source) += '\n';
  return sources;
}

}  // namespace ravant::test
