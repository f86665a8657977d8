// os_cosfilefind.cpp: the directory search of COsFile (FindFirst, FindNext,
// FindClose). Entries are described as stat describes them: trusted symbolic
// links are followed, an untrusted one is described as itself, and a path
// through an untrusted one is not found. Nothing here changes the file system.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "os_cosfile.h"
#include "os_cosfilesafe.h"
#include "os_coslog.h"
#include "os_cosstring.h"
#include "os_costime.h"

namespace
{


EOSFILETYPE TypeFromMode(mode_t a_mode)
{
  if (S_ISDIR(a_mode))
  {
    return EOSFILETYPE_DIRECTORY;
  }
  if (S_ISFIFO(a_mode) || S_ISBLK(a_mode) || S_ISSOCK(a_mode))
  {
    return EOSFILETYPE_OTHER;
  }
  return EOSFILETYPE_FILE;
}

void CloseStream(OsFileInfo *a_posfileinfo)
{
  if (a_posfileinfo->pvDirectory)
  {
    closedir(static_cast<DIR *>(a_posfileinfo->pvDirectory));
    a_posfileinfo->pvDirectory = nullptr;
  }
}

// Sets the name fields from a directory entry's name.
void SetName(OsFileInfo *a_posfileinfo, const char *a_szName)
{
  COsString::SStrCpy(a_posfileinfo->szName, sizeof(a_posfileinfo->szName), a_szName);
  size_t ii = 0;
  for (; a_posfileinfo->szName[ii]; ii++)
  {
    a_posfileinfo->szNameLower[ii] =
        static_cast<char>(tolower(static_cast<unsigned char>(a_posfileinfo->szName[ii])));
  }
  a_posfileinfo->szNameLower[ii] = '\0';
}

// The search ran out of entries: the stream is closed and 257 returned.
EOSSTS EndOfStream(OsFileInfo *a_posfileinfo)
{
  OSLOGDBG("readdir failed...<%s>", a_posfileinfo->szFullPath);
  CloseStream(a_posfileinfo);
  errno = 0;
  return EOSSTS_FILENOTFOUND;
}

// Fills size, type, access and times from a status. a_szShown is the text
// the message names.
EOSSTS Describe(OsFileInfo *a_posfileinfo, const struct stat &a_stat, const char *a_szShown)
{
  OSLOGDBG("Found...<%s>", a_szShown);
  a_posfileinfo->u32Size = static_cast<uint32_t>(a_stat.st_size);
  a_posfileinfo->eosfiletype = TypeFromMode(a_stat.st_mode);
  a_posfileinfo->eosfileaccess = (a_stat.st_mode & 0222) ? EOSFILEACCESS_READWRITE : EOSFILEACCESS_READ;
  (void)COsTime::GetUtcTime(&a_posfileinfo->ostimerecordAccess, a_stat.st_atime);
  (void)COsTime::GetUtcTime(&a_posfileinfo->ostimerecordWrite, a_stat.st_mtime);
  errno = 0;
  return EOSSTS_OK;
}

// Examines the entry a_szName of the open stream, looked up in the stream's
// own directory. 0, or 257 with the stream closed.
EOSSTS Examine(OsFileInfo *a_posfileinfo, const char *a_szName, const char *a_szShown)
{
  OsFileWalk walkDirectory;
  walkDirectory.fd = dirfd(static_cast<DIR *>(a_posfileinfo->pvDirectory));
  COsString::SStrCpy(walkDirectory.szPhysical, sizeof(walkDirectory.szPhysical), a_posfileinfo->szFullPath);
  *strrchr(walkDirectory.szPhysical, '/') = '\0';
  OsFileWalk walkEntry;
  struct stat statEntry;
  const bool blFound =
      !OsFileWalkPath(walkEntry, &walkDirectory, a_szName, OS_WALK_FOLLOW | OS_WALK_DESCRIBE) &&
      !fstat(walkEntry.fd, &statEntry);
  OsFileWalkClose(walkEntry);
  if (!blFound)
  {
    OSLOGDBG("stat failed...<%s>", a_szShown);
    CloseStream(a_posfileinfo);
    errno = 0;
    return EOSSTS_FILENOTFOUND;
  }
  return Describe(a_posfileinfo, statEntry, a_szShown);
}

// Reads the stream up to the next non-empty name that matches the pattern
// (any name when there is none) and that fits the full-path buffer.
const char *NextMatch(OsFileInfo *a_posfileinfo, size_t a_sizetDirectoryLength)
{
  DIR *pdir = static_cast<DIR *>(a_posfileinfo->pvDirectory);
  for (struct dirent *pdirent = readdir(pdir); pdirent; pdirent = readdir(pdir))
  {
    const char *szName = pdirent->d_name;
    if (!szName[0] ||
        (a_posfileinfo->szPattern[0] && COsString::StrWildCmp(a_posfileinfo->szPattern, szName)))
    {
      continue;
    }
    if (a_sizetDirectoryLength + 1 + strlen(szName) >= OS_SIZE_PATH)
    {
      OSLOGDBG("path too long...<%s/%s>", a_posfileinfo->szFullPath, szName);
      continue;
    }
    return szName;
  }
  return nullptr;
}

// Length of the directory part of the full path (up to its last '/').
size_t DirectoryLength(const OsFileInfo *a_posfileinfo)
{
  const char *szSlash = strrchr(a_posfileinfo->szFullPath, '/');
  return szSlash ? static_cast<size_t>(szSlash - a_posfileinfo->szFullPath) : 0;
}

// A search without wildcards: the path names one entry.
EOSSTS FindOne(const char *a_szFilename, OsFileInfo *a_posfileinfo)
{
  const char *szSlash = strrchr(a_szFilename, '/');
  SetName(a_posfileinfo, szSlash ? szSlash + 1 : a_szFilename);
  struct stat statEntry;
  if (OsFileAbsolute(a_posfileinfo->szFullPath, sizeof(a_posfileinfo->szFullPath), a_szFilename, &statEntry))
  {
    OSLOGDBG("OsFilePathAbsolute failed...<%s>", a_szFilename);
    errno = 0;
    return EOSSTS_FILENOTFOUND;
  }
  return Describe(a_posfileinfo, statEntry, a_posfileinfo->szFullPath);
}

// A wildcard search: the directory part is opened and its entries matched
// against the last component.
EOSSTS FindPattern(const char *a_szFilename, OsFileInfo *a_posfileinfo)
{
  char szDirectory[OS_SIZE_PATH] = ".";
  const char *szPattern = a_szFilename;
  const char *szSlash = strrchr(a_szFilename, '/');
  if (szSlash)
  {
    // "/x*" searches the root directory.
    size_t sizetLength = (szSlash == a_szFilename) ? 1 : static_cast<size_t>(szSlash - a_szFilename);
    if (sizetLength >= sizeof(szDirectory))
    {
      OSLOGDBG("OsFilePathAbsolute failed...<%s>", a_szFilename);
      errno = 0;
      return EOSSTS_FILENOTFOUND;
    }
    memcpy(szDirectory, a_szFilename, sizetLength);
    szDirectory[sizetLength] = '\0';
    szPattern = szSlash + 1;
  }
  // The stream is opened on the very directory the walk reached.
  OsFileWalk walkDirectory;
  if (OsFileWalkPath(walkDirectory, nullptr, szDirectory, OS_WALK_FOLLOW) || !walkDirectory.szPhysical[0] ||
      (strlen(walkDirectory.szPhysical) >= sizeof(a_posfileinfo->szFullPath)))
  {
    OsFileWalkClose(walkDirectory);
    OSLOGDBG("OsFilePathAbsolute failed...<%s>", szDirectory);
    errno = 0;
    return EOSSTS_FILENOTFOUND;
  }
  COsString::SStrCpy(a_posfileinfo->szFullPath, sizeof(a_posfileinfo->szFullPath), walkDirectory.szPhysical);
  COsString::SStrCpy(a_posfileinfo->szPattern, sizeof(a_posfileinfo->szPattern), szPattern);
  OSLOGDBG("FindFirst...<%s> <%s>", a_posfileinfo->szFullPath, a_posfileinfo->szPattern);
  int fdDirectory = openat(walkDirectory.fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  OsFileWalkClose(walkDirectory);
  a_posfileinfo->pvDirectory = (fdDirectory >= 0) ? fdopendir(fdDirectory) : nullptr;
  if (!a_posfileinfo->pvDirectory)
  {
    if (fdDirectory >= 0)
    {
      close(fdDirectory);
    }
    OSLOGDBG("opendir failed...<%s>", a_posfileinfo->szFullPath);
    errno = 0;
    return EOSSTS_FILENOTFOUND;
  }
  const char *szName = NextMatch(a_posfileinfo, strlen(a_posfileinfo->szFullPath));
  if (!szName)
  {
    return EndOfStream(a_posfileinfo);
  }
  SetName(a_posfileinfo, szName);
  COsFile::PathAppend(a_posfileinfo->szFullPath, sizeof(a_posfileinfo->szFullPath), szName);
  return Examine(a_posfileinfo, szName, a_posfileinfo->szFullPath);
}

}  // namespace

EOSSTS COsFile::FindFirst(const char *a_szFilename, OsFileInfo *a_posfileinfo)
{
  if (!a_szFilename)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_szFilename is null...");
    return EOSSTS_BADARG;
  }
  if (!a_posfileinfo)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_posfileinfo is NULL...");
    return EOSSTS_BADARG;
  }
  FindClose(a_posfileinfo);
  OSLOGDBG("FindFirst...<%s>", a_szFilename);
  if (!strpbrk(a_szFilename, "*?"))
  {
    return FindOne(a_szFilename, a_posfileinfo);
  }
  return FindPattern(a_szFilename, a_posfileinfo);
}

