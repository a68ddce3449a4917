#pragma once

#include <chrono>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/json/json.hpp"

namespace ravant {

/// Readings that the lines of several agents have in common.

/// The member when it is a text, otherwise an empty text.
std::string textAt(const json::object& object, std::string_view key);
std::optional<std::string> optionalTextAt(const json::object& object, std::string_view key);
/// The first of the members that is a text.
std::optional<std::string_view> firstText(const json::object& object, std::initializer_list<std::string_view> keys);

/// A content that is a text, or an array of blocks with texts, which are joined by line breaks.
std::string contentText(const json::value* content);

/// A wait in milliseconds; nothing where it is none that anybody would keep.
std::optional<std::chrono::milliseconds> waitAt(const json::object& object, std::string_view key);

/// Why a model is asked again: what failed, and the attempt where the members of these names tell it.
std::string retryReason(std::string error, const json::object& object, std::string_view attemptKey,
                        std::string_view mostAttemptsKey);

}  // namespace ravant
