// os_coscfgload.cpp: filling the configuration table at start: the
// directories, the built-in defaults, the configuration file (the "ini"
// syntax of this system), the log set-up, the brand texts, the paths of the
// per-installation files and the identity of the running program.
#include <strings.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "os_cosfile.h"
#include "os_cosfilesafe.h"
#include "os_coslog.h"
#include "os_cosstring.h"

namespace
{

// The bridge version taken from MERIDIAN_VERSION.
char s_szMeridianVersion[32];

// The maker's brand texts.
const char s_szBrandCompanyName[] = "QRB Imaging";
const char s_szBrandCompanyNameShort[] = "qrb";
const char s_szBrandCopyright[] = "Copyright (C) 2026 QRB Imaging. All rights reserved.";
const char s_szBrandProductFamily[] = "QRB Scanner Driver";
const char s_szBrandProductName[] = "QRB Hot-Plug Helper";

// The most a configuration file may hold; the rest is ignored.
const size_t s_sizetFileMax = 65536;

// JPEG quantization tables: 64 coefficients as two hexadecimal digits each,
// row by row; the standard luminance and chrominance tables scaled to the
// quality.
const char s_szJpegY40[] =
    "140E0D141E32404C0F0F121821494B451210141E3247564612151C24406D644E171C2E46558881601E2C455065828D733D50626D"
    "8197967E5A73777B8C7D817C";
const char s_szJpegCbCr40[] =
    "15171E3B7C7C7C7C171A21537C7C7C7C1E21467C7C7C7C7C3B537C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C7C"
    "7C7C7C7C7C7C7C7C7C7C7C7C";
const char s_szJpegY50[] =
    "100B0A101828333D0C0C0E131A3A3C370E0D1018283945380E11161D3357503E12162538446D674D182337405168715C31404E57"
    "67797865485C5F6270646763";
const char s_szJpegCbCr50[] =
    "1112182F6363636312151A4263636363181A3863636363632F426363636363636363636363636363636363636363636363636363"
    "636363636363636363636363";
const char s_szJpegY80[] =
    "060404060A101418050506080A1718160605060A10171C160607090C1423201907090F161B2C291F0A0E161A202A2D25141A1F23"
    "293030281D2526272D282928";
const char s_szJpegCbCr80[] =
    "07070A132828282807080A1A282828280A0A162828282828131A2828282828282828282828282828282828282828282828282828"
    "282828282828282828282828";
const char s_szJpegY90[] =
    "0302020305080A0C02020304050C0C0B03030305080B0E0B030304060A11100C0404070B0E16150F05070B0D101517120A0D1011"
    "151818140E12131416141514";
const char s_szJpegCbCr90[] =
    "03040509141414140404050D1414141405050B1414141414090D1414141414141414141414141414141414141414141414141414"
    "141414141414141414141414";
const char s_szJpeg100[] =
    "01010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101010101"
    "010101010101010101010101";

struct OsCfgDefault
{
  uint32_t u32Tag;
  const char *szValue;
};

// Section 1 defaults.
const OsCfgDefault s_aoscfgdefaultMain[] = {
    {OS_CFGTAG_DEBUGREQUEST, "0"},
    {OS_CFGTAG_MERIDIANVERSION, "00000000"},
    {OS_CFGTAG_OKAPI_LOGDEBUG, "0"},
    {OS_CFGTAG_OKAPI_LOGFLUSH, "0"},
    {OS_CFGTAG_LOGBACKUP, "3"},
    {OS_CFGTAG_EVENTSSAVED, "500"},
    {OS_CFGTAG_EVENTSRELATIVETIME, "-1"},
    {OS_CFGTAG_FIXTWBOOL, "0"},
    {OS_CFGTAG_FORCEGUIMODAL, "-1"},
    {OS_CFGTAG_FORCEGUISOCKETS, "0"},
    {OS_CFGTAG_FORCEIMAGECACHEMEMORY, "177592500"},
    {OS_CFGTAG_FORCEIMAGECACHESIZE, "0"},
    {OS_CFGTAG_MAGIC, "0"},
    {OS_CFGTAG_OLDPOLARITY, "1"},
    {OS_CFGTAG_ORIENTATION, "1"},
    {OS_CFGTAG_UNDEFINEDIMAGESIZE, "1"},
    {OS_CFGTAG_FORCEACCESS, "0"},
    {OS_CFGTAG_FORCEALLOWCRASH, "0"},
    {OS_CFGTAG_FORCEALLOWREARONLY, "1"},
    {OS_CFGTAG_FORCEAUTOSCANTRUE, "0"},
    {OS_CFGTAG_FORCEBITMAPWIDTH, "0"},
    {OS_CFGTAG_FORCECOMPRESSION, "0"},
    {OS_CFGTAG_FORCECREATEBITMAP, "0"},
    {OS_CFGTAG_FORCEDELAYADFFORFLATBED, "0"},
    {OS_CFGTAG_FORCEDESKTOP, "WinSta0\\Default"},
    {OS_CFGTAG_FORCEDEVICEFILENAME, "0"},
    {OS_CFGTAG_FORCEDEVICESELECT, "0"},
    {OS_CFGTAG_FORCEDISCONNECTPASS, "0"},
    {OS_CFGTAG_FORCEDISPLAYWARMUPPROGRESS, "1"},
    {OS_CFGTAG_FORCEFEEDERLOADED, "1"},
    {OS_CFGTAG_FORCEFILECHUNKSIZE, "16777216"},
    {OS_CFGTAG_FORCEFILECREATIONMASK, "511"},
    {OS_CFGTAG_FORCEFILEFLAGSESSIONAWARE, "1"},
    {OS_CFGTAG_FORCEOKAPICALL, "0"},
    {OS_CFGTAG_FORCEOKAPIOFF, "0"},
    {OS_CFGTAG_FORCEHTTPEVENTTIMEOUTGETEVENT, "35000"},
    {OS_CFGTAG_FORCEHTTPEVENTTIMEOUTPOSTCOOLDOWN, "30000"},
    {OS_CFGTAG_FORCEHTTPEVENTTIMEOUTSETTLING, "2000"},
    {OS_CFGTAG_FORCEHTTPEVENTTIMEOUTWAITING, "5000"},
    {OS_CFGTAG_FORCELANGUAGE, "-1"},
    {OS_CFGTAG_FORCEMOTOREXEMAXMEMORY, "1800000000"},
    {OS_CFGTAG_FORCEMAXCHUNKUSB, "0"},
    {OS_CFGTAG_FORCEMAXCHUNKSOCKET, "0"},
    {OS_CFGTAG_FORCEMAXCHUNK1394, "0"},
    {OS_CFGTAG_FORCEMAXMSG, "10"},
    {OS_CFGTAG_FORCEMEMORYALLOCATEHEIGHT, "0"},
    {OS_CFGTAG_FORCEMEMORYMAP, "0"},
    {OS_CFGTAG_FORCEMEMSETACCESS, "0"},
    {OS_CFGTAG_FORCEMODELNUMBER, "0"},
    {OS_CFGTAG_FORCEMONITORMASK, "7"},
    {OS_CFGTAG_FORCENETRETRY, "2"},
    {OS_CFGTAG_FORCENETTIMEOUTCOMMAND, "5000"},
    {OS_CFGTAG_FORCENETTIMEOUTIMAGEFIRSTCCD, "70000"},
    {OS_CFGTAG_FORCENETTIMEOUTIMAGEFIRSTCIS, "40000"},
    {OS_CFGTAG_FORCENETTIMEOUTIMAGENEXT, "10000"},
    {OS_CFGTAG_FORCENETDNSQUERY, "0"},
    {OS_CFGTAG_FORCENETSTATICIPPROBE, "30000"},
    {OS_CFGTAG_FORCENETSTATICIPRETRIES, "3"},
    {OS_CFGTAG_FORCENETSTATICIPRETRYTIMEOUT, "1000"},
    {OS_CFGTAG_FORCEOASISSTREAM, "1"},
    {OS_CFGTAG_FORCEONLINEIGNOREWIRE, "0"},
    {OS_CFGTAG_FORCEOPENUSBSETCONFIGURATION, "1"},
    {OS_CFGTAG_FORCEOPENUSBCLAIMINTERFACEDELAY, "0"},
    {OS_CFGTAG_FORCEOPENUSBSETALTSETTING, "1"},
    {OS_CFGTAG_FORCEOPENUSB16K, "1"},
    {OS_CFGTAG_FORCEOPENUSBJUSTONEFETCHANDPARSE, "0"},
    {OS_CFGTAG_FORCEPAUSETIMEOUT, "5000"},
    {OS_CFGTAG_FORCEPINGFORMATWINDOWS, "ping.exe -n 1 -w 10000 %s"},
    {OS_CFGTAG_FORCEPORTGUI, "0"},
    {OS_CFGTAG_FORCEPORTTWAIN, "0"},
    {OS_CFGTAG_FORCERAWTIFFFILES, "0"},
    {OS_CFGTAG_FORCERECONENCTIONSTART, "1"},
    {OS_CFGTAG_FORCEREGISTRYNOTIFICATIONRETRY, "10"},
    {OS_CFGTAG_FORCEREMEMBERPAGECOUNT, "0"},
    {OS_CFGTAG_FORCEREPEATPLATEN, "0"},
    {OS_CFGTAG_FORCESETUP001, "1"},
    {OS_CFGTAG_FORCESHOWUI, "1"},
    {OS_CFGTAG_FORCESIMULATEPATTERN, "1"},
    {OS_CFGTAG_SKIPIAVALIDATION, "0"},
    {OS_CFGTAG_FORCESKIPUSBSTRINGS, "0"},
    {OS_CFGTAG_FORCESTARTDELAY, "0"},
    {OS_CFGTAG_FORCETHREADAFFINITY, "0"},
    {OS_CFGTAG_FORCETIFFVERSION, "7"},
    {OS_CFGTAG_FORCEUNITSBEHAVIOR, "2"},
    {OS_CFGTAG_FORCEUNITSINCHES, "1"},
    {OS_CFGTAG_FORCEUSBPIPEBULKIN, "2"},
    {OS_CFGTAG_FORCEUSBPIPEBULKOUT, "0"},
    {OS_CFGTAG_FORCEUSBPIPEINTERRUPT, "1"},
    {OS_CFGTAG_FORCEUSBFINDFIRSTCONNECTEDDELAY, "2000"},
    {OS_CFGTAG_FORCEUSBFINDFIRSTCONNECTEDRETRIES, "6"},
    {OS_CFGTAG_FORCEUSBWIRE, "0"},
    {OS_CFGTAG_FORCEUSBBULKINTIMEOUT, "0"},
    {OS_CFGTAG_FORCEUSBBULKOUTTIMEOUT, "0"},
    {OS_CFGTAG_FORCEUSBUPDATESFILTERFILE, "1"},
    {OS_CFGTAG_FORCEVERSION, "0"},
    {OS_CFGTAG_FORCEMEASUREMENT, "0"},
    {OS_CFGTAG_FORCEUSBRESET, "1"},
    {OS_CFGTAG_FORCEUSBRESET32, "0"},
    {OS_CFGTAG_FORCEPROBE, "3"},
    {OS_CFGTAG_FORCESPAWNRETRY, "3"},
    {OS_CFGTAG_FORCEOSUSBDRVCALL, "1"},
    {OS_CFGTAG_FORCENETAUTOCONNECT, "1"},
    {OS_CFGTAG_FORCENETADDMEMBERSHIPRETRIES, "10"},
    {OS_CFGTAG_FORCENETADDMEMBERSHIPDELAY, "500"},
    {OS_CFGTAG_FORCENETSURPRISEREMOVALWAIT, "0"},
    {OS_CFGTAG_FORCENETSURPRISEREMOVALRETRY, "10"},
    {OS_CFGTAG_FORCENETSURPRISEREMOVALTIMEOUT, "500"},
    {OS_CFGTAG_FORCENETSURPRISECOUNTDOWN, "3"},
    {OS_CFGTAG_FORCENETSURPRISECOUNTDOWNWAIT, "1000"},
    {OS_CFGTAG_FORCENETNEWADAPTERDELAY, "5000"},
    {OS_CFGTAG_FORCENETSCANSSIDTRIGGER, "60"},
    {OS_CFGTAG_FORCENETSCANSSIDDELAY, "0"},
    {OS_CFGTAG_FORCENETSCANSSIDRETRIES, "0"},
    {OS_CFGTAG_FORCENETSCANSSIDEXPIRATIONRETRIES, "1"},
    {OS_CFGTAG_FORCENETSCANSSIDEXPIRATIONTIMEOUT, "1"},
    {OS_CFGTAG_FORCENETINITIALIZEBUTTONMONITORINGDELAY, "10000"},
    {OS_CFGTAG_FORCENETINITIALIZEBUTTONMONITORINGRETRIES, "10"},
    {OS_CFGTAG_FORCENETCONNECTECHO, "1"},
    {OS_CFGTAG_FORCENETTIMEOUTLOCKOUTCONNECT, "10000"},
    {OS_CFGTAG_FORCENETTIMEOUTLOCKOUTCONNECTECHO, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTLOCKOUTWRITE, "0"},
    {OS_CFGTAG_FORCENETTIMEOUTLOCKINCONNECT, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTLOCKINCONNECTECHO, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTLOCKINREAD, "10000"},
    {OS_CFGTAG_FORCENETTIMEOUTBULKOUTCONNECT, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTBULKOUTCONNECTECHO, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTBULKOUTWRITE, "0"},
    {OS_CFGTAG_FORCENETTIMEOUTBULKINCONNECT, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTBULKINCONNECTECHO, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTBULKINREAD, "10000"},
    {OS_CFGTAG_FORCENETTIMEOUTMGROUTCONNECT, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTMGROUTCONNECTECHO, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTMGROUTWRITE, "0"},
    {OS_CFGTAG_FORCENETTIMEOUTMGRINCONNECT, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTMGRINCONNECTECHO, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTMGRINREAD, "120000"},
    {OS_CFGTAG_FORCENETTIMEOUTBULKOUTINTERRUPTCONNECT, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTBULKOUTINTERRUPTCONNECTECHO, "20000"},
    {OS_CFGTAG_FORCENETTIMEOUTBULKOUTINTERRUPTWRITE, "0"},
    {OS_CFGTAG_FORCENETKEEPALIVE, "1"},
    {OS_CFGTAG_FORCENETCLOSEDELAY, "3000"},
    {OS_CFGTAG_FORCENETPINGLOCKTIMEOUT, "1000"},
    {OS_CFGTAG_FORCENETADAPTERCHECKDELAY, "99999"},
    {OS_CFGTAG_FORCENETSENDTORETRIES, "50"},
    {OS_CFGTAG_FORCENETSENDTORETRYDELAY, "100"},
    {OS_CFGTAG_FORCEDEVICELOCKINTERVAL, "250"},
    {OS_CFGTAG_FORCEFIREWALL, "1"},
    {OS_CFGTAG_FORCEFIREWALLPROFILE, "0"},
    {OS_CFGTAG_FORCEWIRE, "0"},
    {OS_CFGTAG_FORCEMONITORSERVICEQUERYSTART, "1"},
    {OS_CFGTAG_FORCEMONITORSERVICEQUERYNEWNIC, "1"},
    {OS_CFGTAG_FORCEMONITORSERVICEQUERYPING, "1"},
    {OS_CFGTAG_FORCEMONITORSERVICEQUERYREPEAT, "3"},
    {OS_CFGTAG_FORCEMONITORSERVICEQUERYREPEATDELAY, "250"},
    {OS_CFGTAG_FORCEMONITORSERVICEHOPS, "1"},
    {OS_CFGTAG_FORCENEWREGISTRYPROBE, "0"},
    {OS_CFGTAG_FORCEDISABLESURPRISEREMOVALS, "0"},
    {OS_CFGTAG_FORCEXPFLAG, "0"},
    {OS_CFGTAG_FORCEUSEGLOBALALLOC, "2"},
    {OS_CFGTAG_FORCEUSEDNSSD, "2"},
    {OS_CFGTAG_APPLICATIONTAMARIND, "0"},
    {OS_CFGTAG_APPLICATIONVELLUM, "0"},
    {OS_CFGTAG_APPLICATIONQRBTST, "0"},
    {OS_CFGTAG_APPLICATIONCORVID, "0"},
    {OS_CFGTAG_APPLICATIONPINION, "0"},
    {OS_CFGTAG_APPLICATIONMARLIN, "0"},
    {OS_CFGTAG_APPLICATIONOSPREY, "0"},
    {OS_CFGTAG_APPLICATIONHEARTHSTONE, "0"},
    {OS_CFGTAG_APPLICATIONPHOTOSHOP, "0"},
    {OS_CFGTAG_APPLICATIONXSANE, "0"},
    {OS_CFGTAG_APPLICATIONLANTERN, "0"},
    {OS_CFGTAG_APPLICATIONPORTICO, "1"},
};

// Section 1 tags whose default is the empty string.
const uint32_t s_au32EmptyMain[] = {
    OS_CFGTAG_VERSION_INFO,         OS_CFGTAG_MANUFACTURER,       OS_CFGTAG_OKAPI_LOGFILTER,
    OS_CFGTAG_OKAPI_LOGPATH,        OS_CFGTAG_EVENTSFILENAME,     OS_CFGTAG_EVENTSLOGPATH,
    OS_CFGTAG_FIRMWAREDIRECTORY,    OS_CFGTAG_FIRMWAREFILENAME,   OS_CFGTAG_FORCEGUI,
    OS_CFGTAG_FORCEINQUIRYPRODUCT,  OS_CFGTAG_FORCEINQUIRYVENDOR, OS_CFGTAG_FORCEICCPROFILE,
    OS_CFGTAG_FORCEIMAGEDUMP,       OS_CFGTAG_FORCEIMAGEDUMP2,    OS_CFGTAG_FORCEMODELNAME,
    OS_CFGTAG_FORCEPLAYSOUND,       OS_CFGTAG_FORCEPRODUCTNAME,   OS_CFGTAG_FORCEPROGRAMNAME,
    OS_CFGTAG_FORCENETADAPTERINDEX, OS_CFGTAG_FORCEWIREWIFINAMES, OS_CFGTAG_FORCELIBCURL};

// Section 5 defaults.
const OsCfgDefault s_aoscfgdefaultJpeg[] = {
    {OS_CFGTAG_JPEGQUANTIZATION_Y_40, s_szJpegY40},  {OS_CFGTAG_JPEGQUANTIZATION_CBCR_40, s_szJpegCbCr40},
    {OS_CFGTAG_JPEGQUANTIZATION_Y_50, s_szJpegY50},  {OS_CFGTAG_JPEGQUANTIZATION_CBCR_50, s_szJpegCbCr50},
    {OS_CFGTAG_JPEGQUANTIZATION_Y_80, s_szJpegY80},  {OS_CFGTAG_JPEGQUANTIZATION_CBCR_80, s_szJpegCbCr80},
    {OS_CFGTAG_JPEGQUANTIZATION_Y_90, s_szJpegY90},  {OS_CFGTAG_JPEGQUANTIZATION_CBCR_90, s_szJpegCbCr90},
    {OS_CFGTAG_JPEGQUANTIZATION_Y_100, s_szJpeg100}, {OS_CFGTAG_JPEGQUANTIZATION_CBCR_100, s_szJpeg100}};

// A value read as a number, with base detection ("0x10", "010", "16").
long ReadNumber(const char *a_szValue)
{
  return strtol(a_szValue, COsCfg::GetThrowAwayPointer(), 0);
}

}  // namespace

