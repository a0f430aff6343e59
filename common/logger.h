#pragma once

// All of Common::logging, Boost.Log's headers included. Code that only logs takes the much smaller
// common/logging/record.h.

#include "common/logging/boost_logger_wrapper.h"
#include "common/logging/logger_group.h"
#include "common/logging/record.h"
#include "common/logging/severity.h"
#include "common/logging/sink_options.h"
