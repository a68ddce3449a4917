#pragma once

#include <QString>

namespace ravant::desktop {

/// Words that stand by themselves, with a full stop where nothing ends them. What the core says of an error has none,
/// for it goes into other sentences too.
QString sentence(const QString& words);

}  // namespace ravant::desktop
