#include "checks/library_warnings.h"

#include <utility>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>

#include "common/logging/accepted_severities.h"

namespace Checks {

namespace {

struct Collector : boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
    void consume(const boost::log::record_view& record) {
        if (const auto text = boost::log::extract<std::string>("Message", record)) {
            texts.push_back(text.get());
        }
    }
    std::vector<std::string> texts;
};

}  // namespace

struct LibraryWarnings::Sink {
    using Frontend = boost::log::sinks::synchronous_sink<Collector>;
    const boost::shared_ptr<Frontend> frontend = boost::make_shared<Frontend>();
};

LibraryWarnings::LibraryWarnings() : sink(std::make_unique<Sink>()) {
    boost::log::core::get()->add_sink(sink->frontend);
    Common::logging::SwitchCore(true);
    Common::logging::SetForeignSeverities({Common::logging::Severity::warning, Common::logging::Severity::error});
}

LibraryWarnings::~LibraryWarnings() {
    Common::logging::SetForeignSeverities({});
    boost::log::core::get()->remove_sink(sink->frontend);
}

std::vector<std::string> LibraryWarnings::Take() {
    return std::exchange(sink->frontend->locked_backend()->texts, {});
}

}  // namespace Checks
