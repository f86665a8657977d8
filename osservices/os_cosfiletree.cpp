// os_cosfiletree.cpp: file copy, tree copy and tree removal of COsFile.
//
// These run as root on trees that ordinary users can write, so both walks
// work relative to open directory descriptors: a name is looked up in the
// directory already opened, never again through the whole path, and every
// symbolic link is judged on its own descriptor under the trust rule of
// os_cosfile.h (see os_cosfilesafe.h). Directories passed through need only
// search permission.
// - The copy follows trusted links as stat would, wherever they lead; an
//   untrusted link is refused with a flag 1 line and the result 258. A
//   directory met again on its own branch (a loop), a branch deeper than
//   kMaxCopyDepth, more than kMaxCopyDirectories directories or a path longer
//   than 512 bytes is a failure, and the walk goes on with the rest.
// - A copy target is opened without following a link or blocking, and only
//   a regular file that OS_WRITER_COPY accepts is truncated in place (its
//   mode, owner and hard links stay); a new file gets the process's default
//   mode. Holes of the source stay holes.
// - Removal never follows a link met inside the tree: it is unlinked as a
//   link.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os_cosfile.h"
#include "os_cosfilesafe.h"
#include "os_coslog.h"
#include "os_cosmem.h"

namespace
{

const size_t kCopyBufferSize = 2097152;
const int kMaxCopyDepth = 64;
const uint32_t kMaxCopyDirectories = 65536;
const int kMaxDeleteDepth = 256;
const int kMaxDeletePasses = 4;

bool IsDotOrDotDot(const char *a_szName)
{
  return !strcmp(a_szName, ".") || !strcmp(a_szName, "..");
}

// --- Copying one file -------------------------------------------------------

// The 2 MiB copy buffer, zero-filled; from the memory service when there is
// one. Taken only when the kernel cannot copy between two files itself, and
// then once for a whole Copy or CopyDirectory call: *a_ppchBuffer is null
// until the first need and freed by the call's owner.
char *CopyBuffer(char **a_ppchBuffer)
{
  if (!*a_ppchBuffer)
  {
    void *pv = g_posmem ? OSMEMALLOC(kCopyBufferSize, "COsFile copy buffer") : calloc(1, kCopyBufferSize);
    *a_ppchBuffer = static_cast<char *>(pv);
  }
  return *a_ppchBuffer;
}

void FreeCopyBuffer(char *a_pchBuffer)
{
  if (!a_pchBuffer)
  {
    return;
  }
  if (g_posmem)
  {
    OSMEMFREE(a_pchBuffer);
  }
  else
  {
    free(a_pchBuffer);
  }
}

// Reads until a_sizetSize bytes are in or the file ends: the count read, or
// -1 on a read error.
ssize_t ReadBlock(int a_fd, char *a_pchBuffer, size_t a_sizetSize)
{
  size_t sizetRead = 0;
  while (sizetRead < a_sizetSize)
  {
    ssize_t ssize = read(a_fd, a_pchBuffer + sizetRead, a_sizetSize - sizetRead);
    if ((ssize < 0) && (errno == EINTR))
    {
      continue;
    }
    if (ssize < 0)
    {
      return -1;
    }
    if (ssize == 0)
    {
      break;
    }
    sizetRead += static_cast<size_t>(ssize);
  }
  return static_cast<ssize_t>(sizetRead);
}

// Writes the block: the count written (less only when the kernel stops
// taking bytes without an error), or -1 on a write error.
ssize_t WriteBlock(int a_fd, const char *a_pchBuffer, size_t a_sizetSize)
{
  size_t sizetWritten = 0;
  while (sizetWritten < a_sizetSize)
  {
    ssize_t ssize = write(a_fd, a_pchBuffer + sizetWritten, a_sizetSize - sizetWritten);
    if ((ssize < 0) && (errno == EINTR))
    {
      continue;
    }
    if (ssize < 0)
    {
      return -1;
    }
    if (ssize == 0)
    {
      break;
    }
    sizetWritten += static_cast<size_t>(ssize);
  }
  return static_cast<ssize_t>(sizetWritten);
}

// The next stretch of data of a_fd at or after a_off, as [*a_poffStart,
// *a_poffEnd): 1 found, 0 no more data, -1 error. Without hole support the
// rest of the file is one stretch.
int NextData(int a_fd, off_t a_off, off_t *a_poffStart, off_t *a_poffEnd)
{
  *a_poffStart = lseek(a_fd, a_off, SEEK_DATA);
  if ((*a_poffStart < 0) && (errno == EINVAL))
  {
    struct stat statFile;
    if (fstat(a_fd, &statFile))
    {
      return -1;
    }
    *a_poffStart = a_off;
    *a_poffEnd = statFile.st_size;
    return (a_off < statFile.st_size) ? 1 : 0;
  }
  if (*a_poffStart < 0)
  {
    return (errno == ENXIO) ? 0 : -1;
  }
  *a_poffEnd = lseek(a_fd, *a_poffStart, SEEK_HOLE);
  return (*a_poffEnd < 0) ? -1 : 1;
}

// Bytes of the next block of the stretch [a_off, a_offEnd): at most 2 MiB.
size_t BlockSize(off_t a_off, off_t a_offEnd)
{
  return static_cast<size_t>((a_offEnd - a_off < static_cast<off_t>(kCopyBufferSize)) ? a_offEnd - a_off
                                                                                      : kCopyBufferSize);
}

// How a stretch of data was copied.
enum ECopyStretch
{
  COPY_DONE,        // copied, up to where the source ends
  COPY_SHORT,       // the kernel stopped taking bytes without an error
  COPY_FAILED,      // a read, a write or a seek failed
  COPY_UNSUPPORTED  // the kernel cannot copy between these two files
};

// Copies the stretch [a_offStart, a_offEnd) to the same offset of the target
// inside the kernel, in blocks of up to 2 MiB, without a buffer of ours.
// Unsupported only when nothing was copied yet (another file system, an old
// kernel or an emulator without the call).
ECopyStretch KernelCopyStretch(int a_fdSource, int a_fdTarget, off_t a_offStart, off_t a_offEnd,
                               off_t *a_poffWritten)
{
  off_t offIn = a_offStart;
  off_t offOut = a_offStart;
  while (offIn < a_offEnd)
  {
    const ssize_t ssizeCopied =
        copy_file_range(a_fdSource, &offIn, a_fdTarget, &offOut, BlockSize(offIn, a_offEnd), 0);
    if ((ssizeCopied < 0) && (errno == EINTR))
    {
      continue;
    }
    if (ssizeCopied < 0)
    {
      const bool blUnsupported = (errno == EXDEV) || (errno == EINVAL) || (errno == ENOSYS) ||
                                 (errno == EOPNOTSUPP) || (errno == EBADF);
      return (blUnsupported && (offIn == a_offStart)) ? COPY_UNSUPPORTED : COPY_FAILED;
    }
    if (ssizeCopied == 0)
    {
      break;  // the source shrank
    }
  }
  *a_poffWritten = offOut;
  return COPY_DONE;
}

// The same through the 2 MiB buffer: a short read ends the stretch, and a
// write the kernel cuts short without an error ends the whole copy.
ECopyStretch BufferCopyStretch(int a_fdSource, int a_fdTarget, off_t a_offStart, off_t a_offEnd,
                               char *a_pchBuffer, off_t *a_poffWritten)
{
  if ((lseek(a_fdSource, a_offStart, SEEK_SET) < 0) || (lseek(a_fdTarget, a_offStart, SEEK_SET) < 0))
  {
    return COPY_FAILED;
  }
  for (*a_poffWritten = a_offStart; *a_poffWritten < a_offEnd;)
  {
    const ssize_t ssizeRead = ReadBlock(a_fdSource, a_pchBuffer, BlockSize(*a_poffWritten, a_offEnd));
    const ssize_t ssizeWritten = (ssizeRead > 0) ? WriteBlock(a_fdTarget, a_pchBuffer, ssizeRead) : 0;
    if ((ssizeRead < 0) || (ssizeWritten < 0))
    {
      return COPY_FAILED;
    }
    *a_poffWritten += ssizeWritten;
    if (ssizeWritten < ssizeRead)
    {
      return COPY_SHORT;
    }
    if (ssizeRead == 0)
    {
      break;  // the source shrank
    }
  }
  return COPY_DONE;
}

// Copies one stretch inside the kernel where it can, else through the
// buffer (*a_ppchBuffer, see CopyBuffer).
ECopyStretch CopyStretch(int a_fdSource, int a_fdTarget, off_t a_offStart, off_t a_offEnd, char **a_ppchBuffer,
                         off_t *a_poffWritten)
{
  const ECopyStretch ecopy = KernelCopyStretch(a_fdSource, a_fdTarget, a_offStart, a_offEnd, a_poffWritten);
  if (ecopy != COPY_UNSUPPORTED)
  {
    return ecopy;
  }
  return CopyBuffer(a_ppchBuffer)
             ? BufferCopyStretch(a_fdSource, a_fdTarget, a_offStart, a_offEnd, *a_ppchBuffer, a_poffWritten)
             : COPY_FAILED;
}

// The copy loop: the data of a_fdSource (a_statSource) goes to the empty
// file a_fdTarget in blocks of up to 2 MiB. A file whose blocks cover its
// size has no holes and is one stretch; otherwise each stretch of data goes
// to its own offset, so that holes stay holes, and a trailing hole becomes
// the target's size. 0; 1 when a read, a write or a seek fails. A write the
// kernel cuts short without an error ends the copy silently with 0.
EOSSTS CopyData(int a_fdSource, const struct stat &a_statSource, int a_fdTarget, char **a_ppchBuffer)
{
  off_t offWritten = 0;  // end of the data written so far
  if (static_cast<off_t>(a_statSource.st_blocks) * 512 >= a_statSource.st_size)
  {
    return (CopyStretch(a_fdSource, a_fdTarget, 0, a_statSource.st_size, a_ppchBuffer, &offWritten) ==
            COPY_FAILED)
               ? EOSSTS_FAIL
               : EOSSTS_OK;
  }
  off_t offStart = 0;
  off_t offEnd = 0;
  int iData = 0;
  while ((iData = NextData(a_fdSource, offWritten, &offStart, &offEnd)) > 0)
  {
    const ECopyStretch ecopy = CopyStretch(a_fdSource, a_fdTarget, offStart, offEnd, a_ppchBuffer, &offWritten);
    if (ecopy == COPY_FAILED)
    {
      return EOSSTS_FAIL;
    }
    if ((ecopy == COPY_SHORT) || (offWritten < offEnd))
    {
      return EOSSTS_OK;  // the kernel stopped taking bytes, or the source shrank
    }
  }
  const off_t offSize = lseek(a_fdSource, 0, SEEK_END);
  if ((iData < 0) || (offSize < 0) || ((offSize > offWritten) && ftruncate(a_fdTarget, offSize)))
  {
    return EOSSTS_FAIL;
  }
  return EOSSTS_OK;
}

// Copies the open file a_fdSource to the file a_szName of the directory
// a_fdDirectory (a_szShown names it in messages). 1 when the source is not a
// regular file, the target is refused or cannot be opened, or the data could
// not all be copied.
EOSSTS CopyToTarget(int a_fdSource, int a_fdDirectory, const char *a_szName, const char *a_szShown,
                    mode_t a_modeNew, char **a_ppchBuffer)
{
  struct stat statSource;
  if (fstat(a_fdSource, &statSource) || !S_ISREG(statSource.st_mode))
  {
    return EOSSTS_FAIL;
  }
  int fdTarget =
      OsFileOpenWriteAt(a_fdDirectory, a_szName, O_WRONLY | O_CREAT | O_TRUNC, a_modeNew, OS_WRITER_COPY);
  if (fdTarget < 0)
  {
    if (errno == EACCES)
    {
      OSLOG(EOSLOGFLAG_ERROR, "Copy target refused, not a regular file that may be written...<%s>",
            a_szShown);
    }
    return EOSSTS_FAIL;
  }
  EOSSTS eosstsResult = CopyData(a_fdSource, statSource, fdTarget, a_ppchBuffer);
  if (close(fdTarget) && !eosstsResult)
  {
    eosstsResult = EOSSTS_FAIL;
  }
  return eosstsResult;
}

// The mode of a new copy: what a plain creation with 0666 would give.
mode_t NewFileMode()
{
  return 0666 & ~OsFileCreationMask();
}

// --- Tree copy --------------------------------------------------------------

// State of one CopyDirectory call.
struct CopyWalk
{
  dev_t adev[kMaxCopyDepth + 1];  // the directories of the current branch
  ino_t aino[kMaxCopyDepth + 1];
  int iDepth;
  uint32_t u32Directories;
  mode_t modeNew;       // mode of a new copy
  char *pchBuffer;      // copy buffer, taken at the first need (CopyBuffer)
  EOSSTS eosstsResult;  // the first failure
};

// One directory being copied.
struct CopyLevel
{
  CopyLevel *poscopylevelParent;
  OsFileWalk walkSource;     // the source directory (fd -1: nothing to copy)
  char szSource[OS_SIZE_PATH];  // its physical path
  char szDestination[OS_SIZE_PATH];
  OsFileWalk walkDestination;  // fd -1 until made
  bool blDestinationTried;
  PFNOSFILECOPYDIRECTORY pfncallback;
  void *pvContext;
};

// What the walk knows of one entry.
struct CopyEntry
{
  const char *szName;
  char szSource[OS_SIZE_PATH];  // path in the tree, as the callback sees it
  char szTarget[OS_SIZE_PATH];
};

void Keep(CopyWalk &a_walk, EOSSTS a_eossts)
{
  if (!a_walk.eosstsResult)
  {
    a_walk.eosstsResult = a_eossts;
  }
}

// Sets up a level: no walks open yet.
void InitLevel(CopyLevel &a_level, CopyLevel *a_plevelParent, PFNOSFILECOPYDIRECTORY a_pfncallback,
               void *a_pvContext)
{
  memset(&a_level, 0, sizeof(a_level));
  a_level.poscopylevelParent = a_plevelParent;
  a_level.walkSource.fd = -1;
  a_level.walkDestination.fd = -1;
  a_level.pfncallback = a_pfncallback;
  a_level.pvContext = a_pvContext;
}

// a_szDirectory + "/" + a_szName into a_szOut, or false when it would not
// fit the 512-byte buffer (reported as a failure).
bool JoinPath(CopyWalk &a_walk, char *a_szOut, const char *a_szDirectory, const char *a_szName)
{
  size_t sizetDirectory = strlen(a_szDirectory);
  bool blSlash = !sizetDirectory || (a_szDirectory[sizetDirectory - 1] != '/');
  if (sizetDirectory + (blSlash ? 1 : 0) + strlen(a_szName) >= OS_SIZE_PATH)
  {
    OSLOG(EOSLOGFLAG_ERROR, "Path too long, not copied...<%s/%s>", a_szDirectory, a_szName);
    Keep(a_walk, EOSSTS_NOFIT);
    return false;
  }
  snprintf(a_szOut, OS_SIZE_PATH, "%s%s%s", a_szDirectory, blSlash ? "/" : "", a_szName);
  return true;
}

// The level's source path is the physical path its walk reached; false
// (reported as a failure) when that is unknown or too long.
bool SetSource(CopyWalk &a_walk, CopyLevel &a_level)
{
  const size_t sizetLength = strlen(a_level.walkSource.szPhysical);
  if (!sizetLength || (sizetLength >= sizeof(a_level.szSource)))
  {
    OSLOG(EOSLOGFLAG_ERROR, "Path too long, not copied...<%s>", a_level.walkSource.szPhysical);
    Keep(a_walk, EOSSTS_NOFIT);
    return false;
  }
  memcpy(a_level.szSource, a_level.walkSource.szPhysical, sizetLength + 1);
  return true;
}

// A source walk that stopped (errno tells why): an untrusted link is a
// refusal that leaves data out (the walk logged it), a link loop or an
// over-long path a failure; anything else is as if nothing were there.
void SourceNotReached(CopyWalk &a_walk, const OsFileWalk &a_walkSource, const char *a_szSource)
{
  if (a_walkSource.blRefused)
  {
    Keep(a_walk, EOSSTS_ACCESSDENIED);
  }
  else if ((errno == ELOOP) || (errno == ENAMETOOLONG))
  {
    OSLOG(EOSLOGFLAG_ERROR, "Symbolic link loop or path too long, not copied...<%s>", a_szSource);
    Keep(a_walk, EOSSTS_FAIL);
  }
  else
  {
    OSLOGDBG("stat failed...<%s>", a_szSource);
  }
}

// Makes (once) and walks to the destination directory of a level; -1 when
// that failed. Trusted links on the way and at the destination itself are
// followed; an untrusted one is refused (258).
int EnsureDestination(CopyWalk &a_walk, CopyLevel &a_level)
{
  if (a_level.blDestinationTried)
  {
    return a_level.walkDestination.fd;
  }
  a_level.blDestinationTried = true;
  const OsFileWalk *pwalkParent = nullptr;
  const char *szName = a_level.szDestination;
  if (a_level.poscopylevelParent)
  {
    if (EnsureDestination(a_walk, *a_level.poscopylevelParent) < 0)
    {
      return -1;
    }
    pwalkParent = &a_level.poscopylevelParent->walkDestination;
    szName = strrchr(a_level.szDestination, '/') + 1;
  }
  struct stat statDestination;
  const bool blWalked = szName[0] && !OsFileWalkPath(a_level.walkDestination, pwalkParent, szName,
                                                     OS_WALK_FOLLOW | OS_WALK_CREATE);
  if (!blWalked || fstat(a_level.walkDestination.fd, &statDestination) || !S_ISDIR(statDestination.st_mode))
  {
    const EOSSTS eosstsMade = a_level.walkDestination.blRefused ? EOSSTS_ACCESSDENIED
                              : blWalked                        ? EOSSTS_FAIL
                                                                : OsFileStatusFromErrno(errno);
    OsFileWalkClose(a_level.walkDestination);
    OSLOG(EOSLOGFLAG_ERROR, "OsFileCreateDirectory failed...<%s>", a_level.szDestination);
    Keep(a_walk, eosstsMade);
  }
  return a_level.walkDestination.fd;
}

void CopyLevelRun(CopyWalk &a_walk, CopyLevel &a_level, bool a_blRecursive);

// Opens a file entry of a level for reading without blocking: an entry that
// is no link at once, a link under the link rule. -1 when it cannot be
// opened.
int OpenEntryForReading(const CopyLevel &a_level, const char *a_szName)
{
  const int fd = openat(a_level.walkSource.fd, a_szName, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC);
  if ((fd >= 0) || (errno != ELOOP))
  {
    return fd;
  }
  OsFileWalk walkLink;
  return OsFileWalkPath(walkLink, &a_level.walkSource, a_szName, OS_WALK_FOLLOW | OS_WALK_READ) ? -1 : walkLink.fd;
}

// Copies one file entry: 0, or 1 when it could not be copied.
EOSSTS CopyFileEntry(CopyWalk &a_walk, CopyLevel &a_level, const CopyEntry &a_entry)
{
  int fdDestination = EnsureDestination(a_walk, a_level);
  if (fdDestination < 0)
  {
    return EOSSTS_FAIL;
  }
  const int fdSource = OpenEntryForReading(a_level, a_entry.szName);
  if (fdSource < 0)
  {
    return EOSSTS_FAIL;
  }
  EOSSTS eosstsResult =
      CopyToTarget(fdSource, fdDestination, a_entry.szName, a_entry.szTarget, a_walk.modeNew, &a_walk.pchBuffer);
  close(fdSource);
  return eosstsResult;
}

// A file entry: asks the callback, then copies.
void VisitFile(CopyWalk &a_walk, CopyLevel &a_level, const CopyEntry &a_entry)
{
  if (!a_level.pfncallback)
  {
    // Without a callback a failed copy is neither logged nor reported.
    (void)CopyFileEntry(a_walk, a_level, a_entry);
    return;
  }
  OsFileCopyDirectoryInfo osfilecopydirectoryinfo = {16, a_entry.szName, a_entry.szSource, a_level.pvContext};
  EOSSTS eosstsVerdict = a_level.pfncallback(&osfilecopydirectoryinfo);
  if (eosstsVerdict == EOSSTS_COPYSKIP)
  {
    return;
  }
  EOSSTS eosstsResult = eosstsVerdict;
  if (eosstsVerdict != EOSSTS_OK)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "Unexpected callback status: %d", static_cast<int>(eosstsVerdict));
  }
  else
  {
    eosstsResult = CopyFileEntry(a_walk, a_level, a_entry);
  }
  if (eosstsResult)
  {
    OSLOG(EOSLOGFLAG_ERROR, "OsFileCopy failed...<%s> <%s>", a_entry.szSource, a_entry.szTarget);
    Keep(a_walk, eosstsResult);
  }
}

