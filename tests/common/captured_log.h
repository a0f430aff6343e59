#pragma once

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>

#include "common/logging/record.h"
#include "tests/common/texts.h"

namespace Tests {

/// Collects the log records of all threads during its lifetime. Only one instance may exist at a time.
class CapturedLog {
public:
    CapturedLog() {
        boost::log::core::get()->add_sink(sink);
        Common::logging::SwitchCore(true);
        using enum Common::logging::Severity;
        Common::logging::SetForeignSeverities({trace, verbose, message, info, warning, error});
    }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;
    ~CapturedLog() {
        Common::logging::SetForeignSeverities({});
        boost::log::core::get()->remove_sink(sink);
    }

    /// The texts of the records collected so far whose severity has this name.
    Lines Of(const std::string& severity) const {
        const auto collector = sink->locked_backend();
        Lines texts;
        for (const auto& [name, text] : collector->records) {
            if (name == severity) {
                texts.push_back(text);
            }
        }
        return texts;
    }

private:
    struct Collector : boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
        void consume(const boost::log::record_view& record) {
            const auto severity = boost::log::extract<Common::logging::Severity>("Severity", record);
            records.emplace_back(ToString(severity.get()), boost::log::extract<std::string>("Message", record).get());
        }
        std::vector<std::pair<std::string, std::string>> records;
    };
    using Sink = boost::log::sinks::synchronous_sink<Collector>;
    const boost::shared_ptr<Sink> sink = boost::make_shared<Sink>();
};

}  // namespace Tests
