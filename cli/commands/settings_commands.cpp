#include <fmt/format.h>

#include <algorithm>

#include "app/known_settings.hpp"
#include "app/services.hpp"
#include "app/window_settings.hpp"
#include "cli/command/command.hpp"
#include "cli/output/terminal_text.hpp"

namespace ravant::cli {
namespace {

SettingsFile openSettings(const CommandContext& context) {
  return SettingsFile(context.locations.settingsFile, knownSettings());
}

json::value jsonForm(const SettingValue& value) {
  return std::visit([](const auto& alternative) { return json::value(alternative); }, value);
}

void showOne(CommandContext& context, const SettingsFile& settings, const std::string& key) {
  const SettingValue value = settings.get(key);
  if (context.wantsJson()) return context.output.json(jsonForm(value));
  context.output.line(oneLine(settingText(value)));
}

void showAll(CommandContext& context, const SettingsFile& settings) {
  json::object values;
  Table table({"SETTING", "VALUE", "MEANING"}, {0});
  for (const SettingDescription& setting : settings.descriptions()) {
    const SettingValue value = settings.get(setting.key);
    values.emplace(setting.key, jsonForm(value));
    table.add({setting.key, settingText(value), setting.description});
  }
  if (context.wantsJson()) return context.output.json(values);
  context.output.write(table.text(context.output.style()));
}

/// The faults of the keys as they stand in the file; none where it cannot be read, which whoever changes it will tell.
std::vector<KeybindingFault> presentFaults(SettingsFile& settings) try {
  settings.load();
  return keybindingsOf(settings).faults();
} catch (const SettingsError&) {
  return {};
}

/// Says whether the keys that were just changed count, and which other commands lost theirs.
void warnOfKeys(CommandContext& context, const SettingsFile& settings, const std::string& key,
                const std::vector<KeybindingFault>& before) {
  for (const KeybindingFault& fault : keybindingsOf(settings).faults()) {
    const bool isOfKey = fmt::format("{}.{}", setting::kKeybindings, fault.command) == key;
    const bool isNew = std::ranges::none_of(before, [&](const KeybindingFault& known) {
      return known.command == fault.command && known.words == fault.words;
    });
    if (isOfKey || isNew) context.warn(fault.words);
  }
}

awaitable<ExitStatus> get(CommandContext& context, Arguments arguments) {
  SettingsFile settings = openSettings(context);
  settings.load();
  if (const auto key = arguments.optional("KEY")) {
    showOne(context, settings, *key);
  } else {
    showAll(context, settings);
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> set(CommandContext& context, Arguments arguments) {
  SettingsFile settings = openSettings(context);
  const std::string& key = arguments.text("KEY");
  const SettingDescription& setting = settings.description(key);
  checkAddressSetting(key, arguments.text("VALUE"));
  const std::vector<KeybindingFault> before = presentFaults(settings);
  settings.set(key, settingFromText(setting, checkedKeysSetting(key, arguments.text("VALUE"))));
  warnOfKeys(context, settings, key, before);
  if (context.wantsJson()) showOne(context, settings, key);
  co_return ExitStatus::done;
}

awaitable<ExitStatus> reset(CommandContext& context, Arguments arguments) {
  SettingsFile settings = openSettings(context);
  const std::string& key = arguments.text("KEY");
  const std::vector<KeybindingFault> before = presentFaults(settings);
  settings.reset(key);
  warnOfKeys(context, settings, key, before);
  if (context.wantsJson()) showOne(context, settings, key);
  co_return ExitStatus::done;
}

awaitable<ExitStatus> path(CommandContext& context, Arguments) {
  const std::string file = context.locations.settingsFile.string();
  if (context.wantsJson()) {
    context.output.json(json::value(file));
  } else {
    context.output.line(oneLine(file));
  }
  co_return ExitStatus::done;
}

}  // namespace

CommandGroup settingsCommands() {
  const PositionalDescription key = {.name = "KEY", .kind = ValueKind::settingKey};
  return {.name = "settings",
          .summary = "What you can adjust",
          .commands = {
              {.name = "get",
               .summary = "Show a setting, or all of them",
               .positionals = {{.name = "KEY", .kind = ValueKind::settingKey, .occurrence = Occurrence::atMostOnce}},
               .needs = Needs::nothing,
               .run = get},
              {.name = "set",
               .summary = "Change a setting",
               .positionals = {key, {.name = "VALUE"}},
               .needs = Needs::nothing,
               .run = set},
              {.name = "reset",
               .summary = "Give a setting its default value again",
               .positionals = {key},
               .needs = Needs::nothing,
               .run = reset},
              {.name = "path",
               .summary = "Show which file holds the settings",
               .description = "The file is JSON and made to be edited by hand.",
               .needs = Needs::nothing,
               .run = path}}};
}

}  // namespace ravant::cli
