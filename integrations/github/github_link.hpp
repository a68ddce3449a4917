#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ravant {

/// The reference of the entry with rel="next" in the field Link (RFC 8288).
std::optional<std::string> nextPageURL(std::string_view link);

/// Where a reference in the answer to a request of `url` leads. Throws `GithubClientError` `transport`, without the
/// token, where that is not the same scheme, host and port, or has the token in it: addresses are logged.
std::string urlOnSameHost(const std::string& url, const std::string& reference, std::string_view token);

/// As one part of a path, whatever characters it has. Throws `GithubClientError` `invalidURL` for what cannot be one.
std::string pathSegment(std::string_view text);

}  // namespace ravant
