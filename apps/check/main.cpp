#include <exception>
#include <iostream>
#include <variant>

#include "checks/check.h"

int main(int argc, char** argv) {
    try {
        const auto options = Checks::ParseOptions(argc, argv);
        if (const auto* const status = std::get_if<int>(&options)) {
            return *status;
        }
        return Checks::CheckRun(std::get<Checks::Options>(options));
    } catch (const std::exception& error) {
        std::cerr << "tavik_check: " << error.what() << '\n';
        return Checks::kCannotCheck;
    }
}
