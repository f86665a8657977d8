// os_coscfg.cpp: the configuration table, its key and section names, the
// caller's dynamic area and the public forwarding of COsCfg.
//
// The fixed table is 5 sections by 362 tags of text pointers; row 0 and
// column 0 exist but are never valid addresses. The dynamic area is three
// arrays owned by the hosting program, whose addresses arrive in the
// start-up arguments.
#include "os_coscfg.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "os_coscfgimpl.h"
#include "os_coslog.h"
#include "os_cosstring.h"
#include "os_cosxml.h"

const void *g_OsCfgHinstance = nullptr;
const char g_szOsCfgApplicationMarker[] = "OSCFG_APPLICATION_PATH";

namespace
{

// What Get returns for an absent value or an address out of range.
const char s_szEmpty[] = "";

// The end pointer that numeric readers of the table throw away.
char *szTcstolDiscard = nullptr;

// Section names, as a configuration file writes them between brackets.
const OsCfgLookup s_oscfgsectionlookup[] = {
    {"dsIdentity", OS_CFGSECTION_MAIN},       {"Brand", OS_CFGSECTION_BRAND},
    {"Simulation", OS_CFGSECTION_SIMULATION}, {"SupportedSizes", OS_CFGSECTION_SUPPORTEDSIZES},
    {"QRB_ALL.DS", OS_CFGSECTION_QRB_ALL},    {nullptr, 0}};

// Key names in their groups. The first entry whose name matches wins, so
// the second DesktopDirectory (tag 7) can be reached only from code.
const OsCfgLookup s_oscfgtaglookup[] = {
    // Directories and names computed at start
    {"HomeDirectory", 1},
    {"HomeName", 2},
    {"RootCommonDirectory", 3},
    {"RootCommonDirectoryShared", 4},
    {"CommonDirectory", 5},
    {"DesktopDirectory", 6},
    {"DesktopDirectory", 7},
    {"UserDirectory", 8},
    {"DriverDirectory", 9},
    {"RootPath", 10},
    {"RootPathShared", 11},
    {"LogDirectory", 12},
    {"UserRootDirectory", 13},
    {"UserRootDirectoryShared", 14},
    {"DeviceDirectoryShared", 15},
    {"ModelDirectory", 16},
    {"ModelDirectoryReal", 17},
    {"MultimediaDirectory", 18},
    {"LocalLowDirectory", 19},
    {"DriverName", 20},
    {"DriverPath", 21},
    {"SystemDirectory", 22},
    {"TmpDirectory", 23},
    // Program family and operating system
    {"PrettyFamilyName", 24},
    {"OsName", 25},
    {"OsPlatform", 26},
    {"OsVersion", 27},
    {"OsBuild", 28},
    {"DefaultLanguage", 29},
    // Files of the loader
    {"CONST.INI", 30},
    {"CONST.INI.SHARED", 31},
    {"QRB.LOG", 32},
    {"SETUP001.INI", 33},
    {"RAMSCAN.TXT", 34},
    // Debug settings
    {"Debug", 35},
    {"DebugFilter", 36},
    {"DebugRequest", 37},
    {"DebugDisplayLength", 38},
    // Log control, events and firmware
    {"OKAPI_LOGDEBUG", 58},
    {"OKAPI_LOGFILTER", 59},
    {"OKAPI_LOGFLUSH", 60},
    {"OKAPI_LOGPATH", 61},
    {"LogBackup", 63},
    {"EventsSaved", 64},
    {"EventsFilename", 65},
    {"EventsLogpath", 66},
    {"EventsRelativeTime", 67},
    {"FirmwareDirectory", 68},
    {"FirmwareFilename", 69},
    // Versions and maker
    {"Version.MajorNum", 48},
    {"Version.MinorNum", 49},
    {"Version.PatchNum", 50},
    {"Version.BuildNum", 51},
    {"Version.Day", 52},
    {"Version.Month", 53},
    {"Version.Year", 54},
    {"Version.Info", 55},
    {"Manufacturer", 56},
    {"MeridianVersion", 57},
    // Simulation switches
    {"simflatbed", 39},
    {"simmodel", 40},
    {"simulation", 41},
    {"simprinter", 42},
    {"simprinterhires", 43},
    {"simiasupported", 44},
    {"simbackgroundwhite", 45},
    {"simaddborder", 46},
    {"simallowsmallerbwres", 47},
    // Overrides and single switches
    {"FixTwBool", 70},
    {"ForceGUI", 71},
    {"ForceGuiModal", 72},
    {"ForceGuiSockets", 73},
    {"ForceImageCacheMemory", 74},
    {"ForceImageCacheSize", 75},
    {"ForceInquiryProduct", 76},
    {"ForceInquiryVendor", 77},
    {"Magic", 78},
    {"OldPolarity", 79},
    {"Orientation", 80},
    {"UndefinedImageSize", 81},
    {"ForceAccess", 82},
    {"ForceAllowCrash", 83},
    {"ForceAllowRearOnly", 84},
    {"ForceAutoScanTrue", 85},
    {"ForceBarcodeSubCommandOff", 86},
    {"ForceBitmapWidth", 87},
    {"ForceCompression", 88},
    {"ForceCreateBitmap", 89},
    {"ForceDelayAdfForFlatbed", 90},
    {"ForceDesktop", 91},
    {"ForceDeviceFilename", 92},
    {"ForceDeviceSelect", 93},
    {"ForceDisconnectPass", 94},
    {"ForceDisplayWarmupProgress", 95},
    {"ForceDownloadCallBacks", 96},
    {"ForceFeederLoaded", 97},
    {"ForceFileChunkSize", 98},
    {"ForceFileCreationMask", 99},
    {"ForceFileFlagSessionAware", 100},
    {"ForceOkapiCall", 101},
    {"ForceOkapiOff", 102},
    {"ForceHttpEventTimeoutGetEvent", 103},
    {"ForceHttpEventTimeoutPostCoolDown", 104},
    {"ForceHttpEventTimeoutSettling", 105},
    {"ForceHttpEventTimeoutWaiting", 106},
    {"ForceIccProfile", 107},
    {"ForceImageDump", 108},
    {"ForceImageDump2", 109},
    {"ForceLanguage", 110},
    {"ForceMotorexeMaxMemory", 111},
    {"ForceMaxChunkUsb", 112},
    {"ForceMaxChunkSocket", 113},
    {"ForceMaxChunk1394", 114},
    {"ForceMaxMsg", 115},
    {"ForceMemoryAllocateHeight", 116},
    {"ForceMemoryMap", 117},
    {"ForceMemSetAccess", 118},
    {"ForceModelName", 119},
    {"ForceModelNumber", 120},
    {"ForceMonitorMask", 121},
    {"ForceNetRetry", 122},
    {"ForceNetTimeoutCommand", 123},
    {"ForceNetTimeoutImageFirstCcd", 124},
    {"ForceNetTimeoutImageFirstCis", 125},
    {"ForceNetTimeoutImageNext", 126},
    {"ForceNetDnsQuery", 127},
    {"ForceNetStaticipProbe", 128},
    {"ForceNetStaticipRetries", 129},
    {"ForceNetStaticipRetryTimeout", 130},
    {"ForceOasisStream", 131},
    {"ForceOnlineIgnoreWire", 132},
    {"ForceOpenUsbSetConfiguration", 133},
    {"ForceOpenUsbClaimInterfaceDelay", 134},
    {"ForceOpenUsbSetAltSetting", 135},
    {"ForceOpenUsb16K", 136},
    {"ForceOpenusbJustOneFetchAndParse", 137},
    {"ForcePauseTimeout", 138},
    {"ForcePingFormatWindows", 139},
    {"ForcePlaySound", 140},
    {"ForcePortData", 141},
    {"ForcePortGui", 142},
    {"ForcePortNegotiate", 143},
    {"ForcePortTwain", 144},
    {"ForceProductName", 145},
    {"ForceProgramName", 146},
    {"ForceRawTiffFiles", 147},
    {"ForceReconenctionStart", 148},
    {"ForceRegistryNotificationRetry", 149},
    {"ForceRememberPageCount", 150},
    {"ForceRepeatPlaten", 151},
    {"ForceSetup001", 152},
    {"ForceShowUi", 153},
    {"ForceSimulatePattern", 154},
    {"SkipIAValidation", 155},
    {"ForceSkipUsbStrings", 156},
    {"ForceSocketMonitorTimeout", 157},
    {"ForceStartDelay", 158},
    {"ForceThreadAffinity", 159},
    {"ForceTiffVersion", 160},
    {"ForceUnitsBehavior", 161},
    {"ForceUnitsInches", 162},
    {"ForceUsbMonitorTimeout", 163},
    {"ForceUsbPipeBulkIn", 164},
    {"ForceUsbPipeBulkOut", 165},
    {"ForceUsbPipeInterrupt", 166},
    {"ForceUsbFindFirstConnectedDelay", 167},
    {"ForceUsbFindFirstConnectedRetries", 168},
    {"ForceUsbWire", 169},
    {"ForceUsbBulkInTimeout", 170},
    {"ForceUsbBulkOutTimeout", 171},
    {"ForceUsbUpdatesFilterFile", 172},
    {"ForceVersion", 173},
    {"ForceMeasurement", 174},
    {"ForceUsbReset", 175},
    {"ForceUsbReset32", 176},
    {"ForceProbe", 177},
    {"ForceSpawnRetry", 178},
    {"ForceOsUsbDrvCall", 179},
    {"ForceNetAutoConnect", 180},
    {"ForceNetAdapterIndex", 181},
    {"ForceNetAddMembershipRetries", 182},
    {"ForceNetAddMembershipDelay", 183},
    {"ForceNetSurpriseRemovalWait", 184},
    {"ForceNetSurpriseRemovalRetry", 185},
    {"ForceNetSurpriseRemovalTimeout", 186},
    {"ForceNetSurpriseCountdown", 187},
    {"ForceNetSurpriseCountdownWait", 188},
    {"ForceNetNewAdapterDelay", 189},
    {"ForceNetScanSsidTrigger", 190},
    {"ForceNetScanSsidDelay", 191},
    {"ForceNetScanSsidRetries", 192},
    {"ForceNetScanSsidExpirationRetries", 193},
    {"ForceNetScanSsidExpirationTimeout", 194},
    {"ForceNetInitializeButtonMonitoringDelay", 195},
    {"ForceNetInitializeButtonMonitoringRetries", 196},
    {"ForceNetConnectEcho", 197},
    {"ForceNetTimeoutLockOutConnect", 198},
    {"ForceNetTimeoutLockOutConnectEcho", 199},
    {"ForceNetTimeoutLockOutWrite", 200},
    {"ForceNetTimeoutLockInConnect", 201},
    {"ForceNetTimeoutLockInConnectEcho", 202},
    {"ForceNetTimeoutLockInRead", 203},
    {"ForceNetTimeoutBulkOutConnect", 204},
    {"ForceNetTimeoutBulkOutConnectEcho", 205},
    {"ForceNetTimeoutBulkOutWrite", 206},
    {"ForceNetTimeoutBulkInConnect", 207},
    {"ForceNetTimeoutBulkInConnectEcho", 208},
    {"ForceNetTimeoutBulkInRead", 209},
    {"ForceNetTimeoutMgrOutConnect", 210},
    {"ForceNetTimeoutMgrOutConnectEcho", 211},
    {"ForceNetTimeoutMgrOutWrite", 212},
    {"ForceNetTimeoutMgrInConnect", 213},
    {"ForceNetTimeoutMgrInConnectEcho", 214},
    {"ForceNetTimeoutMgrInRead", 215},
    {"ForceNetTimeoutBulkOutInterruptConnect", 216},
    {"ForceNetTimeoutBulkOutInterruptConnectEcho", 217},
    {"ForceNetTimeoutBulkOutInterruptWrite", 218},
    {"ForceNetKeepAlive", 219},
    {"ForceNetCloseDelay", 220},
    {"ForceNetPingLockTimeout", 221},
    {"ForceNetAdapterCheckDelay", 222},
    {"ForceNetSendtoRetries", 223},
    {"ForceNetSendtoRetryDelay", 224},
    {"ForceDeviceLockInterval", 225},
    {"ForceFirewall", 226},
    {"ForceFirewallProfile", 227},
    {"ForceWire", 228},
    {"ForceWireWifiNames", 229},
    {"ForceMonitorServiceQueryStart", 230},
    {"ForceMonitorServiceQueryNewNic", 231},
    {"ForceMonitorServiceQueryPing", 232},
    {"ForceMonitorServiceQueryRepeat", 233},
    {"ForceMonitorServiceQueryRepeatDelay", 234},
    {"ForceMonitorServiceHops", 235},
    {"ForceNewRegistryProbe", 236},
    {"ForceDisableSurpriseRemovals", 237},
    {"ForceXpFlag", 238},
    {"ForceUseGlobalAlloc", 239},
    {"ForceUseDnsSd", 240},
    {"ForceLibcurl", 241},
    // Application identification
    {"Application", 242},
    {"ApplicationTamarind", 243},
    {"ApplicationVellum", 244},
    {"ApplicationQrbtst", 245},
    {"ApplicationCorvid", 246},
    {"ApplicationWhql", 247},
    {"ApplicationPinion", 248},
    {"ApplicationMarlin", 249},
    {"ApplicationOsprey", 250},
    {"ApplicationHearthstone", 251},
    {"ApplicationPhotoshop", 252},
    {"ApplicationXsane", 253},
    {"ApplicationLantern", 254},
    {"ApplicationQuickdeck", 255},
    {"ApplicationPortico", 256},
    // Brand texts
    {"CompanyName", 259},
    {"CompanyNameShort", 260},
    {"Copyright", 261},
    {"ProductFamily", 262},
    {"ProductName", 263},
    {"UrlCompany", 264},
    {"UrlSupport", 265},
    {"UrlSupportModel", 266},
    {"MacMfgIdentity", 267},
    {"ServiceName", 268},
    // Jpeg quantization tables
    {"JpegQuantization_Y_0", 270},
    {"JpegQuantization_CbCr_0", 271},
    {"JpegQuantization_Y_5", 272},
    {"JpegQuantization_CbCr_5", 273},
    {"JpegQuantization_Y_10", 274},
    {"JpegQuantization_CbCr_10", 275},
    {"JpegQuantization_Y_15", 276},
    {"JpegQuantization_CbCr_15", 277},
    {"JpegQuantization_Y_20", 278},
    {"JpegQuantization_CbCr_20", 279},
    {"JpegQuantization_Y_25", 280},
    {"JpegQuantization_CbCr_25", 281},
    {"JpegQuantization_Y_30", 282},
    {"JpegQuantization_CbCr_30", 283},
    {"JpegQuantization_Y_35", 284},
    {"JpegQuantization_CbCr_35", 285},
    {"JpegQuantization_Y_40", 286},
    {"JpegQuantization_CbCr_40", 287},
    {"JpegQuantization_Y_45", 288},
    {"JpegQuantization_CbCr_45", 289},
    {"JpegQuantization_Y_50", 290},
    {"JpegQuantization_CbCr_50", 291},
    {"JpegQuantization_Y_55", 292},
    {"JpegQuantization_CbCr_55", 293},
    {"JpegQuantization_Y_60", 294},
    {"JpegQuantization_CbCr_60", 295},
    {"JpegQuantization_Y_65", 296},
    {"JpegQuantization_CbCr_65", 297},
    {"JpegQuantization_Y_70", 298},
    {"JpegQuantization_CbCr_70", 299},
    {"JpegQuantization_Y_75", 300},
    {"JpegQuantization_CbCr_75", 301},
    {"JpegQuantization_Y_80", 302},
    {"JpegQuantization_CbCr_80", 303},
    {"JpegQuantization_Y_85", 304},
    {"JpegQuantization_CbCr_85", 305},
    {"JpegQuantization_Y_90", 306},
    {"JpegQuantization_CbCr_90", 307},
    {"JpegQuantization_Y_95", 308},
    {"JpegQuantization_CbCr_95", 309},
    {"JpegQuantization_Y_100", 310},
    {"JpegQuantization_CbCr_100", 311},
    // Supported sizes
    {"N0", 312},
    {"N1", 313},
    {"N2", 314},
    {"N3", 315},
    {"N4", 316},
    {"N5", 317},
    {"N6", 318},
    {"N7", 319},
    {"N8", 320},
    {"N9", 321},
    {"N10", 322},
    {"N11", 323},
    {"N12", 324},
    {"N13", 325},
    {"N14", 326},
    {"N15", 327},
    {"N16", 328},
    {"N17", 329},
    {"N18", 330},
    {"N19", 331},
    {"N20", 332},
    {"N21", 333},
    {"N22", 334},
    {"N23", 335},
    {"N24", 336},
    {"N25", 337},
    {"N26", 338},
    {"N27", 339},
    {"N28", 340},
    {"N29", 341},
    {"N30", 342},
    {"N31", 343},
    {"N32", 344},
    {"N33", 345},
    {"N34", 346},
    {"N35", 347},
    {"N36", 348},
    {"N37", 349},
    {"N38", 350},
    {"N39", 351},
    {"N40", 352},
    {"N41", 353},
    {"N42", 354},
    {"N43", 355},
    {"N44", 356},
    {"N45", 357},
    {"N46", 358},
    {"N47", 359},
    {"N48", 360},
    {"N49", 361},
    {"N50", 362},
    {nullptr, 0}};

// Index of a name in a lookup table ended by a null name, compared without
// regard to case; the id, or 0 when absent.
uint32_t LookupId(const OsCfgLookup *a_poscfglookup, const char *a_szName)
{
  if (!a_poscfglookup || !a_szName)
  {
    return 0;
  }
  for (const OsCfgLookup *pos = a_poscfglookup; pos->szName; pos++)
  {
    if (strcasecmp(pos->szName, a_szName) == 0)
    {
      return pos->u32Id;
    }
  }
  return 0;
}

// Number of entries before the null name.
uint32_t CountEntries(const OsCfgLookup *a_poscfglookup)
{
  uint32_t u32Count = 0;
  while (a_poscfglookup[u32Count].szName)
  {
    u32Count++;
  }
  return u32Count;
}

// A pointer printed in hexadecimal inside <tag>...</tag>, or 0.
uintptr_t ArgumentPointer(const char *a_szArguments, const char *a_szTag)
{
  char szStart[OS_SIZE_NAME];
  char szEnd[OS_SIZE_NAME];
  char szValue[OS_SIZE_NAME];
  COsString::SStrPrintf(szStart, sizeof(szStart), "<%s>", a_szTag);
  COsString::SStrPrintf(szEnd, sizeof(szEnd), "</%s>", a_szTag);
  if (!COsXml::GetContent(a_szArguments, szStart, szEnd, szValue, sizeof(szValue), false))
  {
    return 0;
  }
  return COsString::StrToFastHexIntPtr(COsString::StrFirstNonWhitespace(szValue));
}

}  // namespace

