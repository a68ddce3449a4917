#include "desktop/conversation/item_rows.hpp"

#include <QCoreApplication>
#include <algorithm>
#include <chrono>
#include <limits>
#include <tuple>

#include "core/overloaded.hpp"
#include "desktop/conversation/call_input.hpp"
#include "desktop/conversation/table_writer.hpp"
#include "desktop/conversation/text_pieces.hpp"
#include "desktop/program/sentence.hpp"
#include "desktop/text/html_writer.hpp"
#include "desktop/text/shown_text.hpp"
#include "platform/text/duration_text.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

/// Characters: what is longer is laid out too slowly to be scrolled.
constexpr std::size_t kLongestLine = 4000;
constexpr std::size_t kLongestPiece = 16 * 1024;
constexpr std::size_t kLongestProse = 32 * 1024;
constexpr int kLongestName = 600;
constexpr int kAllPieces = std::numeric_limits<int>::max();
/// Of what a call was given: what its summary is made of.
constexpr std::size_t kKeptInput = 64 * 1024;

QString words(const char* text, int n = -1) { return QCoreApplication::translate("Transcript", text, nullptr, n); }

QString cut(QString text) {
  if (text.size() > kLongestName) text = text.left(kLongestName) + QStringLiteral("…");
  return text;
}

std::shared_ptr<const CodePaint> paintOf(const QString& text, const Highlighter& highlighter,
                                         Highlighter::State& state) {
  auto paint = std::make_shared<CodePaint>();
  bool isPainted = false;
  for (const QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
    paint->lines.push_back(highlighter.line({line.utf16(), static_cast<std::size_t>(line.size())}, state));
    isPainted = isPainted || !paint->lines.back().empty();
  }
  return isPainted ? paint : nullptr;
}

/// A long text as rows, each finished by `finish` when it has its text: the first `pieces` of it.
template <class Finish>
void addPieces(std::vector<TranscriptRow>& rows, const TranscriptRow& base, std::span<const TextLine> lines,
               PieceLimit limit, int pieces, const Finish& finish) {
  for (int piece = 0; piece < pieces && !lines.empty(); ++piece) {
    const std::size_t length = pieceLength(lines, limit);
    TranscriptRow row = base;
    row.key += fmt::format(".{}", piece);
    row.opensBlock = piece == 0;
    row.text = joined(lines.first(length));
    lines = lines.subspan(length);
    row.closesBlock = piece + 1 == pieces || lines.empty();
    if (row.closesBlock) {
      row.hiddenLines = static_cast<int>(lines.size());
      row.more = moreWords(lines);
    }
    finish(row);
    rows.push_back(std::move(row));
  }
}

PieceLimit pieceLimit(bool isWhole) { return {.lines = isWhole ? kPieceLines : kShownLines, .bytes = kLongestPiece}; }

/// Code of which the first lines are shown, or all in pieces.
void addCode(std::vector<TranscriptRow>& rows, const TranscriptRow& base, std::string_view language,
             std::string_view text, bool isWhole) {
  const auto lines = textLines(text, kLongestLine);
  const Highlighter highlighter(language);
  Highlighter::State state;
  const QString name = shown(languageName(language));
  const QString source = QString::fromStdString(std::string(text));
  const bool isShort = pieceLength(lines, pieceLimit(false)) == lines.size();
  addPieces(rows, base, lines, pieceLimit(isWhole && !isShort), isWhole ? kAllPieces : 1, [&](TranscriptRow& row) {
    row.name = cut(words("Code, %1: ").arg(name.isEmpty() ? words("plain") : name) + row.text);
    row.paint = paintOf(row.text, highlighter, state);
    row.source = source;
  });
}

RowKind rowKindOf(MarkdownBlockKind kind) {
  switch (kind) {
    case MarkdownBlockKind::heading:
      return RowKind::heading;
    case MarkdownBlockKind::quotation:
      return RowKind::quotation;
    case MarkdownBlockKind::table:
      return RowKind::table;
    case MarkdownBlockKind::rule:
      return RowKind::rule;
    case MarkdownBlockKind::code:
    case MarkdownBlockKind::written:
      return RowKind::code;
    case MarkdownBlockKind::prose:
    case MarkdownBlockKind::list:
      return RowKind::prose;
  }
  Q_UNREACHABLE();
}

