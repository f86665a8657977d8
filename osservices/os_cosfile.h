// os_cosfile.h: files, paths, directory search, tree copy and tree removal.
//
// Contract: COsFile is both a file object (Open, Write, Printf, Close over one
// buffered stream) and a family of static operations on the file system that
// need no object. Every status is an EOSSTS: 0 success, 1 general failure,
// 3 bad argument, 257 not found / cannot open / no more entries, 258 access
// denied, 259 input/output error, 260 in use (an exclusive lock is held
// elsewhere), 261 already exists; 6 and 8 appear only as answers of a
// directory-copy callback. Callers own every buffer they pass, with its size
// in bytes (paths use 512-byte buffers); path functions never write past the
// size given. Nothing here throws.
//
// Symbolic links, per function (the process may run as root on trees that
// ordinary users can write). "Trusted" links belong to root or to the
// process's effective user. A link of any other user met on the way to a
// directory that Create, Copy, CopyDirectory or Delete walks is not passed:
// Create returns 258, Copy and Delete 1, CopyDirectory fails to make its
// destination and treats such a source as missing.
// - Path functions other than PathAbsolute touch only the caller's buffer.
//   PathAbsolute follows links: its result is the physical directory path.
// - Open, Exists and FindFirst/FindNext follow links, as the system calls
//   they are built on do.
// - Create follows only trusted links.
// - Copy follows links in the source path; the target's directory is walked
//   through trusted links only, and a link or extra hard link at the target
//   name is replaced, never written through.
// - Delete never follows a link: a link met in the tree, or named as the
//   path, is removed as a link and what it points to is left alone. It does
//   not descend into another file system nor more than 256 levels (1).
// - CopyDirectory follows a link in the source tree only when its target
//   stays inside the source tree; other links are skipped with an
//   information line. The destination is never a link, nor is any directory
//   made below it. Loops, over-deep trees and paths longer than 512 bytes are
//   reported as failures and the walk goes on with the rest.
#ifndef OS_COSFILE_H
#define OS_COSFILE_H

#include <cstdarg>
#include <cstdint>

#include "os_types.h"

// How Open treats an existing or missing file.
typedef uint32_t EOSFILEOPEN;
enum : uint32_t
{
  EOSFILEOPEN_CREATE = 1,     // create, or truncate an existing file
  EOSFILEOPEN_EXISTING = 2,   // the file must exist
  EOSFILEOPEN_ALWAYS = 3,     // open an existing file, else create it
  EOSFILEOPEN_TEMPORARY = 4,  // as 1, and the file is deleted at Close
  EOSFILEOPEN_NOMODE = 5      // accepted, yields no usable mode
};

// What a file object may do, and (SetAccess) which permission bits to set.
typedef uint32_t EOSFILEACCESS;
enum : uint32_t
{
  EOSFILEACCESS_READ = 1,
  EOSFILEACCESS_WRITE = 2,
  EOSFILEACCESS_READWRITE = 3,
  EOSFILEACCESS_EXECUTE = 4  // Open: accepted, yields no usable mode
};

// Sharing: 1 takes an exclusive advisory lock without waiting; 2 to 4 none.
typedef uint32_t EOSFILESHARE;
enum : uint32_t
{
  EOSFILESHARE_EXCLUSIVE = 1,
  EOSFILESHARE_READ = 2,
  EOSFILESHARE_WRITE = 3,
  EOSFILESHARE_READWRITE = 4
};

// Kind of a directory entry.
typedef uint32_t EOSFILETYPE;
enum : uint32_t
{
  EOSFILETYPE_NONE = 0,
  EOSFILETYPE_DIRECTORY = 1,
  EOSFILETYPE_FILE = 2,  // regular files, character devices, links
  EOSFILETYPE_OTHER = 3  // FIFO, block device, socket
};

// A 32-bit truth value (0 false, anything else true).
typedef uint32_t EOSBOOL;

// One directory search (FindFirst, FindNext, FindClose). Owned by the caller,
// zeroed before first use; FindClose closes the stream and zeroes it again.
struct OsFileInfo
{
  char szName[512];                 // entry name as the directory gives it
  char szNameLower[512];            // the same, folded to lower case
  char szFullPath[512];             // absolute path of the entry
  uint32_t u32Size;                 // size in bytes (low 32 bits)
  EOSFILETYPE eosfiletype;          // 1 directory, 2 file, 3 other
  EOSFILEACCESS eosfileaccess;      // 3 when any write bit (0222) is set, else 1
  OsTimeRecord ostimerecordAccess;  // last access, UTC
  OsTimeRecord ostimerecordWrite;   // last modification, UTC
  void *pvDirectory;                // open stream of a wildcard search, or null
  char szPattern[512];              // wildcard part of a wildcard search
};

// The record CopyDirectory hands its callback for each entry. The fields are
// in this order; u32Size is 16 on a 32-bit build (four 32-bit fields), and on
// a 64-bit build the three pointers are 64-bit wide, in the same order (the
// value stored in u32Size stays 16). The strings belong to the copier and are
// valid only during the call.
struct OsFileCopyDirectoryInfo
{
  uint32_t u32Size;    // always 16; a callback refuses less
  const char *szName;  // file name for a file; null for a directory
  const char *szPath;  // absolute path of the entry in the source tree
  void *pvContext;     // the caller's context pointer, unchanged
};

// Callback verdicts: 0 go on (copy the file / look into the directory),
// 6 take the whole directory without asking again, 8 skip the entry.
typedef EOSSTS (*PFNOSFILECOPYDIRECTORY)(OsFileCopyDirectoryInfo *a_posfilecopydirectoryinfo);

