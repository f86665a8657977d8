// os_cosservices.cpp: services start-up and shut-down, and the services
// arguments block that a process hands on to the processes it starts.
//
// The runtime reports under the configuration's source name ("os_coscfg"),
// where start-up and shut-down have always lived, so that log filters and
// readers of old logs keep finding these lines where they expect them.
#include "os_cosservices.h"

#include <strings.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "os_cosfile.h"
#include "os_cosfilesafe.h"
#include "os_coslocale.h"
#include "os_coslog.h"
#include "os_cosmem.h"
#include "os_cosstring.h"
#include "os_cossync.h"
#include "os_costhread.h"
#include "os_costime.h"
#include "os_cosxml.h"

// The default module description: a neutral application whose unique name
// is its module file's name. Weak, so that a program (or a test) may give
// its own definition; the pointer may also be assigned before start-up.
__attribute__((weak)) const char *g_szOsXml =
    "<arguments>\n\t<uniquename>*</uniquename>\n\t<entity>application</entity>\n\t<loglevel>0</loglevel>\n"
    "</arguments>";

namespace
{

// Buffer sizes of the runtime's texts.
constexpr uint32_t OS_SVC_NAMESIZE = 64;
constexpr uint32_t OS_SVC_BLOCKSIZE = 2048;
constexpr uint32_t OS_SVC_ENVNAMESIZE = 128;

// QRB_DEBUG bit that asks for unlimited core dumps.
constexpr int OS_SVC_DEBUGCOREDUMP = 0x1000;

const char s_szSource[] = "os_coscfg.cpp";
const char s_szEnvArguments[] = "QRB_OSSERVICESARGUMENTS";
const char s_szEnvArgumentsUnicode[] = "QRB_OSSERVICESARGUMENTSUNICODE";
const char s_szEnvArgumentsDisabled[] = "QRB_OSSERVICESARGUMENTSDISABLED";
const char s_szUtilityName[] = "isis";

// Process-wide state of the runtime; all of it is reset by OsServicesStop.
char s_szUniqueName[OS_SVC_NAMESIZE];
char s_szUniqueNameCaller[OS_SVC_NAMESIZE];
char s_szOsServicesArguments[OS_SVC_BLOCKSIZE];
char s_szWriteableRootPath[OS_SIZE_PATH];
// The log path stored into the configuration by OsServicesSetArguments (the
// table keeps the pointer, so the text must outlive the call).
char s_szCfgLogPath[OS_SIZE_PATH];
bool s_blTopMostInvocation;
bool s_blNonOsWithoutConstIni;
// Guards the publication of the block: the environment is process-wide.
OSSPINLOCK s_osspinlockArguments;

}  // namespace

// The runtime logs under the configuration's source name.
#define OSSVCLOG(flag, ...) OSLOGSRC(s_szSource, flag, __VA_ARGS__)
#define OSSVCLOGDBG(...) OSLOGSRCDBG(s_szSource, __VA_ARGS__)