QStringList linksIn(const QString& html) {
  QStringList links;
  const QLatin1String before("href=\"");
  for (auto at = html.indexOf(before); at >= 0; at = html.indexOf(before, at)) {
    at += before.size();
    const auto end = html.indexOf(QLatin1Char('"'), at);
    if (end < 0) break;
    links.append(QString::fromStdString(plainText(html.mid(at, end - at).toStdString())));
    at = end;
  }
  links.removeDuplicates();
  return links;
}

void markEnds(std::vector<TranscriptRow>& rows) {
  if (rows.empty()) return;
  rows.front().isFirst = true;
  rows.back().isLast = true;
}

std::vector<TranscriptRow> userRows(const ShownItem& shownItem, const ItemFolds& folds) {
  TranscriptRow row{.kind = RowKind::userMessage, .key = shownItem.key + "/0", .item = shownItem.item.id};
  row.source = QString::fromStdString(shownItem.item.text);
  const auto lines = textLines(shownItem.item.text, kLongestLine);
  const bool isWhole = folds.whole.contains(0);
  std::vector<TranscriptRow> rows;
  addPieces(rows, row, lines, {.lines = kShownLines, .bytes = kLongestLine}, isWhole ? kAllPieces : 1,
            [](TranscriptRow& piece) {
              piece.html = QString::fromStdString(linkedText(piece.text.toStdString()));
              piece.links = linksIn(piece.html);
              piece.name = cut(words("You: ") + piece.text);
            });
  markEnds(rows);
  return rows;
}

QString iconOf(ToolCallKind kind) {
  switch (kind) {
    case ToolCallKind::edit:
      return QStringLiteral("pencil");
    case ToolCallKind::read:
      return QStringLiteral("file");
    case ToolCallKind::run:
      return QStringLiteral("terminal");
    case ToolCallKind::search:
      return QStringLiteral("search");
    case ToolCallKind::fetch:
      return QStringLiteral("globe");
    case ToolCallKind::todo:
      return QStringLiteral("list-check");
    case ToolCallKind::task:
      return QStringLiteral("agent");
    case ToolCallKind::other:
      return QStringLiteral("settings");
  }
  Q_UNREACHABLE();
}

RowOutcome outcomeOf(ToolInvocationStatus status) {
  switch (status) {
    case ToolInvocationStatus::running:
      return RowOutcome::running;
    case ToolInvocationStatus::completed:
      return RowOutcome::done;
    case ToolInvocationStatus::failed:
      return RowOutcome::failed;
  }
  Q_UNREACHABLE();
}

QString foldWords(bool isOpen) { return isOpen ? words(", expanded") : words(", collapsed"); }

QString outcomeWords(RowOutcome outcome) {
  switch (outcome) {
    case RowOutcome::running:
      return words(", running");
    case RowOutcome::failed:
      return words(", failed");
    case RowOutcome::done:
      return words(", done");
    case RowOutcome::none:
      break;
  }
  return {};
}

QString durationOf(const ToolInvocation& call, Timestamp now) {
  const auto lasted = call.completedAt.value_or(now) - call.createdAt;
  if (lasted < std::chrono::seconds(1)) return {};
  return QString::fromStdString(shortDuration(lasted));
}

bool isDiff(std::string_view text) {
  text = trimmed(text);
  return text.starts_with("diff --git ") || text.starts_with("@@ -") || text.contains("\ndiff --git ") ||
         (text.starts_with("--- ") && text.contains("\n+++ "));
}

constexpr PieceLimit kCallPiece{.lines = kShownOutputLines, .bytes = kLongestPiece};

