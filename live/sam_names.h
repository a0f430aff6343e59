#pragma once

#include <map>
#include <string>

namespace Live {

/// The SAM files of the read files. Not synchronised.
class SamNames {
public:
    /// Gives a read file the name of its SAM file. Returns why it cannot have it; empty if it has it now.
    std::string Take(const std::string& file);

    /// The read file needs its SAM file no longer.
    void Free(const std::string& file);

private:
    std::map<std::string, std::string> owners;  // The read file for each SAM name.
};

}  // namespace Live
