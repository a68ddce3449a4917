#include "agent/reasoning.hpp"

#include <array>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace ravant::chat {
namespace {

constexpr std::string_view kContent = "content";
constexpr std::string_view kDetails = "reasoning_details";
constexpr std::array<std::string_view, 2> kTexts = {"reasoning_content", "reasoning"};
constexpr std::string_view kThinking = "thinking";

bool isThinking(const json::value& part) {
  const json::object* object = asObject(&part);
  return object != nullptr && stringAt(*object, "type") == kThinking && arrayAt(*object, kThinking) != nullptr;
}

/// Behind the text that stands there, where there is one.
void appendText(json::object& object, std::string_view key, const json::value& more) {
  json::value& text = object[key];
  if (text.is_string() && more.is_string()) {
    text.get_string().append(more.get_string());
  } else if (!more.is_null()) {
    text = more;
  }
}

/// Whether `piece` goes on with `last`. What is encrypted comes whole.
bool goesOn(const json::object& last, const json::object& piece) {
  const auto type = stringAt(piece, "type");
  return (type == "reasoning.text" || type == "reasoning.summary") && type == stringAt(last, "type") &&
         integerAt(last, "index") == integerAt(piece, "index");
}

void appendDetail(json::array& details, json::value piece) {
  json::object* last = details.empty() ? nullptr : details.back().if_object();
  const json::object* object = asObject(&piece);
  if (last == nullptr || object == nullptr || !goesOn(*last, *object)) {
    details.push_back(std::move(piece));
    return;
  }
  for (const auto& [key, value] : *object) {
    if (key == "text" || key == "summary") {
      appendText(*last, key, value);
    } else if (!value.is_null()) {
      (*last)[key] = value;
    }
  }
}

void appendThinking(json::array& parts, json::value piece) {
  if (parts.empty()) {
    parts.push_back(std::move(piece));
    return;
  }
  json::array& thoughts = parts.back().as_object()[kThinking].get_array();
  for (json::value& thought : piece.get_object()[kThinking].get_array()) {
    json::object* last = thoughts.empty() ? nullptr : thoughts.back().if_object();
    const json::object* object = asObject(&thought);
    const bool isText = last != nullptr && object != nullptr && stringAt(*last, "text") && stringAt(*object, "text");
    if (isText) {
      appendText(*last, "text", object->at("text"));
    } else {
      thoughts.push_back(std::move(thought));
    }
  }
}

std::string textIn(const json::array& pieces, std::initializer_list<std::string_view> keys) {
  std::string text;
  for (const json::value& piece : pieces) {
    const json::object* object = asObject(&piece);
    if (object == nullptr) continue;
    for (const std::string_view key : keys) text += stringAt(*object, key).value_or(std::string_view());
  }
  return text;
}

}  // namespace

json::object reasoningIn(const json::object& message) {
  json::object reasoning;
  for (const std::string_view key : kTexts) {
    // Also an empty one: some models ask for the member.
    if (const auto text = stringAt(message, key)) reasoning.emplace(key, *text);
  }
  const json::array* details = arrayAt(message, kDetails);
  if (details != nullptr && !details->empty()) reasoning.emplace(kDetails, *details);
  if (const json::array* parts = arrayAt(message, kContent)) {
    json::array thinking;
    for (const json::value& part : *parts) {
      if (isThinking(part)) thinking.push_back(part);
    }
    if (!thinking.empty()) reasoning.emplace(kContent, std::move(thinking));
  }
  return reasoning;
}

void appendReasoning(json::object& reasoning, json::object piece) {
  for (auto& [key, value] : piece) {
    if (!value.is_array()) {
      appendText(reasoning, key, value);
      continue;
    }
    json::value& list = reasoning[key];
    if (!list.is_array()) list.emplace_array();
    for (json::value& element : value.get_array()) {
      if (key == kDetails) {
        appendDetail(list.get_array(), std::move(element));
      } else {
        appendThinking(list.get_array(), std::move(element));
      }
    }
  }
}

std::string textOfReasoning(const json::object& reasoning) {
  for (const std::string_view key : kTexts) {
    const auto text = stringAt(reasoning, key);
    if (text && !text->empty()) return std::string(*text);
  }
  std::string text;
  if (const json::array* details = arrayAt(reasoning, kDetails)) text = textIn(*details, {"summary", "text"});
  if (const json::array* parts = arrayAt(reasoning, kContent)) {
    for (const json::value& part : *parts) text += textIn(part.at(kThinking).get_array(), {"text"});
  }
  return text;
}

void putReasoning(const json::object& reasoning, json::object& message) {
  for (const auto& [key, value] : reasoning) {
    if (key != kContent) {
      message.insert_or_assign(key, value);
      continue;
    }
    json::array parts = value.as_array();
    const auto text = stringAt(message, kContent);
    if (text && !text->empty()) parts.push_back({{"type", "text"}, {"text", *text}});
    message.insert_or_assign(kContent, std::move(parts));
  }
}

}  // namespace ravant::chat
