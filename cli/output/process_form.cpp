#include "cli/output/process_form.hpp"

#include "cli/output/terminal_text.hpp"
#include "platform/clock/clock.hpp"
#include "platform/clock/local_time.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kCommandColumns = 60;

Timestamp startOf(const LeftProcess& process) { return std::chrono::floor<Timestamp::duration>(process.startedAt); }

}  // namespace

json::object jsonForm(const LeftProcess& process) {
  json::object form{{"pid", process.identity.pid}, {"startedAt", iso8601(startOf(process))}};
  if (!process.folder.empty()) form.emplace("folder", repairUtf8(process.folder.string()));
  form.emplace("command", repairUtf8(process.command));
  form.emplace("processes", process.processes);
  return form;
}

std::string textForm(const std::vector<LeftProcess>& processes, const Style& style) {
  Table table({"PID", "STARTED", "PROCESSES", "FOLDER", "COMMAND"});
  for (const LeftProcess& process : processes) {
    table.add({std::to_string(process.identity.pid), localTime(startOf(process)), std::to_string(process.processes),
               shownPath(process.folder.string()), cutToWidth(oneLine(repairUtf8(process.command)), kCommandColumns)});
  }
  return table.text(style);
}

}  // namespace ravant::cli
