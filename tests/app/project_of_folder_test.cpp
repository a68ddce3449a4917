#include "app/project_of_folder.hpp"

#include <gmock/gmock.h>

#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using ::testing::HasSubstr;

struct FolderCase {
  const char* name;
  std::vector<std::string> projects;
  const char* folder;
  const char* repositoryTop;  ///< empty where there is none
  const char* expected;       ///< a project, a folder with "new " in front, or what the refusal says
};

std::ostream& operator<<(std::ostream& out, const FolderCase& row) { return out << row.name; }

std::vector<Project> projectsAt(const std::vector<std::string>& paths) {
  std::vector<Project> projects;
  for (const std::string& path : paths) projects.push_back({.id = {}, .path = path, .name = path});
  return projects;
}

std::string outcome(const FolderCase& row) {
  const std::vector<Project> projects = projectsAt(row.projects);
  Whereabouts place{.folder = row.folder, .home = "/home/ada"};
  if (*row.repositoryTop) place.repositoryTop = row.repositoryTop;
  if (const auto registered = registeredProject(projects, place)) return registered->path;
  try {
    return "new " + folderToRegister(projects, place).string();
  } catch (const FolderNotTakenError& error) {
    return error.what();
  }
}

class ProjectOfFolder : public testing::TestWithParam<FolderCase> {};

TEST_P(ProjectOfFolder, isNeverMoreThanTheUserMeant) {
  EXPECT_THAT(outcome(GetParam()), HasSubstr(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Folders, ProjectOfFolder,
    testing::Values(FolderCase{"innermost", {"/w", "/w/a"}, "/w/a/src", "", "/w/a"},
                    FolderCase{"likeNamed", {"/w/a"}, "/w/ab", "", "new /w/ab"},
                    FolderCase{"topOfRepository", {}, "/w/a/src", "/w/a", "new /w/a"},
                    FolderCase{"belowTheTop", {"/w/a/src"}, "/w/a/src/x", "/w/a", "/w/a/src"},
                    FolderCase{"projectAboveTheRepository", {"/w"}, "/w/a/src", "/w/a", "new /w/a"},
                    FolderCase{
                        "homeAboveTheRepository", {"/home/ada"}, "/home/ada/a", "/home/ada/a", "new /home/ada/a"},
                    FolderCase{"home", {}, "/home/ada", "", "it is your home folder"},
                    FolderCase{"homeIsARepository", {}, "/home/ada/notes", "/home/ada", "new /home/ada/notes"},
                    FolderCase{"aboveHome", {}, "/home", "", "your home folder is in it"},
                    FolderCase{"root", {}, "/", "", "it is the root"},
                    FolderCase{"holdsAProject", {"/w/a"}, "/w", "", "the project /w/a is in it"},
                    FolderCase{"besideAProjectOfTheRepository", {"/w/a"}, "/w/b", "/w", "new /w/b"}),
    [](const testing::TestParamInfo<FolderCase>& row) { return row.param.name; });

TEST(Whereabouts, knowTheInnermostRepositoryAndFilesThatLeadToOne) {
  const TemporaryFolder top;
  const auto place = std::filesystem::canonical(top.path());
  std::filesystem::create_directories(place / "outer/.git");
  std::filesystem::create_directories(place / "outer/worktree/src");
  std::filesystem::create_directories(place / "outer/empty/.git");
  EXPECT_FALSE(whereaboutsOf(place / "outer").repositoryTop);
  top.write("outer/.git/HEAD", "ref: refs/heads/main\n");
  top.write("outer/worktree/.git", "gitdir: ../.git/worktrees/w\n");
  EXPECT_EQ(whereaboutsOf(place / "outer/empty").repositoryTop, place / "outer");
  EXPECT_EQ(whereaboutsOf(place / "outer/worktree/src").repositoryTop, place / "outer/worktree");
}

}  // namespace
}  // namespace ravant::test
