#include "tests/git/test_repository.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include "platform/files/private_file.hpp"

namespace ravant::test {

TestRepository::TestRepository(std::vector<std::string> initArguments) {
  std::filesystem::create_directory(path_);
  folder_.write(".gitconfig",
                "[user]\nname=Tester\nemail=tester@example.com\n[init]\ndefaultBranch=main\n[core]\nquotePath=false\n["
                "protocol \"file\"]\nallow=always\n");
  initArguments.insert(initArguments.begin(), "init");
  git(initArguments);
}

ProgramResult TestRepository::start(std::vector<std::string> arguments, std::string input) const {
  return Program({.path = "/usr/bin/git",
                  .arguments = std::move(arguments),
                  .environment = {{"HOME", folder_.path()},
                                  {"GIT_CONFIG_NOSYSTEM", "1"},
                                  {"PATH", "/usr/bin:/bin"},
                                  {"LC_ALL", "C.UTF-8"}},
                  .workingDirectory = path_,
                  .input = std::move(input)})
      .wait();
}

std::string TestRepository::git(std::vector<std::string> arguments, std::string input) const {
  const std::string words = fmt::format("{}", fmt::join(arguments, " "));
  const ProgramResult result = start(std::move(arguments), std::move(input));
  EXPECT_EQ(result.status, 0) << "git " << words << ": " << result.errors;
  return result.output;
}

std::string TestRepository::tryGit(std::vector<std::string> arguments, std::string input) const {
  return start(std::move(arguments), std::move(input)).output;
}

void TestRepository::write(const std::string& file, std::string_view contents) const {
  std::filesystem::create_directories((path_ / file).parent_path());
  std::ofstream(path_ / file, std::ios::binary) << contents;
}

std::string TestRepository::read(const std::string& file) const { return readFile(path_ / file).value_or("(none)"); }

void TestRepository::commit(const std::string& message) const {
  git({"add", "-A"});
  git({"commit", "-q", "--allow-empty", "-m", message});
}

}  // namespace ravant::test
