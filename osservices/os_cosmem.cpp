// os_cosmem.cpp: the tracked allocator. Every block is recorded in a fixed
// table of 2,048 records with its kind and size and counted in running
// totals, so that leaks, double releases and foreign pointers show up in the
// log.
#include "os_cosmem.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "os_cosfilesafe.h"
#include "os_coslog.h"
#include "os_cossync.h"
#include "os_coszerofilled.h"

extern char **environ;

namespace
{

constexpr int OSMEM_RECORDS = 2048;
constexpr size_t OSMEM_SLACK = 64;
constexpr size_t OSMEM_ALIGN = 16;
constexpr uint32_t OSMEM_TRACEMASK = 0x7fff;

const char *const s_aszMemKindName[] = {"undefined", "malloc",   "globalalloc", "virtual",
                                        "memorymap", "external", "dsm",         "last"};

bool MemDebug()
{
  return g_poslog && g_poslog->GetDebugLevel();
}

// The letter of a kind in trace lines; "dsm" shows only on release.
char MemKindLetter(uint32_t a_u32Kind, bool a_blRelease)
{
  static const char s_acLetter[] = {'.', 'm', 'g', 'v', 'f', 'e', 'd', '.'};
  if (a_u32Kind >= sizeof(s_acLetter))
  {
    return '?';
  }
  if (a_u32Kind == OS_MEMTYPE_DSM && !a_blRelease)
  {
    return '.';
  }
  return s_acLetter[a_u32Kind];
}

// The configured log directory; empty (the working directory) without a
// configuration.
const char *LogDirectory()
{
  const char *szDirectory = g_poscfg ? g_poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_LOGDIRECTORY) : nullptr;
  return szDirectory ? szDirectory : "";
}

// Runs "pmap <pid>" (found through PATH) with a_iFd as its standard output
// and waits for it; false when it could not be started.
bool RunToDescriptor(int a_iFd)
{
  char szPid[32];
  snprintf(szPid, sizeof(szPid), "%d", static_cast<int>(getpid()));
  char szProgram[] = "pmap";
  char *apszArgv[] = {szProgram, szPid, nullptr};
  posix_spawn_file_actions_t actions;
  if (posix_spawn_file_actions_init(&actions) != 0)
  {
    return false;
  }
  pid_t pid = -1;
  const bool blStarted = posix_spawn_file_actions_adddup2(&actions, a_iFd, STDOUT_FILENO) == 0 &&
                         posix_spawnp(&pid, szProgram, &actions, nullptr, apszArgv, environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  int iStatus = 0;
  while (blStarted && waitpid(pid, &iStatus, 0) < 0 && errno == EINTR)
  {
  }
  return blStarted;
}

}  // namespace

// One tracked block.
struct OsMemRecord
{
  void *pvAddress;  // null: record free
  uint32_t u32Kind;
  uint32_t u32Size;
  uint32_t u32Offset;  // mapped files
  uint32_t u32View;
  FILE *pfile;
  uint32_t u32Flags;
  char szPath[OS_SIZE_PATH];
};

// Zero-filled: the record table is over a megabyte and mostly unused.
class COsMemImpl : public COsZeroFilled
{
public:
  COsMemImpl(EOSMEMMETHOD a_eosmemmethod, int a_iOwner);

  void *Alloc(size_t a_sizetBytes, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, bool a_blLock,
              const char *a_szName);
  void Free(void *a_pvMem, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, bool a_blLock);
  void Dump(const void *a_pvHandle);
  void DumpSystem(const char *a_szName);
  EOSSTS SetAccess(void *a_pvMem, EOSMEMACCESS a_eosmemaccess);

  int m_iOwner;
  uint32_t m_u32PageSize;

private:
  void *Obtain(size_t a_sizetBytes, EOSLOGFLAG a_eoslogflag, uint32_t *a_pu32Size, uint32_t *a_pu32Kind);
  OsMemRecord *Record(void *a_pvMem, uint32_t a_u32Size, uint32_t a_u32Kind);
  OsMemRecord *Find(const void *a_pvMem);
  void Trace(const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, bool a_blRelease,
             const char *a_szMark, char a_cLetter, const void *a_pvMem, uint32_t a_u32Size,
             const char *a_szName);
  void Release(OsMemRecord *a_posmemrecord, const char *a_szFile, int a_iLine);

