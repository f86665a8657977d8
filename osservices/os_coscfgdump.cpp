// os_coscfgdump.cpp: the configuration report "qrboscfg*.txt": the
// environment, the system information, every value of the table with its key
// name, the caller's dynamic area and the internal directory fields. Lines
// end in CR LF; each is built in a 1,024-byte buffer.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "os_cosfile.h"
#include "os_cosfilesafe.h"
#include "os_coslog.h"
#include "os_cosstring.h"
#include "os_costime.h"

extern char **environ;

namespace
{

const uint32_t s_u32Line = 1024;

// One formatted line, cut at 1,023 characters (silently: a long
// environment entry is not an error worth a log line).
void WriteLine(FILE *a_pfile, const char *a_szFormat, ...) OS_PRINTF_FORMAT(2, 3);
void WriteLine(FILE *a_pfile, const char *a_szFormat, ...)
{
  char szLine[s_u32Line];
  va_list valist;
  va_start(valist, a_szFormat);
  const int iLength = vsnprintf(szLine, sizeof(szLine), a_szFormat, valist);
  va_end(valist);
  if (iLength > 0)
  {
    // Written whole, so that the report needs no formatting buffer of the
    // memory service.
    const uint32_t u32Length =
        static_cast<uint32_t>(iLength) < s_u32Line ? static_cast<uint32_t>(iLength) : s_u32Line - 1;
    (void)fwrite(szLine, 1, u32Length, a_pfile);
  }
}

// "%-48s <%s>" with the name cut at 48 characters.
void WriteValue(FILE *a_pfile, const char *a_szName, const char *a_szValue)
{
  WriteLine(a_pfile, "%-48.48s <%s>\r\n", a_szName, a_szValue ? a_szValue : "");
}

// The name of an id in a dynamic name table, else "0x%06x" of the id.
const char *DynamicName(const OsCfgLookup *a_poscfglookup, uint32_t a_u32Id, char *a_szBuffer,
                        uint32_t a_u32Size)
{
  for (const OsCfgLookup *pos = a_poscfglookup; pos && pos->szName; pos++)
  {
    if (pos->u32Id == a_u32Id)
    {
      return pos->szName;
    }
  }
  COsString::SStrPrintf(a_szBuffer, a_u32Size, "0x%06x", a_u32Id);
  return a_szBuffer;
}

}  // namespace

void COsCfgImpl::DumpEnvironment(FILE *a_pfile)
{
  WriteLine(a_pfile, "\r\n*** Environmentals ***************************************\r\n\r\n");
  for (char **pszEntry = environ; pszEntry && *pszEntry; pszEntry++)
  {
    WriteLine(a_pfile, "%s\r\n", *pszEntry);
  }
}

