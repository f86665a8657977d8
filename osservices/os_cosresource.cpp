// os_cosresource.cpp: the resource table at the end of a file, the mapping
// of one block, the walk over the names, and the rewrite that adds or
// replaces a block.
#include "os_cosresource.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "os_coscfg.h"
#include "os_coscfgtags.h"
#include "os_cosfile.h"
#include "os_coslog.h"
#include "os_cosstring.h"

namespace
{

constexpr uint32_t s_u32MarkerLength = 9;
// Entry of the first block appended, as a signed index for downward walks.
constexpr int s_iFirstEntry = OS_RESOURCE_FIRSTENTRY;
// A block must be reachable with 32-bit mapping arithmetic.
constexpr uint64_t s_u64MaxMapping = UINT32_MAX;

uint32_t ReadLe32(const uint8_t *a_pu8)
{
  return static_cast<uint32_t>(a_pu8[0]) | (static_cast<uint32_t>(a_pu8[1]) << 8) |
         (static_cast<uint32_t>(a_pu8[2]) << 16) | (static_cast<uint32_t>(a_pu8[3]) << 24);
}

void WriteLe32(uint8_t *a_pu8, uint32_t a_u32Value)
{
  for (int ii = 0; ii < 4; ii++)
  {
    a_pu8[ii] = static_cast<uint8_t>(a_u32Value >> (8 * ii));
  }
}

uint64_t PageSize()
{
  long lPage = sysconf(_SC_PAGESIZE);
  return lPage > 0 ? static_cast<uint64_t>(lPage) : 4096;
}

// One entry of the table, decoded.
struct OsResourceEntry
{
  char szName[OS_RESOURCE_NAMESIZE + 1];
  uint64_t u64Offset;  // both halves of the offset field
  uint32_t u32Size;
};

const uint8_t *EntryBytes(const uint8_t *a_pu8Table, uint32_t a_u32Index)
{
  return a_pu8Table + a_u32Index * OS_RESOURCE_ENTRYSIZE;
}

bool EntryIsEmpty(const uint8_t *a_pu8Table, uint32_t a_u32Index)
{
  return EntryBytes(a_pu8Table, a_u32Index)[0] == 0;
}

OsResourceEntry DecodeEntry(const uint8_t *a_pu8Table, uint32_t a_u32Index)
{
  const uint8_t *pu8 = EntryBytes(a_pu8Table, a_u32Index);
  OsResourceEntry osresourceentry = {};
  memcpy(osresourceentry.szName, pu8, OS_RESOURCE_NAMESIZE);
  osresourceentry.u64Offset = ReadLe32(pu8 + OS_RESOURCE_OFFSETFIELD) |
                              (static_cast<uint64_t>(ReadLe32(pu8 + OS_RESOURCE_OFFSETHIGHFIELD)) << 32);
  osresourceentry.u32Size = ReadLe32(pu8 + OS_RESOURCE_SIZEFIELD);
  return osresourceentry;
}

void EncodeEntry(uint8_t *a_pu8Table, uint32_t a_u32Index, const char *a_szName, uint32_t a_u32Offset,
                 uint32_t a_u32Size)
{
  uint8_t *pu8 = a_pu8Table + a_u32Index * OS_RESOURCE_ENTRYSIZE;
  memset(pu8, 0, OS_RESOURCE_ENTRYSIZE);
  memcpy(pu8, a_szName, strnlen(a_szName, OS_RESOURCE_NAMESIZE));
  WriteLe32(pu8 + OS_RESOURCE_OFFSETFIELD, a_u32Offset);
  WriteLe32(pu8 + OS_RESOURCE_SIZEFIELD, a_u32Size);
}

bool TableHasMarker(const uint8_t *a_pu8Table)
{
  return memcmp(EntryBytes(a_pu8Table, OS_RESOURCE_MARKERENTRY), OS_RESOURCE_MARKER, s_u32MarkerLength) == 0;
}

void InitTable(uint8_t *a_pu8Table)
{
  memset(a_pu8Table, 0, OS_RESOURCE_TABLESIZE);
  memcpy(a_pu8Table + OS_RESOURCE_MARKERENTRY * OS_RESOURCE_ENTRYSIZE, OS_RESOURCE_MARKER, s_u32MarkerLength);
}

// The block of an entry lies inside a file of a_u64FileSize bytes and can be
// mapped with 32-bit arithmetic from its page-aligned offset.
bool EntryFits(const OsResourceEntry &a_osresourceentry, uint64_t a_u64FileSize)
{
  uint64_t u64Offset = a_osresourceentry.u64Offset;
  uint64_t u64Size = a_osresourceentry.u32Size;
  if (u64Offset > a_u64FileSize || u64Size > a_u64FileSize - u64Offset)
  {
    return false;
  }
  uint64_t u64Mapping = (u64Offset % PageSize()) + u64Size;
  return u64Mapping <= s_u64MaxMapping && u64Mapping <= SIZE_MAX &&
         u64Offset <= static_cast<uint64_t>(std::numeric_limits<off_t>::max());
}

// Path of the running program: the configured DriverPath, else the module
// holding this code, else the kernel's link to the executable.
void LocalPath(char *a_szPath, uint32_t a_u32Size)
{
  a_szPath[0] = 0;
  const char *szDriverPath = g_poscfg ? g_poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_DRIVERPATH) : nullptr;
  if (szDriverPath && *szDriverPath)
  {
    COsString::SStrCpy(a_szPath, a_u32Size, szDriverPath);
    return;
  }
  COsCfg::GetModuleName(reinterpret_cast<const void *>(&LocalPath), a_szPath, a_u32Size, false);
  if (a_szPath[0] == '/')
  {
    return;
  }
  ssize_t sLength = readlink("/proc/self/exe", a_szPath, a_u32Size - 1);
  a_szPath[sLength > 0 ? sLength : 0] = 0;
}