  EOSMEMMETHOD m_eosmemmethod;
  uint32_t m_u32AC;
  uint32_t m_u32FC;
  uint32_t m_u32CC;
  uint64_t m_u64CB;
  uint64_t m_u64PB;
  OSSPINLOCK m_lLock;
  OsMemRecord m_aosmemrecord[OSMEM_RECORDS];
};

COsMemImpl::COsMemImpl(EOSMEMMETHOD a_eosmemmethod, int a_iOwner)
{
  long lPage = sysconf(_SC_PAGESIZE);
  m_u32PageSize = (lPage > 0) ? static_cast<uint32_t>(lPage) : 4096;
  m_eosmemmethod = a_eosmemmethod;
  m_iOwner = a_iOwner;
}

void COsMemImpl::Trace(const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, bool a_blRelease,
                       const char *a_szMark, char a_cLetter, const void *a_pvMem, uint32_t a_u32Size,
                       const char *a_szName)
{
  if (!MemDebug())
  {
    return;
  }
  EOSLOGFLAG eoslogflag = a_eoslogflag & OSMEM_TRACEMASK;
  if (a_blRelease)
  {
    g_poslog->Message(a_szFile, a_iLine, eoslogflag,
                      "mem>>> %c-%s AD:%p   SZ:%-9d  AC:%-6d  FC:%-6d  CC:%-6d  CB:%-9llu  PB:%-9llu  FN:%s",
                      a_cLetter, a_szMark, a_pvMem, static_cast<int>(a_u32Size), static_cast<int>(m_u32AC),
                      static_cast<int>(m_u32FC), static_cast<int>(m_u32CC),
                      static_cast<unsigned long long>(m_u64CB), static_cast<unsigned long long>(m_u64PB),
                      a_szName ? a_szName : "");
  }
  else
  {
    g_poslog->Message(a_szFile, a_iLine, eoslogflag,
                      "mem>>> %c+   AD:%p   SZ:%-9d  AC:%-6d  FC:%-6d  CC:%-6d  CB:%-9llu  PB:%-9llu  FN:%s",
                      a_cLetter, a_pvMem, static_cast<int>(a_u32Size), static_cast<int>(m_u32AC),
                      static_cast<int>(m_u32FC), static_cast<int>(m_u32CC),
                      static_cast<unsigned long long>(m_u64CB), static_cast<unsigned long long>(m_u64PB),
                      a_szName ? a_szName : "");
  }
}

// Takes a zero-filled block from the heap (with the slack) or, for shared
// trace blocks, a shared anonymous mapping of whole pages.
void *COsMemImpl::Obtain(size_t a_sizetBytes, EOSLOGFLAG a_eoslogflag, uint32_t *a_pu32Size,
                         uint32_t *a_pu32Kind)
{
  if ((a_eoslogflag & OSMEM_TRACEMASK) == EOSLOGFLAG_MEMSHARED)
  {
    size_t sizeMap = (a_sizetBytes + m_u32PageSize - 1) / m_u32PageSize * m_u32PageSize;
    void *pv = mmap(nullptr, sizeMap ? sizeMap : m_u32PageSize, PROT_READ | PROT_WRITE,
                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    *a_pu32Size = static_cast<uint32_t>(sizeMap);
    *a_pu32Kind = OS_MEMTYPE_VIRTUAL;
    return (pv == MAP_FAILED) ? nullptr : pv;
  }
  if (m_eosmemmethod != OS_MEM_METHOD_MALLOC && m_eosmemmethod != OS_MEM_METHOD_HEAP)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> Unrecognized method...%d", static_cast<int>(m_eosmemmethod));
    return nullptr;
  }
  void *pv = nullptr;
  size_t sizeBlock = a_sizetBytes + OSMEM_SLACK;
  if (sizeBlock < a_sizetBytes || posix_memalign(&pv, OSMEM_ALIGN, sizeBlock) != 0)
  {
    return nullptr;
  }
  memset(pv, 0, sizeBlock);
  *a_pu32Size = static_cast<uint32_t>(sizeBlock);
  *a_pu32Kind = m_eosmemmethod;
  return pv;
}

// The first free record takes the block; null when the table is full.
OsMemRecord *COsMemImpl::Record(void *a_pvMem, uint32_t a_u32Size, uint32_t a_u32Kind)
{
  for (OsMemRecord &record : m_aosmemrecord)
  {
    if (!record.pvAddress)
    {
      record.pvAddress = a_pvMem;
      record.u32Size = a_u32Size;
      record.u32Kind = a_u32Kind;
      return &record;
    }
  }
  return nullptr;
}

