// os_coscfgimpl.h: the work behind COsCfg: the table, the directories, the
// loader, the system information and the dump.
//
// Contract: a COsCfgImpl owns every text buffer the table points at (the
// directories, the version fields, the small numeric buffers and the 64 KiB
// text of the configuration file); the table itself never copies a value.
// Statuses are those of os_coscfg.h. The system information is one static
// record per process, gathered by the first load. A temporary COsCfgImpl may
// be made only to compute the directories (services start-up does so).
#ifndef OS_COSCFGIMPL_H
#define OS_COSCFGIMPL_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "os_coscfg.h"
#include "os_coslog.h"
#include "os_coszerofilled.h"
#include "os_types.h"

// Every part of the configuration logs under the one source name
// "os_coscfg", whichever of its files the line comes from.
#define OSCFGLOG(flag, ...) OSLOGSRC("os_coscfg.cpp", flag, __VA_ARGS__)
#define OSCFGLOGDBG(...) OSLOGSRCDBG("os_coscfg.cpp", __VA_ARGS__)

// The permission bits that the file object gives a file it creates at
// a_szPath (os_coscfginfo.cpp): the ForceFileCreationMask value (base
// detection, default 0777) when the path holds the configured RootPath,
// else 0666 less the process's file-creation mask, which is read from
// /proc/self/status and never changed (022 when it cannot be read).
// *a_pblRootPath (when not null) tells which: under the RootPath the file
// object sets the bits on an existing file as well. Writers that create files
// through a descriptor use it to keep the file object's modes.
mode_t OsCfgFileCreationMode(const char *a_szPath, bool *a_pblRootPath);

// Facts about one processor.
struct OsCfgProcessor
{
  uint32_t u32Index;
  char szVendor[16];  // 12 characters
  uint32_t u32Family;
  uint32_t u32Model;
  uint32_t u32Stepping;
  uint32_t u32MachineBits;
  uint32_t u32ProcessBits;
  uint8_t u8Fpu;
  uint8_t u8Mmx;
  uint8_t u8Sse;
  uint8_t u8Sse2;
  uint8_t u8Sse3;
  uint8_t u8Sse41;
  uint8_t u8Sse42;
  uint8_t u8Sse4a;
  uint8_t u8Popcnt;
  uint8_t u8HyperThreading;
  uint8_t u83dNow;
  char szModel[52];       // 48 characters, leading blanks removed
  uint32_t u32CacheSize;  // KiB
  uint32_t u32Mhz;
};

// Distribution codes.
enum : uint32_t
{
  OS_CFGDISTRIBUTION_OTHER = 1,
  OS_CFGDISTRIBUTION_DEBIAN = 2,
  OS_CFGDISTRIBUTION_FEDORA = 3,
  OS_CFGDISTRIBUTION_GENTOO = 4,
  OS_CFGDISTRIBUTION_MANDRAKE = 5,
  OS_CFGDISTRIBUTION_REDHAT = 6,
  OS_CFGDISTRIBUTION_SLACKWARE = 7,
  OS_CFGDISTRIBUTION_SUSE = 8,
  OS_CFGDISTRIBUTION_UBUNTU = 9,
  OS_CFGDISTRIBUTION_YELLOWDOG = 10
};

// The system information record.
struct OsCfgSystemInfo
{
  bool blInitialised;
  uint32_t u32Platform;      // 3
  uint32_t u32Distribution;  // OS_CFGDISTRIBUTION_...
  char szOsName[OS_SIZE_PATH];
  char szKernelVersion[OS_SIZE_NAME];  // eight digits
  char szOsVersion[OS_SIZE_NAME];      // a copy of the kernel version
  char szBuildString[OS_SIZE_LABEL];   // "0"
  uint64_t u64TotalPhysical;
  uint64_t u64AvailPhysical;
  uint64_t u64TotalPageFile;
  uint64_t u64AvailPageFile;
  uint64_t u64TotalVirtual;
  uint64_t u64AvailVirtual;
  uint32_t u32MemoryLoad;        // percent
  uint32_t u32Processors;        // at least 1
  OsCfgProcessor *posprocessor;  // u32Processors + 1 records, kept for the process
  uint32_t u32PageSize;
  bool blIdentityLoaded;  // the user, host and volume items below, gathered when first asked for
  char szUserName[OS_SIZE_LABEL];
  char szHostName[OS_SIZE_LINE];
  char szVolumeDeviceId[OS_SIZE_PATH];
  char szVolumeSerialNumber[OS_SIZE_LABEL];
};

// The maker's brand texts.
struct OsCfgBrand
{
  const char *szCompanyName;
  const char *szCompanyNameShort;
  const char *szCopyright;
  const char *szProductFamily;
  const char *szProductName;
  const char *szUrlCompany;
  const char *szUrlSupport;
  const char *szIdentity;
  const char *szServiceName;
};

