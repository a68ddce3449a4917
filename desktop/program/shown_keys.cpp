#include "desktop/program/shown_keys.hpp"

#include <QStringList>
#include <algorithm>
#include <array>

namespace ravant::desktop {
namespace {

struct ShownKey {
  std::string_view key;
  QLatin1String words;
};

constexpr std::array kShownKeys = {ShownKey{"Delete", QLatin1String("Del")},
                                   ShownKey{"PageUp", QLatin1String("Page Up")},
                                   ShownKey{"PageDown", QLatin1String("Page Down")}};

QString shown(const KeyChord& chord) {
  QStringList words;
  if (chord.ctrl) words.append(QStringLiteral("Ctrl"));
  if (chord.alt) words.append(QStringLiteral("Alt"));
  if (chord.shift) words.append(QStringLiteral("Shift"));
  if (chord.meta) words.append(QStringLiteral("Meta"));
  const auto* const found = std::ranges::find(kShownKeys, std::string_view(chord.key), &ShownKey::key);
  words.append(found == kShownKeys.end() ? QString::fromStdString(chord.key) : QString(found->words));
  return words.join(QLatin1Char(' '));
}

}  // namespace

QStringList pressedKeys(const KeySequence& keys) {
  QStringList chords;
  QStringList onOtherKeys;
  for (KeyChord chord : keys.chords()) {
    chords.append(QString::fromStdString(chord.text()));
    if (chord.key == "Enter") chord.key = "Return";
    if (chord.key == "+") chord.key = "=";
    onOtherKeys.append(QString::fromStdString(chord.text()));
  }
  QStringList sequences = {chords.join(QStringLiteral(", ")), onOtherKeys.join(QStringLiteral(", "))};
  sequences.removeDuplicates();
  return sequences;
}

QString shownKeys(const KeySequence& keys) {
  QStringList chords;
  for (const KeyChord& chord : keys.chords()) chords.append(shown(chord));
  return chords.join(QStringLiteral(", "));
}

}  // namespace ravant::desktop
