#pragma once
#include <cstdint>
#include <bseq.h>
#include <minimap.h>
extern "C" {
mm_idx_t* qelmm_load_index(const char* path);
std::int32_t qelmm_cache_idx_occ_thres(const mm_idx_t* index);
char* qelmm_align(const mm_idx_t* index, std::int32_t occ_threshold, mm_bseq1_t read);
void qelmm_unload_index(mm_idx_t* index);
}
