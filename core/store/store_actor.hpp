#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "core/store/model_container.hpp"
#include "core/store/store_error.hpp"
#include "platform/async/actor.hpp"

namespace ravant {

/// An actor with a connection of its own to the store. `Operations` does the work, one call after
/// another, and is complete where the actor's constructor and destructor are defined.
template <class Operations>
class StoreActor : public Actor {
 protected:
  explicit StoreActor(std::shared_ptr<ModelContainer> modelContainer)
      : Actor(modelContainer->work()), modelContainer_(std::move(modelContainer)) {}

  /// Runs `body(Operations&)` on the strand. The connection is opened by the first operation, so
  /// that a store that cannot be opened is an error of that operation.
  template <class Body>
  auto perform(Body body) {
    return onActor([this, body = std::move(body)]() mutable -> awaitable<std::invoke_result_t<Body, Operations&>> {
      if (!operations_) open();
      co_return body(*operations_);
    });
  }

 private:
  void open() {
    try {
      operations_ = std::make_unique<Operations>(modelContainer_);
    } catch (const sqlite::Error& error) {
      throw StoreError::from(error, modelContainer_->file());
    }
  }

  std::shared_ptr<ModelContainer> modelContainer_;
  std::unique_ptr<Operations> operations_;
};

}  // namespace ravant