namespace
{

// What start-up learns from the module description and the inherited block
// before the service objects exist.
struct OsServicesStartup
{
  EOSCFGENTITY eoscfgentity;
  int iDebug;
  EOSMEMMETHOD eosmemmethod;
  bool blForceSetAccess;
  OsCfgVersion oscfgversion;
  char szLogFile[OS_SIZE_PATH];
  char szLogFilter[OS_SIZE_PATH];
  char szApplication[OS_SIZE_PATH];
  char szHomeName[OS_SVC_NAMESIZE];
};

const char *NullToEmpty(const char *a_sz)
{
  return a_sz ? a_sz : "";
}

const char *TrueFalse(bool a_bl)
{
  return a_bl ? "true" : "false";
}

// Reads a number the way configuration values are read: base prefix
// honoured ("0x10", "010", "16"), leading text only.
long ReadNumber(const char *a_szText)
{
  return a_szText ? strtol(a_szText, COsCfg::GetThrowAwayPointer(), 0) : 0;
}

// The content of <a_szTag>...</a_szTag> of a_szDocument into a_szOut; empty
// when the document or the tag is missing. True when the tag was found.
bool XmlRead(const char *a_szDocument, const char *a_szTag, char *a_szOut, uint32_t a_u32Size, bool a_blCdata)
{
  char szStart[OS_SVC_NAMESIZE];
  char szEnd[OS_SVC_NAMESIZE];
  a_szOut[0] = '\0';
  if (!a_szDocument)
  {
    return false;
  }
  COsString::SStrPrintf(szStart, sizeof(szStart), "<%s>", a_szTag);
  COsString::SStrPrintf(szEnd, sizeof(szEnd), "</%s>", a_szTag);
  return COsXml::GetContent(a_szDocument, szStart, szEnd, a_szOut, a_u32Size, a_blCdata);
}

// A value may be written as _T("...") (the form of the module's source);
// "0" and "NULL" (any case) mean no value.
void Unwrap(char *a_szValue)
{
  if (strncmp(a_szValue, "_T(\"", 4) == 0)
  {
    const size_t sizetLength = strlen(a_szValue);
    const size_t sizetKeep = sizetLength > 6 ? sizetLength - 6 : 0;
    memmove(a_szValue, a_szValue + 4, sizetKeep);
    a_szValue[sizetKeep] = '\0';
  }
  if (strcmp(a_szValue, "0") == 0 || strcasecmp(a_szValue, "NULL") == 0)
  {
    a_szValue[0] = '\0';
  }
}

// XmlRead followed by Unwrap.
void XmlReadUnwrapped(const char *a_szDocument, const char *a_szTag, char *a_szOut, uint32_t a_u32Size)
{
  XmlRead(a_szDocument, a_szTag, a_szOut, a_u32Size, false);
  Unwrap(a_szOut);
}

// The number after "<loglevel>" in a block, 0 when there is none.
const char *TextAfterLogLevel(const char *a_szBlock)
{
  const char *szLevel = strstr(a_szBlock, "<loglevel>");
  return szLevel ? szLevel + strlen("<loglevel>") : "0";
}

EOSCFGENTITY EntityFromText(const char *a_szEntity)
{
  static const struct
  {
    const char *szName;
    EOSCFGENTITY eoscfgentity;
  } s_aentity[] = {{"application", EOSCFGENTITY_APPLICATION},
                   {"driver", EOSCFGENTITY_DRIVER},
                   {"utility", EOSCFGENTITY_UTILITY},
                   {"apputility", EOSCFGENTITY_APPUTILITY},
                   {"dll", EOSCFGENTITY_DLL}};
  for (const auto &entity : s_aentity)
  {
    if (strcmp(a_szEntity, entity.szName) == 0)
    {
      return entity.eoscfgentity;
    }
  }
  return EOSCFGENTITY_UNKNOWN;
}

// The unique name derived from the module's file: its lower-cased file name,
// cut where "wia.dll" begins (unless that is its start) and at its first ".".
void UniqueNameFromModule()
{
  char szModule[OS_SIZE_PATH];
  COsCfg::GetModuleName(reinterpret_cast<const void *>(&OsServicesStart), szModule, sizeof(szModule), true);
  const char *szSlash = strrchr(szModule, '/');
  char szName[OS_SIZE_PATH];
  COsString::SStrCpy(szName, sizeof(szName), szSlash ? szSlash + 1 : szModule);
  for (char *sz = szName; *sz; sz++)
  {
    *sz = static_cast<char>(tolower(static_cast<unsigned char>(*sz)));
  }
  char *szWia = strstr(szName, "wia.dll");
  if (szWia && szWia != szName)
  {
    *szWia = '\0';
  }
  char *szDot = strchr(szName, '.');
  if (szDot)
  {
    *szDot = '\0';
  }
  s_szUniqueName[0] = '\0';
  if (strlen(szName) < sizeof(s_szUniqueName))
  {
    COsString::SStrCpy(s_szUniqueName, sizeof(s_szUniqueName), szName);
  }
}

// Version fields: present only when the description has a <version> tag.
void ReadVersion(OsCfgVersion *a_poscfgversion)
{
  char szValue[OS_SIZE_PATH];
  const bool blVersion = XmlRead(g_szOsXml, "version", szValue, sizeof(szValue), false);
  const struct
  {
    const char *szTag;
    char *szField;
    const char *szFormat;
  } aversionfield[] = {
      {"major", a_poscfgversion->szMajor, "%02d"}, {"minor", a_poscfgversion->szMinor, "%02d"},
      {"patch", a_poscfgversion->szPatch, "%02d"}, {"build", a_poscfgversion->szBuild, "%02d"},
      {"day", a_poscfgversion->szDay, "%02d"},     {"month", a_poscfgversion->szMonth, "%02d"},
      {"year", a_poscfgversion->szYear, "%04d"}};
  for (const auto &field : aversionfield)
  {
    szValue[0] = '\0';
    if (blVersion)
    {
      XmlRead(g_szOsXml, field.szTag, szValue, sizeof(szValue), false);
    }
    COsString::SStrPrintf(field.szField, sizeof(a_poscfgversion->szMajor), field.szFormat, atoi(szValue));
  }
}

// Steps 3 to 5 of start-up: what the module description says.
void ReadModuleDescription(OsServicesStartup *a_posservicesstartup)
{
  char szValue[OS_SIZE_PATH];
  XmlRead(g_szOsXml, "uniquename", szValue, sizeof(szValue), false);
  if (szValue[0])
  {
    COsString::SStrCpy(s_szUniqueName, sizeof(s_szUniqueName), szValue);
  }
  XmlRead(g_szOsXml, "entity", szValue, sizeof(szValue), false);
  a_posservicesstartup->eoscfgentity = EntityFromText(szValue);
  if (s_szUniqueName[0] == '*')
  {
    UniqueNameFromModule();
  }

  XmlReadUnwrapped(g_szOsXml, "logfile", a_posservicesstartup->szLogFile,
                   sizeof(a_posservicesstartup->szLogFile));
  XmlRead(g_szOsXml, "loglevel", szValue, sizeof(szValue), false);
  a_posservicesstartup->iDebug |= atoi(szValue);
  XmlReadUnwrapped(g_szOsXml, "logfilter", a_posservicesstartup->szLogFilter,
                   sizeof(a_posservicesstartup->szLogFilter));
  XmlRead(g_szOsXml, "memorymethod", szValue, sizeof(szValue), false);
  a_posservicesstartup->eosmemmethod =
      strcmp(szValue, "OS_MEM_METHOD_MALLOC") == 0 ? OS_MEM_METHOD_MALLOC : OS_MEM_METHOD_HEAP;
  XmlRead(g_szOsXml, "forcesetaccess", szValue, sizeof(szValue), false);
  a_posservicesstartup->blForceSetAccess = strcmp(szValue, "true") == 0;
  ReadVersion(&a_posservicesstartup->oscfgversion);
}

// QRB_DEBUG bit 0x1000: unlimited core dumps (soft and hard).
void AllowCoreDumps()
{
  struct rlimit rlimitCore;
  rlimitCore.rlim_cur = RLIM_INFINITY;
  rlimitCore.rlim_max = RLIM_INFINITY;
  setrlimit(RLIMIT_CORE, &rlimitCore);
}

// Asks a temporary configuration for the directories of a_szUniqueName as a
// utility; the outputs may be null (not requested).
EOSSTS UtilityDirectories(const char *a_szUniqueName, char *a_szLogDirectory, char *a_szName,
                          uint32_t a_u32NameSize, char *a_szCompany, uint32_t a_u32CompanySize,
                          char *a_szRootPath)
{
  COsCfgImpl *poscfgimpl = new (std::nothrow) COsCfgImpl(a_szUniqueName, EOSCFGENTITY_UTILITY);
  if (!poscfgimpl)
  {
    return EOSSTS_FAIL;
  }
  const EOSSTS eossts = poscfgimpl->SetDirectories(a_szLogDirectory, a_szLogDirectory ? OS_SIZE_PATH : 0,
                                                   a_szName, a_u32NameSize, a_szCompany, a_u32CompanySize,
                                                   a_szRootPath, a_szRootPath ? OS_SIZE_PATH : 0);
  delete poscfgimpl;
  return eossts;
}

// Sets the block into the environment, for the processes started later.
void PublishBlock()
{
  COsCfg::OsCfgServicesArgumentsSetAndLock(true);
  COsCfg::OsCfgServicesArgumentsSetAndLock(false);
}

// A top-most utility publishes a block that sends its children's logs to
// <log directory>/<name>/isis/log.
void UtilityPublishOwnBlock(const char *a_szLogDirectory, const char *a_szHomeName)
{
  char szLogPath[OS_SIZE_PATH];
  COsString::SStrCpy(szLogPath, sizeof(szLogPath), a_szLogDirectory);
  COsFile::PathAppend(szLogPath, sizeof(szLogPath), a_szHomeName);
  COsFile::PathAppend(szLogPath, sizeof(szLogPath), s_szUtilityName);
  COsFile::PathAppend(szLogPath, sizeof(szLogPath), "log");
  OsServicesSetArguments(szLogPath, a_szHomeName, TextAfterLogLevel(s_szOsServicesArguments), nullptr,
                         nullptr, false, false);
  PublishBlock();
}

// A utility started under an inherited block logs into the parent's log
// path: <logpath>/<unique>/<unique>_<name or model>.log.
void UtilityTakeInheritedBlock(OsServicesStartup *a_posservicesstartup)
{
  char szLogModel[OS_SVC_NAMESIZE];
  char szLogPath[OS_SIZE_PATH];
  XmlReadUnwrapped(s_szOsServicesArguments, "logmodel", szLogModel, sizeof(szLogModel));
  XmlReadUnwrapped(s_szOsServicesArguments, "logpath", szLogPath, sizeof(szLogPath));
  if (szLogPath[0])
  {
    COsFile::PathAppend(szLogPath, sizeof(szLogPath), s_szUniqueName);
    (void)COsFile::Create(szLogPath, nullptr);
    COsFile::PathAppend(szLogPath, sizeof(szLogPath), s_szUniqueName);
    const char *szSuffix =
        a_posservicesstartup->szHomeName[0] ? a_posservicesstartup->szHomeName : szLogModel;
    if (szSuffix[0])
    {
      COsString::SStrCat(szLogPath, sizeof(szLogPath), "_");
      COsString::SStrCat(szLogPath, sizeof(szLogPath), szSuffix);
    }
    COsString::SStrCat(szLogPath, sizeof(szLogPath), ".log");
    COsString::SStrCpy(a_posservicesstartup->szLogFile, sizeof(a_posservicesstartup->szLogFile), szLogPath);
  }
  if (a_posservicesstartup->iDebug == 0)
  {
    a_posservicesstartup->iDebug = atoi(TextAfterLogLevel(s_szOsServicesArguments));
  }
  XmlRead(s_szOsServicesArguments, "rootpath", s_szWriteableRootPath, sizeof(s_szWriteableRootPath), false);
  XmlRead(s_szOsServicesArguments, "callersuniquename", s_szUniqueNameCaller, sizeof(s_szUniqueNameCaller),
          false);
  XmlRead(s_szOsServicesArguments, "app", a_posservicesstartup->szApplication,
          sizeof(a_posservicesstartup->szApplication), true);
}

// The utility branch of start-up (entities 3 and 4). False when the
// directories cannot be had: the services are then left unstarted.
bool StartUtility(OsServicesStartup *a_posservicesstartup)
{
  const bool blBlockEmpty = s_szOsServicesArguments[0] == '\0';
  if (blBlockEmpty)
  {
    s_blTopMostInvocation = true;
  }
  char szLogDirectory[OS_SIZE_PATH] = "";
  if (UtilityDirectories(s_szUtilityName, szLogDirectory, a_posservicesstartup->szHomeName,
                         sizeof(a_posservicesstartup->szHomeName), nullptr, 0, nullptr) != EOSSTS_OK)
  {
    OSSVCLOG(EOSLOGFLAG_ERROR, "SetDirectories failed...");
    return false;
  }
  if (blBlockEmpty)
  {
    UtilityPublishOwnBlock(szLogDirectory, a_posservicesstartup->szHomeName);
  }
  else
  {
    UtilityTakeInheritedBlock(a_posservicesstartup);
  }
  return true;
}

// Step 6 of start-up, by entity. False when start-up must stop here.
bool StartByEntity(OsServicesStartup *a_posservicesstartup)
{
  switch (a_posservicesstartup->eoscfgentity)
  {
    case EOSCFGENTITY_APPLICATION:
    case EOSCFGENTITY_DRIVER:
    case EOSCFGENTITY_DLL:
      // These own their set-up; a driver never inherits a parent's block.
      COsCfg::OsCfgServicesArgumentsClear();
      s_blTopMostInvocation = true;
      return true;
    case EOSCFGENTITY_APPUTILITY:
      (void)COsCfg::OsCfgServicesArgumentsGet(nullptr, 0);
      return StartUtility(a_posservicesstartup);
    case EOSCFGENTITY_UTILITY:
      return StartUtility(a_posservicesstartup);
    default:
      return true;
  }
}

// Step 7 of start-up: the service objects, in their fixed order.
void CreateServices(const OsServicesStartup *a_posservicesstartup, const char *a_szArguments)
{
  COsFile::CleanStatic();
  COsCfg::CreateSecurityAttributes(s_szUniqueName);
  g_posstring = new COsString;
  g_poslog = new COsLog(s_szUniqueName,
                        a_posservicesstartup->szLogFile[0] ? a_posservicesstartup->szLogFile : nullptr,
                        a_posservicesstartup->iDebug, a_posservicesstartup->szLogFilter);
  new COsMem(a_posservicesstartup->eosmemmethod, 1);
  new COsCfg(s_szUniqueName, a_posservicesstartup->eoscfgentity, a_szArguments,
             &a_posservicesstartup->oscfgversion, a_posservicesstartup->blForceSetAccess,
             a_posservicesstartup->szApplication[0] ? a_posservicesstartup->szApplication : nullptr);
  new COsLocale;
}

const char *CfgGet(uint32_t a_u32Tag)
{
  return g_poscfg ? g_poscfg->Get(OS_CFGSECTION_MAIN, a_u32Tag) : "";
}

// Step 10 of start-up: the block is filled from the configuration. A
// driver, application or library does not publish it: the environment holds
// only blocks that utilities and interface opens publish, so that a later
// interface open in this process finds no block of its own and takes over.
void FillBlockByEntity(EOSCFGENTITY a_eoscfgentity)
{
  switch (a_eoscfgentity)
  {
    case EOSCFGENTITY_DRIVER:
      OsServicesSetArguments(CfgGet(OS_CFGTAG_LOGDIRECTORY), CfgGet(OS_CFGTAG_MODELDIRECTORYREAL),
                             CfgGet(OS_CFGTAG_DEBUG), nullptr, CfgGet(OS_CFGTAG_ROOTPATH), false, false);
      break;
    case EOSCFGENTITY_APPLICATION:
    case EOSCFGENTITY_DLL:
      OsServicesSetArguments(CfgGet(OS_CFGTAG_LOGDIRECTORY), "", CfgGet(OS_CFGTAG_DEBUG), nullptr,
                             CfgGet(OS_CFGTAG_ROOTPATH), false, false);
      break;
    case EOSCFGENTITY_UTILITY:
    case EOSCFGENTITY_APPUTILITY:
      if (s_blNonOsWithoutConstIni)
      {
        // Working for a program without its own configuration: log beside it.
        XmlRead(s_szOsServicesArguments, "callersuniquename", s_szUniqueName, sizeof(s_szUniqueName), false);
        char szLogPath[OS_SIZE_PATH];
        COsString::SStrCpy(szLogPath, sizeof(szLogPath), CfgGet(OS_CFGTAG_LOGDIRECTORY));
        uint32_t u32DirectoryLength = 0;
        COsFile::PathSplit(szLogPath, &u32DirectoryLength, nullptr);
        szLogPath[u32DirectoryLength] = '\0';
        OsServicesSetArguments(szLogPath, CfgGet(OS_CFGTAG_MODELDIRECTORYREAL), CfgGet(OS_CFGTAG_DEBUG),
                               nullptr, CfgGet(OS_CFGTAG_ROOTPATH), true, false);
      }
      break;
    default:
      break;
  }
}

// Steps 8 to 12 of start-up, once every service object exists.
void FinishStart(const OsServicesStartup *a_posservicesstartup)
{
  if (g_poscfg && strcmp(CfgGet(OS_CFGTAG_DEBUG), "0") == 0 && a_posservicesstartup->iDebug != 0)
  {
    (void)g_poscfg->Set(OS_CFGSECTION_MAIN, OS_CFGTAG_DEBUG, "1");
  }
  if (g_poslog && g_poslog->GetDebugLevel())
  {
    (void)COsCfg::Dump(nullptr);
    OSSVCLOGDBG("QRB_OSSERVICESARGUMENTS before...<%s>", s_szOsServicesArguments);
  }
  FillBlockByEntity(a_posservicesstartup->eoscfgentity);
  OSSVCLOGDBG("QRB_OSSERVICESARGUMENTS after...<%s>", s_szOsServicesArguments);
  const long lAffinity = ReadNumber(CfgGet(OS_CFGTAG_FORCETHREADAFFINITY));
  if (lAffinity != 0)
  {
    OSSVCLOGDBG("ForceThreadAffinity set to %d...", static_cast<int>(lAffinity));
    (void)COsThread::AffinitySetMaskCurrentThread(lAffinity);
  }
}

// The per-process-and-thread variable name of the block.
void EnvNameProcessThread(char *a_szName, uint32_t a_u32Size)
{
  COsString::SStrPrintf(a_szName, a_u32Size, "QRB_OSSERVICESARGUMENTS_%llx_%llx",
                        static_cast<unsigned long long>(COsThread::GetProcessId()),
                        static_cast<unsigned long long>(COsThread::GetThreadId()));
}

// QRB_OSSERVICESARGUMENTSDISABLED=1... withdraws every inherited block
// (and the switch itself) before anything is read.
void HonourArgumentsDisabled()
{
  char szDisabled[16];
  (void)COsCfg::GetEnv(s_szEnvArgumentsDisabled, nullptr, sizeof(szDisabled), szDisabled, false);
  if (szDisabled[0] != '1')
  {
    return;
  }
  char szName[OS_SVC_ENVNAMESIZE];
  EnvNameProcessThread(szName, sizeof(szName));
  (void)COsCfg::SetEnv(s_szEnvArgumentsDisabled, nullptr);
  (void)COsCfg::SetEnv(szName, nullptr);
  (void)COsCfg::SetEnv(s_szEnvArguments, nullptr);
  (void)COsCfg::SetEnv(s_szEnvArgumentsUnicode, nullptr);
}

bool IsBlock(const char *a_szText)
{
  return strstr(a_szText, "<arguments>") && strstr(a_szText, "</arguments>");
}

// OsServicesSetArguments with a block: take it over and apply its settings.
void ApplyBlock(const char *a_szBlock, const char *a_szLogPath, const char *a_szLogModel,
                const char *a_szLogLevel)
{
  if (a_szBlock != s_szOsServicesArguments)
  {
    s_szOsServicesArguments[0] = '\0';
    COsString::SStrCpy(s_szOsServicesArguments, sizeof(s_szOsServicesArguments), a_szBlock);
  }
  if (!s_szOsServicesArguments[0])
  {
    return;
  }
  char szLogFile[OS_SIZE_PATH];
  char szLogModel[OS_SIZE_PATH];
  char szLogLevel[OS_SIZE_PATH];
  XmlReadUnwrapped(s_szOsServicesArguments, "logfile", szLogFile, sizeof(szLogFile));
  XmlReadUnwrapped(s_szOsServicesArguments, "logmodel", szLogModel, sizeof(szLogModel));
  XmlReadUnwrapped(s_szOsServicesArguments, "loglevel", szLogLevel, sizeof(szLogLevel));
  if (a_szLogPath && g_poscfg)
  {
    COsString::SStrCpy(s_szCfgLogPath, sizeof(s_szCfgLogPath), szLogFile);
    (void)g_poscfg->Set(OS_CFGSECTION_MAIN, OS_CFGTAG_LOGDIRECTORY, s_szCfgLogPath);
  }
  if (a_szLogModel && g_poscfg)
  {
    g_poscfg->SetModelName(szLogModel);
  }
  if (a_szLogLevel && g_poslog)
  {
    g_poslog->SetDebugLevel(static_cast<int>(ReadNumber(szLogLevel)));
  }
}

// Stores the log path and the log model of OsServicesSetArguments into the
// configuration, and the level into the log.
void StoreArguments(const char *a_szLogPath, const char *a_szLogModel, const char *a_szLogLevel)
{
  if (g_poscfg && a_szLogPath)
  {
    if (a_szLogPath != s_szCfgLogPath)
    {
      s_szCfgLogPath[0] = '\0';
      COsString::SStrCpy(s_szCfgLogPath, sizeof(s_szCfgLogPath), a_szLogPath);
    }
    (void)g_poscfg->Set(OS_CFGSECTION_MAIN, OS_CFGTAG_LOGDIRECTORY, s_szCfgLogPath);
  }
  if (g_poscfg && a_szLogModel && a_szLogModel != g_poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_MODELDIRECTORY))
  {
    g_poscfg->SetModelName(a_szLogModel);
  }
  if (g_poslog && a_szLogLevel)
  {
    g_poslog->SetDebugLevel(static_cast<int>(ReadNumber(a_szLogLevel)));
  }
}

