// os_coscfginfo.cpp: what the services know about the machine: the
// distribution, the kernel version, the processors and the memory. One
// static record per process, gathered by the first load and read through the
// COsCfg information accessors.
#include <dirent.h>
#include <sched.h>
#include <strings.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if defined(__i386__) || defined(__x86_64__)
#include <cpuid.h>
#endif

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "os_cosfilesafe.h"
#include "os_coslog.h"
#include "os_cosstring.h"
#include "os_cossync.h"

namespace
{

OsCfgSystemInfo s_oscfgsysteminfo;

const size_t s_sizetReleaseBuffer = 65536;

// Reads at most a_sizetBytes - 1 bytes of a file into a terminated buffer;
// false when the file cannot be opened or is not a regular file (a FIFO
// planted at a release file's name must not hang the start). Follows links.
bool ReadText(const char *a_szFilename, char *a_szBuffer, size_t a_sizetBytes)
{
  a_szBuffer[0] = 0;
  FILE *pfile = OsFileFopenRead(a_szFilename);
  if (!pfile)
  {
    return false;
  }
  const size_t sizetRead = fread(a_szBuffer, 1, a_sizetBytes - 1, pfile);
  a_szBuffer[sizetRead] = 0;
  fclose(pfile);
  return true;
}

// End of the line that starts at a_szLine (its CR, LF or terminator).
const char *LineEnd(const char *a_szLine)
{
  return a_szLine + strcspn(a_szLine, "\r\n");
}

// Start of the next line, or null at the end of the text.
const char *NextLine(const char *a_szLine)
{
  const char *szEnd = LineEnd(a_szLine);
  if (!*szEnd)
  {
    return nullptr;
  }
  return szEnd + 1;
}

// First line that begins with a_szWord (any case), or null.
const char *FindLine(const char *a_szText, const char *a_szWord)
{
  const size_t sizetWord = strlen(a_szWord);
  for (const char *szLine = a_szText; szLine; szLine = NextLine(szLine))
  {
    if (strncasecmp(szLine, a_szWord, sizetWord) == 0)
    {
      return szLine;
    }
  }
  return nullptr;
}

// The major number at a_szMajor and the minor number after the first '.'
// that follows it on the same line.
void VersionNumbers(const char *a_szMajor, long *a_plMajor, long *a_plMinor)
{
  *a_plMajor = strtol(a_szMajor, nullptr, 10);
  *a_plMinor = 0;
  const char *szEnd = LineEnd(a_szMajor);
  const char *szDot =
      static_cast<const char *>(memchr(a_szMajor, '.', static_cast<size_t>(szEnd - a_szMajor)));
  if (szDot)
  {
    *a_plMinor = strtol(szDot + 1, nullptr, 10);
  }
}

// Numbers after the last '=' of a line that begins with a_szWord.
void VersionAfterEquals(const char *a_szText, const char *a_szWord, long *a_plMajor, long *a_plMinor)
{
  *a_plMajor = 0;
  *a_plMinor = 0;
  const char *szLine = FindLine(a_szText, a_szWord);
  if (!szLine)
  {
    return;
  }
  const char *szEnd = LineEnd(szLine);
  const char *szEquals = nullptr;
  for (const char *sz = szLine; sz < szEnd; sz++)
  {
    if (*sz == '=')
    {
      szEquals = sz;
    }
  }
  if (szEquals)
  {
    VersionNumbers(szEquals + 1, a_plMajor, a_plMinor);
  }
}

// Numbers after the word "release": at the start of a line (a_blLineStart),
// or at its first occurrence anywhere.
void VersionAfterRelease(const char *a_szText, bool a_blLineStart, long *a_plMajor, long *a_plMinor)
{
  *a_plMajor = 0;
  *a_plMinor = 0;
  const char *szRelease = a_blLineStart ? FindLine(a_szText, "release") : strstr(a_szText, "release");
  if (szRelease)
  {
    VersionNumbers(szRelease + strlen("release"), a_plMajor, a_plMinor);
  }
}

// The release files, in the order they are tried.
const char *const s_aszReleaseFiles[] = {
    "/etc/SuSE-release",      "/etc/mandrake-release",  "/etc/fedora-release",
    "/etc/redhat-release",    "/etc/slackware-release", "/etc/debian-release",
    "/etc/yellowdog-release", "/etc/gentoo-release",    "/etc/lsb-release"};

void LoadDistribution()
{
  char *szText = static_cast<char *>(malloc(s_sizetReleaseBuffer + 1));
  if (!szText)
  {
    OSCFGLOG(EOSLOGFLAG_ASSERT, "calloc failed...");
    return;
  }
  for (const char *szFile : s_aszReleaseFiles)
  {
    if (!ReadText(szFile, szText, s_sizetReleaseBuffer + 1))
    {
      continue;
    }
    const uint32_t u32Code = COsCfgImpl::Distribution(szFile, szText, s_oscfgsysteminfo.szOsName,
                                                      sizeof(s_oscfgsysteminfo.szOsName));
    if (u32Code)
    {
      s_oscfgsysteminfo.u32Distribution = u32Code;
    }
    break;
  }
  free(szText);
}

// The first processor from the processor identification instruction. Each
// leaf is read once, after its range's highest leaf is known: __get_cpuid
// would ask for that highest leaf again every time, and a virtual machine
// may trap every execution of the instruction.
void IdentifyProcessor(OsCfgProcessor *a_posprocessor)
{
  a_posprocessor->u32MachineBits = static_cast<uint32_t>(sizeof(void *) * CHAR_BIT);
  a_posprocessor->u32ProcessBits = static_cast<uint32_t>(sizeof(void *) * CHAR_BIT);
#if defined(__i386__) || defined(__x86_64__)
  unsigned int uEax = 0, uEbx = 0, uEcx = 0, uEdx = 0;
  if (!__get_cpuid(0, &uEax, &uEbx, &uEcx, &uEdx))
  {
    return;
  }
  const unsigned int uMaxBasic = uEax;
  memcpy(a_posprocessor->szVendor, &uEbx, 4);
  memcpy(a_posprocessor->szVendor + 4, &uEdx, 4);
  memcpy(a_posprocessor->szVendor + 8, &uEcx, 4);
  a_posprocessor->szVendor[12] = 0;
  if (uMaxBasic >= 1)
  {
    __cpuid(1, uEax, uEbx, uEcx, uEdx);
    a_posprocessor->u32Stepping = uEax & 0xf;
    a_posprocessor->u32Model = (uEax >> 4) & 0xf;
    a_posprocessor->u32Family = (uEax >> 8) & 0xf;
    a_posprocessor->u8Fpu = (uEdx >> 0) & 1;
    a_posprocessor->u8Mmx = (uEdx >> 23) & 1;
    a_posprocessor->u8Sse = (uEdx >> 25) & 1;
    a_posprocessor->u8Sse2 = (uEdx >> 26) & 1;
    a_posprocessor->u8HyperThreading = (uEdx >> 28) & 1;
    a_posprocessor->u8Sse3 = (uEcx >> 0) & 1;
    a_posprocessor->u8Sse41 = (uEcx >> 19) & 1;
    a_posprocessor->u8Sse42 = (uEcx >> 20) & 1;
    a_posprocessor->u8Popcnt = (uEcx >> 23) & 1;
  }
  const unsigned int uMaxExtended = __get_cpuid_max(0x80000000, nullptr);
  if (uMaxExtended < 0x80000001)
  {
    return;
  }
  __cpuid(0x80000001, uEax, uEbx, uEcx, uEdx);
  a_posprocessor->u83dNow = (uEdx >> 31) & 1;
  a_posprocessor->u8Sse4a = (uEcx >> 6) & 1;
  if (uMaxExtended >= 0x80000004)
  {
    char szName[49] = {0};
    for (unsigned int uLeaf = 0; uLeaf < 3; uLeaf++)
    {
      __cpuid(0x80000002 + uLeaf, uEax, uEbx, uEcx, uEdx);
      memcpy(szName + uLeaf * 16, &uEax, 4);
      memcpy(szName + uLeaf * 16 + 4, &uEbx, 4);
      memcpy(szName + uLeaf * 16 + 8, &uEcx, 4);
      memcpy(szName + uLeaf * 16 + 12, &uEdx, 4);
    }
    COsCfgImpl::CopyCut(a_posprocessor->szModel, sizeof(a_posprocessor->szModel),
                        COsString::StrFirstNonWhitespace(szName));
  }
  if (uMaxExtended >= 0x80000006)
  {
    __cpuid(0x80000006, uEax, uEbx, uEcx, uEdx);
    a_posprocessor->u32CacheSize = uEcx >> 16;
  }
#endif
}

void LoadProcessors()
{
  long lOnline = sysconf(_SC_NPROCESSORS_ONLN);
  const uint32_t u32Count = lOnline > 0 ? static_cast<uint32_t>(lOnline) : 1;
  OsCfgProcessor *posprocessor = static_cast<OsCfgProcessor *>(calloc(u32Count + 1, sizeof(OsCfgProcessor)));
  if (!posprocessor)
  {
    OSCFGLOG(EOSLOGFLAG_ASSERT, "calloc failed...");
    s_oscfgsysteminfo.u32Processors = 1;
    return;
  }
  IdentifyProcessor(&posprocessor[0]);
  for (uint32_t u32 = 1; u32 < u32Count; u32++)
  {
    posprocessor[u32] = posprocessor[0];
    posprocessor[u32].u32Index = u32;
  }
  s_oscfgsysteminfo.u32Processors = u32Count;
  s_oscfgsysteminfo.posprocessor = posprocessor;

  // Clock rates; QRB_FORCECPUINFO sizes the buffer for machines with many
  // processors.
  const int iBytes = COsCfg::GetEnvLong("QRB_FORCECPUINFO", 1000000);
  if (iBytes <= 1)
  {
    return;
  }
  char *szText = static_cast<char *>(malloc(static_cast<size_t>(iBytes)));
  if (!szText)
  {
    return;
  }
  if (ReadText("/proc/cpuinfo", szText, static_cast<size_t>(iBytes)))
  {
    COsCfgImpl::ParseCpuInfo(szText, posprocessor, u32Count);
  }
  free(szText);
}

// Value of a line "Name: value" of a /proc/self/status-like text, in KiB.
uint64_t StatusValue(const char *a_szText, const char *a_szName)
{
  const char *szLine = FindLine(a_szText, a_szName);
  if (!szLine)
  {
    return 0;
  }
  const char *szColon = strchr(szLine, ':');
  return szColon ? strtoull(szColon + 1, nullptr, 10) : 0;
}

// The process's address space: what a process of this word size can map,
// less what it has mapped.
void LoadVirtualInfo()
{
  s_oscfgsysteminfo.u64TotalVirtual = sizeof(void *) == 4 ? 0xC0000000ull : 0x7FFFFFFFFFFFull;
  char szText[8192];
  uint64_t u64Used = 0;
  if (ReadText("/proc/self/status", szText, sizeof(szText)))
  {
    u64Used = StatusValue(szText, "VmSize") * 1024;
  }
  s_oscfgsysteminfo.u64AvailVirtual =
      u64Used < s_oscfgsysteminfo.u64TotalVirtual ? s_oscfgsysteminfo.u64TotalVirtual - u64Used : 0;
}

// The name field of a line of /etc/passwd ("name:password:uid:...") when
// its user number is a_uid; false otherwise.
bool PasswdLineName(char *a_szLine, uid_t a_uid, const char **a_pszName)
{
  char *szPassword = strchr(a_szLine, ':');
  char *szUid = szPassword ? strchr(szPassword + 1, ':') : nullptr;
  if (!szUid || (szPassword == a_szLine) || !isdigit(static_cast<unsigned char>(szUid[1])))
  {
    return false;
  }
  char *szEnd = nullptr;
  const unsigned long ulUid = strtoul(szUid + 1, &szEnd, 10);
  if ((*szEnd != ':') || (ulUid != static_cast<unsigned long>(a_uid)))
  {
    return false;
  }
  *szPassword = '\0';
  *a_pszName = a_szLine;
  return true;
}

// The effective user's name from /etc/passwd, read directly instead of
// through the name service: the hot-plug program is linked statically and
// must not load name-service modules at run time. A user that only a
// network directory knows falls back to $USER. Follows links.
void LoadUserName()
{
  FILE *pfile = OsFileFopenRead("/etc/passwd");
  char szLine[1024];
  const char *szName = nullptr;
  bool blLineStart = true;  // a line longer than the buffer is read in pieces
  while (!szName && pfile && fgets(szLine, sizeof(szLine), pfile))
  {
    const bool blAtLineStart = blLineStart;
    blLineStart = strchr(szLine, '\n') != nullptr;
    if (blAtLineStart)
    {
      (void)PasswdLineName(szLine, geteuid(), &szName);
    }
  }
  if (pfile)
  {
    fclose(pfile);
  }
  if (!szName)
  {
    szName = getenv("USER");
  }
  if (szName)
  {
    COsCfgImpl::CopyCut(s_oscfgsysteminfo.szUserName, sizeof(s_oscfgsysteminfo.szUserName), szName);
  }
}

void LoadUserAndHost()
{
  LoadUserName();
  if (gethostname(s_oscfgsysteminfo.szHostName, sizeof(s_oscfgsysteminfo.szHostName) - 1) != 0)
  {
    s_oscfgsysteminfo.szHostName[0] = 0;
  }
}

// The device mounted at "/" and, when /dev/disk/by-uuid names it, its uuid.
void LoadVolume()
{
  char szMounts[16384];
  if (!ReadText("/proc/mounts", szMounts, sizeof(szMounts)))
  {
    return;
  }
  for (const char *szLine = szMounts; szLine; szLine = NextLine(szLine))
  {
    char szDevice[OS_SIZE_LINE];
    char szMountPoint[OS_SIZE_LINE];
    if (sscanf(szLine, "%255s %255s", szDevice, szMountPoint) == 2 && strcmp(szMountPoint, "/") == 0)
    {
      COsCfgImpl::CopyCut(s_oscfgsysteminfo.szVolumeDeviceId, sizeof(s_oscfgsysteminfo.szVolumeDeviceId),
                          szDevice);
    }
  }
  char szDevice[PATH_MAX];
  if (!s_oscfgsysteminfo.szVolumeDeviceId[0] || !realpath(s_oscfgsysteminfo.szVolumeDeviceId, szDevice))
  {
    return;
  }
  DIR *pdir = opendir("/dev/disk/by-uuid");
  if (!pdir)
  {
    return;
  }
  for (struct dirent *pdirent = readdir(pdir); pdirent; pdirent = readdir(pdir))
  {
    char szLink[OS_SIZE_PATH];
    char szTarget[PATH_MAX];
    COsString::SStrPrintf(szLink, sizeof(szLink), "/dev/disk/by-uuid/%s", pdirent->d_name);
    if (pdirent->d_name[0] != '.' && realpath(szLink, szTarget) && strcmp(szTarget, szDevice) == 0)
    {
      COsCfgImpl::CopyCut(s_oscfgsysteminfo.szVolumeSerialNumber,
                          sizeof(s_oscfgsysteminfo.szVolumeSerialNumber), pdirent->d_name);
      break;
    }
  }
  closedir(pdir);
}

const OsCfgProcessor &FirstProcessor()
{
  static const OsCfgProcessor s_oscfgprocessorNone = {};
  COsCfgImpl::LoadSystemInfo();
  return s_oscfgsysteminfo.posprocessor ? s_oscfgsysteminfo.posprocessor[0] : s_oscfgprocessorNone;
}

}  // namespace