EOSSTS COsFile::FindNext(OsFileInfo *a_posfileinfo)
{
  if (!a_posfileinfo)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_posfileinfo is NULL...");
    return EOSSTS_BADARG;
  }
  if (!a_posfileinfo->pvDirectory)
  {
    return EOSSTS_FILENOTFOUND;
  }
  size_t sizetDirectoryLength = DirectoryLength(a_posfileinfo);
  const char *szName = NextMatch(a_posfileinfo, sizetDirectoryLength);
  if (!szName)
  {
    return EndOfStream(a_posfileinfo);
  }
  SetName(a_posfileinfo, szName);
  a_posfileinfo->szFullPath[sizetDirectoryLength] = '\0';
  COsString::SStrCat(a_posfileinfo->szFullPath, sizeof(a_posfileinfo->szFullPath), "/");
  COsString::SStrCat(a_posfileinfo->szFullPath, sizeof(a_posfileinfo->szFullPath), szName);
  return Examine(a_posfileinfo, szName, a_posfileinfo->szName);
}

EOSSTS COsFile::FindClose(OsFileInfo *a_posfileinfo)
{
  if (!a_posfileinfo)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_posfileinfo is NULL...");
    return EOSSTS_BADARG;
  }
  CloseStream(a_posfileinfo);
  memset(a_posfileinfo, 0, sizeof(*a_posfileinfo));
  return EOSSTS_OK;
}
