#pragma once

#include <sys/types.h>

#include <cerrno>

#include "platform/process/unique_fd.hpp"

namespace ravant {

/// Raises this program's soft limit of descriptors to the hard one; children get the earlier limit back, for programs
/// that use select(2) or close every descriptor they may have cannot live with a large one. Called first in `main`.
void useAllDescriptors();

/// Gives a child the limit back that this program was started with.
void restoreDescriptorLimit(pid_t child);

/// A few descriptors put by, for what has to work when the program or the machine has none left: to look at processes
/// and end them. Usable from any thread.
namespace descriptor_reserve {

/// Takes what is missing, as far as there is any.
void fill();
/// Lets one go; false when there is none.
bool release();

}  // namespace descriptor_reserve

/// What `open` returns, which opens a descriptor that is closed again soon; the reserve is used for it where there is
/// no other. Without a descriptor, `errno` says why.
template <class Open>
UniqueFd openFromReserve(Open open) {
  descriptor_reserve::fill();
  UniqueFd descriptor(open());
  while (!descriptor && (errno == EMFILE || errno == ENFILE) && descriptor_reserve::release()) {
    descriptor.reset(open());
  }
  return descriptor;
}

}  // namespace ravant
