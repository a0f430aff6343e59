#include "common/reads/line_reading.h"

#include <stdexcept>

namespace Common {

bool ReadLine(std::istream& stream, std::string& line) {
    if (stream.eof()) {
        return false;
    }
    std::getline(stream, line);
    if (stream.bad() || (stream.fail() && !stream.eof())) {
        throw std::runtime_error("Error while reading a line from the input stream.");
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return true;
}

}  // namespace Common
