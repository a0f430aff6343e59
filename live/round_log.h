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

/// The records of the kept files in the log of a round, with their shown names, so that the logs of all rounds together
/// look like that of one run. `names`: in the order of the run.
std::string RecordsOfFiles(const std::string& log, const std::vector<NameInLog>& names);

/// The records before those of the first file, with the folders as one run over all files would name them.
std::string RecordsOfStart(const std::string& log, const std::string& input, const std::string& save_folder);

/// What ends a log: an error for each file that was lost, and, if the run is `done`, that it took this time.
struct LostFile {
    std::string shown;
    std::string reason;
};
std::string RecordsOfEnd(const std::vector<LostFile>& lost, bool done, std::uint64_t milliseconds);

}  // namespace Live
