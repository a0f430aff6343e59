#pragma once

#include <stdint.h>  // C programs include this header too.

#include <bseq.h>
#include <minimap.h>

// The interface of libqel_minimap2, which maps reads with minimap2 and its preset for noisy long reads ("map-ont"). The
// functions are C functions, so that C programs can call them and other programs can look them up by name. No function
// throws an exception.
//
// A library that replaces this one must have the first four functions and may lack the others. A program that works
// with such a library declares the others weak and calls them only if their addresses are not null.
#ifdef __cplusplus
extern "C" {
#endif

/// Loads a reference. The first bytes of the file show which of three kinds it is:
/// - An index that qelmm_make_index wrote is mapped into memory, and all processes that map the file share that memory.
/// - A prebuilt minimap2 index is read.
/// - A FASTA or FASTQ file, plain or gzip, is indexed on all cores (see qelmm_set_threads), always as one part.
///
/// An empty reference becomes an index of 0 sequences. If sequences have the same name, a warning is printed. On
/// failure, prints one line on standard error that names the file and the reason, and returns null. Loading also fails
/// if an index has several parts or lacks its sequences, or if a sequence has no name. Any thread.
///
/// A mapped file may be replaced by renaming another file over it; the index remains that of the old file. The mapped
/// file must not be written to. If its content changes, the process ends with status 1 and one line on standard error
/// that names the file. It ends when qelmm_align has mapped a read and the change is at least a few milliseconds
/// old, or at the latest in qelmm_unload_index. In rare cases, it crashes in qelmm_align before the change is noticed.
///
/// If a mapped file is shortened, an access to the missing part also ends the process with status 1 and such a line.
/// For this purpose, the library handles SIGBUS from the first mapped index on. It passes signals for other addresses
/// to the handler that was installed before.
///
/// The index has a table of this library instead of minimap2's hash tables. Pass the index only to the functions of
/// this header, because minimap2's functions find no minimizers in it. Only `n_seq` and, in the entries of `seq`,
/// `name` and `len` may be read.
mm_idx_t* qelmm_load_index(const char* path);

/// Returns the number of occurrences in the index above which a minimizer is normally not used as a seed. Call this
/// function once per index and pass the result to each call of qelmm_align. Returns 0, which qelmm_align treats as
/// unknown, for a null index or if memory is short. Any thread.
int32_t qelmm_cache_idx_occ_thres(const mm_idx_t* index);

/// Maps one read and returns its SAM records, the primary one first, each with a line feed, without header lines. A
/// read that does not map has one unmapped record. The name in each record is the read's name up to the first white
/// space. The text is newly allocated: release it with free.
///
/// On failure, returns a text that begins with "ERROR:". That text belongs to this library, must not be freed, and is
/// valid until the next failure of a function in the same thread. The call also fails if the name in the record would
/// be empty or begin with "@", because SAM readers would reject the record. If minimap2 itself runs out of memory, the
/// process ends with status 1 and one line on standard error.
///
/// `occ_threshold`: the result of qelmm_cache_idx_occ_thres; if it is 0 or less, this function determines the number
/// itself. Of `read`, only `l_seq`, `name` and `seq` are used, and nothing is written to them. Any number of threads
/// may call this function at once, with one index or several.
char* qelmm_align(const mm_idx_t* index, int32_t occ_threshold, mm_bseq1_t read);

/// Frees an index that qelmm_load_index returned; null is ignored. No thread may be using the index.
void qelmm_unload_index(mm_idx_t* index);

/// Returns the version of the minimap2 package that was linked, such as "2.24+dfsg-3+b1", or "unknown". The text is
/// static and for messages only.
const char* qelmm_minimap2_version(void);

/// How often functions of this library ran instead of minimap2's, in all reads finished so far.
struct qelmm_own_call_counts {
    uint64_t certified_bands;      ///< Gaps between two anchors, aligned in a narrow band.
    uint64_t checkpointed_sweeps;  ///< Gaps between two anchors, aligned in the complete matrix.
    uint64_t general_alignments;   ///< Other base alignments.
    uint64_t sketches;             ///< Searches for a read's minimizers.
    uint64_t seed_collections;     ///< Searches for the seeds among a read's minimizers.
    uint64_t anchor_sorts;
    uint64_t chainings;      ///< Chainings of neighbouring anchors.
    uint64_t joinings;       ///< Joinings of distant chains.
    uint64_t register_bits;  ///< Not a count: the width of the registers in use, or 0 if QEL_KERNEL=library.
};

/// Returns the counts of all reads finished so far. With QEL_KERNEL=library in the environment, all except
/// `seed_collections` are 0. Any thread.
struct qelmm_own_call_counts qelmm_own_calls(void);

// The functions below are for programs that make indexes.

/// Makes an index file, which qelmm_load_index maps, from any reference that qelmm_load_index loads. The index of a
/// FASTA or FASTQ file is written to the disk as it is being built, so making it takes no more memory than loading that
/// file. If sequences have the same name, a warning is printed.
///
/// The index file appears as `path` only when it is complete and on the disk. It replaces an older file; processes that
/// have the older file open can still use it. Until it is complete, the index file has no name, so nothing is left if
/// the process ends, even by SIGKILL. On file systems without unnamed files, such as NFS, it has a hidden name instead
/// (see qelmm_remove_unfinished_indexes), and the next call for that folder removes what SIGKILL left.
///
/// Returns null on success. On failure, nothing at `path` has changed, and the result is a text "ERROR: message". The
/// message begins with the path of the reference or of the index, unless one of the two arguments is null. The text
/// belongs to this library and is valid until the next failure of a function in the same thread. Any thread.
const char* qelmm_make_index(const char* reference, const char* path);

/// Removes the hidden files of all calls of qelmm_make_index that have not ended. A signal handler that ends the
/// process may call this function.
void qelmm_remove_unfinished_indexes(void);

/// Checks the complete content of a file that qelmm_make_index wrote: the checksums, and that each minimizer, list and
/// position is valid and in its place. (In such a file, qelmm_load_index checks no minimizers, lists or positions, and
/// qelmm_align checks only the lists and positions that it uses.) Returns null for a sound file, or a text
/// "ERROR: reason" with the same owner and lifetime as that of qelmm_make_index. Any thread.
const char* qelmm_check_index(const char* path);

/// A section of an index file. `offset` and `length` are in bytes.
struct qelmm_index_section {
    const char* name; /**< A static text. */
    uint64_t offset, length, checksum;
};

/// The description of an index in the first page of its file.
struct qelmm_index_description {
    uint32_t version;                    ///< Of the format.
    uint32_t k, window;                  ///< Bases in a k-mer, and k-mers in a window.
    uint32_t bucket_bits;                ///< 2 to the power of this is the number of buckets.
    uint32_t is_homopolymer_compressed;  ///< 1 or 0.
    uint32_t sequences;
    uint64_t bases;       ///< The number of bases of all sequences.
    uint64_t minimizers;  ///< The number of different minimizers.
    uint64_t file_size;   ///< In bytes.
    uint32_t section_count;
    struct qelmm_index_section sections[64];
};

/// Describes a file that qelmm_make_index wrote. Reads only the first page, so damage in other places is not noticed.
/// Returns null on success, or a text "ERROR: reason" with the same owner and lifetime as that of qelmm_make_index. Any
/// thread.
const char* qelmm_describe_index(const char* path, struct qelmm_index_description* description);

/// Sets the number of threads that load, write and check indexes, at most 1024; 0, the default, means one for each
/// core. No other function of this library may run at the same time.
void qelmm_set_threads(unsigned threads);

#ifdef __cplusplus
}
#endif