// ---------------------------------------------------------------------------
// Directories
// ---------------------------------------------------------------------------

// The running program's file: the absolute path given to the constructor,
// else the link /proc/self/exe.
EOSSTS COsCfgImpl::ReadProgramPath(char *a_szPath, uint32_t a_u32Size)
{
  if (m_szProgramPath[0] == '/')
  {
    COsFile::PathSet(a_szPath, a_u32Size, m_szProgramPath);
    return a_szPath[0] ? EOSSTS_OK : EOSSTS_FAIL;
  }
  const ssize_t sszRead = readlink("/proc/self/exe", a_szPath, a_u32Size - 1);
  if (sszRead <= 0)
  {
    a_szPath[0] = 0;
    OSCFGLOG(EOSLOGFLAG_ERROR, "readlink failed...<%s>", "/proc/self/exe");
    return EOSSTS_FAIL;
  }
  a_szPath[sszRead] = 0;
  return EOSSTS_OK;
}

// $QRB_OVERRIDEINI (relative to the home directory unless absolute), else
// const_override.ini in the home directory when it exists, else const.ini.
void COsCfgImpl::ComputeConfigFile()
{
  char szOverride[OS_SIZE_PATH];
  if (COsCfg::GetEnv("QRB_OVERRIDEINI", nullptr, sizeof(szOverride), szOverride) != EOSSTS_OK)
  {
    szOverride[0] = 0;
  }
  char *szFile = m_szConfigFilenameConstIni;
  if (szOverride[0] == '/')
  {
    COsFile::PathSet(szFile, OS_SIZE_PATH, szOverride);
  }
  else if (szOverride[0])
  {
    COsFile::PathSet(szFile, OS_SIZE_PATH, m_szHomeDirectory);
    COsFile::PathAppend(szFile, OS_SIZE_PATH, szOverride);
  }
  else
  {
    COsFile::PathSet(szFile, OS_SIZE_PATH, m_szHomeDirectory);
    COsFile::PathAppend(szFile, OS_SIZE_PATH, "const_override.ini");
    if (!COsFile::Exists(szFile))
    {
      COsFile::PathSet(szFile, OS_SIZE_PATH, m_szHomeDirectory);
      COsFile::PathAppend(szFile, OS_SIZE_PATH, "const.ini");
    }
  }
  COsString::SStrCpy(m_szSharedConfigFilenameConstIni, OS_SIZE_PATH, szFile);
}

