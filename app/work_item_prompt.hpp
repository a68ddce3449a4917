#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "app/application.hpp"
#include "core/integrations/work_item.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {

/// A pull request or issue that cannot be had; `what()` says why.
class WorkItemError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A pull request or issue with what a prompt quotes of it.
struct WorkItemText {
  WorkItem item;
  std::string title;
  std::optional<std::string> body;
  std::string doubt = {};  ///< why it may have changed since; empty where it was just asked for
};

/// `OWNER/NAME#NUMBER`; nothing for another text.
std::optional<GithubPullReference> pullReferenceFrom(std::string_view text);

/// As it is stored where that is not older than five minutes, else as it is fetched. Throws `WorkItemError`, and what
/// `GithubService` does.
awaitable<WorkItemText> readPullRequest(Application& application, GithubIntegration account, GithubPullReference pull);

/// The issue of that identifier (ENG-42, in letters of either case) as it is after a sync of the workspace; where that
/// fails, as it is stored, with a doubt. Throws `WorkItemError`, and what `LinearService` does where nothing is stored.
awaitable<WorkItemText> readIssue(Application& application, LinearIntegration workspace, std::string identifier);

/// The prompt, preceded by the item in a frame that says what it is: quoted, and no instruction of the user. The frame
/// carries `mark`, a new random one for each prompt, which nobody who wrote the item can know. Control characters of
/// the item are shown in place of being there, and a body beyond 64 KiB is cut, which the quotation says.
std::string promptAbout(const WorkItemText& text, std::string_view prompt, const Uuid& mark);

}  // namespace ravant
