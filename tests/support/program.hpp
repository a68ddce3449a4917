#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/process/unique_fd.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {

/// A program's standard output: a pipe that the test reads, one whose reader is gone, or a terminal of 80 columns.
enum class ProgramOutput { read, closedPipe, terminal };

struct ProgramOptions {
  std::string path;
  std::vector<std::string> arguments = {};
  std::map<std::string, std::string> environment = {};  ///< all of it, but for what sanitizers read
  std::filesystem::path workingDirectory = "/";
  std::string input = {};
  ProgramOutput output = ProgramOutput::read;
};

struct ProgramResult {
  int status;  ///< exit status; 128 and the signal where one ended it
  std::string output;
  std::string errors;
};

/// A child process with its output. Whoever waits for output fails after a minute without any.
class Program {
 public:
  explicit Program(ProgramOptions options);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t pid() const { return pid_; }
  /// Reads until the output contains `text`; false when it ended before.
  bool readUntil(std::string_view text);
  /// Stops reading: the program finds its output closed.
  void closeOutput() { outputEnd_ = UniqueFd(); }
  /// The rest of the output, and how it ended.
  ProgramResult wait();
  void signal(int number) const;

 private:
  bool readMore();

  TemporaryFolder folder_;
  UniqueFd outputEnd_;
  pid_t pid_ = 0;
  std::string output_;
};

}  // namespace ravant::test
