// read_patch FILE ROUNDS: the seconds that a patch takes to become numbered lines, and those of a pass of memchr over
// the same bytes; then how many lines there are, and how much memory, in KiB, all of it took.

#include <fmt/format.h>
#include <sys/resource.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "bench/timing.hpp"
#include "integrations/github/github_diff_parser.hpp"

namespace ravant::bench {
namespace {

std::size_t lineFeeds(const std::string& text) {
  std::size_t count = 0;
  const char* at = text.data();
  const char* const end = at + text.size();
  while ((at = static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)))) != nullptr) {
    ++count;
    ++at;
  }
  return count;
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant;
  std::ifstream file(arguments[1], std::ios::binary);
  const std::string patch{std::istreambuf_iterator<char>(file), {}};
  std::size_t lines = 0;
  std::size_t feeds = 0;
  const std::vector<double> shortest =
      bench::shortestOf(std::stoi(arguments[2]), {[&] {
                                                    const auto start = std::chrono::steady_clock::now();
                                                    const auto hunks = GithubDiffParser::hunks(patch);
                                                    const double seconds = bench::secondsSince(start);
                                                    lines = 0;
                                                    for (const GithubDiffHunk& hunk : hunks) lines += hunk.lines.size();
                                                    return seconds;
                                                  },
                                                  [&] {
                                                    const auto start = std::chrono::steady_clock::now();
                                                    feeds = bench::lineFeeds(patch);
                                                    return bench::secondsSince(start);
                                                  }});
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  fmt::print("parser\t{}\nmemchr\t{}\nlines\t{}\nfeeds\t{}\nmemory\t{}\n", shortest[0], shortest[1], lines, feeds,
             usage.ru_maxrss);
}
