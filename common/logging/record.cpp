#include "common/logging/record.h"

#include <boost/log/attributes/attribute_value_impl.hpp>
#include <boost/log/sources/record_ostream.hpp>

#include "common/logging/boost_logger_wrapper.h"
#include "common/logging/logger_group.h"

namespace Common::logging {

Record::~Record() {
    try {
        auto& logger = GlobalLogger::get();
        auto record = logger.open_record((boost::log::keywords::channel = LoggerGroup::Instance().ChannelOf(severity),
                                          boost::log::keywords::severity = severity));
        if (!record) {
            return;
        }
        record.attribute_values().insert("Function", boost::log::attributes::make_attribute_value(function));
        boost::log::record_ostream stream(record);
        stream << text.str();
        stream.flush();
        logger.push_record(boost::move(record));
    } catch (...) {
        // The record is lost, for example if there is not enough memory, but the program continues.
    }
}

}  // namespace Common::logging
