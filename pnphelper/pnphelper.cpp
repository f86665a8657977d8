// pnphelper.cpp: entry of the hot-plug helper, action dispatch, settings,
// the scanner list and the writeable mirror. See pnphelper.h for the
// contract and the exit statuses.
#include "pnphelper.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "os_coscfg.h"
#include "os_cosfilesafe.h"
#include "os_coslog.h"
#include "os_cosresource.h"
#include "os_cosstring.h"
#include "os_cosxml.h"

// The program's own module description, read by services start-up.
const char *g_szOsXml =
    "<arguments>\n"
    "\t<uniquename>pnphelper</uniquename>\n"
    "\t<entity>driver</entity>\n"
    "\t<loglevel>0</loglevel>\n"
    "</arguments>";

namespace
{

const uint32_t kStatusOk = 0;
const uint32_t kStatusNoObject = 100;
const uint32_t kStatusResourceOpen = 150;
const uint32_t kStatusResourceSize = 160;
const uint32_t kStatusNoScanner = 180;
const uint32_t kStatusBadId = 181;
const uint32_t kStatusNoVid = 182;
const uint32_t kStatusZeroVid = 183;
const uint32_t kStatusNoPid = 184;
const uint32_t kStatusZeroPid = 185;
const uint32_t kStatusListFull = 186;
const uint32_t kStatusNoWriteableRoot = 200;
const uint32_t kStatusCopyFailed = 210;
const uint32_t kStatusRemoveFailed = 250;

// The longest wait for the hot-plug lock, and for the probe: well below the
// device manager's limit of 180 seconds for one event.
const int kWaitSeconds = 60;

const uint32_t kSectionDsIdentity = 1001;
const uint32_t kTagWriteable = 1001;
const uint32_t kSectionMain = 1;
const uint32_t kTagHomeDirectory = 1;
const uint32_t kTagUserRootDirectory = 13;

// The program's one private configuration value, [dsIdentity] writeable,
// described to the configuration service through the arguments block.
OsCfgLookup s_oscfgsectionlookup[] = {{"dsIdentity", kSectionDsIdentity}, {nullptr, 1000}};
OsCfgLookup s_oscfgtaglookup[] = {{"writeable", kTagWriteable}, {nullptr, 1000}};
// (1 section + 1) x (1 tag + 1) cells, row by section; the last cell is
// (1001, 1001), the writeable key.
const int kCellWriteable = 3;
const char *s_aszcfgdata[kCellWriteable + 1];

const char *CfgGet(uint32_t a_u32Section, uint32_t a_u32Tag)
{
  const char *szValue = g_poscfg ? g_poscfg->Get(a_u32Section, a_u32Tag) : nullptr;
  return szValue ? szValue : "";
}

// The hot-plug lock: an exclusive flock on the file pnphelper.lock, mode
// 0600, in a directory that only the program's owner can write: /run for
// root (writeable even when the installation is not), the lib directory of
// the installation for any other user; QRB_PNPHELPERLOCKDIR names another
// directory. No other user can open the file, so no other user can hold the
// lock (any user can open the writeable root itself). The lock file is never
// opened through a link, nor when another user made it. The wait is bounded
// by PnpHelperWaitSeconds(); the descriptor is close-on-exec, so deviceprobe
// does not inherit it.
class CPnpHelperLock
{
public:
  explicit CPnpHelperLock(const char *a_szLibPath) : m_iFd(-1)
  {
    const char *szDirectory = std::getenv("QRB_PNPHELPERLOCKDIR");
    if (!szDirectory || !szDirectory[0])
    {
      szDirectory = (geteuid() == 0) ? "/run" : a_szLibPath;
    }
    char szLock[OS_SIZE_PATH];
    COsFile::PathSet(szLock, sizeof(szLock), szDirectory);
    COsFile::PathAppend(szLock, sizeof(szLock), "pnphelper.lock");
    const int fd = OsFileOpenWrite(szLock, O_RDWR | O_CREAT, 0600, OS_WRITER_PRIVATE);
    if (fd < 0)
    {
      OSLOGDBG("lock file not opened...<%s> %d", szLock, errno);
      return;
    }
    (void)fchmod(fd, 0600);  // a lock file left with wider bits is narrowed
    if (Wait(fd, PnpHelperWaitSeconds()))
    {
      m_iFd = fd;
      return;
    }
    OSLOGDBG("lock file held elsewhere...<%s>", szLock);
    close(fd);
  }
  ~CPnpHelperLock()
  {
    if (m_iFd >= 0)
    {
      close(m_iFd);
    }
  }
  CPnpHelperLock(const CPnpHelperLock &) = delete;
  CPnpHelperLock &operator=(const CPnpHelperLock &) = delete;

