#include "platform/keystore/file_key_store.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/files/private_file.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Case = KeyStoreError::Case;

const KeyName kName{.service = "tracker", .account = "me@example.com"};
const std::string kSecret = "hush-ключ-🔑\n\"\\";

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

class FileKeyStoreTest : public testing::Test {
 protected:
  /// Every operation fails alike, with these words and without a secret.
  void expectRefused(const std::filesystem::path& file, const std::string& words) {
    FileKeyStore store(file);
    const std::vector<std::function<void()>> operations = {
        [&] { store.read(kName); }, [&] { store.store(kName, kSecret, "label"); }, [&] { store.remove(kName); }};
    for (const auto& operation : operations) {
      try {
        operation();
        ADD_FAILURE() << "no error";
      } catch (const KeyStoreError& error) {
        EXPECT_EQ(error.kind(), Case::failed);
        EXPECT_THAT(error.what(), AllOf(HasSubstr(file.string()), HasSubstr(words), Not(HasSubstr("hush"))));
      }
    }
  }

  TemporaryFolder folder_;
};

TEST_F(FileKeyStoreTest, keepsSecretsForItsOwnerAlone) {
  const auto file = folder_ / "config/ravant/keys.json";
  const KeyName other{.service = "tracker", .account = "you"};
  FileKeyStore store(file);
  EXPECT_EQ(store.read(kName), std::nullopt);
  EXPECT_FALSE(store.remove(kName));
  store.store(kName, "first", "label");
  store.store(kName, kSecret, "label");
  store.store(other, std::string(100'000, 'k'), "label");
  EXPECT_EQ(modeOf(file), 0600u);
  EXPECT_EQ(modeOf(file.parent_path()), 0700u);

  FileKeyStore later(file);
  EXPECT_EQ(later.read(kName), kSecret);
  EXPECT_EQ(later.read({.service = "me@example.com", .account = "tracker"}), std::nullopt);
  EXPECT_TRUE(later.remove(kName));
  EXPECT_FALSE(later.remove(kName));
  EXPECT_EQ(store.read(kName), std::nullopt);
  EXPECT_EQ(store.read(other), std::string(100'000, 'k'));
  EXPECT_EQ(modeOf(file), 0600u);
}

TEST_F(FileKeyStoreTest, refusesAFileThatOthersMayRead) {
  const std::string contents = R"({"tracker": {"me@example.com": "hush"}})";
  const auto file = folder_.write("keys.json", contents);
  for (const mode_t mode : {0640u, 0604u, 0660u, 0644u}) {
    ::chmod(file.c_str(), mode);
    expectRefused(file, "chmod 600 '" + file.string() + "'");
    EXPECT_EQ(modeOf(file), mode);
    EXPECT_EQ(readFile(file), contents);
  }
  ::chmod(file.c_str(), 0600);
  EXPECT_EQ(FileKeyStore(file).read(kName), "hush");
}

TEST_F(FileKeyStoreTest, leavesAloneWhatItDidNotWrite) {
  for (const std::string contents : {"", R"({"tracker": "hush")", R"(["hush"])", "hush"}) {
    const auto file = folder_.write("keys.json", contents);
    ::chmod(file.c_str(), 0600);
    expectRefused(file, "is not what was written there");
    EXPECT_EQ(readFile(file), contents);
  }
}

TEST_F(FileKeyStoreTest, namesAFileThatCannotBe) {
  const auto file = folder_ / "keys.json";
  std::filesystem::create_directory(file);
  ::chmod(file.c_str(), 0700);
  expectRefused(file, "Is a directory");
  FileKeyStore store(folder_.write("file", "") / "keys.json");
  EXPECT_THROW(store.store(kName, kSecret, "label"), KeyStoreError);
}

TEST_F(FileKeyStoreTest, processesDoNotUndoEachOther) {
  const auto file = folder_ / "keys.json";
  constexpr int kCount = 100;
  const auto storeAll = [&](const std::string& service) {
    return [&file, service] {
      FileKeyStore store(file);
      for (int i = 0; i < kCount; ++i) store.store({service, std::to_string(i)}, service + std::to_string(i), "label");
      for (int i = 1; i < kCount; i += 2) store.remove({service, std::to_string(i)});
    };
  };
  const Forked first(storeAll("one"));
  const Forked second(storeAll("two"));
  EXPECT_TRUE(first.succeeds());
  EXPECT_TRUE(second.succeeds());
  FileKeyStore store(file);
  for (const std::string service : {"one", "two"}) {
    for (int i = 0; i < kCount; ++i) {
      const auto expected = i % 2 == 0 ? std::optional(service + std::to_string(i)) : std::nullopt;
      EXPECT_EQ(store.read({service, std::to_string(i)}), expected);
    }
  }
}

}  // namespace
}  // namespace ravant::test
