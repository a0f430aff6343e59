#include "common/read_id_whitelist.h"

#include <fstream>
#include <stdexcept>
#include <string_view>

#include <boost/filesystem/operations.hpp>

#include "common/logging/record.h"

namespace Common {

namespace {

constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";  // The characters for which C's isspace is true.

std::string_view Trimmed(std::string_view line) {
    const auto begin = line.find_first_not_of(kWhiteSpace);
    if (begin == std::string_view::npos) {
        return {};
    }
    return line.substr(begin, line.find_last_not_of(kWhiteSpace) + 1 - begin);
}

}  // namespace

std::unordered_set<std::string> getReadIdWhitelist(const std::string& path) {
    boost::system::error_code unknown;
    if (!boost::filesystem::exists(path, unknown)) {
        throw std::runtime_error("Could not load readIdWhitelist file: '" + path + "'");
    }
    std::unordered_set<std::string> ids;
    std::ifstream stream(path);
    for (std::string line; std::getline(stream, line);) {
        const auto id = Trimmed(line);
        if (id.find(' ') != std::string_view::npos) {
            TAVIK_LOG(warning) << "read_id is invalid as it contains a space " << id;
        } else {
            ids.emplace(id);
        }
    }
    return ids;
}

}  // namespace Common
