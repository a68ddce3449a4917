#include "desktop/conversation/reading_places.hpp"

#include <algorithm>
#include <ranges>

#include "platform/async/on_pool.hpp"
#include "platform/files/private_file.hpp"
#include "platform/json/json.hpp"
#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "ReadingPlaces");
constexpr std::int64_t kMostPieces = 100'000;

json::object encoded(ConversationItemId item, const ItemFolds& folds) {
  json::object object{{"item", item.value()}};
  if (folds.isOpen) object["open"] = *folds.isOpen;
  json::array calls;
  for (const ToolInvocationId call : folds.openCalls) calls.emplace_back(call.value());
  json::array whole;
  for (const int block : folds.whole) whole.emplace_back(block);
  json::array pieces;
  for (const auto& [part, count] : folds.pieces) {
    pieces.push_back(json::array{part.first.value(), static_cast<int>(part.second), count});
  }
  if (!calls.empty()) object["calls"] = std::move(calls);
  if (!whole.empty()) object["whole"] = std::move(whole);
  if (!pieces.empty()) object["pieces"] = std::move(pieces);
  return object;
}

std::vector<std::int64_t> integersAt(const json::object& object, std::string_view key) {
  std::vector<std::int64_t> found;
  const json::array* const values = arrayAt(object, key);
  for (std::size_t index = 0; values && index < values->size(); ++index) {
    if (const auto number = exactInteger((*values)[index])) found.push_back(*number);
  }
  return found;
}

ItemFolds foldsOf(const json::object& object) {
  ItemFolds folds{.isOpen = boolAt(object, "open")};
  for (const std::int64_t call : integersAt(object, "calls")) folds.openCalls.insert(ToolInvocationId(call));
  for (const std::int64_t block : integersAt(object, "whole")) folds.whole.insert(static_cast<int>(block));
  const json::array* const pieces = arrayAt(object, "pieces");
  for (std::size_t index = 0; pieces && index < pieces->size(); ++index) {
    const json::object wrapped{{"piece", (*pieces)[index]}};
    const auto piece = integersAt(wrapped, "piece");
    if (piece.size() != 3 || piece[2] < 1 || piece[2] > kMostPieces) continue;
    const auto part = piece[1] == 0 ? CallPart::input : CallPart::output;
    folds.pieces[{ToolInvocationId(piece[0]), part}] = static_cast<int>(piece[2]);
  }
  return folds;
}

Reading readingOf(const json::object& object) {
  Reading reading;
  if (const json::object* const place = objectAt(object, "place")) {
    const auto item = integerAt(*place, "item");
    const auto row = stringAt(*place, "row");
    const auto above = integerAt(*place, "above");
    if (item && row && above) {
      reading.place = {
          .item = ConversationItemId(*item), .row = std::string(*row), .above = static_cast<double>(*above)};
    }
  }
  const json::array* const folds = arrayAt(object, "folds");
  for (std::size_t index = 0; folds && index < folds->size(); ++index) {
    const json::object* const each = asObject(&(*folds)[index]);
    const auto item = each ? integerAt(*each, "item") : std::nullopt;
    if (item) reading.folds.emplace(ConversationItemId(*item), foldsOf(*each));
  }
  return reading;
}

}  // namespace

std::string encodedReadings(const std::vector<std::pair<ConversationId, Reading>>& kept) {
  json::array conversations;
  for (const auto& [conversation, reading] : kept) {
    json::object object{{"conversation", conversation.text()}};
    if (const auto& place = reading.place) {
      object["place"] = {
          {"item", place->item.value()}, {"row", place->row}, {"above", static_cast<std::int64_t>(place->above)}};
    }
    json::array folds;
    for (const auto& [item, each] : reading.folds) folds.push_back(encoded(item, each));
    if (!folds.empty()) object["folds"] = std::move(folds);
    conversations.push_back(std::move(object));
  }
  return compactJson(conversations);
}

std::vector<std::pair<ConversationId, Reading>> decodedReadings(std::string_view text) {
  std::vector<std::pair<ConversationId, Reading>> kept;
  const auto parsed = parseJson(text);
  const json::array* const conversations = parsed ? parsed->if_array() : nullptr;
  for (std::size_t index = 0; conversations && index < conversations->size(); ++index) {
    const json::object* const object = asObject(&(*conversations)[index]);
    const auto id = object ? stringAt(*object, "conversation").and_then(Uuid::parse) : std::nullopt;
    if (id) kept.emplace_back(ConversationId(*id), readingOf(*object));
  }
  return kept;
}

ReadingPlaces::ReadingPlaces(Application& application)
    : application_(application), file_(application.locations().dataFolder / "reading-places.json") {}

awaitable<Reading> ReadingPlaces::of(ConversationId conversation) {
  if (!isRead_) co_await read();
  const auto found = std::ranges::find(kept_, conversation, &Kept::value_type::first);
  co_return found == kept_.end() ? Reading() : found->second;
}

awaitable<void> ReadingPlaces::read() {
  Kept before;
  try {
    before = co_await alive(onPool(application_.modelContainer()->work(), [file = file_] {
      const auto text = readFile(file);
      return text ? decodedReadings(*text) : Kept();
    }));
  } catch (const std::exception& error) {
    kLog.warning("where conversations were left cannot be read: {}", error.what());
  }
  if (std::exchange(isRead_, true)) co_return;
  for (auto& each : kept_) {
    std::erase_if(before, [&](const auto& old) { return old.first == each.first; });
    before.push_back(std::move(each));
  }
  kept_ = std::move(before);
}

void ReadingPlaces::keep(ConversationId conversation, const Reading& reading) {
  const auto found = std::ranges::find(kept_, conversation, &Kept::value_type::first);
  if (found == kept_.end() ? reading.isNone() && isRead_ : found->second == reading) return;
  if (found != kept_.end()) kept_.erase(found);
  if (!reading.isNone() || !isRead_) kept_.emplace_back(conversation, reading);
  isWritten_ = false;
  if (!std::exchange(isWriting_, true)) start(write());
}

awaitable<void> ReadingPlaces::write() {
  if (!isRead_) co_await read();
  while (!std::exchange(isWritten_, true)) {
    std::erase_if(kept_, [](const auto& each) { return each.second.isNone(); });
    if (kept_.size() > kMost) kept_.erase(kept_.begin(), kept_.end() - static_cast<std::ptrdiff_t>(kMost));
    try {
      co_await alive(onPool(application_.modelContainer()->work(),
                            [file = file_, text = encodedReadings(kept_)] { replaceFile(file, text); }));
    } catch (const std::exception& error) {
      kLog.warning("where conversations were left cannot be written: {}", error.what());
    }
  }
  isWriting_ = false;
}

}  // namespace ravant::desktop
