#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "qel_minimap2/qel_minimap2.h"
#include "third_party_alignment/sam_header.h"

namespace ThirdPartyAlignment {

/// The loaded minimap2 index that a caller and its copies share; unloaded with the last of them.
class MMIndexWrapper {
public:
    MMIndexWrapper() = default;
    MMIndexWrapper(const MMIndexWrapper&) = delete;
    MMIndexWrapper& operator=(const MMIndexWrapper&) = delete;
    ~MMIndexWrapper() {
        if (mm_idx_t* const loaded = index) {
            qelmm_unload_index(loaded);
        }
    }

    std::atomic<mm_idx_t*> index = nullptr;       ///< Null until loaded; never changes after that.
    std::mutex mutex;                             ///< Held while loading.
    std::unique_ptr<const SamHeader> sam_header;  ///< The index's "@SQ" lines; written before `index` is set.
};

}  // namespace ThirdPartyAlignment
