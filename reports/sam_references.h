#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Reports {

/// Length in bases by name; 0 where the SAM files contradict each other.
using ReferenceLengths = std::map<std::string, std::int32_t, std::less<>>;

/// Reads the "@SQ" lines of the SAM files in `folder` and the folders below it. A folder below with a summary of its
/// own is another run's, and left out unless it is one of RunFolders. The files of one run begin alike: a file whose
/// first 64 KiB are those of one read before is not read again. What cannot be read, and names with two lengths, are
/// told in `warnings`.
ReferenceLengths ReadSamReferences(const std::string& folder, std::vector<std::string>& warnings);

}  // namespace Reports