namespace
{

// The lines of the information section: a label and the value it shows.
struct OsCfgInfoLine
{
  const char *szLabel;
  EOSCFGINFO eoscfginfo;
};
const OsCfgInfoLine s_aoscfginfolineString[] = {
    {"OS_CFGINFO_OS_BUILDSTRING.............", OS_CFGINFO_OS_BUILDSTRING},
    {"OS_CFGINFO_OS_NAME....................", OS_CFGINFO_OS_NAME},
    {"OS_CFGINFO_OS_VERSION.................", OS_CFGINFO_OS_VERSION},
    {"OS_CFGINFO_OS_KERNELVERSION...........", OS_CFGINFO_OS_KERNELVERSION},
    {"OS_CFGINFO_OS_USERNAME................", OS_CFGINFO_OS_USERNAME},
    {"OS_CFGINFO_VOLUME_DEVICEID............", OS_CFGINFO_VOLUME_DEVICEID},
    {"OS_CFGINFO_VOLUME_SERIALNUMBER........", OS_CFGINFO_VOLUME_SERIALNUMBER},
    {"OS_CFGINFO_NETWORK_HOSTNAME...........", OS_CFGINFO_NETWORK_HOSTNAME}};
const OsCfgInfoLine s_aoscfginfolineMemory[] = {
    {"OS_CFGINFO_MEM_TOTALPHYSICAL..........", OS_CFGINFO_MEM_TOTALPHYSICAL},
    {"OS_CFGINFO_MEM_AVAILPHYSICAL..........", OS_CFGINFO_MEM_AVAILPHYSICAL},
    {"OS_CFGINFO_MEM_TOTALVIRTUAL...........", OS_CFGINFO_MEM_TOTALVIRTUAL},
    {"OS_CFGINFO_MEM_AVAILVIRTUAL...........", OS_CFGINFO_MEM_AVAILVIRTUAL},
    {"OS_CFGINFO_MEM_TOTALPAGEFILE..........", OS_CFGINFO_MEM_TOTALPAGEFILE},
    {"OS_CFGINFO_MEM_AVAILPAGEFILE..........", OS_CFGINFO_MEM_AVAILPAGEFILE}};
const OsCfgInfoLine s_aoscfginfolineNumber[] = {
    {"OS_CFGINFO_CPU_CACHESIZE..............", OS_CFGINFO_CPU_CACHESIZE},
    {"OS_CFGINFO_CPU_FAMILY.................", OS_CFGINFO_CPU_FAMILY},
    {"OS_CFGINFO_CPU_FLAG_3DNOW.............", OS_CFGINFO_CPU_FLAG_3DNOW},
    {"OS_CFGINFO_CPU_FLAG_FPU...............", OS_CFGINFO_CPU_FLAG_FPU},
    {"OS_CFGINFO_CPU_FLAG_HYPERTHREADING....", OS_CFGINFO_CPU_FLAG_HYPERTHREADING},
    {"OS_CFGINFO_CPU_FLAG_MMX...............", OS_CFGINFO_CPU_FLAG_MMX},
    {"OS_CFGINFO_CPU_FLAG_POPCNT............", OS_CFGINFO_CPU_FLAG_POPCNT},
    {"OS_CFGINFO_CPU_FLAG_SSE...............", OS_CFGINFO_CPU_FLAG_SSE},
    {"OS_CFGINFO_CPU_FLAG_SSE2..............", OS_CFGINFO_CPU_FLAG_SSE2},
    {"OS_CFGINFO_CPU_FLAG_SSE3..............", OS_CFGINFO_CPU_FLAG_SSE3},
    {"OS_CFGINFO_CPU_FLAG_SSE41.............", OS_CFGINFO_CPU_FLAG_SSE41},
    {"OS_CFGINFO_CPU_FLAG_SSE42.............", OS_CFGINFO_CPU_FLAG_SSE42},
    {"OS_CFGINFO_CPU_FLAG_SSE4A.............", OS_CFGINFO_CPU_FLAG_SSE4A},
    {"OS_CFGINFO_CPU_LEVEL..................", OS_CFGINFO_CPU_LEVEL},
    {"OS_CFGINFO_CPU_MACHINEBITS............", OS_CFGINFO_CPU_MACHINEBITS},
    {"OS_CFGINFO_CPU_MHZ....................", OS_CFGINFO_CPU_MHZ},
    {"OS_CFGINFO_CPU_MODEL..................", OS_CFGINFO_CPU_MODEL}};

}  // namespace

