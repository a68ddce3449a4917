#include "cli/command/filter_options.hpp"

namespace ravant::cli {
namespace {

template <class Facet>
void read(const Arguments& arguments, std::string_view option, Facet& facet) {
  if (const auto word = arguments.optional(option)) facet = filterValueFromRawValue<Facet>(*word).value();
}

}  // namespace

std::vector<OptionDescription> withFilterOptions(std::vector<OptionDescription> more) {
  std::vector<OptionDescription> options = {
      {.name = "--repo",
       .value = "OWNER/NAME",
       .description = "Only pull requests of this repository; can be given again for others",
       .kind = ValueKind::repository,
       .occurrence = Occurrence::any},
      {.name = "--involvement",
       .value = "WHO",
       .description = "How you have to do with it; anyone by default, and without --repo anyone means involved",
       .kind = ValueKind::filterInvolvement},
      {.name = "--state",
       .value = "STATE",
       .description = "Its state; open by default",
       .kind = ValueKind::filterState},
      {.name = "--review",
       .value = "REVIEW",
       .description = "What its review came to; any by default",
       .kind = ValueKind::filterReview},
      {.name = "--checks",
       .value = "CHECKS",
       .description = "How its checks went; any by default",
       .kind = ValueKind::filterChecks},
      {.name = "--draft",
       .value = "DRAFT",
       .description = "Whether drafts count; any by default",
       .kind = ValueKind::filterDraft}};
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

GithubContentFilter filterFrom(const Arguments& arguments) {
  GithubContentFilter filter;
  for (const std::string& name : arguments.list("--repo")) filter.repositoryFullNames.insert(name);
  read(arguments, "--involvement", filter.involvement);
  read(arguments, "--state", filter.state);
  read(arguments, "--review", filter.review);
  read(arguments, "--checks", filter.checks);
  read(arguments, "--draft", filter.draft);
  return filter;
}

}  // namespace ravant::cli
