#include "platform/async/executors.hpp"

namespace ravant {

Executors::~Executors() { join(); }

void Executors::join() {
  io_.join();
  work_.join();
}

}  // namespace ravant