// The log directory may be made later by the log itself: a failure here is
// only recorded.
void COsCfgImpl::CreateLogDirectory()
{
  const EOSSTS eossts = COsFile::Create(m_szLogDirectory, nullptr);
  if (m_eosstsCreate == EOSSTS_NOTATTEMPTED)
  {
    m_eosstsCreate = eossts;
  }
  char szForce[16];
  const bool blForceEnv =
      COsCfg::GetEnv("QRB_FORCESETACCESS", nullptr, sizeof(szForce), szForce) == EOSSTS_OK &&
      strcmp(szForce, "true") == 0;
  if (blForceEnv || m_blForceSetAccess)
  {
    if (COsCfg::SetAccess(m_szLogDirectory, EOSFILEACCESS_READWRITE) != EOSSTS_OK)
    {
      OSCFGLOGDBG("SetAccess failed...<%s>", m_szLogDirectory);
    }
  }
}

// Joins a directory and a name into a path buffer.
static void JoinPath(char *a_szPath, const char *a_szDirectory, const char *a_szName)
{
  COsFile::PathSet(a_szPath, OS_SIZE_PATH, a_szDirectory);
  COsFile::PathAppend(a_szPath, OS_SIZE_PATH, a_szName);
}

// Home: the program's directory, or its parent when that is "bin"; the
// home's name is also the model's directory name.
void COsCfgImpl::SetHomeDirectory()
{
  uint32_t u32Length = 0;
  char *szName = nullptr;
  COsString::SStrCpy(m_szHomeDirectory, OS_SIZE_PATH, m_szProgramFileName);
  COsFile::PathSplit(m_szHomeDirectory, &u32Length, &szName);
  m_szHomeDirectory[u32Length] = 0;
  COsFile::PathSplit(m_szHomeDirectory, &u32Length, &szName);
  if (strcmp(szName, "bin") == 0)
  {
    m_szHomeDirectory[u32Length] = 0;
    COsFile::PathSplit(m_szHomeDirectory, &u32Length, &szName);
  }
  if (!m_szHomeDirectory[0])
  {
    COsString::SStrCpy(m_szHomeDirectory, OS_SIZE_PATH, "/");
  }
  COsString::SStrCpy(m_szHomeName, OS_SIZE_PATH, szName);
  COsString::SStrCpy(m_szModelDirectory, OS_SIZE_PATH, m_szHomeName);
  COsString::SStrCpy(m_szModelDirectoryReal, OS_SIZE_PATH, m_szHomeName);
}