// The file to read: the running program for "OsResourceGetLocal", else the
// name made absolute (kept as given when that fails; open then reports it).
void ResolvePath(const char *a_szFile, char *a_szPath, uint32_t a_u32Size)
{
  a_szPath[0] = 0;
  if (!strcmp(a_szFile, OS_RESOURCE_LOCAL))
  {
    LocalPath(a_szPath, a_u32Size);
    return;
  }
  if (COsFile::PathAbsolute(a_szPath, a_u32Size, a_szFile) != EOSSTS_OK)
  {
    COsString::SStrCpy(a_szPath, a_u32Size, a_szFile);
  }
}

// Reads a_sizetBytes at a_u64Offset whole; false on an error or an early end.
bool ReadAt(int a_iFd, void *a_pv, size_t a_sizetBytes, uint64_t a_u64Offset);

// Closes a descriptor the helpers opened, keeping the caller's errno.
void CloseFd(int a_iFd)
{
  int iErrno = errno;
  close(a_iFd);
  errno = iErrno;
}

}  // namespace

// The state of one resource object.
class COsResourceImpl
{
public:
  COsResourceImpl();
  ~COsResourceImpl();
  COsResourceImpl(const COsResourceImpl &) = delete;
  COsResourceImpl &operator=(const COsResourceImpl &) = delete;

  EOSSTS Open(const char *a_szFile, const char *a_szName);
  const void *GetPointer() const { return m_pvData; }
  uint32_t GetSize() const { return m_u32Size; }
  void Close();
  EOSSTS FindFirst(const char *a_szFile, OsResourceInfo *a_posresourceinfo);
  EOSSTS FindNext(OsResourceInfo *a_posresourceinfo);
  void FindClose();

private:
  EOSSTS LoadTable(const char *a_szPath, const char *a_szName);
  int FindEntry(const char *a_szName) const;
  EOSSTS MapEntry(int a_iIndex, const char *a_szName, const char *a_szPath);

  const void *m_pvData;    // the block handed out, null when closed
  uint32_t m_u32Size;      // its size
  void *m_pvMapping;       // the current mapping
  size_t m_sizetMapping;   // and its length
  int m_iFd;               // the open file, -1 when closed
  uint64_t m_u64FileSize;  // size of the file the table came from
  int m_iFindIndex;        // entry a walk reported last; 0 when no walk
  bool m_blFinding;        // a FindFirst walk is active
  uint8_t m_au8Table[OS_RESOURCE_TABLESIZE];
};

COsResourceImpl::COsResourceImpl()
    : m_pvData(nullptr),
      m_u32Size(0),
      m_pvMapping(nullptr),
      m_sizetMapping(0),
      m_iFd(-1),
      m_u64FileSize(0),
      m_iFindIndex(0),
      m_blFinding(false),
      m_au8Table()
{
}

COsResourceImpl::~COsResourceImpl()
{
  Close();
}

