#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <boost/timer/progress_display.hpp>

namespace Reports {

/// Shows on standard error how much of the files has been read. Shows nothing if standard error is not a terminal,
/// `quiet` is true, or all files are empty or of unknown size.
class Progress {
public:
    Progress(const std::vector<std::string>& paths, bool quiet);

    /// Shows that `bytes` bytes of the current file have been read.
    void Show(std::uint64_t bytes);

    /// Counts the current file as done, even if it was not read to its end. The next file becomes the current one.
    void EndFile();

    /// Completes the display.
    void End();

private:
    void ShowStep(unsigned long step);

    std::vector<std::uint64_t> sizes;
    std::size_t file = 0;
    std::uint64_t all = 0;
    std::uint64_t before = 0;  // Bytes of the files that are done.
    std::unique_ptr<boost::timer::progress_display> display;
};

}  // namespace Reports
