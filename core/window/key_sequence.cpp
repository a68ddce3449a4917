#include "core/window/key_sequence.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

#include "platform/text/case_folding.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

struct ModifierName {
  std::string_view name;  // in small letters
  std::string_view text;
  bool KeyChord::* isHeld;
};

// Those of each modifier one after the other, in the order in which they are written.
constexpr std::array kModifierNames = {
    ModifierName{"ctrl", "Ctrl", &KeyChord::ctrl}, ModifierName{"control", "", &KeyChord::ctrl},
    ModifierName{"alt", "Alt", &KeyChord::alt},    ModifierName{"shift", "Shift", &KeyChord::shift},
    ModifierName{"meta", "Meta", &KeyChord::meta}, ModifierName{"super", "", &KeyChord::meta}};

struct EditingKey {
  std::string_view key;
  std::string_view does;
};

constexpr std::array kEditingKeys = {EditingKey{"A", "selects everything"}, EditingKey{"C", "copies"},
                                     EditingKey{"V", "pastes"}, EditingKey{"X", "cuts"}, EditingKey{"Z", "undoes"}};

struct KeyName {
  std::string_view name;  // in small letters
  std::string_view text;
};

constexpr std::array kKeyNames = {KeyName{"left", "Left"},
                                  KeyName{"right", "Right"},
                                  KeyName{"up", "Up"},
                                  KeyName{"down", "Down"},
                                  KeyName{"home", "Home"},
                                  KeyName{"end", "End"},
                                  KeyName{"pageup", "PageUp"},
                                  KeyName{"pgup", "PageUp"},
                                  KeyName{"pagedown", "PageDown"},
                                  KeyName{"pgdown", "PageDown"},
                                  KeyName{"tab", "Tab"},
                                  KeyName{"enter", "Enter"},
                                  KeyName{"return", "Enter"},
                                  KeyName{"escape", "Esc"},
                                  KeyName{"esc", "Esc"},
                                  KeyName{"space", "Space"},
                                  KeyName{"backspace", "Backspace"},
                                  KeyName{"delete", "Delete"},
                                  KeyName{"del", "Delete"},
                                  KeyName{"insert", "Insert"},
                                  KeyName{"ins", "Insert"},
                                  KeyName{"menu", "Menu"},
                                  KeyName{"plus", "+"},
                                  KeyName{"minus", "-"},
                                  KeyName{"comma", ","},
                                  KeyName{"period", "."}};

constexpr int kFunctionKeys = 35;

[[noreturn]] void refuse(const std::string& words) { throw KeySequenceError(words); }

const ModifierName* modifierNamed(std::string_view word) {
  const auto* found = std::ranges::find(kModifierNames, lowerCase(word), &ModifierName::name);
  return found == kModifierNames.end() ? nullptr : found;
}

bool isFunctionKey(std::string_view name) {
  if (!name.starts_with('f')) return false;
  int number = 0;
  const auto [end, error] = std::from_chars(name.data() + 1, name.data() + name.size(), number);
  const bool isNumber = error == std::errc() && end == name.data() + name.size() && name.size() > 1 && name[1] != '0';
  return isNumber && number >= 1 && number <= kFunctionKeys;
}

bool isCharacter(std::string_view word) {
  const auto first = static_cast<unsigned char>(word.front());
  return firstCharacters(word, 1) == word && first > ' ' && first != 0x7F && terminalSafe(word) == word;
}

/// Letters are written as on the keys; those beyond ASCII in small, for not all have a capital form.
std::string characterText(std::string_view character) {
  std::string text = foldCase(character);
  if (text.size() == 1 && text.front() >= 'a' && text.front() <= 'z')
    text.front() = static_cast<char>(text.front() - 'a' + 'A');
  return text;
}

std::optional<std::string> keyNamed(std::string_view word) {
  if (isCharacter(word)) return characterText(word);
  const std::string name = lowerCase(word);
  if (isFunctionKey(name)) return "F" + name.substr(1);
  const auto* found = std::ranges::find(kKeyNames, name, &KeyName::name);
  return found == kKeyNames.end() ? std::nullopt : std::optional<std::string>(found->text);
}