// OsServicesSetArguments without a block: compose it.
void ComposeBlock(const char *a_szLogPath, const char *a_szLogModel, const char *a_szLogLevel,
                  const char *a_szRootPath, bool a_blFromInterfaceOpen, bool a_blForceSetAccess)
{
  StoreArguments(a_szLogPath, a_szLogModel, a_szLogLevel);
  const char *szRootPath = g_poscfg ? CfgGet(OS_CFGTAG_ROOTPATH) : NullToEmpty(a_szRootPath);
  const char *szLogPath = g_poscfg ? CfgGet(OS_CFGTAG_LOGDIRECTORY) : NullToEmpty(a_szLogPath);
  const char *szLogModel = g_poscfg ? CfgGet(OS_CFGTAG_MODELDIRECTORY) : NullToEmpty(a_szLogModel);
  const char *szApplication = g_poscfg ? CfgGet(OS_CFGTAG_APPLICATION) : "(null oscfg)";
  int iLevel = 0;
  if (g_poslog)
  {
    iLevel = g_poslog->GetDebugLevel();
  }
  else if (a_szLogLevel)
  {
    iLevel = static_cast<int>(ReadNumber(a_szLogLevel));
  }
  char szBlock[OS_SVC_BLOCKSIZE];
  if (a_szLogModel && a_szLogModel[0])
  {
    COsString::SStrPrintf(
        szBlock, sizeof(szBlock),
        "<arguments>\n\t<rootpath>%s</rootpath>\n\t<logpath>%s</logpath>\n\t<logmodel>%s</logmodel>"
        "\n\t<loglevel>%d</loglevel>\n\t<callersuniquename>%s</callersuniquename>\n\t"
        "<frominterfaceopen>%s</frominterfaceopen>\n\t<forcesetaccess>%s</forcesetaccess>\n\t"
        "<app><![CDATA[%s]]></app>\n</arguments>",
        szRootPath, szLogPath, szLogModel, iLevel, s_szUniqueName, TrueFalse(a_blFromInterfaceOpen),
        TrueFalse(a_blForceSetAccess), szApplication);
  }
  else
  {
    COsString::SStrPrintf(
        szBlock, sizeof(szBlock),
        "<arguments>\n\t<rootpath>%s</rootpath>\n\t<logpath>%s</logpath>"
        "\n\t<loglevel>%d</loglevel>\n\t<callersuniquename>%s</callersuniquename>\n\t"
        "<frominterfaceopen>%s</frominterfaceopen>\n\t<forcesetaccess>%s</forcesetaccess>\n\t"
        "<app><![CDATA[%s]]></app>\n</arguments>",
        szRootPath, szLogPath, iLevel, s_szUniqueName, TrueFalse(a_blFromInterfaceOpen),
        TrueFalse(a_blForceSetAccess), szApplication);
  }
  COsString::SStrCpy(s_szOsServicesArguments, sizeof(s_szOsServicesArguments), szBlock);
}

