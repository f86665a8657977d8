// os_cosfilesafe.cpp: walking a path without following links that other users
// own, and opening files for writing or reading safely (see os_cosfilesafe.h).

#include "os_cosfilesafe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os_coslog.h"
#include "os_types.h"

namespace
{

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
// that a created file is known and gets its mode. An exclusive creation
// makes a new regular file and cannot block, so it is opened in blocking
// mode at once.
int OpenNoFollow(int a_fdDirectory, const char *a_szName, int a_iFlags, mode_t a_mode, bool *a_pblCreated)
{
  const int iFlags = (a_iFlags & ~(O_CREAT | O_EXCL | O_TRUNC)) | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC;
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
  int fd = openat(a_fdDirectory, a_szName, iFlags | O_NONBLOCK);
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
  // A file this call created is a new regular file of the caller's.
  struct stat statFile;
  if (!blCreated && (fstat(fd, &statFile) || !S_ISREG(statFile.st_mode) ||
                     (SharedDirectory(a_fdDirectory) && !WriterAccepts(statFile, a_ewriter))))
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
  // An existing file was opened without blocking: back to blocking mode.
  // F_SETFL sets the status flags, and O_APPEND is the only one a caller
  // asks for, so nothing needs reading first.
  if (!blCreated)
  {
    (void)fcntl(fd, F_SETFL, a_iFlags & O_APPEND);
  }
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
  int fdDirectory = open(!szSlash                   ? "."
                         : (szSlash == szDirectory) ? "/"
                                                    : szDirectory,
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
  (void)fcntl(fd, F_SETFL, O_RDONLY);  // back to blocking mode
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

namespace
{

const int kMaxLinks = 40;

// Appends a name to the physical path of a walk; a path that no longer fits
// becomes unknown (empty).
void AppendPhysical(OsFileWalk &a_walk, const char *a_szName)
{
  const size_t sizetLength = strlen(a_walk.szPhysical);
  if (!sizetLength)
  {
    return;
  }
  const bool blSlash = (a_walk.szPhysical[sizetLength - 1] != '/');
  if (sizetLength + (blSlash ? 1 : 0) + strlen(a_szName) >= sizeof(a_walk.szPhysical))
  {
    a_walk.szPhysical[0] = '\0';
    return;
  }
  char *szEnd = a_walk.szPhysical + sizetLength;
  if (blSlash)
  {
    *szEnd++ = '/';
  }
  memcpy(szEnd, a_szName, strlen(a_szName) + 1);
}

// ".." of a physical path; "/" stays "/".
void PopPhysical(OsFileWalk &a_walk)
{
  char *szSlash = strrchr(a_walk.szPhysical, '/');
  if (szSlash)
  {
    szSlash[(szSlash == a_walk.szPhysical) ? 1 : 0] = '\0';
  }
}

// The walk moves to a_fd (taken over).
void MoveTo(OsFileWalk &a_walk, int a_fd)
{
  if (a_walk.fd >= 0)
  {
    close(a_walk.fd);
  }
  a_walk.fd = a_fd;
}

// The walk restarts at "/" (an absolute path or link text).
int StartAtRoot(OsFileWalk &a_walk)
{
  int fd = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0)
  {
    return -1;
  }
  MoveTo(a_walk, fd);
  snprintf(a_walk.szPhysical, sizeof(a_walk.szPhysical), "/");
  return 0;
}

// A directory just made gets bits 0777 on its own descriptor, whatever the
// process's file-creation mask; the mask itself is never changed.
void SetDirectoryMode(int a_fdParent, const char *a_szName)
{
  int fd = openat(a_fdParent, a_szName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd >= 0)
  {
    (void)fchmod(fd, 0777);
    close(fd);
  }
}

// An untrusted link stops the walk: logged with its path, EACCES.
int RefuseLink(OsFileWalk &a_walk, int a_fdLink, const char *a_szName)
{
  close(a_fdLink);
  a_walk.blRefused = true;
  OSLOG(EOSLOGFLAG_ERROR, "Symbolic link of another user not followed...<%s%s%s>", a_walk.szPhysical,
        a_walk.szPhysical[0] ? "/" : "", a_szName);
  errno = EACCES;
  return -1;
}

int WalkComponents(OsFileWalk &a_walk, const char *a_szPath, unsigned a_uFlags, int a_iMaxComponents);

// Follows the trusted link a_fdLink (taken over): its text is read from the
// link's own descriptor and walked from the directory that holds the link.
int FollowLink(OsFileWalk &a_walk, int a_fdLink, unsigned a_uFlags)
{
  char szText[PATH_MAX];
  ssize_t ssize = readlinkat(a_fdLink, "", szText, sizeof(szText) - 1);
  const int iErrno = errno;
  close(a_fdLink);
  if ((ssize <= 0) || (++a_walk.iLinks > kMaxLinks))
  {
    errno = (ssize < 0) ? iErrno : ELOOP;
    return -1;
  }
  szText[ssize] = '\0';
  if ((szText[0] == '/') && StartAtRoot(a_walk))
  {
    return -1;
  }
  return WalkComponents(a_walk, szText, a_uFlags & ~OS_WALK_CREATE, -1);
}

// One step into the entry a_szName of the directory the walk stands in. The
// entry is opened without following; a link is then judged on that very
// descriptor.
int Step(OsFileWalk &a_walk, const char *a_szName, bool a_blLast, unsigned a_uFlags)
{
  if (!strcmp(a_szName, ".") || !strcmp(a_szName, ".."))
  {
    int fd = openat(a_walk.fd, a_szName, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
    {
      return -1;
    }
    MoveTo(a_walk, fd);
    if (a_szName[1])
    {
      PopPhysical(a_walk);
    }
    return 0;
  }
  const int iFlags = ((a_blLast && (a_uFlags & OS_WALK_READ)) ? (O_RDONLY | O_NONBLOCK | O_NOCTTY) : O_PATH) |
                     O_NOFOLLOW | O_CLOEXEC;
  int fd = openat(a_walk.fd, a_szName, iFlags);
  if ((fd < 0) && (errno == ENOENT) && (a_uFlags & OS_WALK_CREATE) && !mkdirat(a_walk.fd, a_szName, 0777))
  {
    SetDirectoryMode(a_walk.fd, a_szName);
    fd = openat(a_walk.fd, a_szName, iFlags);
  }
  if ((fd < 0) && (errno == ELOOP) && !(iFlags & O_PATH))
  {
    fd = openat(a_walk.fd, a_szName, O_PATH | O_NOFOLLOW | O_CLOEXEC);  // a link: judged below
  }
  struct stat statEntry;
  if ((fd >= 0) && fstat(fd, &statEntry))
  {
    close(fd);
    fd = -1;
  }
  if (fd < 0)
  {
    return -1;
  }
  const bool blFollow = !a_blLast || (a_uFlags & OS_WALK_FOLLOW);
  if (S_ISLNK(statEntry.st_mode) && blFollow)
  {
    if (OsFileTrustedLink(statEntry))
    {
      // The link's text is walked with the flags of the link's own place.
      return FollowLink(a_walk, fd, a_blLast ? a_uFlags : unsigned(OS_WALK_FOLLOW));
    }
    if (!a_blLast || !(a_uFlags & OS_WALK_DESCRIBE))
    {
      return RefuseLink(a_walk, fd, a_szName);
    }
  }
  MoveTo(a_walk, fd);
  AppendPhysical(a_walk, a_szName);
  return 0;
}

int WalkComponents(OsFileWalk &a_walk, const char *a_szPath, unsigned a_uFlags, int a_iMaxComponents)
{
  char szPath[PATH_MAX];
  if (snprintf(szPath, sizeof(szPath), "%s", a_szPath) >= static_cast<int>(sizeof(szPath)))
  {
    errno = ENAMETOOLONG;
    return -1;
  }
  const size_t sizetLength = strlen(szPath);
  const bool blTrailingSlash = sizetLength && (szPath[sizetLength - 1] == '/');
  // Components inside the leading run of '.' and '/' are not counted.
  const char *szCounted = szPath + strspn(szPath, "./");
  int iCounted = 0;
  char *szSave = nullptr;
  for (char *szName = strtok_r(szPath, "/", &szSave); szName; szName = strtok_r(nullptr, "/", &szSave))
  {
    if (szName >= szCounted)
    {
      if ((a_iMaxComponents >= 0) && (iCounted >= a_iMaxComponents))
      {
        break;
      }
      iCounted++;
    }
    const bool blLast = !szSave || !szSave[strspn(szSave, "/")];
    const unsigned uFlags =
        (blLast && blTrailingSlash) ? ((a_uFlags | OS_WALK_FOLLOW) & ~OS_WALK_DESCRIBE) : a_uFlags;
    if (Step(a_walk, szName, blLast, uFlags))
    {
      return -1;
    }
  }
  return 0;
}

// Where a walk starts: a copy of the base, "/" or the working directory.
int StartWalk(OsFileWalk &a_walk, const OsFileWalk *a_pwalkBase, const char *a_szPath)
{
  if (a_szPath[0] == '/')
  {
    return StartAtRoot(a_walk);
  }
  if (a_pwalkBase)
  {
    a_walk.fd = fcntl(a_pwalkBase->fd, F_DUPFD_CLOEXEC, 0);
    memcpy(a_walk.szPhysical, a_pwalkBase->szPhysical, sizeof(a_walk.szPhysical));
    return (a_walk.fd < 0) ? -1 : 0;
  }
  a_walk.fd = open(".", O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (!getcwd(a_walk.szPhysical, sizeof(a_walk.szPhysical)))
  {
    a_walk.szPhysical[0] = '\0';
  }
  return (a_walk.fd < 0) ? -1 : 0;
}

// A walk that ends on a place opened for path use only reopens it for
// reading when asked ("", "/" and "." name the start itself).
int MakeReadable(OsFileWalk &a_walk)
{
  if (!(fcntl(a_walk.fd, F_GETFL) & O_PATH))
  {
    return 0;
  }
  int fd = openat(a_walk.fd, ".", O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0)
  {
    return -1;
  }
  MoveTo(a_walk, fd);
  return 0;
}

}  // namespace

bool OsFileTrustedLink(const struct stat &a_stat)
{
  return (a_stat.st_uid == 0) || (a_stat.st_uid == geteuid());
}

int OsFileWalkPath(OsFileWalk &a_walk, const OsFileWalk *a_pwalkBase, const char *a_szPath, unsigned a_uFlags,
                   int a_iMaxComponents)
{
  a_walk.fd = -1;
  a_walk.szPhysical[0] = '\0';
  a_walk.iLinks = 0;
  a_walk.blRefused = false;
  if (!a_szPath)
  {
    errno = EINVAL;
    return -1;
  }
  if (StartWalk(a_walk, a_pwalkBase, a_szPath) ||
      WalkComponents(a_walk, a_szPath, a_uFlags, a_iMaxComponents) ||
      ((a_uFlags & OS_WALK_READ) && MakeReadable(a_walk)))
  {
    const int iErrno = errno;
    OsFileWalkClose(a_walk);
    errno = iErrno;
    return -1;
  }
  return 0;
}

void OsFileWalkClose(OsFileWalk &a_walk)
{
  MoveTo(a_walk, -1);
}

// Walks the directory part of a_szPath (the working directory when there is
// none) and points a_pszName at the last component. 0, or -1 with errno.
int OsFileWalkParent(char *a_szPath, OsFileWalk &a_walkParent, char **a_pszName)
{
  char *szSlash = strrchr(a_szPath, '/');
  if (!szSlash)
  {
    *a_pszName = a_szPath;
    return OsFileWalkPath(a_walkParent, nullptr, "", OS_WALK_FOLLOW);
  }
  *a_pszName = szSlash + 1;
  *szSlash = '\0';
  int iResult = OsFileWalkPath(a_walkParent, nullptr, (szSlash == a_szPath) ? "/" : a_szPath, OS_WALK_FOLLOW);
  *szSlash = '/';
  return iResult;
}

mode_t OsFileCreationMask()
{
  mode_t mode = 022;
  FILE *pfile = fopen("/proc/self/status", "re");
  char szLine[OS_SIZE_LINE];
  while (pfile && fgets(szLine, sizeof(szLine), pfile))
  {
    if (!strncmp(szLine, "Umask:", 6))
    {
      mode = static_cast<mode_t>(strtoul(szLine + 6, nullptr, 8)) & 0777;
      break;
    }
  }
  if (pfile)
  {
    fclose(pfile);
  }
  return mode;
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
