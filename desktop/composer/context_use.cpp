#include "desktop/composer/context_use.hpp"

#include <QCoreApplication>
#include <algorithm>

#include "platform/text/duration_text.hpp"

namespace ravant::desktop {

ContextUse contextUse(const Conversation& conversation) {
  const auto used = conversation.lastUsedTokens.value_or(0);
  const auto most = conversation.lastMaxTokens.value_or(0);
  if (used <= 0 || most <= 0) return {};
  return {.share = std::min(1.0, static_cast<double>(used) / static_cast<double>(most)),
          .words = QCoreApplication::translate("ravant::desktop::ContextUse", "%1 of %2")
                       .arg(QString::fromStdString(tokenCount(used)), QString::fromStdString(tokenCount(most)))};
}

}  // namespace ravant::desktop