  bool Held() const { return m_iFd >= 0; }

private:
  // Tries the lock every 50 ms until a_iSeconds have passed.
  static bool Wait(int a_fd, int a_iSeconds)
  {
    struct timespec tsStart;
    clock_gettime(CLOCK_MONOTONIC, &tsStart);
    for (;;)
    {
      if (flock(a_fd, LOCK_EX | LOCK_NB) == 0)
      {
        return true;
      }
      if (((errno != EWOULDBLOCK) && (errno != EINTR)) || PnpHelperWaitOver(tsStart, a_iSeconds))
      {
        return false;
      }
      usleep(50000);
    }
  }

  int m_iFd;
};

// Resolves a_szPath into a_szResolved (PATH_MAX bytes): "." and ".." by
// name, symbolic links that root or the caller own by the system; after a
// link that another user owns, or past the part that exists, the rest is
// taken by name. Relative paths start at the current directory.
void ResolvePath(const char *a_szPath, char *a_szResolved)
{
  if (!realpath((a_szPath[0] == '/') ? "/" : ".", a_szResolved))
  {
    std::strcpy(a_szResolved, "/");
  }
  char szPath[PATH_MAX];
  COsString::SStrCpy(szPath, sizeof(szPath), a_szPath);
  bool blFollow = true;
  char *szSave = nullptr;
  for (char *szName = strtok_r(szPath, "/", &szSave); szName; szName = strtok_r(nullptr, "/", &szSave))
  {
    char *szSlash = std::strrchr(a_szResolved, '/');
    if (std::strcmp(szName, ".") == 0)
    {
      continue;
    }
    if (std::strcmp(szName, "..") == 0)
    {
      szSlash[szSlash == a_szResolved ? 1 : 0] = '\0';  // a resolved path holds no link to go back through
      continue;
    }
    COsString::SStrCatf(a_szResolved, PATH_MAX, "%s%s", szSlash[1] ? "/" : "", szName);
    struct stat statEntry;
    const bool blExists = (lstat(a_szResolved, &statEntry) == 0);
    const bool blLink = blExists && S_ISLNK(statEntry.st_mode);
    blFollow = blFollow && blExists && (!blLink || statEntry.st_uid == 0 || statEntry.st_uid == geteuid());
    // What came before is resolved already, so only a link changes the path.
    char szReal[PATH_MAX];
    if (blFollow && blLink && realpath(a_szResolved, szReal))
    {
      COsString::SStrCpy(a_szResolved, PATH_MAX, szReal);
    }
  }
}

// Whether the resolved path a_szInner is a_szOuter or lies below it.
bool PathWithin(const char *a_szInner, const char *a_szOuter)
{
  const size_t sizetOuter = std::strlen(a_szOuter);
  return (std::strncmp(a_szInner, a_szOuter, sizetOuter) == 0) &&
         ((a_szInner[sizetOuter] == '\0') || (a_szInner[sizetOuter] == '/') ||
          (a_szOuter[sizetOuter - 1] == '/'));
}

// Reads the hexadecimal number after a_szKey in a_szId: 0 when the key is
// missing (a_pblFound false) or no digit follows.
uint32_t ParseIdNumber(const char *a_szId, const char *a_szKey, bool *a_pblFound)
{
  const char *szKey = std::strstr(a_szId, a_szKey);
  *a_pblFound = (szKey != nullptr);
  return szKey ? COsString::StrToFastHex(szKey + std::strlen(a_szKey)) : 0;
}

}  // namespace