// Root: $QRB_SHGETFOLDERPATH, else the home directory; the shared, common,
// user, device, multimedia and log folders sit below it.
void COsCfgImpl::SetRootDirectories()
{
  char szRoot[OS_SIZE_PATH];
  if (COsCfg::GetEnv("QRB_SHGETFOLDERPATH", nullptr, sizeof(szRoot), szRoot) != EOSSTS_OK || !szRoot[0])
  {
    COsString::SStrCpy(szRoot, sizeof(szRoot), m_szHomeDirectory);
  }
  COsFile::PathSet(m_szRootDirectory, OS_SIZE_PATH, szRoot);
  COsString::SStrCpy(m_szRootWriteableDirectory, OS_SIZE_PATH, m_szRootDirectory);
  COsString::SStrCpy(m_szSharedRootWriteableDirectory, OS_SIZE_PATH, m_szRootDirectory);
  COsString::SStrCpy(m_szRootCommonDirectory, OS_SIZE_PATH, m_szRootDirectory);
  COsString::SStrCpy(m_szSharedRootCommonDirectory, OS_SIZE_PATH, m_szRootDirectory);
  COsString::SStrCpy(m_szLocalLowDirectory, OS_SIZE_PATH, m_szRootDirectory);

  JoinPath(m_szCommonDirectory, m_szRootDirectory, "common");
  COsString::SStrCpy(m_szSharedCommonDirectory, OS_SIZE_PATH, m_szCommonDirectory);
  JoinPath(m_szUserDirectory, m_szRootDirectory, "user");
  COsString::SStrCpy(m_szUserRootDirectory, OS_SIZE_PATH, m_szUserDirectory);
  COsString::SStrCpy(m_szSharedUserRootDirectory, OS_SIZE_PATH, m_szUserDirectory);
  COsString::SStrCpy(m_szSharedUserDirectory, OS_SIZE_PATH, m_szUserDirectory);
  JoinPath(m_szSharedDeviceDirectory, m_szRootDirectory, "device");
  JoinPath(m_szMultimediaDirectory, m_szRootDirectory, "multimedia");
  JoinPath(m_szLogDirectory, m_szRootDirectory, "log");
  JoinPath(m_szOkapiDirectory, m_szLogDirectory, "okapi");
}

