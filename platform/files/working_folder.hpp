#pragma once

#include <filesystem>
#include <stdexcept>

namespace ravant {

/// A folder that cannot be worked in; `what()` says why and what can be done.
class WorkingFolderError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Throws `WorkingFolderError` where programs cannot be started in the folder.
void expectFolder(const std::filesystem::path& folder);

}  // namespace ravant
