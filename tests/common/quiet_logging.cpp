// Linked into the tests and fuzz targets of code that logs. Without this file, every record would be built and printed
// until logging is configured.

#include "common/logging/logger_group.h"

namespace {

const bool prepared = [] {
    Common::logging::Prepare();
    return true;
}();

}  // namespace
