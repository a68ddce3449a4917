#pragma once

#include <string_view>
#include <vector>

#include "platform/settings/settings_file.hpp"

namespace ravant {

namespace setting {
inline constexpr std::string_view kShellStartSeconds = "shell.startSeconds";
inline constexpr std::string_view kHttpStallSeconds = "http.stallSeconds";
/// Whether Claude Code is told that this machine is a sandbox, without which it does not run as root.
inline constexpr std::string_view kClaudeAsRoot = "claude.asRoot";
/// Where secrets are kept; the choices are the two below.
inline constexpr std::string_view kKeyStore = "keyStore";
inline constexpr std::string_view kSecretService = "secretService";
inline constexpr std::string_view kFile = "file";
/// Before the name of a service.
inline constexpr std::string_view kEndpoints = "endpoints.";
}  // namespace setting

/// Every setting that this program knows.
std::vector<SettingDescription> knownSettings();

}  // namespace ravant