// Opens a_szPath and copies its table. On success the file stays open; on
// any failure everything is closed again.
EOSSTS COsResourceImpl::LoadTable(const char *a_szPath, const char *a_szName)
{
  // Non-blocking, so that a FIFO planted at the path cannot hang the open.
  m_iFd = open(a_szPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (m_iFd < 0)
  {
    OSLOGDBG("open failed...<%s> <%s>", a_szName, a_szPath);
    return EOSSTS_FAIL;
  }
  struct stat statFile;
  if (fstat(m_iFd, &statFile) != 0 || !S_ISREG(statFile.st_mode))
  {
    OSLOGDBG("not a regular file...<%s> <%s>", a_szName, a_szPath);
    Close();
    return EOSSTS_FAIL;
  }
  // The table is read from a file of at least two pages (the tail that
  // would be mapped starts two pages before the end). It is read rather
  // than mapped: mapping and unmapping the tail cost ten times as much.
  m_u64FileSize = static_cast<uint64_t>(statFile.st_size);
  if (m_u64FileSize < 2 * PageSize())
  {
    OSLOGDBG("file too small for a resource table...<%s> <%s>", a_szName, a_szPath);
    Close();
    return EOSSTS_FAIL;
  }
  if (!ReadAt(m_iFd, m_au8Table, OS_RESOURCE_TABLESIZE, m_u64FileSize - OS_RESOURCE_TABLESIZE))
  {
    OSLOGDBG("mmap failed...<%s> <%s>", a_szName, a_szPath);
    Close();
    return EOSSTS_FAIL;
  }
  if (!TableHasMarker(m_au8Table))
  {
    OSLOGDBG("resource footer not found...<%s> <%s>", a_szName, a_szPath);
    Close();
    return EOSSTS_NOTFOUND;
  }
  return EOSSTS_OK;
}

// Index of the entry for a_szName, or -1. The search runs from entry 62
// down and ends at the first empty entry. When 62..1 are all in use and none
// matches, entry 0 is taken whatever its name: a full table yields its
// bottom entry for any unknown name, on purpose.
int COsResourceImpl::FindEntry(const char *a_szName) const
{
  for (int ii = s_iFirstEntry; ii >= 1; ii--)
  {
    if (EntryIsEmpty(m_au8Table, ii))
    {
      return -1;
    }
    OsResourceEntry osresourceentry = DecodeEntry(m_au8Table, ii);
    OSLOGDBG("searching...%02d <%s> <%s>", ii, a_szName, osresourceentry.szName);
    if (!strcasecmp(osresourceentry.szName, a_szName))
    {
      return ii;
    }
  }
  return EntryIsEmpty(m_au8Table, 0) ? -1 : 0;
}

// Maps the block of entry a_iIndex and hands out its address.
EOSSTS COsResourceImpl::MapEntry(int a_iIndex, const char *a_szName, const char *a_szPath)
{
  OsResourceEntry osresourceentry = DecodeEntry(m_au8Table, a_iIndex);
  if (!EntryFits(osresourceentry, m_u64FileSize))
  {
    OSLOGDBG("resource entry outside the file...<%s> <%s>", a_szName, a_szPath);
    return EOSSTS_NOTFOUND;
  }
  uint64_t u64Page = PageSize();
  uint64_t u64Aligned = osresourceentry.u64Offset / u64Page * u64Page;
  size_t sizetDelta = static_cast<size_t>(osresourceentry.u64Offset - u64Aligned);
  // An empty block still gets a one-byte mapping, so its address is valid.
  size_t sizetMapping = sizetDelta + osresourceentry.u32Size;
  sizetMapping = sizetMapping ? sizetMapping : 1;
  void *pvMapping =
      mmap(nullptr, sizetMapping, PROT_READ, MAP_PRIVATE, m_iFd, static_cast<off_t>(u64Aligned));
  if (pvMapping == MAP_FAILED)
  {
    OSLOGDBG("mmap failed...<%s> <%s>", a_szName, a_szPath);
    return EOSSTS_FAIL;
  }
  m_pvMapping = pvMapping;
  m_sizetMapping = sizetMapping;
  m_pvData = static_cast<const uint8_t *>(pvMapping) + sizetDelta;
  m_u32Size = osresourceentry.u32Size;
  return EOSSTS_OK;
}

EOSSTS COsResourceImpl::Open(const char *a_szFile, const char *a_szName)
{
  if (m_pvData || m_iFd >= 0)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "this osresource is already in use...");
    return EOSSTS_FAIL;
  }
  if (!a_szFile || !a_szName || !*a_szName)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "bad argument...%p %p", static_cast<const void *>(a_szFile),
          static_cast<const void *>(a_szName));
    return EOSSTS_BADARG;
  }
  FindClose();
  char szPath[OS_SIZE_PATH];
  ResolvePath(a_szFile, szPath, sizeof(szPath));
  EOSSTS eossts = LoadTable(szPath, a_szName);
  if (eossts != EOSSTS_OK)
  {
    return eossts;
  }
  int iIndex = FindEntry(a_szName);
  if (iIndex < 0)
  {
    OSLOGDBG("FindResource failed...<%s>", a_szName);
    Close();
    return EOSSTS_NOTFOUND;
  }
  eossts = MapEntry(iIndex, a_szName, szPath);
  if (eossts != EOSSTS_OK)
  {
    Close();
  }
  return eossts;
}

void COsResourceImpl::Close()
{
  if (m_pvMapping)
  {
    munmap(m_pvMapping, m_sizetMapping);
  }
  if (m_iFd >= 0)
  {
    close(m_iFd);
  }
  m_pvData = nullptr;
  m_u32Size = 0;
  m_pvMapping = nullptr;
  m_sizetMapping = 0;
  m_iFd = -1;
  errno = 0;
}

