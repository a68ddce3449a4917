#include "platform/keystore/file_key_store.hpp"

#include <fmt/format.h>

#include "platform/files/private_file.hpp"

namespace ravant {
namespace {

using Case = KeyStoreError::Case;

KeyStoreError describe(const std::filesystem::filesystem_error& error) {
  return {Case::failed, fmt::format("{}: {}", error.path1().string(), error.code().message())};
}

bool isReadableByOthers(const std::filesystem::path& file) {
  constexpr auto kOthers = std::filesystem::perms::group_all | std::filesystem::perms::others_all;
  std::error_code missing;
  const auto permissions = std::filesystem::status(file, missing).permissions();
  return !missing && permissions != std::filesystem::perms::unknown &&
         (permissions & kOthers) != std::filesystem::perms::none;
}

}  // namespace

std::optional<std::string> FileKeyStore::read(const KeyName& name, std::stop_token /*stop*/) try {
  const json::object secrets = load();
  const json::object* accounts = objectAt(secrets, name.service);
  const auto secret = accounts ? stringAt(*accounts, name.account) : std::nullopt;
  return secret ? std::optional<std::string>(*secret) : std::nullopt;
} catch (const std::filesystem::filesystem_error& error) {
  throw describe(error);
}

void FileKeyStore::store(const KeyName& name, const std::string& secret, const std::string& /*label*/) {
  rewrite([&](json::object& secrets) {
    json::value& accounts = secrets[name.service];
    if (accounts.is_null()) accounts.emplace_object();
    if (!asObject(&accounts)) {
      throw KeyStoreError(Case::failed, fmt::format("{} is not what was written there; move it away", file_.string()));
    }
    accounts.get_object().insert_or_assign(name.account, secret);
    return true;
  });
}

bool FileKeyStore::remove(const KeyName& name) {
  return rewrite([&](json::object& secrets) {
    json::value& accounts = secrets[name.service];
    return asObject(&accounts) && accounts.get_object().erase(name.account) > 0;
  });
}

json::object FileKeyStore::load() const {
  if (isReadableByOthers(file_)) {
    throw KeyStoreError(Case::failed, fmt::format("other users may read {0}; run: chmod 600 '{0}'", file_.string()));
  }
  const auto contents = readFile(file_);
  if (!contents) return {};
  auto secrets = parseJson(*contents);
  if (!secrets || !asObject(&*secrets)) {
    throw KeyStoreError(Case::failed, fmt::format("{} is not what was written there; move it away", file_.string()));
  }
  return std::move(secrets->get_object());
}

bool FileKeyStore::rewrite(const std::function<bool(json::object& secrets)>& change) try {
  makePrivateFolder(std::filesystem::absolute(file_).parent_path());
  const UniqueFd lock = lockBeside(file_);
  json::object secrets = load();
  const bool isChanged = change(secrets);
  if (isChanged) replaceFile(file_, prettyJson(secrets));
  return isChanged;
} catch (const std::filesystem::filesystem_error& error) {
  throw describe(error);
}

}  // namespace ravant
