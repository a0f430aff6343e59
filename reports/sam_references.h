#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Reports {

/// Length in bases by name; 0 if the SAM files give different lengths.
using ReferenceLengths = std::map<std::string, std::int32_t, std::less<>>;

/// Reads the "@SQ" lines of the SAM files in `folder` and its sub-folders. Leaves out:
/// - sub-folders that contain a summary, because they belong to other runs, unless RunFolders returns them;
/// - sub-folders without read permission;
/// - files whose header lines in the first 64 KiB equal those of an earlier file, because the files of one run have the
///   same header.
///
/// Adds these warnings:
/// - one for each SAM file that cannot be opened;
/// - one for each folder that cannot be listed completely: `folder`, or one that RunFolders returns;
/// - a single one for all sequences with contradictory lengths.
ReferenceLengths ReadSamReferences(const std::string& folder, std::vector<std::string>& warnings);

}  // namespace Reports
