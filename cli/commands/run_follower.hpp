#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "app/application.hpp"
#include "cli/output/run_output.hpp"

namespace ravant::cli {

/// Shows what a run writes into its conversation, from the change feed alone.
class RunFollower {
 public:
  /// `before` is the conversation as it was before the run, `last` its last entry then.
  RunFollower(Application& application, ConversationSummary before, std::optional<ConversationItemId> last,
              RunOutput& output);

  /// Returns when the subscription has ended and all it announced was shown. Throws `StoreError` and what the output
  /// throws.
  awaitable<void> follow(std::shared_ptr<ChangeSubscription> subscription);

  /// The last item that was shown, or was there before the run.
  ConversationItemId shownItem() const { return shownItem_; }

  /// The text of the run's failure item, when there is one.
  const std::optional<std::string>& failure() const { return failure_; }

 private:
  awaitable<void> show(ChangeBatch batch);
  awaitable<void> showAll();
  void showItem(ConversationItem item);
  void showInvocation(ToolInvocation invocation);
  awaitable<void> showUsage();

  Application& application_;
  ConversationSummary shownSummary_;
  ConversationItemId shownItem_;  ///< the last one
  std::set<ConversationItemId> shownGroups_;
  std::map<ToolInvocationId, ToolInvocation> shownInvocations_;
  RunOutput& output_;
  std::optional<std::string> failure_;
};

}  // namespace ravant::cli
