#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant::desktop {

enum class HtmlTag { a, b, blockquote, br, code, div, h1, h2, h3, h4, i, li, ol, p, pre, s, ul };

std::string_view nameOf(HtmlTag tag);

/// The box of an item of a task list, where it is text.
std::string_view taskMark(bool isDone);

/// Writes HTML of the tags above, with no attribute but `href` of `a` and `class` of a task's `div`: whatever is put
/// in, what comes out is well-formed, has no other tag, and nests at most `kDeepest` deep. Tags beyond that are left
/// out, what is in them is not.
class HtmlWriter {
 public:
  static constexpr std::size_t kDeepest = 16;

  void open(HtmlTag tag);
  /// An item of a task list, which begins with its box and has no bullet: the box that the view would draw in its place
  /// is a crossed one for what is done.
  void openTask(bool isDone);
  /// `href` has passed the gate of `linkKind`.
  void openLink(std::string_view href);
  /// Closes what was opened last and is still open.
  void close();
  void breakLine();
  void text(std::string_view text);
  /// As `text`, with its addresses and files as links.
  void textWithLinks(std::string_view text);
  /// As `text`, with its files as links.
  void textWithFiles(std::string_view text);

  std::size_t size() const { return html_.size(); }
  /// What was written, with all that is open closed; the next begins anew.
  std::string take();

 private:
  enum class Written { yes, no };

  bool begin(HtmlTag tag);

  struct Open {
    HtmlTag tag;
    Written written;
  };

  std::string html_;
  std::vector<Open> open_;
  std::size_t depth_ = 0;
  /// Where the box of the latest task ends: a paragraph that begins there goes on in its line.
  std::optional<std::size_t> taskBegun_;
};

/// `text` without its tags, for who listens: a line for each line and item that is shown, entities as characters.
std::string plainText(std::string_view html);

/// Text that is no Markdown, as HTML: its addresses and files are links, its line breaks and indentation stay.
std::string linkedText(std::string_view text);

}  // namespace ravant::desktop
