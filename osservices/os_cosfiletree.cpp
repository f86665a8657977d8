// os_cosfiletree.cpp: file copy, tree copy and tree removal of COsFile.
//
// These run as root on trees that ordinary users can write, so both walks
// work relative to open directory descriptors: a name is looked up in the
// directory already opened, never again through the whole path, and a
// directory is entered with O_NOFOLLOW. A symbolic link swapped in while a
// walk runs therefore cannot redirect it.
// - Removal never follows a link: a link is unlinked as a link.
// - The copy follows a link of the source tree only when it resolves inside
//   the tree (checked again on the opened descriptor); other links are
//   skipped. A directory met again on its own branch (a loop), a branch deeper
//   than kMaxCopyDepth, more than kMaxCopyDirectories directories or a path
//   longer than 512 bytes is a failure, and the walk goes on with the rest.
// - A copied file is created afresh (whatever was at the target name is
//   unlinked first, then O_EXCL|O_NOFOLLOW), so a link or hard link planted
//   at the destination is never written through. Only regular files are
//   copied; their permissions and times are not carried over.
#define _FILE_OFFSET_BITS 64  // large inode numbers and sizes on the 32-bit build

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

const uint32_t kPathSize = 512;
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

// The 2 MiB copy buffer, zero-filled; from the memory service when there is one.
char *AllocCopyBuffer()
{
  void *pv = g_posmem ? OSMEMALLOC(kCopyBufferSize, "COsFile copy buffer") : calloc(1, kCopyBufferSize);
  return static_cast<char *>(pv);
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

// Reads until the buffer is full or the file ends; the count read.
size_t ReadBlock(int a_fd, char *a_pchBuffer, size_t a_sizetSize)
{
  size_t sizetRead = 0;
  while (sizetRead < a_sizetSize)
  {
    ssize_t ssize = read(a_fd, a_pchBuffer + sizetRead, a_sizetSize - sizetRead);
    if ((ssize < 0) && (errno == EINTR))
    {
      continue;
    }
    if (ssize <= 0)
    {
      break;
    }
    sizetRead += static_cast<size_t>(ssize);
  }
  return sizetRead;
}

// Writes the whole block; false on a short write.
bool WriteBlock(int a_fd, const char *a_pchBuffer, size_t a_sizetSize)
{
  size_t sizetWritten = 0;
  while (sizetWritten < a_sizetSize)
  {
    ssize_t ssize = write(a_fd, a_pchBuffer + sizetWritten, a_sizetSize - sizetWritten);
    if ((ssize < 0) && (errno == EINTR))
    {
      continue;
    }
    if (ssize <= 0)
    {
      return false;
    }
    sizetWritten += static_cast<size_t>(ssize);
  }
  return true;
}

// Copies the open file a_fdSource to a new file a_szName in the directory
// a_fdDirectory. 1 when the source is not a regular file or the target
// cannot be made; a short write ends the copy silently with 0.
EOSSTS CopyContents(int a_fdSource, int a_fdDirectory, const char *a_szName, char *a_pchBuffer)
{
  struct stat statSource;
  if (fstat(a_fdSource, &statSource) || !S_ISREG(statSource.st_mode))
  {
    return EOSSTS_FAIL;
  }
  // Whatever is there (file, link, hard link to another file) is replaced.
  (void)unlinkat(a_fdDirectory, a_szName, 0);
  int fdTarget = openat(a_fdDirectory, a_szName, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (fdTarget < 0)
  {
    return EOSSTS_FAIL;
  }
  for (;;)
  {
    size_t sizetRead = ReadBlock(a_fdSource, a_pchBuffer, kCopyBufferSize);
    if (!sizetRead || !WriteBlock(fdTarget, a_pchBuffer, sizetRead) || (sizetRead < kCopyBufferSize))
    {
      break;
    }
  }
  close(fdTarget);
  return EOSSTS_OK;
}

// Opens the directory part of a path (the current directory when there is
// none; links of other users are not followed, see os_cosfilesafe.h) and
// points a_pszName at the last component.
int OpenParent(char *a_szPath, char **a_pszName)
{
  char *szSlash = strrchr(a_szPath, '/');
  if (!szSlash)
  {
    *a_pszName = a_szPath;
    return OsFileOpenDirectory(".", false, true, -1);
  }
  *a_pszName = szSlash + 1;
  *szSlash = '\0';
  int fd = OsFileOpenDirectory((szSlash == a_szPath) ? "/" : a_szPath, false, true, -1);
  *szSlash = '/';
  return fd;
}

// --- Tree copy --------------------------------------------------------------

// State of one CopyDirectory call.
struct CopyWalk
{
  char szRoot[PATH_MAX];  // physical path of the source tree
  size_t sizetRootLength;
  char szScratch[PATH_MAX];       // resolution of links
  dev_t adev[kMaxCopyDepth + 1];  // the directories of the current branch
  ino_t aino[kMaxCopyDepth + 1];
  int iDepth;
  uint32_t u32Directories;
  char *pchBuffer;      // copy buffer, taken at the first file
  EOSSTS eosstsResult;  // the first failure
};

// One directory being copied.
struct CopyLevel
{
  CopyLevel *poscopylevelParent;
  int fdSource;              // -1 when the source could not be opened
  char szSource[kPathSize];  // physical path of the source directory
  char szDestination[kPathSize];
  int fdDestination;  // -1 until made
  bool blDestinationTried;
  PFNOSFILECOPYDIRECTORY pfncallback;
  void *pvContext;
};

// What the walk knows of one entry.
struct CopyEntry
{
  const char *szName;
  char szSource[kPathSize];    // path in the tree, as the callback sees it
  char szResolved[kPathSize];  // for a link: the physical path it leads to
  char szTarget[kPathSize];
  bool blLink;
};

void Keep(CopyWalk &a_walk, EOSSTS a_eossts)
{
  if (!a_walk.eosstsResult)
  {
    a_walk.eosstsResult = a_eossts;
  }
}

// a_szDirectory + "/" + a_szName into a_szOut, or false when it would not
// fit the 512-byte buffer (reported as a failure).
bool JoinPath(CopyWalk &a_walk, char *a_szOut, const char *a_szDirectory, const char *a_szName)
{
  size_t sizetDirectory = strlen(a_szDirectory);
  bool blSlash = !sizetDirectory || (a_szDirectory[sizetDirectory - 1] != '/');
  if (sizetDirectory + (blSlash ? 1 : 0) + strlen(a_szName) >= kPathSize)
  {
    OSLOG(EOSLOGFLAG_ERROR, "Path too long, not copied...<%s/%s>", a_szDirectory, a_szName);
    Keep(a_walk, EOSSTS_NOFIT);
    return false;
  }
  snprintf(a_szOut, kPathSize, "%s%s%s", a_szDirectory, blSlash ? "/" : "", a_szName);
  return true;
}

bool InsideTree(const CopyWalk &a_walk, const char *a_szPhysical)
{
  if (strncmp(a_szPhysical, a_walk.szRoot, a_walk.sizetRootLength))
  {
    return false;
  }
  char cNext = a_szPhysical[a_walk.sizetRootLength];
  return (cNext == '/') || (cNext == '\0') || (a_walk.szRoot[a_walk.sizetRootLength - 1] == '/');
}

// Resolves a link of the tree into a_entry.szResolved; false (and an
// information line) when it dangles or leads out of the tree.
bool ResolveLink(CopyWalk &a_walk, CopyEntry &a_entry)
{
  if (!realpath(a_entry.szSource, a_walk.szScratch) || !InsideTree(a_walk, a_walk.szScratch) ||
      (strlen(a_walk.szScratch) >= kPathSize))
  {
    OSLOGDBG("Symbolic link not followed out of the tree, skipped...<%s>", a_entry.szSource);
    return false;
  }
  memcpy(a_entry.szResolved, a_walk.szScratch, strlen(a_walk.szScratch) + 1);
  return true;
}

// The path of an open descriptor into a_walk.szScratch (read from /proc).
bool DescriptorPath(CopyWalk &a_walk, int a_fd)
{
  char szLink[64];
  snprintf(szLink, sizeof(szLink), "/proc/self/fd/%d", a_fd);
  ssize_t ssize = readlink(szLink, a_walk.szScratch, sizeof(a_walk.szScratch) - 1);
  if (ssize <= 0)
  {
    return false;
  }
  a_walk.szScratch[ssize] = '\0';
  return true;
}

// Whether an opened descriptor is a file of the tree.
bool OpenedInsideTree(CopyWalk &a_walk, int a_fd)
{
  return DescriptorPath(a_walk, a_fd) && InsideTree(a_walk, a_walk.szScratch);
}

// Opens an entry without following a link, or a permitted link through its
// resolved path, checked again once open.
int OpenEntry(CopyWalk &a_walk, int a_fdDirectory, const CopyEntry &a_entry, int a_iFlags)
{
  if (!a_entry.blLink)
  {
    return openat(a_fdDirectory, a_entry.szName, a_iFlags | O_NOFOLLOW | O_CLOEXEC);
  }
  int fd = open(a_entry.szResolved, a_iFlags | O_NOFOLLOW | O_CLOEXEC);
  if ((fd >= 0) && !OpenedInsideTree(a_walk, fd))
  {
    OSLOGDBG("Symbolic link not followed out of the tree, skipped...<%s>", a_entry.szSource);
    close(fd);
    fd = -1;
  }
  return fd;
}

// Makes (once) and opens the destination directory of a level; -1 when that
// failed. The top destination is made by a walk from the root that passes
// only trusted links and refuses a link as the destination itself; below it
// each directory is made in its parent's descriptor and entered with
// O_NOFOLLOW, so a link planted in the destination tree is never entered.
int EnsureDestination(CopyWalk &a_walk, CopyLevel &a_level)
{
  if (a_level.blDestinationTried)
  {
    return a_level.fdDestination;
  }
  a_level.blDestinationTried = true;
  EOSSTS eosstsMade = EOSSTS_FAIL;
  if (!a_level.poscopylevelParent)
  {
    // The top is walked from the root; it may not itself be a link.
    if (a_level.szDestination[0])
    {
      a_level.fdDestination = OsFileOpenDirectory(a_level.szDestination, true, false, -1);
      eosstsMade = OsFileStatusFromErrno(errno);
    }
  }
  else
  {
    int fdParent = EnsureDestination(a_walk, *a_level.poscopylevelParent);
    const char *szName = strrchr(a_level.szDestination, '/') + 1;
    if (fdParent >= 0)
    {
      mode_t modeOld = umask(0);
      (void)mkdirat(fdParent, szName, 0777);
      umask(modeOld);
      a_level.fdDestination = openat(fdParent, szName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }
  }
  if (a_level.fdDestination < 0)
  {
    OSLOG(EOSLOGFLAG_ERROR, "OsFileCreateDirectory failed...<%s>", a_level.szDestination);
    Keep(a_walk, eosstsMade);
  }
  return a_level.fdDestination;
}

void CopyLevelRun(CopyWalk &a_walk, CopyLevel &a_level, bool a_blRecursive);

// Copies one file entry: 0, or 1 when it could not be copied.
EOSSTS CopyFileEntry(CopyWalk &a_walk, CopyLevel &a_level, int a_fdDirectory, const CopyEntry &a_entry)
{
  int fdDestination = EnsureDestination(a_walk, a_level);
  if (!a_walk.pchBuffer)
  {
    a_walk.pchBuffer = AllocCopyBuffer();
  }
  if ((fdDestination < 0) || !a_walk.pchBuffer)
  {
    return EOSSTS_FAIL;
  }
  int fdSource = OpenEntry(a_walk, a_fdDirectory, a_entry, O_RDONLY | O_NONBLOCK);
  if (fdSource < 0)
  {
    return EOSSTS_FAIL;
  }
  EOSSTS eosstsResult = CopyContents(fdSource, fdDestination, a_entry.szName, a_walk.pchBuffer);
  close(fdSource);
  return eosstsResult;
}

// A file entry: asks the callback, then copies.
void VisitFile(CopyWalk &a_walk, CopyLevel &a_level, int a_fdDirectory, const CopyEntry &a_entry)
{
  if (!a_level.pfncallback)
  {
    // Without a callback a failed copy is neither logged nor reported.
    (void)CopyFileEntry(a_walk, a_level, a_fdDirectory, a_entry);
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
    eosstsResult = CopyFileEntry(a_walk, a_level, a_fdDirectory, a_entry);
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
void CopySubdirectory(CopyWalk &a_walk, CopyLevel &a_level, int a_fdDirectory, const CopyEntry &a_entry,
                      PFNOSFILECOPYDIRECTORY a_pfncallback, void *a_pvContext)
{
  CopyLevel level = {&a_level, -1, "", "", -1, false, a_pfncallback, a_pvContext};
  snprintf(level.szSource, sizeof(level.szSource), "%s",
           a_entry.blLink ? a_entry.szResolved : a_entry.szSource);
  snprintf(level.szDestination, sizeof(level.szDestination), "%s", a_entry.szTarget);
  level.fdSource = OpenEntry(a_walk, a_fdDirectory, a_entry, O_RDONLY | O_DIRECTORY);
  struct stat statDirectory;
  if ((level.fdSource >= 0) &&
      (fstat(level.fdSource, &statDirectory) || !MayEnter(a_walk, statDirectory, a_entry.szSource)))
  {
    close(level.fdSource);
    return;
  }
  if (level.fdSource >= 0)
  {
    a_walk.adev[a_walk.iDepth] = statDirectory.st_dev;
    a_walk.aino[a_walk.iDepth] = statDirectory.st_ino;
    a_walk.iDepth++;
    a_walk.u32Directories++;
  }
  CopyLevelRun(a_walk, level, true);
  if (level.fdSource >= 0)
  {
    a_walk.iDepth--;
  }
}

// A directory entry: asks the callback, then copies it as a level.
void VisitDirectory(CopyWalk &a_walk, CopyLevel &a_level, int a_fdDirectory, const CopyEntry &a_entry)
{
  if (!a_level.pfncallback)
  {
    CopySubdirectory(a_walk, a_level, a_fdDirectory, a_entry, nullptr, nullptr);
    return;
  }
  OsFileCopyDirectoryInfo osfilecopydirectoryinfo = {16, nullptr, a_entry.szSource, a_level.pvContext};
  EOSSTS eosstsVerdict = a_level.pfncallback(&osfilecopydirectoryinfo);
  switch (eosstsVerdict)
  {
    case EOSSTS_OK:
      CopySubdirectory(a_walk, a_level, a_fdDirectory, a_entry, a_level.pfncallback, a_level.pvContext);
      break;
    case EOSSTS_COPYWHOLEDIR:
      CopySubdirectory(a_walk, a_level, a_fdDirectory, a_entry, nullptr, nullptr);
      break;
    case EOSSTS_COPYSKIP:
      break;
    default:
      OSLOG(EOSLOGFLAG_ASSERT, "Unexpected callback status: %d", static_cast<int>(eosstsVerdict));
      Keep(a_walk, eosstsVerdict);
      break;
  }
}

// One entry of a level: looks it up without following, resolves a link, and
// hands it on as a file or a directory.
void VisitEntry(CopyWalk &a_walk, CopyLevel &a_level, int a_fdDirectory, const char *a_szName,
                bool a_blRecursive)
{
  CopyEntry entry;
  entry.szName = a_szName;
  struct stat statEntry;
  if (fstatat(a_fdDirectory, a_szName, &statEntry, AT_SYMLINK_NOFOLLOW) ||
      !JoinPath(a_walk, entry.szSource, a_level.szSource, a_szName))
  {
    return;
  }
  entry.blLink = S_ISLNK(statEntry.st_mode);
  if (entry.blLink && (!ResolveLink(a_walk, entry) || stat(entry.szResolved, &statEntry)))
  {
    return;
  }
  bool blDirectory = S_ISDIR(statEntry.st_mode);
  if ((blDirectory && !a_blRecursive) || !JoinPath(a_walk, entry.szTarget, a_level.szDestination, a_szName))
  {
    return;
  }
  if (blDirectory)
  {
    VisitDirectory(a_walk, a_level, a_fdDirectory, entry);
  }
  else
  {
    VisitFile(a_walk, a_level, a_fdDirectory, entry);
  }
}

// Copies one level: without a callback its destination is made at once; then
// every entry in directory order. Closes the level's descriptors.
void CopyLevelRun(CopyWalk &a_walk, CopyLevel &a_level, bool a_blRecursive)
{
  if (!a_level.pfncallback)
  {
    (void)EnsureDestination(a_walk, a_level);
  }
  DIR *pdir = (a_level.fdSource >= 0) ? fdopendir(a_level.fdSource) : nullptr;
  if (!pdir && (a_level.fdSource >= 0))
  {
    close(a_level.fdSource);
  }
  for (struct dirent *pdirent = pdir ? readdir(pdir) : nullptr; pdirent; pdirent = readdir(pdir))
  {
    if (!IsDotOrDotDot(pdirent->d_name))
    {
      VisitEntry(a_walk, a_level, dirfd(pdir), pdirent->d_name, a_blRecursive);
    }
  }
  if (pdir)
  {
    closedir(pdir);
  }
  if (a_level.fdDestination >= 0)
  {
    close(a_level.fdDestination);
  }
}

// Sets up the top level: its open descriptor (walked without following the
// links of other users) and the physical source path, read back from the
// descriptor. A missing source leaves the descriptor at -1 (nothing to copy).
void OpenTopLevel(CopyWalk &a_walk, CopyLevel &a_level, const char *a_szSource)
{
  a_level.fdSource = OsFileOpenDirectory(a_szSource, false, true, -1);
  struct stat statRoot;
  if ((a_level.fdSource < 0) || fstat(a_level.fdSource, &statRoot) ||
      !DescriptorPath(a_walk, a_level.fdSource) || (strlen(a_walk.szScratch) >= kPathSize))
  {
    if (a_level.fdSource >= 0)
    {
      close(a_level.fdSource);
      a_level.fdSource = -1;
    }
    return;
  }
  memcpy(a_walk.szRoot, a_walk.szScratch, strlen(a_walk.szScratch) + 1);
  a_walk.sizetRootLength = strlen(a_walk.szRoot);
  memcpy(a_level.szSource, a_walk.szRoot, a_walk.sizetRootLength + 1);
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

EOSSTS RemoveDirectory(DeleteWalk &a_walk, int a_fdParent, const char *a_szName, const struct stat &a_stat,
                       bool a_blRecursive, int a_iDepth);

// Removes one entry found inside a tree, whatever it is; a link is unlinked.
EOSSTS RemoveEntry(DeleteWalk &a_walk, int a_fdDirectory, const char *a_szName, int a_iDepth)
{
  struct stat statEntry;
  if (fstatat(a_fdDirectory, a_szName, &statEntry, AT_SYMLINK_NOFOLLOW))
  {
    return (errno == ENOENT) ? EOSSTS_OK : EOSSTS_FAIL;
  }
  size_t sizetOld = PushName(a_walk, a_szName);
  bool blDirectory = S_ISDIR(statEntry.st_mode);
  OSLOGDBG("Delete: <%s> %d %d", a_walk.szPath, blDirectory ? 1 : 2, 1);
  EOSSTS eosstsResult = blDirectory
                            ? RemoveDirectory(a_walk, a_fdDirectory, a_szName, statEntry, true, a_iDepth)
                            : UnlinkEntry(a_walk, a_fdDirectory, a_szName);
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
        eosstsResult = RemoveEntry(a_walk, dirfd(pdir), pdirent->d_name, a_iDepth);
        blRemoved = true;
      }
    }
  }
  closedir(pdir);
  return eosstsResult;
}

// Removes a directory (with its contents when recursive). It is entered with
// O_NOFOLLOW and must still be the directory that was looked up.
EOSSTS RemoveDirectory(DeleteWalk &a_walk, int a_fdParent, const char *a_szName, const struct stat &a_stat,
                       bool a_blRecursive, int a_iDepth)
{
  if (a_blRecursive)
  {
    if ((a_stat.st_dev != a_walk.devTree) || (a_iDepth >= kMaxDeleteDepth))
    {
      OSLOG(EOSLOGFLAG_ERROR, "Directory on another file system or nested too deep, not removed...<%s>",
            a_walk.szPath);
      return EOSSTS_FAIL;
    }
    int fd = openat(a_fdParent, a_szName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat statOpened;
    if ((fd < 0) || fstat(fd, &statOpened) || (statOpened.st_dev != a_stat.st_dev) ||
        (statOpened.st_ino != a_stat.st_ino))
    {
      OSLOGDBG("RemoveDirectory failed...%s", a_walk.szPath);
      if (fd >= 0)
      {
        close(fd);
      }
      return EOSSTS_FAIL;
    }
    EOSSTS eosstsResult = RemoveContents(a_walk, fd, a_iDepth + 1);
    if (eosstsResult)
    {
      return eosstsResult;
    }
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

// Delete of one named path (no wildcard).
EOSSTS DeleteNamed(const char *a_szFilename, EOSFILETYPE a_eosfiletype, bool a_blRecursive)
{
  if ((a_eosfiletype == EOSFILETYPE_NONE) || (FoundType(a_szFilename) != a_eosfiletype))
  {
    return EOSSTS_FAIL;
  }
  DeleteWalk walk;
  COsFile::PathSet(walk.szPath, sizeof(walk.szPath), a_szFilename);
  COsFile::PathRemoveTrailingSlash(walk.szPath);
  walk.sizetLength = strlen(walk.szPath);
  char *szName = nullptr;
  int fdParent = walk.szPath[0] ? OpenParent(walk.szPath, &szName) : -1;
  struct stat statEntry;
  EOSSTS eosstsResult = EOSSTS_FAIL;
  if ((fdParent >= 0) && szName[0] && !IsDotOrDotDot(szName) &&
      !fstatat(fdParent, szName, &statEntry, AT_SYMLINK_NOFOLLOW))
  {
    walk.devTree = statEntry.st_dev;
    if (S_ISDIR(statEntry.st_mode) && (a_eosfiletype == EOSFILETYPE_DIRECTORY))
    {
      eosstsResult = RemoveDirectory(walk, fdParent, szName, statEntry, a_blRecursive, 0);
    }
    else if (S_ISLNK(statEntry.st_mode) || (a_eosfiletype == EOSFILETYPE_FILE))
    {
      // A link goes as a link, whatever it leads to.
      eosstsResult = UnlinkEntry(walk, fdParent, szName);
    }
  }
  if (fdParent >= 0)
  {
    close(fdParent);
  }
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
  char *pchBuffer = AllocCopyBuffer();
  if (!pchBuffer)
  {
    return EOSSTS_FAIL;
  }
  char szTarget[PATH_MAX];
  snprintf(szTarget, sizeof(szTarget), "%s", a_szNewFilename);
  char *szName = nullptr;
  int fdSource = open(a_szFilename, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  int fdDirectory = OpenParent(szTarget, &szName);
  EOSSTS eosstsResult = EOSSTS_FAIL;
  if ((fdSource >= 0) && (fdDirectory >= 0) && szName[0])
  {
    eosstsResult = CopyContents(fdSource, fdDirectory, szName, pchBuffer);
  }
  if (eosstsResult)
  {
    OSLOGDBG("CopyFile failed...");
    OSLOGDBG("src: %s", a_szFilename);
    OSLOGDBG("dst: %s", a_szNewFilename);
  }
  if (fdSource >= 0)
  {
    close(fdSource);
  }
  if (fdDirectory >= 0)
  {
    close(fdDirectory);
  }
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
  CopyLevel level = {nullptr, -1, "", "", -1, false, a_pfncallback, a_pvContext};
  PathSet(level.szDestination, sizeof(level.szDestination), a_szDestination);
  PathRemoveTrailingSlash(level.szDestination);  // "dst/" would follow a link named dst
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