// Whether a directory may be entered: not on its own branch already, not too
// deep, not past the directory budget. Failures are logged and kept.
bool MayEnter(CopyWalk &a_walk, const struct stat &a_stat, const char *a_szSource)
{
  for (int ii = 0; ii < a_walk.iDepth; ii++)
  {
    if ((a_walk.adev[ii] == a_stat.st_dev) && (a_walk.aino[ii] == a_stat.st_ino))
    {
      OSLOG(EOSLOGFLAG_ERROR, "Directory loop, not copied...<%s>", a_szSource);
      Keep(a_walk, EOSSTS_FAIL);
      return false;
    }
  }
  if ((a_walk.iDepth > kMaxCopyDepth) || (a_walk.u32Directories >= kMaxCopyDirectories))
  {
    OSLOG(EOSLOGFLAG_ERROR, "Directory tree too deep or too large, not copied...<%s>", a_szSource);
    Keep(a_walk, EOSSTS_FAIL);
    return false;
  }
  return true;
}

// Copies a subdirectory as its own level, with a_pfncallback (null: whole).
// The source is walked again from the level (trusted links followed) and
// entered only when the branch allows it.
void CopySubdirectory(CopyWalk &a_walk, CopyLevel &a_level, const CopyEntry &a_entry,
                      PFNOSFILECOPYDIRECTORY a_pfncallback, void *a_pvContext)
{
  CopyLevel level;
  InitLevel(level, &a_level, a_pfncallback, a_pvContext);
  snprintf(level.szDestination, sizeof(level.szDestination), "%s", a_entry.szTarget);
  struct stat statDirectory;
  bool blEntered = false;
  if (OsFileWalkPath(level.walkSource, &a_level.walkSource, a_entry.szName, OS_WALK_FOLLOW) ||
      fstat(level.walkSource.fd, &statDirectory))
  {
    SourceNotReached(a_walk, level.walkSource, a_entry.szSource);
  }
  else if (!MayEnter(a_walk, statDirectory, a_entry.szSource))
  {
    OsFileWalkClose(level.walkSource);
    return;
  }
  else if (SetSource(a_walk, level))
  {
    a_walk.adev[a_walk.iDepth] = statDirectory.st_dev;
    a_walk.aino[a_walk.iDepth] = statDirectory.st_ino;
    a_walk.iDepth++;
    a_walk.u32Directories++;
    blEntered = true;
  }
  if (!blEntered)
  {
    OsFileWalkClose(level.walkSource);  // nothing to copy; the destination may still be made
  }
  CopyLevelRun(a_walk, level, true);
  if (blEntered)
  {
    a_walk.iDepth--;
  }
}

