#include "runners/codex/codex_tool_text.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <utility>
#include <vector>

#include "runners/agent_json.hpp"
#include "runners/codex/shell_wrapping.hpp"

namespace ravant::codex {
namespace {

// What the tools are called that have no name of their own.
constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kToolNames = {{
    {"commandExecution", "shell"},
    {"fileChange", "apply_patch"},
    {"webSearch", "web_search"},
    {"imageView", "view_image"},
    {"imageGeneration", "image_generation"},
}};

constexpr std::string_view kImage = "[image]";
constexpr std::string_view kData = "[data]";

/// The first of the members that is there and not null.
const json::value* firstPresent(const json::object& object, std::initializer_list<std::string_view> keys) {
  for (const std::string_view key : keys) {
    const json::value* value = object.if_contains(key);
    if (value && !value->is_null()) return value;
  }
  return nullptr;
}

std::string lines(const std::vector<std::string>& texts, std::string_view separator = "\n") {
  return fmt::format("{}", fmt::join(texts, separator));
}

std::string pathsOf(const json::array& changes) {
  std::vector<std::string> paths;
  for (const json::value& change : changes) {
    const json::object* file = change.if_object();
    if (auto path = file ? optionalTextAt(*file, "path") : std::nullopt) paths.push_back(*std::move(path));
  }
  return lines(paths);
}

/// What became of a file beside its contents; empty for one that stayed where it was.
std::string fateOf(const json::object& change) {
  const json::object* kind = objectAt(change, "kind");
  const auto type = stringAt(kind ? *kind : change, kind ? "type" : "kind");
  if (type == "add") return " (added)";
  if (type == "delete") return " (deleted)";
  const auto target = kind ? stringAt(*kind, "move_path") : std::nullopt;
  return target ? fmt::format(" (moved to {})", *target) : std::string();
}

/// Each file's name above its hunks.
std::string diffsOf(const json::array& changes) {
  std::vector<std::string> files;
  for (const json::value& change : changes) {
    const json::object* file = change.if_object();
    if (!file) continue;
    std::string text = textAt(*file, "path") + fateOf(*file);
    auto diff = stringAt(*file, "diff").value_or(std::string_view());
    if (diff.ends_with('\n')) diff.remove_suffix(1);
    if (!diff.empty()) text += fmt::format("\n{}", diff);
    files.push_back(std::move(text));
  }
  return lines(files, "\n\n");
}

bool isImageBlock(std::string_view type) {
  return type == "image" || type == "inputImage" || type == "input_image" || type == "output_image";
}

/// What stands for a block of a result: its text, or what it is.
std::optional<std::string> blockText(const json::object& block) {
  if (auto text = optionalTextAt(block, "text")) return text;
  const auto type = stringAt(block, "type").value_or(std::string_view());
  if (isImageBlock(type)) return std::string(kImage);
  if (const json::object* resource = objectAt(block, "resource")) {
    const auto text = optionalTextAt(*resource, "text");
    return text ? text : fmt::format("[resource] {}", textAt(*resource, "uri"));
  }
  if (type == "resource_link") return textAt(block, "uri");
  if (type.empty()) return std::nullopt;
  return fmt::format("[{}]", type);
}

/// The blocks of a result, or a text.
std::string resultText(const json::value& content) {
  if (const auto* text = content.if_string()) return std::string(*text);
  std::vector<std::string> texts;
  if (const auto* blocks = content.if_array()) {
    for (const json::value& value : *blocks) {
      const json::object* block = value.if_object();
      if (auto text = block ? blockText(*block) : std::nullopt) texts.push_back(*std::move(text));
    }
  }
  return lines(texts);
}

// How the files of the usual kinds of image begin in base64: PNG, JPEG, GIF, WebP.
constexpr std::array<std::string_view, 4> kImageBeginnings = {"iVBORw0KGgo", "/9j/", "R0lGOD", "UklGR"};
// No word and no digest is as long as this.
constexpr std::size_t kLongBase64 = 512;

bool isBase64(std::string_view text) {
  return text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=-_\r\n") ==
         std::string_view::npos;
}

/// What stands for a text that is no text: an image, or other bytes.
std::optional<std::string_view> placeOfData(std::string_view text) {
  if (text.starts_with("data:image/")) return kImage;
  const bool isEncoded = text.starts_with("data:") && text.contains(";base64,");
  if (!isEncoded && !isBase64(text)) return std::nullopt;
  const auto begins = [&](std::string_view beginning) { return text.starts_with(beginning); };
  if (text.size() % 4 == 0 && std::ranges::any_of(kImageBeginnings, begins)) return kImage;
  return isEncoded || text.size() >= kLongBase64 ? std::optional(kData) : std::nullopt;
}

json::value withoutData(const json::value& value) {
  if (const auto* text = value.if_string()) {
    const auto place = placeOfData(*text);
    return place ? json::value(*place) : value;
  }
  if (const json::array* array = value.if_array()) {
    json::array shown;
    for (const json::value& element : *array) shown.push_back(withoutData(element));
    return shown;
  }
  const json::object* object = value.if_object();
  if (!object) return value;
  if (isImageBlock(stringAt(*object, "type").value_or(std::string_view()))) return json::value(kImage);
  json::object shown;
  for (const auto& [key, member] : *object) shown.emplace(key, withoutData(member));
  return shown;
}

/// A text as it stands, anything else as JSON; neither with encoded bytes.
std::string shownJson(const json::value& value) {
  const json::value shown = withoutData(value);
  const auto* text = shown.if_string();
  return text ? std::string(*text) : compactJson(shown);
}

/// What the image tools give is an image and, where it was kept, its file.
std::optional<std::string> imageOutput(const json::object& item, std::string_view type, ItemStage stage) {
  if (stage != ItemStage::completed) return std::nullopt;
  const auto file = type == "imageGeneration" ? stringAt(item, "savedPath") : std::nullopt;
  return file ? fmt::format("{} {}", kImage, *file) : std::string(kImage);
}

std::optional<std::string> mcpOutput(const json::object& result) {
  const json::value* content = result.if_contains("content");
  if (std::string text = content ? resultText(*content) : std::string(); !text.empty()) return text;
  const json::value* structured = firstPresent(result, {"structuredContent"});
  return structured ? std::optional(shownJson(*structured)) : std::nullopt;
}

std::optional<std::string> outputText(const json::object& item, std::string_view type, ItemStage stage) {
  if (auto output = optionalTextAt(item, "aggregatedOutput")) return output;
  if (type == "imageView" || type == "imageGeneration") return imageOutput(item, type, stage);
  if (const json::object* result = objectAt(item, "result"); result && result->contains("content")) {
    if (auto output = mcpOutput(*result)) return output;
  }
  if (const json::object* error = objectAt(item, "error")) return textAt(*error, "message");
  if (const json::array* changes = arrayAt(item, "changes")) return diffsOf(*changes);
  const json::value* results = firstPresent(item, {"results", "result"});
  if (!results || type == "mcpToolCall") return std::nullopt;
  return shownJson(*results);
}

}  // namespace

std::string toolName(const json::object& item, std::string_view type) {
  if (const auto name = firstText(item, {"name", "toolName"})) return std::string(*name);
  if (const auto tool = stringAt(item, "tool")) {
    const auto server = stringAt(item, "server");
    return server ? fmt::format("{}.{}", *server, *tool) : std::string(*tool);
  }
  const auto* known = std::ranges::find(kToolNames, type, &std::pair<std::string_view, std::string_view>::first);
  return std::string(known == kToolNames.end() ? type : known->second);
}

std::optional<std::string> toolInput(const json::object& item) {
  if (const json::value* arguments = firstPresent(item, {"arguments", "input"})) {
    const auto* text = arguments->if_string();
    return text ? std::string(*text) : compactJson(*arguments);
  }
  if (const auto command = stringAt(item, "command")) return withoutShell(*command);
  if (const json::array* changes = arrayAt(item, "changes")) return pathsOf(*changes);
  const auto text = firstText(item, {"query", "path", "prompt", "revisedPrompt"});
  return text && !text->empty() ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<ToolOutput> toolOutput(const json::object& item, std::string_view type, ItemStage stage) {
  if (const json::value* output = firstPresent(item, {"output", "contentItems"})) return decodeCodexToolOutput(*output);
  auto text = outputText(item, type, stage);
  return text ? std::optional(ToolOutput{.text = *std::move(text)}) : std::nullopt;
}

ToolOutput decodeCodexToolOutput(const json::value& output) {
  const auto* text = output.if_string();
  if (!text) return {.text = output.is_array() ? resultText(output) : shownJson(output)};
  const auto parsed = parseJson(*text);
  const json::object* wrapped = parsed ? parsed->if_object() : nullptr;
  const auto inner = wrapped ? stringAt(*wrapped, "output") : std::nullopt;
  const json::object* metadata = inner ? objectAt(*wrapped, "metadata") : nullptr;
  if (!metadata) return {.text = std::string(*text)};
  return {.text = std::string(*inner), .exitCode = integerAt(*metadata, "exit_code")};
}

}  // namespace ravant::codex