EOSSTS COsResourceImpl::FindFirst(const char *a_szFile, OsResourceInfo *a_posresourceinfo)
{
  if (m_pvData || m_iFd >= 0)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "this osresource is already in use...");
    return EOSSTS_FAIL;
  }
  if (!a_szFile || !a_posresourceinfo)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "bad argument...%p %p", static_cast<const void *>(a_szFile),
          static_cast<void *>(a_posresourceinfo));
    return EOSSTS_BADARG;
  }
  FindClose();
  char szPath[OS_SIZE_PATH];
  ResolvePath(a_szFile, szPath, sizeof(szPath));
  EOSSTS eossts = LoadTable(szPath, "");
  if (eossts != EOSSTS_OK)
  {
    return eossts;
  }
  // The walk needs only the table copy and the file size.
  CloseFd(m_iFd);
  m_iFd = -1;
  m_blFinding = true;
  m_iFindIndex = s_iFirstEntry + 1;
  return FindNext(a_posresourceinfo);
}

// Walks down from the entry reported last, ending at the first empty entry
// like Open's search and skipping entries whose block lies outside the file.
EOSSTS COsResourceImpl::FindNext(OsResourceInfo *a_posresourceinfo)
{
  if (!a_posresourceinfo)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "a_posresourceinfo is null...");
    return EOSSTS_BADARG;
  }
  while (m_blFinding && m_iFindIndex > 0)
  {
    m_iFindIndex--;
    if (EntryIsEmpty(m_au8Table, m_iFindIndex))
    {
      break;
    }
    OsResourceEntry osresourceentry = DecodeEntry(m_au8Table, m_iFindIndex);
    if (!EntryFits(osresourceentry, m_u64FileSize))
    {
      continue;
    }
    a_posresourceinfo->u32Index = static_cast<uint32_t>(m_iFindIndex);
    memcpy(a_posresourceinfo->szName, osresourceentry.szName, sizeof(a_posresourceinfo->szName));
    a_posresourceinfo->u32Offset = static_cast<uint32_t>(osresourceentry.u64Offset);
    a_posresourceinfo->u32Size = osresourceentry.u32Size;
    return EOSSTS_OK;
  }
  FindClose();
  return EOSSTS_NOTFOUND;
}

void COsResourceImpl::FindClose()
{
  m_blFinding = false;
  m_iFindIndex = 0;
}

// ---------------------------------------------------------------------------
// Update: the file is rewritten as image, blocks in entry order, table.