// The system's folders: the library folder, $TMPDIR (else /tmp) and the
// user's desktop below $HOME (empty without HOME).
void COsCfgImpl::SetSystemDirectories()
{
  COsString::SStrCpy(m_szDriverName, OS_SIZE_PATH, m_szUniqueName);
  COsString::SStrCpy(m_szSystemDirectory, OS_SIZE_PATH, "/usr/lib");
  if (COsCfg::GetEnv("TMPDIR", "/tmp", OS_SIZE_PATH, m_szTmpDirectory) != EOSSTS_OK || !m_szTmpDirectory[0])
  {
    COsString::SStrCpy(m_szTmpDirectory, OS_SIZE_PATH, "/tmp");
  }
  char szHome[OS_SIZE_PATH];
  m_szDesktopDirectory[0] = 0;
  if (COsCfg::GetEnv("HOME", nullptr, sizeof(szHome), szHome) == EOSSTS_OK && szHome[0])
  {
    JoinPath(m_szDesktopDirectory, szHome, "Desktop");
  }
  COsString::SStrCpy(m_szSharedDesktopDirectory, OS_SIZE_PATH, m_szDesktopDirectory);
}

// The configuration file, the log file "<unique name>.log" in the log folder
// (made when missing), and the table entries that point at them.
void COsCfgImpl::SetLogFile()
{
  ComputeConfigFile();
  char szLogName[OS_SIZE_PATH];
  COsString::SStrPrintf(szLogName, sizeof(szLogName), "%s.log", m_szUniqueName);
  JoinPath(m_szLogFilename, m_szLogDirectory, szLogName);
  CreateLogDirectory();
  RestoreDirectoryTags();
  m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_DRIVERDIRECTORY] = m_szDriverDirectory;
  m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_CONST_INI] = m_szConfigFilenameConstIni;
  m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_CONST_INI_SHARED] = m_szSharedConfigFilenameConstIni;
  m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_QRB_LOG] = m_szLogFilename;
}

EOSSTS COsCfgImpl::SetDirectories(char *a_szLogDirectory, uint32_t a_u32LogDirectorySize, char *a_szName,
                                  uint32_t a_u32NameSize, char *a_szCompany, uint32_t a_u32CompanySize,
                                  char *a_szRootPath, uint32_t a_u32RootPathSize)
{
  if (ReadProgramPath(m_szProgramFileName, OS_SIZE_PATH) != EOSSTS_OK)
  {
    return EOSSTS_FAIL;
  }
  SetHomeDirectory();
  SetRootDirectories();
  SetSystemDirectories();
  SetLogFile();
  if (a_szLogDirectory && a_u32LogDirectorySize)
  {
    CopyCut(a_szLogDirectory, a_u32LogDirectorySize, m_szLogDirectory);
  }
  if (a_szName && a_u32NameSize)
  {
    CopyCut(a_szName, a_u32NameSize, m_szHomeName);
  }
  if (a_szCompany && a_u32CompanySize)
  {
    CopyCut(a_szCompany, a_u32CompanySize, s_szBrandCompanyNameShort);
  }
  if (a_szRootPath && a_u32RootPathSize)
  {
    CopyCut(a_szRootPath, a_u32RootPathSize, m_szRootDirectory);
  }
  return EOSSTS_OK;
}

