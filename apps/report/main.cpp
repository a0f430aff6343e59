#include <variant>

#include "reports/report.h"

int main(int argc, char** argv) {
    const auto options = Reports::ParseOptions(argc, argv);
    if (const auto* const status = std::get_if<int>(&options)) {
        return *status;
    }
    return Reports::MakeReport(std::get<Reports::Options>(options));
}
