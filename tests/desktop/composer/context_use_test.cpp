#include "desktop/composer/context_use.hpp"

#include <gtest/gtest.h>

namespace ravant::desktop {
namespace {

TEST(ContextUseTest, tellsWhatTheAgentTold) {
  Conversation conversation{};
  EXPECT_EQ(contextUse(conversation).words.toStdString(), "");

  conversation.lastUsedTokens = 82'000;
  conversation.lastTotalProcessedTokens = 82'000;
  conversation.lastInputTokens = 1'200;
  conversation.lastCacheReadTokens = 80'000;
  conversation.lastCacheCreationTokens = 0;
  conversation.lastOutputTokens = 800;
  ContextUse use = contextUse(conversation);
  EXPECT_EQ(use.words.toStdString(), "82k")
      << "an agent that does not tell its context's size still tells what it holds";
  EXPECT_EQ(use.share, 0);
  EXPECT_EQ(use.figures.toStdString(),
            "Context: 82k tokens\nLast input: 1.2k\nRead from the cache: 80k\nLast output: 800");

  conversation.lastMaxTokens = 100'000;
  conversation.lastTotalProcessedTokens = 1'500'000;
  use = contextUse(conversation);
  EXPECT_EQ(use.words.toStdString(), "82k of 100k");
  EXPECT_DOUBLE_EQ(use.share, 0.82);
  EXPECT_TRUE(use.isNearlyFull());
  EXPECT_TRUE(use.figures.toStdString().ends_with("Processed: 1.5M")) << use.figures.toStdString();

  conversation.lastUsedTokens = 120'000;
  EXPECT_EQ(contextUse(conversation).share, 1) << "a bar that is full, not one that leaves its frame";
}

}  // namespace
}  // namespace ravant::desktop
