// os_cosmem.h: the process's tracked allocator.
//
// Contract: one COsMem exists per process, reachable through g_posmem. Every
// block taken with Alloc comes back zero-filled and is recorded (2,048
// records; a full table degrades to untracked blocks, never to a failed
// allocation) and must be given back with Free. Free of a pointer that was
// not allocated here is logged and the block is left alone. The caller owns
// each block until it frees it. a_blLock asks for the tracker's spin lock;
// callers that share the tracker between threads pass true.
//
// Each ordinary block is recorded with 64 bytes of slack (an allocation of
// 10 bytes counts 74 in the totals) and is aligned to 16 bytes. With a
// non-zero debug level every allocation and release writes one "mem>>>"
// trace line with the running totals. DumpSystem writes a file of the process
// memory map: the file is created first (never through a symbolic link, nor
// into a FIFO, device or another user's file) and "pmap" writes to that
// descriptor; no shell opens the path, although the log line still shows the
// equivalent "pmap <pid> > <path>" command. SetAccess returns 0, 3 for an
// untracked pointer and 1 when the protection cannot be changed.
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

// Kind of a tracked block (Dump prints the names).
typedef uint32_t EOSMEMTYPE;
enum : uint32_t
{
  OS_MEMTYPE_UNDEFINED = 0,
  OS_MEMTYPE_MALLOC = 1,
  OS_MEMTYPE_GLOBALALLOC = 2,
  OS_MEMTYPE_VIRTUAL = 3,
  OS_MEMTYPE_MEMORYMAP = 4,
  OS_MEMTYPE_EXTERNAL = 5,
  OS_MEMTYPE_DSM = 6,
  OS_MEMTYPE_LAST = 7
};

// Page protection of a tracked mapping.
typedef uint32_t EOSMEMACCESS;
enum : uint32_t
{
  OS_MEMACCESS_NONE = 0,
  OS_MEMACCESS_READ = 1,
  OS_MEMACCESS_READWRITE = 2
};

// Flag bit of Alloc/Free: the block belongs to a foreign allocator.
constexpr uint32_t OS_MEMFLAG_NOTOWNER = 0x8000;

class COsMemImpl;

class COsMem
{
public:
  // a_iOwner: only an owning object destroys its implementation.
  COsMem(EOSMEMMETHOD a_eosmemmethod, int a_iOwner);
  ~COsMem();
  COsMem(const COsMem &) = delete;
  COsMem &operator=(const COsMem &) = delete;

  // Returns a zero-filled block of a_sizetBytes, or null.
  void *Alloc(size_t a_sizetBytes, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, bool a_blLock,
              const char *a_szName);
  // Gives back a block taken with Alloc.
  void Free(void *a_pvMem, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, bool a_blLock);

  // The memory page size (1 without implementation).
  uint32_t GetPageSize();
  // Logs every record in use, or only the one of a_pvHandle when not null.
  void Dump(const void *a_pvHandle);
  // Writes the process memory map to <LogDirectory>/<name>_<hhmmssmmm>.<ext>.
  void DumpSystem(const char *a_szName);
  // Changes the page protection of a tracked mapping.
  [[nodiscard]] EOSSTS SetAccess(void *a_pvMem, EOSMEMACCESS a_eosmemaccess);

private:
  COsMemImpl *m_posmemimpl;
};

// Allocates through the memory service with the caller's file and line.
#define OSMEMALLOC(bytes, name) \
  (g_posmem ? g_posmem->Alloc((bytes), __FILE__, __LINE__, EOSLOGFLAG_MEM, true, (name)) : nullptr)
#define OSMEMFREE(ptr)                                                 \
  do                                                                   \
  {                                                                    \
    if (g_posmem)                                                      \
    {                                                                  \
      g_posmem->Free((ptr), __FILE__, __LINE__, EOSLOGFLAG_MEM, true); \
    }                                                                  \
  } while (0)

#endif  // OS_COSMEM_H
