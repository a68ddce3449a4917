#include "core/window/keybindings.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace ravant {

Keybindings::Keybindings(const std::vector<SettingMember>& changes) {
  std::vector<WindowCommand> settled;
  for (const SettingMember& change : changes) readChange(change, settled);
  for (const CommandDescription& command : commandDescriptions()) {
    const bool isSettled = std::ranges::find(settled, command.command) != settled.end();
    if (isSettled || command.defaultKeys.empty()) continue;
    bind({.command = command.command, .keys = KeySequence::parse(command.defaultKeys), .line = {}});
  }
  std::ranges::sort(faults_);
}

std::optional<KeySequence> Keybindings::keys(WindowCommand command) const {
  const auto found = std::ranges::find(bindings_, command, &Binding::command);
  return found == bindings_.end() ? std::nullopt : std::optional(found->keys);
}

void Keybindings::readChange(const SettingMember& change, std::vector<WindowCommand>& settled) {
  const auto fault = [&](std::string words) { faults_.push_back({change.line, change.name, std::move(words)}); };
  if (change.name.empty()) return fault("keys are an object of names of commands, such as {\"goBack\": \"Alt+Left\"}");
  const auto command = commandNamed(change.name);
  if (!command) return fault(fmt::format("there is no command \"{}\"", change.name));
  if (!change.text) return fault("keys are a text, such as \"Ctrl+K\"; null or an empty one is for none");
  try {
    std::optional<KeySequence> keys;
    if (!change.text->empty()) keys = KeySequence::parse(*change.text);
    settled.push_back(*command);
    if (keys) bind({.command = *command, .keys = *std::move(keys), .line = change.line});
  } catch (const KeySequenceError& error) {
    fault(error.what());
  }
}

void Keybindings::bind(const Binding& binding) {
  const Binding* other = inTheWayOf(binding.keys);
  if (!other) {
    bindings_.push_back(binding);
    return;
  }
  const std::string_view loser = description(binding.command).name;
  const std::string_view winner = description(other->command).name;
  const std::string words = fmt::format("\"{}\" has \"{}\", so \"{}\" (\"{}\") has no keys", winner, other->keys.text(),
                                        loser, binding.keys.text());
  if (binding.line) {
    faults_.push_back({*binding.line, std::string(loser), words});
  } else if (other->line) {
    faults_.push_back({*other->line, std::string(winner), words});
  }
}

const Keybindings::Binding* Keybindings::inTheWayOf(const KeySequence& keys) const {
  const auto found = std::ranges::find_if(bindings_, [&](const Binding& binding) {
    return binding.keys.startsWith(keys) || keys.startsWith(binding.keys);
  });
  return found == bindings_.end() ? nullptr : &*found;
}

}  // namespace ravant
