#include "tests/common/captured_log.h"

#include <mutex>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "common/logger.h"

namespace Tests {

namespace {

namespace sinks = boost::log::sinks;
using Common::logging::Severity;

struct Collector : sinks::basic_sink_backend<sinks::concurrent_feeding> {
    void consume(const boost::log::record_view& record) {
        const auto severity = boost::log::extract<Severity>("Severity", record);
        const auto text = boost::log::extract<std::string>("Message", record);
        const std::lock_guard lock(mutex);
        records.push_back(std::string(severity ? ToString(*severity) : "none") + ": " + (text ? *text : ""));
    }

    std::mutex mutex;
    std::vector<std::string> records;
};

boost::shared_ptr<Collector> collector;
boost::shared_ptr<sinks::synchronous_sink<Collector>> sink;

}  // namespace

CapturedLog::CapturedLog() {
    collector = boost::make_shared<Collector>();
    sink = boost::make_shared<sinks::synchronous_sink<Collector>>(collector);
    boost::log::core::get()->add_sink(sink);
    boost::log::core::get()->set_logging_enabled(true);
    Common::logging::accepted_severities = 0x3F;
}

CapturedLog::~CapturedLog() {
    Common::logging::accepted_severities = 0;
    boost::log::core::get()->remove_sink(sink);
    sink.reset();
    collector.reset();
}

std::vector<std::string> CapturedLog::Records() const {
    const std::lock_guard lock(collector->mutex);
    return collector->records;
}

std::vector<std::string> CapturedLog::Of(const std::string& severity) const {
    std::vector<std::string> texts;
    for (const auto& record : Records()) {
        if (record.starts_with(severity + ": ")) {
            texts.push_back(record.substr(severity.size() + 2));
        }
    }
    return texts;
}

}  // namespace Tests
