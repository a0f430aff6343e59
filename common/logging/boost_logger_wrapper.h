#pragma once

#include <string>

#include <boost/log/sources/global_logger_storage.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>

#include "common/logging/severity.h"

namespace Common::logging {

/// The logger type: a Boost.Log source with severity and channel. Thread-safe.
using BoostLoggerWrapper = boost::log::sources::severity_channel_logger_mt<Severity, std::string>;

/// The one logger that every component shares. Boost.Log's global storage owns it.
BOOST_LOG_INLINE_GLOBAL_LOGGER_CTOR_ARGS(
    GlobalLogger, BoostLoggerWrapper,
    ((boost::log::keywords::severity = Severity::verbose))((boost::log::keywords::channel = "core")))

}  // namespace Common::logging
