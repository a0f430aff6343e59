#pragma once

// Includes the public headers of Common::logging and, through them, headers of Boost.Log. Code that only writes log
// records should include the much smaller common/logging/record.h instead.

#include "common/logging/boost_logger_wrapper.h"
#include "common/logging/logger_group.h"
#include "common/logging/record.h"
#include "common/logging/severity.h"
#include "common/logging/sink_options.h"
