#pragma once

#include <string_view>

namespace ravant {

/// Whether the address of a git remote is that of a repository, `owner/name`, at a host with a port perhaps: in any
/// form that git takes (git-fetch(1), "GIT URLS"), whatever the case of its letters.
bool isAddressOf(std::string_view url, std::string_view host, std::string_view repositoryName);

}  // namespace ravant
