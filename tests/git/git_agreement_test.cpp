#include "tests/git/diff_text.hpp"
#include "tests/git/status_reader_test.hpp"

#include <map>
#include <random>
#include <sstream>

namespace ravant::test {
namespace {

/// Fields that end with a null byte.
class Fields {
 public:
  explicit Fields(std::string text) : text_(std::move(text)) {}

  bool hasMore() const { return begin_ < text_.size(); }
  std::string next() {
    const std::size_t end = text_.find('\0', begin_);
    const std::string field = text_.substr(begin_, end - begin_);
    begin_ = end + 1;
    return field;
  }

 private:
  std::string text_;
  std::size_t begin_ = 0;
};

/// State by path, as git has it: "XY", and the path before for what was moved.
std::map<std::string, std::string> statesByGit(const TestRepository& repository) {
  std::map<std::string, std::string> states;
  Fields fields(repository.git({"status", "--porcelain=v2", "-z", "--find-renames=100%"}));
  while (fields.hasMore()) {
    std::istringstream words(fields.next());
    std::string kind;
    std::string state = "??";
    words >> kind;
    if (kind != "?") words >> state;
    std::string skipped;
    for (int i = kind == "1" ? 6 : kind == "2" ? 7 : 0; i > 0; --i) words >> skipped;
    std::string path;
    words.get();
    std::getline(words, path, '\0');
    if (kind == "?") path += " (untracked)";
    states[path] = kind == "2" ? state + " " + fields.next() : state;
  }
  return states;
}

/// "added deleted" by path, and their sum.
std::map<std::string, std::string> countsByGit(const TestRepository& repository, std::vector<std::string> what,
                                               GitWorkingCopyStat* sum = nullptr) {
  std::vector<std::string> command = {"diff", "--numstat", "-z", "--find-renames=100%"};
  command.insert(command.end(), what.begin(), what.end());
  std::map<std::string, std::string> counts;
  Fields fields(repository.git(command));
  while (fields.hasMore()) {
    const std::string field = fields.next();
    const std::size_t tab = field.find('\t');
    const std::size_t end = field.find('\t', tab + 1);
    const std::string added = field.substr(0, tab);
    const std::string deleted = field.substr(tab + 1, end - tab - 1);
    std::string path = field.substr(end + 1);
    if (path.empty()) {
      fields.next();
      path = fields.next();
    }
    counts[path] = added == "-" ? "binary" : added + " " + deleted;
    if (sum == nullptr || added == "-") continue;
    sum->insertions += std::stoi(added);
    sum->deletions += std::stoi(deleted);
  }
  return counts;
}

char letter(const std::optional<GitFileChange>& change) {
  if (!change) return '.';
  switch (change->status) {
    case GitFileStatus::added:
      return 'A';
    case GitFileStatus::modified:
      return 'M';
    case GitFileStatus::deleted:
      return 'D';
    case GitFileStatus::renamed:
      return 'R';
    case GitFileStatus::typeChanged:
      return 'T';
    case GitFileStatus::untracked:
      return '?';
  }
  return '!';
}

std::string countsOf(const GitFileChange& change) {
  return change.isBinary ? "binary" : fmt::format("{} {}", change.insertions, change.deletions);
}

/// Random changes to a repository of a few files, so that they meet.
class Changes {
 public:
  Changes(const TestRepository& repository, unsigned int seed) : repository_(repository), random_(seed) {}

  void make() {
    const std::string file = anyFile();
    const std::filesystem::path path = repository_.path() / file;
    std::error_code error;
    switch (pick(10)) {
      case 0:
      case 1:
      case 2:
        std::filesystem::remove(path, error);
        repository_.write(file, contents(file));
        break;
      case 3:
        std::filesystem::remove(path, error);
        break;
      case 4:
        repository_.git({"add", "-A"});
        break;
      case 5:
        repository_.tryGit({"add", "--", file});
        break;
      case 6:
        if (file != kLink) repository_.tryGit({"mv", "-k", "--", file, fmt::format("d0/moved {}", ++written_)});
        break;
      case 7:
        repository_.tryGit({"rm", "-q", "--cached", "--", file});
        break;
      case 8:
        std::filesystem::remove(repository_.path() / kLink, error);
        std::filesystem::create_symlink(fmt::format("target {}", ++written_), repository_.path() / kLink, error);
        break;
      default:
        if (pick(2) == 0) {
          if (std::filesystem::is_regular_file(std::filesystem::symlink_status(path, error))) {
            std::filesystem::permissions(path, std::filesystem::perms::owner_all);
          }
        } else {
          repository_.commit();
        }
        break;
    }
  }