// Points the directory tags at their buffers, in this order.
void COsCfgImpl::RestoreDirectoryTags()
{
  const char **pszMain = m_aszTable[OS_CFGSECTION_MAIN];
  pszMain[OS_CFGTAG_LOGDIRECTORY] = m_szLogDirectory;
  pszMain[OS_CFGTAG_HOMEDIRECTORY] = m_szHomeDirectory;
  pszMain[OS_CFGTAG_HOMENAME] = m_szHomeName;
  pszMain[OS_CFGTAG_ROOTCOMMONDIRECTORY] = m_szRootCommonDirectory;
  pszMain[OS_CFGTAG_ROOTCOMMONDIRECTORYSHARED] = m_szSharedRootCommonDirectory;
  pszMain[OS_CFGTAG_COMMONDIRECTORY] = m_szCommonDirectory;
  pszMain[OS_CFGTAG_USERDIRECTORY] = m_szUserDirectory;
  pszMain[OS_CFGTAG_DEVICEDIRECTORYSHARED] = m_szSharedDeviceDirectory;
  pszMain[OS_CFGTAG_ROOTPATH] = m_szRootDirectory;
  pszMain[OS_CFGTAG_ROOTPATHSHARED] = m_szSharedRootWriteableDirectory;
  pszMain[OS_CFGTAG_USERROOTDIRECTORY] = m_szUserRootDirectory;
  pszMain[OS_CFGTAG_USERROOTDIRECTORYSHARED] = m_szSharedUserRootDirectory;
  pszMain[OS_CFGTAG_MODELDIRECTORY] = m_szModelDirectory;
  pszMain[OS_CFGTAG_MODELDIRECTORYREAL] = m_szModelDirectoryReal;
  pszMain[OS_CFGTAG_MULTIMEDIADIRECTORY] = m_szMultimediaDirectory;
  pszMain[OS_CFGTAG_DRIVERNAME] = m_szDriverName;
  pszMain[OS_CFGTAG_DRIVERPATH] = m_szProgramFileName;
  pszMain[OS_CFGTAG_SYSTEMDIRECTORY] = m_szSystemDirectory;
  pszMain[OS_CFGTAG_TMPDIRECTORY] = m_szTmpDirectory;
  pszMain[OS_CFGTAG_DESKTOPDIRECTORY] = m_szDesktopDirectory;
  pszMain[OS_CFGTAG_SHAREDDESKTOPDIRECTORY] = m_szSharedDesktopDirectory;
  pszMain[OS_CFGTAG_LOCALLOWDIRECTORY] = m_szLocalLowDirectory;
}

// ---------------------------------------------------------------------------
// Defaults
// ---------------------------------------------------------------------------

void COsCfgImpl::GatherBrand()
{
  COsString::SStrCpy(m_szCompanyName, sizeof(m_szCompanyName), s_szBrandCompanyName);
  COsString::SStrCpy(m_szCompanyNameShort, sizeof(m_szCompanyNameShort), s_szBrandCompanyNameShort);
  COsString::SStrCpy(m_szCopyright, sizeof(m_szCopyright), s_szBrandCopyright);
  COsString::SStrCpy(m_szProductFamily, sizeof(m_szProductFamily), s_szBrandProductFamily);
  COsString::SStrCpy(m_szProductName, sizeof(m_szProductName), s_szBrandProductName);
  m_szServiceName[0] = 0;
  m_oscfgbrand.szCompanyName = m_szCompanyName;
  m_oscfgbrand.szCompanyNameShort = m_szCompanyNameShort;
  m_oscfgbrand.szCopyright = m_szCopyright;
  m_oscfgbrand.szProductFamily = m_szProductFamily;
  m_oscfgbrand.szProductName = m_szProductName;
  m_oscfgbrand.szUrlCompany = "";
  m_oscfgbrand.szUrlSupport = "";
  m_oscfgbrand.szIdentity = "";
  m_oscfgbrand.szServiceName = m_szServiceName;
}

void COsCfgImpl::SetDefaults()
{
  const char **pszMain = m_aszTable[OS_CFGSECTION_MAIN];
  for (const OsCfgDefault &oscfgdefault : s_aoscfgdefaultMain)
  {
    pszMain[oscfgdefault.u32Tag] = oscfgdefault.szValue;
  }
  for (uint32_t u32Tag : s_au32EmptyMain)
  {
    pszMain[u32Tag] = "";
  }
  pszMain[OS_CFGTAG_DEBUG] = m_szLogDebug;
  pszMain[OS_CFGTAG_DEBUGFILTER] = m_szLogFilter;
  pszMain[OS_CFGTAG_DEBUGDISPLAYLENGTH] = m_szDebugDisplayLength;
  pszMain[OS_CFGTAG_VERSION_MAJORNUM] = m_oscfgversion.szMajor;
  pszMain[OS_CFGTAG_VERSION_MINORNUM] = m_oscfgversion.szMinor;
  pszMain[OS_CFGTAG_VERSION_PATCHNUM] = m_oscfgversion.szPatch;
  pszMain[OS_CFGTAG_VERSION_BUILDNUM] = m_oscfgversion.szBuild;
  pszMain[OS_CFGTAG_VERSION_DAY] = m_oscfgversion.szDay;
  pszMain[OS_CFGTAG_VERSION_MONTH] = m_oscfgversion.szMonth;
  pszMain[OS_CFGTAG_VERSION_YEAR] = m_oscfgversion.szYear;
  pszMain[OS_CFGTAG_UITIMEOUT] = m_szUiTimeout;
  pszMain[OS_CFGTAG_FORCESOCKETMONITORTIMEOUT] = m_szForceSocketMonitorTimeout;
  pszMain[OS_CFGTAG_FORCEUSBMONITORTIMEOUT] = m_szForceUsbMonitorTimeout;

  const char **pszSimulation = m_aszTable[OS_CFGSECTION_SIMULATION];
  pszSimulation[OS_CFGTAG_SIMFLATBED] = "0";
  pszSimulation[OS_CFGTAG_SIMMODEL] = "0";
  pszSimulation[OS_CFGTAG_SIMULATION] = "false";

  const char **pszBrand = m_aszTable[OS_CFGSECTION_BRAND];
  pszBrand[OS_CFGTAG_COMPANYNAME] = s_szBrandCompanyName;
  pszBrand[OS_CFGTAG_COMPANYNAMESHORT] = s_szBrandCompanyNameShort;
  pszBrand[OS_CFGTAG_COPYRIGHT] = s_szBrandCopyright;
  pszBrand[OS_CFGTAG_PRODUCTFAMILY] = s_szBrandProductFamily;
  pszBrand[OS_CFGTAG_PRODUCTNAME] = s_szBrandProductName;

  for (const OsCfgDefault &oscfgdefault : s_aoscfgdefaultJpeg)
  {
    m_aszTable[OS_CFGSECTION_QRB_ALL][oscfgdefault.u32Tag] = oscfgdefault.szValue;
  }
}

