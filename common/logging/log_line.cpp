#include "common/logging/log_line.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/log/attributes/current_thread_id.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/utility/value_ref.hpp>

namespace Common::logging {

namespace {

void WriteTimeStamp(const boost::log::record_view& record, boost::log::formatting_ostream& stream) {
    static const auto write = boost::log::expressions::stream
                              << boost::log::expressions::format_date_time<boost::posix_time::ptime>(
                                     "TimeStamp", "%Y-%m-%d %H:%M:%S.%f");
    write(record, stream);
}

}  // namespace

void FormatLogLine(const boost::log::record_view& record, const SinkOptions& options,
                   boost::log::formatting_ostream& stream) {
    if (options.show_time_stamp) {
        WriteTimeStamp(record, stream);
        stream << ' ';
    }
    if (options.show_channel) {
        stream << boost::log::extract<std::string>("Channel", record) << ' ';
    }
    if (options.show_origin) {
        stream << boost::log::extract<boost::log::attributes::current_thread_id::value_type>("ThreadID", record) << ' '
               << boost::log::extract<const char*>("Function", record) << ' ';
    }
    if (options.show_severity) {
        const auto severity = boost::log::extract<Severity>("Severity", record);
        stream << '[' << (severity ? ToString(*severity) : "unknown") << "] ";
    }
    stream << boost::log::extract<std::string>("Message", record);
}

}  // namespace Common::logging