// A directory entry: asks the callback, then copies it as a level.
void VisitDirectory(CopyWalk &a_walk, CopyLevel &a_level, const CopyEntry &a_entry)
{
  if (!a_level.pfncallback)
  {
    CopySubdirectory(a_walk, a_level, a_entry, nullptr, nullptr);
    return;
  }
  OsFileCopyDirectoryInfo osfilecopydirectoryinfo = {16, nullptr, a_entry.szSource, a_level.pvContext};
  EOSSTS eosstsVerdict = a_level.pfncallback(&osfilecopydirectoryinfo);
  switch (eosstsVerdict)
  {
    case EOSSTS_OK:
      CopySubdirectory(a_walk, a_level, a_entry, a_level.pfncallback, a_level.pvContext);
      break;
    case EOSSTS_COPYWHOLEDIR:
      CopySubdirectory(a_walk, a_level, a_entry, nullptr, nullptr);
      break;
    case EOSSTS_COPYSKIP:
      break;
    default:
      OSLOG(EOSLOGFLAG_ASSERT, "Unexpected callback status: %d", static_cast<int>(eosstsVerdict));
      Keep(a_walk, eosstsVerdict);
      break;
  }
}

// Whether an entry is a directory, as stat would tell. The type the
// directory listing gives (a_uchType) is taken for a plain file or
// directory, and an entry that is no link is examined in place, without
// opening it: most entries of a tree are skipped by name and never opened. A
// link is walked under the link rule. False, after the refusal is reported,
// when the entry cannot be examined. Whatever is there when the entry is
// copied or entered is opened again then, without following a link.
bool ExamineEntry(CopyWalk &a_walk, CopyLevel &a_level, const CopyEntry &a_entry, unsigned char a_uchType,
                  bool *a_pblDirectory)
{
  if ((a_uchType == DT_REG) || (a_uchType == DT_DIR))
  {
    *a_pblDirectory = (a_uchType == DT_DIR);
    return true;
  }
  struct stat statEntry;
  if (!fstatat(a_level.walkSource.fd, a_entry.szName, &statEntry, AT_SYMLINK_NOFOLLOW) &&
      !S_ISLNK(statEntry.st_mode))
  {
    *a_pblDirectory = S_ISDIR(statEntry.st_mode);
    return true;
  }
  OsFileWalk walkEntry;
  const bool blExamined = !OsFileWalkPath(walkEntry, &a_level.walkSource, a_entry.szName, OS_WALK_FOLLOW) &&
                          !fstat(walkEntry.fd, &statEntry);
  if (!blExamined)
  {
    SourceNotReached(a_walk, walkEntry, a_entry.szSource);
  }
  OsFileWalkClose(walkEntry);
  *a_pblDirectory = blExamined && S_ISDIR(statEntry.st_mode);
  return blExamined;
}

