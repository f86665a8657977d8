// os_cosfilesafe.h: internal to the file services (not part of the public
// interface): opening a directory by path without being led astray by a
// symbolic link that another user planted on the way.
//
// Contract: the path is walked one component at a time from "/" (or from the
// current directory for a relative path), each step relative to the
// directory already opened. A symbolic link met on the way is followed only
// when it belongs to root or to the process's effective user; any other link
// fails the walk with errno EACCES. The last component is never followed when
// it is a link unless a_blFollowLastLink is set (and then only a trusted
// one). With a_blCreate, missing components are made with permission bits
// 0777 whatever the process's file-creation mask; a_iMaxComponents (-1: no
// limit) bounds how many components after the leading run of '.' and '/' are
// walked. Returns an open directory descriptor (close-on-exec) that the
// caller closes, or -1 with errno set.
#ifndef OS_COSFILESAFE_H
#define OS_COSFILESAFE_H

#include <sys/types.h>

#include <cstdio>

int OsFileOpenDirectory(const char *a_szPath, bool a_blCreate, bool a_blFollowLastLink, int a_iMaxComponents);

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