OsMemRecord *COsMemImpl::Find(const void *a_pvMem)
{
  for (OsMemRecord &record : m_aosmemrecord)
  {
    if (record.pvAddress == a_pvMem)
    {
      return &record;
    }
  }
  return nullptr;
}

void *COsMemImpl::Alloc(size_t a_sizetBytes, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag,
                        bool a_blLock, const char *a_szName)
{
  if (a_sizetBytes == 0)
  {
    OSLOG(EOSLOGFLAG_ERROR, "mem>>> a_sizetBytes is 0...");
    if (g_poslog)
    {
      g_poslog->Message(a_szFile, a_iLine, EOSLOGFLAG_ASSERT,
                        "mem>>> Error occurred here (we're going to keep going)...");
    }
  }
  if (a_blLock)
  {
    COsSync::SpinLock(&m_lLock);
  }
  m_u32AC++;
  m_u32CC++;
  uint32_t u32Size = 0;
  uint32_t u32Kind = OS_MEMTYPE_UNDEFINED;
  void *pv = Obtain(a_sizetBytes, a_eoslogflag, &u32Size, &u32Kind);
  if (pv)
  {
    OsMemRecord *posmemrecord = Record(pv, u32Size, u32Kind);
    if (!posmemrecord)
    {
      OSLOG(EOSLOGFLAG_ASSERT, "mem>>> No free slots...");
      OSLOG(EOSLOGFLAG_ASSERT, "mem>>> memory manager failed to allocate...");
    }
    m_u64CB += u32Size;
    if (m_u64CB > m_u64PB)
    {
      m_u64PB = m_u64CB;
    }
    Trace(a_szFile, a_iLine, a_eoslogflag, false, "", MemKindLetter(u32Kind, false), pv, u32Size, a_szName);
    if ((a_eoslogflag & OS_MEMFLAG_NOTOWNER) && posmemrecord)
    {
      // Foreign blocks are counted but not kept.
      m_u32FC++;
      m_u32CC--;
      m_u64CB -= u32Size;
      Trace(a_szFile, a_iLine, a_eoslogflag, true, "* ", MemKindLetter(u32Kind, true), pv, u32Size, a_szName);
      posmemrecord->pvAddress = nullptr;
    }
  }
  else if (g_poslog)
  {
    g_poslog->Message(a_szFile, a_iLine, EOSLOGFLAG_ASSERT, "mem>>> Error occurred here...");
  }
  if (a_blLock)
  {
    COsSync::SpinUnlock(&m_lLock);
  }
  if (!pv)
  {
    Dump(nullptr);
    DumpSystem("QrbMemCrash.txt");
  }
  return pv;
}

// Gives the block back by its kind and drops the record.
void COsMemImpl::Release(OsMemRecord *a_posmemrecord, const char *a_szFile, int a_iLine)
{
  void *pv = a_posmemrecord->pvAddress;
  uint32_t u32Kind = a_posmemrecord->u32Kind;
  switch (u32Kind)
  {
    case OS_MEMTYPE_MALLOC:
    case OS_MEMTYPE_GLOBALALLOC:
      memset(a_posmemrecord, 0, sizeof(*a_posmemrecord));
      free(pv);
      break;
    case OS_MEMTYPE_VIRTUAL:
    case OS_MEMTYPE_MEMORYMAP:
      if (munmap(pv, a_posmemrecord->u32Size) != 0)
      {
        OSLOG(EOSLOGFLAG_ASSERT, "munmap failed...%p -> %p v=%u", pv,
              static_cast<void *>(static_cast<char *>(pv) + a_posmemrecord->u32Size),
              a_posmemrecord->u32View);
      }
      memset(a_posmemrecord, 0, sizeof(*a_posmemrecord));
      break;
    default:
      OSLOG(EOSLOGFLAG_ASSERT, "mem>>> Unrecognized eosmemtype...%d", static_cast<int>(u32Kind));
      if (g_poslog)
      {
        g_poslog->Message(a_szFile, a_iLine, EOSLOGFLAG_ERROR, "mem>>> The error occurred here...");
      }
      break;
  }
}