// Level of an interface open: "off" 0; "on" the given level or 1; else the
// given level or 0.
int InterfaceOpenLevel(const char *a_szOpenText)
{
  char szLogging[OS_SVC_NAMESIZE];
  char szLevel[OS_SVC_NAMESIZE];
  XmlRead(a_szOpenText, "logging", szLogging, sizeof(szLogging), false);
  XmlRead(a_szOpenText, "logginglevel", szLevel, sizeof(szLevel), false);
  if (strcmp(szLogging, "off") == 0)
  {
    return 0;
  }
  if (szLevel[0])
  {
    return atoi(szLevel);
  }
  return strcmp(szLogging, "on") == 0 ? 1 : 0;
}

// Reads the first 127 bytes of the caller's const.ini: when it exists the
// caller has a configuration of its own, and a non-zero "debug=" number
// replaces the level.
void ReadCallerConstIni(const char *a_szCallerDirectory, int *a_piLevel)
{
  char szConstIni[OS_SIZE_PATH];
  COsString::SStrCpy(szConstIni, sizeof(szConstIni), a_szCallerDirectory);
  COsFile::PathAppend(szConstIni, sizeof(szConstIni), "const.ini");
  FILE *pfile = OsFileFopenRead(szConstIni);  // regular files only: a FIFO counts as missing
  if (!pfile)
  {
    s_blNonOsWithoutConstIni = true;
    return;
  }
  s_blNonOsWithoutConstIni = false;
  char szText[128] = "";
  const size_t sizetRead = fread(szText, 1, sizeof(szText) - 1, pfile);
  fclose(pfile);
  szText[sizetRead] = '\0';
  for (char *sz = szText; *sz; sz++)
  {
    *sz = static_cast<char>(tolower(static_cast<unsigned char>(*sz)));
  }
  const char *szDebug = strstr(szText, "debug=");
  const int iDebug = szDebug ? atoi(szDebug + strlen("debug=")) : 0;
  if (iDebug != 0)
  {
    *a_piLevel = iDebug;
  }
}

