#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// Why a text is no sequence of keys, in words for its author.
class KeySequenceError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One key with the modifiers that are held.
struct KeyChord {
  bool ctrl = false;
  bool alt = false;
  bool shift = false;
  bool meta = false;
  std::string key;  ///< a character as on the key (`A`, `,`, `é`), or Left, PageUp, Space, F5 and the like

  std::string text() const;

  bool operator==(const KeyChord&) const = default;
};

/// Chords that are pressed one after the other, such as `Ctrl+K Ctrl+S`.
class KeySequence {
 public:
  static constexpr std::size_t kMaxChords = 4;

  /// Chords parted by blanks; in each, modifiers (Ctrl, Alt, Shift, Meta) and then one key, joined by `+`: a character,
  /// or a name such as Left, PageUp, Space or F5. Names in any case. Throws `KeySequenceError`; so for a first chord
  /// that every text needs: a key alone or with Shift, but for the function keys, and Ctrl+A, C, V, X and Z.
  static KeySequence parse(std::string_view text);

  /// The one form that every way to write it has.
  std::string text() const;

  const std::vector<KeyChord>& chords() const { return chords_; }

  /// Whether whoever presses this has pressed `other` on the way.
  bool startsWith(const KeySequence& other) const;

  bool operator==(const KeySequence&) const = default;

 private:
  std::vector<KeyChord> chords_;
};

}  // namespace ravant
