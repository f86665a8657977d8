// os_types.h: the types every part of the services layer shares.
//
// Contract: statuses are plain unsigned 32-bit numbers (EOSSTS); 0 is
// success and the numbers themselves are the interface, so a caller may
// compare with a literal as well as with the names below. Log flags
// (EOSLOGFLAG) and entities (EOSCFGENTITY) follow the same rule. Texts are
// zero-terminated byte strings in buffers the caller owns, always passed
// with their full size in bytes. The five process-wide service pointers are
// declared here; they are null until services start-up creates the objects
// and every user tests them before use.
#ifndef OS_TYPES_H
#define OS_TYPES_H

#include <cstddef>
#include <cstdint>

// Status of a service call.
typedef uint32_t EOSSTS;
enum : uint32_t
{
  EOSSTS_OK = 0,                // success
  EOSSTS_FAIL = 1,              // general failure, missing implementation object
  EOSSTS_NOFIT = 2,             // operation failed or a value did not fit its buffer
  EOSSTS_BADARG = 3,            // null or empty name, buffer too small, out of range
  EOSSTS_LOCKHELD = 4,          // a spin lock was already held
  EOSSTS_COPYWHOLEDIR = 6,      // copy callback: take the whole directory
  EOSSTS_COPYSKIP = 8,          // copy callback: skip the entry
  EOSSTS_NOTFOUND = 14,         // resource, substring or version not found
  EOSSTS_FILENOTFOUND = 257,    // not found, cannot open, no more entries
  EOSSTS_ACCESSDENIED = 258,    // access denied
  EOSSTS_IOERROR = 259,         // input/output error
  EOSSTS_INUSE = 260,           // in use or would block (exclusive lock held)
  EOSSTS_EXISTS = 261,          // already exists
  EOSSTS_NOTATTEMPTED = 262     // initial value of a creation status
};

// Flag of one log message; one value per call.
typedef uint32_t EOSLOGFLAG;
enum : uint32_t
{
  EOSLOGFLAG_ERROR = 1,         // letter E: always written, flushed
  EOSLOGFLAG_SYNC = 2,          // sync>>> trace
  EOSLOGFLAG_INFO = 4,          // information: written at a non-zero debug level
  EOSLOGFLAG_DEVIO = 8,         // usb>>> trace
  EOSLOGFLAG_FLUSHBIT = 16,     // a flag with this bit set is flushed
  EOSLOGFLAG_FIND = 32,         // written only with the find switch
  EOSLOGFLAG_ASSERT = 64,       // letter A: argument fault or failed assertion
  EOSLOGFLAG_PROCESS = 128,     // letter P: process and thread events
  EOSLOGFLAG_MEM = 256,         // mem>>> trace of ordinary blocks
  EOSLOGFLAG_MEMSHARED = 4352,  // mem>>> trace of shared anonymous blocks
  EOSLOGFLAG_MEMNOTOWNER = 33024,
  EOSLOGFLAG_MEMEXTERNAL = 33280
};

// Kind of process that owns the configuration.
typedef uint32_t EOSCFGENTITY;
enum : uint32_t
{
  EOSCFGENTITY_UNKNOWN = 0,
  EOSCFGENTITY_APPLICATION = 1,
  EOSCFGENTITY_DRIVER = 2,
  EOSCFGENTITY_UTILITY = 3,
  EOSCFGENTITY_APPUTILITY = 4,
  EOSCFGENTITY_DLL = 5
};

// Version of a program: seven 16-character texts.
struct OsCfgVersion
{
  char szMajor[16];
  char szMinor[16];
  char szPatch[16];
  char szBuild[16];
  char szDay[16];
  char szMonth[16];
  char szYear[16];
};

// Broken-down time: eight unsigned 16-bit fields in this order.
struct OsTimeRecord
{
  uint16_t wYear;          // full calendar year
  uint16_t wMonth;         // 1 to 12
  uint16_t wDayOfWeek;     // 0 (Sunday) to 6
  uint16_t wDay;           // 1 to 31
  uint16_t wHour;          // 0 to 23
  uint16_t wMinute;        // 0 to 59
  uint16_t wSecond;        // 0 to 60
  uint16_t wMilliseconds;  // 0 to 999
};
static_assert(sizeof(OsTimeRecord) == 16 && sizeof(OsCfgVersion) == 7 * 16, "fixed-width records");

// Sizes of the text buffers the family passes around, in bytes with the
// terminating zero. Every buffer of one of these kinds is declared with its
// name, so one change reaches every file.
constexpr uint32_t OS_SIZE_NAME = 64;    // a word or a short name (an action, an identifier)
constexpr uint32_t OS_SIZE_LABEL = 128;  // a label shown to people (a product, user or company name)
constexpr uint32_t OS_SIZE_LINE = 256;   // one line of text (a host name, a copyright line)
constexpr uint32_t OS_SIZE_PATH = 512;   // a path
constexpr uint32_t OS_SIZE_TEXT = 1024;  // a command line, a resource text, an arguments block

class COsString;
class COsLog;
class COsMem;
class COsCfg;
class COsLocale;

// The process-wide service objects, one of each, owned by services start-up.
extern COsString *g_posstring;
extern COsLog *g_poslog;
extern COsMem *g_posmem;
extern COsCfg *g_poscfg;
extern COsLocale *g_poslocale;

// printf-style format checking for the variadic functions of the services.
#if defined(__GNUC__)
#define OS_PRINTF_FORMAT(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#define OS_PRINTF_FORMAT(fmt, first)
#endif

#endif  // OS_TYPES_H