/// The texts of an open call, of which long ones are shown in part.
void addCallTexts(std::vector<TranscriptRow>& rows, const TranscriptRow& call, const ItemFolds& folds,
                  const CallTexts& texts, ToolCallKind kind) {
  const auto add = [&](CallPart part, const QString& label, const std::string& text, std::string_view source) {
    if (trimmed(text).empty()) return;
    const bool isInput = part == CallPart::input;
    const TranscriptRow base{.kind = RowKind::toolText,
                             .key = call.key + (isInput ? "/in" : "/out"),
                             .item = call.item,
                             .invocation = call.invocation,
                             .block = static_cast<int>(part),
                             .label = label,
                             .source = QString::fromStdString(std::string(source))};
    const bool isChange = isInput ? kind == ToolCallKind::edit : isDiff(text);
    const Highlighter highlighter(isChange ? "diff" : "");
    Highlighter::State state;
    const auto pieces = folds.pieces.find({call.invocation, part});
    addPieces(rows, base, textLines(text, kLongestLine), kCallPiece, pieces == folds.pieces.end() ? 1 : pieces->second,
              [&](TranscriptRow& row) {
                row.name = cut(label + QStringLiteral(": ") + row.text);
                row.paint = paintOf(row.text, highlighter, state);
              });
  };
  add(CallPart::input, words("Input"), readableInput(texts.input), texts.input);
  add(CallPart::output, words("Output"), texts.output, texts.output);
}

std::vector<TranscriptRow> groupRows(const ShownItem& shownItem, const ItemFolds& folds,
                                     const RowSurroundings& around) {
  const auto& calls = std::get<ToolInvocationGroup>(shownItem.item.detail).invocations;
  const bool runs = isRunning(shownItem.item);
  TranscriptRow group{.kind = RowKind::toolGroup, .key = shownItem.key + "/0", .item = shownItem.item.id};
  group.isOpen = folds.isOpen.value_or(runs);
  group.label = shown(groupSummary(calls));
  if (runs && calls.size() == 1) group.text = shown(shownItem.calls.front().subject);
  group.outcome = runs ? RowOutcome::running : RowOutcome::none;
  Timestamp end = shownItem.item.createdAt;
  int failed = 0;
  for (const ToolInvocation& call : calls) {
    end = std::max(end, call.completedAt.value_or(call.status == ToolInvocationStatus::running ? around.now : end));
    if (call.status == ToolInvocationStatus::failed) ++failed;
  }
  if (failed > 0 && !runs) group.outcome = RowOutcome::failed;
  QStringList details;
  const bool isCountTold = !runs && group.label.contains(QStringLiteral(" %1 ").arg(calls.size()));
  if (calls.size() > 1 && !isCountTold) details.append(words("%n calls", static_cast<int>(calls.size())));
  if (failed > 0) details.append(calls.size() > 1 ? words("%n failed", failed) : words("failed"));
  if (const auto lasted = end - shownItem.item.createdAt; lasted >= std::chrono::seconds(1)) {
    details.append(QString::fromStdString(shortDuration(lasted)));
  }
  group.detail = details.join(QStringLiteral(", "));
  group.name = words("Tool calls: ") + group.label;
  if (!group.detail.isEmpty()) group.name += QStringLiteral(", ") + group.detail;
  group.name += (runs ? outcomeWords(group.outcome) : QString()) + foldWords(group.isOpen);
  std::vector<TranscriptRow> rows{group};
  for (std::size_t index = 0; group.isOpen && index < calls.size(); ++index) {
    const ToolCallSummary& summary = shownItem.calls[index];
    TranscriptRow row{.kind = RowKind::toolCall,
                      .key = fmt::format("{}/c{}", shownItem.key, calls[index].id.text()),
                      .item = shownItem.item.id,
                      .invocation = calls[index].id};
    row.isOpen = folds.openCalls.contains(row.invocation);
    row.icon = iconOf(summary.kind);
    row.label = shown(summary.verb);
    row.text = shown(summary.subject);
    row.outcome = outcomeOf(calls[index].status);
    row.detail = shown(summary.result.value_or(""));
    if (const QString duration = durationOf(calls[index], around.now);
        !duration.isEmpty() && (summary.kind == ToolCallKind::run || row.outcome == RowOutcome::running)) {
      row.detail += row.detail.isEmpty() ? duration : QStringLiteral(", ") + duration;
    }
    row.name = cut(row.label + QLatin1Char(' ') + row.text);
    if (!row.detail.isEmpty()) row.name += QStringLiteral(", ") + row.detail;
    row.name += outcomeWords(row.outcome) + foldWords(row.isOpen);
    rows.push_back(row);
    const auto texts = around.callTexts.find(row.invocation);
    if (row.isOpen && texts != around.callTexts.end()) addCallTexts(rows, row, folds, texts->second, summary.kind);
  }
  markEnds(rows);
  return rows;
}

