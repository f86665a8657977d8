// os_coscfg.h: the process's configuration and its small system services.
//
// Contract: one COsCfg exists per process (its constructor stores it in
// g_poscfg and loads the configuration). Values are zero-terminated texts
// addressed by a section and a tag (os_coscfgtags.h) or by the names a
// configuration file uses. Get never returns null while the object is intact:
// an absent value or an address out of range yields a shared empty string.
// The table never copies a value: Set stores the caller's pointer, and the
// caller keeps the text alive for as long as it may be read. Numbers are
// stored as text and read with a base-0 conversion (strtol(Get(...),
// GetThrowAwayPointer(), 0)).
//
// The static helpers read and write environment variables with bounded
// buffers, find the file of a loaded module, change permission bits and give
// the system information gathered at load. Statuses: 0 success, 1 failure or
// not found, 2 a value did not fit or the operation failed, 3 bad argument.
// Callers own every buffer they pass, with its full size in bytes.
#ifndef OS_COSCFG_H
#define OS_COSCFG_H

#include <cstddef>
#include <cstdint>

#include "os_coscfgtags.h"
#include "os_cosfile.h"  // EOSFILEACCESS
#include "os_cosservices.h"
#include "os_types.h"

// Items of the system information (COsCfg::InfoGet...). Strings come from
// InfoGetString, the memory counts from InfoGetLongLong, the processor flags
// from InfoGetBool, every number also from InfoGetLong. Processor items
// describe the first processor.
typedef uint32_t EOSCFGINFO;
enum : uint32_t
{
  OS_CFGINFO_OS_BUILDSTRING = 0,
  OS_CFGINFO_OS_NAME = 1,           // "LINUX" or the distribution, e.g. "ubuntu2204"
  OS_CFGINFO_OS_VERSION = 2,        // the kernel version again
  OS_CFGINFO_OS_KERNELVERSION = 3,  // eight digits, e.g. "05150000"
  OS_CFGINFO_OS_USERNAME = 4,
  OS_CFGINFO_VOLUME_DEVICEID = 5,
  OS_CFGINFO_VOLUME_SERIALNUMBER = 6,
  OS_CFGINFO_NETWORK_HOSTNAME = 7,
  OS_CFGINFO_MEM_TOTALPHYSICAL = 8,  // bytes
  OS_CFGINFO_MEM_AVAILPHYSICAL = 9,
  OS_CFGINFO_MEM_TOTALVIRTUAL = 10,
  OS_CFGINFO_MEM_AVAILVIRTUAL = 11,
  OS_CFGINFO_MEM_TOTALPAGEFILE = 12,
  OS_CFGINFO_MEM_AVAILPAGEFILE = 13,
  OS_CFGINFO_MEM_LOAD = 14,       // percent
  OS_CFGINFO_CPU_CACHESIZE = 15,  // KiB
  OS_CFGINFO_CPU_FAMILY = 16,
  OS_CFGINFO_CPU_FLAG_3DNOW = 17,
  OS_CFGINFO_CPU_FLAG_FPU = 18,
  OS_CFGINFO_CPU_FLAG_HYPERTHREADING = 19,
  OS_CFGINFO_CPU_FLAG_MMX = 20,
  OS_CFGINFO_CPU_FLAG_POPCNT = 21,
  OS_CFGINFO_CPU_FLAG_SSE = 22,
  OS_CFGINFO_CPU_FLAG_SSE2 = 23,
  OS_CFGINFO_CPU_FLAG_SSE3 = 24,
  OS_CFGINFO_CPU_FLAG_SSE41 = 25,
  OS_CFGINFO_CPU_FLAG_SSE42 = 26,
  OS_CFGINFO_CPU_FLAG_SSE4A = 27,
  OS_CFGINFO_CPU_LEVEL = 28,  // the family, as the level of the processor
  OS_CFGINFO_CPU_MACHINEBITS = 29,
  OS_CFGINFO_CPU_MHZ = 30,
  OS_CFGINFO_CPU_MODEL = 31,
  OS_CFGINFO_CPU_MODELSTRING = 32,
  OS_CFGINFO_CPU_PROCESSBITS = 33,
  OS_CFGINFO_CPU_STEPPING = 34,
  OS_CFGINFO_CPU_TOTAL = 35,  // number of processors, at least 1
  OS_CFGINFO_CPU_VENDORSTRING = 36,
  OS_CFGINFO_CPU_ARCHITECTURE = 37,  // 0 x86, 9 x86-64
  OS_CFGINFO_CPU_PAGESIZE = 38,
  OS_CFGINFO_CPU_ACTIVEPROCESSORMASK = 39,
  OS_CFGINFO_CPU_TYPE = 40,         // 386, 486 or 586
  OS_CFGINFO_CPU_REVISION = 41,     // model << 8 | stepping
  OS_CFGINFO_OS_PLATFORM = 42,      // always 3
  OS_CFGINFO_OS_DISTRIBUTION = 43,  // 1 other, 2 Debian, ... 9 Ubuntu, 10 Yellow Dog
  OS_CFGINFO_COUNT = 44
};

// An application sets g_OsCfgHinstance to g_szOsCfgApplicationMarker before
// the services start; anything else means the services live in a library.
extern const void *g_OsCfgHinstance;
extern const char g_szOsCfgApplicationMarker[];  // "OSCFG_APPLICATION_PATH"
// A function inside the module that holds the services: its address finds
// the module's own file (COsCfg::GetModuleName).
extern void (*const g_oscfglocatorfunction)();

