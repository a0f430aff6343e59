#pragma once

#include <boost/log/core/record_view.hpp>
#include <boost/log/utility/formatting_ostream.hpp>

#include "common/logging/sink_options.h"

namespace Common::logging {

/// Writes one record as a line, without a line feed:
/// "<date> <time> <channel> <thread> <function> [<severity>] <text>", where `options` selects the fields before the
/// text. Severity and text are next to each other, because people look for them first.
void FormatLogLine(const boost::log::record_view& record, const SinkOptions& options,
                   boost::log::formatting_ostream& stream);

}  // namespace Common::logging
