// os_cosfilepath.cpp: the path functions of COsFile. All but PathAbsolute work
// on the caller's buffer only and never touch the file system.
#define _FILE_OFFSET_BITS 64  // large inode numbers and sizes on the 32-bit build

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "os_cosfile.h"
#include "os_coslog.h"
#include "os_cosstring.h"

namespace
{

const uint32_t kPathSize = 512;

bool IsSeparator(char a_c)
{
  return (a_c == '/') || (a_c == '\\');
}

// The current directory into a_szOut; false (logged) when it cannot be read.
bool CurrentDirectory(char *a_szOut, uint32_t a_u32Size)
{
  if (!getcwd(a_szOut, a_u32Size))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "getcwd failed...");
    return false;
  }
  return true;
}

// The physical form of directory a_szDirectory into a_szOut. The directory is
// resolved without changing the process's working directory.
bool ResolveDirectory(char *a_szOut, uint32_t a_u32Size, const char *a_szDirectory)
{
  char szResolved[PATH_MAX];
  if (!realpath(a_szDirectory, szResolved))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "chdir failed...<%s>", a_szDirectory);
    return false;
  }
  if (strlen(szResolved) >= a_u32Size)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "getcwd failed...");
    return false;
  }
  memcpy(a_szOut, szResolved, strlen(szResolved) + 1);
  return true;
}

// "..": the current directory without its last component ("/" stays "/").
bool ParentOfCurrentDirectory(char *a_szOut, uint32_t a_u32Size)
{
  if (!CurrentDirectory(a_szOut, a_u32Size))
  {
    return false;
  }
  char *szSlash = strrchr(a_szOut, '/');
  if (szSlash)
  {
    szSlash[(szSlash == a_szOut) ? 1 : 0] = '\0';
  }
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

EOSSTS COsFile::PathAbsolute(char *a_szAbsolute, uint32_t a_u32Size, const char *a_szName)
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
  if (!strcmp(a_szName, "."))
  {
    return CurrentDirectory(a_szAbsolute, a_u32Size) ? EOSSTS_OK : EOSSTS_FAIL;
  }
  if (!strcmp(a_szName, ".."))
  {
    return ParentOfCurrentDirectory(a_szAbsolute, a_u32Size) ? EOSSTS_OK : EOSSTS_FAIL;
  }
  struct stat statName;
  if (stat(a_szName, &statName))
  {
    OSLOGDBG("stat failed...<%s>", a_szName);
    return EOSSTS_FILENOTFOUND;
  }

  // A directory is resolved whole; otherwise only its directory part is, and
  // the last component is appended as given.
  char szDirectory[kPathSize];
  char szLeaf[kPathSize] = "";
  PathSet(szDirectory, sizeof(szDirectory), a_szName);
  if (!szDirectory[0])
  {
    return EOSSTS_FAIL;
  }
  if (!S_ISDIR(statName.st_mode))
  {
    uint32_t u32DirectoryLength = 0;
    char *szNamePart = nullptr;
    PathSplit(szDirectory, &u32DirectoryLength, &szNamePart);
    memcpy(szLeaf, szNamePart, strlen(szNamePart) + 1);
    // "/f" has the root as its directory, "f" the current directory.
    szDirectory[((u32DirectoryLength == 0) && (szDirectory[0] == '/')) ? 1 : u32DirectoryLength] = '\0';
  }
  bool blResolved = szDirectory[0] ? ResolveDirectory(a_szAbsolute, a_u32Size, szDirectory)
                                   : CurrentDirectory(a_szAbsolute, a_u32Size);
  if (!blResolved)
  {
    return EOSSTS_FAIL;
  }
  if (szLeaf[0])
  {
    if (strlen(a_szAbsolute) + 1 + strlen(szLeaf) >= a_u32Size)
    {
      OSLOG(EOSLOGFLAG_ASSERT, "buffer overflow...%u <%s>", a_u32Size, szLeaf);
      return EOSSTS_FAIL;
    }
    COsString::SStrCat(a_szAbsolute, a_u32Size, "/");
    COsString::SStrCat(a_szAbsolute, a_u32Size, szLeaf);
  }
  PathNormalize(a_szAbsolute, '/');
  return EOSSTS_OK;
}
