// os_cosfilesafe.cpp: walking a directory path without following links that
// other users own (see os_cosfilesafe.h).
#define _FILE_OFFSET_BITS 64  // large inode numbers on the 32-bit build

#include "os_cosfilesafe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "os_types.h"

namespace
{

bool TrustedLink(const struct stat &a_stat)
{
  return (a_stat.st_uid == 0) || (a_stat.st_uid == geteuid());
}

// Steps from the open directory a_fd into its entry a_szName, making it when
// asked. a_fd is closed; the result is the entry's descriptor or -1.
int Step(int a_fd, const char *a_szName, bool a_blCreate, bool a_blFollowLink)
{
  struct stat statEntry;
  int iFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
  if (fstatat(a_fd, a_szName, &statEntry, AT_SYMLINK_NOFOLLOW))
  {
    if ((errno == ENOENT) && a_blCreate)
    {
      mode_t modeOld = umask(0);
      (void)mkdirat(a_fd, a_szName, 0777);
      umask(modeOld);
    }
  }
  else if (S_ISLNK(statEntry.st_mode))
  {
    if (!a_blFollowLink || !TrustedLink(statEntry))
    {
      close(a_fd);
      errno = EACCES;
      return -1;
    }
    iFlags &= ~O_NOFOLLOW;
  }
  int fdNext = openat(a_fd, a_szName, iFlags);
  int iErrno = errno;
  close(a_fd);
  errno = iErrno;
  return fdNext;
}

}  // namespace

int OsFileOpenDirectory(const char *a_szPath, bool a_blCreate, bool a_blFollowLastLink, int a_iMaxComponents)
{
  char szPath[PATH_MAX];
  if (!a_szPath || (snprintf(szPath, sizeof(szPath), "%s", a_szPath) >= static_cast<int>(sizeof(szPath))))
  {
    errno = ENAMETOOLONG;
    return -1;
  }
  int fd = open((szPath[0] == '/') ? "/" : ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  // Components inside the leading run of '.' and '/' are not counted.
  const char *szCounted = szPath + strspn(szPath, "./");
  int iCounted = 0;
  char *szSave = nullptr;
  for (char *szName = strtok_r(szPath, "/", &szSave); szName && (fd >= 0);
       szName = strtok_r(nullptr, "/", &szSave))
  {
    if (szName >= szCounted)
    {
      if ((a_iMaxComponents >= 0) && (iCounted >= a_iMaxComponents))
      {
        break;
      }
      iCounted++;
    }
    bool blLast = !szSave || !szSave[strspn(szSave, "/")];
    fd = Step(fd, szName, a_blCreate, !blLast || a_blFollowLastLink);
  }
  return fd;
}

unsigned OsFileStatusFromErrno(int a_iErrno)
{
  switch (a_iErrno)
  {
    case ENOENT:
      return EOSSTS_FILENOTFOUND;
    case EACCES:
      return EOSSTS_ACCESSDENIED;
    default:
      return EOSSTS_FAIL;
  }
}