void addTable(std::vector<TranscriptRow>& rows, const TranscriptRow& base, const MarkdownTable& table, bool isWhole,
              const QString& author) {
  const std::size_t count = table.rows.size();
  const std::size_t shown = isWhole ? count : std::min(count, kShownTableRows);
  const TableWriter writer(table, count > kShownTableRows);
  for (std::size_t begin = 0, piece = 0; piece == 0 || begin < shown; begin += kShownTableRows, ++piece) {
    const std::size_t end = std::min(begin + kShownTableRows, shown);
    TranscriptRow row = base;
    row.key += fmt::format(".{}", piece);
    row.opensBlock = piece == 0;
    row.closesBlock = end == shown;
    row.html = QString::fromStdString(writer.html(begin, end));
    row.links = linksIn(row.html);
    row.hiddenLines = row.closesBlock ? static_cast<int>(count - shown) : 0;
    if (row.hiddenLines > 0) row.more = words("Show %1 more rows").arg(row.hiddenLines);
    row.name = cut(author + QString::fromStdString(writer.plainText(begin, end)));
    rows.push_back(std::move(row));
  }
}

std::vector<TranscriptRow> markerRows(const ShownItem& shownItem, RowKind kind, const QString& prefix,
                                      const QString& fallback) {
  TranscriptRow row{.kind = kind, .key = shownItem.key + "/0", .item = shownItem.item.id};
  row.text = trimmed(shownItem.item.text).empty() ? fallback : shown(trimmed(shownItem.item.text));
  if (kind == RowKind::failure) row.text = sentence(row.text);
  row.name = cut(prefix + row.text);
  std::vector<TranscriptRow> rows{std::move(row)};
  markEnds(rows);
  return rows;
}

}  // namespace

bool TranscriptRow::operator==(const TranscriptRow& other) const {
  const auto plain = [](const TranscriptRow& row) {
    return std::tie(row.kind, row.key, row.item, row.invocation, row.block, row.isFirst, row.isLast, row.opensBlock,
                    row.closesBlock, row.isOpen, row.isGrowing, row.canAct, row.outcome, row.level, row.hiddenLines,
                    row.more, row.html, row.links, row.text, row.label, row.detail, row.icon, row.name, row.source);
  };
  const bool isPaintedAlike = paint == other.paint || (paint && other.paint && *paint == *other.paint);
  return isPaintedAlike && plain(*this) == plain(other);
}

std::vector<QString> callPieces(const CallTexts& texts, CallPart part, std::size_t most) {
  const std::string text = part == CallPart::input ? readableInput(texts.input) : texts.output;
  const auto all = textLines(text, kLongestLine);
  std::vector<QString> pieces;
  for (std::span<const TextLine> lines(all); !lines.empty() && pieces.size() < most;) {
    const std::size_t length = pieceLength(lines, kCallPiece);
    pieces.push_back(joined(lines.first(length)));
    lines = lines.subspan(length);
  }
  return pieces;
}

QString shown(std::string_view text) { return QString::fromStdString(shownText(text)); }

bool isRunning(const ConversationItem& item) {
  const auto* group = std::get_if<ToolInvocationGroup>(&item.detail);
  return group && std::ranges::any_of(group->invocations, [](const ToolInvocation& call) {
           return call.status == ToolInvocationStatus::running;
         });
}