void COsCfgImpl::DumpInfo(FILE *a_pfile)
{
  WriteLine(a_pfile, "\r\n*** CFG Info *********************************************\r\n\r\n");
  for (const OsCfgInfoLine &item : s_aoscfginfolineString)
  {
    WriteLine(a_pfile, "%s%s\r\n", item.szLabel, COsCfg::InfoGetString(item.eoscfginfo));
  }
  for (const OsCfgInfoLine &item : s_aoscfginfolineMemory)
  {
    WriteLine(a_pfile, "%s%llu\r\n", item.szLabel,
              static_cast<unsigned long long>(COsCfg::InfoGetLongLong(item.eoscfginfo)));
  }
  WriteLine(a_pfile, "OS_CFGINFO_MEM_LOAD...................%lu\r\n",
            static_cast<unsigned long>(COsCfg::InfoGetLong(OS_CFGINFO_MEM_LOAD)));
  for (const OsCfgInfoLine &item : s_aoscfginfolineNumber)
  {
    WriteLine(a_pfile, "%s%d\r\n", item.szLabel, static_cast<int>(COsCfg::InfoGetLong(item.eoscfginfo)));
  }
  WriteLine(a_pfile, "OS_CFGINFO_CPU_MODELSTRING............%s\r\n",
            COsCfg::InfoGetString(OS_CFGINFO_CPU_MODELSTRING));
  WriteLine(a_pfile, "OS_CFGINFO_CPU_PROCESSBITS............%d\r\n",
            static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_PROCESSBITS)));
  WriteLine(a_pfile, "OS_CFGINFO_CPU_STEPPING...............%d\r\n",
            static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_STEPPING)));
  WriteLine(a_pfile, "OS_CFGINFO_CPU_TOTAL..................%d\r\n",
            static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_TOTAL)));
  WriteLine(a_pfile, "OS_CFGINFO_CPU_VENDORSTRING...........%s\r\n",
            COsCfg::InfoGetString(OS_CFGINFO_CPU_VENDORSTRING));
}

// Section 1 for tags 1..268 (the brand tags show section 1's empty values),
// then the supported sizes and the JPEG tables.
void COsCfgImpl::DumpTable(FILE *a_pfile)
{
  char szName[OS_SIZE_NAME];
  WriteLine(a_pfile, "\r\n*** OS Library Items *************************************\r\n");
  WriteLine(a_pfile, "\r\nOS_CFGSECTION_MAIN\r\n");
  for (uint32_t u32Tag = 1; u32Tag <= OS_CFGTAG_SERVICENAME; u32Tag++)
  {
    const char *szKey = TagName(u32Tag);
    if (!szKey)
    {
      COsString::SStrPrintf(szName, sizeof(szName), "0x%06x", u32Tag);
      szKey = szName;
    }
    WriteValue(a_pfile, szKey, Get(OS_CFGSECTION_MAIN, u32Tag));
  }
  WriteLine(a_pfile, "OS_CFGSECTION_SUPPORTEDSIZES\r\n");
  for (uint32_t u32Tag = OS_CFGTAG_N0; u32Tag <= OS_CFGTAG_N50; u32Tag++)
  {
    COsString::SStrPrintf(szName, sizeof(szName), "N%02u", u32Tag - OS_CFGTAG_N0);
    WriteValue(a_pfile, szName, Get(OS_CFGSECTION_SUPPORTEDSIZES, u32Tag));
  }
  WriteLine(a_pfile, "OS_CFGSECTION_QRB_ALL\r\n");
  for (uint32_t u32Tag = OS_CFGTAG_JPEGQUANTIZATION_Y_0; u32Tag <= OS_CFGTAG_JPEGQUANTIZATION_CBCR_100;
       u32Tag++)
  {
    const uint32_t u32Quality = (u32Tag - OS_CFGTAG_JPEGQUANTIZATION_Y_0) / 2 * 5;
    const bool blLuminance = (u32Tag - OS_CFGTAG_JPEGQUANTIZATION_Y_0) % 2 == 0;
    COsString::SStrPrintf(szName, sizeof(szName), "OS_CFGTAG_JPEGQUANTIZATION_%s_%02u",
                          blLuminance ? "Y" : "CBCR", u32Quality);
    WriteValue(a_pfile, szName, Get(OS_CFGSECTION_QRB_ALL, u32Tag));
  }
}

