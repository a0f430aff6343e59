#include "live/sam_names.h"

#include "live/run_state.h"

namespace Live {

std::string SamNames::Take(const std::string& file) {
    const auto sam = SamNameOf(file);
    const auto start = "its SAM file " + sam;
    if (const auto same = owners.find(sam); same != owners.end()) {
        return same->second == file ? "" : start + " is that of " + same->second;
    }
    // A SAM file cannot have the same path as a folder with SAM files.
    auto other = owners.lower_bound(sam + "/");
    if (other != owners.end() && !other->first.starts_with(sam + "/")) {
        other = owners.end();
    }
    for (auto slash = sam.find('/'); slash != std::string::npos && other == owners.end();
         slash = sam.find('/', slash + 1)) {
        other = owners.find(sam.substr(0, slash));
    }
    if (other != owners.end()) {
        return start + " conflicts with " + other->first + ", that of " + other->second;
    }
    owners.emplace(sam, file);
    return "";
}

void SamNames::Free(const std::string& file) {
    if (const auto owner = owners.find(SamNameOf(file)); owner != owners.end() && owner->second == file) {
        owners.erase(owner);
    }
}

}  // namespace Live