// One entry of a level: examined as stat would (trusted links followed, an
// untrusted one refused), then handed on as a file or a directory. An entry
// that cannot be examined (a dangling link) is passed over.
void VisitEntry(CopyWalk &a_walk, CopyLevel &a_level, const struct dirent &a_dirent, bool a_blRecursive)
{
  CopyEntry entry;
  entry.szName = a_dirent.d_name;
  if (!JoinPath(a_walk, entry.szSource, a_level.szSource, entry.szName))
  {
    return;
  }
  bool blDirectory = false;
  if (!ExamineEntry(a_walk, a_level, entry, a_dirent.d_type, &blDirectory))
  {
    return;
  }
  if ((blDirectory && !a_blRecursive) || !JoinPath(a_walk, entry.szTarget, a_level.szDestination, entry.szName))
  {
    return;
  }
  if (blDirectory)
  {
    VisitDirectory(a_walk, a_level, entry);
  }
  else
  {
    VisitFile(a_walk, a_level, entry);
  }
}

// Copies one level: without a callback its destination is made at once; then
// every entry in directory order. Closes the level's walks.
void CopyLevelRun(CopyWalk &a_walk, CopyLevel &a_level, bool a_blRecursive)
{
  if (!a_level.pfncallback)
  {
    (void)EnsureDestination(a_walk, a_level);
  }
  int fdList = (a_level.walkSource.fd >= 0)
                   ? openat(a_level.walkSource.fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)
                   : -1;
  DIR *pdir = (fdList >= 0) ? fdopendir(fdList) : nullptr;
  if (!pdir && (fdList >= 0))
  {
    close(fdList);
  }
  for (struct dirent *pdirent = pdir ? readdir(pdir) : nullptr; pdirent; pdirent = readdir(pdir))
  {
    if (!IsDotOrDotDot(pdirent->d_name))
    {
      VisitEntry(a_walk, a_level, *pdirent, a_blRecursive);
    }
  }
  if (pdir)
  {
    closedir(pdir);
  }
  OsFileWalkClose(a_level.walkSource);
  OsFileWalkClose(a_level.walkDestination);
}

