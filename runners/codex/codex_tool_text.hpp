#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/json/json.hpp"
#include "runners/codex/codex_wire.hpp"

/// What is shown of the items that are tool calls. Each type of item has its own members for it.
namespace ravant::codex {

std::string toolName(const json::object& item, std::string_view type);
/// Nothing where the item does not tell it.
std::optional<std::string> toolInput(const json::object& item);

/// A tool's output and, where it is told, the exit code of its command.
struct ToolOutput {
  std::string text;
  std::optional<std::int64_t> exitCode = {};
  bool operator==(const ToolOutput&) const = default;
};
/// Nothing where the item does not tell it.
std::optional<ToolOutput> toolOutput(const json::object& item, std::string_view type, ItemStage stage);

/// `output` is a text, which may itself be JSON with "output" and "metadata", or an array of blocks with texts.
ToolOutput decodeCodexToolOutput(const json::value& output);

}  // namespace ravant::codex