 private:
  int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }
  std::string anyFile() {
    static const std::vector<std::string> kNames = {"f", "a b", "\"q\"", "n\nl", "\xff", "x.crlf", "x.bin", "x.txt"};
    return fmt::format("d{}/{}", pick(2), kNames[static_cast<std::size_t>(pick(8))]);
  }
  std::string contents(const std::string& file) {
    if (file != kLink && pick(12) == 0) return {};
    std::string text = fmt::format("{}\n", ++written_);
    const std::string end = file != kLink && pick(4) == 0 ? "\r\n" : "\n";
    for (int line = pick(20); line >= 0; --line) text += fmt::format("line {}{}", pick(12), end);
    if (file.ends_with(".bin") && pick(3) == 0) text += std::string(3, '\0');
    return text;
  }

  // Not moved: libgit2 tells a change of type in two, and takes one of them for a part of the move.
  static constexpr const char* kLink = "d0/f";

  const TestRepository& repository_;
  std::mt19937 random_;
  int written_ = 0;
};

class GitAgreementTest : public StatusReaderTest, public testing::WithParamInterface<const char*> {
 protected:
  /// What the reader has to say, in the form of what git says.
  void expectAgreement(const TestRepository& repository) {
    std::map<std::string, std::string> states;
    std::map<std::string, std::string> staged;
    std::map<std::string, std::string> unstaged;
    for (const GitFileEntry& entry : details(repository.path()).entries()) {
      const bool isUntracked = entry.unstaged && entry.unstaged->status == GitFileStatus::untracked;
      if (entry.staged) staged[entry.path] = countsOf(*entry.staged);
      if (entry.unstaged && !isUntracked) unstaged[entry.path] = countsOf(*entry.unstaged);
      if (isUntracked) states[entry.path + " (untracked)"] = "??";
      if (isUntracked && !entry.staged) continue;
      states[entry.path] = {letter(entry.staged), isUntracked ? '.' : letter(entry.unstaged)};
      if (entry.staged && entry.staged->oldPath) states[entry.path] += " " + *entry.staged->oldPath;
    }
    ASSERT_EQ(states, statesByGit(repository));
    ASSERT_EQ(staged, countsByGit(repository, {"--cached"}));
    ASSERT_EQ(unstaged, countsByGit(repository, {}));
    for (const auto& [path, counts] : unstaged) {
      const std::vector<std::string> command = {"diff", "-U3", "--no-indent-heuristic", "--", ":(literal)" + path};
      ASSERT_EQ(diffText(hunks(repository.path(), path).unstaged), hunksOf(repository.git(command))) << path;
    }
    GitWorkingCopyStat sum;
    const auto whole = countsByGit(repository, {"HEAD"}, &sum);
    ASSERT_EQ(stat(repository.path()), sum) << testing::PrintToString(whole) << testing::PrintToString(states);
  }
};

INSTANTIATE_TEST_SUITE_P(Attributes, GitAgreementTest,
                         testing::Values("", "*.crlf text eol=crlf\n*.bin binary\n*.txt text=auto\n",
                                         "* text=auto\n*.txt ident\n*.bin -diff\n"));

TEST_P(GitAgreementTest, afterRandomChanges) {
  const TestRepository repository;
  repository.write(".gitattributes", GetParam());
  repository.commit();
  Changes changes(repository, 20261121);
  for (int step = 0; step < 240; ++step) {
    changes.make();
    if (step % 6 != 5) continue;
    ASSERT_NO_FATAL_FAILURE(expectAgreement(repository)) << "step " << step;
  }
}

}  // namespace
}  // namespace ravant::test
