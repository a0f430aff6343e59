// Acts as a program that embeds the libraries: it includes only one of their headers and has its own sink in
// Boost.Log.
#include "common/logger.h"

#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/make_shared.hpp>

#include "tests/common/temporary_folder.h"
#include "tests/common/texts.h"

namespace {

namespace logging = Common::logging;
using logging::Severity;

// Logs one record of each severity and returns the initials of the severities whose records reach the stream.
std::string Arrived(std::ostringstream& stream) {
    stream.str("");
    TAVIK_LOG(trace) << "t";
    TAVIK_LOG(verbose) << "v";
    TAVIK_LOG(message) << "m";
    TAVIK_LOG(info) << "i";
    TAVIK_LOG(warning) << "w";
    TAVIK_LOG(error) << "e";
    std::string texts;
    for (const auto& line : Tests::LinesOf(stream.str())) {
        texts += line;
    }
    return texts;
}

TEST(Embedding, ForeignSinksReceiveWhatTheCoresFilterAndTheProgramAccept) {
    const auto core = boost::log::core::get();
    std::ostringstream stream;
    const auto backend = boost::make_shared<boost::log::sinks::text_ostream_backend>();
    backend->add_stream(boost::shared_ptr<std::ostream>(&stream, logging::null_deleter()));
    const auto sink =
        boost::make_shared<boost::log::sinks::synchronous_sink<boost::log::sinks::text_ostream_backend>>(backend);
    core->add_sink(sink);
    EXPECT_EQ(Arrived(stream), "tvmiwe");
    { logging::LoggerGroup other("o", "o_verbose"); }
    core->set_filter(boost::log::expressions::attr<Severity>("Severity") >= Severity::info);
    EXPECT_EQ(Arrived(stream), "iwe");
    core->reset_filter();

    logging::Prepare();
    EXPECT_EQ(Arrived(stream), "") << "Prepare switches logging off, also for foreign sinks";
    const Tests::TemporaryFolder folder;
    logging::InitLogging("c", "c_verbose", true, false, "");
    logging::LoggerGroup::Instance().updateFileSink(logging::Loggers::main_file, "", "c", {});
    testing::internal::CaptureStderr();
    EXPECT_EQ(Arrived(stream), "we") << "the severities of the error console";
    logging::SetForeignSeverities({Severity::trace, Severity::info});
    EXPECT_EQ(Arrived(stream), "tiwe");

    {
        logging::LoggerGroup other("o", "o_verbose");
        logging::SinkOptions options;
        options.enabled = true;
        options.severities = {Severity::verbose};
        options.show_channel = true;
        options.show_time_stamp = false;
        other.updateFileSink(logging::Loggers::main_file, folder.Path("new/folder"), "o", std::move(options));
        EXPECT_EQ(Arrived(stream), "tviwe");
    }
    for (const auto& file : std::filesystem::directory_iterator(folder.Path("new/folder"))) {
        EXPECT_EQ(Tests::ReadLines(file.path()), Tests::Lines{"c_verbose [verbose] v"});
    }
    EXPECT_EQ(Arrived(stream), "tiwe") << "the end of the second group removes only that group's severity";
    logging::SetForeignSeverities({});
    logging::InitLogging("c", "c_verbose", false, false, "");
    logging::LoggerGroup::Instance().SetFolder(folder.Path("new"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(Arrived(stream), "miwe");
    EXPECT_EQ(Tests::LinesOf(testing::internal::GetCapturedStdout()).size(), 1U);
    EXPECT_EQ(Tests::LinesOf(testing::internal::GetCapturedStderr()).size(), 5 * 2U);

    core->remove_sink(sink);
    static_assert(std::is_same_v<decltype(logging::GlobalLogger::get()), logging::BoostLoggerWrapper&>);
}

}  // namespace
