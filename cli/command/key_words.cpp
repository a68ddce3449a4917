#include "cli/command/key_words.hpp"

#include <fmt/format.h>

#include "app/known_settings.hpp"
#include "app/services.hpp"

namespace ravant::cli {
namespace {

std::string_view beginningOf(KeyStoreError::Case kind) {
  switch (kind) {
    case KeyStoreError::Case::unavailable:
      return "the desktop's key store does not answer: ";
    case KeyStoreError::Case::locked:
      return "the desktop's key store is locked: ";
    case KeyStoreError::Case::failed:
      return "";
  }
  __builtin_unreachable();
}

std::string wayOut(KeyStoreError::Case kind) {
  switch (kind) {
    case KeyStoreError::Case::unavailable:
      return fmt::format(
          "; to keep keys in a file instead, readable by you only but not encrypted, run: ravant settings set {} {}",
          setting::kKeyStore, setting::kFile);
    case KeyStoreError::Case::locked:
      return "; unlock it and try again";
    case KeyStoreError::Case::failed:
      return "";
  }
  __builtin_unreachable();
}

}  // namespace

bool keepsKeysInFile(CommandContext& context) {
  return context.application().settings().text(setting::kKeyStore) == setting::kFile;
}

std::string whereStored(CommandContext& context, std::string_view secret) {
  if (!keepsKeysInFile(context)) return fmt::format("The {} is stored securely in your keychain.", secret);
  return fmt::format("The {} is stored in {}, which only you may read and which is not encrypted.", secret,
                     keyFile(context.locations).string());
}

std::string wordsWithWayOut(const std::exception& error) {
  if (const auto* fault = dynamic_cast<const KeyStoreError*>(&error)) {
    return fmt::format("{}{}{}", beginningOf(fault->kind()), fault->what(), wayOut(fault->kind()));
  }
  try {
    std::rethrow_if_nested(error);
  } catch (const KeyStoreError& reason) {
    return fmt::format("{}{}", error.what(), wayOut(reason.kind()));
  } catch (const std::exception&) {
    return error.what();
  }
  return error.what();
}

}  // namespace ravant::cli
