#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace ravant {

inline constexpr std::string_view kPublicGithubHost = "github.com";

/// A host name or address with an optional port, in small letters, without white space around it and without the port
/// 443, which every host has. The public host's other names are that host. Throws `GithubClientError` `invalidURL` for
/// anything else.
std::string checkedGithubHost(std::string_view text);

/// Where the two interfaces of hosts are. A host is always spoken to over https.
class GithubEndpoints {
 public:
  GithubEndpoints() = default;
  /// `publicBase` (scheme, host and port) stands in for the public host's interfaces, and for those only. Throws
  /// `BaseAddressError`; see `baseAddress`.
  explicit GithubEndpoints(std::string_view publicBase);
  /// The same of what the function returns or throws, whenever an interface of the public host is needed.
  explicit GithubEndpoints(std::function<std::string()> publicBase) : publicBase_(std::move(publicBase)) {}

  /// Of REST, without a slash at its end.
  std::string apiBase(std::string_view host) const;
  std::string graphqlBase(std::string_view host) const;

 private:
  std::function<std::string()> publicBase_ = [] { return std::string("https://api.github.com"); };
};

}  // namespace ravant
