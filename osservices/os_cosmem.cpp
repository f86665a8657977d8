// os_cosmem.cpp: TEMPORARY placeholder so that the library links while the
// real memory service is being written. Replaced by the tracked allocator.
#include "os_cosmem.h"

#include <cstdlib>

COsMem::COsMem(EOSMEMMETHOD, int) : m_posmemimpl(nullptr) { g_posmem = this; }
COsMem::~COsMem() { g_posmem = nullptr; }
void *COsMem::Alloc(size_t a_sizetBytes, const char *, int, EOSLOGFLAG, bool, const char *)
{
  return calloc(1, a_sizetBytes ? a_sizetBytes : 1);
}
void COsMem::Free(void *a_pvMem, const char *, int, EOSLOGFLAG, bool) { free(a_pvMem); }
