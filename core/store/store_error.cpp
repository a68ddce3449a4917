#include "core/store/store_error.hpp"

#include <fmt/format.h>

namespace ravant {
namespace {

std::string describe(StoreError::Case kind, const std::string& store, const std::string& detail) {
  using enum StoreError::Case;
  switch (kind) {
    case folderUnusable:
      return fmt::format("the data folder of {} cannot be used: {}", store, detail);
    case notAStore:
      return fmt::format("{} is not a Ravant store; move it away or choose another data folder", store);
    case newerVersion:
      return fmt::format("{} was written by a newer Ravant ({}); update Ravant or choose another data folder", store,
                         detail);
    case upgradeBlocked:
      return fmt::format("{} must be upgraded, but another Ravant is using it; end that one and try again", store);
    case notUpgraded:
      return fmt::format(
          "{} was written by an older Ravant and could not be upgraded, it is as it was ({}); make room and its folder "
          "writable, and try again",
          store, detail);
    case notRestored:
      return fmt::format("nothing was restored, {} is as it was: {}", store, detail);
    case damaged:
      return fmt::format("{} is damaged ({}); \"ravant doctor --restore COPY\" puts a copy in its place, and keeps it",
                         store, detail);
    case searchIndexDamaged:
      return fmt::format("the search index in {} is damaged ({}); \"ravant doctor --rebuild-index\" makes it anew",
                         store, detail);
    case replaced:
      return fmt::format("{} was moved, removed or replaced while it was in use; nothing more is written", store);
    case full:
      return fmt::format(
          "{} could not be written, the disk is full; nothing that was stored is lost; make room and try again ({})",
          store, detail);
    case readOnly:
      return fmt::format("{} can only be read ({}); make room and its folder writable, or choose another data folder",
                         store, detail);
    case tooLarge:
      return fmt::format("an entry is too large for {}, and nothing before it is lost ({})", store, detail);
    case busy:
      return fmt::format("{} is kept busy by another program: {}", store, detail);
    case other:
      return fmt::format("{}: {}", store, detail);
  }
  __builtin_unreachable();
}

StoreError::Case kindOf(sqlite::Error::Case reason) {
  switch (reason) {
    case sqlite::Error::Case::busy:
      return StoreError::Case::busy;
    case sqlite::Error::Case::full:
      return StoreError::Case::full;
    case sqlite::Error::Case::readOnly:
      return StoreError::Case::readOnly;
    case sqlite::Error::Case::tooLarge:
      return StoreError::Case::tooLarge;
    case sqlite::Error::Case::corrupt:
      return StoreError::Case::damaged;
    case sqlite::Error::Case::corruptVirtualTable:
      return StoreError::Case::searchIndexDamaged;
    case sqlite::Error::Case::notADatabase:
      return StoreError::Case::notAStore;
    case sqlite::Error::Case::cannotOpen:
      return StoreError::Case::folderUnusable;
    case sqlite::Error::Case::constraint:
    case sqlite::Error::Case::interrupted:
    case sqlite::Error::Case::ioError:
    case sqlite::Error::Case::other:
      return StoreError::Case::other;
  }
  __builtin_unreachable();
}

}  // namespace

StoreError::StoreError(Case kind, const std::filesystem::path& store, const std::string& detail)
    : std::runtime_error(describe(kind, store.string(), detail)), kind_(kind) {}

StoreError StoreError::from(const sqlite::Error& error, const std::filesystem::path& store) {
  return {kindOf(error.reason()), store, error.what()};
}

}  // namespace ravant
