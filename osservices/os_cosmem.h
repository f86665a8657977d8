// os_cosmem.h: the process's tracked allocator.
//
// Contract: one COsMem exists per process, reachable through g_posmem. Every
// block taken with Alloc comes back zero-filled and is recorded (2,048
// records; a full table degrades to untracked blocks, never to a failed
// allocation) and must be given back with Free. Free of a pointer that was
// not allocated here is logged and the block is left alone. The caller owns
// each block until it frees it. a_blLock asks for the tracker's spin lock;
// callers that share the tracker between threads pass true.
#ifndef OS_COSMEM_H
#define OS_COSMEM_H

#include <cstddef>
#include <cstdint>

#include "os_types.h"

// Allocation method.
typedef uint32_t EOSMEMMETHOD;
enum : uint32_t
{
  OS_MEM_METHOD_MALLOC = 1,
  OS_MEM_METHOD_HEAP = 2
};

class COsMemImpl;

class COsMem
{
public:
  COsMem(EOSMEMMETHOD a_eosmemmethod, int a_iOwner);
  ~COsMem();
  COsMem(const COsMem &) = delete;
  COsMem &operator=(const COsMem &) = delete;

  // Returns a zero-filled block of a_sizetBytes, or null.
  void *Alloc(size_t a_sizetBytes, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, bool a_blLock,
              const char *a_szName);
  // Gives back a block taken with Alloc.
  void Free(void *a_pvMem, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, bool a_blLock);

private:
  COsMemImpl *m_posmemimpl;
};

// Allocates through the memory service with the caller's file and line.
#define OSMEMALLOC(bytes, name) \
  (g_posmem ? g_posmem->Alloc((bytes), __FILE__, __LINE__, EOSLOGFLAG_MEM, true, (name)) : nullptr)
#define OSMEMFREE(ptr)                                             \
  do                                                              \
  {                                                               \
    if (g_posmem)                                                 \
    {                                                             \
      g_posmem->Free((ptr), __FILE__, __LINE__, EOSLOGFLAG_MEM, true); \
    }                                                             \
  } while (0)

#endif  // OS_COSMEM_H
