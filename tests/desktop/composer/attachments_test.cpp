#include "desktop/composer/attachments.hpp"

#include <gmock/gmock.h>

#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using desktop::attachmentPath;
using desktop::ComposedPrompt;
using desktop::goneAttachments;
using testing::ElementsAre;

TEST(Attachments, stayWhatTheyAreInTheTextOfThePrompt) {
  const std::vector<ComposedPrompt> prompts = {
      {.words = "", .attachments = {}},
      {.words = "Two\n\nlines\n", .attachments = {}},
      {.words = "", .attachments = {"a.txt"}},
      {.words = "See these.", .attachments = {"src/a.cpp", "/tmp/with blank", "quo\"te\\", "new\nline", "\"quoted\""}},
      {.words = "Ends with a break.\n", .attachments = {"ä.txt"}},
      {.words = "Attached: nothing \"much", .attachments = {}},
  };
  for (const ComposedPrompt& prompt : prompts) EXPECT_EQ(ComposedPrompt::parse(prompt.text()), prompt) << prompt.text();

  EXPECT_EQ((ComposedPrompt{.words = "See.", .attachments = {"a.txt", "b c"}}.text()),
            "See.\n\nAttached: a.txt\nAttached: \"b c\"");
}

TEST(Attachments, areRelativeInsideTheProjectAndMissedWhenGone) {
  TemporaryFolder folder;
  std::filesystem::create_directories(folder / "project/src");
  folder.write("project/src/a.cpp", "");
  folder.write("elsewhere.txt", "");
  const std::filesystem::path project = folder / "project";

  EXPECT_EQ(attachmentPath(project / "src/../src/a.cpp", project), "src/a.cpp");
  EXPECT_EQ(attachmentPath(folder / "elsewhere.txt", project), (folder / "elsewhere.txt").string());
  EXPECT_EQ(attachmentPath(folder / "project2/a", project), (folder / "project2/a").string());
  EXPECT_THAT(goneAttachments({"src/a.cpp", "src/b.cpp", (folder / "elsewhere.txt").string(), "/gone"}, project),
              ElementsAre("src/b.cpp", "/gone"));
}

}  // namespace
}  // namespace ravant::test