class COsCfgImpl : public COsZeroFilled
{
public:
  // Zero-filled (COsZeroFilled); records the entity and the unique name (128 bytes).
  COsCfgImpl(const char *a_szUniqueName, EOSCFGENTITY a_eoscfgentity);
  ~COsCfgImpl() = default;
  COsCfgImpl(const COsCfgImpl &) = delete;
  COsCfgImpl &operator=(const COsCfgImpl &) = delete;

  // Set up by COsCfg before Load.
  void SetProgramPath(const char *a_szProgramPath);
  void SetVersion(const OsCfgVersion *a_poscfgversion);
  void SetForceSetAccess(bool a_blForceSetAccess);
  void SetDynamicArea(const char *a_szArguments);
  void InitNumericBuffers();

  // The table (no null-object checks: the loader uses them directly).
  const char *Get(uint32_t a_u32Section, uint32_t a_u32Tag);
  EOSSTS Set(uint32_t a_u32Section, uint32_t a_u32Tag, const char *a_szValue);
  const char *Get(const char *a_szSection, const char *a_szKey);
  void SetModelName(const char *a_szModelName);
  bool GetVersionChanged() const { return m_u8VersionChanged != 0; }
  EOSSTS GetCreateStatus() const { return m_eosstsCreate; }

  // Computes the directories into the buffers behind tags 1..23 and the
  // file paths; creates the log directory. Each output may be null: the log
  // directory, the home name, the short company name, the root path. 1 when
  // the program path cannot be read.
  EOSSTS SetDirectories(char *a_szLogDirectory, uint32_t a_u32LogDirectorySize, char *a_szName,
                        uint32_t a_u32NameSize, char *a_szCompany, uint32_t a_u32CompanySize,
                        char *a_szRootPath, uint32_t a_u32RootPathSize);

  // Fills the table: defaults, the configuration file, the derived paths.
  void Load();
  // Reads a configuration file (following symbolic links) into the file
  // text buffer, at most 64 KiB, and applies it: 0 read, 257 cannot be
  // opened, 1 nothing could be read.
  EOSSTS LoadFile(const char *a_szFilename);
  // Applies configuration text (changed in place: the values point into it).
  void ParseText(char *a_szText);

  // Writes the configuration report (the folder and the file are reached
  // through symbolic links like any path); 0 written, 259 not created.
  EOSSTS Dump(const char *a_szFolder);

  // System information (os_coscfginfo.cpp).
  static void LoadSystemInfo();
  static void LoadMemoryInfo();
  static OsCfgSystemInfo *GetSystemInfo();
  static void ResetSystemInfo();
  // Parsers of the system files, given the files' text.
  static void KernelVersion(const char *a_szRelease, char *a_szVersion, uint32_t a_u32Size);
  // a_szFilename is the release file the text came from; the result is the
  // distribution code (0 when the file does not decide) and a_szName the
  // name, or unchanged when the file gives none.
  static uint32_t Distribution(const char *a_szFilename, const char *a_szText, char *a_szName,
                               uint32_t a_u32Size);
  static void ParseCpuInfo(const char *a_szText, OsCfgProcessor *a_posprocessor, uint32_t a_u32Count);
  static void ParseMemInfo(const char *a_szText, OsCfgSystemInfo *a_poscfgsysteminfo);

  // The key and section tables: name of a fixed tag, tag of a key name.
  static const char *TagName(uint32_t a_u32Tag);
  static uint32_t TagFromName(const char *a_szKey);
  static uint32_t SectionFromName(const char *a_szSection);
  // Copies as much of a_szSrc as fits (a_sizetBytes - 1 characters at most)
  // and terminates; for values whose cut is intended.
  static void CopyCut(char *a_szDst, size_t a_sizetBytes, const char *a_szSrc);

private:

  void GatherBrand();
  void SetDefaults();
  void RestoreDirectoryTags();
  void ApplyBrand();
  void SetPerInstallationFiles();
  void IdentifyProgram();
  void ConfigureLog();
  void StoreSetting(uint32_t a_u32Section, uint32_t a_u32DynamicSection, const char *a_szKey,
                    const char *a_szValue);
  uint32_t DynamicId(const OsCfgLookup *a_poscfglookup, const char *a_szName) const;
  void EntityFile(uint32_t a_u32Tag, char *a_szBuffer, const char *a_szName);
  EOSSTS ReadProgramPath(char *a_szPath, uint32_t a_u32Size);
  void ComputeConfigFile();
  void CreateLogDirectory();
  // The steps of SetDirectories (os_coscfgload.cpp), in their order.
  void SetHomeDirectory();
  void SetRootDirectories();
  void SetSystemDirectories();
  void SetLogFile();

  // Dump helpers (os_coscfgdump.cpp).
  void DumpFileName(const char *a_szFolder, char *a_szFile, uint32_t a_u32Size);
  void DumpEnvironment(FILE *a_pfile);
  void DumpInfo(FILE *a_pfile);
  void DumpTable(FILE *a_pfile);
  void DumpDynamic(FILE *a_pfile);
  void DumpDirectories(FILE *a_pfile);

