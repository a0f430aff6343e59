#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace Checks {

/// Writes the header line of a table of a run's input files. The files follow, one per line, in the
/// order of their reads in the summary.
inline void WriteFilesTableHeader(std::ostream& table) {
    table << "reads\tsam\tfile\n";
}

inline void WriteFilesTableLine(std::ostream& table, std::uint64_t reads, const std::string& sam,
                                const std::string& file) {
    table << reads << '\t' << sam << '\t' << file << '\n';
}

}  // namespace Checks
