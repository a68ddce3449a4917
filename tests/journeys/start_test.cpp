#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

/// What the system's loader says of the libraries that a command takes.
std::string librariesOf(Sandbox& sandbox, std::vector<std::string> arguments) {
  sandbox.setVariable("LD_DEBUG", "files");
  const ProgramResult result = sandbox.run(std::move(arguments));
  EXPECT_EQ(result.status, 0) << result.output;
  return result.errors;
}

TEST(Start, waitsForNoLibraryThatItDoesNotNeed) {
  Sandbox sandbox;
  sandbox.json({"agent", "list"});
  const auto isShort = AllOf(HasSubstr("libsqlite3"), Not(HasSubstr("libgit2")), Not(HasSubstr("libcurl")),
                             Not(HasSubstr("libsecret")), Not(HasSubstr("libcrypto")));
  EXPECT_THAT(librariesOf(sandbox, {"--version"}), isShort);
  EXPECT_THAT(librariesOf(sandbox, {"conversation", "list"}), isShort);
  sandbox.addAgent(claude_says::begin() + claude_says::end());
  EXPECT_THAT(librariesOf(sandbox, {"run", "--agent", "claude", "hello"}), isShort);
  EXPECT_THAT(librariesOf(sandbox, {"git", "status", "--json"}), HasSubstr("libgit2"));
}

TEST(Start, namesALibraryThatIsNotThere) {
  Sandbox sandbox;
  sandbox.json({"agent", "list"});
  const std::string loaded = librariesOf(sandbox, {"git", "status", "--json"});
  const std::size_t name = loaded.find("libgit2.so.");
  ASSERT_NE(name, std::string::npos);
  const std::string libgit2 = loaded.substr(name, loaded.find_first_of(" ;[\n", name) - name);
  sandbox.setVariable("LD_DEBUG", "");
  sandbox.setVariable("LD_LIBRARY_PATH", sandbox.home());
  for (const std::string& file : {libgit2, std::string("libcurl.so.4")}) {
    std::ofstream(sandbox.home() / file) << "no library";
  }
  const ProgramResult examined = sandbox.run({"doctor"});
  EXPECT_THAT(examined.output, AllOf(HasSubstr(libgit2), HasSubstr("libcurl.so.4"), HasSubstr("install it")))
      << examined.errors;
  const ProgramResult status = sandbox.run({"git", "status"});
  EXPECT_NE(status.status, 0);
  EXPECT_THAT(status.errors, HasSubstr(libgit2));
}

}  // namespace
}  // namespace ravant::test