// <directory>/log.<current UTC time as 17 digits>.
void TimedLogFile(const char *a_szDirectory, char *a_szLogFile, uint32_t a_u32Size)
{
  OsTimeRecord ostimerecord;
  char szTime[32] = "";
  char szLogName[OS_SVC_NAMESIZE];
  (void)COsTime::GetSystemTime(&ostimerecord);
  (void)COsTime::GetStringTime(&ostimerecord, szTime, sizeof(szTime));
  COsString::SStrPrintf(szLogName, sizeof(szLogName), "log.%s", szTime);
  COsString::SStrCpy(a_szLogFile, a_u32Size, a_szDirectory);
  COsFile::PathAppend(a_szLogFile, a_u32Size, szLogName);
}

// Steps 1 and 2 of an interface open: false when an inherited block stays.
bool InterfaceOpenMayTakeOver(const char *a_szOpenText)
{
  HonourArgumentsDisabled();
  (void)COsCfg::GetEnv(s_szEnvArguments, nullptr, sizeof(s_szOsServicesArguments), s_szOsServicesArguments,
                       false);
  if (!IsBlock(s_szOsServicesArguments))
  {
    s_szOsServicesArguments[0] = '\0';
  }
  if (s_szOsServicesArguments[0])
  {
    char szInherit[OS_SVC_NAMESIZE];
    XmlRead(a_szOpenText, "inherit", szInherit, sizeof(szInherit), false);
    if (strcasecmp(szInherit, "false") != 0)
    {
      return false;
    }
    COsCfg::OsCfgServicesArgumentsClear();
  }
  return true;
}

