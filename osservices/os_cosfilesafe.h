// os_cosfilesafe.h: internal to the file services (not part of the public
// interface): walking a path without being led astray by a symbolic link that
// another user planted, and opening files for writing or reading without
// following a link or blocking on a FIFO.
//
// Contract: OsFileWalkPath walks a path one component at a time, each step
// relative to the directory already reached, so a name is never looked up
// again through the whole path. Directories passed through are opened for
// path use only (O_PATH): search permission is all a walk needs. A symbolic
// link is checked and followed on the descriptor of the link itself (its
// owner and its text belong to the same inode), under the trust rule of
// os_cosfile.h: a link owned by root or by the process's effective user is
// followed as the kernel would follow it (at most 40 links per walk); any
// other link is never followed. Descriptors are close-on-exec.
#ifndef OS_COSFILESAFE_H
#define OS_COSFILESAFE_H

#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <cstdio>

#include "os_types.h"

// The trust rule: whether a symbolic link (its own lstat) may be followed.
bool OsFileTrustedLink(const struct stat &a_stat);

// How OsFileWalkPath treats the last component of a path. Links before it
// are always followed when trusted and refused otherwise.
enum : unsigned
{
  OS_WALK_FOLLOW = 1,    // follow a trusted link; an untrusted one is refused
  OS_WALK_DESCRIBE = 2,  // with FOLLOW: an untrusted link is reached as itself
  OS_WALK_CREATE = 4,    // make missing directories of the path (bits 0777)
  OS_WALK_READ = 8       // open what is reached for reading (non-blocking)
};

// Where a walk stands: a descriptor of what it reached (path use only unless
// OS_WALK_READ) and its physical path (no links, no "." or ".."; empty when
// not known, e.g. when the working directory cannot be read).
struct OsFileWalk
{
  int fd;
  char szPhysical[OS_SIZE_TEXT];
  int iLinks;
  bool blRefused;  // an untrusted link stopped the walk
};

// Walks a_szPath from a_pwalkBase (null: from the working directory, or from
// "/" for an absolute path; the base is left open). With OS_WALK_CREATE at
// most a_iMaxComponents components after the leading run of '.' and '/' are
// walked (-1: no limit); a path ending in '/' follows its last link as a
// directory would. Returns 0, or -1 with errno set (EACCES for a refused
// link, which is also logged at flag 1 with its path) and a_walk.fd at -1.
// The caller closes a_walk.fd with OsFileWalkClose.
int OsFileWalkPath(OsFileWalk &a_walk, const OsFileWalk *a_pwalkBase, const char *a_szPath, unsigned a_uFlags,
                   int a_iMaxComponents = -1);
void OsFileWalkClose(OsFileWalk &a_walk);
// Walks the directory part of a_szPath (following trusted links; the working
// directory when there is none) and points a_pszName at the last component.
// a_szPath is left as it was. 0, or -1 with errno set.
int OsFileWalkParent(char *a_szPath, OsFileWalk &a_walkParent, char **a_pszName);

// The absolute, link-free form of an existing path (see COsFile::PathAbsolute)
// and, when a_pstat is given, its status (links followed as a walk follows
// them; an untrusted link at the end is described as itself).
unsigned OsFileAbsolute(char *a_szAbsolute, uint32_t a_u32Size, const char *a_szName, struct stat *a_pstat);

// The process's file-creation mask, read without changing it (022 when it
// cannot be read).
mode_t OsFileCreationMask();

// Status of a failed file-system call from its errno: 257 not found,
// 258 access denied, 1 anything else.
unsigned OsFileStatusFromErrno(int a_iErrno);

// Who writes a file opened by OsFileOpenWrite, which decides what another
// user may have prepared at the name in a directory that others can write
// (mode bits 022, or owned by a user other than root and the caller):
// - OS_WRITER_PRIVATE: only a file of the caller with a single link (dumps,
//   trace files);
// - OS_WRITER_SHAREDLOG: as private, but another user's file with a single
//   link is accepted (the family's log files are shared between users);
// - OS_WRITER_COPY: a multiply linked file is refused only when another user
//   owns it (a copy target keeps its own hard links).
enum EOSFILEWRITER
{
  OS_WRITER_PRIVATE,
  OS_WRITER_SHAREDLOG,
  OS_WRITER_COPY
};

// Opens the file a_szName of the directory a_fdDirectory (AT_FDCWD: a path)
// for writing. a_iFlags holds O_WRONLY or O_RDWR and any of O_APPEND, O_CREAT
// and O_TRUNC. Never follows a symbolic link in the last component (links in
// the directories before it are followed as the kernel does), never blocks on
// a FIFO and accepts only a regular file that a_ewriter allows. A created file
// gets exactly the permission bits a_mode whatever the process's creation
// mask (the mask itself is never changed); O_TRUNC is applied only after the
// checks. Returns a close-on-exec descriptor in blocking mode, or -1 with
// errno set; every refusal (link, FIFO, device, socket, directory, untrusted
// file) sets EACCES.
int OsFileOpenWriteAt(int a_fdDirectory, const char *a_szName, int a_iFlags, mode_t a_mode,
                      EOSFILEWRITER a_ewriter);
int OsFileOpenWrite(const char *a_szPath, int a_iFlags, mode_t a_mode, EOSFILEWRITER a_ewriter);

// Opens a file for reading without blocking on a FIFO: symbolic links are
// followed, and anything but a regular file counts as missing (-1, ENOENT).
// Returns a close-on-exec descriptor in blocking mode, or -1 with errno set.
int OsFileOpenRead(const char *a_szPath);
// The same as a stream ("r" mode, close-on-exec), or null.
FILE *OsFileFopenRead(const char *a_szPath);

#endif  // OS_COSFILESAFE_H
