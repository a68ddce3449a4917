#include "desktop/palette/search_model.hpp"

#include "core/conversation_state.hpp"
#include "desktop/palette/search_excerpt.hpp"
#include "platform/text/duration_text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::int64_t kMostPlaces = 50;

QString iconOf(ConversationItemKind kind) {
  switch (kind) {
    case ConversationItemKind::userMessage:
      return QStringLiteral("conversation");
    case ConversationItemKind::agentMessage:
      return QStringLiteral("agent");
    case ConversationItemKind::toolInvocationGroup:
      return QStringLiteral("terminal");
    case ConversationItemKind::compactionEvent:
      return QStringLiteral("compact");
    case ConversationItemKind::failureEvent:
      return QStringLiteral("warning");
  }
  __builtin_unreachable();
}

/// The excerpt with what was searched for in bold.
QString markupOf(const SearchSnippet& excerpt) {
  const auto escaped = [&](std::size_t begin, std::size_t end) {
    return QString::fromStdString(excerpt.text.substr(begin, end - begin)).toHtmlEscaped();
  };
  QString markup;
  std::size_t at = 0;
  for (const TextSpan& mark : excerpt.marks) {
    markup += escaped(at, mark.begin) + QStringLiteral("<b>") + escaped(mark.begin, mark.end) + QStringLiteral("</b>");
    at = mark.end;
  }
  return markup + escaped(at, excerpt.text.size());
}

PaletteRow rowOf(const SearchHit& hit, const ConversationSummary& summary, Timestamp now) {
  const SearchSnippet excerpt = readable(hit.snippet, hit.kind);
  const std::string title = displayTitle(summary);
  return {.id = QString::fromStdString(hit.item.text() + (hit.invocation ? hit.invocation->text() : "")),
          .title = QString::fromStdString(excerpt.text),
          .markup = markupOf(excerpt),
          .subtitle =
              QString::fromStdString(excerpt.text == title ? summary.projectName : title + " · " + summary.projectName),
          .icon = iconOf(hit.kind),
          .keys = QString::fromStdString(shortAge(hit.createdAt, now)),
          .section = {}};
}

}  // namespace

SearchModel::SearchModel(DesktopWindow& window, QObject* parent) : PaletteRows(parent), window_(window) {}

SearchModel::~SearchModel() { stop_.request_stop(); }

void SearchModel::open() {
  clearQuery();
  forget();
}

void SearchModel::close() {
  turns_.take();
  isLooking_ = isTaken_ = false;
  stop_.request_stop();
}

void SearchModel::forget() {
  close();
  places_.clear();
  show({}, -1, tr("Prompts, answers and tool calls of all conversations are searched."));
}

void SearchModel::look() {
  stop_.request_stop();
  stop_ = std::stop_source();
  const QString words = query().trimmed();
  if (words.isEmpty()) return forget();
  isLooking_ = true;
  isTaken_ = false;
  start(search(turns_.take(), words.toStdString(), stop_.get_token()));
}

awaitable<void> SearchModel::search(Turns::Turn turn, std::string words, std::stop_token stop) {
  try {
    co_await showFound(turn, std::move(words), std::move(stop));
  } catch (const std::exception&) {
    if (turns_.isLatest(turn)) {
      isLooking_ = isTaken_ = false;
      places_.clear();
      show({}, -1, tr("The search failed."));
    }
    throw;
  }
}

awaitable<void> SearchModel::showFound(Turns::Turn turn, std::string words, std::stop_token stop) {
  const SearchResult result = co_await alive(window_.application().searchReader().search(
      {.text = words, .lastWord = LastWord::begun, .limit = kMostPlaces}, std::move(stop)));
  if (!turns_.isLatest(turn) || !result.isComplete) co_return;
  const auto conversations = co_await alive(conversationsOf(result.hits));
  if (!turns_.isLatest(turn)) co_return;
  std::vector<PaletteRow> rows;
  places_.clear();
  found_ = QString::fromStdString(words);
  for (const SearchHit& hit : result.hits) {
    const auto of = conversations.find(hit.conversation);
    if (of == conversations.end()) continue;
    rows.push_back(rowOf(hit, of->second, window_.presentTime()));
    places_.push_back({hit.conversation, of->second.conversation.project, hit.item});
  }
  show(std::move(rows), 0, result.hadWords ? nothingFound() : tr("Type a letter or a digit to search for."));
  isLooking_ = false;
  if (std::exchange(isTaken_, false)) choose(0);
}

QString SearchModel::nothingFound() const {
  return tr("“%1” is in no prompt, answer or tool call of any conversation. Try fewer words, or the beginning of one.")
      .arg(found_);
}

awaitable<std::map<ConversationId, ConversationSummary>> SearchModel::conversationsOf(std::vector<SearchHit> hits) {
  ConversationModelActor& conversations = window_.application().conversations();
  std::map<ConversationId, ConversationSummary> found;
  for (const SearchHit& hit : hits) {
    if (found.contains(hit.conversation)) continue;
    if (auto summary = co_await alive(conversations.conversation(hit.conversation))) {
      found.emplace(hit.conversation, *std::move(summary));
    }
  }
  co_return found;
}

void SearchModel::choose(int row) {
  if (row < 0 || row >= static_cast<int>(places_.size())) return;
  const Place place = places_[static_cast<std::size_t>(row)];
  const QString words = found_;
  Q_EMIT chosen();
  window_.openItem(place.conversation, place.project, place.item, words);
}

void SearchModel::take() {
  if (isLooking_) {
    isTaken_ = true;
  } else {
    choose(current());
  }
}

}  // namespace ravant::desktop
