#pragma once

#include <QMetaType>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/conversation_item.hpp"
#include "desktop/text/highlighter.hpp"

namespace ravant::desktop {

enum class RowKind : std::uint8_t {
  userMessage,
  prose,
  heading,
  quotation,
  table,
  code,
  rule,
  toolGroup,
  toolCall,
  toolText,
  compaction,
  failure,
  interrupted,
  unread,
  reasoning,
  runState,
  stopped
};

enum class RowOutcome : std::uint8_t { none, running, done, failed };

/// The spans of each line of a piece of code.
struct CodePaint {
  std::vector<std::vector<CodeSpan>> lines;

  bool operator==(const CodePaint&) const = default;
};

/// One row of a transcript as it is shown.
struct TranscriptRow {
  RowKind kind = RowKind::prose;
  /// What tells it from every other row of the window, for as long as it is shown.
  std::string key = {};
  /// Names nothing in what is not stored.
  ConversationItemId item = {};
  ToolInvocationId invocation = {};
  /// Of a message; of a call, a `CallPart`.
  int block = 0;
  bool isFirst = false;  ///< of its item
  bool isLast = false;
  bool opensBlock = true;  ///< false for a further piece of a code block
  bool closesBlock = true;
  bool isOpen = false;  ///< unfolded
  bool isGrowing = false;
  /// Try again, Continue.
  bool canAct = false;
  RowOutcome outcome = RowOutcome::none;
  int level = 0;        ///< of headings
  int hiddenLines = 0;  ///< that are not shown
  QString more = {};    ///< what the button says that shows them
  QString html = {};
  /// The targets of its links, each once; none while it grows.
  QStringList links = {};
  QString text = {};    ///< plain: code, words, the subject of a call
  QString label = {};   ///< language, verb, summary of a group
  QString detail = {};  ///< result, duration
  QString icon = {};
  QString name = {};  ///< what a screen reader says
  /// What is copied of a code block or a call's text.
  QString source = {};

  /// Null where nothing is painted.
  std::shared_ptr<const CodePaint> paint = {};

  bool operator==(const TranscriptRow& other) const;
};

}  // namespace ravant::desktop

Q_DECLARE_METATYPE(std::shared_ptr<const ravant::desktop::CodePaint>)
