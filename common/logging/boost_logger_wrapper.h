#pragma once

#include <string>

#include <boost/log/sources/global_logger_storage.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>

#include "common/logging/severity.h"

namespace Common::logging {

/// The type of the loggers: with severity and channel, safe for several threads.
using BoostLoggerWrapper = boost::log::sources::severity_channel_logger_mt<Severity, std::string>;

/// The one instance that serves every component, in Boost.Log's own storage of global loggers.
BOOST_LOG_INLINE_GLOBAL_LOGGER_CTOR_ARGS(
    GlobalLogger, BoostLoggerWrapper,
    ((boost::log::keywords::severity = Severity::verbose))((boost::log::keywords::channel = "core")))

}  // namespace Common::logging