namespace
{

constexpr int s_iMaxEntries = s_iFirstEntry + 1;  // entries 62..0
constexpr size_t s_sizetCopyChunk = 16384;

bool ReadAt(int a_iFd, void *a_pv, size_t a_sizetBytes, uint64_t a_u64Offset)
{
  uint8_t *pu8 = static_cast<uint8_t *>(a_pv);
  while (a_sizetBytes)
  {
    ssize_t sRead = pread(a_iFd, pu8, a_sizetBytes, static_cast<off_t>(a_u64Offset));
    if (sRead < 0 && errno == EINTR)
    {
      continue;
    }
    if (sRead <= 0)
    {
      return false;
    }
    pu8 += sRead;
    a_sizetBytes -= static_cast<size_t>(sRead);
    a_u64Offset += static_cast<uint64_t>(sRead);
  }
  return true;
}

bool WriteAll(int a_iFd, const void *a_pv, size_t a_sizetBytes)
{
  const uint8_t *pu8 = static_cast<const uint8_t *>(a_pv);
  while (a_sizetBytes)
  {
    ssize_t sWritten = write(a_iFd, pu8, a_sizetBytes);
    if (sWritten < 0 && errno == EINTR)
    {
      continue;
    }
    if (sWritten <= 0)
    {
      return false;
    }
    pu8 += sWritten;
    a_sizetBytes -= static_cast<size_t>(sWritten);
  }
  return true;
}

bool CopyRange(int a_iFdIn, uint64_t a_u64Offset, uint64_t a_u64Bytes, int a_iFdOut)
{
  uint8_t au8Chunk[s_sizetCopyChunk];
  while (a_u64Bytes)
  {
    size_t sizetChunk = a_u64Bytes < s_sizetCopyChunk ? static_cast<size_t>(a_u64Bytes) : s_sizetCopyChunk;
    if (!ReadAt(a_iFdIn, au8Chunk, sizetChunk, a_u64Offset) || !WriteAll(a_iFdOut, au8Chunk, sizetChunk))
    {
      return false;
    }
    a_u64Offset += sizetChunk;
    a_u64Bytes -= sizetChunk;
  }
  return true;
}

// What Update needs to know about the file as it is.
struct OsResourceFile
{
  int iFd;
  uint64_t u64Size;
  mode_t modeFile;
  uint8_t au8Table[OS_RESOURCE_TABLESIZE];  // the existing table, or a fresh one
  uint64_t u64ImageEnd;                     // where the program image ends
  int iCount;                               // entries in use, 62 downward
};

// Reads the existing table, if any. Every entry in use must lie before the
// table, else the table is corrupt and the file is left alone.
EOSSTS ReadExistingTable(OsResourceFile *a_posresourcefile, const char *a_szFile)
{
  OsResourceFile &file = *a_posresourcefile;
  file.iCount = 0;
  file.u64ImageEnd = file.u64Size;
  if (file.u64Size >= OS_RESOURCE_TABLESIZE)
  {
    uint64_t u64TableAt = file.u64Size - OS_RESOURCE_TABLESIZE;
    if (!ReadAt(file.iFd, file.au8Table, OS_RESOURCE_TABLESIZE, u64TableAt))
    {
      OSLOG(EOSLOGFLAG_ERROR, "read failed...<%s> %d", a_szFile, errno);
      return EOSSTS_FAIL;
    }
    if (TableHasMarker(file.au8Table))
    {
      file.u64ImageEnd = u64TableAt;
      for (; file.iCount < s_iMaxEntries; file.iCount++)
      {
        int iIndex = s_iFirstEntry - file.iCount;
        if (EntryIsEmpty(file.au8Table, iIndex))
        {
          break;
        }
        OsResourceEntry osresourceentry = DecodeEntry(file.au8Table, iIndex);
        if (!EntryFits(osresourceentry, u64TableAt))
        {
          OSLOG(EOSLOGFLAG_ERROR, "resource table is corrupt...<%s> %02d", a_szFile, iIndex);
          return EOSSTS_FAIL;
        }
        file.u64ImageEnd = std::min(file.u64ImageEnd, osresourceentry.u64Offset);
      }
      return EOSSTS_OK;
    }
  }
  InitTable(file.au8Table);
  return EOSSTS_OK;
}

// Entry of the block named a_szName (compared without regard to case), or
// the next free entry when there is none; -1 when the table is full.
int EntryForName(const OsResourceFile &a_osresourcefile, const char *a_szName)
{
  for (int ii = 0; ii < a_osresourcefile.iCount; ii++)
  {
    int iIndex = s_iFirstEntry - ii;
    if (!strcasecmp(DecodeEntry(a_osresourcefile.au8Table, iIndex).szName, a_szName))
    {
      return iIndex;
    }
  }
  return s_iFirstEntry - a_osresourcefile.iCount;
}

// Lays the blocks out after the image in entry order, with entry
// a_iNewIndex holding a_szName and a_u32Size bytes; fills a_pu8Table.
EOSSTS PlanTable(const OsResourceFile &a_osresourcefile, int a_iNewIndex, const char *a_szName,
                 uint32_t a_u32Size, uint8_t *a_pu8Table)
{
  InitTable(a_pu8Table);
  uint64_t u64Cursor = a_osresourcefile.u64ImageEnd;
  int iLast = std::min(a_iNewIndex, s_iFirstEntry - a_osresourcefile.iCount + 1);
  for (int iIndex = s_iFirstEntry; iIndex >= iLast; iIndex--)
  {
    OsResourceEntry osresourceentry = DecodeEntry(a_osresourcefile.au8Table, iIndex);
    bool blNew = iIndex == a_iNewIndex;
    uint32_t u32Size = blNew ? a_u32Size : osresourceentry.u32Size;
    if (u64Cursor > UINT32_MAX)
    {
      OSLOG(EOSLOGFLAG_ERROR, "file too large for a resource table...<%s>", a_szName);
      return EOSSTS_NOFIT;
    }
    EncodeEntry(a_pu8Table, iIndex, blNew ? a_szName : osresourceentry.szName,
                static_cast<uint32_t>(u64Cursor), u32Size);
    u64Cursor += u32Size;
  }
  return EOSSTS_OK;
}

// Writes the image, the blocks of a_pu8Table and the table to a_iFdOut.
bool WriteResourceFile(const OsResourceFile &a_osresourcefile, const uint8_t *a_pu8Table, int a_iNewIndex,
                       const void *a_pvData, int a_iFdOut)
{
  if (!CopyRange(a_osresourcefile.iFd, 0, a_osresourcefile.u64ImageEnd, a_iFdOut))
  {
    return false;
  }
  for (int iIndex = s_iFirstEntry; iIndex >= 0 && !EntryIsEmpty(a_pu8Table, iIndex); iIndex--)
  {
    OsResourceEntry osresourceentry = DecodeEntry(a_pu8Table, iIndex);
    if (iIndex == a_iNewIndex)
    {
      if (!WriteAll(a_iFdOut, a_pvData, osresourceentry.u32Size))
      {
        return false;
      }
      continue;
    }
    // Unchanged blocks keep their entry number, so the old entry says
    // where the block is now.
    OsResourceEntry osresourceentryOld = DecodeEntry(a_osresourcefile.au8Table, iIndex);
    if (!CopyRange(a_osresourcefile.iFd, osresourceentryOld.u64Offset, osresourceentryOld.u32Size, a_iFdOut))
    {
      return false;
    }
  }
  return WriteAll(a_iFdOut, a_pu8Table, OS_RESOURCE_TABLESIZE);
}

// Writes the new contents to a temporary file beside a_szFile and renames
// it into place.
EOSSTS ReplaceFile(const char *a_szFile, const OsResourceFile &a_osresourcefile, const uint8_t *a_pu8Table,
                   int a_iNewIndex, const void *a_pvData)
{
  char szTemp[OS_SIZE_PATH + 32];
  if (COsString::SStrPrintf(szTemp, sizeof(szTemp), "%s.osresource.XXXXXX", a_szFile) < 0)
  {
    return EOSSTS_BADARG;
  }
  int iFdOut = mkostemp(szTemp, O_CLOEXEC);
  if (iFdOut < 0)
  {
    OSLOG(EOSLOGFLAG_ERROR, "mkostemp failed...<%s> %d", szTemp, errno);
    return EOSSTS_FAIL;
  }
  bool blOk = WriteResourceFile(a_osresourcefile, a_pu8Table, a_iNewIndex, a_pvData, iFdOut) &&
              fchmod(iFdOut, a_osresourcefile.modeFile & 07777) == 0 && fsync(iFdOut) == 0;
  blOk = close(iFdOut) == 0 && blOk;
  if (!blOk || rename(szTemp, a_szFile) != 0)
  {
    OSLOG(EOSLOGFLAG_ERROR, "write failed...<%s> %d", a_szFile, errno);
    unlink(szTemp);
    return EOSSTS_FAIL;
  }
  return EOSSTS_OK;
}

// Opens the file to update: an existing regular file, not a symbolic link.
EOSSTS OpenForUpdate(const char *a_szFile, OsResourceFile *a_posresourcefile)
{
  a_posresourcefile->iFd = open(a_szFile, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
  if (a_posresourcefile->iFd < 0)
  {
    OSLOG(EOSLOGFLAG_ERROR, "open failed...<%s> %d", a_szFile, errno);
    return errno == ENOENT ? EOSSTS_FILENOTFOUND : EOSSTS_FAIL;
  }
  struct stat statFile;
  if (fstat(a_posresourcefile->iFd, &statFile) != 0 || !S_ISREG(statFile.st_mode))
  {
    OSLOG(EOSLOGFLAG_ERROR, "not a regular file...<%s>", a_szFile);
    CloseFd(a_posresourcefile->iFd);
    return EOSSTS_FAIL;
  }
  a_posresourcefile->u64Size = static_cast<uint64_t>(statFile.st_size);
  a_posresourcefile->modeFile = statFile.st_mode;
  return EOSSTS_OK;
}

EOSSTS CheckUpdateArguments(const char *a_szFile, const char *a_szName, EOSRESOURCETYPE a_eosresourcetype,
                            const void *a_pvData, uint32_t a_u32Size)
{
  if (a_eosresourcetype != EOSRESOURCETYPE_DATA && a_eosresourcetype != EOSRESOURCETYPE_VERSION)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "Unrecognized resource type: %d", static_cast<int>(a_eosresourcetype));
    return EOSSTS_BADARG;
  }
  if (!a_szFile || !*a_szFile || !a_szName || !*a_szName || (!a_pvData && a_u32Size))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "bad argument...%p %p %p", static_cast<const void *>(a_szFile),
          static_cast<const void *>(a_szName), a_pvData);
    return EOSSTS_BADARG;
  }
  if (strlen(a_szName) >= OS_RESOURCE_NAMESIZE || strlen(a_szFile) >= OS_SIZE_PATH)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "name too long...<%s>", a_szName);
    return EOSSTS_BADARG;
  }
  return EOSSTS_OK;
}

}  // namespace

