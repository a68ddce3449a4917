#include "platform/settings/settings_file.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "platform/files/private_file.hpp"
#include "platform/json/json_lines.hpp"
#include "platform/settings/setting_names.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

using Case = SettingsError::Case;

struct SplitKey {
  std::string_view first;
  /// Empty for the last part.
  std::string_view rest;
};

SplitKey split(std::string_view key) {
  const std::size_t dot = key.find('.');
  if (dot == std::string_view::npos) return {key, {}};
  return {key.substr(0, dot), key.substr(dot + 1)};
}

const json::value* find(const json::object& object, std::string_view key) {
  const auto [first, rest] = split(key);
  const json::value* value = object.if_contains(first);
  if (!value || rest.empty()) return value;
  const json::object* nested = asObject(value);
  return nested ? find(*nested, rest) : nullptr;
}

/// The dotted key of what stands where an object must be for `key` to be inside.
std::optional<std::string_view> obstacle(const json::object& root, std::string_view key) {
  for (std::size_t dot = key.find('.'); dot != std::string_view::npos; dot = key.find('.', dot + 1)) {
    const json::value* value = find(root, key.substr(0, dot));
    if (value && !asObject(value)) return key.substr(0, dot);
  }
  return std::nullopt;
}

void assign(json::object& object, std::string_view key, json::value value) {
  const auto [first, rest] = split(key);
  if (rest.empty()) {
    object[first] = std::move(value);
    return;
  }
  json::value& nested = object[first];
  if (!nested.is_object()) nested.emplace_object();
  assign(nested.get_object(), rest, std::move(value));
}

void remove(json::object& object, std::string_view key) {
  const auto [first, rest] = split(key);
  const auto at = object.find(first);
  if (at == object.end()) return;
  if (!rest.empty()) {
    json::object& nested = at->value().get_object();
    remove(nested, rest);
    if (!nested.empty()) return;
  }
  object.stable_erase(at);
}

std::optional<SettingValue> settingValue(const json::value& value) {
  if (const auto* text = value.if_string()) return std::string(*text);
  if (const auto* boolean = value.if_bool()) return *boolean;
  if (const auto integer = exactInteger(value)) return *integer;
  return std::nullopt;
}

json::value jsonValue(const SettingValue& value) {
  return std::visit([](const auto& alternative) { return json::value(alternative); }, value);
}

std::string words(const std::filesystem::filesystem_error& error) {
  return fmt::format("{}: {}", error.path1().string(), error.code().message());
}

}  // namespace

SettingsFile::SettingsFile(std::filesystem::path path, std::vector<SettingDescription> settings)
    : path_(std::move(path)), descriptions_(std::move(settings)) {}

void SettingsFile::load() {
  Contents contents = read();
  expectAllowedValues(contents.root);
  contents_ = std::move(contents);
}

SettingValue SettingsFile::get(std::string_view key) const {
  const SettingDescription& setting = description(key);
  const json::value* value = find(contents_.root, key);
  const bool standsForEmpty = setting.type == SettingType::text && setting.whenWrong == WrongValue::countsAsDefault;
  if (value && value->is_null() && standsForEmpty) return std::string();
  const auto held = value ? settingValue(*value) : std::nullopt;
  return held && isAllowed(setting, *held) ? *held : setting.defaultValue;
}

std::vector<SettingMember> SettingsFile::members(std::string_view key) const {
  const json::value* holder = contents_.root.if_contains(key);
  if (!holder) return {};
  const json::object* object = asObject(holder);
  if (!object) return {{.name = {}, .text = {}, .line = memberLine(contents_.text, key).value()}};
  std::vector<SettingMember> found;
  for (auto& [name, line] : memberLines(contents_.text, key)) {
    const json::value& value = object->at(name);
    std::optional<std::string> text;
    if (value.is_null()) text.emplace();
    if (value.is_string()) text.emplace(value.get_string());
    found.push_back({.name = std::move(name), .text = std::move(text), .line = line});
  }
  return found;
}

void SettingsFile::set(std::string_view key, const SettingValue& value) {
  const SettingDescription& setting = description(key);
  if (!isAllowed(setting, value)) {
    throw SettingsError(Case::wrongValue,
                        fmt::format("\"{}\" takes {}, not {}", key, expectation(setting), settingText(value)));
  }
  rewrite(key, [&](json::object& root) { assign(root, key, jsonValue(value)); });
}

void SettingsFile::reset(std::string_view key) {
  description(key);
  rewrite(key, [&](json::object& root) { remove(root, key); });
}

const SettingDescription& SettingsFile::description(std::string_view key) const {
  const auto found = std::ranges::find(descriptions_, key, &SettingDescription::key);
  if (found != descriptions_.end()) return *found;
  std::vector<std::string_view> known;
  for (const SettingDescription& setting : descriptions_) known.push_back(setting.key);
  throw SettingsError(Case::unknownKey, wordsForUnknownSetting(key, known));
}

SettingsFile::Contents SettingsFile::read() const try {
  auto text = readFile(path_);
  if (!text || trimmed(*text).empty()) return {};
  json::object root = parsed(*text);
  return {.text = *std::move(text), .root = std::move(root)};
} catch (const std::filesystem::filesystem_error& error) {
  throw SettingsError(Case::unreadable, words(error));
}

json::object SettingsFile::parsed(std::string_view text) const {
  if (const auto fault = findJsonFault(text)) {
    throw SettingsError(Case::notJson, fmt::format("{}, line {}, column {}: {}", path_.string(), fault->line,
                                                   fault->column, fault->words));
  }
  json::value root = parseJson(text).value();
  if (asObject(&root)) return std::move(root.get_object());
  throw SettingsError(Case::notJson, fmt::format("{}: not an object", path_.string()));
}

void SettingsFile::expectAllowedValues(const json::object& root) const {
  for (const auto& setting : descriptions_) {
    if (setting.whenWrong == WrongValue::countsAsDefault) continue;
    expectRoomFor(setting.key, root);
    const json::value* value = find(root, setting.key);
    if (!value) continue;
    const auto held = settingValue(*value);
    if (held && isAllowed(setting, *held)) continue;
    throw SettingsError(Case::wrongValue, fmt::format("{}: \"{}\" takes {}, not {}", path_.string(), setting.key,
                                                      expectation(setting), compactJson(*value)));
  }
}

void SettingsFile::expectRoomFor(std::string_view key, const json::object& root) const {
  const auto inTheWay = obstacle(root, key);
  if (!inTheWay) return;
  throw SettingsError(Case::wrongValue, fmt::format("{}: \"{}\" takes an object", path_.string(), *inTheWay));
}

// Other settings can hold wrong values: one that is wrong must not keep the user from mending another.
template <class Change>
void SettingsFile::rewrite(std::string_view key, Change change) try {
  const std::filesystem::path target = linkTarget(std::filesystem::absolute(path_));
  makePrivateFolder(target.parent_path());
  const UniqueFd lock = lockBeside(target);
  Contents present = read();
  expectRoomFor(key, present.root);
  Contents changed = present;
  change(changed.root);
  if (changed.root != present.root) {
    changed.text = prettyJson(changed.root);
    replaceFile(target, changed.text);
  }
  contents_ = std::move(changed);
} catch (const std::filesystem::filesystem_error& error) {
  throw SettingsError(Case::unwritable, words(error));
}

}  // namespace ravant
