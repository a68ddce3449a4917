#include <fmt/format.h>

#include "app/known_settings.hpp"
#include "app/services.hpp"
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
  checkAddressSetting(key, arguments.text("VALUE"));
  settings.set(key, settingFromText(settings.description(key), arguments.text("VALUE")));
  if (context.wantsJson()) showOne(context, settings, key);
  co_return ExitStatus::done;
}

awaitable<ExitStatus> reset(CommandContext& context, Arguments arguments) {
  SettingsFile settings = openSettings(context);
  settings.reset(arguments.text("KEY"));
  if (context.wantsJson()) showOne(context, settings, arguments.text("KEY"));
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