void COsCfgImpl::DumpDynamic(FILE *a_pfile)
{
  if (!m_ppszDynamicData)
  {
    WriteLine(a_pfile, "\r\n*** There are no local items ************************\r\n");
    return;
  }
  WriteLine(a_pfile, "\r\n*** Local Items *************************************\r\n");
  char szSection[OS_SIZE_NAME];
  char szTag[OS_SIZE_NAME];
  for (uint32_t u32Section = OS_CFGDYNAMIC_BASE + 1; u32Section < OS_CFGDYNAMIC_BASE + m_u32DynamicRows;
       u32Section++)
  {
    WriteLine(a_pfile, "\r\n[%s]\r\n",
              DynamicName(m_poscfglookupSection, u32Section, szSection, sizeof(szSection)));
    for (uint32_t u32Tag = OS_CFGDYNAMIC_BASE + 1; u32Tag < OS_CFGDYNAMIC_BASE + m_u32DynamicColumns;
         u32Tag++)
    {
      WriteValue(a_pfile, DynamicName(m_poscfglookupTag, u32Tag, szTag, sizeof(szTag)),
                 Get(u32Section, u32Tag));
    }
  }
}

// One line of the directories section: a member's name and its value.
#define OSCFG_FIELD(member) {#member, member}

void COsCfgImpl::DumpDirectories(FILE *a_pfile)
{
  struct
  {
    const char *szName;
    const char *szValue;
  } const afield[] = {
      // clang-format off
      OSCFG_FIELD(m_szSystemDirectory), OSCFG_FIELD(m_szHomeDirectory), OSCFG_FIELD(m_szLibraryPath),
      OSCFG_FIELD(m_szSharedRootWriteableDirectory), OSCFG_FIELD(m_szSharedRootCommonDirectory),
      OSCFG_FIELD(m_szSharedUserRootDirectory), OSCFG_FIELD(m_szSharedCommonDirectory),
      OSCFG_FIELD(m_szSharedDeviceDirectory), OSCFG_FIELD(m_szSharedUserDirectory),
      OSCFG_FIELD(m_szRootWriteableDirectory), OSCFG_FIELD(m_szRootCommonDirectory),
      OSCFG_FIELD(m_szUserRootDirectory), OSCFG_FIELD(m_szCommonDirectory), OSCFG_FIELD(m_szUserDirectory),
      OSCFG_FIELD(m_szDriverDirectory), OSCFG_FIELD(m_szLogDirectory), OSCFG_FIELD(m_szFwDirectory),
      OSCFG_FIELD(m_szOkapiDirectory), OSCFG_FIELD(m_szUiDirectory), OSCFG_FIELD(m_szTmpDirectory),
      OSCFG_FIELD(m_szSimulatorFilename), OSCFG_FIELD(m_szConfigFilenameConstIni), OSCFG_FIELD(m_szConfigFilename),
      OSCFG_FIELD(m_szSharedConfigFilenameConstIni), OSCFG_FIELD(m_szSharedConfigFilename),
      OSCFG_FIELD(m_szLogFilename), OSCFG_FIELD(m_szGuiFilename), OSCFG_FIELD(m_szDesktopDirectory),
      OSCFG_FIELD(m_szSharedDesktopDirectory), OSCFG_FIELD(m_szMultimediaDirectory),
      OSCFG_FIELD(m_szVirtualizedDirectory), OSCFG_FIELD(m_szApplication), OSCFG_FIELD(m_szFudge),
      OSCFG_FIELD(m_szRootDirectory), OSCFG_FIELD(m_szModelDirectory), OSCFG_FIELD(m_szModelDirectoryReal),
      OSCFG_FIELD(m_szProgramFileName), OSCFG_FIELD(m_szLibraryName), OSCFG_FIELD(m_szLogTimeStamp),
      OSCFG_FIELD(m_szTmp), OSCFG_FIELD(m_szFileData), OSCFG_FIELD(m_szUnitsBehavior), OSCFG_FIELD(m_szLogDebug),
      OSCFG_FIELD(m_szLogFilter), OSCFG_FIELD(m_szDebugDisplayLength), OSCFG_FIELD(m_szForceSocketMonitorTimeout),
      OSCFG_FIELD(m_szForceUsbMonitorTimeout), OSCFG_FIELD(m_szUiTimeout), OSCFG_FIELD(m_szCompanyName),
      OSCFG_FIELD(m_szCompanyNameShort), OSCFG_FIELD(m_szCopyright), OSCFG_FIELD(m_szProductFamily),
      OSCFG_FIELD(m_szProductName), OSCFG_FIELD(m_szServiceName)};
      // clang-format on
  WriteLine(a_pfile, "\r\n*** Directories *************************************\r\n");
  WriteLine(a_pfile, "---\r\n");
  for (const auto &field : afield)
  {
    WriteLine(a_pfile, "%-36s= <%s>\r\n", field.szName, field.szValue);
  }
}
#undef OSCFG_FIELD