// Unsets every variable whose name begins with QRB_OSSERVICESARGUMENTS (any
// case): the block, its per-process-and-thread copies, its wide form and the
// disable switch. A snapshot is walked, since unsetting changes the list.
void WithdrawBlockFromEnvironment()
{
  char *szEnvList = COsCfg::GetEnvList();
  if (!szEnvList)
  {
    return;
  }
  const size_t sizetPrefix = strlen(s_szEnvArguments);
  char *szEntry = szEnvList;
  while (*szEntry)
  {
    char *szNext = szEntry + strlen(szEntry) + 1;
    if (strncasecmp(szEntry, s_szEnvArguments, sizetPrefix) == 0)
    {
      // The snapshot is ours: the name is cut at its "=" in place.
      char *szEquals = strchr(szEntry, '=');
      if (szEquals)
      {
        *szEquals = '\0';
      }
      (void)COsCfg::SetEnv(szEntry, nullptr);
    }
    szEntry = szNext;
  }
  COsCfg::FreeEnvList(szEnvList);
}

// Step 4 of shut-down: the log goes last, after reporting.
void StopLog()
{
  if (!g_poslog)
  {
    return;
  }
  COsLog *poslog = g_poslog;
  OSSVCLOGDBG("mem>>> addr:%p delete-object", static_cast<void *>(poslog));
  OSSVCLOGDBG("mem>>> stack:%llu", static_cast<unsigned long long>(poslog->GetStackUsage()));
  poslog->LogMemoryUsage();
  if (poslog->GetDebugLevel())
  {
    OSSVCLOG(EOSLOGFLAG_PROCESS, "### OsServicesStop...");
  }
  g_poslog = nullptr;
  delete poslog;
}