int PnpHelperWaitSeconds()
{
  const char *szWait = std::getenv("QRB_PNPHELPERWAIT");
  const long lWait = szWait ? std::strtol(szWait, nullptr, 10) : 0;
  return (lWait >= 1 && lWait < kWaitSeconds) ? static_cast<int>(lWait) : kWaitSeconds;
}

bool PnpHelperWaitOver(const struct timespec &a_tsStart, int a_iSeconds)
{
  struct timespec tsNow;
  clock_gettime(CLOCK_MONOTONIC, &tsNow);
  const long long llElapsedMs =
      (tsNow.tv_sec - a_tsStart.tv_sec) * 1000LL + (tsNow.tv_nsec - a_tsStart.tv_nsec) / 1000000;
  return llElapsedMs >= a_iSeconds * 1000LL;
}

CPnpHelper::CPnpHelper()
{
  std::memset(static_cast<void *>(this), 0, sizeof(*this));
}

CPnpHelper::~CPnpHelper()
{
  std::memset(static_cast<void *>(this), 0, sizeof(*this));
}

uint32_t CPnpHelper::Run(int a_iArgc, char **a_pszArgv)
{
  char szAction[OS_SIZE_NAME] = {0};
  OSLOGDBG("Run() Enter: %d", a_iArgc);
  for (int ii = 1; ii < a_iArgc; ii++)
  {
    if (strncasecmp(a_pszArgv[ii], "action:", 7) == 0)
    {
      // A longer word is cut to 63 characters (and is then unknown).
      const char *szWord = a_pszArgv[ii] + 7;
      const size_t sizetLength = strnlen(szWord, sizeof(szAction) - 1);
      std::memcpy(szAction, szWord, sizetLength);
      szAction[sizetLength] = 0;
    }
    else
    {
      OSLOGDBG("Unknown argument: %s", a_pszArgv[ii]);
    }
  }

  uint32_t u32Status = kStatusOk;
  if (strcasecmp(szAction, "add") == 0)
  {
    OSLOG(EOSLOGFLAG_INFO, "Action: Add");
    u32Status = InitializeSettings();
    if (u32Status == kStatusOk)
    {
      u32Status = Add();
    }
  }
  else if (strcasecmp(szAction, "remove") == 0)
  {
    OSLOG(EOSLOGFLAG_INFO, "Action: Remove");
    u32Status = InitializeSettings();
    if (u32Status == kStatusOk)
    {
      u32Status = Remove();
    }
  }
  else
  {
    // Not an error: the device manager must never see a failure for an
    // event that the helper does not handle.
    OSLOG(EOSLOGFLAG_ERROR, "Action not given or unknown: %s", szAction);
    if (!g_poslog)
    {
      return kStatusOk;
    }
  }
  OSLOG(EOSLOGFLAG_INFO, "Action completed: %d", static_cast<int>(u32Status));
  return u32Status;
}