// ---------------------------------------------------------------------------
// Parsers (given the files' text)
// ---------------------------------------------------------------------------

// "2.6.32-5-686" gives "02063200": each dot-separated piece's leading
// digits as two digits, padded with zeros and cut to eight characters.
void COsCfgImpl::KernelVersion(const char *a_szRelease, char *a_szVersion, uint32_t a_u32Size)
{
  char szRelease[33];
  char szVersion[256] = {0};
  CopyCut(szRelease, sizeof(szRelease), a_szRelease ? a_szRelease : "");
  const char *szPiece = szRelease;
  while (szPiece)
  {
    COsString::SStrCatf(szVersion, sizeof(szVersion), "%02ld", strtol(szPiece, nullptr, 10));
    szPiece = strchr(szPiece, '.');
    if (szPiece)
    {
      szPiece++;
    }
  }
  COsString::SStrCat(szVersion, sizeof(szVersion), "00000000");
  szVersion[8] = 0;
  CopyCut(a_szVersion, a_u32Size, szVersion);
}

uint32_t COsCfgImpl::Distribution(const char *a_szFilename, const char *a_szText, char *a_szName,
                                  uint32_t a_u32Size)
{
  long lMajor = 0;
  long lMinor = 0;
  const char *szFile = strrchr(a_szFilename, '/') ? strrchr(a_szFilename, '/') + 1 : a_szFilename;
  if (strcmp(szFile, "SuSE-release") == 0)
  {
    VersionAfterEquals(a_szText, "VERSION", &lMajor, &lMinor);
    COsString::SStrPrintf(a_szName, a_u32Size, "suse%02ld%02ld", lMajor, lMinor);
    return OS_CFGDISTRIBUTION_SUSE;
  }
  if (strcmp(szFile, "mandrake-release") == 0)
  {
    VersionAfterRelease(a_szText, true, &lMajor, &lMinor);
    COsString::SStrPrintf(a_szName, a_u32Size, "mandrake%02ld%02ld", lMajor, lMinor);
    return OS_CFGDISTRIBUTION_MANDRAKE;
  }
  if (strcmp(szFile, "fedora-release") == 0 || strcmp(szFile, "redhat-release") == 0)
  {
    const bool blFedora = szFile[0] == 'f';
    VersionAfterRelease(a_szText, false, &lMajor, &lMinor);
    COsString::SStrPrintf(a_szName, a_u32Size, blFedora ? "fedora%02ld%02ld" : "redhat%02ld%02ld", lMajor,
                          lMinor);
    return blFedora ? OS_CFGDISTRIBUTION_FEDORA : OS_CFGDISTRIBUTION_REDHAT;
  }
  if (strcmp(szFile, "slackware-release") == 0)
  {
    return OS_CFGDISTRIBUTION_SLACKWARE;
  }
  if (strcmp(szFile, "debian-release") == 0)
  {
    return OS_CFGDISTRIBUTION_DEBIAN;
  }
  if (strcmp(szFile, "yellowdog-release") == 0)
  {
    return OS_CFGDISTRIBUTION_YELLOWDOG;
  }
  if (strcmp(szFile, "gentoo-release") == 0)
  {
    return OS_CFGDISTRIBUTION_GENTOO;
  }
  if (strcmp(szFile, "lsb-release") == 0 && strstr(a_szText, "Ubuntu"))
  {
    VersionAfterEquals(a_szText, "DISTRIB_RELEASE", &lMajor, &lMinor);
    COsString::SStrPrintf(a_szName, a_u32Size, "ubuntu%02ld%02ld", lMajor, lMinor);
    return OS_CFGDISTRIBUTION_UBUNTU;
  }
  return 0;
}

