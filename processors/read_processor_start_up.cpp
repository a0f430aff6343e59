// The functions of ReadProcessor that prepare the process before Run.

#include <cstdlib>
#include <iostream>

#include <boost/filesystem/operations.hpp>

#include "common/logger.h"
#include "common/version.h"
#include "processors/read_processor.h"

namespace Tavik {

namespace {

constexpr char kChannel[] = "read_processor";
constexpr char kVerboseChannel[] = "read_processor_verbose";
constexpr char kMaker[] = "by the Tavik developers. ";
constexpr char kSaveToInputPath[] = "INPUT_PATH";

}  // namespace

ReadProcessor& ReadProcessor::Initialise(int argc, char** argv, const std::string& data_path_override,
                                         const std::string& default_config) {
    default_config_name = default_config;
    Parse(nullptr, "", argc, argv, data_path_override);
    config_file_used = config;
    AnswerHelpAndVersion(argc > 0 ? argv[0] : "");

    Common::logging::Prepare();
    OnParametersParsed();
    if (status != 0) {
        ReportParameterErrors();
    }

    if (save_path == kSaveToInputPath) {
        save_path = input_path;
    }
    if (!save_path.empty() && !boost::filesystem::exists(save_path)) {
        boost::filesystem::create_directories(save_path);
    }
    SetUpLogging();
    return *this;
}

void ReadProcessor::AnswerHelpAndVersion(const std::string& program) {
    if ((status & Common::ParseStatus::VersionRequested) != 0) {
        std::cout << program << ", part of Tavik basecalling suite, " << kMaker << "Version " << Common::kVersion
                  << std::endl;
    }
    if ((status & Common::ParseStatus::HelpRequested) != 0) {
        std::cout << info_text << std::endl;
        std::exit(0);
    }
}

void ReadProcessor::ReportParameterErrors() {
    // After a version request, warnings and errors are not printed, but errors still end the process. This is
    // deliberate.
    if ((status & Common::ParseStatus::VersionRequested) == 0) {
        std::cout << info_text << '\n' << error_text << std::endl;
    }
    if (!error_text.empty()) {
        std::exit(-1);
    }
}

void ReadProcessor::SetUpLogging() {
    Common::logging::InitLogging(kChannel, kVerboseChannel, quiet, verbose_logs, trace_categories);
    Common::logging::LoggerGroup::Instance().SetFolder(save_path);
    log_reads = Common::logging::AcceptsDefaultSeverity();
}

}  // namespace Tavik
