#include "apps/index/options.h"

#include <iostream>
#include <vector>

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>
#include <boost/program_options/variables_map.hpp>

#include "common/version.h"

namespace Indexing {

namespace po = boost::program_options;

namespace {

constexpr char kUsage[] =
    "\nUsage:\n\n  tavik_index [options] <reference> <index>\n"
    "  tavik_index --check | --describe [options] <index>\n\n"
    "Writes an index that tavik_aligner -a opens quickly and that all its processes on a\n"
    "machine share. <reference> is a FASTA or FASTQ file, plain or gzip, or an index.\n\n";

constexpr char kStatuses[] =
    "\nExit status: 0 for success, 1 if the index could not be written or is not sound, 2 for\n"
    "wrong usage, or if the index to check or describe cannot be read.\n";

Options Chosen(const po::variables_map& values, Options options, const std::vector<std::string>& files) {
    if (values["check"].as<bool>() && values["describe"].as<bool>()) {
        throw po::error("--check and --describe cannot be combined");
    }
    if (values.count("worker_threads") > 0 && options.threads < 1) {
        throw po::error("--worker_threads must be 1 or more");
    }
    if (!files.empty() && files.back().empty()) {
        throw po::error("the path of the index is empty");
    }
    if (!files.empty() && files.front().empty()) {
        throw po::error("the path of the reference is empty");
    }
    if (values["check"].as<bool>() || values["describe"].as<bool>()) {
        options.task = values["check"].as<bool>() ? Task::check : Task::describe;
        if (files.size() != 1) {
            throw po::error("one index is needed");
        }
        options.index = files[0];
        return options;
    }
    if (files.size() != 2) {
        throw po::error("a reference and the path of an index are needed");
    }
    options.reference = files[0];
    options.index = files[1];
    return options;
}

}  // namespace

std::variant<Options, int> ParseOptions(int argc, const char* const* argv) {
    Options options;
    std::vector<std::string> files;
    po::options_description visible("Command line parameters");
    visible.add_options()  //
        ("worker_threads,t", po::value(&options.threads)->value_name("N"),
         "Number of threads (default: the number of cores).")                                             //
        ("check", po::bool_switch(), "Write nothing; check that the index is complete and sound.")        //
        ("describe", po::bool_switch(), "Write nothing; print the settings and sequences of the index.")  //
        ("quiet,z", po::bool_switch(&options.quiet),
         "Quiet mode. Nothing will be output to stdout if this option is set.")  //
        ("help,h", "Print this help and exit.")                                  //
        ("version,v", "Print the version and exit.");
    po::options_description all;
    all.add(visible).add_options()("file", po::value(&files));
    po::positional_options_description positions;
    positions.add("file", -1);
    po::variables_map values;
    try {
        const auto style = po::command_line_style::unix_style & ~po::command_line_style::allow_guessing;
        po::store(po::command_line_parser(argc, argv).options(all).positional(positions).style(style).run(), values);
        po::notify(values);
        if (values.count("version") > 0) {
            std::cout << argv[0] << ", part of Tavik basecalling suite, by the Tavik developers. Version "
                      << Common::kVersion << '\n';
        }
        if (values.count("help") > 0 || argc <= 1) {
            std::cout << kUsage << visible << kStatuses;
            return kDone;
        }
        if (values.count("version") > 0) {
            return kDone;
        }
        return Chosen(values, options, files);
    } catch (const po::error& error) {
        std::cerr << "tavik_index: " << error.what() << "\nTry tavik_index --help.\n";
        return kWrongUsage;
    }
}

}  // namespace Indexing
