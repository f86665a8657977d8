// os_cosfilefind.cpp: the directory search of COsFile (FindFirst, FindNext,
// FindClose). Entries are examined with stat, so symbolic links are followed
// when an entry is described; nothing here changes the file system.
#define _FILE_OFFSET_BITS 64  // large inode numbers and sizes on the 32-bit build

#include <dirent.h>
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "os_cosfile.h"
#include "os_coslog.h"
#include "os_cosstring.h"
#include "os_costime.h"

namespace
{

const uint32_t kPathSize = 512;

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

// Fills size, type, access and times from the full path. a_szShown is the
// text the two messages name. 0, or 257 with any open stream closed.
EOSSTS Examine(OsFileInfo *a_posfileinfo, const char *a_szShown)
{
  struct stat statEntry;
  if (stat(a_posfileinfo->szFullPath, &statEntry))
  {
    OSLOGDBG("stat failed...<%s>", a_szShown);
    CloseStream(a_posfileinfo);
    errno = 0;
    return EOSSTS_FILENOTFOUND;
  }
  OSLOGDBG("Found...<%s>", a_szShown);
  a_posfileinfo->u32Size = static_cast<uint32_t>(statEntry.st_size);
  a_posfileinfo->eosfiletype = TypeFromMode(statEntry.st_mode);
  a_posfileinfo->eosfileaccess = (statEntry.st_mode & 0222) ? EOSFILEACCESS_READWRITE : EOSFILEACCESS_READ;
  (void)COsTime::GetUtcTime(&a_posfileinfo->ostimerecordAccess, statEntry.st_atime);
  (void)COsTime::GetUtcTime(&a_posfileinfo->ostimerecordWrite, statEntry.st_mtime);
  errno = 0;
  return EOSSTS_OK;
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
    if (a_sizetDirectoryLength + 1 + strlen(szName) >= kPathSize)
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
  if (COsFile::PathAbsolute(a_posfileinfo->szFullPath, sizeof(a_posfileinfo->szFullPath), a_szFilename))
  {
    OSLOGDBG("OsFilePathAbsolute failed...<%s>", a_szFilename);
    errno = 0;
    return EOSSTS_FILENOTFOUND;
  }
  return Examine(a_posfileinfo, a_posfileinfo->szFullPath);
}

// A wildcard search: the directory part is opened and its entries matched
// against the last component.
EOSSTS FindPattern(const char *a_szFilename, OsFileInfo *a_posfileinfo)
{
  char szDirectory[kPathSize] = ".";
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
  if (COsFile::PathAbsolute(a_posfileinfo->szFullPath, sizeof(a_posfileinfo->szFullPath), szDirectory))
  {
    OSLOGDBG("OsFilePathAbsolute failed...<%s>", szDirectory);
    errno = 0;
    return EOSSTS_FILENOTFOUND;
  }
  COsString::SStrCpy(a_posfileinfo->szPattern, sizeof(a_posfileinfo->szPattern), szPattern);
  OSLOGDBG("FindFirst...<%s> <%s>", a_posfileinfo->szFullPath, a_posfileinfo->szPattern);
  a_posfileinfo->pvDirectory = opendir(a_posfileinfo->szFullPath);
  if (!a_posfileinfo->pvDirectory)
  {
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
  return Examine(a_posfileinfo, a_posfileinfo->szFullPath);
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
  return Examine(a_posfileinfo, a_posfileinfo->szName);
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
