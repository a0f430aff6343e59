#include "common/reads/line_reading.h"

namespace Common {

bool ReadLine(std::istream& stream, std::string& line) {
    if (stream.eof()) {
        return false;
    }
    std::getline(stream, line);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return true;
}

}  // namespace Common
