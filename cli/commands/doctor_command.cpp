#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "app/doctor.hpp"
#include "cli/command/command.hpp"
#include "cli/output/process_form.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/clock/local_time.hpp"

namespace ravant::cli {
namespace {

constexpr std::chrono::seconds kTellInterval{5};

json::array agentForms(const Findings& findings) {
  json::array forms;
  for (const AgentType type : kAgentTypes) {
    if (type == AgentType::ravant) continue;
    json::object form{{"type", rawValue(type)}, {"displayName", displayName(type)}};
    const auto located = std::ranges::find(findings.agents, type, &LocatedAgent::type);
    if (located != findings.agents.end()) {
      form.emplace("path", located->path);
      if (!located->version.empty()) form.emplace("version", located->version);
    }
    forms.push_back(std::move(form));
  }
  return forms;
}

json::array backupForms(const std::vector<StoreBackup>& backups) {
  json::array forms;
  for (const StoreBackup& backup : backups) {
    json::object form{{"path", backup.file.string()}, {"madeAt", iso8601(backup.madeAt)}, {"version", backup.version}};
    if (backup.fault) form.emplace("fault", *backup.fault);
    forms.push_back(std::move(form));
  }
  return forms;
}

json::object storeForm(const StoreFindings& store) {
  json::object form{{"path", store.file.string()}};
  if (store.bytes) form.emplace("bytes", *store.bytes);
  if (store.version) form.emplace("version", *store.version);
  if (store.integrity) form.emplace("integrity", *store.integrity);
  if (store.unindexed) form.emplace("unindexed", *store.unindexed);
  if (store.outdated) form.emplace("outdated", *store.outdated);
  if (!store.backups.empty()) form.emplace("backups", backupForms(store.backups));
  form.emplace("leftovers", store.leftovers);
  return form;
}

json::object keyStoreForm(const Findings& findings) {
  json::array keys;
  for (const auto& [provider, source] : findings.keys) {
    json::object& key = keys.emplace_back(json::object{{"provider", provider}}).get_object();
    if (!source.empty()) key.emplace("source", source);
  }
  json::object form{{"kind", findings.keyStore}, {"keys", std::move(keys)}};
  if (!findings.keyStoreFault.empty()) form.emplace("fault", findings.keyStoreFault);
  return form;
}

json::object jsonForm(const Findings& findings) {
  json::object shell{{"path", findings.shell.path}};
  if (!findings.shell.reason.empty()) shell.emplace("reason", findings.shell.reason);
  json::object git;
  if (!findings.gitSearchPath.empty()) git.emplace("searchPath", findings.gitSearchPath);
  if (findings.git) {
    git.emplace("path", findings.git->path);
    git.emplace("version", findings.git->version);
  }
  json::array processes;
  for (const LeftProcess& process : findings.processes) processes.push_back(cli::jsonForm(process));
  json::array problems;
  for (const auto& [what, remedy] : findings.problems) problems.push_back({{"what", what}, {"remedy", remedy}});
  return {{"shell", std::move(shell)},          {"searchPath", findings.searchPath},
          {"agents", agentForms(findings)},     {"git", std::move(git)},
          {"keyStore", keyStoreForm(findings)}, {"settings", {{"path", findings.settingsFile.string()}}},
          {"store", storeForm(findings.store)}, {"processes", std::move(processes)},
          {"problems", std::move(problems)}};
}

std::string storeWords(const StoreFindings& store) {
  std::string words = store.file.string();
  if (store.bytes) words += fmt::format(", {} KiB", (*store.bytes + 1023) / 1024);
  if (store.version) words += fmt::format(", version {}", *store.version);
  if (store.integrity) words += fmt::format(", {}", *store.integrity);
  return words;
}

void showText(Output& output, const Findings& findings) {
  Table table({"WHAT", "FOUND", "VERSION"});
  table.add({"Login shell", findings.shell.path, findings.shell.reason});
  table.add({"Search path", findings.searchPath, ""});
  for (const AgentType type : kAgentTypes) {
    if (type == AgentType::ravant) continue;
    const auto located = std::ranges::find(findings.agents, type, &LocatedAgent::type);
    const bool isFound = located != findings.agents.end();
    table.add({std::string(displayName(type)), isFound ? located->path : "not found in the search path",
               isFound ? located->version : ""});
    for (const Agent& agent : findings.registered) {
      const bool isAnother =
          agent.type == type && agent.path.contains('/') && !(isFound && located->path == agent.path);
      if (isAnother)
        table.add({fmt::format("  registered, {}", agent.enabled ? "enabled" : "disabled"), agent.path, ""});
    }
  }
  if (findings.gitSearchPath != findings.searchPath) table.add({"Search path of git", findings.gitSearchPath, ""});
  table.add({"git", findings.git ? findings.git->path : "not found", findings.git ? findings.git->version : ""});
  table.add({"Key store", findings.keyStoreFault.empty() ? findings.keyStore : findings.keyStore + ", does not answer",
             findings.keyStoreFault});
  for (const auto& [provider, source] : findings.keys) {
    table.add({fmt::format("Key of {}", provider), source.empty() ? "none" : source, ""});
  }
  table.add({"Settings", findings.settingsFile.string(), ""});
  table.add({"Store", storeWords(findings.store), ""});
  for (const StoreBackup& backup : findings.store.backups) {
    table.add({fmt::format("Backup of {}", localTime(backup.madeAt)),
               fmt::format("{}, {}", backup.file.string(), backup.fault.value_or("no fault was found")),
               fmt::format("version {}", backup.version)});
  }
  if (const auto& unindexed = findings.store.unindexed) {
    std::string words = *unindexed == 0 ? "current" : fmt::format("lacks about {} entries", *unindexed);
    if (const std::int64_t outdated = findings.store.outdated.value_or(0); outdated > 0) {
      words += fmt::format("; has words of {} that are gone or changed (ravant doctor --rebuild-index)", outdated);
    }
    table.add({"Search index", words, ""});
  }
  output.write(table.text(output.style()));
  if (findings.store.leftovers > 0) {
    output.line(fmt::format("\nKilled programs of Ravant whose leftovers were ended: {}.", findings.store.leftovers));
  }
  if (!findings.processes.empty()) {
    output.line("\nStill running from earlier prompts (end one with: ravant process end PID):");
    output.write(textForm(findings.processes, output.style()));
  }
  output.line(findings.problems.empty() ? "\n" + output.style().good("✓ No problem was found.") : "");
  for (const auto& [what, remedy] : findings.problems) {
    output.line(output.style().bad("✗ " + oneLine(what)));
    output.line("  " + oneLine(remedy));
  }
}

awaitable<ExitStatus> rebuildIndex(CommandContext& context) {
  auto told = std::chrono::steady_clock::now();
  const std::int64_t entries = co_await Doctor(context.locations).rebuildSearchIndex([&](std::int64_t left) {
    const auto now = std::chrono::steady_clock::now();
    if (now - told < kTellInterval) return;
    told = now;
    context.note(fmt::format("About {} entries are left.", left));
  });
  if (context.wantsJson()) {
    context.output.json(json::object{{"entries", entries}});
  } else {
    context.output.line(fmt::format("The search index was made anew, of {} entries.", entries));
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> restoreStore(CommandContext& context, const std::string& backup) {
  const RestoredStore restored = co_await Doctor(context.locations).restoreStore(backup);
  if (context.wantsJson()) {
    json::object form{{"restored", backup}};
    if (restored.setAside) form.emplace("setAside", restored.setAside->string());
    context.output.json(form);
    co_return ExitStatus::done;
  }
  context.output.line(fmt::format("The store is that of {}.", oneLine(backup)));
  if (restored.setAside) {
    context.output.line(fmt::format("The one before is kept as {}.", oneLine(restored.setAside->string())));
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> run(CommandContext& context, Arguments arguments) {
  if (const auto backup = arguments.optional("--restore")) co_return co_await restoreStore(context, *backup);
  if (arguments.has("--rebuild-index")) co_return co_await rebuildIndex(context);
  const Findings findings = co_await Doctor(context.locations).examine();
  if (context.wantsJson()) {
    context.output.json(jsonForm(findings));
  } else {
    showText(context.output, findings);
  }
  co_return findings.problems.empty() ? ExitStatus::done : ExitStatus::failed;
}

}  // namespace

Command doctorCommand() {
  return {
      .name = "doctor",
      .summary = "Look for what is wrong on this machine, and say how to mend it",
      .description =
          "Looks at the login shell, the search paths that agents and git commands get, the installed agents, git, "
          "the keys, the "
          "settings and the whole store, and at what agents started that still runs. Exits with 1 when something "
          "is wrong.",
      .options = {{.name = "--rebuild-index", .description = "Only fill the search index from nothing"},
                  {.name = "--restore",
                   .value = "BACKUP",
                   .description = "Only put a checked copy of that file in the store's place, and keep the store that "
                                  "was there under another name",
                   .kind = ValueKind::file}},
      .needs = Needs::nothing,
      .run = run};
}

}  // namespace ravant::cli
