#pragma once

#include <map>
#include <string>

namespace Live {

/// The names of SAM files, each of which belongs to one read file. Not synchronised.
class SamNames {
public:
    /// Reserves the name of the SAM file of a read file. Returns the reason if that is impossible, and an empty string
    /// on success.
    std::string Take(const std::string& file);

    /// Frees the name that Take reserved for the read file, if any.
    void Free(const std::string& file);

private:
    std::map<std::string, std::string> owners;  // The read file of each SAM file.
};

}  // namespace Live