// "processor : N" selects record N (ignored when N is out of range) and
// "cpu MHz : 2394.000" gives the selected record 2394.
void COsCfgImpl::ParseCpuInfo(const char *a_szText, OsCfgProcessor *a_posprocessor, uint32_t a_u32Count)
{
  OsCfgProcessor *posCurrent = a_u32Count ? &a_posprocessor[0] : nullptr;
  for (const char *szLine = a_szText; szLine; szLine = NextLine(szLine))
  {
    const char *szEnd = LineEnd(szLine);
    const char *szColon = static_cast<const char *>(memchr(szLine, ':', static_cast<size_t>(szEnd - szLine)));
    if (!szColon)
    {
      continue;
    }
    // The value starts two characters after the colon.
    const char *szValue = szColon + 1 < szEnd ? szColon + 2 : szEnd;
    if (strncmp(szLine, "processor", 9) == 0)
    {
      const long lIndex = strtol(szValue, nullptr, 10);
      posCurrent = (lIndex >= 0 && static_cast<unsigned long>(lIndex) < a_u32Count) ? &a_posprocessor[lIndex]
                                                                                    : nullptr;
      if (posCurrent)
      {
        posCurrent->u32Index = static_cast<uint32_t>(lIndex);
      }
    }
    else if (strncmp(szLine, "cpu MHz", 7) == 0 && posCurrent)
    {
      posCurrent->u32Mhz = static_cast<uint32_t>(strtoul(szValue, nullptr, 10));
    }
  }
}

