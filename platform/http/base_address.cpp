#include "platform/http/base_address.hpp"

#include <fmt/format.h>
#include <strings.h>

#include <memory>

#include "platform/http/libcurl.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

struct FreeUrl {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

class ParsedUrl {
 public:
  explicit ParsedUrl(const std::string& text) : url_(curl_url()) { follow(text); }

  /// To another address, from this one where it is relative.
  void follow(const std::string& text) {
    if (curl_url_set(url_.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) url_.reset();
  }

  bool isValid() const { return url_ != nullptr; }
  /// Empty where there is none.
  std::string part(CURLUPart part, unsigned flags = 0) const {
    char* text = nullptr;
    if (curl_url_get(url_.get(), part, &text, flags) != CURLUE_OK) return {};
    std::string copy(text);
    curl_free(text);
    return copy;
  }

 private:
  std::unique_ptr<CURLU, FreeUrl> url_;
};

bool isLoopbackHost(const std::string& host) {
  return ::strcasecmp(host.c_str(), "localhost") == 0 || host == "[::1]" ||
         (host.starts_with("127.") && host.find_first_not_of("0123456789.") == std::string::npos);
}

}  // namespace

std::string baseAddress(std::string_view text) {
  const auto refuse = [&](std::string_view reason) {
    // What stands before an @ or behind a ? can be a secret.
    const bool canHoldSecret = text.find_first_of("@?") != std::string_view::npos;
    const std::string subject = canHoldSecret ? "it" : fmt::format("\"{}\"", trimmed(text));
    return BaseAddressError(
        fmt::format("{} {}; an address has the form https://host or https://host:port", subject, reason));
  };
  const ParsedUrl url{std::string(trimmed(text))};
  if (!url.isValid()) throw refuse("is no address");
  const std::string scheme = url.part(CURLUPART_SCHEME);
  const std::string host = url.part(CURLUPART_HOST);
  if (scheme != "https" && scheme != "http") throw refuse("begins with neither https:// nor http://");
  if (!url.part(CURLUPART_USER).empty() || !url.part(CURLUPART_PASSWORD).empty()) {
    throw BaseAddressError("an address may not name a user or a password");
  }
  const std::string path = url.part(CURLUPART_PATH);
  if ((!path.empty() && path != "/") || !url.part(CURLUPART_QUERY).empty() || !url.part(CURLUPART_FRAGMENT).empty()) {
    throw refuse("has something behind the host");
  }
  if (scheme == "http" && !isLoopbackHost(host)) throw refuse("is not encrypted, which only a loopback address may be");
  const std::string port = url.part(CURLUPART_PORT);
  return fmt::format("{}://{}{}{}", scheme, host, port.empty() ? "" : ":", port);
}

bool isLoopback(const std::string& url) {
  const ParsedUrl parsed(url);
  return parsed.isValid() && isLoopbackHost(parsed.part(CURLUPART_HOST));
}

std::optional<std::string> originOf(const std::string& url) {
  const ParsedUrl parsed(url);
  if (!parsed.isValid() || !parsed.part(CURLUPART_USER).empty() || !parsed.part(CURLUPART_PASSWORD).empty()) {
    return std::nullopt;
  }
  const std::string host = lowerCase(parsed.part(CURLUPART_HOST));
  if (host.empty()) return std::nullopt;
  return fmt::format("{}://{}:{}", parsed.part(CURLUPART_SCHEME), host,
                     parsed.part(CURLUPART_PORT, CURLU_DEFAULT_PORT));
}

std::optional<std::string> resolvedAddress(const std::string& url, const std::string& reference) {
  ParsedUrl parsed(url);
  if (parsed.isValid()) parsed.follow(reference);
  return parsed.isValid() ? std::optional(parsed.part(CURLUPART_URL)) : std::nullopt;
}

}  // namespace ravant