ShownItem shownItem(ConversationItem item, std::string_view projectFolder) {
  ShownItem made{.item = std::move(item), .key = {}};
  made.key = made.item.id.text();
  made.item.rawJSON = {};
  if (auto* message = std::get_if<AgentMessage>(&made.item.detail)) {
    message->blocks = {};
    made.blocks = markdownBlocks(made.item.text);
  } else if (auto* group = std::get_if<ToolInvocationGroup>(&made.item.detail)) {
    for (ToolInvocation& call : std::exchange(group->invocations, {})) {
      made.setInvocation(std::move(call), projectFolder);
    }
  }
  return made;
}

void ShownItem::setInvocation(ToolInvocation invocation, std::string_view projectFolder) {
  auto& invocations = std::get<ToolInvocationGroup>(item.detail).invocations;
  const auto place = std::ranges::find(invocations, invocation.id, &ToolInvocation::id);
  ToolCallSummary summary = toolCallSummary(invocation, projectFolder);
  invocation.rawJSON = {};
  invocation.output = {};
  if (invocation.input && invocation.input->size() > kKeptInput) invocation.input->resize(kKeptInput);
  if (place == invocations.end()) {
    invocations.push_back(std::move(invocation));
    calls.push_back(std::move(summary));
  } else {
    calls[static_cast<std::size_t>(place - invocations.begin())] = std::move(summary);
    *place = std::move(invocation);
  }
}

std::vector<TranscriptRow> messageRows(const std::vector<MarkdownBlock>& blocks, const std::string& key,
                                       ConversationItemId item, const ItemFolds& folds, const QString& agent,
                                       Growing growing) {
  std::vector<TranscriptRow> rows;
  for (std::size_t index = 0; index < blocks.size(); ++index) {
    const MarkdownBlock& block = blocks[index];
    TranscriptRow row{.kind = rowKindOf(block.kind), .key = fmt::format("{}/{}", key, index), .item = item};
    row.block = static_cast<int>(index);
    if (row.kind != RowKind::table && block.html.size() > kLongestProse) row.kind = RowKind::code;
    if (row.kind == RowKind::code) {
      const std::string language = block.language.value_or("");
      row.label = shown(block.file.value_or(languageName(language)));
      addCode(rows, row, language, block.source, folds.whole.contains(row.block));
      continue;
    }
    row.source = QString::fromStdString(block.source);
    if (block.table) {
      addTable(rows, row, *block.table, folds.whole.contains(row.block), agent + QStringLiteral(": "));
      continue;
    }
    row.html = QString::fromStdString(block.html);
    if (growing == Growing::no || index + 1 < blocks.size()) row.links = linksIn(row.html);
    row.level = block.level;
    if (row.kind != RowKind::rule) {
      row.name = cut(agent + QStringLiteral(": ") + QString::fromStdString(plainText(block)));
    }
    rows.push_back(std::move(row));
  }
  markEnds(rows);
  if (growing == Growing::yes && !rows.empty()) rows.back().isGrowing = true;
  return rows;
}

std::vector<TranscriptRow> rowsOf(const ShownItem& shownItem, const ItemFolds& folds, const RowSurroundings& around) {
  return std::visit(
      Overloaded{[&](const UserMessage&) { return userRows(shownItem, folds); },
                 [&](const AgentMessage&) {
                   return messageRows(shownItem.blocks, shownItem.key, shownItem.item.id, folds, around.agent,
                                      Growing::no);
                 },
                 [&](const ToolInvocationGroup&) { return groupRows(shownItem, folds, around); },
                 [&](const CompactionEvent&) {
                   return markerRows(shownItem, RowKind::compaction, words("Compacted: "), words("Context compacted"));
                 },
                 [&](const FailureEvent&) {
                   return markerRows(shownItem, RowKind::failure, words("Failed: "), words("The run failed."));
                 }},
      shownItem.item.detail);
}

}  // namespace ravant::desktop
