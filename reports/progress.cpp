#include "reports/progress.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

#include <unistd.h>

namespace Reports {

namespace {

constexpr unsigned long kSteps = 100;

}  // namespace

Progress::Progress(const std::vector<std::string>& paths, bool quiet) {
    for (const auto& path : paths) {
        std::error_code unknown;
        const auto size = std::filesystem::file_size(path, unknown);
        sizes.push_back(unknown ? 0 : size);
        all += sizes.back();
    }
    if (!quiet && all > 0 && ::isatty(STDERR_FILENO) == 1) {
        display = std::make_unique<boost::timer::progress_display>(kSteps, std::cerr, "", "", "");
    }
}

void Progress::Show(std::uint64_t bytes) {
    if (display != nullptr) {
        ShowStep(static_cast<unsigned long>(std::min<std::uint64_t>((before + bytes) * kSteps / all, kSteps)));
    }
}

void Progress::EndFile() {
    before += sizes[file++];
    Show(0);
}

void Progress::End() {
    if (display != nullptr) {
        ShowStep(kSteps);
    }
}

void Progress::ShowStep(unsigned long step) {
    // Even an increment of 0 can print a mark: before the first step, between steps, and after the display is full.
    if (step > display->count()) {
        *display += step - display->count();
    }
}

}  // namespace Reports
