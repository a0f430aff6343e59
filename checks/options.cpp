#include "checks/options.h"

#include <cerrno>
#include <iostream>
#include <system_error>

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>
#include <boost/program_options/variables_map.hpp>

namespace Checks {

namespace po = boost::program_options;

namespace {

constexpr char kUsage[] =
    "Usage:\n\n  tavik_check [options] <input> <save folder>\n\n"
    "Checks whether a run of tavik_aligner lost a file or a read, and whether its output\n"
    "files agree with the input and with each other.\n\n"
    "<input> is what the run read: the input folder, a file with the list of read files,\n"
    "or - for a list on standard input.\n\n";

constexpr char kStatuses[] =
    "\nExit status: 0 if nothing was lost; 1 if something was lost or altered, with one line for\n"
    "each finding; 2 for wrong usage, an input folder or list that cannot be read, or a table\n"
    "or standard output that cannot be written.\n";

}  // namespace

std::variant<Options, int> ParseOptions(int argc, const char* const* argv) {
    Options options;
    std::int64_t allowed = 0;
    po::options_description visible("Options");
    visible.add_options()  //
        ("recursive,r", po::bool_switch(&options.recursive), "The run searched sub-folders too.")(
            "allow-failed-reads", po::value(&allowed)->value_name("N"),
            "Up to N reads may have failed with an error in the log (default: 0).")  //
        ("table", po::value(&options.table)->value_name("FILE"),
         "If nothing was lost: write a table with each input file's number of reads, SAM file and path.")  //
        ("help,h", "Print this help and exit.");
    po::options_description all;
    all.add(visible).add_options()("input", po::value(&options.input))("save_folder", po::value(&options.save_folder));
    po::positional_options_description positions;
    positions.add("input", 1).add("save_folder", 1);
    po::variables_map values;
    try {
        po::store(po::command_line_parser(argc, argv).options(all).positional(positions).run(), values);
        po::notify(values);
        if (values.count("help") > 0) {
            errno = 0;
            std::cout << kUsage << visible << kStatuses << std::flush;
            if (!std::cout) {
                throw std::system_error(errno, std::generic_category(), "standard output");
            }
            return kNothingLost;
        }
        if (values.count("input") == 0 || values.count("save_folder") == 0) {
            throw po::error("an input and a save folder are needed");
        }
        if (allowed < 0) {
            throw po::error("--allow-failed-reads must not be negative");
        }
    } catch (const po::error& error) {
        std::cerr << "tavik_check: " << error.what() << "\nTry tavik_check --help.\n";
        return kCannotCheck;
    }
    options.allowed_failed_reads = static_cast<std::uint64_t>(allowed);
    return options;
}

}  // namespace Checks