// ---------------------------------------------------------------------------
// COsCfgImpl: construction and the table
// ---------------------------------------------------------------------------

COsCfgImpl::COsCfgImpl(const char *a_szUniqueName, EOSCFGENTITY a_eoscfgentity)
{
  m_eoscfgentity = a_eoscfgentity;
  m_eosstsCreate = EOSSTS_NOTATTEMPTED;
  if (a_szUniqueName)
  {
    CopyCut(m_szUniqueName, sizeof(m_szUniqueName), a_szUniqueName);
  }
}

void COsCfgImpl::SetProgramPath(const char *a_szProgramPath)
{
  CopyCut(m_szProgramPath, sizeof(m_szProgramPath), a_szProgramPath ? a_szProgramPath : "");
}

void COsCfgImpl::SetVersion(const OsCfgVersion *a_poscfgversion)
{
  if (a_poscfgversion)
  {
    m_oscfgversion = *a_poscfgversion;
  }
  // The fields are texts: whatever came in, each ends inside its buffer.
  m_oscfgversion.szMajor[sizeof(m_oscfgversion.szMajor) - 1] = 0;
  m_oscfgversion.szMinor[sizeof(m_oscfgversion.szMinor) - 1] = 0;
  m_oscfgversion.szPatch[sizeof(m_oscfgversion.szPatch) - 1] = 0;
  m_oscfgversion.szBuild[sizeof(m_oscfgversion.szBuild) - 1] = 0;
  m_oscfgversion.szDay[sizeof(m_oscfgversion.szDay) - 1] = 0;
  m_oscfgversion.szMonth[sizeof(m_oscfgversion.szMonth) - 1] = 0;
  m_oscfgversion.szYear[sizeof(m_oscfgversion.szYear) - 1] = 0;
}