void COsCfgImpl::ParseMemInfo(const char *a_szText, OsCfgSystemInfo *a_poscfgsysteminfo)
{
  struct
  {
    const char *szName;
    uint64_t *pu64Value;
  } aitem[] = {{"MemTotal", &a_poscfgsysteminfo->u64TotalPhysical},
               {"MemFree", &a_poscfgsysteminfo->u64AvailPhysical},
               {"SwapTotal", &a_poscfgsysteminfo->u64TotalPageFile},
               {"SwapFree", &a_poscfgsysteminfo->u64AvailPageFile}};
  for (const char *szLine = a_szText; szLine; szLine = NextLine(szLine))
  {
    const char *szEnd = LineEnd(szLine);
    const char *szColon = static_cast<const char *>(memchr(szLine, ':', static_cast<size_t>(szEnd - szLine)));
    for (auto &item : aitem)
    {
      if (szColon && strncmp(szLine, item.szName, strlen(item.szName)) == 0)
      {
        const char *szValue = szColon + 1 < szEnd ? szColon + 2 : szEnd;
        *item.pu64Value = strtoull(szValue, nullptr, 10) * 1024;
      }
    }
  }
  const uint64_t u64Hundredth = a_poscfgsysteminfo->u64TotalPhysical / 100;
  uint32_t u32Load = 100;
  if (u64Hundredth && a_poscfgsysteminfo->u64AvailPhysical / u64Hundredth <= 100)
  {
    u32Load = 100 - static_cast<uint32_t>(a_poscfgsysteminfo->u64AvailPhysical / u64Hundredth);
  }
  else if (u64Hundredth)
  {
    u32Load = 0;
  }
  a_poscfgsysteminfo->u32MemoryLoad = u32Load;
}