EOSSTS COsResource::Update(const char *a_szFile, const char *a_szName, EOSRESOURCETYPE a_eosresourcetype,
                           const void *a_pvData, uint32_t a_u32Size)
{
  EOSSTS eossts = CheckUpdateArguments(a_szFile, a_szName, a_eosresourcetype, a_pvData, a_u32Size);
  if (eossts != EOSSTS_OK)
  {
    return eossts;
  }
  std::unique_ptr<OsResourceFile> posresourcefile(new (std::nothrow) OsResourceFile());
  std::unique_ptr<uint8_t[]> pu8Table(new (std::nothrow) uint8_t[OS_RESOURCE_TABLESIZE]);
  if (!posresourcefile || !pu8Table)
  {
    OSLOG(EOSLOGFLAG_ERROR, "alloc for COsResource::Update failed...");
    return EOSSTS_FAIL;
  }
  eossts = OpenForUpdate(a_szFile, posresourcefile.get());
  if (eossts != EOSSTS_OK)
  {
    return eossts;
  }
  int iNewIndex = -1;
  eossts = ReadExistingTable(posresourcefile.get(), a_szFile);
  if (eossts == EOSSTS_OK)
  {
    iNewIndex = EntryForName(*posresourcefile, a_szName);
    if (iNewIndex < 0)
    {
      OSLOG(EOSLOGFLAG_ERROR, "resource table full...<%s>", a_szName);
      eossts = EOSSTS_NOFIT;
    }
  }
  if (eossts == EOSSTS_OK)
  {
    eossts = PlanTable(*posresourcefile, iNewIndex, a_szName, a_u32Size, pu8Table.get());
  }
  if (eossts == EOSSTS_OK)
  {
    eossts = ReplaceFile(a_szFile, *posresourcefile, pu8Table.get(), iNewIndex, a_pvData);
  }
  CloseFd(posresourcefile->iFd);
  return eossts;
}