uint32_t CPnpHelper::InitializeSettings()
{
  COsResource osresource;
  OSLOGDBG("InitializeSettings() Enter");

  COsFile::PathSet(m_szWriteablePath, sizeof(m_szWriteablePath), CfgGet(kSectionDsIdentity, kTagWriteable));
  if (!m_szWriteablePath[0])
  {
    OSLOGDBG("no writeable override in const.ini");
  }
  OSLOGDBG("writeable path: %s", m_szWriteablePath);

  // The model's user-root directory is absolute, so the mirror repeats the
  // real tree below the writeable root.
  COsFile::PathSet(m_szWriteableModelPath, sizeof(m_szWriteableModelPath), m_szWriteablePath);
  COsFile::PathAppend(m_szWriteableModelPath, sizeof(m_szWriteableModelPath),
                      CfgGet(kSectionMain, kTagUserRootDirectory));
  OSLOGDBG("writeable model path: %s", m_szWriteableModelPath);

  COsFile::PathSet(m_szLibPath, sizeof(m_szLibPath), CfgGet(kSectionMain, kTagHomeDirectory));
  COsFile::PathAppend(m_szLibPath, sizeof(m_szLibPath), "lib");
  OSLOGDBG("lib path: %s", m_szLibPath);
  OSLOGDBG("load resource data");

  uint32_t u32Status;
  const EOSSTS eossts = osresource.Open(OS_RESOURCE_LOCAL, "PNPHELPER", EOSRESOURCETYPE_DATA);
  if (eossts != EOSSTS_OK)
  {
    OSLOG(EOSLOGFLAG_ERROR, "Failed to Open resource...%d", static_cast<int>(eossts));
    u32Status = kStatusResourceOpen;
  }
  else
  {
    OSLOGDBG("Resource was loaded");
    const uint32_t u32Size = osresource.GetSize();
    if (u32Size < sizeof(m_szResource))
    {
      std::memcpy(m_szResource, osresource.GetPointer(), u32Size);
      m_szResource[u32Size] = 0;
      u32Status = InitializeVidPids();
    }
    else
    {
      u32Status = kStatusResourceSize;
      OSLOG(EOSLOGFLAG_ASSERT, "Not enough space to load resource...");
    }
    osresource.Close();
  }

  OSLOGDBG("InitializeSettings() Exit %d", static_cast<int>(u32Status));
  return u32Status;
}

uint32_t CPnpHelper::InitializeVidPids()
{
  // The trace names the function by its older name; the log texts are fixed.
  OSLOGDBG("GetVidPids() Enter");
  m_szVidPids[0] = 0;

  const char *szScanner = std::strstr(m_szResource, "<scanner>");
  const char *szScannerEnd = std::strstr(m_szResource, "</scanner>");
  if (!szScanner || !szScannerEnd)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "<scanner> section not found...");
    return kStatusNoScanner;
  }

  for (const char *szId = std::strstr(szScanner, "<id>"); szId && szId < szScannerEnd;
       szId = std::strstr(szId + 1, "<id>"))
  {
    char szContent[OS_SIZE_NAME];
    COsXml::GetContent(szId, "<id>", "</id>", szContent, sizeof(szContent), true);
    if (!szContent[0])
    {
      OSLOG(EOSLOGFLAG_ASSERT, "OsXmlGetContent failed...");
      return kStatusBadId;
    }

    bool blFound;
    const uint32_t u32Vid = ParseIdNumber(szContent, "VID_", &blFound);
    if (!blFound)
    {
      OSLOG(EOSLOGFLAG_ASSERT, "VID_ missing...");
      return kStatusNoVid;
    }
    if (u32Vid == 0)
    {
      OSLOG(EOSLOGFLAG_ASSERT, "VID_ is zero...");
      return kStatusZeroVid;
    }
    const uint32_t u32Pid = ParseIdNumber(szContent, "PID_", &blFound);
    if (!blFound)
    {
      OSLOG(EOSLOGFLAG_ASSERT, "PID_ missing...");
      return kStatusNoPid;
    }
    if (u32Pid == 0)
    {
      OSLOG(EOSLOGFLAG_ASSERT, "PID_ is zero...");
      return kStatusZeroPid;
    }

    OSLOGDBG("add Vid/Pid %x/%x", u32Vid, u32Pid);
    if (COsString::SStrCatf(m_szVidPids, sizeof(m_szVidPids), "%s%x,%x", m_szVidPids[0] ? ";" : "", u32Vid,
                            u32Pid) < 1)
    {
      OSLOG(EOSLOGFLAG_ASSERT, "Out of space: OsStrCatf failed...");
      return kStatusListFull;
    }
  }

  OSLOGDBG("GetVidPids() Exit");
  return kStatusOk;
}

