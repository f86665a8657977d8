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

int OsFileOpenDirectory(const char *a_szPath, bool a_blCreate, bool a_blFollowLastLink, int a_iMaxComponents);

// Status of a failed file-system call from its errno: 257 not found,
// 258 access denied, 1 anything else.
unsigned OsFileStatusFromErrno(int a_iErrno);

#endif  // OS_COSFILESAFE_H
