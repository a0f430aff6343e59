// Linked to tests of code that logs. Otherwise every record would be built and printed until a test configures logging.

#include "common/logging/logger_group.h"

namespace {

const bool prepared = [] {
    Common::logging::Prepare();
    return true;
}();

}  // namespace
