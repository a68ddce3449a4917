#include "desktop/program/sentence.hpp"

#include <algorithm>

namespace ravant::desktop {

QString sentence(const QString& words) {
  const QString text = words.trimmed();
  const auto isBehindTheEnd = [](QChar sign) { return QStringView(u"\"”’)").contains(sign); };
  const auto last = std::find_if_not(text.crbegin(), text.crend(), isBehindTheEnd);
  const bool hasEnd = last == text.crend() || QStringView(u".!?…:").contains(*last);
  return hasEnd ? text : text + QLatin1Char('.');
}

}  // namespace ravant::desktop