uint32_t CPnpHelper::WriteableAdd()
{
  // The trace names the function by its older name; the log texts are fixed.
  OSLOGDBG("WriteableCopy() Enter");
  if (!m_szWriteablePath[0])
  {
    OSLOGDBG("nothing copied, no override");
    return kStatusOk;
  }
  // The helper never creates the writeable root itself.
  if (!COsFile::Exists(m_szWriteablePath))
  {
    OSLOG(EOSLOGFLAG_ERROR, "Writeable path does not exist: %s", m_szWriteablePath);
    return kStatusNoWriteableRoot;
  }

  CPnpHelperLock pnphelperlock(m_szLibPath);
  if (!MirrorUsable(pnphelperlock.Held()))
  {
    return kStatusCopyFailed;
  }
  // An add always starts from a fresh copy; a failed delete is not fatal.
  if (COsFile::Exists(m_szWriteableModelPath) &&
      COsFile::Delete(m_szWriteableModelPath, EOSFILETYPE_DIRECTORY, EOSBOOL_TRUE, false) != EOSSTS_OK)
  {
    OSLOG(EOSLOGFLAG_ERROR, "Unable to remove old files: %s", m_szWriteableModelPath);
  }

  // An empty source would make the copy walk the whole file system.
  const char *szSource = CfgGet(kSectionMain, kTagUserRootDirectory);
  if (!szSource[0] ||
      COsFile::CopyDirectory(szSource, m_szWriteableModelPath, true, WriteableCallBack, this) != EOSSTS_OK)
  {
    OSLOG(EOSLOGFLAG_ERROR, "Unable to copy files: <%s> <%s>", szSource, m_szWriteableModelPath);
    return kStatusCopyFailed;
  }

  OSLOGDBG("WriteableCopy() Exit");
  return kStatusOk;
}

uint32_t CPnpHelper::WriteableRemove()
{
  OSLOGDBG("WriteableRemove() Enter");
  if (!m_szWriteablePath[0])
  {
    OSLOGDBG("nothing removed, no override");
    return kStatusOk;
  }

  // Locked before the probe, so an add that copies for a scanner being
  // attached cannot slip between the probe's answer and the delete. The
  // probe's time is bounded, so a hanging probe holds the lock only so long.
  CPnpHelperLock pnphelperlock(m_szLibPath);
  if (!MirrorUsable(pnphelperlock.Held()))
  {
    return kStatusRemoveFailed;
  }
  if (DeviceConnected(true))
  {
    OSLOGDBG("device is still connected");
    return kStatusOk;
  }
  // Without a user-root directory the model path is the root itself, which
  // is never deleted.
  if (CfgGet(kSectionMain, kTagUserRootDirectory)[0] && COsFile::Exists(m_szWriteableModelPath) &&
      COsFile::Delete(m_szWriteableModelPath, EOSFILETYPE_DIRECTORY, EOSBOOL_TRUE, false) != EOSSTS_OK)
  {
    OSLOG(EOSLOGFLAG_ERROR, "Unable to remove old files: %s", m_szWriteableModelPath);
    return kStatusRemoveFailed;
  }

  OSLOGDBG("WriteableRemove() Exit");
  return kStatusOk;
}

