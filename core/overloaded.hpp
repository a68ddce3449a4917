#pragma once

namespace ravant {

/// Makes one visitor of a `std::variant` out of a function for each alternative.
template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};

}  // namespace ravant
