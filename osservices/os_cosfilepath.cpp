// os_cosfilepath.cpp: the path functions of COsFile. All but PathAbsolute work
// on the caller's buffer only and never touch the file system.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os_cosfile.h"
#include "os_cosfilesafe.h"
#include "os_coslog.h"
#include "os_cosstring.h"

namespace
{


bool IsSeparator(char a_c)
{
  return (a_c == '/') || (a_c == '\\');
}

// Copies a physical path into the caller's buffer, with a_szLeaf appended
// when given; false (logged) when it is unknown or does not fit.
bool SetAbsolute(char *a_szOut, uint32_t a_u32Size, const char *a_szPhysical, const char *a_szLeaf)
{
  if (!a_szPhysical[0])
  {
    OSLOG(EOSLOGFLAG_ASSERT, "getcwd failed...");
    return false;
  }
  const bool blSlash = a_szLeaf && (a_szPhysical[strlen(a_szPhysical) - 1] != '/');
  const size_t sizetLength = strlen(a_szPhysical) + (blSlash ? 1 : 0) + (a_szLeaf ? strlen(a_szLeaf) : 0);
  if (sizetLength >= a_u32Size)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "buffer overflow...%u <%s>", a_u32Size, a_szLeaf ? a_szLeaf : a_szPhysical);
    return false;
  }
  snprintf(a_szOut, a_u32Size, "%s%s%s", a_szPhysical, blSlash ? "/" : "", a_szLeaf ? a_szLeaf : "");
  return true;
}

}  // namespace

char *COsFile::PathNormalize(char *a_szPath, char a_cSeparator)
{
  if (!a_szPath)
  {
    return nullptr;
  }
  char *szRead = a_szPath;
  // A network-share prefix keeps its two backslashes.
  if ((a_szPath[0] == '\\') && (a_szPath[1] == '\\'))
  {
    szRead += 2;
  }
  char *szWrite = szRead;
  bool blInRun = false;
  for (; *szRead; szRead++)
  {
    if (!IsSeparator(*szRead))
    {
      *szWrite++ = *szRead;
      blInRun = false;
    }
    else if (!blInRun)
    {
      *szWrite++ = a_cSeparator;
      blInRun = true;
    }
  }
  *szWrite = '\0';
  return szWrite;
}

void COsFile::PathSet(char *a_szPath, uint32_t a_u32Size, const char *a_szSource)
{
  if (!a_szPath || !a_szSource)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "null argument...%p %d", static_cast<void *>(a_szPath),
          static_cast<int>(reinterpret_cast<intptr_t>(a_szSource)));
    return;
  }
  size_t sizetLength = strlen(a_szSource);
  if (sizetLength + 1 > a_u32Size)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "buffer overflow...%u <%s>", a_u32Size, a_szSource);
    if (a_u32Size > 0)
    {
      a_szPath[0] = '\0';
    }
    return;
  }
  memmove(a_szPath, a_szSource, sizetLength + 1);
  PathNormalize(a_szPath, '/');
}

char *COsFile::PathAppend(char *a_szPath, uint32_t a_u32Size, const char *a_szName)
{
  COsString::SStrCat(a_szPath, a_u32Size, "/");
  if (a_szName)
  {
    if (a_szName[0] && (a_szName[1] == ':'))
    {
      OSLOGDBG("PathAppend stripping drive letter...<%s>", a_szName);
      a_szName += 2;
    }
    COsString::SStrCat(a_szPath, a_u32Size, a_szName);
  }
  return PathNormalize(a_szPath, '/');
}

void COsFile::PathSplit(char *a_szPath, uint32_t *a_pu32DirectoryLength, char **a_pszName)
{
  if (!a_szPath)
  {
    return;
  }
  PathNormalize(a_szPath, '/');
  char *szSlash = strrchr(a_szPath, '/');
  if (a_pu32DirectoryLength)
  {
    *a_pu32DirectoryLength = szSlash ? static_cast<uint32_t>(szSlash - a_szPath) : 0;
  }
  if (a_pszName)
  {
    *a_pszName = szSlash ? szSlash + 1 : a_szPath;
  }
}

void COsFile::PathRemoveTrailingSlash(char *a_szPath)
{
  char *szEnd = PathNormalize(a_szPath, '/');
  if (szEnd && (szEnd > a_szPath) && (szEnd[-1] == '/'))
  {
    szEnd[-1] = '\0';
  }
}

unsigned OsFileAbsolute(char *a_szAbsolute, uint32_t a_u32Size, const char *a_szName, struct stat *a_pstat)
{
  if (!a_szAbsolute)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "a_szAbsolute is null...");
    return EOSSTS_FAIL;
  }
  if (!a_szName)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "a_szName is null...");
    return EOSSTS_FAIL;
  }
  // The directory part is walked first and held, so that the last component
  // is looked up in it: a directory ends resolved, anything else keeps its
  // own name after the directory's physical path.
  char szDirectory[PATH_MAX];
  snprintf(szDirectory, sizeof(szDirectory), "%s", a_szName);
  COsFile::PathNormalize(szDirectory, '/');
  char *szSlash = strrchr(szDirectory, '/');
  char szLeaf[PATH_MAX];
  snprintf(szLeaf, sizeof(szLeaf), "%s", szSlash ? szSlash + 1 : szDirectory);
  if (szSlash)
  {
    szSlash[(szSlash == szDirectory) ? 1 : 0] = '\0';  // "/f" has the root as its directory
  }
  OsFileWalk walkDirectory;
  OsFileWalk walkEntry;
  walkEntry.fd = -1;
  struct stat statEntry;
  const bool blFound = a_szName[0] &&
                       !OsFileWalkPath(walkDirectory, nullptr, szSlash ? szDirectory : "", OS_WALK_FOLLOW) &&
                       !OsFileWalkPath(walkEntry, &walkDirectory, szLeaf[0] ? szLeaf : ".",
                                       OS_WALK_FOLLOW | OS_WALK_DESCRIBE) &&
                       !fstat(walkEntry.fd, &statEntry);
  EOSSTS eosstsResult = EOSSTS_OK;
  if (!blFound)
  {
    OSLOGDBG("stat failed...<%s>", a_szName);
    eosstsResult = EOSSTS_FILENOTFOUND;
  }
  else if (!(S_ISDIR(statEntry.st_mode)
                 ? SetAbsolute(a_szAbsolute, a_u32Size, walkEntry.szPhysical, nullptr)
                 : SetAbsolute(a_szAbsolute, a_u32Size, walkDirectory.szPhysical, szLeaf)))
  {
    eosstsResult = EOSSTS_FAIL;
  }
  else if (a_pstat)
  {
    *a_pstat = statEntry;
  }
  OsFileWalkClose(walkEntry);
  OsFileWalkClose(walkDirectory);
  return eosstsResult;
}

EOSSTS COsFile::PathAbsolute(char *a_szAbsolute, uint32_t a_u32Size, const char *a_szName)
{
  return OsFileAbsolute(a_szAbsolute, a_u32Size, a_szName, nullptr);
}