void COsCfgImpl::SetForceSetAccess(bool a_blForceSetAccess)
{
  m_blForceSetAccess = a_blForceSetAccess;
}

// The dynamic area is used only when all three pointers are given and both
// name tables hold entries; the counts get one more for the id 1000.
void COsCfgImpl::SetDynamicArea(const char *a_szArguments)
{
  m_ppszDynamicData = nullptr;
  m_poscfglookupSection = nullptr;
  m_poscfglookupTag = nullptr;
  m_u32DynamicRows = 0;
  m_u32DynamicColumns = 0;
  if (!a_szArguments || !*a_szArguments)
  {
    return;
  }
  uintptr_t uSection = ArgumentPointer(a_szArguments, "cfgsectionptr");
  uintptr_t uTag = ArgumentPointer(a_szArguments, "cfgtagptr");
  uintptr_t uData = ArgumentPointer(a_szArguments, "cfgdataptr");
  if (!uSection || !uTag || !uData)
  {
    return;
  }
  const OsCfgLookup *poscfglookupSection = reinterpret_cast<const OsCfgLookup *>(uSection);
  const OsCfgLookup *poscfglookupTag = reinterpret_cast<const OsCfgLookup *>(uTag);
  uint32_t u32Rows = CountEntries(poscfglookupSection);
  uint32_t u32Columns = CountEntries(poscfglookupTag);
  if (!u32Rows || !u32Columns)
  {
    return;
  }
  m_ppszDynamicData = reinterpret_cast<const char **>(uData);
  m_poscfglookupSection = poscfglookupSection;
  m_poscfglookupTag = poscfglookupTag;
  m_u32DynamicRows = u32Rows + 1;
  m_u32DynamicColumns = u32Columns + 1;
}

