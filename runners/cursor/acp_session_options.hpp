#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runners/cursor/acp_wire.hpp"

namespace ravant {

/// What an agent lets be chosen for a session, and what was chosen.
class AcpSessionOptions {
 public:
  /// Whether the agent offers the option, or only might know it.
  enum class Offer { made, unknown };
  struct Choice {
    std::string id;
    std::string value;
    Offer offer = Offer::made;
    bool operator==(const Choice&) const = default;
  };

  /// As last told by the agent.
  void take(std::vector<acp::ConfigOption> told) { options_ = std::move(told); }
  void noteSet(const Choice& choice) { chosen_.insert_or_assign(choice.id, choice.value); }

  /// What is to be set for the model, or for the effort, that is asked for; nothing where it is set already, where the
  /// agent is to choose, or where it does not offer such an effort.
  std::optional<Choice> forModel(std::string_view model) const;
  std::optional<Choice> forEffort(std::string_view effort) const;

 private:
  std::optional<Choice> unlessSet(Choice choice) const;

  std::vector<acp::ConfigOption> options_;
  std::map<std::string, std::string> chosen_;  ///< by their ids
};

}  // namespace ravant
