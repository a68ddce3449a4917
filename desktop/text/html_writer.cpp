#include "desktop/text/html_writer.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "desktop/text/file_links.hpp"
#include "desktop/text/shown_text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::array<std::pair<std::string_view, char>, 4> kEntities{
    {{"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}}};

constexpr std::string_view kTask = "div class=\"task\"";

bool isBlock(HtmlTag tag) {
  constexpr std::array kInline{HtmlTag::a, HtmlTag::b, HtmlTag::code, HtmlTag::i, HtmlTag::s};
  return std::ranges::find(kInline, tag) == kInline.end();
}

void endLine(std::string& text) {
  if (!text.empty() && text.back() != '\n') text += '\n';
}

}  // namespace

std::string_view nameOf(HtmlTag tag) {
  constexpr std::array<std::string_view, 17> kNames{"a",  "b", "blockquote", "br", "code", "div", "h1", "h2", "h3",
                                                    "h4", "i", "li",         "ol", "p",    "pre", "s",  "ul"};
  return kNames[static_cast<std::size_t>(tag)];
}

std::string_view taskMark(bool isDone) { return isDone ? "☑ " : "☐ "; }

bool HtmlWriter::begin(HtmlTag tag) {
  const Written written = depth_ < kDeepest ? Written::yes : Written::no;
  open_.push_back({tag, written});
  if (written == Written::yes) {
    ++depth_;
  } else if (isBlock(tag) && !html_.ends_with(' ')) {
    html_ += ' ';
  }
  return written == Written::yes;
}

void HtmlWriter::open(HtmlTag tag) {
  const bool isBesideBox = tag == HtmlTag::p && taskBegun_ == html_.size();
  if (isBesideBox) return open_.push_back({tag, Written::no});
  if (begin(tag)) html_.append("<").append(nameOf(tag)) += '>';
}

void HtmlWriter::openTask(bool isDone) {
  if (!open_.empty() && open_.back().tag == HtmlTag::ol) {
    open(HtmlTag::li);
  } else if (begin(HtmlTag::div)) {
    html_.append("<").append(kTask) += '>';
  }
  text(taskMark(isDone));
  taskBegun_ = html_.size();
}

void HtmlWriter::openLink(std::string_view href) {
  if (!begin(HtmlTag::a)) return;
  html_ += "<a href=\"";
  appendShownAsHtml(html_, href);
  html_ += "\">";
}

void HtmlWriter::close() {
  const Open last = open_.back();
  open_.pop_back();
  if (last.written == Written::no) return;
  --depth_;
  html_.append("</").append(nameOf(last.tag)) += '>';
}

void HtmlWriter::breakLine() { html_ += "<br>"; }

void HtmlWriter::text(std::string_view text) { appendShownAsHtml(html_, text); }

void HtmlWriter::textWithLinks(std::string_view text) {
  std::size_t from = 0;
  for (const auto& [begin, length, href] : textLinks(text)) {
    this->text(text.substr(from, begin - from));
    openLink(href);
    this->text(text.substr(begin, length));
    close();
    from = begin + length;
  }
  this->text(text.substr(from));
}

void HtmlWriter::textWithFiles(std::string_view text) {
  std::size_t from = 0;
  for (const auto& [begin, length, file] : fileLinks(text)) {
    this->text(text.substr(from, begin - from));
    openLink(hrefOf(file));
    this->text(text.substr(begin, length));
    close();
    from = begin + length;
  }
  this->text(text.substr(from));
}

std::string HtmlWriter::take() {
  while (!open_.empty()) close();
  taskBegun_.reset();
  return std::exchange(html_, {});
}

std::string plainText(std::string_view html) {
  std::string text;
  while (!html.empty()) {
    const std::size_t markup = std::min(html.find_first_of("<&"), html.size());
    text += html.substr(0, markup);
    html.remove_prefix(markup);
    if (html.starts_with('&')) {
      const auto* const entity =
          std::ranges::find_if(kEntities, [&](const auto& e) { return html.starts_with(e.first); });
      text += entity == kEntities.end() ? '&' : entity->second;
      html.remove_prefix(entity == kEntities.end() ? 1 : entity->first.size());
    } else if (html.starts_with('<')) {
      const std::string_view tag = html.substr(1, html.find('>') - 1);
      html.remove_prefix(std::min(tag.size() + 2, html.size()));
      constexpr std::array<std::string_view, 13> kLines{"br",   "li",  "p",   "/p",  "/li", "/div",      "pre",
                                                        "/pre", "/h1", "/h2", "/h3", "/h4", "blockquote"};
      if (tag == "br") {
        text += '\n';
      } else if (tag == kTask || std::ranges::find(kLines, tag) != kLines.end()) {
        endLine(text);
      }
    }
  }
  while (text.ends_with('\n')) text.pop_back();
  return text;
}

std::string linkedText(std::string_view text) {
  HtmlWriter html;
  html.textWithLinks(text);
  std::string lines;
  bool isTag = false;
  bool isIndent = true;
  for (const char byte : html.take()) {
    const bool isBlank = !isTag && (byte == ' ' || byte == '\t');
    if (byte == '\n') {
      lines += "<br>";
    } else if (byte == '\t' && isBlank) {
      lines += "\u00A0\u00A0\u00A0\u00A0";
    } else if (isBlank && isIndent) {
      lines += "\u00A0";
    } else {
      lines += byte;
    }
    isTag = byte == '<' || (isTag && byte != '>');
    isIndent = byte == '\n' || isBlank || (isIndent && isTag);
  }
  return lines;
}

}  // namespace ravant::desktop
