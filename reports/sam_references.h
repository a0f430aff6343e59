#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Reports {

/// Length in bases by name; 0 if the SAM files give different lengths.
using ReferenceLengths = std::map<std::string, std::int32_t, std::less<>>;

/// Reads the "@SQ" lines of the SAM files in `folder` and its sub-folders. A sub-folder with a summary of its own
/// belongs to another run and is left out, unless it is one of RunFolders. The files of one run have the same header,
/// so a file is skipped if the header lines in its first 64 KiB equal those of an earlier file. Sub-folders without
/// read permission are skipped. Adds a warning for each file that cannot be opened, one for each of `folder`
/// and RunFolders that cannot be listed completely, and a single one for all sequences with contradictory lengths.
ReferenceLengths ReadSamReferences(const std::string& folder, std::vector<std::string>& warnings);

}  // namespace Reports
