#include "platform/async/actor.hpp"

#include <boost/asio/bind_cancellation_slot.hpp>

namespace ravant {

// Asio's forwarding of a cancellation across executors is a use after free; the empty slot keeps it from that.
awaitable<void> Actor::spawn(Strand strand, std::move_only_function<awaitable<void>()> operation) {
  return asio::co_spawn(strand, std::move(operation),
                        asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

}  // namespace ravant
