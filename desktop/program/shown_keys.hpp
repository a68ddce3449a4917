#pragma once

#include <QString>
#include <QStringList>

#include "core/window/key_sequence.hpp"

namespace ravant::desktop {

/// Keys as everything in the window writes them: "Ctrl Shift F", "Del"; chords that follow each other with a comma.
QString shownKeys(const KeySequence& keys);

/// Keys as Qt takes them. Its Enter is that of the number pad alone, so those with Enter come twice.
QStringList pressedKeys(const KeySequence& keys);

}  // namespace ravant::desktop
