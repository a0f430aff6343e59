#pragma once

#include <boost/log/core/record_view.hpp>
#include <boost/log/utility/formatting_ostream.hpp>

#include "common/logging/sink_options.h"

namespace Common::logging {

/// Writes one record as a line, without a line feed:
/// "<date> <time> <channel> <thread> <function> [<severity>] <text>", of which `options` chooses the fields
/// in front of the text. The order keeps the severity and the text together at the end, where people look.
void FormatLogLine(const boost::log::record_view& record, const SinkOptions& options,
                   boost::log::formatting_ostream& stream);

}  // namespace Common::logging