// ---------------------------------------------------------------------------
// Gathering
// ---------------------------------------------------------------------------

void COsCfgImpl::LoadSystemInfo()
{
  if (s_oscfgsysteminfo.blInitialised)
  {
    return;
  }
  s_oscfgsysteminfo.blInitialised = true;
  s_oscfgsysteminfo.u32Platform = 3;
  s_oscfgsysteminfo.u32Distribution = OS_CFGDISTRIBUTION_OTHER;
  COsString::SStrCpy(s_oscfgsysteminfo.szOsName, sizeof(s_oscfgsysteminfo.szOsName), "LINUX");
  COsString::SStrCpy(s_oscfgsysteminfo.szBuildString, sizeof(s_oscfgsysteminfo.szBuildString), "0");
  struct utsname utsnameSystem;
  if (uname(&utsnameSystem) == 0)
  {
    KernelVersion(utsnameSystem.release, s_oscfgsysteminfo.szKernelVersion,
                  sizeof(s_oscfgsysteminfo.szKernelVersion));
  }
  COsString::SStrCpy(s_oscfgsysteminfo.szOsVersion, sizeof(s_oscfgsysteminfo.szOsVersion),
                     s_oscfgsysteminfo.szKernelVersion);
  LoadDistribution();
  LoadProcessors();
  LoadMemoryInfo();
  LoadVirtualInfo();
  const long lPageSize = sysconf(_SC_PAGESIZE);
  s_oscfgsysteminfo.u32PageSize = lPageSize > 0 ? static_cast<uint32_t>(lPageSize) : 4096;
}