// The dump's path: qrboscfg[_<real model>].txt in a_szFolder, or a
// time-stamped name in $QRB_OSCFGDIR.
void COsCfgImpl::DumpFileName(const char *a_szFolder, char *a_szFile, uint32_t a_u32Size)
{
  char szOsCfgDir[OS_SIZE_TEXT];
  if (COsCfg::GetEnv("QRB_OSCFGDIR", nullptr, sizeof(szOsCfgDir), szOsCfgDir) == EOSSTS_OK && szOsCfgDir[0])
  {
    OsTimeRecord ostimerecord;
    char szTime[32] = {0};
    if (COsTime::GetSystemTime(&ostimerecord) == EOSSTS_OK)
    {
      (void)COsTime::GetStringTime(&ostimerecord, szTime, sizeof(szTime));
    }
    COsString::SStrPrintf(a_szFile, a_u32Size, "%s/qrboscfg_%s.txt", szOsCfgDir, szTime);
    return;
  }
  char szName[OS_SIZE_PATH];
  COsString::SStrCpy(szName, sizeof(szName), "qrboscfg");
  if (m_eoscfgentity == EOSCFGENTITY_UTILITY || m_eoscfgentity == EOSCFGENTITY_APPUTILITY)
  {
    COsString::SStrCatf(szName, sizeof(szName), "_%s", Get(OS_CFGSECTION_MAIN, OS_CFGTAG_MODELDIRECTORYREAL));
  }
  COsString::SStrCat(szName, sizeof(szName), ".txt");
  COsFile::PathSet(a_szFile, a_u32Size, a_szFolder);
  COsFile::PathAppend(a_szFile, a_u32Size, szName);
}

namespace
{

// Opens the dump for writing, never through a link, a FIFO or another
// user's file; the modes are set on the descriptor. Null when refused.
FILE *OpenDumpFile(const char *a_szFile)
{
  bool blRootPath = false;
  const mode_t mode = OsCfgFileCreationMode(a_szFile, &blRootPath);
  const int fd = OsFileOpenWrite(a_szFile, O_WRONLY | O_CREAT | O_TRUNC, mode, OS_WRITER_PRIVATE);
  FILE *pfile = (fd >= 0) ? fdopen(fd, "w") : nullptr;
  if (!pfile)
  {
    if (fd >= 0)
    {
      close(fd);
    }
    return nullptr;
  }
  if (blRootPath)
  {
    (void)fchmod(fd, mode);  // a replaced file too
  }
  return pfile;
}

}  // namespace

EOSSTS COsCfgImpl::Dump(const char *a_szFolder)
{
  char szFolder[OS_SIZE_PATH];
  COsString::SStrCpy(szFolder, sizeof(szFolder),
                     a_szFolder ? a_szFolder : Get(OS_CFGSECTION_MAIN, OS_CFGTAG_LOGDIRECTORY));
  const EOSSTS eosstsCreate = COsFile::Create(szFolder, nullptr);
  if (eosstsCreate != EOSSTS_OK && eosstsCreate != EOSSTS_EXISTS)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "Error creating...<%s>", szFolder);
    return EOSSTS_IOERROR;
  }
  char szFile[OS_SIZE_PATH];
  DumpFileName(szFolder, szFile, sizeof(szFile));
  FILE *pfile = OpenDumpFile(szFile);
  if (!pfile)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "Error creating...<%s>", szFile);
    return EOSSTS_IOERROR;
  }
  DumpEnvironment(pfile);
  DumpInfo(pfile);
  DumpTable(pfile);
  DumpDynamic(pfile);
  DumpDirectories(pfile);
  (void)fclose(pfile);
  return EOSSTS_OK;
}