// Sets up the top level: the source walked from the root or the working
// directory. A missing source leaves nothing to copy; one behind an untrusted
// link is a refusal.
void OpenTopLevel(CopyWalk &a_walk, CopyLevel &a_level, const char *a_szSource)
{
  struct stat statRoot;
  if (OsFileWalkPath(a_level.walkSource, nullptr, a_szSource, OS_WALK_FOLLOW) ||
      fstat(a_level.walkSource.fd, &statRoot))
  {
    SourceNotReached(a_walk, a_level.walkSource, a_szSource);
    OsFileWalkClose(a_level.walkSource);
    return;
  }
  if (!SetSource(a_walk, a_level))
  {
    OsFileWalkClose(a_level.walkSource);
    return;
  }
  a_walk.adev[0] = statRoot.st_dev;
  a_walk.aino[0] = statRoot.st_ino;
  a_walk.iDepth = 1;
}

// --- Tree removal -----------------------------------------------------------

// State of one Delete: the path of the entry at hand, for messages, and the
// file system the tree lives on (removal does not cross into another).
struct DeleteWalk
{
  char szPath[PATH_MAX];
  size_t sizetLength;
  dev_t devTree;
};

size_t PushName(DeleteWalk &a_walk, const char *a_szName)
{
  size_t sizetOld = a_walk.sizetLength;
  int iAdded = snprintf(a_walk.szPath + sizetOld, sizeof(a_walk.szPath) - sizetOld, "/%s", a_szName);
  if (iAdded > 0)
  {
    a_walk.sizetLength = strlen(a_walk.szPath);
  }
  return sizetOld;
}

