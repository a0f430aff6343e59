#include "live/options.h"

#include <cerrno>
#include <filesystem>
#include <iostream>
#include <system_error>

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>
#include <boost/program_options/variables_map.hpp>

#include "common/version.h"

namespace Live {

namespace po = boost::program_options;

namespace {

constexpr char kUsage[] =
    "Usage:\n\n  tavik_live -i READS -s OUT -a INDEX [options]\n\n"
    "Aligns the read files that a sequencer is writing to the folder READS, each as soon as\n"
    "it is complete. OUT always looks like the output of one run of tavik_aligner over the\n"
    "files so far. Call tavik_live again to continue an interrupted run.\n\n";

constexpr char kStatuses[] =
    "\nExit status: 0 if nothing was lost, 1 if something was lost or could not be written\n"
    "(standard error names it), 2 if the run cannot start or continue.\n";

// The aligner of the same build or package.
std::string AlignerBesideThisProgram() {
    std::error_code unknown;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", unknown);
    return (program.parent_path() / "tavik_aligner").string();
}

po::options_description Describe(Options& options, std::int64_t& allowed, double& idle) {
    po::options_description visible("Options");
    const auto number = [](auto* value, const char* name) { return po::value(value)->value_name(name); };
    visible.add_options()  //
        ("input_path,i", number(&options.reads, "READS"), "Folder that the sequencer writes to.")
        //
        ("save_path,s", number(&options.save_folder, "OUT"), "Folder for the output.")
        //
        ("align_ref,a", number(&options.reference, "INDEX"), "Index or reference file.")
        //
        ("min_coverage", number(&options.min_coverage, "SHARE"),
         "Minimum coverage to accept an alignment (default: 0.6).")  //
        ("worker_threads,t", number(&options.worker_threads, "N"), "Number of worker threads (default: 4).")
        //
        ("settle", number(&options.settle, "SECONDS"),
         "A file is complete only after this time without a change (default: 30).")  //
        ("interval", number(&options.interval, "SECONDS"), "Time between two scans of READS (default: 2).")
        //
        ("until-idle", number(&idle, "MINUTES"),
         "End after this time without a new or changed file (default: never).")  //
        ("until-file", number(&options.until_file, "NAME"),
         "End when a file of this name is in or below READS and all complete files are aligned.")  //
        ("allow-failed-reads", number(&allowed, "N"),
         "In each file, up to N reads may fail with an error in the log (default: 0).")  //
        ("aligner", number(&options.aligner, "PROGRAM"), "The program tavik_aligner (default: beside this one).")
        //
        ("quiet,z", po::bool_switch(&options.quiet), "Print nothing on standard output.")  //
        ("help,h", "Print this help and exit.")                                            //
        ("version,v", "Print the version and exit.");
    return visible;
}

void Check(const Options& options, const po::variables_map& values, std::int64_t allowed) {
    for (const auto* const name : {"input_path", "save_path", "align_ref"}) {
        if (values.count(name) == 0 || values[name].as<std::string>().empty()) {
            throw po::error(std::string("--") + name + " is needed");
        }
    }
    const auto check = [](bool holds, const std::string& text) {
        if (!holds) {
            throw po::error(text);
        }
    };
    constexpr double kLongest = 1e9;  // Excludes infinity; NaN fails every comparison.
    check(options.worker_threads > 0, "--worker_threads must be positive");
    check(options.settle >= 0 && options.settle <= kLongest, "--settle must be from 0 to 1e9");
    check(options.interval > 0 && options.interval <= kLongest, "--interval must be above 0 and at most 1e9");
    check(!options.until_idle || (*options.until_idle >= 0 && *options.until_idle <= kLongest),
          "--until-idle must be from 0 to 1e9");
    check(options.until_file.find('/') == std::string::npos, "--until-file must be a name without a folder");
    check(allowed >= 0, "--allow-failed-reads must not be negative");
    check(options.min_coverage >= 0 && options.min_coverage <= 1, "--min_coverage must be from 0 to 1");
}

}  // namespace

std::variant<Options, int> ParseOptions(int argc, const char* const* argv) {
    Options options;
    std::int64_t allowed = 0;
    double idle = 0;
    const auto visible = Describe(options, allowed, idle);
    po::variables_map values;
    try {
        const auto style = po::command_line_style::unix_style & ~po::command_line_style::allow_guessing;
        const po::positional_options_description none;
        po::store(po::command_line_parser(argc, argv).options(visible).positional(none).style(style).run(), values);
        po::notify(values);
        if (values.count("help") > 0) {
            errno = 0;
            std::cout << kUsage << visible << kStatuses << std::flush;
            if (!std::cout) {
                throw std::system_error(errno, std::generic_category(), "standard output");
            }
            return kNothingLost;
        }
        if (values.count("version") > 0) {
            std::cout << "tavik_live " << Common::kVersion << std::endl;
            return kNothingLost;
        }
        if (values.count("until-idle") > 0) {
            options.until_idle = idle;
        }
        Check(options, values, allowed);
    } catch (const po::error& error) {
        std::cerr << "tavik_live: " << error.what() << "\nTry tavik_live --help.\n";
        return kCannotRun;
    }
    options.allowed_failed_reads = static_cast<std::uint64_t>(allowed);
    if (options.aligner.empty()) {
        options.aligner = AlignerBesideThisProgram();
    }
    return options;
}

}  // namespace Live
