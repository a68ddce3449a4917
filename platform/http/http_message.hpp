#pragma once

#include <string>
#include <vector>

namespace ravant {

struct HttpHeader {
  std::string name;
  std::string value;  ///< without line breaks
};

struct HttpRequest {
  std::string method = "GET";
  std::string url;
  std::vector<HttpHeader> headers = {};
  std::string body = {};  ///< sent where it is not empty, or the method is POST
};

}  // namespace ravant
