// os_cosfilesafe.cpp: walking a directory path without following links that
// other users own (see os_cosfilesafe.h).

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

// A directory others can write: a name in it may have been prepared by them.
bool SharedDirectory(int a_fdDirectory)
{
  struct stat statDirectory;
  if (fstat(a_fdDirectory, &statDirectory))
  {
    return true;
  }
  return (statDirectory.st_mode & (S_IWGRP | S_IWOTH)) ||
         ((statDirectory.st_uid != 0) && (statDirectory.st_uid != geteuid()));
}

// Whether the opened file a_stat in a directory others can write is one the
// writer may use.
bool WriterAccepts(const struct stat &a_stat, EOSFILEWRITER a_ewriter)
{
  const bool blOwn = (a_stat.st_uid == geteuid());
  switch (a_ewriter)
  {
    case OS_WRITER_COPY:
      return blOwn || (a_stat.st_nlink == 1);
    case OS_WRITER_SHAREDLOG:
      return a_stat.st_nlink == 1;
    default:
      return blOwn && (a_stat.st_nlink == 1);
  }
}

// Opens without following a link or blocking; creates exclusively first, so
// that a created file is known and gets its mode.
int OpenNoFollow(int a_fdDirectory, const char *a_szName, int a_iFlags, mode_t a_mode, bool *a_pblCreated)
{
  const int iFlags = (a_iFlags & ~(O_CREAT | O_EXCL | O_TRUNC)) | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  *a_pblCreated = false;
  if (a_iFlags & O_CREAT)
  {
    int fd = openat(a_fdDirectory, a_szName, iFlags | O_CREAT | O_EXCL, a_mode & 07777);
    if (fd >= 0)
    {
      *a_pblCreated = true;
      (void)fchmod(fd, a_mode & 07777);
      return fd;
    }
    if (errno != EEXIST)
    {
      return -1;
    }
  }
  int fd = openat(a_fdDirectory, a_szName, iFlags);
  if ((fd < 0) && ((errno == ELOOP) || (errno == ENXIO)))
  {
    errno = EACCES;  // a symbolic link, or a FIFO without a reader
  }
  return fd;
}

// Closes a refused descriptor and reports the refusal.
int Refuse(int a_fd)
{
  close(a_fd);
  errno = EACCES;
  return -1;
}

}  // namespace

int OsFileOpenWriteAt(int a_fdDirectory, const char *a_szName, int a_iFlags, mode_t a_mode,
                      EOSFILEWRITER a_ewriter)
{
  bool blCreated = false;
  int fd = OpenNoFollow(a_fdDirectory, a_szName, a_iFlags, a_mode, &blCreated);
  if (fd < 0)
  {
    return -1;
  }
  struct stat statFile;
  if (fstat(fd, &statFile) || !S_ISREG(statFile.st_mode))
  {
    return Refuse(fd);
  }
  if (!blCreated && SharedDirectory(a_fdDirectory) && !WriterAccepts(statFile, a_ewriter))
  {
    return Refuse(fd);
  }
  if ((a_iFlags & O_TRUNC) && !blCreated && ftruncate(fd, 0))
  {
    const int iErrno = errno;
    close(fd);
    errno = iErrno;
    return -1;
  }
  (void)fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  return fd;
}

int OsFileOpenWrite(const char *a_szPath, int a_iFlags, mode_t a_mode, EOSFILEWRITER a_ewriter)
{
  char szDirectory[PATH_MAX];
  if (!a_szPath ||
      (snprintf(szDirectory, sizeof(szDirectory), "%s", a_szPath) >= static_cast<int>(sizeof(szDirectory))))
  {
    errno = a_szPath ? ENAMETOOLONG : EINVAL;
    return -1;
  }
  char *szSlash = strrchr(szDirectory, '/');
  const char *szName = szSlash ? szSlash + 1 : szDirectory;
  if (szSlash)
  {
    *szSlash = '\0';
  }
  // The directory is opened once, so the trust check and the open see the same one.
  int fdDirectory = open(!szSlash ? "." : (szSlash == szDirectory) ? "/" : szDirectory,
                         O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (fdDirectory < 0)
  {
    return -1;
  }
  int fd = OsFileOpenWriteAt(fdDirectory, szName, a_iFlags, a_mode, a_ewriter);
  const int iErrno = errno;
  close(fdDirectory);
  errno = iErrno;
  return fd;
}

int OsFileOpenRead(const char *a_szPath)
{
  int fd = a_szPath ? open(a_szPath, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1;
  if (fd < 0)
  {
    return -1;
  }
  struct stat statFile;
  if (fstat(fd, &statFile) || !S_ISREG(statFile.st_mode))
  {
    close(fd);
    errno = ENOENT;
    return -1;
  }
  (void)fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  return fd;
}

FILE *OsFileFopenRead(const char *a_szPath)
{
  int fd = OsFileOpenRead(a_szPath);
  FILE *pfile = (fd >= 0) ? fdopen(fd, "r") : nullptr;
  if (!pfile && (fd >= 0))
  {
    close(fd);
  }
  return pfile;
}

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
