#include "platform/keystore/private_memory.hpp"

#include <sys/prctl.h>

#include <cerrno>
#include <cstring>

#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.platform", "PrivateMemory");

}  // namespace

void keepMemoryPrivate() {
  // An attribute of the program's memory, so that it ends with the next exec; what is not dumpable leaves no core,
  // whatever its limit is (prctl(2), core(5)).
  if (::prctl(PR_SET_DUMPABLE, 0) != 0) kLog.error("the memory is not kept private: {}", std::strerror(errno));
}

}  // namespace ravant