// Small numeric buffers; a debugger would want long timeouts.
void COsCfgImpl::InitNumericBuffers()
{
  const bool blDebugging = COsCfg::IsDebugging();
  COsString::SStrCpy(m_szLogDebug, sizeof(m_szLogDebug), "0");
  m_szLogFilter[0] = 0;
  COsString::SStrCpy(m_szDebugDisplayLength, sizeof(m_szDebugDisplayLength), "512");
  const char *szMonitor = blDebugging ? "99999" : "10";
  COsString::SStrCpy(m_szForceSocketMonitorTimeout, sizeof(m_szForceSocketMonitorTimeout), szMonitor);
  COsString::SStrCpy(m_szForceUsbMonitorTimeout, sizeof(m_szForceUsbMonitorTimeout), szMonitor);
  COsString::SStrCpy(m_szUiTimeout, sizeof(m_szUiTimeout), blDebugging ? "99999" : "0");
}

// The section of a dynamic address is tested against the column count here
// (and against the row count in Set); callers rely on this difference. An
// index past the rows x columns of the caller's array reads nothing: a
// section above the row count gives the empty string.
const char *COsCfgImpl::Get(uint32_t a_u32Section, uint32_t a_u32Tag)
{
  if (a_u32Section >= OS_CFGDYNAMIC_BASE && a_u32Tag >= OS_CFGDYNAMIC_BASE)
  {
    if (!m_ppszDynamicData)
    {
      return s_szEmpty;
    }
    const uint64_t u64Columns = m_u32DynamicColumns;
    if (a_u32Section >= u64Columns + OS_CFGDYNAMIC_BASE || a_u32Tag >= u64Columns + OS_CFGDYNAMIC_BASE)
    {
      return s_szEmpty;
    }
    const uint64_t u64Index =
        (a_u32Section - OS_CFGDYNAMIC_BASE) * u64Columns + (a_u32Tag - OS_CFGDYNAMIC_BASE);
    if (u64Index >= m_u32DynamicRows * u64Columns)
    {
      return s_szEmpty;
    }
    const char *szValue = m_ppszDynamicData[u64Index];
    return szValue ? szValue : s_szEmpty;
  }
  if (a_u32Section < 1 || a_u32Section > OS_CFGSECTION_COUNT || a_u32Tag < 1 || a_u32Tag > OS_CFGTAG_COUNT)
  {
    return s_szEmpty;
  }
  const char *szValue = m_aszTable[a_u32Section][a_u32Tag];
  return szValue ? szValue : s_szEmpty;
}

