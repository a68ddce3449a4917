#include "desktop/composer/context_use.hpp"

#include <QCoreApplication>
#include <QStringList>
#include <algorithm>

#include "platform/text/duration_text.hpp"

namespace ravant::desktop {
namespace {

QString translated(const char* text) { return QCoreApplication::translate("ravant::desktop::ContextUse", text); }

QString count(std::int64_t tokens) { return QString::fromStdString(tokenCount(tokens)); }

QString figuresOf(const Conversation& conversation, const QString& words) {
  QStringList lines{translated(QT_TRANSLATE_NOOP("ravant::desktop::ContextUse", "Context: %1 tokens")).arg(words)};
  const auto add = [&](const char* line, std::optional<std::int64_t> tokens) {
    if (tokens.value_or(0) > 0) lines += translated(line).arg(count(*tokens));
  };
  add(QT_TRANSLATE_NOOP("ravant::desktop::ContextUse", "Last input: %1"), conversation.lastInputTokens);
  add(QT_TRANSLATE_NOOP("ravant::desktop::ContextUse", "Read from the cache: %1"), conversation.lastCacheReadTokens);
  add(QT_TRANSLATE_NOOP("ravant::desktop::ContextUse", "Written to the cache: %1"),
      conversation.lastCacheCreationTokens);
  add(QT_TRANSLATE_NOOP("ravant::desktop::ContextUse", "Last output: %1"), conversation.lastOutputTokens);
  if (conversation.lastTotalProcessedTokens > conversation.lastUsedTokens)
    add(QT_TRANSLATE_NOOP("ravant::desktop::ContextUse", "Processed: %1"), conversation.lastTotalProcessedTokens);
  return lines.join(u'\n');
}

}  // namespace

ContextUse contextUse(const Conversation& conversation) {
  const auto used = conversation.lastUsedTokens.value_or(0);
  const auto most = conversation.lastMaxTokens.value_or(0);
  if (used <= 0) return {};
  ContextUse use{.words = count(used)};
  if (most > 0) {
    use.share = std::min(1.0, static_cast<double>(used) / static_cast<double>(most));
    use.words = translated(QT_TRANSLATE_NOOP("ravant::desktop::ContextUse", "%1 of %2")).arg(count(used), count(most));
  }
  use.figures = figuresOf(conversation, use.words);
  return use;
}

}  // namespace ravant::desktop