// One entry of a name table of the caller's dynamic area: the tables are
// arrays of these, ended by an entry with a null name and the id 1000; real
// ids start at 1001. The data array that goes with them is an array of
// (sections + 1) x (tags + 1) text pointers, row-major, and the value of
// (section s, tag t) is at (s - 1000) x (tags + 1) + (t - 1000).
struct OsCfgLookup
{
  const char *szName;
  uint32_t u32Id;
};

class COsCfgImpl;

class COsCfg
{
public:
  // Stores itself in g_poscfg, takes the dynamic area from a_szArguments
  // (<cfgsectionptr>, <cfgtagptr>, <cfgdataptr>) and loads the
  // configuration. a_szProgramPath, when it is an absolute path, stands for
  // the running program's file (else /proc/self/exe is used).
  COsCfg(const char *a_szUniqueName, EOSCFGENTITY a_eoscfgentity, const char *a_szArguments,
         const OsCfgVersion *a_poscfgversion, bool a_blForceSetAccess, const char *a_szProgramPath);
  ~COsCfg();
  COsCfg(const COsCfg &) = delete;
  COsCfg &operator=(const COsCfg &) = delete;

  // Value at (section, tag); fixed ids 1..5 x 1..362, dynamic ids from 1001.
  const char *Get(uint32_t a_u32Section, uint32_t a_u32Tag);
  // Stores the pointer (no copy); 3 when the address is out of range.
  EOSSTS Set(uint32_t a_u32Section, uint32_t a_u32Tag, const char *a_szValue);
  // Value by section and key name (case-insensitive), dynamic area first.
  const char *Get(const char *a_szSection, const char *a_szKey);
  // Loads the configuration (the constructor does it).
  void Load();
  // True when the file changed Version.MajorNum or Version.MinorNum.
  bool GetVersionChanged();

  // Writes the report "qrboscfg*.txt" into a_szFolder (null: the log
  // directory) through g_poscfg: 0 written, 259 not created, 1 no object.
  static EOSSTS Dump(const char *a_szFolder);
  // Copies the model name (512 bytes) into the buffer behind ModelDirectory.
  static void SetModelName(const char *a_szModelName);
  // End pointer for conversions whose end position is not needed.
  static char **GetThrowAwayPointer();

  // System information, gathered once per process at load.
  static const char *InfoGetString(EOSCFGINFO a_eoscfginfo);
  static long InfoGetLong(EOSCFGINFO a_eoscfginfo);
  static long long InfoGetLongLong(EOSCFGINFO a_eoscfginfo);
  static bool InfoGetBool(EOSCFGINFO a_eoscfginfo);
  static int NumberOfProcessors();
  // Zeroes the system information (and the bridge version text) so that the
  // next load gathers them again; called at services shut-down.
  static void ResetSystemInfo();

  // Environment. GetEnv copies the value (or the default when the variable
  // is unset or empty) into a_szValue: 2 when it is longer than
  // a_sizetBytes, 3 on a bad argument. a_blFlag has no effect.
  static EOSSTS GetEnv(const char *a_szEnvName, const char *a_szDefault, size_t a_sizetBytes, char *a_szValue,
                       bool a_blFlag = false);
  // A null value removes the variable.
  static EOSSTS SetEnv(const char *a_szEnvName, const char *a_szValue);
  static EOSSTS SetEnvUtf8ToUnicode(const char *a_szEnvName, const char *a_szValue);
  // 0 when the variable exists, 1 when it does not.
  static EOSSTS ExistEnv(const char *a_szEnvName);
  // Leading decimal digits of the value, 0 for other text, the default when
  // unset or too long.
  static int GetEnvLong(const char *a_szEnvName, int a_iDefault);
  // "true"/"1" and "false"/"0"; anything else gives the default.
  static bool GetEnvBool(const char *a_szEnvName, bool a_blDefault);
  // A snapshot of the environment: "NAME=value\0" entries in the process's
  // order, ended by an empty entry; give it back with FreeEnvList. Null when
  // memory is short.
  static char *GetEnvList();
  static void FreeEnvList(char *a_szEnvList);

  // Modules. GetModuleName writes the full path of the loaded object that
  // holds a_pvAddress, or leaves a_szPath empty (symbolic links are not
  // resolved: the loader's own path is reported).
  static void GetModuleName(const void *a_pvAddress, char *a_szPath, uint32_t a_u32Size, bool a_blLogFailure);
  // Handle of the module holding the services; null for an application.
  static void *GetHmodule();
  static bool IsLibrary();

  // Permission bits of user and group (others are never touched); follows
  // symbolic links. 0 changed, 1 not found, unknown access or chmod failed.
  static EOSSTS SetAccess(const char *a_szPath, EOSFILEACCESS a_eosfileaccess);

  // Debugger and security stubs of this platform.
  static bool IsDebugging();
  static bool IsDebuggingLive();
  static void CreateSecurityAttributes(const char *a_szName);
  static void DestroySecurityAttributes();
  static void *GetSecurityAttributesFile();
  static void *GetSecurityAttributesEvent();
  static void *GetSecurityAttributesMutex();

  // The services arguments block (implemented by the services runtime).
  static EOSSTS OsCfgServicesArgumentsGet(char *a_szBuffer, int a_iSize);
  static void OsCfgServicesArgumentsSetAndLock(bool a_blLock);
  static void OsCfgServicesArgumentsClear();

private:
  COsCfgImpl *m_poscfgimpl;
};

#endif  // OS_COSCFG_H
