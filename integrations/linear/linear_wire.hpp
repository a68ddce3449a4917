#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "integrations/linear/linear_payloads.hpp"

/// Requests to and answers of Linear's GraphQL API (linear.app/developers/graphql).
namespace ravant::linear {

/// Bodies of requests.
std::string viewerRequest();
std::string teamsRequest();
/// The page behind the cursor, or the first.
std::string assignedIssuesRequest(const std::optional<std::string>& after);

/// Why an answer has nothing to be used.
struct Problem {
  enum class Kind {
    unreadable,
    unauthenticated,
    rateLimited,
    graphQL,  ///< any other error that Linear names, or no data at all
  };

  Kind kind;
  /// Linear's own, joined by "; ", or what could not be read; empty where nothing can be said.
  std::string words;

  bool operator==(const Problem&) const = default;
};

template <class Data>
using Answer = std::expected<Data, Problem>;

Answer<LinearIdentity> viewerIn(std::string_view body);
Answer<std::vector<LinearTeamPayload>> teamsIn(std::string_view body);
/// An issue that cannot be read is told by its id; a page of which none can be read, or one without its id, is
/// unreadable.
Answer<LinearIssuesPage> assignedIssuesIn(std::string_view body);

/// What the body of a refused request says; nothing where it has no errors.
std::optional<Problem> problemIn(std::string_view body);

}  // namespace ravant::linear
