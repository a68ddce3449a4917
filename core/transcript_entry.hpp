#pragma once

#include <optional>
#include <string>
#include <variant>

namespace ravant {

/// One step of a conversation as it is replayed to an agent that keeps no session of its own.
struct TranscriptEntry {
  struct User {
    std::string text;
    bool operator==(const User&) const = default;
  };
  struct Agent {
    std::string text;
    std::string rawJSON = {};
    bool operator==(const Agent&) const = default;
  };
  struct ToolInvocation {
    std::string callId;
    std::optional<std::string> name;
    std::optional<std::string> input;
    std::string output;
    bool failed;
    std::string rawJSON = {};
    bool operator==(const ToolInvocation&) const = default;
  };

  std::variant<User, Agent, ToolInvocation> step;

  bool operator==(const TranscriptEntry&) const = default;
};

}  // namespace ravant