class COsFileImpl;

class COsFile
{
public:
  COsFile();
  ~COsFile();
  COsFile(const COsFile &) = delete;
  COsFile &operator=(const COsFile &) = delete;

  // --- The file object -----------------------------------------------------

  // Opens a_szFilename as a buffered stream (close-on-exec). Share 1 takes an
  // exclusive advisory lock and returns 260 when another holder has it. A
  // name under the configured root path gets the configured permission bits.
  [[nodiscard]] EOSSTS Open(const char *a_szFilename, EOSFILEOPEN a_eosfileopen,
                            EOSFILEACCESS a_eosfileaccess, EOSFILESHARE a_eosfileshare);
  // Writes a_u32Size bytes; the count written goes to a_pu32Written if given.
  // 0 even for a short write; 3 without an open stream or with a null buffer.
  EOSSTS Write(const void *a_pvBuffer, uint32_t a_u32Size, uint32_t *a_pu32Written);
  // Formats into a 64 KiB buffer (from the memory service) and writes it.
  // Returns the number of characters written, or -1.
  int Printf(const char *a_szFormat, ...) OS_PRINTF_FORMAT(2, 3);
  int VPrintf(const char *a_szFormat, va_list a_valist);
  // Closes the stream (deleting a temporary file) and frees the print buffer.
  // Always 0, also when nothing was open.
  EOSSTS Close();

  // --- Paths (caller's buffers; no file-system access but PathAbsolute) ----

  // Turns every '/' and '\' into a_cSeparator, merging runs; a leading "\\"
  // is kept. Returns a pointer to the terminating zero (null for null).
  static char *PathNormalize(char *a_szPath, char a_cSeparator);
  // Copies a_szSource into the buffer (empty when it does not fit) and
  // normalises it with '/'. Overlapping buffers are allowed.
  static void PathSet(char *a_szPath, uint32_t a_u32Size, const char *a_szSource);
  // Appends "/" and a_szName (a drive letter "X:" is dropped) and normalises.
  // Returns a pointer to the end of the result.
  static char *PathAppend(char *a_szPath, uint32_t a_u32Size, const char *a_szName);
  // Normalises in place, then reports the length of the directory part (the
  // index of the last '/', else 0) and where the name starts. Either output
  // may be null. The path is not cut.
  static void PathSplit(char *a_szPath, uint32_t *a_pu32DirectoryLength, char **a_pszName);
  // Normalises in place and drops one trailing '/'.
  static void PathRemoveTrailingSlash(char *a_szPath);
  // Absolute, link-free form of an existing path (links in its directory part
  // are resolved; a file name is appended unresolved). 0, 1 failure, 257 the
  // path does not exist. The working directory is left alone.
  [[nodiscard]] static EOSSTS PathAbsolute(char *a_szAbsolute, uint32_t a_u32Size, const char *a_szName);

  // --- File-system operations ----------------------------------------------

  // Makes every missing directory of a_szDirectory with bits 0777 whatever
  // the process's file-creation mask (at most 64 components). 0 made, 261 it
  // already exists, 257/258/1 on failure. a_pvAttributes is ignored.
  [[nodiscard]] static EOSSTS Create(const char *a_szDirectory, const void *a_pvAttributes);
  // True when FindFirst finds the path (any match for a wildcard pattern).
  static bool Exists(const char *a_szFilename);
  // Copies one file's contents (2 MiB blocks). The source is followed; a link
  // or an extra hard link at the target is replaced, never written through.
  // Only regular files are copied. 0, 1 failure, 3 null argument.
  [[nodiscard]] static EOSSTS Copy(const char *a_szFilename, const char *a_szNewFilename);
  // Sets the user and group permission bits (forwards to the configuration).
  static EOSSTS SetAccess(const char *a_szFilename, EOSFILEACCESS a_eosfileaccess);
  // Services shut-down hooks; they hold no state to release.
  static void CleanStatic();
  static void Shutdown();

  // --- Directory search (follows links when examining entries) -------------

  // 0 found, 257 nothing found, 3 null argument. A path without '*' or '?'
  // names one entry and opens no stream.
  [[nodiscard]] static EOSSTS FindFirst(const char *a_szFilename, OsFileInfo *a_posfileinfo);
  // 0 next match, 257 no more (the stream is then closed), 3 null record.
  [[nodiscard]] static EOSSTS FindNext(OsFileInfo *a_posfileinfo);
  // Closes an open stream and zeroes the record. 0, or 3 for null.
  static EOSSTS FindClose(OsFileInfo *a_posfileinfo);

  // --- Tree copy and removal ------------------------------------------------

  // Copies a_szSource into a_szDestination, asking a_pfncallback (if any) per
  // entry. With a callback the destination is made only when a file is
  // actually copied. Returns the first failure met, or 0; no failure stops
  // the walk.
  [[nodiscard]] static EOSSTS CopyDirectory(const char *a_szSource, const char *a_szDestination,
                                            bool a_blRecursive, PFNOSFILECOPYDIRECTORY a_pfncallback,
                                            void *a_pvContext);
  // Removes a file (type 2) or a directory (type 1, with everything in it when
  // a_eosboolRecursive). The type must match what is there, else 1. With
  // a_blWildcard the path is a pattern and every match is removed (0).
  // Never follows a symbolic link.
  [[nodiscard]] static EOSSTS Delete(const char *a_szFilename, EOSFILETYPE a_eosfiletype,
                                     EOSBOOL a_eosboolRecursive, bool a_blWildcard);

private:
  COsFileImpl *m_posfileimpl;
};

#endif  // OS_COSFILE_H
