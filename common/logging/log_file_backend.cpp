#include "common/logging/log_file_backend.h"

#include <cerrno>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <system_error>

#include <boost/algorithm/string/replace.hpp>
#include <boost/filesystem/operations.hpp>

namespace Common::logging {

namespace {

// Doubles each "%" in `name`, so that it does not begin a time field.
std::string NamePattern(const std::string& name) {
    return boost::replace_all_copy(name, "%", "%%") + "_log-%Y-%m-%d_%H-%M-%S.log";
}

std::string FillInTime(const std::string& pattern) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::ostringstream name;
    name << std::put_time(&local, pattern.c_str());
    return name.str();
}

}  // namespace

LogFileBackend::LogFileBackend(const boost::filesystem::path& folder, const std::string& name, bool auto_flush)
    : folder(folder), pattern(NamePattern(name)), auto_flush(auto_flush) {
    boost::system::error_code unknown;
    start = boost::filesystem::current_path(unknown);
}

void LogFileBackend::consume(const boost::log::record_view& /*record*/, const string_type& line) {
    if (!opened) {
        opened = true;
        Open();
    }
    if (!stream) {
        return;  // The failure has been reported.
    }
    errno = 0;
    stream << line + '\n';
    if (auto_flush) {
        stream.flush();
    }
    if (!stream) {
        Report("Could not write to log file ");
    }
}

void LogFileBackend::Open() {
    path = (folder / FillInTime(pattern)).string();
    errno = 0;
    stream.open(start.empty() ? path : boost::filesystem::absolute(path, start).string(),
                std::ios_base::out | std::ios_base::app);
    if (!stream) {
        Report("Could not open log file ");
    }
}

void LogFileBackend::Report(const char* what) {
    const int reason = errno;
    std::cerr << std::string(what) + path + ": " + std::generic_category().message(reason) + "\n" << std::flush;
}

}  // namespace Common::logging