void COsMemImpl::Free(void *a_pvMem, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag,
                      bool a_blLock)
{
  if (!a_pvMem)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> Attempt to free a NULL value...");
    if (g_poslog)
    {
      g_poslog->Message(a_szFile, a_iLine, EOSLOGFLAG_ERROR, "mem>>> The error occurred here...");
    }
    return;
  }
  if (a_eoslogflag & OS_MEMFLAG_NOTOWNER)
  {
    if (MemDebug())
    {
      OSLOG(EOSLOGFLAG_INFO, "mem>>> freeing value given to us by another DLL...%p", a_pvMem);
    }
    free(a_pvMem);
    return;
  }
  if (a_blLock)
  {
    COsSync::SpinLock(&m_lLock);
  }
  OsMemRecord *posmemrecord = Find(a_pvMem);
  if (!posmemrecord)
  {
    // A pointer that was never allocated here is deliberately left alone.
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> Can't find managed item...%p", a_pvMem);
    if (g_poslog)
    {
      g_poslog->Message(a_szFile, a_iLine, EOSLOGFLAG_ERROR, "mem>>> The error occurred here...");
    }
  }
  else
  {
    m_u32FC++;
    m_u32CC--;
    m_u64CB -= posmemrecord->u32Size;
    Trace(a_szFile, a_iLine, a_eoslogflag, true, "  ", MemKindLetter(posmemrecord->u32Kind, true), a_pvMem,
          posmemrecord->u32Size, "");
    Release(posmemrecord, a_szFile, a_iLine);
  }
  if (a_blLock)
  {
    COsSync::SpinUnlock(&m_lLock);
  }
}

void COsMemImpl::Dump(const void *a_pvHandle)
{
  OSLOG(EOSLOGFLAG_INFO, "mem>>> OsMemDump begin...");
  for (int ii = 0; ii < OSMEM_RECORDS; ii++)
  {
    const OsMemRecord &record = m_aosmemrecord[ii];
    if (!record.pvAddress || (a_pvHandle && record.pvAddress != a_pvHandle))
    {
      continue;
    }
    char szKind[16];
    if (record.u32Kind < sizeof(s_aszMemKindName) / sizeof(s_aszMemKindName[0]))
    {
      snprintf(szKind, sizeof(szKind), "%s", s_aszMemKindName[record.u32Kind]);
    }
    else
    {
      snprintf(szKind, sizeof(szKind), "?%d", static_cast<int>(record.u32Kind));
    }
    OSLOG(EOSLOGFLAG_INFO, "mem>>> %04d %12s %p(%p) s:%u o:%u v:%u f:%p <%s>", ii, szKind, record.pvAddress,
          static_cast<const void *>(&record), record.u32Size, record.u32Offset, record.u32View,
          static_cast<void *>(record.pfile), record.szPath);
  }
  OSLOG(EOSLOGFLAG_INFO, "mem>>> OsMemDump end...");
}

// <LogDirectory>/<name>_<hhmmssmmm><.ext>, or QrbMem_<hhmmssmmm>.txt.
void COsMemImpl::DumpSystem(const char *a_szName)
{
  struct timeval tv;
  struct tm tmNow;
  gettimeofday(&tv, nullptr);
  time_t t = tv.tv_sec;
  localtime_r(&t, &tmNow);
  char szSuffix[32];
  snprintf(szSuffix, sizeof(szSuffix), "_%02d%02d%02d%03d", tmNow.tm_hour, tmNow.tm_min, tmNow.tm_sec,
           static_cast<int>(tv.tv_usec / 1000));
  char szName[OS_SIZE_PATH];
  const char *szExtension = a_szName ? strrchr(a_szName, '.') : nullptr;
  if (!a_szName)
  {
    snprintf(szName, sizeof(szName), "QrbMem%s.txt", szSuffix);
  }
  else if (!szExtension)
  {
    snprintf(szName, sizeof(szName), "%s%s", a_szName, szSuffix);
  }
  else
  {
    snprintf(szName, sizeof(szName), "%.*s%s%s", static_cast<int>(szExtension - a_szName), a_szName, szSuffix,
             szExtension);
  }
  const char *szDirectory = LogDirectory();
  char szPath[OS_SIZE_TEXT];
  snprintf(szPath, sizeof(szPath), "%s%s%s", szDirectory, *szDirectory ? "/" : "", szName);
  // Created like a file of the file object, never through a link or into a
  // FIFO; pmap writes to the descriptor, so no shell opens the path again.
  const int iFd = OsFileOpenWrite(szPath, O_WRONLY | O_CREAT | O_TRUNC, OsCfgFileCreationMode(szPath, nullptr),
                                  OS_WRITER_PRIVATE);
  if (iFd < 0)
  {
    OSLOG(EOSLOGFLAG_ERROR, "mem>>> error creating...<%s>", szPath);
    return;
  }
  char szCommand[1200];
  snprintf(szCommand, sizeof(szCommand), "pmap %d > \"%s\"", static_cast<int>(getpid()), szPath);
  if (MemDebug())
  {
    OSLOG(EOSLOGFLAG_INFO, "system: %s (%s)", szCommand, szPath);
  }
  if (!RunToDescriptor(iFd))
  {
    OSLOG(EOSLOGFLAG_ERROR, "mem>>> error creating...<%s>", szPath);
  }
  close(iFd);
}

