#pragma once

#include <md4c.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/text/html_writer.hpp"
#include "desktop/text/markdown_blocks.hpp"
#include "desktop/text/markdown_sources.hpp"
#include "desktop/text/parser_input.hpp"

namespace ravant::desktop {

/// Makes blocks of what md4c says of one text.
class MarkdownReader {
 public:
  /// `markdown` is valid UTF-8 of less than 4 GiB and outlives the reader.
  explicit MarkdownReader(std::string_view markdown);

  std::vector<MarkdownBlock> read();

 private:
  struct OpenBlock {
    MD_BLOCKTYPE type;
    bool isWritten;
  };
  struct OpenSpan {
    MD_SPANTYPE type;
    bool isWritten;
    std::size_t begin;
    std::string target;
  };
  /// A list that does not begin at 1 is written as lines with their numbers: Qt counts every list from 1.
  struct List {
    enum class Marks { html, text };
    Marks marks;
    unsigned number;
    int parts = 0;
  };

  template <auto kMember, typename... Arguments>
  static int call(Arguments... arguments, void* reader);

  bool isTooMuch() const;
  void enterBlock(MD_BLOCKTYPE type, void* detail);
  void leaveBlock(MD_BLOCKTYPE type, void* detail);
  void enterSpan(MD_SPANTYPE type, void* detail);
  void leaveSpan(MD_SPANTYPE type, void* detail);
  void text(MD_TEXTTYPE type, const MD_CHAR* text, MD_SIZE size);

  void beginBlock(MD_BLOCKTYPE type, void* detail);
  void endBlock();
  bool openBlock(MD_BLOCKTYPE type, void* detail);
  void beginList(MD_BLOCKTYPE type, void* detail);
  void beginItem(const MD_BLOCK_LI_DETAIL& item);
  void beginCell(MD_BLOCKTYPE type, const MD_BLOCK_TD_DETAIL& cell);
  void endCell(MD_BLOCKTYPE type);
  void beginLink(OpenSpan& span);
  void closeSpan();
  void keepTabs(std::string_view run);
  void addRun(std::string_view text);
  void writeMark();
  void flush();

  bool isTable() const { return blocks_.back().kind == MarkdownBlockKind::table; }
  bool isTop() const { return open_.size() == 1; }
  std::optional<std::size_t> placeOf(std::string_view part) const;
  std::string_view written(const MD_CHAR* text, std::size_t size) const;
  std::string_view seen(const MD_CHAR* text, std::size_t size);
  std::string targetOf(const MD_ATTRIBUTE& attribute);
  std::string value(const MD_ATTRIBUTE& attribute);
  void finishTable(MarkdownBlock& block);

  std::string_view markdown_;
  ParserInput input_;
  std::size_t said_ = 0;

  std::vector<MarkdownBlock> blocks_;
  std::vector<BlockExtent> extents_;
  std::vector<bool> isAligned_;

  HtmlWriter html_;
  std::string run_;
  /// Of the item of a task list that was begun, until the first of what is in it.
  std::string_view mark_;
  std::vector<OpenBlock> open_;
  std::vector<OpenSpan> spans_;
  std::vector<List> lists_;
  bool isInLink_ = false;
  bool isInCode_ = false;
  bool isFirstInRow_ = true;
};

}  // namespace ravant::desktop