void PopName(DeleteWalk &a_walk, size_t a_sizetOld)
{
  a_walk.sizetLength = a_sizetOld;
  a_walk.szPath[a_sizetOld] = '\0';
}

EOSSTS UnlinkEntry(const DeleteWalk &a_walk, int a_fdDirectory, const char *a_szName)
{
  if (unlinkat(a_fdDirectory, a_szName, 0))
  {
    OSLOGDBG("DeleteFile failed...%s", a_walk.szPath);
    return EOSSTS_FAIL;
  }
  return EOSSTS_OK;
}

EOSSTS RemoveDirectory(DeleteWalk &a_walk, int a_fdParent, const char *a_szName, int a_fdDirectory,
                       const struct stat &a_stat, bool a_blRecursive, int a_iDepth);

// Removes one entry found inside a tree, whatever it is; a link is unlinked.
// An entry that the directory listing gives as neither a directory nor of
// unknown type is unlinked without a look first, since unlinking never
// follows a link.
EOSSTS RemoveEntry(DeleteWalk &a_walk, int a_fdDirectory, const struct dirent &a_dirent, int a_iDepth)
{
  const char *szName = a_dirent.d_name;
  const bool blListedFile = (a_dirent.d_type != DT_DIR) && (a_dirent.d_type != DT_UNKNOWN);
  struct stat statEntry;
  if (!blListedFile && fstatat(a_fdDirectory, szName, &statEntry, AT_SYMLINK_NOFOLLOW))
  {
    return (errno == ENOENT) ? EOSSTS_OK : EOSSTS_FAIL;
  }
  size_t sizetOld = PushName(a_walk, szName);
  const bool blDirectory = !blListedFile && S_ISDIR(statEntry.st_mode);
  OSLOGDBG("Delete: <%s> %d %d", a_walk.szPath, blDirectory ? 1 : 2, 1);
  // A directory is entered without following: a link swapped in is not passed.
  EOSSTS eosstsResult =
      blDirectory
          ? RemoveDirectory(a_walk, a_fdDirectory, szName,
                            openat(a_fdDirectory, szName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC),
                            statEntry, true, a_iDepth)
          : UnlinkEntry(a_walk, a_fdDirectory, szName);
  PopName(a_walk, sizetOld);
  return eosstsResult;
}

