#include "desktop/palette/search_model.hpp"

#include "core/conversation_state.hpp"
#include "platform/text/duration_text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::int64_t kMostPlaces = 50;

QString iconOf(ConversationItemKind kind) {
  switch (kind) {
    case ConversationItemKind::userMessage:
      return QStringLiteral("pencil");
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

PaletteRow rowOf(const SearchHit& hit, const ConversationSummary& summary, Timestamp now) {
  return {.id = QString::fromStdString(hit.item.text() + (hit.invocation ? hit.invocation->text() : "")),
          .title = QString::fromStdString(hit.snippet.text),
          .subtitle = QString::fromStdString(displayTitle(summary) + " · " + summary.projectName),
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
  stop_.request_stop();
}

void SearchModel::forget() {
  close();
  places_.clear();
  show({}, -1, {});
}

void SearchModel::look() {
  stop_.request_stop();
  stop_ = std::stop_source();
  const QString words = query().trimmed();
  if (words.isEmpty()) return forget();
  start(search(turns_.take(), words.toStdString(), stop_.get_token()));
}

awaitable<void> SearchModel::search(Turns::Turn turn, std::string words, std::stop_token stop) {
  const SearchResult result = co_await alive(window_.application().searchReader().search(
      {.text = words, .lastWord = LastWord::begun, .limit = kMostPlaces}, std::move(stop)));
  if (!turns_.isLatest(turn) || !result.isComplete) co_return;
  const auto conversations = co_await alive(conversationsOf(result.hits));
  if (!turns_.isLatest(turn)) co_return;
  std::vector<PaletteRow> rows;
  places_.clear();
  for (const SearchHit& hit : result.hits) {
    const auto of = conversations.find(hit.conversation);
    if (of == conversations.end()) continue;
    rows.push_back(rowOf(hit, of->second, window_.application().modelContainer()->clock().now()));
    places_.push_back({hit.conversation, of->second.conversation.project, hit.item});
  }
  const QString empty =
      rows.empty() ? tr("“%1” is in none of the conversations.").arg(QString::fromStdString(words)) : QString();
  show(std::move(rows), 0, empty);
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
  const Place& place = places_[static_cast<std::size_t>(row)];
  window_.openItem(place.conversation, place.project, place.item, query().trimmed());
}

}  // namespace ravant::desktop
