#include "platform/settings/setting.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

std::optional<SettingValue> read(SettingType type, std::string_view text) {
  switch (type) {
    case SettingType::text:
    case SettingType::choice:
      return std::string(text);
    case SettingType::integer: {
      std::int64_t number = 0;
      const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
      if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
      return number;
    }
    case SettingType::boolean:
      if (text != "true" && text != "false") return std::nullopt;
      return text == "true";
  }
}

}  // namespace

bool isAllowed(const SettingDescription& setting, const SettingValue& value) {
  switch (setting.type) {
    case SettingType::text: {
      const auto* text = std::get_if<std::string>(&value);
      return text && isValidUtf8(*text);
    }
    case SettingType::integer: {
      const auto* number = std::get_if<std::int64_t>(&value);
      return number && *number >= setting.least && *number <= setting.greatest;
    }
    case SettingType::boolean:
      return std::holds_alternative<bool>(value);
    case SettingType::choice: {
      const auto* text = std::get_if<std::string>(&value);
      return text && std::ranges::find(setting.choices, *text) != setting.choices.end();
    }
  }
}

std::string expectation(const SettingDescription& setting) {
  switch (setting.type) {
    case SettingType::text:
      return "a text";
    case SettingType::integer:
      if (setting.least == std::numeric_limits<std::int64_t>::min()) return "a whole number";
      return fmt::format("a whole number from {} to {}", setting.least, setting.greatest);
    case SettingType::boolean:
      return "true or false";
    case SettingType::choice:
      return fmt::format("one of \"{}\"", fmt::join(setting.choices, "\", \""));
  }
}

SettingValue settingFromText(const SettingDescription& setting, std::string_view text) {
  auto value = read(setting.type, text);
  if (value && isAllowed(setting, *value)) return *std::move(value);
  throw SettingsError(SettingsError::Case::wrongValue,
                      fmt::format("\"{}\" takes {}, not \"{}\"", setting.key, expectation(setting), text));
}

std::string settingText(const SettingValue& value) {
  return std::visit([](const auto& alternative) { return fmt::format("{}", alternative); }, value);
}

}  // namespace ravant
