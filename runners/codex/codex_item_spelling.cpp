#include "runners/codex/codex_item_spelling.hpp"

#include <fmt/ranges.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/process/shell_quoted.hpp"
#include "platform/text/utf8.hpp"
#include "runners/agent_json.hpp"

namespace ravant::codex {
namespace {

constexpr std::string_view kFileUrl = "file://";
constexpr std::string_view kHexDigits = "0123456789abcdef";

/// `aggregated_output` as `aggregatedOutput`.
std::string camelCase(std::string_view text) {
  std::string camel;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isBreak = text[i] == '_' && i + 1 < text.size() && text[i + 1] >= 'a' && text[i + 1] <= 'z';
    camel += isBreak ? static_cast<char>(text[++i] - 'a' + 'A') : text[i];
  }
  return camel;
}

std::string lowerFirst(std::string_view text) {
  std::string lower(text);
  if (!lower.empty() && lower[0] >= 'A' && lower[0] <= 'Z') lower[0] = static_cast<char>(lower[0] - 'A' + 'a');
  return lower;
}

std::string withoutUrl(std::string_view path) {
  if (!path.starts_with(kFileUrl)) return std::string(path);
  path.remove_prefix(kFileUrl.size());
  const auto digit = [&](std::size_t at) {
    return at < path.size() ? kHexDigits.find(static_cast<char>(path[at] | 0x20)) : std::string_view::npos;
  };
  std::string plain;
  for (std::size_t i = 0; i < path.size(); ++i) {
    const bool isByte = path[i] == '%' && digit(i + 1) < kHexDigits.size() && digit(i + 2) < kHexDigits.size();
    plain += isByte ? static_cast<char>(digit(i + 1) * 16 + digit(i + 2)) : path[i];
    if (isByte) i += 2;
  }
  return repairUtf8(std::move(plain));
}

bool isPlainWord(std::string_view word) {
  return !word.empty() &&
         word.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789@%+=:,./-_") ==
             std::string_view::npos;
}

/// The changes of files by their paths, as the server lists them.
json::value changeList(const json::value& changes) {
  const json::object* files = changes.if_object();
  if (!files) return changes;
  json::array list;
  for (const auto& [path, value] : *files) {
    const json::object* change = value.if_object();
    if (!change) continue;
    json::object kind{{"type", textAt(*change, "type")}};
    if (const auto target = stringAt(*change, "move_path")) kind.emplace("move_path", *target);
    list.push_back(json::object{{"path", path},
                                {"kind", std::move(kind)},
                                {"diff", firstText(*change, {"unified_diff", "content"}).value_or("")}});
  }
  return list;
}

std::string joinedText(const json::value& content) {
  std::string joined;
  if (const json::array* blocks = content.if_array()) {
    for (const json::value& block : *blocks) {
      if (const json::object* object = block.if_object()) joined += textAt(*object, "text");
    }
  }
  return joined;
}

}  // namespace

json::value commandLine(const json::value& command) {
  const json::array* words = command.if_array();
  if (!words) return command;
  std::vector<std::string> quoted;
  for (const json::value& word : *words) {
    if (const auto* text = word.if_string())
      quoted.push_back(isPlainWord(*text) ? std::string(*text) : shellQuoted(*text));
  }
  return json::value(fmt::format("{}", fmt::join(quoted, " ")));
}

json::object respelled(const json::object& item) {
  json::object spelled;
  for (const auto& [key, value] : item) {
    const std::string name = camelCase(key);
    const auto* text = value.if_string();
    if (name == "type" && text) {
      spelled.insert_or_assign(name, lowerFirst(*text));
    } else if (name == "command") {
      spelled.insert_or_assign(name, commandLine(value));
    } else if (name == "changes") {
      spelled.insert_or_assign(name, changeList(value));
    } else if (name == "tool" && text) {
      spelled.insert_or_assign(name, item.contains("server") ? std::string(*text) : camelCase(*text));
    } else if ((name == "path" || name == "cwd" || name == "savedPath") && text) {
      spelled.insert_or_assign(name, withoutUrl(*text));
    } else {
      spelled.insert_or_assign(name, value);
    }
  }
  if (const json::value* content = item.if_contains("content"); content && stringAt(item, "type") == "AgentMessage") {
    spelled.insert_or_assign("text", joinedText(*content));
  }
  return spelled;
}

}  // namespace ravant::codex
