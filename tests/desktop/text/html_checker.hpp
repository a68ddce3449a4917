#pragma once

#include <string>
#include <string_view>

#include "desktop/text/markdown_blocks.hpp"

namespace ravant::test {

/// What is wrong with `html`, which may have only the tags, links, entities and depth that are promised; empty where
/// nothing is.
std::string complaintAbout(std::string_view html);

/// What is wrong with one of the HTML texts of `blocks`, or with their fields.
std::string complaintAbout(const std::vector<desktop::MarkdownBlock>& blocks);

/// How many bytes there are in `blocks` to be kept and shown.
std::size_t weightOf(const std::vector<desktop::MarkdownBlock>& blocks);

/// What is copied of all `blocks`.
std::string sourcesOf(const std::vector<desktop::MarkdownBlock>& blocks);

}  // namespace ravant::test