void COsCfgImpl::LoadMemoryInfo()
{
  char *szText = static_cast<char *>(malloc(65536));
  if (!szText)
  {
    return;
  }
  if (ReadText("/proc/meminfo", szText, 65536))
  {
    ParseMemInfo(szText, &s_oscfgsysteminfo);
  }
  free(szText);
}

OsCfgSystemInfo *COsCfgImpl::GetSystemInfo()
{
  LoadSystemInfo();
  return &s_oscfgsysteminfo;
}

void COsCfgImpl::ResetSystemInfo()
{
  free(s_oscfgsysteminfo.posprocessor);
  memset(&s_oscfgsysteminfo, 0, sizeof(s_oscfgsysteminfo));
}

// ---------------------------------------------------------------------------
// COsCfg accessors
// ---------------------------------------------------------------------------

namespace
{

OSSPINLOCK s_lIdentityLock;

// The system information with the user, host and volume items, which are
// gathered when first asked for (they are shown only by the dump): a
// program that never asks does not read /etc/passwd and /proc/mounts at
// every start.
const OsCfgSystemInfo *IdentityInfo()
{
  OsCfgSystemInfo *pinfo = COsCfgImpl::GetSystemInfo();
  COsSync::SpinLock(&s_lIdentityLock);
  if (!pinfo->blIdentityLoaded)
  {
    LoadUserAndHost();
    LoadVolume();
    pinfo->blIdentityLoaded = true;
  }
  COsSync::SpinUnlock(&s_lIdentityLock);
  return pinfo;
}

bool IsIdentityItem(EOSCFGINFO a_eoscfginfo)
{
  return (a_eoscfginfo == OS_CFGINFO_OS_USERNAME) || (a_eoscfginfo == OS_CFGINFO_VOLUME_DEVICEID) ||
         (a_eoscfginfo == OS_CFGINFO_VOLUME_SERIALNUMBER) || (a_eoscfginfo == OS_CFGINFO_NETWORK_HOSTNAME);
}

}  // namespace