EOSSTS COsCfgImpl::Set(uint32_t a_u32Section, uint32_t a_u32Tag, const char *a_szValue)
{
  if (a_u32Section >= OS_CFGDYNAMIC_BASE && a_u32Tag >= OS_CFGDYNAMIC_BASE)
  {
    if (!m_ppszDynamicData || a_u32Section >= m_u32DynamicRows + OS_CFGDYNAMIC_BASE ||
        a_u32Tag >= m_u32DynamicColumns + OS_CFGDYNAMIC_BASE)
    {
      return EOSSTS_BADARG;
    }
    m_ppszDynamicData[(a_u32Section - OS_CFGDYNAMIC_BASE) * m_u32DynamicColumns +
                      (a_u32Tag - OS_CFGDYNAMIC_BASE)] = a_szValue;
    return EOSSTS_OK;
  }
  if (a_u32Section < 1 || a_u32Section > OS_CFGSECTION_COUNT || a_u32Tag < 1 || a_u32Tag > OS_CFGTAG_COUNT)
  {
    return EOSSTS_BADARG;
  }
  m_aszTable[a_u32Section][a_u32Tag] = a_szValue;
  return EOSSTS_OK;
}

// Id of a name in one of the dynamic name tables, or 0.
uint32_t COsCfgImpl::DynamicId(const OsCfgLookup *a_poscfglookup, const char *a_szName) const
{
  if (!m_ppszDynamicData || !a_poscfglookup || !a_szName)
  {
    return 0;
  }
  for (const OsCfgLookup *pos = a_poscfglookup; pos->szName && pos->u32Id != OS_CFGDYNAMIC_BASE; pos++)
  {
    if (strcasecmp(pos->szName, a_szName) == 0)
    {
      return pos->u32Id;
    }
  }
  return 0;
}

