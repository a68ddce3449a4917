#include "integrations/linear/linear_client_error.hpp"
#include "integrations/linear/linear_wire.hpp"
#include "platform/text/utf8.hpp"
#include "tests/fuzz/turn_invariants.hpp"

// Whatever an answer is, it is read or refused; no issue of a page is lost, and what is said of it stands on one line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  const std::string_view body = fuzz::text(bytes, size);
  const auto expectWords = [](const linear::Problem& problem) {
    for (const auto& error : {LinearClientError::decoding(problem.words), LinearClientError::graphQL(problem.words)}) {
      const std::string_view words = error.what();
      fuzz::expect(!words.empty() && !words.contains('\n') && isValidUtf8(words), "an error is one line");
    }
  };
  if (const auto viewer = linear::viewerIn(body); !viewer) expectWords(viewer.error());
  if (const auto teams = linear::teamsIn(body); !teams) expectWords(teams.error());
  if (const auto problem = linear::problemIn(body)) expectWords(*problem);
  const auto page = linear::assignedIssuesIn(body);
  if (!page) {
    expectWords(page.error());
  } else {
    const auto& [issues, unreadable] = page->issues;
    fuzz::expect(unreadable.empty() || !issues.empty(), "a page of which nothing can be read is refused");
  }
  return 0;
}
