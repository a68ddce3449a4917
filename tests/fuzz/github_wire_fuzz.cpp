#include <algorithm>
#include <optional>

#include "integrations/github/github_client_error.hpp"
#include "integrations/github/github_wire.hpp"
#include "platform/keystore/secret.hpp"
#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

constexpr std::string_view kToken = "ghp_hush";

void expectShowable(const GithubClientError& error) {
  const std::string_view words = error.what();
  expect(!words.contains(kToken), "no token in the words of an error");
  expect(std::ranges::all_of(words, [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7f'; }),
         "the words of an error are one line without control characters");
}

template <class Data>
void expectLawful(const std::optional<github::GraphQLAnswer<Data>>& answer,
                  const std::optional<github::GraphQLAnswer<Data>>& again) {
  expect(answer == again, "the same answer is read alike");
  if (answer) expectShowable(GithubClientError::graphQL(withoutSecret(answer->messages, kToken, kTokenMark)));
}

}  // namespace
}  // namespace ravant::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  using namespace ravant::fuzz;
  const std::string_view told = text(bytes, size);
  expectShowable(GithubClientError::decoding(withoutSecret(told, kToken, kTokenMark)));

  const std::vector<GithubPullReference> references = {{"o/r", 1}, {"o/r", 2}, {"p/s", 3}};
  const auto page = github::parseSearch(told);
  expectLawful(page, github::parseSearch(told));
  if (page && page->data) expect(!page->data->pageInfo.hasNextPage || page->data->pageInfo.endCursor, "pages end");
  const auto referenced = github::parseReferenced(told, references);
  expectLawful(referenced, github::parseReferenced(told, references));
  if (referenced && referenced->data) {
    expect(referenced->data->pulls.size() + referenced->data->vanished.size() <= references.size(),
           "each reference is there, or gone, or neither");
  }
  const auto files = github::parsePullFiles(told);
  if (files) expect(github::parsePullFiles(github::pullFilesText(*files)) == files, "files are kept as they were");
  expect(github::parseUser(told) == github::parseUser(told), "the same answer is read alike");
  expect(github::parseRepositories(told) == github::parseRepositories(told), "the same answer is read alike");
  expect(github::parseAccounts(told) == github::parseAccounts(told), "the same answer is read alike");
  return 0;
}
