#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/conversation_item.hpp"
#include "core/tool_call_summary.hpp"
#include "desktop/conversation/transcript_row.hpp"
#include "desktop/text/markdown_blocks.hpp"

namespace ravant::desktop {

inline constexpr std::size_t kShownLines = 40;
inline constexpr std::size_t kPieceLines = 60;
inline constexpr std::size_t kShownOutputLines = 200;

/// Rows of a table.
inline constexpr std::size_t kShownTableRows = 60;

enum class CallPart : std::uint8_t { input, output };

/// What a reader opened in an item.
struct ItemFolds {
  /// Absent while a group opens and folds by itself.
  std::optional<bool> isOpen = {};
  std::set<ToolInvocationId> openCalls = {};
  /// Blocks that are shown whole.
  std::set<int> whole = {};
  /// How many pieces of an open call's text are shown, where it is more than one.
  std::map<std::pair<ToolInvocationId, CallPart>, int> pieces = {};

  bool operator==(const ItemFolds&) const = default;
};

/// A tool call's own texts, which are read when it is opened.
struct CallTexts {
  std::string input;
  std::string output;
};

/// What the rows of an open call show of its text, in order.
std::vector<QString> callPieces(const CallTexts& texts, CallPart part, std::size_t most);

/// An item of the window with what was made of it.
struct ShownItem {
  /// Without the agent's records, and without the outputs of calls.
  ConversationItem item;
  /// Begins the keys of its rows.
  std::string key;
  std::vector<MarkdownBlock> blocks = {};
  std::vector<ToolCallSummary> calls = {};
  std::vector<TranscriptRow> rows = {};

  /// Takes what is long out of `item`.
  void setInvocation(ToolInvocation invocation, std::string_view projectFolder);
};

ShownItem shownItem(ConversationItem item, std::string_view projectFolder);

/// What the rows of an item depend on beside it.
struct RowSurroundings {
  QString agent;  ///< its display name
  Timestamp now;
  const std::map<ToolInvocationId, CallTexts>& callTexts;
};

std::vector<TranscriptRow> rowsOf(const ShownItem& shown, const ItemFolds& folds, const RowSurroundings& around);

enum class Growing { no, yes };
/// The rows of an agent's text. A growing one has a caret behind its last.
std::vector<TranscriptRow> messageRows(const std::vector<MarkdownBlock>& blocks, const std::string& key,
                                       ConversationItemId item, const ItemFolds& folds, const QString& agent,
                                       Growing growing);

/// Whether a call of it still runs.
bool isRunning(const ConversationItem& item);

/// `text` without what could steer how it is shown.
QString shown(std::string_view text);

}  // namespace ravant::desktop
