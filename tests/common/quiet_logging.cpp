// For programs that test what logs: until somebody says what is wanted, every record would be made and printed.

#include "common/logging/logger_group.h"

namespace {

const bool prepared = [] {
    Common::logging::Prepare();
    return true;
}();

}  // namespace
