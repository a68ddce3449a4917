#include "desktop/text/markdown_reader.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "desktop/text/highlighter.hpp"
#include "desktop/text/markdown_tables.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::size_t kMostSaid = 8;
constexpr std::size_t kSaidOfAnything = 256;
constexpr std::size_t kMostColumns = 128;
constexpr unsigned kDialect = MD_FLAG_TABLES | MD_FLAG_STRIKETHROUGH | MD_FLAG_TASKLISTS | MD_FLAG_NOHTML;

MarkdownBlockKind kindOf(MD_BLOCKTYPE type) {
  switch (type) {
    case MD_BLOCK_QUOTE:
      return MarkdownBlockKind::quotation;
    case MD_BLOCK_UL:
    case MD_BLOCK_OL:
      return MarkdownBlockKind::list;
    case MD_BLOCK_HR:
      return MarkdownBlockKind::rule;
    case MD_BLOCK_H:
      return MarkdownBlockKind::heading;
    case MD_BLOCK_CODE:
      return MarkdownBlockKind::code;
    case MD_BLOCK_TABLE:
      return MarkdownBlockKind::table;
    default:
      return MarkdownBlockKind::prose;
  }
}

HtmlTag headingTag(unsigned level) {
  constexpr std::array kTags{HtmlTag::h1, HtmlTag::h2, HtmlTag::h3, HtmlTag::h4};
  return kTags[std::clamp<std::size_t>(level, 1, kTags.size()) - 1];
}

ColumnAlignment alignmentOf(MD_ALIGN align) {
  return align == MD_ALIGN_RIGHT    ? ColumnAlignment::right
         : align == MD_ALIGN_CENTER ? ColumnAlignment::center
                                    : ColumnAlignment::left;
}

/// A table of more columns than the parser takes for one.
bool isWideTable(std::string_view source) {
  source.remove_prefix(std::min(source.find('\n'), source.size() - 1) + 1);
  const std::string_view delimiters = source.substr(0, source.find_first_of("\r\n"));
  return delimiters.find_first_not_of(" \t|:-") == std::string_view::npos &&
         static_cast<std::size_t>(std::ranges::count(delimiters, '|')) >= kMostColumns;
}

MarkdownBlock writtenBlock(std::string_view source) {
  const std::size_t end = source.find_last_not_of("\r\n");
  return {.kind = MarkdownBlockKind::written, .source = std::string(source.substr(0, end + 1))};
}

}  // namespace

MarkdownReader::MarkdownReader(std::string_view markdown) : markdown_(markdown), input_(markdown) {}

template <auto kMember, typename... Arguments>
int MarkdownReader::call(Arguments... arguments, void* reader) {
  auto& self = *static_cast<MarkdownReader*>(reader);
  ++self.said_;
  if (!self.isTooMuch()) (self.*kMember)(arguments...);
  return self.isTooMuch() ? -1 : 0;
}

bool MarkdownReader::isTooMuch() const { return said_ > kMostSaid * markdown_.size() + kSaidOfAnything; }

