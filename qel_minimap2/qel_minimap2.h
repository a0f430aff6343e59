#pragma once

#include <stdint.h>  // C programs include this header too.

#include <bseq.h>
#include <minimap.h>

// The interface of libqel_minimap2: reads mapped with minimap2 and the preset for noisy long reads ("map-ont"). C
// functions, so that programs in C can call them and others can look them up by name. A library that replaces this one
// must have the first four. None throws an exception.
#ifdef __cplusplus
extern "C" {
#endif

/// Loads a reference: an index that qelmm_make_index wrote, which is mapped into memory and so shared by all processes
/// that use it; a prebuilt minimap2 index as it is; or a FASTA or FASTQ file, plain or gzip, which is indexed with as
/// many threads as there are cores, always as one part. The first bytes of the file tell which it is. Prints one line
/// on standard error that names the file and the reason, and returns null, for anything that does not give a complete,
/// sound index: a folder, an unreadable or damaged file, an index of several parts or without its sequences, a sequence
/// without a name. An empty reference gives an index of 0 sequences. Sequences of the same name cause a warning. Any
/// thread.
///
/// A mapped file may be replaced by another one of the same name (with rename); the index stays that of the old file.
/// It must not be written to. If its content changes, the process ends with status 1 and one line on standard error
/// that names the file: at the next read that is mapped some milliseconds later, or at the latest in
/// qelmm_unload_index. In rare cases a read that is mapped meanwhile crashes it. If the file is shortened, an access to
/// the missing part ends the process in the same way. For this, the library handles SIGBUS from the first mapped index
/// on. It passes signals for other addresses on to the handler that was installed before.
///
/// The index holds a table of this library instead of minimap2's hash tables. Pass it to the functions here only:
/// minimap2's own would find it empty. Only `n_seq` and, in the entries of `seq`, `name` and `len` may be read.
mm_idx_t* qelmm_load_index(const char* path);

/// The number of occurrences in the index above which a minimizer is not used as a seed. It takes time: call it once
/// per index and hand the result to each qelmm_align. Returns 0, which means unknown to qelmm_align, for a null index
/// or without enough memory. Any thread.
int32_t qelmm_cache_idx_occ_thres(const mm_idx_t* index);

/// Maps one read and returns its SAM records, primary first, without header lines, each ending in a line feed; a read
/// that does not map has one unmapped record. The text is newly allocated: release it with free. On failure the result
/// is null or a text that begins with "ERROR:"; that text belongs to this library and must not be freed. When memory is
/// too short for minimap2 itself, the process ends with status 1 and one line on standard error. A record has the
/// read's name up to its first white space; if that part is empty or begins with "@", the call fails, because no SAM
/// reader accepts such a record. `occ_threshold`: what qelmm_cache_idx_occ_thres returned; 0 or less means unknown, and
/// it is determined again. Of `read`, only `l_seq`, `name` and `seq` are read, and nothing is written. Any number of
/// threads at once, on one index or several.
char* qelmm_align(const mm_idx_t* index, int32_t occ_threshold, mm_bseq1_t read);

/// Frees an index that qelmm_load_index returned; null is ignored. No thread may be mapping against it.
void qelmm_unload_index(mm_idx_t* index);

/// The version of the minimap2 package that was linked, such as "2.24+dfsg-3+b1", or "unknown". A static text, for
/// messages only. A library that replaces this one may lack this function: declare it weak and call it only if it is
/// there.
const char* qelmm_minimap2_version(void);

/// How often functions of this library replaced minimap2's, in all reads finished so far.
struct qelmm_own_call_counts {
    uint64_t certified_bands;      ///< Gaps between two seeds, aligned in a narrow band.
    uint64_t checkpointed_sweeps;  ///< Gaps between two seeds, aligned in the whole matrix.
    uint64_t general_alignments;   ///< Other base alignments.
    uint64_t sketches;             ///< Searches for a read's minimizers.
    uint64_t seed_collections;     ///< Searches for the seeds among the minimizers.
    uint64_t anchor_sorts;
    uint64_t chainings;      ///< Chainings of neighbouring anchors.
    uint64_t joinings;       ///< Joinings of chains that lie far apart.
    uint64_t register_bits;  ///< Not a count: the width of the registers that they use, or 0 for minimap2's functions.
};

/// Shows which replacements of minimap2's functions are in use. With QEL_KERNEL=library in the
/// environment, all counts but `seed_collections` are 0. A library that replaces this one may lack this
/// function, too. Any thread.
struct qelmm_own_call_counts qelmm_own_calls(void);

// What follows is for programs that make indexes. A library that replaces this one may lack it.

/// Makes the file of an index, which qelmm_load_index maps, from a reference that qelmm_load_index could load. The
/// index of a FASTA or FASTQ file is written while it is made, which takes no more memory than loading that file. The
/// file appears under its name only when it is whole and on the disk. It replaces an older file, which stays usable for
/// those that have it open. Until then the file has no name, so nothing is left when the process ends, even by SIGKILL.
/// On file systems without nameless files (NFS), it has a hidden name (see qelmm_remove_unfinished_indexes), and the
/// next call for that folder removes what SIGKILL left. On failure, nothing at `path` has changed. Returns null, or a
/// text "ERROR: message" that belongs to the library and holds until the thread calls it again; the message begins with
/// the path of the reference or the index. Sequences of the same name cause a warning. Any thread.
const char* qelmm_make_index(const char* reference, const char* path);

/// Removes the hidden files of all calls of qelmm_make_index that have not ended. For the handlers of signals that end
/// the process: calls only functions that such handlers may call.
void qelmm_remove_unfinished_indexes(void);

/// Checks all of a file that qelmm_make_index wrote: the checksums, and that each minimizer, list and position is
/// valid and in its place. Loading leaves most of the latter checks to the reads that need them. Returns null for a
/// sound file, or a text "ERROR: reason" that holds as long as that of qelmm_make_index. Any thread.
const char* qelmm_check_index(const char* path);

/// A part of a file: its name, where it begins and how long it is, in bytes, and its checksum.
struct qelmm_index_section {
    const char* name; /**< A static text. */
    uint64_t offset, length, checksum;
};

/// What the first bytes of a file that qelmm_make_index wrote say about it.
struct qelmm_index_description {
    uint32_t version;                    ///< Of the format.
    uint32_t k, window;                  ///< Length of a k-mer in bases; k-mers in a window.
    uint32_t bucket_bits;                ///< The table has 2 to the power of this many buckets.
    uint32_t is_homopolymer_compressed;  ///< 1 or 0.
    uint32_t sequences;
    uint64_t bases;       ///< Of all sequences.
    uint64_t minimizers;  ///< Each counted once.
    uint64_t file_size;   ///< In bytes.
    uint32_t section_count;
    struct qelmm_index_section sections[64];
};

/// Describes such a file without reading more than its first page, so that only damage there is noticed. Returns null,
/// or a text "ERROR: reason" that holds as long as that of qelmm_make_index. Any thread.
const char* qelmm_describe_index(const char* path, struct qelmm_index_description* description);

/// Sets the number of threads that load, write and check indexes; 0, the default, means one for each core.
/// More than 1024 count as 1024. No other function of this library may run meanwhile.
void qelmm_set_threads(unsigned threads);

#ifdef __cplusplus
}
#endif