// Each non-empty brand field replaces its section 2 value.
void COsCfgImpl::ApplyBrand()
{
  struct
  {
    const char *szValue;
    uint32_t u32Tag;
  } abrand[] = {{m_oscfgbrand.szCompanyName, OS_CFGTAG_COMPANYNAME},
                {m_oscfgbrand.szCompanyNameShort, OS_CFGTAG_COMPANYNAMESHORT},
                {m_oscfgbrand.szCopyright, OS_CFGTAG_COPYRIGHT},
                {m_oscfgbrand.szProductFamily, OS_CFGTAG_PRODUCTFAMILY},
                {m_oscfgbrand.szProductName, OS_CFGTAG_PRODUCTNAME},
                {m_oscfgbrand.szUrlCompany, OS_CFGTAG_URLCOMPANY},
                {m_oscfgbrand.szUrlSupport, OS_CFGTAG_URLSUPPORT},
                {m_oscfgbrand.szUrlSupport, OS_CFGTAG_URLSUPPORTMODEL},
                {m_oscfgbrand.szIdentity, OS_CFGTAG_MACMFGIDENTITY},
                {m_oscfgbrand.szServiceName, OS_CFGTAG_SERVICENAME}};
  for (const auto &brand : abrand)
  {
    if (brand.szValue && brand.szValue[0])
    {
      m_aszTable[OS_CFGSECTION_BRAND][brand.u32Tag] = brand.szValue;
    }
  }
  if (m_oscfgbrand.szCompanyName && m_oscfgbrand.szCompanyName[0])
  {
    m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_MANUFACTURER] = m_oscfgbrand.szCompanyName;
  }
}

// ---------------------------------------------------------------------------
// The configuration file
// ---------------------------------------------------------------------------

// A key of the file is stored at (section, its tag); in a section that is
// also a dynamic section it is stored in the dynamic area as well.
void COsCfgImpl::StoreSetting(uint32_t a_u32Section, uint32_t a_u32DynamicSection, const char *a_szKey,
                              const char *a_szValue)
{
  if (a_u32Section)
  {
    const uint32_t u32Tag = TagFromName(a_szKey);
    if (u32Tag)
    {
      m_aszTable[a_u32Section][u32Tag] = a_szValue;
    }
  }
  if (a_u32DynamicSection)
  {
    const uint32_t u32Tag = DynamicId(m_poscfglookupTag, a_szKey);
    if (u32Tag)
    {
      (void)Set(a_u32DynamicSection, u32Tag, a_szValue);
    }
  }
}

// Lines end at CR or LF; ';' at the start makes a comment; "[name]" opens a
// section; "key=value" is a setting, the key taken exactly as written and
// the value without its leading blanks and tabs.
void COsCfgImpl::ParseText(char *a_szText)
{
  uint32_t u32Section = 0;
  uint32_t u32DynamicSection = 0;
  char *szLine = a_szText;
  while (szLine && *szLine)
  {
    char *szEnd = szLine + strcspn(szLine, "\r\n");
    char *szNext = *szEnd ? szEnd + 1 : nullptr;
    *szEnd = 0;
    if (szLine[0] == '[')
    {
      char *szName = szLine + 1;
      szName[strcspn(szName, "]")] = 0;
      u32Section = SectionFromName(szName);
      u32DynamicSection = DynamicId(m_poscfglookupSection, szName);
    }
    else if (szLine[0] && szLine[0] != ';' && (u32Section || u32DynamicSection))
    {
      char *szEquals = strchr(szLine, '=');
      if (szEquals)
      {
        *szEquals = 0;
        char *szValue = szEquals + 1;
        szValue += strspn(szValue, " \t");
        StoreSetting(u32Section, u32DynamicSection, szLine, szValue);
      }
    }
    szLine = szNext;
  }
}

EOSSTS COsCfgImpl::LoadFile(const char *a_szFilename)
{
  if (!a_szFilename || !a_szFilename[0])
  {
    return EOSSTS_FILENOTFOUND;
  }
  // Anything but a regular file (a FIFO would block the start) is missing.
  FILE *pfile = OsFileFopenRead(a_szFilename);
  if (!pfile)
  {
    return EOSSTS_FILENOTFOUND;
  }
  const size_t sizetRead = fread(m_szFileData, 1, s_sizetFileMax, pfile);
  fclose(pfile);
  if (sizetRead == 0)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "fread failed...<%s>", a_szFilename);
    return EOSSTS_FAIL;
  }
  m_szFileData[sizetRead] = 0;
  ParseText(m_szFileData);
  return EOSSTS_OK;
}

// ---------------------------------------------------------------------------
// Derived paths and the program
// ---------------------------------------------------------------------------

// A per-installation file: the value the table holds, normalised, else the
// name in the common directory (utility) or the user directory (others).
void COsCfgImpl::EntityFile(uint32_t a_u32Tag, char *a_szBuffer, const char *a_szName)
{
  const char *szValue = Get(OS_CFGSECTION_MAIN, a_u32Tag);
  if (szValue[0])
  {
    COsFile::PathSet(a_szBuffer, OS_SIZE_PATH, szValue);
  }
  else
  {
    const char *szDirectory = m_szUserDirectory;
    if (m_eoscfgentity == EOSCFGENTITY_UTILITY)
    {
      szDirectory = m_szCommonDirectory;
    }
    else if (m_eoscfgentity == EOSCFGENTITY_UNKNOWN || m_eoscfgentity > EOSCFGENTITY_DLL)
    {
      OSCFGLOG(EOSLOGFLAG_ASSERT, "Unrecognized entity...%d", static_cast<int>(m_eoscfgentity));
    }
    JoinPath(a_szBuffer, szDirectory, a_szName);
  }
  m_aszTable[OS_CFGSECTION_MAIN][a_u32Tag] = a_szBuffer;
}

void COsCfgImpl::SetPerInstallationFiles()
{
  EntityFile(OS_CFGTAG_SETUP001_INI, m_szSetup001, "setup001.ini");
  EntityFile(OS_CFGTAG_RAMSCAN_TXT, m_szRamScan, "ramscan.txt");
  if (!COsFile::Exists(m_szRamScan))
  {
    JoinPath(m_szRamScan, m_szHomeDirectory, "ramscan.txt");
  }
}