std::vector<MarkdownBlock> MarkdownReader::read() {
  MD_PARSER parser{};
  parser.flags = kDialect;
  parser.enter_block = &call<&MarkdownReader::enterBlock, MD_BLOCKTYPE, void*>;
  parser.leave_block = &call<&MarkdownReader::leaveBlock, MD_BLOCKTYPE, void*>;
  parser.enter_span = &call<&MarkdownReader::enterSpan, MD_SPANTYPE, void*>;
  parser.leave_span = &call<&MarkdownReader::leaveSpan, MD_SPANTYPE, void*>;
  parser.text = &call<&MarkdownReader::text, MD_TEXTTYPE, const MD_CHAR*, MD_SIZE>;
  const bool isWhole = md_parse(input_.text().data(), static_cast<MD_SIZE>(input_.text().size()), &parser, this) == 0;
  if (!open_.empty()) {
    blocks_.pop_back();
    extents_.pop_back();
  }
  std::vector<std::string_view> sources = sourcesOf(markdown_, extents_);
  const std::string_view rest = restBehind(markdown_, sources);
  if (isWhole && !sources.empty()) sources.back() = {sources.back().begin(), markdown_.end()};
  for (std::size_t i = 0; i < blocks_.size(); ++i) {
    MarkdownBlock& block = blocks_[i];
    const bool isTooWide = (block.table && block.table->alignments.size() > kMostColumns) ||
                           (block.kind == MarkdownBlockKind::prose && isWideTable(sources[i]));
    if (isTooWide) {
      block = writtenBlock(sources[i]);
    } else if (block.kind != MarkdownBlockKind::code) {
      block.source = writtenBlock(sources[i]).source;
    }
  }
  if (!rest.empty() && (!isWhole || blocks_.empty())) blocks_.push_back(writtenBlock(rest));
  return std::move(blocks_);
}

void MarkdownReader::enterBlock(MD_BLOCKTYPE type, void* detail) {
  if (type == MD_BLOCK_DOC) return;
  flush();
  open_.push_back({type, false});
  if (isTop()) beginBlock(type, detail);
  if (type != MD_BLOCK_P) writeMark();
  open_.back().isWritten = openBlock(type, detail);
}

void MarkdownReader::leaveBlock(MD_BLOCKTYPE type, void* /*detail*/) {
  if (type == MD_BLOCK_DOC) return;
  if (type == MD_BLOCK_CODE) {
    if (run_.ends_with('\n')) run_.pop_back();
    isInCode_ = false;
    if (isTop()) {
      blocks_.back().source = std::exchange(run_, {});
    } else {
      html_.text(std::exchange(run_, {}));
    }
  }
  flush();
  writeMark();
  while (!spans_.empty()) closeSpan();
  if (open_.back().isWritten) html_.close();
  if (type == MD_BLOCK_UL || type == MD_BLOCK_OL) lists_.pop_back();
  if (type == MD_BLOCK_TH || type == MD_BLOCK_TD) endCell(type);
  if (isTop()) endBlock();
  open_.pop_back();
}

void MarkdownReader::beginBlock(MD_BLOCKTYPE type, void* detail) {
  MarkdownBlock& block = blocks_.emplace_back(MarkdownBlock{.kind = kindOf(type)});
  BlockExtent& extent = extents_.emplace_back(BlockExtent{.kind = block.kind});
  if (type == MD_BLOCK_H) block.level = static_cast<int>(static_cast<MD_BLOCK_H_DETAIL*>(detail)->level);
  if (type == MD_BLOCK_CODE) {
    const auto& code = *static_cast<MD_BLOCK_CODE_DETAIL*>(detail);
    if (code.lang.size > 0) {
      seen(code.info.text, code.info.size);
      block.language = value(code.lang);
      if (const std::string file(fileNamedIn(value(code.info))); !file.empty()) block.file = file;
      if (block.file && languageOf(*block.language).empty()) block.language = block.file;
    }
  }
  if (type == MD_BLOCK_TABLE) {
    extent.rows = static_cast<MD_BLOCK_TABLE_DETAIL*>(detail)->body_row_count;
    block.table.emplace();
    isAligned_.clear();
  }
}

void MarkdownReader::endBlock() {
  MarkdownBlock& block = blocks_.back();
  block.html = html_.take();
  if (block.table) finishTable(block);
}