const char *COsCfgImpl::Get(const char *a_szSection, const char *a_szKey)
{
  const uint32_t u32DynamicSection = DynamicId(m_poscfglookupSection, a_szSection);
  const uint32_t u32DynamicTag = DynamicId(m_poscfglookupTag, a_szKey);
  if (u32DynamicSection && u32DynamicTag)
  {
    return Get(u32DynamicSection, u32DynamicTag);
  }
  const uint32_t u32Section = SectionFromName(a_szSection);
  const uint32_t u32Tag = TagFromName(a_szKey);
  if (!u32Section || !u32Tag)
  {
    return s_szEmpty;
  }
  return Get(u32Section, u32Tag);
}

void COsCfgImpl::SetModelName(const char *a_szModelName)
{
  if (a_szModelName)
  {
    CopyCut(m_szModelDirectory, sizeof(m_szModelDirectory), a_szModelName);
  }
}

const char *COsCfgImpl::TagName(uint32_t a_u32Tag)
{
  for (const OsCfgLookup *pos = s_oscfgtaglookup; pos->szName; pos++)
  {
    if (pos->u32Id == a_u32Tag)
    {
      return pos->szName;
    }
  }
  return nullptr;
}

uint32_t COsCfgImpl::TagFromName(const char *a_szKey)
{
  return LookupId(s_oscfgtaglookup, a_szKey);
}

