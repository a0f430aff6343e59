#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "qel_minimap2/qel_minimap2.h"
#include "third_party_alignment/sam_header.h"

namespace ThirdPartyAlignment {

/// The minimap2 index that a caller and its copies share. It is unloaded when the last of them is destroyed.
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

    std::atomic<mm_idx_t*> index = nullptr;       ///< Null until the index is loaded; never changes afterwards.
    std::mutex mutex;                             ///< Held while a caller loads the index.
    std::unique_ptr<const SamHeader> sam_header;  ///< The index's "@SQ" lines; written before `index` is set.
};

}  // namespace ThirdPartyAlignment