bool MarkdownReader::openBlock(MD_BLOCKTYPE type, void* detail) {
  const auto open = [&](HtmlTag tag) {
    html_.open(tag);
    return true;
  };
  const bool isOfNumber =
      open_.size() > 1 && open_[open_.size() - 2].type == MD_BLOCK_LI && lists_.back().marks == List::Marks::text;
  switch (type) {
    case MD_BLOCK_QUOTE:
      return !isTop() && open(HtmlTag::blockquote);
    case MD_BLOCK_UL:
    case MD_BLOCK_OL:
      beginList(type, detail);
      return lists_.back().marks == List::Marks::html;
    case MD_BLOCK_LI:
      beginItem(*static_cast<MD_BLOCK_LI_DETAIL*>(detail));
      return lists_.back().marks == List::Marks::html;
    case MD_BLOCK_HR:
      if (isTop()) return false;
      html_.open(HtmlTag::p);
      html_.text("———");
      return true;
    case MD_BLOCK_H:
      return !isTop() && open(headingTag(static_cast<MD_BLOCK_H_DETAIL*>(detail)->level));
    case MD_BLOCK_CODE:
      isInCode_ = true;
      extents_.back().fence = static_cast<MD_BLOCK_CODE_DETAIL*>(detail)->fence_char;
      return !isTop() && open(HtmlTag::pre);
    case MD_BLOCK_P:
      if (isOfNumber && lists_.back().parts++ > 0) html_.breakLine();
      return !isTop() && !isOfNumber && open(HtmlTag::p);
    case MD_BLOCK_TABLE:
      return !isTop() && open(HtmlTag::pre);
    case MD_BLOCK_TR:
      isFirstInRow_ = true;
      return false;
    case MD_BLOCK_TH:
    case MD_BLOCK_TD:
      beginCell(type, *static_cast<MD_BLOCK_TD_DETAIL*>(detail));
      return false;
    default:
      return false;
  }
}

void MarkdownReader::beginList(MD_BLOCKTYPE type, void* detail) {
  const unsigned number = type == MD_BLOCK_OL ? static_cast<MD_BLOCK_OL_DETAIL*>(detail)->start : 1;
  lists_.push_back({number == 1 ? List::Marks::html : List::Marks::text, number});
  if (number == 1) html_.open(type == MD_BLOCK_OL ? HtmlTag::ol : HtmlTag::ul);
}

void MarkdownReader::beginItem(const MD_BLOCK_LI_DETAIL& item) {
  List& list = lists_.back();
  list.parts = 0;
  const bool isDone = item.is_task && item.task_mark != ' ';
  if (list.marks == List::Marks::html) {
    item.is_task ? html_.openTask(isDone) : html_.open(HtmlTag::li);
  } else {
    if (html_.size() > 0) html_.breakLine();
    html_.text(std::to_string(list.number++) + ". ");
    if (item.is_task) mark_ = taskMark(isDone);
  }
}

void MarkdownReader::beginCell(MD_BLOCKTYPE type, const MD_BLOCK_TD_DETAIL& cell) {
  const bool isFirst = std::exchange(isFirstInRow_, false);
  MarkdownBlock& block = blocks_.back();
  if (!isTable()) {
    if (!isFirst) html_.text(" | ");
    if (isFirst && type == MD_BLOCK_TD) html_.text("\n");
  } else if (type == MD_BLOCK_TH) {
    block.table->alignments.push_back(alignmentOf(cell.align));
    isAligned_.push_back(cell.align != MD_ALIGN_DEFAULT);
  } else if (isFirst) {
    block.table->rows.emplace_back();
  }
}

void MarkdownReader::endCell(MD_BLOCKTYPE type) {
  if (!isTable()) return;
  MarkdownTable& table = *blocks_.back().table;
  (type == MD_BLOCK_TH ? table.header : table.rows.back()).push_back(html_.take());
}

void MarkdownReader::finishTable(MarkdownBlock& block) {
  MarkdownTable& table = *block.table;
  for (auto& row : table.rows) row.resize(table.alignments.size());
  for (std::size_t column = 0; column < table.alignments.size(); ++column) {
    if (!isAligned_[column] && isNumericColumn(table, column)) table.alignments[column] = ColumnAlignment::right;
  }
}

}  // namespace ravant::desktop
