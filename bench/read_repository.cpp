// read_repository FOLDER ROUNDS: the seconds that the readings of a repository take, of a reader that has it open, and
// those of the git commands that tell the same; then what was read.

#include "bench/program.hpp"
#include "git/git_status_reader.hpp"
#include "platform/async/executors.hpp"
#include "tests/support/run.hpp"

namespace ravant::bench {
namespace {

/// The value, which has no reason to be missing, and the seconds that it took.
template <class Value>
double timeOf(awaitable<GitReading<Value>> reading, Value& value) {
  const auto start = std::chrono::steady_clock::now();
  GitReading<Value> read = test::run(std::move(reading));
  const double seconds = secondsSince(start);
  if (read.unsupportedReason) throw std::runtime_error(*read.unsupportedReason);
  value = std::move(read.value);
  return seconds;
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant;
  const std::string folder = arguments[1];
  Executors executors;
  const auto reader = std::make_shared<GitStatusReader>(executors.work());
  const auto git = [&](std::vector<std::string> words) {
    words.insert(words.begin(), {"git", "-C", folder});
    return bench::runProgram(words).seconds;
  };
  const std::string columns =
      "%(refname:short)%00%(HEAD)%00%(upstream:short)%00%(upstream:track)%00%(contents:subject)%00%(committerdate)";

  GitWorkingCopyDetails files;
  GitWorkingCopyStat stat;
  std::vector<GitBranch> branches;
  const std::vector<double> shortest = bench::shortestOf(
      std::stoi(arguments[2]), {[&] { return bench::timeOf(reader->workingCopyFiles(folder), files); },
                                [&] {
                                  return git({"status", "--porcelain=v2", "--branch"}) + git({"diff", "--numstat"}) +
                                         git({"diff", "--cached", "--numstat"});
                                },
                                [&] { return bench::timeOf(reader->workingCopyStat(folder), stat); },
                                [&] { return git({"diff", "HEAD", "--numstat"}); },
                                [&] { return bench::timeOf(reader->branches(folder), branches); },
                                [&] { return git({"for-each-ref", "--format=" + columns, "refs/heads"}); }});
  fmt::print("files\t{}\nfilesByGit\t{}\nstat\t{}\nstatByGit\t{}\nbranches\t{}\nbranchesByGit\t{}\n", shortest[0],
             shortest[1], shortest[2], shortest[3], shortest[4], shortest[5]);
  fmt::print("staged\t{}\nunstaged\t{}\ninsertions\t{}\ndeletions\t{}\nbranchCount\t{}\n", files.staged.size(),
             files.unstaged.size(), stat.insertions, stat.deletions, branches.size());
}
