#pragma once

// What nearly every source of the desktop program includes.
#include <fmt/format.h>

#include <QAbstractListModel>
#include <QColor>
#include <QCoreApplication>
#include <QObject>
#include <QQmlEngine>
#include <QQuickItem>
#include <QString>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/application.hpp"
