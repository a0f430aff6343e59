#include <cerrno>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <variant>

#include "apps/aligner/process_setup.h"
#include "apps/index/commands.h"
#include "apps/index/options.h"
#include "qel_minimap2/processor.h"

int main(int argc, char** argv) {
    SetUpProcess();
    try {
        if (const char* const fault = qel_minimap2::ProcessorFault()) {
            throw std::runtime_error(fault);
        }
        const auto options = Indexing::ParseOptions(argc, argv);
        const auto* const status = std::get_if<int>(&options);
        const int result = status != nullptr ? *status : Indexing::Execute(std::get<Indexing::Options>(options));
        if (!std::cout.flush()) {
            // An earlier write may have failed. Nothing since then has changed errno.
            const auto reason = std::generic_category().message(errno);
            std::cerr << "tavik_index: could not write to standard output: " << reason << '\n';
            return Indexing::kFailed;
        }
        return result;
    } catch (const std::exception& error) {
        std::cerr << "tavik_index: " << error.what() << '\n';
        return Indexing::kFailed;
    }
}