bool CPnpHelper::MirrorUsable(bool a_blLocked)
{
  // An empty source is handled by the actions: nothing is copied from it or
  // deleted at it.
  const char *szSource = CfgGet(kSectionMain, kTagUserRootDirectory);
  char szMirror[PATH_MAX];
  char szUserRoot[PATH_MAX];
  ResolvePath(m_szWriteableModelPath, szMirror);
  ResolvePath(szSource, szUserRoot);
  if (szSource[0] && (PathWithin(szMirror, szUserRoot) || PathWithin(szUserRoot, szMirror)))
  {
    OSLOG(EOSLOGFLAG_ERROR, "Writeable mirror overlaps the user-root directory...<%s> <%s>",
          m_szWriteableModelPath, szSource);
    return false;
  }
  if (!a_blLocked)
  {
    OSLOG(EOSLOGFLAG_ERROR, "Unable to lock writeable root...<%s>", m_szWriteablePath);
  }
  return a_blLocked;
}

EOSSTS WriteableCallBack(OsFileCopyDirectoryInfo *a_posfilecopydirectoryinfo)
{
  // An invalid record is answered "go on": the copy of that entry proceeds.
  if (!a_posfilecopydirectoryinfo || a_posfilecopydirectoryinfo->u32Size < 16)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "Invalid structure size");
    return EOSSTS_OK;
  }
  const char *szPath = a_posfilecopydirectoryinfo->szPath ? a_posfilecopydirectoryinfo->szPath : "";

  if (!a_posfilecopydirectoryinfo->szName)
  {
    // PathSplit normalises in place, so it works on a copy of the path.
    char szDirectory[OS_SIZE_PATH] = {0};
    COsString::SStrCpy(szDirectory, sizeof(szDirectory), szPath);
    char *szLast = nullptr;
    COsFile::PathSplit(szDirectory, nullptr, &szLast);
    if (szLast && strcasecmp(szLast, "profiles") == 0)
    {
      OSLOGDBG("Copy entire directory: %s", szPath);
      return EOSSTS_COPYWHOLEDIR;
    }
    OSLOGDBG("OK to look in directory: %s", szPath);
    return EOSSTS_OK;
  }

  const char *szName = a_posfilecopydirectoryinfo->szName;
  const char *szExtension = std::strrchr(szName, '.');
  if (szExtension && (strcasecmp(szExtension, ".ini") == 0 ||
                      (strcasecmp(szExtension, ".lock") == 0 && strncasecmp(szName, "usb", 3) == 0)))
  {
    OSLOGDBG("OK to copy: %s", szPath);
    return EOSSTS_OK;
  }
  OSLOGDBG("Do NOT copy: %s", szPath);
  return EOSSTS_COPYSKIP;
}

int main(int argc, char **argv)
{
  s_aszcfgdata[kCellWriteable] = "";  // default of [dsIdentity] writeable: no override

  char szArguments[OS_SIZE_TEXT];
  COsString::SStrPrintf(szArguments, sizeof(szArguments),
                        "<arguments>\n"
                        "\t<cfgsectionptr>%p</cfgsectionptr>\n"
                        "\t<cfgtagptr>%p</cfgtagptr>\n"
                        "\t<cfgdataptr>%p</cfgdataptr>\n"
                        "</arguments>",
                        static_cast<void *>(s_oscfgsectionlookup), static_cast<void *>(s_oscfgtaglookup),
                        static_cast<void *>(s_aszcfgdata));
  g_OsCfgHinstance = g_szOsCfgApplicationMarker;
  OsServicesStart(szArguments);

  if (g_poslog && g_poslog->GetDebugLevel())
  {
    // The line number of this message is fixed at 522, the number the
    // family's logs have always shown for it, wherever this call sits.
    g_poslog->Message("pnphelper", 522, EOSLOGFLAG_INFO, "create pnphelper object");
  }
  CPnpHelper *ppnphelper = new (std::nothrow) CPnpHelper;
  if (!ppnphelper)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "Unable to create object");
    OsServicesStop();
    return static_cast<int>(kStatusNoObject);
  }

  const uint32_t u32Status = ppnphelper->Run(argc, argv);
  OSLOGDBG("cleanup pnphelper object");
  delete ppnphelper;
  OsServicesStop();
  return static_cast<int>(u32Status);
}