// ---------------------------------------------------------------------------
// Versions.

namespace
{

constexpr uint32_t s_u32CommandOutput = 4096;
constexpr uint32_t s_u32VersionWord = 64;

// Runs a_szCommand through the shell and keeps the start of its output.
EOSSTS RunCommand(const char *a_szCommand, char *a_szOutput, uint32_t a_u32Size)
{
  a_szOutput[0] = 0;
  FILE *pfile = popen(a_szCommand, "re");
  if (!pfile)
  {
    OSLOG(EOSLOGFLAG_ERROR, "popen failed...<%s>", a_szCommand);
    return EOSSTS_FAIL;
  }
  size_t sizetUsed = 0;
  size_t sizetRead = 0;
  while ((sizetRead = fread(a_szOutput + sizetUsed, 1, a_u32Size - 1 - sizetUsed, pfile)) > 0)
  {
    sizetUsed += sizetRead;
  }
  a_szOutput[sizetUsed] = 0;
  // Drain what did not fit, so the command is not killed by a broken pipe.
  char szDrain[OS_SIZE_LINE];
  while (fread(szDrain, 1, sizeof(szDrain), pfile) > 0)
  {
  }
  pclose(pfile);
  return EOSSTS_OK;
}

// The path goes between double quotes on a shell line: refuse the characters
// that could end or expand inside them.
bool PathIsShellSafe(const char *a_szPath)
{
  return !strpbrk(a_szPath, "\"\\$`");
}

// Copies the word after "Version:" of a_szText.
bool VersionWord(const char *a_szText, char *a_szWord, uint32_t a_u32Size)
{
  const char *sz = strstr(a_szText, "Version:");
  if (!sz)
  {
    return false;
  }
  sz += strlen("Version:");
  sz += strspn(sz, " \t");
  size_t sizetLength = strcspn(sz, " \t\r\n");
  sizetLength = sizetLength < a_u32Size ? sizetLength : a_u32Size - 1;
  memcpy(a_szWord, sz, sizetLength);
  a_szWord[sizetLength] = 0;
  return true;
}

}  // namespace

EOSSTS COsResource::GetVersion(const char *a_szFile, char *a_szVersion, uint32_t a_u32Size,
                               const char *a_szName, bool a_blLocalOnly)
{
  if (!a_szVersion || !a_u32Size || !a_szFile || !a_szName)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "bad argument...%p %u %p %p", static_cast<void *>(a_szVersion), a_u32Size,
          static_cast<const void *>(a_szFile), static_cast<const void *>(a_szName));
    return EOSSTS_BADARG;
  }
  memset(a_szVersion, 0, a_u32Size);
  std::unique_ptr<COsResource> posresource(new (std::nothrow) COsResource);
  std::unique_ptr<char[]> szText(new (std::nothrow) char[a_u32Size]());
  if (!posresource || !szText)
  {
    OSLOG(EOSLOGFLAG_ERROR, "alloc for COsResource failed...");
    return EOSSTS_FAIL;
  }
  if (posresource->Open(a_szFile, a_szName, EOSRESOURCETYPE_VERSION) != EOSSTS_OK)
  {
    posresource.reset();
    if (a_blLocalOnly)
    {
      OSLOGDBG("Resource %s not found", a_szName);
      return EOSSTS_NOTFOUND;
    }
    return GetVersionInfo(a_szFile, a_szVersion, a_u32Size, 0);
  }
  uint32_t u32Copy = std::min(posresource->GetSize(), a_u32Size - 1);
  memcpy(szText.get(), posresource->GetPointer(), u32Copy);
  posresource->Close();
  COsString::StrConvertVersion(a_szVersion, a_u32Size, true, szText.get());
  return EOSSTS_OK;
}

