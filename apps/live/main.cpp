#include <exception>
#include <iostream>
#include <variant>

#include "live/live_run.h"
#include "live/options.h"

int main(int argc, char** argv) {
    try {
        const auto options = Live::ParseOptions(argc, argv);
        if (const auto* const status = std::get_if<int>(&options)) {
            return *status;
        }
        return Live::LiveRun(std::get<Live::Options>(options)).Run();
    } catch (const std::exception& error) {
        std::cerr << "tavik_live: " << error.what() << '\n';
        return Live::kCannotRun;
    }
}