EOSSTS COsMemImpl::SetAccess(void *a_pvMem, EOSMEMACCESS a_eosmemaccess)
{
  OsMemRecord *posmemrecord = Find(a_pvMem);
  if (!a_pvMem || !posmemrecord)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> Can't find managed item...%p", a_pvMem);
    return EOSSTS_BADARG;
  }
  int iProt = (a_eosmemaccess == OS_MEMACCESS_READWRITE) ? (PROT_READ | PROT_WRITE)
              : (a_eosmemaccess == OS_MEMACCESS_READ)    ? PROT_READ
                                                         : PROT_NONE;
  if (mprotect(a_pvMem, posmemrecord->u32Size, iProt) != 0)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> mprotect failed...");
    return EOSSTS_FAIL;
  }
  return EOSSTS_OK;
}

// ---- COsMem ------------------------------------------------------------------

COsMem::COsMem(EOSMEMMETHOD a_eosmemmethod, int a_iOwner) : m_posmemimpl(nullptr)
{
  g_posmem = this;
  m_posmemimpl = new (std::nothrow) COsMemImpl(a_eosmemmethod, a_iOwner);
}

COsMem::~COsMem()
{
  if (m_posmemimpl && m_posmemimpl->m_iOwner)
  {
    if (MemDebug())
    {
      OSLOG(EOSLOGFLAG_INFO, "mem>>> addr:%p delete-object", static_cast<void *>(m_posmemimpl));
    }
    delete m_posmemimpl;
  }
  m_posmemimpl = nullptr;
  g_posmem = nullptr;
}

void *COsMem::Alloc(size_t a_sizetBytes, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag,
                    bool a_blLock, const char *a_szName)
{
  if (!m_posmemimpl)
  {
    OSLOG(EOSLOGFLAG_ERROR, "mem>>> m_posmemimpl is null...");
    if (g_poslog)
    {
      g_poslog->Message(a_szFile, a_iLine, EOSLOGFLAG_ASSERT, "mem>>> Error occurred here...");
    }
    return nullptr;
  }
  return m_posmemimpl->Alloc(a_sizetBytes, a_szFile, a_iLine, a_eoslogflag, a_blLock, a_szName);
}

void COsMem::Free(void *a_pvMem, const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, bool a_blLock)
{
  if (!m_posmemimpl)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> m_posmemimpl is null...");
    return;
  }
  m_posmemimpl->Free(a_pvMem, a_szFile, a_iLine, a_eoslogflag, a_blLock);
}

uint32_t COsMem::GetPageSize()
{
  if (!m_posmemimpl)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> m_posmemimpl is null...");
    return 1;
  }
  return m_posmemimpl->m_u32PageSize;
}

void COsMem::Dump(const void *a_pvHandle)
{
  if (!m_posmemimpl)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> m_posmemimpl is null...");
    return;
  }
  m_posmemimpl->Dump(a_pvHandle);
}

void COsMem::DumpSystem(const char *a_szName)
{
  if (!m_posmemimpl)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> m_posmemimpl is null...");
    return;
  }
  m_posmemimpl->DumpSystem(a_szName);
}

EOSSTS COsMem::SetAccess(void *a_pvMem, EOSMEMACCESS a_eosmemaccess)
{
  if (!m_posmemimpl)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "mem>>> m_posmemimpl is null...");
    return EOSSTS_FAIL;
  }
  return m_posmemimpl->SetAccess(a_pvMem, a_eosmemaccess);
}