// Removes everything in an open directory (the descriptor is taken over).
// The directory is read again after a pass that removed entries, since
// removing while reading may hide names; the first failure stops.
EOSSTS RemoveContents(DeleteWalk &a_walk, int a_fdDirectory, int a_iDepth)
{
  DIR *pdir = fdopendir(a_fdDirectory);
  if (!pdir)
  {
    close(a_fdDirectory);
    return EOSSTS_FAIL;
  }
  EOSSTS eosstsResult = EOSSTS_OK;
  bool blRemoved = true;
  for (int iPass = 0; (iPass < kMaxDeletePasses) && blRemoved && !eosstsResult; iPass++)
  {
    blRemoved = false;
    rewinddir(pdir);
    for (struct dirent *pdirent = readdir(pdir); pdirent && !eosstsResult; pdirent = readdir(pdir))
    {
      if (!IsDotOrDotDot(pdirent->d_name))
      {
        eosstsResult = RemoveEntry(a_walk, dirfd(pdir), *pdirent, a_iDepth);
        blRemoved = true;
      }
    }
  }
  closedir(pdir);
  return eosstsResult;
}

// Removes the directory a_szName of a_fdParent, with its contents when
// recursive: a_fdDirectory (taken over; -1 when it could not be opened) is
// the directory opened for reading, and must still be the one a_stat
// describes.
EOSSTS RemoveDirectory(DeleteWalk &a_walk, int a_fdParent, const char *a_szName, int a_fdDirectory,
                       const struct stat &a_stat, bool a_blRecursive, int a_iDepth)
{
  if (a_blRecursive)
  {
    struct stat statOpened;
    if ((a_stat.st_dev != a_walk.devTree) || (a_iDepth >= kMaxDeleteDepth))
    {
      OSLOG(EOSLOGFLAG_ERROR, "Directory on another file system or nested too deep, not removed...<%s>",
            a_walk.szPath);
    }
    else if ((a_fdDirectory < 0) || fstat(a_fdDirectory, &statOpened) ||
             (statOpened.st_dev != a_stat.st_dev) || (statOpened.st_ino != a_stat.st_ino))
    {
      OSLOGDBG("RemoveDirectory failed...%s", a_walk.szPath);
    }
    else
    {
      EOSSTS eosstsResult = RemoveContents(a_walk, a_fdDirectory, a_iDepth + 1);
      if (eosstsResult)
      {
        return eosstsResult;
      }
      a_fdDirectory = -1;  // closed with the contents' stream
    }
    if (a_fdDirectory >= 0)
    {
      close(a_fdDirectory);
      return EOSSTS_FAIL;
    }
  }
  else if (a_fdDirectory >= 0)
  {
    close(a_fdDirectory);
  }
  if (unlinkat(a_fdParent, a_szName, AT_REMOVEDIR))
  {
    OSLOGDBG("RemoveDirectory failed...%s", a_walk.szPath);
    return EOSSTS_FAIL;
  }
  return EOSSTS_OK;
}

// The type FindFirst reports for a path (links followed), 0 when missing.
EOSFILETYPE FoundType(const char *a_szFilename)
{
  OsFileInfo osfileinfo;
  memset(&osfileinfo, 0, sizeof(osfileinfo));
  EOSFILETYPE eosfiletype =
      COsFile::FindFirst(a_szFilename, &osfileinfo) ? EOSFILETYPE_NONE : osfileinfo.eosfiletype;
  COsFile::FindClose(&osfileinfo);
  return eosfiletype;
}

// An untrusted link named as the path goes as a link; what it leads to is
// not touched, and the refusal to follow is reported.
EOSSTS UnlinkUntrustedLink(const DeleteWalk &a_walk, int a_fdParent, const char *a_szName)
{
  OSLOG(EOSLOGFLAG_ERROR, "Symbolic link of another user not followed, removed as a link...<%s>",
        a_walk.szPath);
  (void)UnlinkEntry(a_walk, a_fdParent, a_szName);
  return EOSSTS_FAIL;
}