  // Identity.
  EOSCFGENTITY m_eoscfgentity;
  char m_szUniqueName[OS_SIZE_LABEL];
  bool m_blForceSetAccess;
  uint8_t m_u8VersionChanged;
  EOSSTS m_eosstsCreate;  // status of creating the log directory, 262 until tried
  OsCfgVersion m_oscfgversion;
  OsCfgBrand m_oscfgbrand;

  // The fixed table and the caller's dynamic area.
  const char *m_aszTable[OS_CFGSECTION_COUNT + 1][OS_CFGTAG_COUNT + 1];
  const char **m_ppszDynamicData;
  const OsCfgLookup *m_poscfglookupSection;
  const OsCfgLookup *m_poscfglookupTag;
  uint32_t m_u32DynamicRows;
  uint32_t m_u32DynamicColumns;

  // Program path: as given to the constructor, and as read from /proc.
  char m_szProgramPath[OS_SIZE_PATH];
  char m_szProcExe[OS_SIZE_PATH];

  // Buffers behind the directory tags and file paths.
  char m_szHomeName[OS_SIZE_PATH];
  char m_szDriverName[OS_SIZE_PATH];
  char m_szLocalLowDirectory[OS_SIZE_PATH];
  char m_szSetup001[OS_SIZE_PATH];
  char m_szRamScan[OS_SIZE_PATH];

  // The fields the dump lists, in its order.
  char m_szSystemDirectory[OS_SIZE_PATH];
  char m_szHomeDirectory[OS_SIZE_PATH];
  char m_szLibraryPath[OS_SIZE_PATH];
  char m_szSharedRootWriteableDirectory[OS_SIZE_PATH];
  char m_szSharedRootCommonDirectory[OS_SIZE_PATH];
  char m_szSharedUserRootDirectory[OS_SIZE_PATH];
  char m_szSharedCommonDirectory[OS_SIZE_PATH];
  char m_szSharedDeviceDirectory[OS_SIZE_PATH];
  char m_szSharedUserDirectory[OS_SIZE_PATH];
  char m_szRootWriteableDirectory[OS_SIZE_PATH];
  char m_szRootCommonDirectory[OS_SIZE_PATH];
  char m_szUserRootDirectory[OS_SIZE_PATH];
  char m_szCommonDirectory[OS_SIZE_PATH];
  char m_szUserDirectory[OS_SIZE_PATH];
  char m_szDriverDirectory[OS_SIZE_PATH];
  char m_szLogDirectory[OS_SIZE_PATH];
  char m_szFwDirectory[OS_SIZE_PATH];
  char m_szOkapiDirectory[OS_SIZE_PATH];
  char m_szUiDirectory[OS_SIZE_PATH];
  char m_szTmpDirectory[OS_SIZE_PATH];
  char m_szSimulatorFilename[OS_SIZE_PATH];
  char m_szConfigFilenameConstIni[OS_SIZE_PATH];
  char m_szConfigFilename[OS_SIZE_PATH];
  char m_szSharedConfigFilenameConstIni[OS_SIZE_PATH];
  char m_szSharedConfigFilename[OS_SIZE_PATH];
  char m_szLogFilename[OS_SIZE_PATH];
  char m_szGuiFilename[OS_SIZE_PATH];
  char m_szDesktopDirectory[OS_SIZE_PATH];
  char m_szSharedDesktopDirectory[OS_SIZE_PATH];
  char m_szMultimediaDirectory[OS_SIZE_PATH];
  char m_szVirtualizedDirectory[OS_SIZE_PATH];
  char m_szApplication[OS_SIZE_PATH];
  char m_szFudge[OS_SIZE_PATH];
  char m_szRootDirectory[OS_SIZE_PATH];
  char m_szModelDirectory[OS_SIZE_PATH];
  char m_szModelDirectoryReal[OS_SIZE_PATH];
  char m_szProgramFileName[OS_SIZE_PATH];
  char m_szLibraryName[OS_SIZE_PATH];
  char m_szLogTimeStamp[OS_SIZE_NAME];
  char m_szTmp[OS_SIZE_PATH];
  char m_szFileData[65536 + 1];  // the configuration file's text, terminated
  char m_szUnitsBehavior[16];
  char m_szLogDebug[16];
  char m_szLogFilter[OS_SIZE_LABEL];
  char m_szDebugDisplayLength[16];
  char m_szForceSocketMonitorTimeout[16];
  char m_szForceUsbMonitorTimeout[16];
  char m_szUiTimeout[16];
  char m_szCompanyName[OS_SIZE_LABEL];
  char m_szCompanyNameShort[OS_SIZE_NAME];
  char m_szCopyright[OS_SIZE_LINE];
  char m_szProductFamily[OS_SIZE_LABEL];
  char m_szProductName[OS_SIZE_LABEL];
  char m_szServiceName[OS_SIZE_LABEL];
};

#endif  // OS_COSCFGIMPL_H
