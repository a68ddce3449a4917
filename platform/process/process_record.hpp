#pragma once

#include <sys/types.h>

#include <chrono>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// A process for as long as the machine runs: a pid is used again, but not with the same start time.
struct ProcessIdentity {
  pid_t pid = 0;
  std::uint64_t startTime = 0;  ///< in clock ticks since boot: proc(5), stat, field 22

  auto operator<=>(const ProcessIdentity&) const = default;
};

/// What proc(5) says of a process.
struct ProcessRecord {
  ProcessIdentity identity;
  pid_t parent = 0;
  pid_t group = 0;
  pid_t session = 0;
  char state = 0;
  bool isZombie = false;  ///< nothing of it runs any more
};

/// The processes of the machine, one looked at after the other.
struct ProcessRecords {
  std::vector<ProcessRecord> records;
  /// One had gone when it was to be looked at. What it started meanwhile may not be among the records.
  bool hasLostOne = false;
};

/// These look at processes, with the reserve of descriptors where there is no other. They throw std::system_error where
/// the program or the machine lacks what it takes, so that what could not be read is never taken for what is not there.

/// Nothing when there is no such process. A zombie still has its record.
std::optional<ProcessRecord> processRecord(pid_t pid);
std::optional<ProcessIdentity> processIdentity(pid_t pid);
ProcessRecords processRecords();
/// The contents of a file in the process's folder; empty when the process has gone or does not show it to this user.
std::string processText(pid_t pid, std::string_view file);
/// A variable of the environment that the process was started with; empty where it has none or cannot be looked at.
std::string processVariable(pid_t pid, std::string_view name);
/// The same of the contents of a process's file "environ".
std::string_view variableOf(std::string_view environment, std::string_view name);

/// The present, as processes' start times are counted, and the time until it is the next tick.
std::uint64_t ticksSinceBoot();
std::chrono::nanoseconds restOfTick();
std::chrono::system_clock::time_point timeOfStart(const ProcessIdentity& process);

}  // namespace ravant
