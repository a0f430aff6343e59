#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Live {

/// An input file in the log of a round.
struct NameInLog {
    std::string logged;  ///< As the aligner named it.
    std::string shown;   ///< As one run over the whole folder would name it.
    bool kept = false;   ///< Its reads are in the output.
};

/// The records of the kept files in the log of a round, with their shown names. The logs of all rounds together then
/// look like that of one run.
std::string RecordsOfFiles(const std::string& log, const std::vector<NameInLog>& names);

/// The records before those of the first file, with `input` and `save_folder` as the input path and the save path.
std::string RecordsOfStart(const std::string& log, const std::string& input, const std::string& save_folder);

/// A file that is completely or partly missing from the output.
struct LostFile {
    std::string shown;
    std::string reason;
};

/// The records at the end of a log: an error for each lost file and, if `done`, "Done in <milliseconds> ms."
std::string RecordsOfEnd(const std::vector<LostFile>& lost, bool done, std::uint64_t milliseconds);

}  // namespace Live
