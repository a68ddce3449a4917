#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cli/output/output.hpp"
#include "core/store/search/search_reader.hpp"

namespace ravant::cli {

json::object jsonForm(const SearchHit& hit);

/// Two lines for each: where it is, and the snippet with what was found. `titles` has those of the conversations.
std::string hitsText(const std::vector<SearchHit>& hits, const std::map<ConversationId, std::string>& titles,
                     const Style& style);

/// A hit in a conversation of which `entry`, counted from 1, is its place among all `entries`.
struct NumberedHit {
  SearchHit hit;
  std::int64_t entry;
  std::int64_t entries;
};
/// The same, each with its number and how many entries there are from there on.
std::string hitsText(const std::vector<NumberedHit>& hits, const Style& style);

/// A snippet, harmless to a terminal, in which what was found stands out.
std::string snippetText(const SearchSnippet& snippet, const Style& style);

}  // namespace ravant::cli