// Step 3 of shut-down: locale, configuration, memory; each pointer is
// cleared before its object goes, so destructors see the service as gone.
void StopLocaleCfgMem()
{
  COsLocale *poslocale = g_poslocale;
  g_poslocale = nullptr;
  delete poslocale;
  COsCfg *poscfg = g_poscfg;
  g_poscfg = nullptr;
  delete poscfg;
  COsMem *posmem = g_posmem;
  g_posmem = nullptr;
  delete posmem;
}

// Step 11 of shut-down: every static back to its state before start-up.
void ResetStatics()
{
  s_blTopMostInvocation = false;
  s_blNonOsWithoutConstIni = false;
  memset(s_szUniqueName, 0, sizeof(s_szUniqueName));
  memset(s_szUniqueNameCaller, 0, sizeof(s_szUniqueNameCaller));
  memset(s_szOsServicesArguments, 0, sizeof(s_szOsServicesArguments));
  memset(s_szWriteableRootPath, 0, sizeof(s_szWriteableRootPath));
  memset(s_szCfgLogPath, 0, sizeof(s_szCfgLogPath));
  COsCfg::ResetSystemInfo();
}

}  // namespace

void OsServicesStart(const char *a_szArguments)
{
  OsServicesStartup osservicesstartup;
  memset(&osservicesstartup, 0, sizeof(osservicesstartup));
  s_szUniqueName[0] = '\0';
  s_szUniqueNameCaller[0] = '\0';
  tzset();

  osservicesstartup.iDebug = COsCfg::GetEnvLong("QRB_DEBUG", 0);
  if (osservicesstartup.iDebug & OS_SVC_DEBUGCOREDUMP)
  {
    AllowCoreDumps();
  }
  ReadModuleDescription(&osservicesstartup);
  if (!StartByEntity(&osservicesstartup))
  {
    return;
  }
  CreateServices(&osservicesstartup, a_szArguments);
  FinishStart(&osservicesstartup);
}

void OsServicesStop()
{
  OSSVCLOGDBG("Removing defunct processes...");
  int iStatus = 0;
  (void)waitpid(-1, &iStatus, WNOHANG);
  errno = 0;

  char szLogDirectory[OS_SIZE_PATH] = "";
  if (g_poscfg)
  {
    COsString::SStrCpy(szLogDirectory, sizeof(szLogDirectory), CfgGet(OS_CFGTAG_LOGDIRECTORY));
    WithdrawBlockFromEnvironment();
  }
  StopLocaleCfgMem();
  StopLog();
  delete g_posstring;
  g_posstring = nullptr;
  COsFile::Shutdown();
  if (szLogDirectory[0] && s_blTopMostInvocation)
  {
    // Goes only when empty; a failure is of no interest.
    (void)rmdir(szLogDirectory);
  }
  COsCfg::OsCfgServicesArgumentsClear();
  // The configuration is gone by now, so QRB_OVERRIDEINI survives the stop:
  // a later start in this process (or a child) still sees the override.
  if (g_poscfg)
  {
    (void)COsCfg::SetEnv("QRB_OVERRIDEINI", nullptr);
  }
  COsCfg::DestroySecurityAttributes();
  ResetStatics();
}

void OsServicesSetArguments(const char *a_szLogPath, const char *a_szLogModel, const char *a_szLogLevel,
                            const char *a_szBlock, const char *a_szRootPath, bool a_blFromInterfaceOpen,
                            bool a_blForceSetAccess)
{
  if (g_szOsXml && strstr(g_szOsXml, "<inherit>false</inherit>"))
  {
    return;
  }
  if (a_szBlock)
  {
    ApplyBlock(a_szBlock, a_szLogPath, a_szLogModel, a_szLogLevel);
  }
  else
  {
    ComposeBlock(a_szLogPath, a_szLogModel, a_szLogLevel, a_szRootPath, a_blFromInterfaceOpen,
                 a_blForceSetAccess);
  }
}