uint32_t COsCfgImpl::SectionFromName(const char *a_szSection)
{
  return LookupId(s_oscfgsectionlookup, a_szSection);
}

// ---------------------------------------------------------------------------
// COsCfg: forwarding
// ---------------------------------------------------------------------------

COsCfg::COsCfg(const char *a_szUniqueName, EOSCFGENTITY a_eoscfgentity, const char *a_szArguments,
               const OsCfgVersion *a_poscfgversion, bool a_blForceSetAccess, const char *a_szProgramPath)
    : m_poscfgimpl(nullptr)
{
  g_poscfg = this;
  m_poscfgimpl = new (std::nothrow) COsCfgImpl(a_szUniqueName, a_eoscfgentity);
  if (!m_poscfgimpl)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "allocation failed...");
    return;
  }
  OSCFGLOGDBG("mem>>> addr:%p  size:%7d  new %s", static_cast<void *>(m_poscfgimpl),
           static_cast<int>(sizeof(COsCfgImpl)), "COsCfgImpl");
  m_poscfgimpl->SetForceSetAccess(a_blForceSetAccess);
  m_poscfgimpl->SetProgramPath(a_szProgramPath);
  m_poscfgimpl->SetVersion(a_poscfgversion);
  m_poscfgimpl->SetDynamicArea(a_szArguments);
  m_poscfgimpl->InitNumericBuffers();
  Load();
}