std::string readKey(std::string_view word, std::string_view chord) {
  if (word.empty()) refuse(fmt::format("\"{}\" lacks a key behind its modifiers", chord));
  if (auto key = keyNamed(word)) return *std::move(key);
  if (modifierNamed(word)) refuse(fmt::format("\"{}\" is a modifier: \"{}\" lacks a key", word, chord));
  refuse(fmt::format("there is no key \"{}\"", word));
}

bool KeyChord::* readModifier(std::string_view word) {
  if (const ModifierName* modifier = modifierNamed(word)) return modifier->isHeld;
  if (!word.empty() && keyNamed(word)) {
    refuse(fmt::format("\"{}\" is a key: before the last one stand only Ctrl, Alt, Shift and Meta", word));
  }
  refuse(fmt::format("there is no modifier \"{}\": there are Ctrl, Alt, Shift and Meta", word));
}

KeyChord readChord(std::string_view text) {
  const bool isPlus = text == "+" || text.ends_with("++");
  const std::size_t end = isPlus ? text.size() - 1 : text.rfind('+') + 1;  // of the modifiers; npos + 1 is 0
  KeyChord chord;
  chord.key = readKey(text.substr(end), text);
  for (std::string_view rest = text.substr(0, end); !rest.empty();) {
    const std::size_t plus = rest.find('+');
    bool& isHeld = chord.*readModifier(rest.substr(0, plus));
    if (std::exchange(isHeld, true)) refuse(fmt::format("\"{}\" names a modifier twice", text));
    rest.remove_prefix(plus + 1);
  }
  return chord;
}

bool isCharacterKey(std::string_view key) { return key == "Space" || firstCharacters(key, 1) == key; }

bool isFunctionKeyText(std::string_view key) { return key.size() > 1 && isFunctionKey(lowerCase(key)); }

/// What begins a sequence is taken from everything else that is focused.
void expectFreeForCommands(const KeyChord& chord, std::string_view word) {
  const bool isPlain = !chord.ctrl && !chord.alt && !chord.meta;
  if (isPlain && isCharacterKey(chord.key)) {
    refuse(fmt::format("\"{}\" types a character: it needs Ctrl, Alt or Meta", word));
  }
  if (isPlain && !isFunctionKeyText(chord.key)) {
    refuse(fmt::format("\"{}\" is for writing and moving about: it needs Ctrl, Alt or Meta", word));
  }
  const auto* editing = std::ranges::find(kEditingKeys, chord.key, &EditingKey::key);
  if (editing != kEditingKeys.end() && chord == KeyChord{.ctrl = true, .key = chord.key}) {
    refuse(fmt::format("\"{}\" {} in every text", chord.text(), editing->does));
  }
}

}  // namespace

std::string KeyChord::text() const {
  std::string text;
  for (const ModifierName& modifier : kModifierNames) {
    if (this->*modifier.isHeld && !modifier.text.empty()) text.append(modifier.text) += '+';
  }
  return text + key;
}

KeySequence KeySequence::parse(std::string_view text) {
  if (!isValidUtf8(text)) refuse("keys are written in UTF-8");
  KeySequence sequence;
  for (std::string_view rest = trimmed(text); !rest.empty(); rest = trimmed(rest)) {
    const std::string_view word = rest.substr(0, rest.find_first_of(" \t\n\v\f\r"));
    rest.remove_prefix(word.size());
    KeyChord chord = readChord(word);
    if (sequence.chords_.empty()) expectFreeForCommands(chord, word);
    sequence.chords_.push_back(std::move(chord));
  }
  if (sequence.chords_.empty()) refuse("there is no key");
  if (sequence.chords_.size() > kMaxChords) refuse(fmt::format("\"{}\" has more than {} chords", text, kMaxChords));
  return sequence;
}

std::string KeySequence::text() const {
  std::string text;
  for (const KeyChord& chord : chords_) text.append(text.empty() ? "" : " ").append(chord.text());
  return text;
}

bool KeySequence::startsWith(const KeySequence& other) const {
  return std::ranges::mismatch(other.chords_, chords_).in1 == other.chords_.end();
}

}  // namespace ravant
