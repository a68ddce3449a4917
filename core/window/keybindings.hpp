#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "core/window/key_sequence.hpp"
#include "core/window/window_command.hpp"
#include "platform/settings/setting.hpp"

namespace ravant {

/// Something about the user's bindings that does not count, or takes a key from another command.
struct KeybindingFault {
  std::size_t line;     ///< of the settings file
  std::string command;  ///< as the file has it
  std::string words;

  auto operator<=>(const KeybindingFault&) const = default;
};

/// Which keys have which command done: the defaults, changed by what the user set.
///
/// A binding of the user goes before a default that it cannot be told apart from, and before later ones of the user. A
/// command that loses its keys so has none.
class Keybindings {
 public:
  /// Members of an object of the settings: names of commands, each with a key sequence, or an empty text for no keys.
  /// One without a name stands for what is no such object.
  explicit Keybindings(const std::vector<SettingMember>& changes = {});

  std::optional<KeySequence> keys(WindowCommand command) const;
  /// In the order of the file.
  const std::vector<KeybindingFault>& faults() const { return faults_; }

 private:
  struct Binding {
    WindowCommand command;
    KeySequence keys;
    std::optional<std::size_t> line;  ///< nothing for a default
  };

  void readChange(const SettingMember& change, std::vector<WindowCommand>& settled);
  void bind(const Binding& binding);
  const Binding* inTheWayOf(const KeySequence& keys) const;

  std::vector<Binding> bindings_;
  std::vector<KeybindingFault> faults_;
};

}  // namespace ravant