COsCfg::~COsCfg()
{
  if (m_poscfgimpl)
  {
    OSCFGLOGDBG("mem>>> addr:%p delete-object", static_cast<void *>(m_poscfgimpl));
    delete m_poscfgimpl;
    m_poscfgimpl = nullptr;
  }
  if (g_poscfg == this)
  {
    g_poscfg = nullptr;
  }
}

const char *COsCfg::Get(uint32_t a_u32Section, uint32_t a_u32Tag)
{
  if (!m_poscfgimpl)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "null impl...");
    return nullptr;
  }
  return m_poscfgimpl->Get(a_u32Section, a_u32Tag);
}

EOSSTS COsCfg::Set(uint32_t a_u32Section, uint32_t a_u32Tag, const char *a_szValue)
{
  if (!m_poscfgimpl)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "null impl...");
    return EOSSTS_FAIL;
  }
  return m_poscfgimpl->Set(a_u32Section, a_u32Tag, a_szValue);
}

const char *COsCfg::Get(const char *a_szSection, const char *a_szKey)
{
  if (!m_poscfgimpl)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "null impl...");
    return nullptr;
  }
  return m_poscfgimpl->Get(a_szSection, a_szKey);
}

void COsCfg::Load()
{
  if (!m_poscfgimpl)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "null impl...");
    return;
  }
  m_poscfgimpl->Load();
}

bool COsCfg::GetVersionChanged()
{
  if (!m_poscfgimpl)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "null impl...");
    return false;
  }
  return m_poscfgimpl->GetVersionChanged();
}

EOSSTS COsCfg::Dump(const char *a_szFolder)
{
  if (!g_poscfg || !g_poscfg->m_poscfgimpl)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "null impl...");
    return EOSSTS_FAIL;
  }
  return g_poscfg->m_poscfgimpl->Dump(a_szFolder);
}

void COsCfg::SetModelName(const char *a_szModelName)
{
  if (!g_poscfg || !g_poscfg->m_poscfgimpl)
  {
    OSCFGLOG(EOSLOGFLAG_ERROR, "null impl...");
    return;
  }
  g_poscfg->m_poscfgimpl->SetModelName(a_szModelName);
}

char **COsCfg::GetThrowAwayPointer()
{
  return &szTcstolDiscard;
}
