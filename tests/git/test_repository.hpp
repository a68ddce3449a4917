#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/program.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {

/// A repository made by the git executable, with a configuration of its own.
class TestRepository {
 public:
  explicit TestRepository(std::vector<std::string> initArguments = {});

  const std::filesystem::path& path() const { return path_; }
  /// What git prints; a test failure where it fails.
  std::string git(std::vector<std::string> arguments, std::string input = {}) const;
  /// The same, whatever becomes of it.
  std::string tryGit(std::vector<std::string> arguments, std::string input = {}) const;
  void write(const std::string& file, std::string_view contents) const;
  std::string read(const std::string& file) const;
  void commit(const std::string& message = "commit") const;

 private:
  ProgramResult start(std::vector<std::string> arguments, std::string input) const;

  TemporaryFolder folder_;
  std::filesystem::path path_ = folder_ / "repository";
};

}  // namespace ravant::test