EOSSTS COsResource::GetVersionInfo(const char *a_szFile, char *a_szVersion, uint32_t a_u32Size,
                                   uint32_t a_u32Flags)
{
  (void)a_u32Flags;
  if (!a_szVersion || !a_u32Size || !a_szFile)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "bad argument...%p %u %p", static_cast<void *>(a_szVersion), a_u32Size,
          static_cast<const void *>(a_szFile));
    return EOSSTS_BADARG;
  }
  memset(a_szVersion, 0, a_u32Size);
  char szPath[OS_SIZE_PATH];
  ResolvePath(a_szFile, szPath, sizeof(szPath));
  if (!PathIsShellSafe(szPath))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "path not usable on a command line...<%s>", szPath);
    return EOSSTS_BADARG;
  }
  char szCommand[OS_SIZE_PATH + 64];
  std::unique_ptr<char[]> szOutput(new (std::nothrow) char[s_u32CommandOutput]);
  if (!szOutput)
  {
    OSLOG(EOSLOGFLAG_ERROR, "alloc for COsResource failed...");
    return EOSSTS_FAIL;
  }
  COsString::SStrPrintf(szCommand, sizeof(szCommand), "file \"%s\" 2>&1", szPath);
  if (RunCommand(szCommand, szOutput.get(), s_u32CommandOutput) != EOSSTS_OK)
  {
    return EOSSTS_FAIL;
  }
  if (!strstr(szOutput.get(), ".Net assembly"))
  {
    OSLOGDBG("Not a .NET assembly so cannot determine version...<%s> <%s>", szPath, szOutput.get());
    return EOSSTS_NOTFOUND;
  }
  COsString::SStrPrintf(szCommand, sizeof(szCommand), "monodis --assembly \"%s\" 2>&1", szPath);
  if (RunCommand(szCommand, szOutput.get(), s_u32CommandOutput) != EOSSTS_OK)
  {
    return EOSSTS_FAIL;
  }
  char szWord[s_u32VersionWord];
  if (!VersionWord(szOutput.get(), szWord, sizeof(szWord)))
  {
    OSLOG(EOSLOGFLAG_ERROR, "Version: not found...<%s>", szPath);
    return EOSSTS_FAIL;
  }
  COsString::StrConvertVersion(a_szVersion, a_u32Size, true, szWord);
  return EOSSTS_OK;
}

EOSSTS COsResource::Dump(const char *a_szFile, const char *a_szName)
{
  if (!a_szName || strncasecmp(a_szName, "VERSION", strlen("VERSION")))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "Dump only handles VERSION* resources");
    return EOSSTS_BADARG;
  }
  char szVersion[s_u32VersionWord];
  EOSSTS eossts = GetVersion(a_szFile, szVersion, sizeof(szVersion), a_szName, true);
  if (eossts == EOSSTS_OK)
  {
    printf("%s: %s\n", a_szName, szVersion);
  }
  return eossts;
}

// ---------------------------------------------------------------------------
// The public object forwards to its implementation.

#define OSRESOURCE_CHECK_IMPL(result)                           \
  do                                                            \
  {                                                             \
    if (!m_posresourceimpl)                                     \
    {                                                           \
      OSLOG(EOSLOGFLAG_ASSERT, "m_posresourceimpl is null..."); \
      return result;                                            \
    }                                                           \
  } while (0)

COsResource::COsResource() : m_posresourceimpl(new (std::nothrow) COsResourceImpl)
{
  if (m_posresourceimpl)
  {
    OSLOGDBG("mem>>> addr:%p  size:%7d  new %s", static_cast<void *>(m_posresourceimpl),
             static_cast<int>(sizeof(COsResourceImpl)), "COsResourceImpl");
  }
  errno = 0;
}

COsResource::~COsResource()
{
  if (m_posresourceimpl)
  {
    m_posresourceimpl->Close();
    OSLOGDBG("mem>>> addr:%p delete-object", static_cast<void *>(m_posresourceimpl));
    delete m_posresourceimpl;
    m_posresourceimpl = nullptr;
  }
}

EOSSTS COsResource::Open(const char *a_szFile, const char *a_szName, EOSRESOURCETYPE a_eosresourcetype)
{
  (void)a_eosresourcetype;
  OSRESOURCE_CHECK_IMPL(EOSSTS_FAIL);
  return m_posresourceimpl->Open(a_szFile, a_szName);
}

const void *COsResource::GetPointer()
{
  OSRESOURCE_CHECK_IMPL(nullptr);
  return m_posresourceimpl->GetPointer();
}

uint32_t COsResource::GetSize()
{
  OSRESOURCE_CHECK_IMPL(0);
  return m_posresourceimpl->GetSize();
}

void COsResource::Close()
{
  OSRESOURCE_CHECK_IMPL();
  m_posresourceimpl->Close();
}

EOSSTS COsResource::FindFirst(const char *a_szFile, OsResourceInfo *a_posresourceinfo)
{
  OSRESOURCE_CHECK_IMPL(EOSSTS_FAIL);
  return m_posresourceimpl->FindFirst(a_szFile, a_posresourceinfo);
}

EOSSTS COsResource::FindNext(OsResourceInfo *a_posresourceinfo)
{
  OSRESOURCE_CHECK_IMPL(EOSSTS_FAIL);
  return m_posresourceimpl->FindNext(a_posresourceinfo);
}

void COsResource::FindClose()
{
  OSRESOURCE_CHECK_IMPL();
  m_posresourceimpl->FindClose();
}
