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
// The link rule (the process may run as root next to trees that ordinary
// users can write): a symbolic link is TRUSTED when it is owned by root or
// by the process's effective user, the way the kernel protects sticky
// directories. A trusted link is followed exactly as stat would follow it.
// An untrusted link is never followed: it is described as itself, skipped,
// unlinked as a link or refused, and a refusal that leaves data out is
// logged at flag 1 with the link's path. A link is judged and used in one
// step (on the link's own descriptor), and directories passed on the way
// need only search permission. Each function below says how the rule applies.
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
enum : uint32_t
{
  EOSBOOL_FALSE = 0,
  EOSBOOL_TRUE = 1
};

// One directory search (FindFirst, FindNext, FindClose). Owned by the caller,
// zeroed before first use; FindClose closes the stream and zeroes it again.
struct OsFileInfo
{
  char szName[OS_SIZE_PATH];               // entry name as the directory gives it
  char szNameLower[OS_SIZE_PATH];          // the same, folded to lower case
  char szFullPath[OS_SIZE_PATH];           // absolute path of the entry
  uint32_t u32Size;                 // size in bytes (low 32 bits)
  EOSFILETYPE eosfiletype;          // 1 directory, 2 file, 3 other
  EOSFILEACCESS eosfileaccess;      // 3 when any write bit (0222) is set, else 1
  OsTimeRecord ostimerecordAccess;  // last access, UTC
  OsTimeRecord ostimerecordWrite;   // last modification, UTC
  void *pvDirectory;                // open stream of a wildcard search, or null
  char szPattern[OS_SIZE_PATH];            // wildcard part of a wildcard search
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
  // Links (any owner) in the directory part are followed as fopen would.
  // Reading never blocks on a FIFO: anything but a regular file is missing
  // (257). Writing never goes through a link in the last component, nor into
  // a FIFO, device, socket or another user's file in a directory others can
  // write: 258 with a flag 1 line, and the file's mode is left alone.
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
  // path does not exist. Link rule: trusted links resolved; a path through
  // an untrusted one is 257, one at the end is kept as a name. The working
  // directory is left alone.
  [[nodiscard]] static EOSSTS PathAbsolute(char *a_szAbsolute, uint32_t a_u32Size, const char *a_szName);

  // --- File-system operations ----------------------------------------------

  // Makes every missing directory of a_szDirectory with bits 0777 whatever
  // the process's file-creation mask (set on each new directory; the mask is
  // never changed), at most 64 components. 0 made, 261 it already exists,
  // 257/258/1 on failure. a_pvAttributes is ignored. Link rule: trusted links
  // followed; an untrusted one gives 258. The trace file is never opened
  // through a link nor onto another user's file.
  [[nodiscard]] static EOSSTS Create(const char *a_szDirectory, const void *a_pvAttributes);
  // True when FindFirst finds the path (any match for a wildcard pattern);
  // the link rule as for FindFirst.
  static bool Exists(const char *a_szFilename);
  // Copies one regular file's contents (2 MiB blocks, inside the kernel where
  // the two file systems allow it, else through one buffer; holes stay
  // holes). An existing target is truncated in place (mode, owner and hard links stay);
  // a new one gets the process's default mode. 0; 1 when a file cannot be
  // opened or a read or write fails (a write cut short without an error ends
  // the copy with 0); 3 null argument. Link rule: trusted links followed in
  // the source and in the target's directory part, untrusted ones refused
  // (1). The target itself is refused (1, flag 1 line) when it is a link of
  // any owner, not a regular file, or another user's multiply linked file in
  // a directory others can write.
  [[nodiscard]] static EOSSTS Copy(const char *a_szFilename, const char *a_szNewFilename);
  // Sets the user and group permission bits (forwards to the configuration).
  static EOSSTS SetAccess(const char *a_szFilename, EOSFILEACCESS a_eosfileaccess);
  // Services shut-down hooks; they hold no state to release.
  static void CleanStatic();
  static void Shutdown();

  // --- Directory search ----------------------------------------------------

  // 0 found, 257 nothing found, 3 null argument. A path without '*' or '?'
  // names one entry and opens no stream. Link rule: entries are examined as
  // stat would, through trusted links; an untrusted link is described as
  // itself (type 2), and a path through one is not found (257).
  [[nodiscard]] static EOSSTS FindFirst(const char *a_szFilename, OsFileInfo *a_posfileinfo);
  // 0 next match, 257 no more (the stream is then closed), 3 null record.
  [[nodiscard]] static EOSSTS FindNext(OsFileInfo *a_posfileinfo);
  // Closes an open stream and zeroes the record. 0, or 3 for null.
  static EOSSTS FindClose(OsFileInfo *a_posfileinfo);

  // --- Tree copy and removal ------------------------------------------------

  // Copies a_szSource into a_szDestination, asking a_pfncallback (if any) per
  // entry. With a callback the destination is made only when a file is
  // actually copied. Returns the first failure met, or 0; no failure stops
  // the walk. A read or write error fails the file's copy (1, and with a
  // callback "OsFileCopy failed...<%s> <%s>").
  // Link rule: trusted links in the source, at the destination and below it
  // are followed wherever they lead; an untrusted one (the source's path, an
  // entry, the destination's path) is not followed: flag 1 line, result 258.
  // A link at a file's target is refused as by Copy.
  // Deviations, for safety: a directory met again on its own branch (a link
  // loop), a branch deeper than 64 levels, more than 65,536 directories or a
  // path longer than 512 bytes is a failure instead of an endless or
  // truncated walk; an entry that cannot be examined (a dangling link) is
  // passed over instead of ending the walk, which would leave the rest of
  // the directory out in silence.
  [[nodiscard]] static EOSSTS CopyDirectory(const char *a_szSource, const char *a_szDestination,
                                            bool a_blRecursive, PFNOSFILECOPYDIRECTORY a_pfncallback,
                                            void *a_pvContext);
  // Removes a file (type 2) or a directory (type 1, with everything in it when
  // a_eosboolRecursive). The type must match what is there, else 1. With
  // a_blWildcard the path is a pattern and every match is removed (0).
  // Link rule: trusted links on the way are followed. A trusted link named
  // as the path has the type of what it leads to: as type 2 the link goes;
  // as type 1 the directory behind it is emptied (when recursive) and the
  // removal then fails (1), as the name is not a directory. An untrusted
  // link named as the path is unlinked as a link, with a flag 1 line, and
  // the result is 1.
  // Deviations, for safety: a link met inside the tree is unlinked as a
  // link, never entered (following it would empty a directory outside the
  // tree); the walk does not cross into another file system nor go deeper
  // than 256 levels (1); with a wildcard, "." and ".." are never removed
  // (removing them would remove the searched directory or its parent).
  [[nodiscard]] static EOSSTS Delete(const char *a_szFilename, EOSFILETYPE a_eosfiletype,
                                     EOSBOOL a_eosboolRecursive, bool a_blWildcard);

private:
  COsFileImpl *m_posfileimpl;
};

#endif  // OS_COSFILE_H
