#include "core/window/window_selection_wire.hpp"

#include <array>
#include <charconv>
#include <type_traits>
#include <utility>
#include <variant>

#include "core/overloaded.hpp"
#include "platform/json/json.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "WindowSelectionSnapshot");

// In the order of the alternatives.
constexpr std::array<std::string_view, std::variant_size_v<ContentSelection>> kContents = {
    "github", "linear", "project", "pinned", "latestConversations"};
constexpr std::array<std::string_view, std::variant_size_v<DetailSelection>> kDetails = {
    "githubPull", "linearIssue", "conversation", "newConversation"};

template <class Selection, std::size_t count>
json::object form(const Selection& selection, const std::array<std::string_view, count>& names) {
  json::object payload =
      std::visit(Overloaded{[](const LatestConversations&) { return json::object(); },
                            [](const NewConversation& page) { return json::object{{"_0", page.project.text()}}; },
                            [](const auto& id) { return json::object{{"_0", id.text()}}; }},
                 selection);
  return {{names[selection.index()], std::move(payload)}};
}

template <class Value>
std::optional<Value> readValue(std::string_view text) {
  if constexpr (std::is_same_v<Value, Uuid>) {
    return Uuid::parse(text);
  } else {
    Value number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
  }
}

template <class Alternative>
std::optional<Alternative> readAlternative(const json::object& payload) {
  if constexpr (std::is_same_v<Alternative, LatestConversations>) {
    return LatestConversations();
  } else if constexpr (std::is_same_v<Alternative, NewConversation>) {
    const auto project = readAlternative<ProjectId>(payload);
    return project ? std::optional(NewConversation{*project}) : std::nullopt;
  } else {
    const auto text = stringAt(payload, "_0");
    using Value = std::remove_cvref_t<decltype(std::declval<Alternative>().value())>;
    const auto value = text ? readValue<Value>(*text) : std::nullopt;
    return value ? std::optional(Alternative(*value)) : std::nullopt;
  }
}

template <class Selection, std::size_t index = 0, std::size_t count>
std::optional<Selection> readSelection(std::string_view name, const json::object& payload,
                                       const std::array<std::string_view, count>& names) {
  if constexpr (index < count) {
    if (name != names[index]) return readSelection<Selection, index + 1>(name, payload, names);
    return readAlternative<std::variant_alternative_t<index, Selection>>(payload);
  } else {
    return std::nullopt;
  }
}

template <class Selection, std::size_t count>
std::optional<Selection> selectionAt(const json::object& root, std::string_view key,
                                     const std::array<std::string_view, count>& names) {
  const json::value* value = root.if_contains(key);
  if (!value) return std::nullopt;
  std::optional<Selection> selection;
  const json::object* chosen = asObject(value);
  if (chosen && chosen->size() == 1) {
    const json::object* payload = asObject(&chosen->begin()->value());
    if (payload) selection = readSelection<Selection>(chosen->begin()->key(), *payload, names);
  }
  if (!selection) kLog.warning("the {} of a window is not known: {}", key, compactJson(*value));
  return selection;
}

}  // namespace

std::string encoded(const WindowSelectionSnapshot& snapshot) {
  json::object root;
  if (snapshot.content) root.emplace("content", form(*snapshot.content, kContents));
  if (snapshot.detail) root.emplace("detail", form(*snapshot.detail, kDetails));
  return compactJson(root);
}

WindowSelectionSnapshot decodedWindowSelection(std::string_view text) {
  const auto value = parseJson(text);
  const json::object* root = value ? asObject(&*value) : nullptr;
  if (!root) return {};
  auto content = selectionAt<ContentSelection>(*root, "content", kContents);
  if (!content && root->contains("content")) content = LatestConversations();
  return {std::move(content), selectionAt<DetailSelection>(*root, "detail", kDetails)};
}

}  // namespace ravant
