#include <fmt/ranges.h>

#include "cli/command/command.hpp"
#include "cli/manual/help.hpp"
#include "cli/manual/manual.hpp"

namespace ravant::cli {
namespace {

/// Text that roff prints as it is.
std::string roff(std::string_view text) {
  std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string bold(std::string_view text) { return fmt::format("\\fB{}\\fR", roff(text)); }

std::string entry(std::string_view term, std::string_view text) {
  return fmt::format(".TP\n{}\n{}\n", term, roff(text));
}

std::string optionEntry(const OptionDescription& option) {
  std::string term =
      option.shortName.empty() ? bold(option.name) : fmt::format("{}, {}", bold(option.shortName), bold(option.name));
  if (!option.value.empty()) term += fmt::format(" \\fI{}\\fR", roff(option.value));
  std::string text = fmt::format("{}.", option.description);
  if (const auto words = knownWords(option.kind); !words.empty()) {
    text += fmt::format(" Known words: {}.", fmt::join(words, ", "));
  }
  return entry(term, text);
}

std::string paragraphs(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t end = text.find("\n\n");
    result += fmt::format(".PP\n{}\n", roff(text.substr(0, end)));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
  }
  return result;
}

std::string commandEntry(const CommandGroup& group, const Command& command) {
  std::string text = fmt::format(".SS \"{}\"\n{}\n.PP\n{}.\n", roff(fullName(&group, &command)),
                                 bold(usageLine(group, command)), roff(command.summary));
  text += paragraphs(command.description);
  for (const OptionDescription& option : command.options) text += optionEntry(option);
  return text;
}

constexpr std::string_view kWords = R"(.SH WORDS
.TP
\fIPROJECT\fR
A project's id, name or folder.
.TP
\fIAGENT\fR
An agent's id or type.
.TP
\fICONV\fR
A conversation's id, or an unambiguous prefix of it of at least 6 characters.
.TP
\fIACCOUNT\fR
An account of GitHub: its name and host (\fIUSERNAME\fR@\fIHOST\fR), its name where that is enough, or its id.
.TP
\fIWORKSPACE\fR
The URL key of a workspace of Linear, or its id.
.TP
\fIPIN\fR
The title of a pinned view, its id, or an unambiguous prefix of that of at least 6 characters.
)";

constexpr std::string_view kEnd = R"(.SH EXIT STATUS
.TP
0
Done.
.TP
1
The operation failed; standard error says why.
.TP
2
The command line is wrong.
.TP
130
Interrupted.
.SH ENVIRONMENT
.TP
\fBRAVANT_DATA_DIR\fR
The folder of the store, where \fB\-\-data\-dir\fR is not given.
.TP
\fBXDG_DATA_HOME\fR, \fBXDG_CONFIG_HOME\fR
Where the folders of data and settings are.
.TP
\fBRAVANT_GITHUB_URL\fR, \fBRAVANT_LINEAR_URL\fR
Addresses that stand in for those of GitHub's public host and of Linear, before \fBendpoints.github\fR and
\fBendpoints.linear\fR of the settings.
.TP
\fBNO_COLOR\fR
When it is set, no colours are used.
.TP
\fBSHELL\fR
The login shell that agents are started in.
.SH FILES
.TP
\fI~/.local/share/ravant\fR
The store and the log.
.TP
\fI~/.config/ravant/settings.json\fR
The settings, made to be edited by hand.
.SH EXAMPLES
.TP
Ask an agent about the current folder:
\fBravant run \-\-agent claude "What does this project do?"\fR
.TP
Go on where you were:
\fBravant run \-\-continue "And where are its tests?"\fR
.TP
Follow a run in a script:
\fBravant run \-\-json "Fix the build" | jq \-c .event\fR
)";

}  // namespace

std::string manPage() {
  std::string page = ".TH RAVANT 1 \"\" \"Ravant " RAVANT_VERSION
                     "\" \"User Commands\"\n"
                     ".SH NAME\nravant \\- a workbench for coding agents\n"
                     ".SH SYNOPSIS\n.B ravant\n\\fICOMMAND\\fR [\\fIOPTION\\fR]... [\\fIARGUMENT\\fR]...\n"
                     ".SH DESCRIPTION\n"
                     "Ravant hands prompts to coding agents that work in your project folders, and keeps what they say "
                     "and do as transcripts.\n"
                     ".SH COMMANDS\n";
  for (const CommandGroup& group : commandGroups()) {
    for (const Command& command : group.commands) page += commandEntry(group, command);
  }
  page += ".SH OPTIONS\nEvery command takes these.\n";
  for (const OptionDescription& option : commonOptions()) page += optionEntry(option);
  return page.append(kWords).append(kEnd);
}

}  // namespace ravant::cli
