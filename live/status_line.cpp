#include "live/status_line.h"

#include <iostream>

#include <sys/ioctl.h>
#include <unistd.h>

#include "checks/texts.h"
#include "live/local_time.h"

namespace Live {

namespace {

constexpr char kEraseLine[] = "\r\033[K";

std::size_t Columns() {
    constexpr std::size_t kUsual = 80;
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

}  // namespace

StatusLine::StatusLine(bool quiet) : quiet(quiet), is_terminal(::isatty(STDOUT_FILENO) == 1) {}

StatusLine::~StatusLine() {
    if (!shown.empty()) {
        std::cout << std::endl;
    }
}

void StatusLine::Show(const std::string& text, bool is_round) {
    if (quiet) {
        return;
    }
    if (!is_terminal) {
        if (is_round) {
            std::cout << LocalTime() << ' ' << Checks::Printable(text) << std::endl;
        }
        return;
    }
    auto line = Checks::Printable(Checks::Head(text, Columns() - 1));
    if (line != shown) {
        shown = std::move(line);
        std::cout << kEraseLine << shown << std::flush;
    }
}

void StatusLine::Clear() const {
    if (!shown.empty()) {
        std::cout << kEraseLine << std::flush;
    }
}

void StatusLine::Tell(const std::string& text) {
    Clear();
    std::cerr << LocalTime() << ' ' << Checks::Printable(text) << std::endl;
    if (!shown.empty()) {
        std::cout << shown << std::flush;
    }
}

void StatusLine::Print(const std::string& text) {
    if (quiet) {
        return;
    }
    Clear();
    shown.clear();
    std::cout << text << std::endl;
}

}  // namespace Live
