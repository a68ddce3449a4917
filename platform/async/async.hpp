#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace ravant {

namespace asio = boost::asio;
using asio::any_io_executor;
using asio::awaitable;
using asio::use_awaitable;

}  // namespace ravant