const char *COsCfg::InfoGetString(EOSCFGINFO a_eoscfginfo)
{
  const OsCfgSystemInfo *pinfo =
      IsIdentityItem(a_eoscfginfo) ? IdentityInfo() : COsCfgImpl::GetSystemInfo();
  switch (a_eoscfginfo)
  {
    case OS_CFGINFO_OS_BUILDSTRING:
      return pinfo->szBuildString;
    case OS_CFGINFO_OS_NAME:
      return pinfo->szOsName;
    case OS_CFGINFO_OS_VERSION:
      return pinfo->szOsVersion;
    case OS_CFGINFO_OS_KERNELVERSION:
      return pinfo->szKernelVersion;
    case OS_CFGINFO_OS_USERNAME:
      return pinfo->szUserName;
    case OS_CFGINFO_VOLUME_DEVICEID:
      return pinfo->szVolumeDeviceId;
    case OS_CFGINFO_VOLUME_SERIALNUMBER:
      return pinfo->szVolumeSerialNumber;
    case OS_CFGINFO_NETWORK_HOSTNAME:
      return pinfo->szHostName;
    case OS_CFGINFO_CPU_MODELSTRING:
      return FirstProcessor().szModel;
    case OS_CFGINFO_CPU_VENDORSTRING:
      return FirstProcessor().szVendor;
    default:
      return "";
  }
}

long long COsCfg::InfoGetLongLong(EOSCFGINFO a_eoscfginfo)
{
  const OsCfgSystemInfo *pinfo = COsCfgImpl::GetSystemInfo();
  switch (a_eoscfginfo)
  {
    case OS_CFGINFO_MEM_TOTALPHYSICAL:
      return static_cast<long long>(pinfo->u64TotalPhysical);
    case OS_CFGINFO_MEM_AVAILPHYSICAL:
      return static_cast<long long>(pinfo->u64AvailPhysical);
    case OS_CFGINFO_MEM_TOTALVIRTUAL:
      return static_cast<long long>(pinfo->u64TotalVirtual);
    case OS_CFGINFO_MEM_AVAILVIRTUAL:
      return static_cast<long long>(pinfo->u64AvailVirtual);
    case OS_CFGINFO_MEM_TOTALPAGEFILE:
      return static_cast<long long>(pinfo->u64TotalPageFile);
    case OS_CFGINFO_MEM_AVAILPAGEFILE:
      return static_cast<long long>(pinfo->u64AvailPageFile);
    default:
      return InfoGetLong(a_eoscfginfo);
  }
}

bool COsCfg::InfoGetBool(EOSCFGINFO a_eoscfginfo)
{
  const OsCfgProcessor &processor = FirstProcessor();
  switch (a_eoscfginfo)
  {
    case OS_CFGINFO_CPU_FLAG_3DNOW:
      return processor.u83dNow != 0;
    case OS_CFGINFO_CPU_FLAG_FPU:
      return processor.u8Fpu != 0;
    case OS_CFGINFO_CPU_FLAG_HYPERTHREADING:
      return processor.u8HyperThreading != 0;
    case OS_CFGINFO_CPU_FLAG_MMX:
      return processor.u8Mmx != 0;
    case OS_CFGINFO_CPU_FLAG_POPCNT:
      return processor.u8Popcnt != 0;
    case OS_CFGINFO_CPU_FLAG_SSE:
      return processor.u8Sse != 0;
    case OS_CFGINFO_CPU_FLAG_SSE2:
      return processor.u8Sse2 != 0;
    case OS_CFGINFO_CPU_FLAG_SSE3:
      return processor.u8Sse3 != 0;
    case OS_CFGINFO_CPU_FLAG_SSE41:
      return processor.u8Sse41 != 0;
    case OS_CFGINFO_CPU_FLAG_SSE42:
      return processor.u8Sse42 != 0;
    case OS_CFGINFO_CPU_FLAG_SSE4A:
      return processor.u8Sse4a != 0;
    default:
      return InfoGetLong(a_eoscfginfo) != 0;
  }
}

// The mask of the processors this process may run on (the first ones that
// fit a long).
static long ActiveProcessorMask()
{
  cpu_set_t cpusetMask;
  CPU_ZERO(&cpusetMask);
  if (sched_getaffinity(0, sizeof(cpusetMask), &cpusetMask) != 0)
  {
    return 1;
  }
  unsigned long ulMask = 0;
  for (unsigned int u = 0; u < sizeof(long) * CHAR_BIT; u++)
  {
    if (CPU_ISSET(u, &cpusetMask))
    {
      ulMask |= 1ul << u;
    }
  }
  return static_cast<long>(ulMask);
}

