// For tests of code that logs: without this, every record would be made and printed until a test configures logging.

#include "common/logging/logger_group.h"

namespace {

const bool prepared = [] {
    Common::logging::Prepare();
    return true;
}();

}  // namespace