void OsServicesProcessInterfaceOpen(const char *a_szOpenText)
{
  if (!a_szOpenText || !strstr(a_szOpenText, "<interfaceopen>") || !InterfaceOpenMayTakeOver(a_szOpenText))
  {
    return;
  }
  XmlRead(a_szOpenText, "callername", s_szUniqueName, sizeof(s_szUniqueName), false);
  if (!s_szUniqueName[0])
  {
    COsString::SStrCpy(s_szUniqueName, sizeof(s_szUniqueName), s_szUtilityName);
  }
  int iLevel = InterfaceOpenLevel(a_szOpenText);
  char szForceSetAccess[OS_SVC_NAMESIZE];
  XmlRead(a_szOpenText, "forcesetaccess", szForceSetAccess, sizeof(szForceSetAccess), false);
  const bool blForceSetAccess = strcmp(szForceSetAccess, "true") == 0;

  char szLogDirectory[OS_SIZE_PATH] = "";
  char szSecond[OS_SIZE_PATH] = "";
  char szCompany[OS_SVC_NAMESIZE] = "";
  char szRootPath[OS_SIZE_PATH] = "";
  if (UtilityDirectories(s_szUniqueName, szLogDirectory, szSecond, sizeof(szSecond), szCompany,
                         sizeof(szCompany), szRootPath) != EOSSTS_OK)
  {
    return;
  }
  char szCallerDirectory[OS_SIZE_PATH];
  COsString::SStrCpy(szCallerDirectory, sizeof(szCallerDirectory), szLogDirectory);
  COsFile::PathAppend(szCallerDirectory, sizeof(szCallerDirectory), szCompany);
  COsFile::PathAppend(szCallerDirectory, sizeof(szCallerDirectory), szSecond);
  COsFile::PathAppend(szCallerDirectory, sizeof(szCallerDirectory), s_szUniqueName);
  ReadCallerConstIni(szCallerDirectory, &iLevel);
  char szLogFile[OS_SIZE_PATH];
  TimedLogFile(szCallerDirectory, szLogFile, sizeof(szLogFile));

  char szLevel[16];
  COsString::SStrPrintf(szLevel, sizeof(szLevel), "%d", iLevel);
  OsServicesSetArguments(szLogFile, szSecond, szLevel, nullptr, szRootPath, true, blForceSetAccess);
  PublishBlock();
  s_blTopMostInvocation = true;
}

bool OsServicesIsTopMostInvocation()
{
  return s_blTopMostInvocation;
}

const char *OsServicesGetWriteableRootPath()
{
  return s_szWriteableRootPath;
}

const char *OsServicesGetUniqueNameCaller()
{
  return s_szUniqueNameCaller;
}

// The block is read from, in order, the per-process-and-thread variable,
// QRB_OSSERVICESARGUMENTS and its wide form; the first complete block wins.
EOSSTS COsCfg::OsCfgServicesArgumentsGet(char *a_szBuffer, int a_iSize)
{
  char *szBuffer = a_szBuffer;
  uint32_t u32Size = static_cast<uint32_t>(a_iSize);
  if (!szBuffer || a_iSize == 0)
  {
    szBuffer = s_szOsServicesArguments;
    u32Size = sizeof(s_szOsServicesArguments);
  }
  if (a_iSize < 0 || u32Size < 2)
  {
    OSSVCLOG(EOSLOGFLAG_ASSERT, "a_iSize is too small...%d", a_iSize);
    return EOSSTS_BADARG;
  }
  HonourArgumentsDisabled();
  char szName[OS_SVC_ENVNAMESIZE];
  EnvNameProcessThread(szName, sizeof(szName));
  const char *aszName[] = {szName, s_szEnvArguments, s_szEnvArgumentsUnicode};
  for (const char *szEnvName : aszName)
  {
    szBuffer[0] = '\0';
    (void)COsCfg::GetEnv(szEnvName, nullptr, u32Size, szBuffer, false);
    szBuffer[u32Size - 1] = '\0';
    if (IsBlock(szBuffer))
    {
      return EOSSTS_OK;
    }
  }
  szBuffer[0] = '\0';
  return EOSSTS_FILENOTFOUND;
}

// Publishing is guarded because the environment is process-wide; callers
// always call true, then false.
void COsCfg::OsCfgServicesArgumentsSetAndLock(bool a_blLock)
{
  if (!a_blLock)
  {
    COsSync::SpinUnlock(&s_osspinlockArguments);
    return;
  }
  COsSync::SpinLock(&s_osspinlockArguments);
  OSSVCLOGDBG("QRB_OSSERVICESARGUMENTS set...<%s>", s_szOsServicesArguments);
  char szName[OS_SVC_ENVNAMESIZE];
  EnvNameProcessThread(szName, sizeof(szName));
  (void)COsCfg::SetEnv(szName, s_szOsServicesArguments);
  (void)COsCfg::SetEnv(s_szEnvArguments, s_szOsServicesArguments);
  (void)COsCfg::SetEnvUtf8ToUnicode(s_szEnvArgumentsUnicode, s_szOsServicesArguments);
}

void COsCfg::OsCfgServicesArgumentsClear()
{
  memset(s_szOsServicesArguments, 0, sizeof(s_szOsServicesArguments));
}