long COsCfg::InfoGetLong(EOSCFGINFO a_eoscfginfo)
{
  const OsCfgSystemInfo *pinfo = COsCfgImpl::GetSystemInfo();
  const OsCfgProcessor &processor = FirstProcessor();
  switch (a_eoscfginfo)
  {
    case OS_CFGINFO_MEM_TOTALPHYSICAL:
    case OS_CFGINFO_MEM_AVAILPHYSICAL:
    case OS_CFGINFO_MEM_TOTALVIRTUAL:
    case OS_CFGINFO_MEM_AVAILVIRTUAL:
    case OS_CFGINFO_MEM_TOTALPAGEFILE:
    case OS_CFGINFO_MEM_AVAILPAGEFILE:
      return static_cast<long>(InfoGetLongLong(a_eoscfginfo));
    case OS_CFGINFO_MEM_LOAD:
      return pinfo->u32MemoryLoad;
    case OS_CFGINFO_CPU_CACHESIZE:
      return processor.u32CacheSize;
    case OS_CFGINFO_CPU_FAMILY:
    case OS_CFGINFO_CPU_LEVEL:
      return processor.u32Family;
    case OS_CFGINFO_CPU_FLAG_3DNOW:
    case OS_CFGINFO_CPU_FLAG_FPU:
    case OS_CFGINFO_CPU_FLAG_HYPERTHREADING:
    case OS_CFGINFO_CPU_FLAG_MMX:
    case OS_CFGINFO_CPU_FLAG_POPCNT:
    case OS_CFGINFO_CPU_FLAG_SSE:
    case OS_CFGINFO_CPU_FLAG_SSE2:
    case OS_CFGINFO_CPU_FLAG_SSE3:
    case OS_CFGINFO_CPU_FLAG_SSE41:
    case OS_CFGINFO_CPU_FLAG_SSE42:
    case OS_CFGINFO_CPU_FLAG_SSE4A:
      return InfoGetBool(a_eoscfginfo) ? 1 : 0;
    case OS_CFGINFO_CPU_MACHINEBITS:
      return processor.u32MachineBits;
    case OS_CFGINFO_CPU_MHZ:
      return processor.u32Mhz;
    case OS_CFGINFO_CPU_MODEL:
      return processor.u32Model;
    case OS_CFGINFO_CPU_PROCESSBITS:
      return processor.u32ProcessBits;
    case OS_CFGINFO_CPU_STEPPING:
      return processor.u32Stepping;
    case OS_CFGINFO_CPU_TOTAL:
      return pinfo->u32Processors ? pinfo->u32Processors : 1;
    case OS_CFGINFO_CPU_ARCHITECTURE:
      return sizeof(void *) == 8 ? 9 : 0;
    case OS_CFGINFO_CPU_PAGESIZE:
      return pinfo->u32PageSize;
    case OS_CFGINFO_CPU_ACTIVEPROCESSORMASK:
      return ActiveProcessorMask();
    case OS_CFGINFO_CPU_TYPE:
      return sizeof(void *) == 8 ? 8664 : 586;
    case OS_CFGINFO_CPU_REVISION:
      return static_cast<long>((processor.u32Model << 8) | processor.u32Stepping);
    case OS_CFGINFO_OS_PLATFORM:
      return pinfo->u32Platform;
    case OS_CFGINFO_OS_DISTRIBUTION:
      return pinfo->u32Distribution;
    default:
      return 0;
  }
}

int COsCfg::NumberOfProcessors()
{
  return static_cast<int>(InfoGetLong(OS_CFGINFO_CPU_TOTAL));
}

mode_t OsCfgFileCreationMode(const char *a_szPath, bool *a_pblRootPath)
{
  const char *szRootPath = g_poscfg ? g_poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_ROOTPATH) : nullptr;
  const bool blRootPath = a_szPath && szRootPath && szRootPath[0] && strstr(a_szPath, szRootPath);
  if (a_pblRootPath)
  {
    *a_pblRootPath = blRootPath;
  }
  if (!blRootPath)
  {
    return 0666 & ~OsFileCreationMask();
  }
  const char *szMask = g_poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_FORCEFILECREATIONMASK);
  return static_cast<mode_t>(strtol((szMask && szMask[0]) ? szMask : "511", nullptr, 0)) & 07777;
}
