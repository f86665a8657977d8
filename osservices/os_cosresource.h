// os_cosresource.h: named blocks of bytes appended to an executable file.
//
// Contract: a resource file is any file (normally a program) whose last
// 3,584 bytes are a resource table of 64 entries of 56 bytes; the data blocks
// lie one after another directly before the table. Entry 63 carries the
// marker "@!@qrb@!@"; a file without it has no resources. Entries are filled
// from 62 downward in the order the blocks were appended. All integers of the
// table are little-endian and fixed-width, so 32- and 64-bit builds read the
// same files.
//
// COsResource maps one block read-only and hands out its address and size
// until Close (or the destructor); the block is NOT NUL-terminated and the
// object owns the mapping, so callers copy what they keep. Statuses: 0
// success, 1 system failure or misuse (no implementation, already open, file
// not openable, file shorter than two memory pages), 3 bad argument, 14 the
// file has no table or no such resource. An entry whose block lies beyond the
// end of the file, or whose size does not fit 32-bit mapping arithmetic, is
// treated as absent: a truncated or corrupt file gives a status, never a
// crash. The file name "OsResourceGetLocal" stands for the running program's
// own file. Every call works without started services (no log, no memory
// service, no configuration). Files are opened with close-on-exec; a path is
// followed through symbolic links when reading, never when updating (Update
// refuses a symbolic link).
#ifndef OS_COSRESOURCE_H
#define OS_COSRESOURCE_H

#include <cstdint>

#include "os_types.h"

// Kind of a resource. Callers pass 1; the lookup does not use it.
typedef uint32_t EOSRESOURCETYPE;
enum : uint32_t
{
  EOSRESOURCETYPE_DATA = 1,    // a block of bytes (XML text and the like)
  EOSRESOURCETYPE_VERSION = 2  // a version text such as "00020000"
};

// The file name that stands for the running program's own file.
#define OS_RESOURCE_LOCAL "OsResourceGetLocal"

// Layout of the resource table at the end of the file.
enum : uint32_t
{
  OS_RESOURCE_ENTRIES = 64,          // entries 0..63
  OS_RESOURCE_ENTRYSIZE = 56,        // bytes per entry
  OS_RESOURCE_TABLESIZE = 3584,      // 64 x 56, the last bytes of the file
  OS_RESOURCE_NAMESIZE = 32,         // name field, ASCII, NUL-padded
  OS_RESOURCE_MARKERENTRY = 63,      // entry holding the marker
  OS_RESOURCE_FIRSTENTRY = 62,       // entry of the first block appended
  OS_RESOURCE_OFFSETFIELD = 32,      // unsigned 32-bit offset of the block
  OS_RESOURCE_OFFSETHIGHFIELD = 36,  // reserved, 0 (high half of the offset)
  OS_RESOURCE_SIZEFIELD = 40         // unsigned 32-bit size of the block
};
#define OS_RESOURCE_MARKER "@!@qrb@!@"

// One entry reported by FindFirst/FindNext.
struct OsResourceInfo
{
  uint32_t u32Index;                      // entry number, 62 downward
  char szName[OS_RESOURCE_NAMESIZE + 1];  // the entry's name, terminated
  uint32_t u32Offset;                     // file offset of the block
  uint32_t u32Size;                       // size of the block in bytes
};

class COsResourceImpl;

class COsResource
{
public:
  COsResource();
  ~COsResource();
  COsResource(const COsResource &) = delete;
  COsResource &operator=(const COsResource &) = delete;

  // Maps the resource a_szName (compared without regard to case) of
  // a_szFile (a path or "OsResourceGetLocal"). 0 mapped; 1 system failure or
  // misuse (already open); 14 no table or no such resource. A full table
  // yields its entry 0 for any unknown name. Follows symbolic links.
  [[nodiscard]] EOSSTS Open(const char *a_szFile, const char *a_szName, EOSRESOURCETYPE a_eosresourcetype);
  // The mapped block (read-only, not terminated) and its size; null and 0
  // when not open. Valid until Close.
  const void *GetPointer();
  uint32_t GetSize();
  // Unmaps, closes the file and clears the state (also clears errno).
  void Close();

  // Walks the table of a_szFile from entry 62 downward: 0 and the first
  // entry, 14 when the file has no table or no entry, 1 on failure or when
  // the object is open. Entries whose block lies outside the file are
  // skipped. Follows symbolic links.
  [[nodiscard]] EOSSTS FindFirst(const char *a_szFile, OsResourceInfo *a_posresourceinfo);
  // The next entry: 0, or 14 when there is none.
  [[nodiscard]] EOSSTS FindNext(OsResourceInfo *a_posresourceinfo);
  // Ends a walk (FindFirst of a new walk also ends the old one).
  void FindClose();

  // Adds the block a_pvData/a_u32Size as a_szName to the existing file
  // a_szFile, or replaces the block of that name (compared without regard to
  // case), keeping the others in their order; a file without a table gets
  // one. The file is rewritten through a temporary file in its directory
  // and renamed into place, keeping its permission bits. 0 success; 3 bad
  // argument (empty name, name longer than 31 characters, "Unrecognized
  // resource type: %d"); 2 table full or file too large for 32-bit offsets;
  // 257 file missing; 1 other failure (corrupt table, symbolic link, I/O).
  [[nodiscard]] static EOSSTS Update(const char *a_szFile, const char *a_szName,
                                     EOSRESOURCETYPE a_eosresourcetype, const void *a_pvData,
                                     uint32_t a_u32Size);
  // Prints a VERSION* resource of a_szFile as "<name>: <dotted version>" on
  // standard output; 3 and "Dump only handles VERSION* resources" for other
  // names. Follows symbolic links.
  static EOSSTS Dump(const char *a_szFile, const char *a_szName);

  // Reads resource a_szName of a_szFile as a version: at most a_u32Size-1
  // bytes, rewritten dotted ("00020000" becomes "0.2"). 0 success; 14 when
  // missing and a_blLocalOnly is set (otherwise the result of
  // GetVersionInfo); 1 when the temporary object cannot be made; 3 bad
  // argument. Follows symbolic links.
  [[nodiscard]] static EOSSTS GetVersion(const char *a_szFile, char *a_szVersion, uint32_t a_u32Size,
                                         const char *a_szName, bool a_blLocalOnly);
  // Asks the system tools for the assembly version of a .NET program file:
  // 0 found, 14 not such an assembly, 1 a command failed or gave no
  // "Version:", 3 bad argument (also a path with shell-special quoting
  // characters). a_u32Flags is reserved (pass 0). Follows symbolic links.
  [[nodiscard]] static EOSSTS GetVersionInfo(const char *a_szFile, char *a_szVersion, uint32_t a_u32Size,
                                             uint32_t a_u32Flags);

private:
  COsResourceImpl *m_posresourceimpl;
};

#endif  // OS_COSRESOURCE_H