// The named directory (or what a trusted link named as the path leads to):
// its contents go when recursive, then the name itself is removed as a
// directory, which fails for a link.
EOSSTS DeleteNamedDirectory(DeleteWalk &a_walk, const OsFileWalk &a_walkParent, const char *a_szName,
                            bool a_blRecursive)
{
  OsFileWalk walkDirectory;
  struct stat statDirectory;
  if (OsFileWalkPath(walkDirectory, &a_walkParent, a_szName, OS_WALK_FOLLOW) ||
      fstat(walkDirectory.fd, &statDirectory) || !S_ISDIR(statDirectory.st_mode))
  {
    OsFileWalkClose(walkDirectory);
    return EOSSTS_FAIL;
  }
  a_walk.devTree = statDirectory.st_dev;
  int fdDirectory = a_blRecursive ? openat(walkDirectory.fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
  OsFileWalkClose(walkDirectory);
  return RemoveDirectory(a_walk, a_walkParent.fd, a_szName, fdDirectory, statDirectory, a_blRecursive, 0);
}

// Delete of one named path (no wildcard). The directories on the way are
// walked through trusted links only.
EOSSTS DeleteNamed(const char *a_szFilename, EOSFILETYPE a_eosfiletype, bool a_blRecursive)
{
  if (a_eosfiletype == EOSFILETYPE_NONE)
  {
    return EOSSTS_FAIL;
  }
  DeleteWalk walk;
  COsFile::PathSet(walk.szPath, sizeof(walk.szPath), a_szFilename);
  COsFile::PathRemoveTrailingSlash(walk.szPath);
  walk.sizetLength = strlen(walk.szPath);
  char szPath[PATH_MAX];
  memcpy(szPath, walk.szPath, walk.sizetLength + 1);
  char *szName = nullptr;
  OsFileWalk walkParent;
  walkParent.fd = -1;
  struct stat statEntry;
  EOSSTS eosstsResult = EOSSTS_FAIL;
  if (szPath[0] && !OsFileWalkParent(szPath, walkParent, &szName) && szName[0] && !IsDotOrDotDot(szName) &&
      !fstatat(walkParent.fd, szName, &statEntry, AT_SYMLINK_NOFOLLOW))
  {
    if (S_ISLNK(statEntry.st_mode) && !OsFileTrustedLink(statEntry))
    {
      eosstsResult = UnlinkUntrustedLink(walk, walkParent.fd, szName);
    }
    else if (FoundType(a_szFilename) != a_eosfiletype)
    {
      eosstsResult = EOSSTS_FAIL;
    }
    else if (a_eosfiletype == EOSFILETYPE_DIRECTORY)
    {
      eosstsResult = DeleteNamedDirectory(walk, walkParent, szName, a_blRecursive);
    }
    else if (a_eosfiletype == EOSFILETYPE_FILE)
    {
      eosstsResult = UnlinkEntry(walk, walkParent.fd, szName);  // a link goes as a link
    }
  }
  OsFileWalkClose(walkParent);
  return eosstsResult;
}

// Delete of every match of a pattern; "." and ".." are never removed.
void DeleteMatches(const char *a_szPattern, EOSFILETYPE a_eosfiletype, EOSBOOL a_eosboolRecursive)
{
  OsFileInfo osfileinfo;
  memset(&osfileinfo, 0, sizeof(osfileinfo));
  if (COsFile::FindFirst(a_szPattern, &osfileinfo))
  {
    return;
  }
  do
  {
    if (!IsDotOrDotDot(osfileinfo.szName))
    {
      (void)COsFile::Delete(osfileinfo.szFullPath, a_eosfiletype, a_eosboolRecursive, false);
    }
  } while (!COsFile::FindNext(&osfileinfo));
  COsFile::FindClose(&osfileinfo);
}

}  // namespace

EOSSTS COsFile::Copy(const char *a_szFilename, const char *a_szNewFilename)
{
  if (!a_szFilename)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_szFilename is null...");
    return EOSSTS_BADARG;
  }
  if (!a_szNewFilename)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_szNewFilename is NULL...");
    return EOSSTS_BADARG;
  }
  char *pchBuffer = nullptr;
  char szTarget[PATH_MAX];
  snprintf(szTarget, sizeof(szTarget), "%s", a_szNewFilename);
  char *szName = nullptr;
  OsFileWalk walkSource;
  OsFileWalk walkTarget;
  walkTarget.fd = -1;
  EOSSTS eosstsResult = EOSSTS_FAIL;
  if (!OsFileWalkPath(walkSource, nullptr, a_szFilename, OS_WALK_FOLLOW | OS_WALK_READ) &&
      !OsFileWalkParent(szTarget, walkTarget, &szName) && szName[0])
  {
    eosstsResult =
        CopyToTarget(walkSource.fd, walkTarget.fd, szName, a_szNewFilename, NewFileMode(), &pchBuffer);
  }
  if (eosstsResult)
  {
    OSLOGDBG("CopyFile failed...");
    OSLOGDBG("src: %s", a_szFilename);
    OSLOGDBG("dst: %s", a_szNewFilename);
  }
  OsFileWalkClose(walkSource);
  OsFileWalkClose(walkTarget);
  FreeCopyBuffer(pchBuffer);
  return eosstsResult;
}

EOSSTS COsFile::CopyDirectory(const char *a_szSource, const char *a_szDestination, bool a_blRecursive,
                              PFNOSFILECOPYDIRECTORY a_pfncallback, void *a_pvContext)
{
  if (!a_szSource || !a_szDestination)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_szSource or a_szDestination is null...");
    return EOSSTS_BADARG;
  }
  CopyWalk *pwalk = static_cast<CopyWalk *>(calloc(1, sizeof(CopyWalk)));
  if (!pwalk)
  {
    return EOSSTS_FAIL;
  }
  pwalk->modeNew = NewFileMode();
  CopyLevel level;
  InitLevel(level, nullptr, a_pfncallback, a_pvContext);
  PathSet(level.szDestination, sizeof(level.szDestination), a_szDestination);
  OpenTopLevel(*pwalk, level, a_szSource);
  CopyLevelRun(*pwalk, level, a_blRecursive);
  EOSSTS eosstsResult = pwalk->eosstsResult;
  FreeCopyBuffer(pwalk->pchBuffer);
  free(pwalk);
  return eosstsResult;
}

EOSSTS COsFile::Delete(const char *a_szFilename, EOSFILETYPE a_eosfiletype, EOSBOOL a_eosboolRecursive,
                       bool a_blWildcard)
{
  if (!a_szFilename)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_szFilename is null...");
    return EOSSTS_BADARG;
  }
  if (a_blWildcard)
  {
    DeleteMatches(a_szFilename, a_eosfiletype, a_eosboolRecursive);
    return EOSSTS_OK;
  }
  if (strchr(a_szFilename, '*'))
  {
    OSLOGDBG("we don't support deleting with wildcards...");
    return EOSSTS_BADARG;
  }
  OSLOGDBG("Delete: <%s> %d %d", a_szFilename, static_cast<int>(a_eosfiletype),
           static_cast<int>(a_eosboolRecursive));
  return DeleteNamed(a_szFilename, a_eosfiletype, a_eosboolRecursive != 0);
}
