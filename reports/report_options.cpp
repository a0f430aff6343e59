#include "reports/report_options.h"

#include <iostream>

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>
#include <boost/program_options/variables_map.hpp>

#include "common/version.h"
#include "reports/output_files.h"

namespace Reports {

namespace po = boost::program_options;

namespace {

constexpr int kWrongOptions = 255;

constexpr char kUsage[] =
    "\nUsage:\n\n  tavik_report [options] <save folder or alignment_summary.txt>...\n\n"
    "Writes alignment_report.html and two files for MultiQC beside the summary.\n"
    "Several summaries become the samples in one report.\n\n";

}  // namespace

std::variant<Options, int> ParseOptions(int argc, const char* const* argv) {
    Options options;
    po::options_description visible("Command line parameters");
    visible.add_options()  //
        ("output_path,o", po::value(&options.output_path),
         "Folder for the report (default: the folder of the first usable summary).")  //
        ("title", po::value(&options.title), "Title of the page.")                    //
        ("quiet,z", po::bool_switch(&options.quiet),
         "Quiet mode. Nothing will be output to stdout if this option is set.")  //
        ("help,h", "Print this help and exit.")                                  //
        ("version,v", "Print the version and exit.");
    po::options_description all;
    all.add(visible).add_options()("summary", po::value(&options.summaries));
    po::positional_options_description positions;
    positions.add("summary", -1);
    po::variables_map values;
    try {
        const auto style = po::command_line_style::unix_style & ~po::command_line_style::allow_guessing;
        po::store(po::command_line_parser(argc, argv).options(all).positional(positions).style(style).run(), values);
        po::notify(values);
    } catch (const po::error& error) {
        std::cerr << error.what() << '\n';
        return kWrongOptions;
    }
    if (values.count("version") > 0) {
        std::cout << argv[0] << ", part of Tavik basecalling suite, by the Tavik developers. Version "
                  << Common::kVersion << '\n';
    }
    if (values.count("help") > 0 || argc <= 1) {
        std::cout << kUsage << visible << '\n';
        return FlushStandardOutput() ? 0 : 1;
    }
    if (values.count("version") > 0) {
        return FlushStandardOutput() ? 0 : 1;
    }
    if (options.summaries.empty()) {
        std::cerr << "no summary given\n";
        return kWrongOptions;
    }
    return options;
}

}  // namespace Reports
