#include "tests/common/captured_log.h"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>

#include "common/logger.h"

namespace Tests {

namespace {

namespace sinks = boost::log::sinks;

struct Collector : sinks::basic_sink_backend<sinks::synchronized_feeding> {
    void consume(const boost::log::record_view& record) {
        const auto severity = boost::log::extract<Common::logging::Severity>("Severity", record);
        records.emplace_back(ToString(severity.get()), boost::log::extract<std::string>("Message", record).get());
    }
    std::vector<std::pair<std::string, std::string>> records;
};

boost::shared_ptr<sinks::synchronous_sink<Collector>> sink;

}  // namespace

CapturedLog::CapturedLog() {
    sink = boost::make_shared<sinks::synchronous_sink<Collector>>();
    boost::log::core::get()->add_sink(sink);
    boost::log::core::get()->set_logging_enabled(true);
    Common::logging::accepted_severities = 0x3F;
}

CapturedLog::~CapturedLog() {
    Common::logging::accepted_severities = 0;
    boost::log::core::get()->remove_sink(sink);
    sink.reset();
}

Lines CapturedLog::Of(const std::string& severity) const {
    const auto collector = sink->locked_backend();
    Lines texts;
    for (const auto& [name, text] : collector->records) {
        if (name == severity) {
            texts.push_back(text);
        }
    }
    return texts;
}

}  // namespace Tests
