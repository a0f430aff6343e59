#pragma once

#include <stdint.h>  // C programs include this header too.

#include <bseq.h>
#include <minimap.h>

// The interface of libqel_minimap2: reads mapped with minimap2 and the preset for noisy long reads ("map-ont"). Six C
// functions, so that programs in C can call them and others can look them up by name. The first four are what every
// library in this one's place must have. No exception leaves them.
#ifdef __cplusplus
extern "C" {
#endif

/// Loads a reference: a prebuilt minimap2 index as it is, or a FASTA or FASTQ file, plain or gzip, which is
/// indexed with as many threads as there are cores, always as one part. Returns null, after one line on
/// standard error that names the file and the reason, for anything that would not give a whole and sound
/// index: a folder, an unreadable or damaged file, an index of several parts or without its sequences, a
/// sequence without a name. A readable reference with nothing in it gives an index of 0 sequences. Two
/// sequences of one name are warned about. Any thread.
///
/// The index carries a table of our own where minimap2 keeps its hash tables. Only the functions here may be given it,
/// and only `n_seq` and, of the entries of `seq`, `name` and `len` may be read: to minimap2's functions it is empty.
mm_idx_t* qelmm_load_index(const char* path);

/// The number of occurrences in the index above which a minimizer is not used as a seed. It takes a pass over
/// the whole index: call it once per index and hand the result to each qelmm_align. 0, which qelmm_align takes as
/// unknown, for no index and for want of memory. Any thread.
int32_t qelmm_cache_idx_occ_thres(const mm_idx_t* index);

/// Maps one read and returns its SAM records, primary first, without header lines, each ending in a line
/// feed; a read that does not map has one unmapped record. The text is newly allocated: release it with free.
/// On failure the result is null or a text that begins with "ERROR:"; that text belongs to the library and
/// must not be freed. A record has the read's name up to its first white space; a name without a character before
/// that, or with "@" at its start, is a failure, because no SAM reader could take the record.
/// `occ_threshold`: what qelmm_cache_idx_occ_thres returned; 0 or less means unknown, and the library finds it. Of
/// `read`, only `l_seq`, `name` and `seq` are looked at, and none is written to. Any number of threads at once, on
/// one index or several.
char* qelmm_align(const mm_idx_t* index, int32_t occ_threshold, mm_bseq1_t read);

/// Frees an index that qelmm_load_index returned; null is no index. No thread may be mapping against it.
void qelmm_unload_index(mm_idx_t* index);

/// Which minimap2 is inside: the version of the package that was linked, as "2.24+dfsg-3+b1", or "unknown". A static
/// text, for messages only. A library in this one's place need not have this function, so declare it weak and call it
/// only when it is there.
const char* qelmm_minimap2_version(void);

/// How often functions of our own answered in the place of minimap2's, in all reads finished so far.
struct qelmm_own_call_counts {
    uint64_t certified_bands;      ///< Gaps between two seeds, aligned in a narrow strip.
    uint64_t checkpointed_sweeps;  ///< Gaps between two seeds, aligned in the whole matrix.
    uint64_t general_alignments;   ///< Other base alignments.
    uint64_t sketches;             ///< Searches for a read's minimizers.
    uint64_t seed_collections;     ///< Searches for those that are in the index.
    uint64_t anchor_sorts;
    uint64_t chainings;  ///< Of neighbouring anchors.
    uint64_t joinings;   ///< Of chains that lie far apart.
};

/// Tells which functions of our own are in use. On a processor without AVX2 and with QEL_KERNEL=library in the
/// environment, all counts but `seed_collections` are 0. As qelmm_minimap2_version, it is not one of the four that a
/// library must have. Any thread.
struct qelmm_own_call_counts qelmm_own_calls(void);

#ifdef __cplusplus
}
#endif