void COsCfgImpl::IdentifyProgram()
{
  char szLink[OS_SIZE_NAME];
  COsString::SStrPrintf(szLink, sizeof(szLink), "/proc/%llu/exe", static_cast<unsigned long long>(getpid()));
  const ssize_t sszRead = readlink(szLink, m_szProcExe, sizeof(m_szProcExe) - 1);
  m_szProcExe[sszRead > 0 ? sszRead : 0] = 0;
  COsFile::PathSet(m_szApplication, OS_SIZE_PATH, m_szProgramPath[0] ? m_szProgramPath : m_szProcExe);

  // Program-name flags from a lower-case copy of the file name.
  char *szName = nullptr;
  COsString::SStrCpy(m_szTmp, sizeof(m_szTmp), m_szApplication);
  for (char *sz = m_szTmp; *sz; sz++)
  {
    *sz = static_cast<char>(tolower(static_cast<unsigned char>(*sz)));
  }
  COsFile::PathSplit(m_szTmp, nullptr, &szName);
  if (strstr(szName, "drivermotorexe"))
  {
    m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_APPLICATIONDRIVERMOTOREXE] = "1";
  }
  else if (strstr(szName, "motorexe"))
  {
    m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_APPLICATIONMOTOREXE] = "1";
  }

  const char *szForce = Get(OS_CFGSECTION_MAIN, OS_CFGTAG_FORCEPROGRAMNAME);
  if (szForce[0])
  {
    OSCFGLOGDBG("Real program is...<%s>", m_szApplication);
    COsFile::PathSet(m_szApplication, OS_SIZE_PATH, szForce);
  }
  OSCFGLOGDBG("Program is...<%s>", m_szApplication);
  m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_APPLICATION] = m_szApplication;

  // Application flags: the first match only.
  COsFile::PathSplit(m_szApplication, nullptr, &szName);
  uint32_t u32Flag = 0;
  if (strcmp(szName, "osprey") == 0)
  {
    u32Flag = OS_CFGTAG_APPLICATIONOSPREY;
  }
  else if (strcmp(szName, "xsane") == 0)
  {
    u32Flag = OS_CFGTAG_APPLICATIONXSANE;
  }
  else if (strcasecmp(szName, "lantern") == 0)
  {
    u32Flag = OS_CFGTAG_APPLICATIONLANTERN;
  }
  else if (strstr(m_szApplication, "Portico.app"))
  {
    u32Flag = OS_CFGTAG_APPLICATIONPORTICO;
  }
  if (u32Flag)
  {
    m_aszTable[OS_CFGSECTION_MAIN][u32Flag] = "1";
  }
}

// The log takes its file, level and filter from the loaded values.
void COsCfgImpl::ConfigureLog()
{
  if (!g_poslog)
  {
    return;
  }
  const int iLevel = static_cast<int>(ReadNumber(Get(OS_CFGSECTION_MAIN, OS_CFGTAG_DEBUG)));
  g_poslog->Setup(m_szLogFilename, iLevel | g_poslog->GetDebugLevel(),
                  Get(OS_CFGSECTION_MAIN, OS_CFGTAG_DEBUGFILTER), nullptr);
}

// ---------------------------------------------------------------------------
// Load
// ---------------------------------------------------------------------------

void COsCfgImpl::Load()
{
  LoadSystemInfo();
  GatherBrand();
  if (SetDirectories(nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0) != EOSSTS_OK)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "SetDirectories failed...");
    memset(static_cast<void *>(m_aszTable), 0, sizeof(m_aszTable));
    return;
  }
  OSCFGLOGDBG("Setting configuration defaults...");
  memset(static_cast<void *>(m_aszTable), 0, sizeof(m_aszTable));
  m_szFileData[0] = '\0';  // a file read later is terminated after its last byte
  SetDefaults();

  const long lMajor = ReadNumber(Get(OS_CFGSECTION_MAIN, OS_CFGTAG_VERSION_MAJORNUM));
  const long lMinor = ReadNumber(Get(OS_CFGSECTION_MAIN, OS_CFGTAG_VERSION_MINORNUM));
  const EOSSTS eossts = LoadFile(m_szSharedConfigFilenameConstIni);
  if (eossts != EOSSTS_OK && eossts != EOSSTS_FILENOTFOUND)
  {
    OSCFGLOG(EOSLOGFLAG_ASSERT, "LoadFile failed...");
  }
  OSCFGLOGDBG("Done setting configuration defaults...");
  if (ReadNumber(Get(OS_CFGSECTION_MAIN, OS_CFGTAG_VERSION_MAJORNUM)) != lMajor ||
      ReadNumber(Get(OS_CFGSECTION_MAIN, OS_CFGTAG_VERSION_MINORNUM)) != lMinor)
  {
    m_u8VersionChanged = 1;
  }

  // The file may name the desktop; every other directory is computed.
  const char *szDesktop = Get(OS_CFGSECTION_MAIN, OS_CFGTAG_DESKTOPDIRECTORY);
  if (szDesktop[0] && szDesktop != m_szDesktopDirectory)
  {
    CopyCut(m_szDesktopDirectory, sizeof(m_szDesktopDirectory), szDesktop);
    CopyCut(m_szSharedDesktopDirectory, sizeof(m_szSharedDesktopDirectory), szDesktop);
  }
  RestoreDirectoryTags();
  ConfigureLog();
  ApplyBrand();
  m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_QRB_LOG] = m_szLogFilename;
  if (m_eoscfgentity == EOSCFGENTITY_DRIVER && !Get(OS_CFGSECTION_MAIN, OS_CFGTAG_OKAPI_LOGPATH)[0])
  {
    m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_OKAPI_LOGPATH] = m_szOkapiDirectory;
  }
  SetPerInstallationFiles();
  m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_OSNAME] = GetSystemInfo()->szOsName;
  m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_CONST_INI] = m_szConfigFilenameConstIni;
  m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_CONST_INI_SHARED] = m_szSharedConfigFilenameConstIni;
  if (ReadNumber(Get(OS_CFGSECTION_MAIN, OS_CFGTAG_MERIDIANVERSION)) == 0)
  {
    (void)COsCfg::GetEnv("MERIDIAN_VERSION", nullptr, sizeof(s_szMeridianVersion), s_szMeridianVersion);
    m_aszTable[OS_CFGSECTION_MAIN][OS_CFGTAG_MERIDIANVERSION] = s_szMeridianVersion;
  }
  IdentifyProgram();
}

void COsCfg::ResetSystemInfo()
{
  COsCfgImpl::ResetSystemInfo();
  memset(s_szMeridianVersion, 0, sizeof(s_szMeridianVersion));
}
