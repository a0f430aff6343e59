/* Calls each function of the library from C. Makes INDEX and maps a read. Usage: c_program_test REFERENCE INDEX */

#include "qel_minimap2/qel_minimap2.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(int argc, char** argv) {
    char name[] = "r", bases[] = "ACGTUACGT";
    mm_bseq1_t read;
    mm_idx_t* index;
    int32_t threshold;
    char* record;
    struct qelmm_own_call_counts counts;
    struct qelmm_index_description description;
    qelmm_set_threads(1);
    if (argc != 3 || qelmm_make_index(argv[1], argv[2]) != NULL) {
        return 1;
    }
    qelmm_remove_unfinished_indexes();
    if (qelmm_check_index(argv[2]) != NULL || qelmm_describe_index(argv[2], &description) != NULL) {
        return 1;
    }
    printf("k %u, window %u, %u sequences, %u bases\n", description.k, description.window, description.sequences,
           (unsigned)description.bases);
    index = qelmm_load_index(argv[2]);
    if (index == NULL) {
        return 1;
    }
    memset(&read, 0, sizeof read);
    read.l_seq = (int)strlen(bases);
    read.name = name;
    read.seq = bases;
    threshold = qelmm_cache_idx_occ_thres(index);
    record = qelmm_align(index, threshold, read);
    counts = qelmm_own_calls();
    printf("%u sequences, threshold found: %d, version known: %d, counted: %d\n%s", index->n_seq, threshold > 0,
           strlen(qelmm_minimap2_version()) > 0, counts.sketches <= 1, record);
    free(record);
    qelmm_unload_index(index);
    return 0;
}
