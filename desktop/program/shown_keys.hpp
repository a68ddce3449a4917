#pragma once

#include <QString>
#include <QStringList>

#include "core/window/key_sequence.hpp"

namespace ravant::desktop {

/// Keys as everything in the window writes them: "Ctrl Shift F", "Del"; chords that follow each other with a comma.
QString shownKeys(const KeySequence& keys);

/// Keys as Qt takes them, then as another key of keyboards has them: its Enter is that of the number pad alone, and a +
/// is often above =.
QStringList pressedKeys(const KeySequence& keys);

}  // namespace ravant::desktop
