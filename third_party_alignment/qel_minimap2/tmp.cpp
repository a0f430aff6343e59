#include "qel_minimap2.h"
#include <mmpriv.h>
#include <string>
#include <cstdlib>
static FILE *rin, *rout, *rerr;
extern "C" { extern FILE *__real_stdin, *__real_stdout, *__real_stderr;
__attribute__((visibility("hidden"))) FILE *__wrap_stdin, *__wrap_stdout, *__wrap_stderr;
__attribute__((constructor)) static void init(){ __wrap_stdin=__real_stdin; __wrap_stdout=__real_stdout; __wrap_stderr=__real_stderr; mm_verbose=1;}
mm_idx_t* qelmm_load_index(const char* path){ mm_idxopt_t io; mm_mapopt_t mo; mm_set_opt(0,&io,&mo); mm_set_opt("map-ont",&io,&mo); io.batch_size=~0ull>>1; auto r=mm_idx_reader_open(path,&io,0); if(!r) return 0; auto i=mm_idx_reader_read(r,2); mm_idx_reader_close(r); return i;}
int32_t qelmm_cache_idx_occ_thres(const mm_idx_t* i){ mm_idxopt_t io; mm_mapopt_t mo; mm_set_opt(0,&io,&mo); mm_set_opt("map-ont",&io,&mo); mm_mapopt_update(&mo,i); return mo.mid_occ;}
char* qelmm_align(const mm_idx_t* mi, int32_t occ, mm_bseq1_t rd){ static thread_local mm_tbuf_t* b=mm_tbuf_init(); mm_idxopt_t io; mm_mapopt_t mo; mm_set_opt(0,&io,&mo); mm_set_opt("map-ont",&io,&mo); mo.flag|=MM_F_CIGAR|MM_F_OUT_SAM; mo.mid_occ=occ; mm_mapopt_update(&mo,mi); 
 std::string s(rd.seq,rd.l_seq); for(auto&c:s) if(c=='U') c='T'; mm_bseq1_t t={}; t.l_seq=rd.l_seq; t.name=rd.name; t.seq=s.data(); int n=0; mm_reg1_t* regs=mm_map(mi,t.l_seq,t.seq,&n,b,&mo,t.name); kstring_t k={0,0,0}; std::string out; int nn=n; const mm_reg1_t* rr=regs;
 if(n==0){ mm_write_sam3(&k,mi,&t,0,-1,1,&nn,&rr,mm_tbuf_get_km(b),mo.flag,-1); out+=std::string(k.s,k.l)+"\n";} for(int i=0;i<n;++i){ mm_write_sam3(&k,mi,&t,0,i,1,&nn,&rr,mm_tbuf_get_km(b),mo.flag,-1); out+=std::string(k.s,k.l)+"\n"; free(regs[i].p);} free(regs); free(k.s); return strdup(out.c_str()); }
void qelmm_unload_index(mm_idx_t* i){ mm_idx_destroy(i);} }
