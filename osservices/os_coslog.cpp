// os_coslog.cpp: the log object, its file handling and the general
// information block written at the head of every new log.
//
// One line per call: the file is opened for appending, written with
// a single write and closed again, so that the log survives a crash and
// several processes can append to one file. Nothing on the logging path
// allocates: the 64 per-thread slots live in the implementation object and
// the text of a line is built in one static 1 MiB buffer guarded by the write
// lock. The log calls plain system functions wherever the services would log
// their own failures, so that it never re-enters itself; a re-entry that
// happens all the same (a bounded formatter reporting an overflow) is dropped
// by the slot's busy byte.
#include "os_coslog.h"

#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "os_coscfg.h"
#include "os_cosfilesafe.h"
#include "os_cosresource.h"
#include "os_cosstring.h"
#include "os_cossync.h"
#include "os_costhread.h"
#include "os_costime.h"
#include "os_coszerofilled.h"

namespace
{

constexpr int OSLOG_SLOTS = 64;
constexpr int OSLOG_FILTERWORDS = 32;
constexpr size_t OSLOG_BUFFERSIZE = 1048576;
constexpr int OSLOG_LINESIZE = 4096;
constexpr const char *OSLOG_SERVICESVERSION = "8.13.0.0";
constexpr uint8_t OSLOG_STATEINITIAL = 9;

// Level bits.
constexpr int OSLOG_LEVEL_KEEPOLD = 0x2;
constexpr int OSLOG_LEVEL_FLUSH = 0x4;
constexpr int OSLOG_LEVEL_DEVIOONLY = 0x10;
constexpr int OSLOG_LEVEL_CONSTANT = 0x20;
constexpr int OSLOG_LEVEL_MEMONLY = 0x40;
constexpr int OSLOG_LEVEL_DUMP = 0x100;
constexpr int OSLOG_LEVEL_FIND = 0x400;
constexpr int OSLOG_LEVEL_ERRORSONLY = 0x800;
constexpr int OSLOG_LEVEL_MDNS = 0x2000;
constexpr int OSLOG_LEVEL_NETXFER = 0x4000;

// The text of one line: header, message, CR LF.
char s_szLogBuffer[OSLOG_BUFFERSIZE];

// ---- helpers ---------------------------------------------------------------

// The time as 17 digits, year to milliseconds, for file names.
void LogTimeText(char *a_szText, int a_iSize, bool a_blLocal)
{
  OsTimeRecord ostimerecord;
  EOSSTS eossts =
      a_blLocal ? COsTime::GetLocalTime(&ostimerecord, 0, nullptr) : COsTime::GetSystemTime(&ostimerecord);
  if (eossts != EOSSTS_OK || COsTime::GetStringTime(&ostimerecord, a_szText, a_iSize) != EOSSTS_OK)
  {
    a_szText[0] = '\0';
  }
}

// Bounded copy that truncates; the log must not log its own copies.
void LogCopy(char *a_szDst, size_t a_sizeDst, const char *a_szSrc)
{
  if (a_sizeDst == 0)
  {
    return;
  }
  size_t sizeLen = strlen(a_szSrc);
  if (sizeLen >= a_sizeDst)
  {
    sizeLen = a_sizeDst - 1;
  }
  memmove(a_szDst, a_szSrc, sizeLen);
  a_szDst[sizeLen] = '\0';
}

void LogLower(char *a_sz)
{
  for (; *a_sz; a_sz++)
  {
    *a_sz = static_cast<char>(tolower(static_cast<unsigned char>(*a_sz)));
  }
}

// Formats silently, cutting what does not fit: the log's own paths and
// filter text must never report through the log.
int LogFormat(char *a_szDst, size_t a_sizeDst, const char *a_szFormat, ...) OS_PRINTF_FORMAT(3, 4);
int LogFormat(char *a_szDst, size_t a_sizeDst, const char *a_szFormat, ...)
{
  va_list valist;
  va_start(valist, a_szFormat);
  int iResult = vsnprintf(a_szDst, a_sizeDst, a_szFormat, valist);
  va_end(valist);
  return iResult;
}

// The mode given to created log directories and to the log file: the
// configuration's ForceFileCreationMask. Before a configuration exists (or
// while the entry is empty) everyone may read and write, the modes an
// ordinary file and directory get under a zero creation mask.
mode_t LogCreationMode(bool a_blDirectory)
{
  const char *szMask =
      g_poscfg ? g_poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_FORCEFILECREATIONMASK) : nullptr;
  if (!szMask || !*szMask)
  {
    return a_blDirectory ? 0777 : 0666;
  }
  return static_cast<mode_t>(strtol(szMask, COsCfg::GetThrowAwayPointer(), 0));
}

// Opens the log file for appending without following a symbolic link in its
// last component and without blocking on a FIFO. A regular file with a single
// link is what the shared-log rule of OsFileOpenWrite accepts in any
// directory, so such a file is taken after one open and one status call (the
// cost of every line); anything else, a missing file included, is left to
// OsFileOpenWrite, which creates the file with exactly mode 0666 and refuses
// links, FIFOs, devices, sockets and multiply linked files in directories
// that others can write. The descriptor may stay non-blocking, which a
// regular file ignores.
int LogOpen(const char *a_szPath, int a_iAccess)
{
  const int iFlags = a_iAccess | O_APPEND;
  int iFd = open(a_szPath, iFlags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (iFd >= 0)
  {
    struct stat st;
    if (fstat(iFd, &st) == 0 && S_ISREG(st.st_mode) && st.st_nlink == 1)
    {
      return iFd;
    }
    close(iFd);
  }
  return OsFileOpenWrite(a_szPath, iFlags | O_CREAT, 0666, OS_WRITER_SHAREDLOG);
}

// Follows symbolic links, as stat does.
bool LogDirectoryExists(const char *a_szPath)
{
  struct stat st;
  return stat(a_szPath, &st) == 0 && S_ISDIR(st.st_mode);
}

// Makes one directory with exactly the mode given, whatever the process's
// creation mask (which is never changed): the new directory is opened without
// following a link and its mode set on the descriptor. A directory that
// exists already is left as it is, so its mode is never widened.
void LogMakeDirectory(const char *a_szPath, mode_t a_mode)
{
  if (mkdir(a_szPath, a_mode) != 0)
  {
    return;
  }
  int iFd = open(a_szPath, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (iFd < 0)
  {
    return;
  }
  struct stat st;
  if (fstat(iFd, &st) == 0 && st.st_uid == geteuid())
  {
    (void)fchmod(iFd, a_mode);
  }
  close(iFd);
}

// Creates a directory and its missing parents ("mkdir -p"); links on the way
// are followed.
void LogMakeDirectories(const char *a_szPath, mode_t a_mode)
{
  char szPath[PATH_MAX];
  LogCopy(szPath, sizeof(szPath), a_szPath);
  for (char *pc = szPath + 1; *pc; pc++)
  {
    if (*pc == '/')
    {
      *pc = '\0';
      LogMakeDirectory(szPath, a_mode);
      *pc = '/';
    }
  }
  LogMakeDirectory(szPath, a_mode);
}

// The calling thread's identifier, asked of the system once per thread. The
// one thread of a forked child forgets it through a fork handler, since its
// identifier is new.
thread_local uint64_t t_u64ThreadId;

void LogForgetThreadId()
{
  t_u64ThreadId = 0;
}

uint64_t LogThreadId()
{
  if (!t_u64ThreadId)
  {
    static const int s_iAtFork = pthread_atfork(nullptr, nullptr, LogForgetThreadId);
    (void)s_iAtFork;
    t_u64ThreadId = COsThread::GetThreadId();
  }
  return t_u64ThreadId;
}

// Bytes of the escaped form of a byte: control characters other than tab
// become "\n", "\r" or "\xNN", so that one message stays one line.
size_t EscapedWidth(unsigned char a_uc)
{
  if (a_uc >= 0x20 || a_uc == '\t')
  {
    return 1;
  }
  return (a_uc == '\n' || a_uc == '\r') ? 2 : 4;
}

// Escapes the control characters of a text in place. The text grows at most
// to a_sizeRoom bytes; what does not fit is cut before a whole character.
// Returns the new length.
size_t LogEscapeControls(char *a_szText, size_t a_sizeLen, size_t a_sizeRoom)
{
  size_t sizeOut = 0;
  size_t sizeKept = 0;
  for (; sizeKept < a_sizeLen; sizeKept++)
  {
    size_t sizeWidth = EscapedWidth(static_cast<unsigned char>(a_szText[sizeKept]));
    if (sizeOut + sizeWidth > a_sizeRoom)
    {
      break;
    }
    sizeOut += sizeWidth;
  }
  // Written from the end backwards, so that nothing unread is overwritten;
  // once the output meets the input, the rest needs no escape.
  char *pcOut = a_szText + sizeOut;
  for (size_t ii = sizeKept; pcOut != a_szText + ii;)
  {
    ii--;
    unsigned char uc = static_cast<unsigned char>(a_szText[ii]);
    size_t sizeWidth = EscapedWidth(uc);
    pcOut -= sizeWidth;
    if (sizeWidth == 1)
    {
      *pcOut = static_cast<char>(uc);
    }
    else if (sizeWidth == 2)
    {
      pcOut[0] = '\\';
      pcOut[1] = (uc == '\n') ? 'n' : 'r';
    }
    else
    {
      static const char s_szHex[] = "0123456789abcdef";
      pcOut[0] = '\\';
      pcOut[1] = 'x';
      pcOut[2] = s_szHex[uc >> 4];
      pcOut[3] = s_szHex[uc & 0xf];
    }
  }
  return sizeOut;
}

// The last component of the running program's own file.
void LogProgramName(char *a_szName, size_t a_sizeName)
{
  char szExe[PATH_MAX];
  ssize_t sszLen = readlink("/proc/self/exe", szExe, sizeof(szExe) - 1);
  szExe[sszLen > 0 ? sszLen : 0] = '\0';
  const char *szSlash = strrchr(szExe, '/');
  LogCopy(a_szName, a_sizeName, szSlash ? szSlash + 1 : szExe);
}

void LogWriteAll(int a_iFd, const char *a_sz, size_t a_sizeLen)
{
  while (a_sizeLen > 0)
  {
    ssize_t sszDone = write(a_iFd, a_sz, a_sizeLen);
    if (sszDone <= 0)
    {
      if (sszDone < 0 && errno == EINTR)
      {
        continue;
      }
      return;
    }
    a_sz += sszDone;
    a_sizeLen -= static_cast<size_t>(sszDone);
  }
}

// True when the path may serve as the format of the fallback retry: its only
// conversions are "%%" and at most one "%s". Any other conversion would read
// arguments that are not there, so such a path is retried unchanged.
bool IsFallbackFormat(const char *a_szPath)
{
  int iStrings = 0;
  for (const char *pc = strchr(a_szPath, '%'); pc; pc = strchr(pc + 2, '%'))
  {
    if (pc[1] == 's')
    {
      iStrings++;
    }
    else if (pc[1] != '%')
    {
      return false;
    }
  }
  return iStrings <= 1;
}

}  // namespace

// One per thread that logs: its identity and the scratch state of the line
// being written.
struct OsLogSlot
{
  uint64_t u64ThreadId;  // 0: free
  uint8_t u8Busy;        // inside Message
  char cLetter;
  int iLine;
  int iErrno;
  OsTimeRecord ostimerecord;
  int iFd;
  char szSource[OS_SIZE_PATH];
  char szScratch[OS_SIZE_PATH];
};

// Zero-filled (COsZeroFilled): every member is plain data.
class COsLogImpl : public COsZeroFilled
{
public:
  COsLogImpl(const char *a_szName, const char *a_szLogFile, int a_iLevel, const char *a_szFilter);
  ~COsLogImpl();

  void Setup(char *a_szLogFile, int a_iLevel, const char *a_szFilter, uint8_t *a_pu8DsState);
  void VMessage(const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, const char *a_szFormat,
                va_list a_valist);
  void SelfMessage(int a_iLine, EOSLOGFLAG a_eoslogflag, const char *a_szFormat, ...) OS_PRINTF_FORMAT(4, 5);
  void GeneralInfo(OsLogSlot *a_poslogslot);
  void Flush();
  int SetHopeless(int a_iHopeless);
  bool CopyPath(char *a_szPath, size_t a_sizePath, bool a_blWholeOnly);
  int GetDsState() const { return m_pu8DsState ? *m_pu8DsState : 1; }

  static int LogSStrPrintf(char *a_szDst, uint32_t a_u32Size, const char *a_szFormat, ...)
      OS_PRINTF_FORMAT(3, 4);
  static int LogSStrCatf(char *a_szDst, uint32_t a_u32Size, const char *a_szFormat, ...)
      OS_PRINTF_FORMAT(3, 4);
  static void LogSStrCat(char *a_szDst, uint32_t a_u32Size, const char *a_szSrc);

  // The state the public accessors read and write.
  int m_iLevel;
  int m_iLevelGiven;
  uint8_t *m_pu8DsState;
  uint8_t m_u8DsState;
  int m_iAssert;
  bool m_blDump;
  bool m_blMdns;
  bool m_blNetXfer;
  bool m_blFind;
  bool m_blErrorsOnly;
  bool m_blKeepOld;
  volatile int m_iFlushing;
  volatile int m_iHopeless;
  char m_szLogFile[OS_SIZE_PATH];

private:
  void TakeOutSwitches(bool a_blSetup);
  void PathFromConstructor(const char *a_szLogFile);
  static bool PathFromSetup(char *a_szLogFile, char *a_szPath, size_t a_sizePath);
  static void ApplyLogDir(char *a_szPath, size_t a_sizePath);
  void SetFilter(const char *a_szFilter, bool a_blExpand);
  bool Admitted(EOSLOGFLAG a_eoslogflag) const;
  OsLogSlot *FindSlot();
  void SourceName(OsLogSlot *a_poslogslot, const char *a_szFile);
  bool Filtered(const char *a_szSource) const;
  bool OpenForMessage(OsLogSlot *a_poslogslot);
  bool DirectoryReady(OsLogSlot *a_poslogslot);
  void StartNewLog();
  int OpenWithFallback(OsLogSlot *a_poslogslot);
  void MakePathComponents(OsLogSlot *a_poslogslot, mode_t a_mode);
  int FormatHeader(const OsLogSlot *a_poslogslot, long a_lCounter, char *a_szHeader,
                   size_t a_sizeHeader) const;
  void WriteMessage(OsLogSlot *a_poslogslot, EOSLOGFLAG a_eoslogflag, const char *a_szFormat,
                    va_list a_valist);
  void WriteInfoLine(OsLogSlot *a_poslogslot, const char *a_szText, bool a_blReplaceOld = false);
  void WriteLine(OsLogSlot *a_poslogslot, size_t a_sizeHeader, size_t a_sizeText, bool a_blReplaceOld = false);
  void ReplaceContents(int a_iFd, const char *a_szLine, size_t a_sizeLine) const;
  void ForceToDisk(int a_iFd) const;
  void SystemInfoLine(char *a_szLine);
  void OsInfoLine(char *a_szLine);
  void AppInfoLine(char *a_szLine);
  void DllInfoLine(char *a_szLine);
  static void ConfigVersion(char *a_szVersion, uint32_t a_u32Size);
  static void CatVersions(char *a_szLine, const char *a_szConfigVersion, const char *a_szFile);

  // Lock order: the write lock before the filter lock. The write lock guards
  // the path, the counter, the static buffer and every step from the
  // directory check to the write, so that the switch to a new file and the
  // block at its head are seen whole by every thread; the filter lock guards
  // the filter words, which Setup rewrites.
  OSSPINLOCK m_lSlotLock;
  OSSPINLOCK m_lWriteLock;
  OSSPINLOCK m_lFilterLock;
  bool m_blNewLog;
  bool m_blDirectoryChecked;
  volatile int m_iGeneralInfoPending;
  volatile int32_t m_i32Counter;
  const char *m_aszFilterWord[OSLOG_FILTERWORDS + 1];
  char m_szFilter[OS_SIZE_LABEL];
  char m_szFilterExpanded[OS_SIZE_LABEL];
  char m_szName[OS_SIZE_NAME];
  char m_szLastFile[OS_SIZE_PATH];  // the file the last line went to
  OsLogSlot m_aoslogslot[OSLOG_SLOTS];
};

// ---- construction and set-up -----------------------------------------------

COsLogImpl::COsLogImpl(const char *a_szName, const char *a_szLogFile, int a_iLevel, const char *a_szFilter)
{
  m_u8DsState = OSLOG_STATEINITIAL;
  m_pu8DsState = &m_u8DsState;
  LogCopy(m_szName, sizeof(m_szName), a_szName ? a_szName : "");
  m_blNewLog = true;
  const char *szAssert = getenv("QRB_ASSERT");
  m_iAssert = (szAssert && *szAssert) ? static_cast<int>(strtol(szAssert, nullptr, 0)) : 3;

  m_iLevelGiven = a_iLevel;
  m_iLevel = a_iLevel;
  TakeOutSwitches(false);
  PathFromConstructor(a_szLogFile);
  SetFilter(a_szFilter, false);
  m_iGeneralInfoPending = 1;
  m_i32Counter = -1;
  m_iFlushing = 0;
  m_iHopeless = (m_szLogFile[0] == '\0') ? 1 : 0;
}

COsLogImpl::~COsLogImpl()
{
  g_poslog = nullptr;
}

// Moves the switch bits out of the level into their switches. A switch is
// only ever turned on here: a later Setup whose level lacks the bit (the
// level of a running log has it taken out already) leaves it as it is.
void COsLogImpl::TakeOutSwitches(bool a_blSetup)
{
  const struct
  {
    int iBit;
    bool *pblSwitch;
    bool blTakeOut;
  } aswitch[] = {{OSLOG_LEVEL_DUMP, &m_blDump, true},
                 {OSLOG_LEVEL_MDNS, &m_blMdns, true},
                 {OSLOG_LEVEL_NETXFER, &m_blNetXfer, true},
                 {OSLOG_LEVEL_FIND, &m_blFind, true},
                 {OSLOG_LEVEL_ERRORSONLY, &m_blErrorsOnly, false},
                 {OSLOG_LEVEL_KEEPOLD, &m_blKeepOld, true}};
  for (const auto &sw : aswitch)
  {
    if (sw.iBit == OSLOG_LEVEL_KEEPOLD && !a_blSetup)
    {
      continue;  // only Setup takes out the level-2 switch
    }
    if (m_iLevel & sw.iBit)
    {
      *sw.pblSwitch = true;
      m_iLevel &= sw.blTakeOut ? ~sw.iBit : ~0;
    }
  }
}

// "@VAR@/name.ext" names a directory by an environment variable; the file
// becomes <dir>/name_<program>.log.
void COsLogImpl::PathFromConstructor(const char *a_szLogFile)
{
  m_szLogFile[0] = '\0';
  if (!a_szLogFile)
  {
    return;
  }
  const char *szLastAt = strrchr(a_szLogFile, '@');
  if (!szLastAt || !strchr(a_szLogFile + 1, '@'))
  {
    LogCopy(m_szLogFile, sizeof(m_szLogFile), a_szLogFile);
    return;
  }
  char szVariable[OS_SIZE_PATH];
  LogCopy(szVariable, sizeof(szVariable), a_szLogFile + 1);
  size_t sizeVariable = static_cast<size_t>(szLastAt - (a_szLogFile + 1));
  szVariable[sizeVariable < sizeof(szVariable) ? sizeVariable : sizeof(szVariable) - 1] = '\0';
  const char *szDirectory = getenv(szVariable);
  LogFormat(m_szLogFile, sizeof(m_szLogFile), "%s%s", szDirectory ? szDirectory : ".", szLastAt + 1);
  for (char *pc = m_szLogFile; *pc; pc++)
  {
    if (*pc == '\\')
    {
      *pc = '/';
    }
  }
  char *szDot = strrchr(m_szLogFile, '.');
  if (szDot)
  {
    *szDot = '\0';
  }
  char szProgram[OS_SIZE_LINE];
  LogProgramName(szProgram, sizeof(szProgram));
  size_t sizeLen = strlen(m_szLogFile);
  LogFormat(m_szLogFile + sizeLen, sizeof(m_szLogFile) - sizeLen, "_%s.log", szProgram);
  ApplyLogDir(m_szLogFile, sizeof(m_szLogFile));
}

// Setup's "@" handling differs from the constructor's: the variable looked
// up is everything after the first character, so it normally falls back to
// ".". The caller's buffer is cut at its last "@". Returns false, leaving
// a_szPath alone, when there is no new path.
bool COsLogImpl::PathFromSetup(char *a_szLogFile, char *a_szPath, size_t a_sizePath)
{
  if (!a_szLogFile)
  {
    return false;
  }
  char *szLastAt = strrchr(a_szLogFile, '@');
  if (!szLastAt)
  {
    LogCopy(a_szPath, a_sizePath, a_szLogFile);
  }
  else
  {
    char szVariable[OS_SIZE_PATH];
    LogCopy(szVariable, sizeof(szVariable), a_szLogFile + 1);
    *szLastAt = '\0';
    const char *szDirectory = getenv(szVariable);
    LogFormat(a_szPath, a_sizePath, "%s%s", szDirectory ? szDirectory : ".", szLastAt + 1);
  }
  ApplyLogDir(a_szPath, a_sizePath);
  return true;
}

// QRB_LOGDIR replaces the path by one named after the current system time.
void COsLogImpl::ApplyLogDir(char *a_szPath, size_t a_sizePath)
{
  const char *szLogDir = getenv("QRB_LOGDIR");
  if (szLogDir && *szLogDir)
  {
    char szTime[48];
    LogTimeText(szTime, static_cast<int>(sizeof(szTime)), false);
    LogFormat(a_szPath, a_sizePath, "%s/qrb_%s.log", szLogDir, szTime);
  }
}

// The filter words point into m_szFilter; m_szFilterExpanded keeps the text
// whole for the general information block. Setup expands the keywords
// TWAIN, WIRE and XML and lower-cases the result.
void COsLogImpl::SetFilter(const char *a_szFilter, bool a_blExpand)
{
  static const struct
  {
    const char *szKeyword;
    const char *szWords;
  } s_aexpansion[] = {{"TWAIN", "qrbdat twn_ db_cdbdatum "},
                      {"WIRE", "qrbhal qrbprot "},
                      {"XML", "twn_ctwngui img_cimgokapi "}};
  const char *szFilter = a_szFilter ? a_szFilter : "";
  if (!a_blExpand)
  {
    LogCopy(m_szFilterExpanded, sizeof(m_szFilterExpanded), szFilter);
  }
  else
  {
    char szWork[OS_SIZE_PATH];
    char *szSave = nullptr;
    LogCopy(szWork, sizeof(szWork), szFilter);
    m_szFilterExpanded[0] = '\0';
    for (char *szWord = strtok_r(szWork, " \t", &szSave); szWord; szWord = strtok_r(nullptr, " \t", &szSave))
    {
      const char *szAdd = nullptr;
      for (const auto &expansion : s_aexpansion)
      {
        if (strcasecmp(szWord, expansion.szKeyword) == 0)
        {
          szAdd = expansion.szWords;
        }
      }
      size_t sizeLen = strlen(m_szFilterExpanded);
      LogFormat(m_szFilterExpanded + sizeLen, sizeof(m_szFilterExpanded) - sizeLen, "%s%s",
                szAdd ? szAdd : szWord, szAdd ? "" : " ");
    }
    size_t sizeLen = strlen(m_szFilterExpanded);
    if (sizeLen > 0 && m_szFilterExpanded[sizeLen - 1] == ' ')
    {
      m_szFilterExpanded[sizeLen - 1] = '\0';
    }
    LogLower(m_szFilterExpanded);
  }
  LogCopy(m_szFilter, sizeof(m_szFilter), m_szFilterExpanded);
  int iWords = 0;
  char *szSave = nullptr;
  for (char *szWord = strtok_r(m_szFilter, " ", &szSave); szWord && iWords < OSLOG_FILTERWORDS;
       szWord = strtok_r(nullptr, " ", &szSave))
  {
    m_aszFilterWord[iWords++] = szWord;
  }
  m_aszFilterWord[iWords] = nullptr;
}

// The new path is worked out before the locks are taken (nothing that could
// log runs under them); the path, level and filter then change together
// for every other thread.
void COsLogImpl::Setup(char *a_szLogFile, int a_iLevel, const char *a_szFilter, uint8_t *a_pu8DsState)
{
  char szNew[sizeof(m_szLogFile)];
  const bool blNewPath = PathFromSetup(a_szLogFile, szNew, sizeof(szNew));
  COsSync::SpinLock(&m_lWriteLock);
  COsSync::SpinLock(&m_lFilterLock);
  m_iLevelGiven = a_iLevel;
  m_iLevel = a_iLevel;
  TakeOutSwitches(true);
  const bool blHasPath = blNewPath || m_szLogFile[0] != '\0';
  if (blHasPath)
  {
    if (blNewPath && strcmp(szNew, m_szLogFile) != 0)
    {
      m_iGeneralInfoPending = 1;
      LogCopy(m_szLogFile, sizeof(m_szLogFile), szNew);
    }
    SetFilter(a_szFilter, true);
    m_blNewLog = true;
    if (a_pu8DsState)
    {
      m_pu8DsState = a_pu8DsState;
    }
  }
  m_iHopeless = blHasPath ? 0 : 1;
  COsSync::SpinUnlock(&m_lFilterLock);
  COsSync::SpinUnlock(&m_lWriteLock);
  if (blHasPath && m_iLevel)
  {
    SelfMessage(__LINE__, EOSLOGFLAG_PROCESS, "### OsServicesStart...");
  }
}

void COsLogImpl::SelfMessage(int a_iLine, EOSLOGFLAG a_eoslogflag, const char *a_szFormat, ...)
{
  va_list valist;
  va_start(valist, a_szFormat);
  VMessage(__FILE__, a_iLine, a_eoslogflag, a_szFormat, valist);
  va_end(valist);
}

int COsLogImpl::SetHopeless(int a_iHopeless)
{
  int iOld = m_iHopeless;
  m_iHopeless = a_iHopeless;
  return iOld;
}

// Copies the path as one piece, cut to the room unless a_blWholeOnly asks
// for all or nothing; false when it does not fit.
bool COsLogImpl::CopyPath(char *a_szPath, size_t a_sizePath, bool a_blWholeOnly)
{
  COsSync::SpinLock(&m_lWriteLock);
  const bool blFits = strlen(m_szLogFile) < a_sizePath;
  if (blFits || !a_blWholeOnly)
  {
    LogCopy(a_szPath, a_sizePath, m_szLogFile);
  }
  COsSync::SpinUnlock(&m_lWriteLock);
  return blFits;
}

// ---- one message -------------------------------------------------------------

// The level and switch rules that decide whether a flag is written at all.
bool COsLogImpl::Admitted(EOSLOGFLAG a_eoslogflag) const
{
  if (a_eoslogflag == EOSLOGFLAG_FIND)
  {
    return m_blFind;
  }
  if (m_blErrorsOnly)
  {
    if (a_eoslogflag != EOSLOGFLAG_ERROR && a_eoslogflag != EOSLOGFLAG_ASSERT &&
        a_eoslogflag != EOSLOGFLAG_PROCESS)
    {
      return false;
    }
    if (a_eoslogflag == EOSLOGFLAG_ASSERT)
    {
      return true;
    }
  }
  if (a_eoslogflag == EOSLOGFLAG_ERROR || a_eoslogflag == EOSLOGFLAG_ASSERT)
  {
    return true;
  }
  if (m_iLevel & OSLOG_LEVEL_DEVIOONLY)
  {
    return a_eoslogflag == EOSLOGFLAG_DEVIO;
  }
  if (m_iLevel & OSLOG_LEVEL_MEMONLY)
  {
    return a_eoslogflag == EOSLOGFLAG_MEM || a_eoslogflag == EOSLOGFLAG_MEMSHARED ||
           a_eoslogflag == EOSLOGFLAG_MEMEXTERNAL || a_eoslogflag == EOSLOGFLAG_MEMNOTOWNER;
  }
  return true;
}

// The calling thread's slot, claimed on its first message: a free slot or
// one whose thread has gone. Null when 64 running threads hold them all.
// Slots are claimed from the front and never freed, only taken over, so the
// search for the caller's own slot ends at the first free one: a first
// message does not touch the pages of all 64 slots.
OsLogSlot *COsLogImpl::FindSlot()
{
  uint64_t u64Id = LogThreadId();
  for (OsLogSlot &slot : m_aoslogslot)
  {
    const uint64_t u64Owner = __atomic_load_n(&slot.u64ThreadId, __ATOMIC_ACQUIRE);
    if (u64Owner == u64Id)
    {
      return &slot;
    }
    if (!u64Owner)
    {
      break;
    }
  }
  OsLogSlot *poslogslot = nullptr;
  COsSync::SpinLock(&m_lSlotLock);
  for (OsLogSlot &slot : m_aoslogslot)
  {
    uint64_t u64Owner = __atomic_load_n(&slot.u64ThreadId, __ATOMIC_ACQUIRE);
    if (u64Owner == 0 || !COsThread::IsThreadRunning(u64Owner))
    {
      slot.u8Busy = 0;
      __atomic_store_n(&slot.u64ThreadId, u64Id, __ATOMIC_RELEASE);
      poslogslot = &slot;
      break;
    }
  }
  COsSync::SpinUnlock(&m_lSlotLock);
  return poslogslot;
}

// "/src/os_cosstring.cpp" becomes "os_cosstring".
void COsLogImpl::SourceName(OsLogSlot *a_poslogslot, const char *a_szFile)
{
  char *szSource = a_poslogslot->szSource;
  LogCopy(szSource, sizeof(a_poslogslot->szSource), a_szFile ? a_szFile : "");
  LogLower(szSource);
  char *szDot = strrchr(szSource, '.');
  if (szDot)
  {
    *szDot = '\0';
  }
  char *szBase = szSource;
  for (char *pc = szSource; *pc; pc++)
  {
    if (*pc == '/' || *pc == '\\')
    {
      szBase = pc + 1;
    }
  }
  memmove(szSource, szBase, strlen(szBase) + 1);
}

// True when the word filters drop a message from this source: plain words
// must include it, "~" words must not.
bool COsLogImpl::Filtered(const char *a_szSource) const
{
  bool blHasInclude = false;
  bool blIncluded = false;
  for (int ii = 0; m_aszFilterWord[ii]; ii++)
  {
    const char *szWord = m_aszFilterWord[ii];
    if (szWord[0] == '~')
    {
      if (strstr(a_szSource, szWord + 1))
      {
        return true;
      }
      continue;
    }
    blHasInclude = true;
    if (strstr(a_szSource, szWord))
    {
      blIncluded = true;
    }
  }
  return blHasInclude && !blIncluded;
}

void COsLogImpl::VMessage(const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, const char *a_szFormat,
                          va_list a_valist)
{
  int iErrno = errno;
  if (m_iHopeless || !Admitted(a_eoslogflag))
  {
    errno = iErrno;
    return;
  }
  OsLogSlot *poslogslot = FindSlot();
  if (!poslogslot || poslogslot->u8Busy)
  {
    errno = iErrno;
    return;
  }
  poslogslot->u8Busy = 1;
  poslogslot->iErrno = iErrno;
  poslogslot->cLetter = (a_eoslogflag == EOSLOGFLAG_ASSERT)    ? 'A'
                        : (a_eoslogflag == EOSLOGFLAG_PROCESS) ? 'P'
                        : (a_eoslogflag == EOSLOGFLAG_ERROR)   ? 'E'
                                                               : '.';
  poslogslot->iLine = a_iLine;
  SourceName(poslogslot, a_szFile);
  bool blWrite = a_eoslogflag == EOSLOGFLAG_ERROR;
  if (!blWrite)
  {
    COsSync::SpinLock(&m_lFilterLock);
    blWrite = !Filtered(poslogslot->szSource);
    COsSync::SpinUnlock(&m_lFilterLock);
  }
  if (blWrite)
  {
    WriteMessage(poslogslot, a_eoslogflag, a_szFormat ? a_szFormat : "", a_valist);
  }
  poslogslot->u8Busy = 0;
  if (a_eoslogflag == EOSLOGFLAG_ASSERT && m_iAssert)
  {
    if (m_iLevel && (m_iAssert & 0x2))
    {
      fprintf(stderr, "<%s> <%d> <%s>\r\n", a_szFile ? a_szFile : "", a_iLine, a_szFormat ? a_szFormat : "");
      fflush(stderr);
    }
    Flush();
  }
  errno = iErrno;
}

int COsLogImpl::FormatHeader(const OsLogSlot *a_poslogslot, long a_lCounter, char *a_szHeader,
                             size_t a_sizeHeader) const
{
  const OsTimeRecord &ostimerecord = a_poslogslot->ostimerecord;
  int iLen = snprintf(a_szHeader, a_sizeHeader, "%05ld %02d%02d%02d%03d %-32.32s %5d %5d T%04llu S%d V%c ",
                      a_lCounter, ostimerecord.wHour, ostimerecord.wMinute, ostimerecord.wSecond,
                      ostimerecord.wMilliseconds, a_poslogslot->szSource, a_poslogslot->iLine,
                      a_poslogslot->iErrno, static_cast<unsigned long long>(a_poslogslot->u64ThreadId),
                      GetDsState() & 0xff, a_poslogslot->cLetter);
  return (iLen < 0) ? 0
                    : (static_cast<size_t>(iLen) >= a_sizeHeader ? static_cast<int>(a_sizeHeader) - 1 : iLen);
}

void COsLogImpl::ForceToDisk(int a_iFd) const
{
  fsync(a_iFd);
}

// From the file's opening to the write everything happens under the write
// lock: other threads wait while a new file is chosen and its block written,
// and counters are given in the order of the lines.
void COsLogImpl::WriteMessage(OsLogSlot *a_poslogslot, EOSLOGFLAG a_eoslogflag, const char *a_szFormat,
                              va_list a_valist)
{
  if (COsTime::GetLocalTime(&a_poslogslot->ostimerecord, 0, nullptr) != EOSSTS_OK)
  {
    memset(&a_poslogslot->ostimerecord, 0, sizeof(a_poslogslot->ostimerecord));
  }
  COsSync::SpinLock(&m_lWriteLock);
  if (m_iLevel & OSLOG_LEVEL_FLUSH)
  {
    m_iLevel &= ~OSLOG_LEVEL_FLUSH;
    m_iFlushing = 1;
  }
  if (!OpenForMessage(a_poslogslot))
  {
    COsSync::SpinUnlock(&m_lWriteLock);
    return;
  }
  if (m_iGeneralInfoPending)
  {
    GeneralInfo(a_poslogslot);
  }
  long lCounter = ++m_i32Counter;
  if (m_iLevel & OSLOG_LEVEL_CONSTANT)
  {
    lCounter = 0;
    a_poslogslot->ostimerecord.wHour = 0;
    a_poslogslot->ostimerecord.wMinute = 0;
    a_poslogslot->ostimerecord.wSecond = 0;
    a_poslogslot->ostimerecord.wMilliseconds = 0;
    a_poslogslot->iErrno = 0;
  }
  int iHeader = FormatHeader(a_poslogslot, lCounter, s_szLogBuffer, OSLOG_BUFFERSIZE);
  // Room is kept for CR LF: an over-long text is cut, never the line end.
  // The formatter's own overflow report re-enters the log and is dropped.
  uint32_t u32Room = static_cast<uint32_t>(OSLOG_BUFFERSIZE - static_cast<size_t>(iHeader) - 2);
  int iText = COsString::SStrVprintf(s_szLogBuffer + iHeader, u32Room, a_szFormat, a_valist);
  size_t sizeText = (iText >= 0) ? static_cast<size_t>(iText) : strlen(s_szLogBuffer + iHeader);
  WriteLine(a_poslogslot, static_cast<size_t>(iHeader), sizeText);
  if (m_iFlushing || (a_eoslogflag & (EOSLOGFLAG_ERROR | EOSLOGFLAG_FLUSHBIT | EOSLOGFLAG_ASSERT)))
  {
    ForceToDisk(a_poslogslot->iFd);
  }
  COsSync::SpinUnlock(&m_lWriteLock);
  close(a_poslogslot->iFd);
  a_poslogslot->iFd = -1;
}

// Writes the line in the static buffer (header, then text) with one write:
// the text's control characters escaped, CR LF appended; with a_blReplaceOld
// the line replaces the file's old contents. The caller holds the write lock.
void COsLogImpl::WriteLine(OsLogSlot *a_poslogslot, size_t a_sizeHeader, size_t a_sizeText, bool a_blReplaceOld)
{
  size_t sizeRoom = OSLOG_BUFFERSIZE - a_sizeHeader - 3;
  size_t sizeLine = a_sizeHeader + LogEscapeControls(s_szLogBuffer + a_sizeHeader, a_sizeText, sizeRoom);
  s_szLogBuffer[sizeLine++] = '\r';
  s_szLogBuffer[sizeLine++] = '\n';
  if (a_blReplaceOld)
  {
    ReplaceContents(a_poslogslot->iFd, s_szLogBuffer, sizeLine);
  }
  else
  {
    LogWriteAll(a_poslogslot->iFd, s_szLogBuffer, sizeLine);
  }
}

// The file a_iFd (opened for appending) afterwards holds just the line: the
// same as truncating it to length 0 and appending the line, which is what a
// new log does, but the line is written over the start of the file and the
// file cut after it. The file thus keeps its first block; emptying a file
// that was written a moment ago makes the file system write it out and give
// its blocks back first, which took 0.5 ms of every program start.
void COsLogImpl::ReplaceContents(int a_iFd, const char *a_szLine, size_t a_sizeLine) const
{
  const bool blPositioned = (fcntl(a_iFd, F_SETFL, 0) == 0);  // pwrite ignores the offset when appending
  const ssize_t sszDone = blPositioned ? pwrite(a_iFd, a_szLine, a_sizeLine, 0) : -1;
  if (ftruncate(a_iFd, (sszDone > 0) ? sszDone : 0) != 0)
  {
    fprintf(stderr, "ftruncate failed...<%s>\n", m_szLogFile);
  }
  (void)fcntl(a_iFd, F_SETFL, O_APPEND);
}

// ---- the log file ------------------------------------------------------------

// The log directory is tested until it once exists; lines are lost until
// then. Called under the write lock.
bool COsLogImpl::DirectoryReady(OsLogSlot *a_poslogslot)
{
  if (m_blDirectoryChecked)
  {
    return true;
  }
  char *szDirectory = a_poslogslot->szScratch;
  LogCopy(szDirectory, sizeof(a_poslogslot->szScratch), m_szLogFile);
  char *szSlash = strrchr(szDirectory, '/');
  if (!szSlash)
  {
    LogCopy(szDirectory, sizeof(a_poslogslot->szScratch), ".");
  }
  else
  {
    szSlash[szSlash == szDirectory ? 1 : 0] = '\0';
  }
  m_blDirectoryChecked = LogDirectoryExists(szDirectory);
  return m_blDirectoryChecked;
}

// A new log may be redirected into QRB_DEBUGDIR, named after the local time.
// Two logs begun in the same millisecond get the same name: the second then
// goes on in the file the first began, without a second block (as for a
// Setup that keeps the path), so that no line of the first is cut away.
void COsLogImpl::StartNewLog()
{
  m_blNewLog = false;
  const char *szDebugDir = getenv("QRB_DEBUGDIR");
  if (!szDebugDir || !*szDebugDir)
  {
    return;
  }
  LogMakeDirectories(szDebugDir, LogCreationMode(true));
  char szTime[48];
  LogTimeText(szTime, static_cast<int>(sizeof(szTime)), true);
  LogFormat(m_szLogFile, sizeof(m_szLogFile), "%s/%s.log", szDebugDir, szTime);
  if (strcmp(m_szLogFile, m_szLastFile) == 0)
  {
    m_iGeneralInfoPending = 0;
  }
}

// Creates each prefix of the path as a directory. The prefixes are joined
// with a backslash, the program's fixed choice on every platform: here the
// directories made carry backslashes in their names.
void COsLogImpl::MakePathComponents(OsLogSlot *a_poslogslot, mode_t a_mode)
{
  char szWork[sizeof(m_szLogFile)];
  char *szPrefix = a_poslogslot->szScratch;
  size_t sizePrefix = sizeof(a_poslogslot->szScratch);
  char *szSave = nullptr;
  LogCopy(szWork, sizeof(szWork), m_szLogFile);
  szPrefix[0] = '\0';
  for (char *szPart = strtok_r(szWork, "/\\", &szSave); szPart; szPart = strtok_r(nullptr, "/\\", &szSave))
  {
    size_t sizeLen = strlen(szPrefix);
    LogCopy(szPrefix + sizeLen, sizePrefix - sizeLen, szPart);
    sizeLen = strlen(szPrefix);
    if (sizeLen > 0 && szPrefix[sizeLen - 1] != ':')
    {
      LogMakeDirectory(szPrefix, a_mode);
    }
    LogCopy(szPrefix + sizeLen, sizePrefix - sizeLen, "\\");
  }
}

// The fallbacks when the plain append fails: make the directories, then
// format the path with itself as the format and "/tmp/qrb.log" as its only
// argument. The log turns hopeless when nothing opens (a file refused as
// unsafe counts as one that does not open).
int COsLogImpl::OpenWithFallback(OsLogSlot *a_poslogslot)
{
  MakePathComponents(a_poslogslot, LogCreationMode(true));
  int iFd = LogOpen(m_szLogFile, O_RDWR);
  if (iFd < 0)
  {
    if (IsFallbackFormat(m_szLogFile))
    {
      char szRetry[sizeof(m_szLogFile)];
      szRetry[0] = '\0';
      COsString::SStrPrintf(szRetry, sizeof(szRetry), m_szLogFile, "/tmp/qrb.log");
      LogCopy(m_szLogFile, sizeof(m_szLogFile), szRetry);
    }
    iFd = LogOpen(m_szLogFile, O_RDWR);
  }
  if (iFd < 0)
  {
    m_iHopeless = 1;
    return -1;
  }
  fchmod(iFd, LogCreationMode(false));
  return iFd;
}

// Called under the write lock.
bool COsLogImpl::OpenForMessage(OsLogSlot *a_poslogslot)
{
  // A thread that waited for the lock while the log turned hopeless drops
  // its line, as it would have done a moment later.
  if (m_iHopeless || !DirectoryReady(a_poslogslot))
  {
    return false;
  }
  if (m_blNewLog)
  {
    StartNewLog();
  }
  int iFd = LogOpen(m_szLogFile, O_WRONLY);
  if (iFd < 0)
  {
    iFd = OpenWithFallback(a_poslogslot);
  }
  if (iFd < 0)
  {
    return false;
  }
  a_poslogslot->iFd = iFd;
  LogCopy(m_szLastFile, sizeof(m_szLastFile), m_szLogFile);
  return true;
}

void COsLogImpl::Flush()
{
  COsSync::SpinLock(&m_lWriteLock);
  int iFd = (m_szLogFile[0] != '\0') ? LogOpen(m_szLogFile, O_WRONLY) : -1;
  COsSync::SpinUnlock(&m_lWriteLock);
  if (iFd >= 0)
  {
    ForceToDisk(iFd);
    close(iFd);
  }
}

// ---- the general information block -----------------------------------------

int COsLogImpl::LogSStrPrintf(char *a_szDst, uint32_t a_u32Size, const char *a_szFormat, ...)
{
  if (!a_szDst || !a_u32Size || !a_szFormat)
  {
    fprintf(stderr, "LogSStrPrintf failed...%p %u %p\n", static_cast<void *>(a_szDst), a_u32Size,
            static_cast<const void *>(a_szFormat));
    return -1;
  }
  va_list valist;
  va_start(valist, a_szFormat);
  int iLen = vsnprintf(a_szDst, a_u32Size, a_szFormat, valist);
  va_end(valist);
  if (iLen >= static_cast<int>(a_u32Size))
  {
    fprintf(stderr, "LogSStrPrintf failed...<%s>\n", a_szFormat);
    return -1;
  }
  return iLen;
}

int COsLogImpl::LogSStrCatf(char *a_szDst, uint32_t a_u32Size, const char *a_szFormat, ...)
{
  if (!a_szDst || !a_u32Size || !a_szFormat)
  {
    fprintf(stderr, "LogSStrCatf failed...%p %u %p\n", static_cast<void *>(a_szDst), a_u32Size,
            static_cast<const void *>(a_szFormat));
    return -1;
  }
  size_t sizeLen = strlen(a_szDst);
  va_list valist;
  va_start(valist, a_szFormat);
  int iLen = vsnprintf(a_szDst + sizeLen, a_u32Size - sizeLen, a_szFormat, valist);
  va_end(valist);
  if (iLen < 0)
  {
    return iLen;
  }
  size_t sizeTotal = sizeLen + static_cast<size_t>(iLen);
  if (a_u32Size <= sizeTotal)
  {
    fprintf(stderr, "LogSStrCatf failed...<%s>\n", a_szFormat);
    return -1;
  }
  return static_cast<int>(sizeTotal);
}

void COsLogImpl::LogSStrCat(char *a_szDst, uint32_t a_u32Size, const char *a_szSrc)
{
  if (!a_szDst || !a_u32Size || !a_szSrc)
  {
    fprintf(stderr, "LogSStrCat failed...%p %u %p\n", static_cast<void *>(a_szDst), a_u32Size,
            static_cast<const void *>(a_szSrc));
    return;
  }
  size_t sizeLen = strlen(a_szDst);
  if (a_u32Size <= sizeLen + strlen(a_szSrc))
  {
    fprintf(stderr, "LogSStrCat failed...<%s>\n", a_szSrc);
    return;
  }
  memcpy(a_szDst + sizeLen, a_szSrc, strlen(a_szSrc) + 1);
}

// One line of the block: header with the next counter, the text without its
// CR LF, one write. Called under the write lock.
void COsLogImpl::WriteInfoLine(OsLogSlot *a_poslogslot, const char *a_szText, bool a_blReplaceOld)
{
  int iHeader = FormatHeader(a_poslogslot, ++m_i32Counter, s_szLogBuffer, OSLOG_BUFFERSIZE);
  size_t sizeText = strlen(a_szText);
  if (sizeText >= 2 && strcmp(a_szText + sizeText - 2, "\r\n") == 0)
  {
    sizeText -= 2;
  }
  memcpy(s_szLogBuffer + iHeader, a_szText, sizeText);
  WriteLine(a_poslogslot, static_cast<size_t>(iHeader), sizeText, a_blReplaceOld);
  if (m_iFlushing)
  {
    ForceToDisk(a_poslogslot->iFd);
  }
}

void COsLogImpl::SystemInfoLine(char *a_szLine)
{
  char szIntegrity[16];
  LogFormat(szIntegrity, sizeof(szIntegrity), "%u", COsThread::GetProcessIntegrity());
  LogSStrPrintf(
      a_szLine, OSLOG_LINESIZE,
      "### systemInfo <arch:%d ps:%d pmask:0x%08lx ncpu:%d cputype:%d cpulevel:%d cpurev:%d "
      "bits:proc-%d/mach-%d spd:~%d pid:%llu pmem:%lld/%lld vmem:%lld/%lld memload:%d integrity:%s>\r\n",
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_ARCHITECTURE)),
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_PAGESIZE)),
      static_cast<unsigned long>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_ACTIVEPROCESSORMASK)),
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_TOTAL)),
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_TYPE)),
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_LEVEL)),
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_REVISION)),
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_PROCESSBITS)),
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_MACHINEBITS)),
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_CPU_MHZ)),
      static_cast<unsigned long long>(COsThread::GetProcessId()),
      COsCfg::InfoGetLongLong(OS_CFGINFO_MEM_AVAILPHYSICAL),
      COsCfg::InfoGetLongLong(OS_CFGINFO_MEM_TOTALPHYSICAL),
      COsCfg::InfoGetLongLong(OS_CFGINFO_MEM_AVAILVIRTUAL),
      COsCfg::InfoGetLongLong(OS_CFGINFO_MEM_TOTALVIRTUAL),
      static_cast<int>(COsCfg::InfoGetLong(OS_CFGINFO_MEM_LOAD)), szIntegrity);
}

void COsLogImpl::OsInfoLine(char *a_szLine)
{
  LogSStrPrintf(a_szLine, OSLOG_LINESIZE, "### osInfo <Os:%s Kernel:%s>\r\n",
                COsCfg::InfoGetString(OS_CFGINFO_OS_NAME),
                COsCfg::InfoGetString(OS_CFGINFO_OS_KERNELVERSION));
}

// The configured version (entries 48 to 51) dotted, or "(none)".
void COsLogImpl::ConfigVersion(char *a_szVersion, uint32_t a_u32Size)
{
  LogSStrPrintf(a_szVersion, a_u32Size, "%s", "(none)");
  if (!g_poscfg)
  {
    return;
  }
  const char *aszField[4];
  bool blEmpty = true;
  for (uint32_t ii = 0; ii < 4; ii++)
  {
    const char *szField = g_poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_VERSION_MAJORNUM + ii);
    aszField[ii] = szField ? szField : "";
    blEmpty = blEmpty && !aszField[ii][0];
  }
  if (!blEmpty)
  {
    COsString::StrConvertVersionFromFields(a_szVersion, a_u32Size, true, atoi(aszField[0]), atoi(aszField[1]),
                                           atoi(aszField[2]), atoi(aszField[3]));
  }
}

// "versioncfg=... versionresource=... versionsimple=..." for a module file.
void COsLogImpl::CatVersions(char *a_szLine, const char *a_szConfigVersion, const char *a_szFile)
{
  char szVersion[OS_SIZE_NAME];
  char szSimple[OS_SIZE_NAME];
  if (COsResource::GetVersion(a_szFile, szVersion, sizeof(szVersion), "VERSION", true) != EOSSTS_OK ||
      !szVersion[0])
  {
    LogSStrPrintf(szVersion, sizeof(szVersion), "%s", "(n/a)");
  }
  if (COsResource::GetVersion(a_szFile, szSimple, sizeof(szSimple), "VERSIONSIMPLE", true) != EOSSTS_OK ||
      !szSimple[0])
  {
    LogSStrPrintf(szSimple, sizeof(szSimple), "%s", "(n/a)");
  }
  LogSStrCatf(a_szLine, OSLOG_LINESIZE, "versioncfg=%s versionresource=%s versionsimple=%s\r\n",
              a_szConfigVersion, szVersion, szSimple);
}

// The command line's first argument (up to its first NUL) and the program's
// versions; inside a library the resources are read from that program file.
void COsLogImpl::AppInfoLine(char *a_szLine)
{
  char szPath[OS_SIZE_NAME];
  char szCommand[OS_SIZE_PATH] = "";
  LogFormat(szPath, sizeof(szPath), "/proc/%llu/cmdline",
            static_cast<unsigned long long>(COsThread::GetProcessId()));
  int iFd = open(szPath, O_RDONLY | O_CLOEXEC);
  if (iFd >= 0)
  {
    ssize_t sszRead = read(iFd, szCommand, sizeof(szCommand) - 1);
    szCommand[sszRead > 0 ? sszRead : 0] = '\0';
    close(iFd);
  }
  bool blLibrary = COsCfg::IsLibrary();
  char szConfigVersion[OS_SIZE_NAME];
  if (blLibrary)
  {
    LogSStrPrintf(szConfigVersion, sizeof(szConfigVersion), "%s", "(none)");
  }
  else
  {
    ConfigVersion(szConfigVersion, sizeof(szConfigVersion));
  }
  LogSStrPrintf(a_szLine, OSLOG_LINESIZE, "### appInfo <%s> ", szCommand);
  CatVersions(a_szLine, szConfigVersion, blLibrary ? szCommand : "OsResourceGetLocal");
}

// Only inside a library: the library's own file and versions.
void COsLogImpl::DllInfoLine(char *a_szLine)
{
  a_szLine[0] = '\0';
  if (!COsCfg::IsLibrary())
  {
    return;
  }
  char szModule[OS_SIZE_PATH];
  COsCfg::GetModuleName(reinterpret_cast<const void *>(g_oscfglocatorfunction), szModule, sizeof(szModule),
                        false);
  char szConfigVersion[OS_SIZE_NAME];
  ConfigVersion(szConfigVersion, sizeof(szConfigVersion));
  LogSStrPrintf(a_szLine, OSLOG_LINESIZE, "### dllInfo <%s> ", szModule);
  CatVersions(a_szLine, szConfigVersion, szModule);
}

// The block at the head of a new log: the counter restarts at 0 and the old
// contents go unless the level-2 switch keeps them. Called under the write
// lock, so that no other thread's line comes before or between its lines.
// Whatever the queries below log on this thread is dropped by the slot's
// busy byte; the hopeless flag is left alone, since raising it would drop
// the other threads' messages too.
void COsLogImpl::GeneralInfo(OsLogSlot *a_poslogslot)
{
  m_iGeneralInfoPending = 0;
  m_i32Counter = -1;
  char szLine[OSLOG_LINESIZE];
  const OsTimeRecord &ostimerecord = a_poslogslot->ostimerecord;
  // The hour is printed twice and the minute stands in the seconds' place:
  // that is how this line has always looked.
  LogSStrPrintf(szLine, sizeof(szLine),
                "### (%04d/%02d/%02d %02d:%02d:%02d.%03d) Debug=%ld DebugFilter=<%s> Version=~%s\r\n",
                ostimerecord.wYear, ostimerecord.wMonth, ostimerecord.wDay, ostimerecord.wHour,
                ostimerecord.wHour, ostimerecord.wMinute, ostimerecord.wMilliseconds,
                static_cast<long>(m_iLevelGiven), m_szFilterExpanded, OSLOG_SERVICESVERSION);
  WriteInfoLine(a_poslogslot, szLine, !m_blKeepOld);  // a new log replaces the old contents
  void (COsLogImpl::*apfnLine[])(char *) = {&COsLogImpl::SystemInfoLine, &COsLogImpl::OsInfoLine,
                                            &COsLogImpl::AppInfoLine, &COsLogImpl::DllInfoLine};
  for (auto pfnLine : apfnLine)
  {
    (this->*pfnLine)(szLine);
    if (szLine[0])
    {
      WriteInfoLine(a_poslogslot, szLine);
    }
  }
}

// ---- COsLog --------------------------------------------------------------------

COsLog::COsLog(const char *a_szName, const char *a_szLogFile, int a_iLevel, const char *a_szFilter)
    : m_poslogimpl(new (std::nothrow) COsLogImpl(a_szName, a_szLogFile, a_iLevel, a_szFilter))
{
}

COsLog::~COsLog()
{
  if (m_poslogimpl && m_poslogimpl->m_iLevel)
  {
    Message(__FILE__, __LINE__, EOSLOGFLAG_INFO, "mem>>> addr:%p delete-object",
            static_cast<void *>(m_poslogimpl));
  }
  delete m_poslogimpl;
  m_poslogimpl = nullptr;
}

void COsLog::Setup(char *a_szLogFile, int a_iLevel, const char *a_szFilter, uint8_t *a_pu8DsState)
{
  if (m_poslogimpl)
  {
    m_poslogimpl->Setup(a_szLogFile, a_iLevel, a_szFilter, a_pu8DsState);
  }
}

void COsLog::Message(const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, const char *a_szFormat, ...)
{
  va_list valist;
  va_start(valist, a_szFormat);
  VMessage(a_szFile, a_iLine, a_eoslogflag, a_szFormat, valist);
  va_end(valist);
}

void COsLog::VMessage(const char *a_szFile, int a_iLine, EOSLOGFLAG a_eoslogflag, const char *a_szFormat,
                      va_list a_valist)
{
  if (m_poslogimpl)
  {
    m_poslogimpl->VMessage(a_szFile, a_iLine, a_eoslogflag, a_szFormat, a_valist);
  }
}

int COsLog::GetDebugLevel()
{
  return m_poslogimpl ? m_poslogimpl->m_iLevel : 0;
}

void COsLog::SetDebugLevel(int a_iLevel)
{
  if (m_poslogimpl)
  {
    m_poslogimpl->m_iLevel = a_iLevel;
  }
}

bool COsLog::GetDebugFind()
{
  return m_poslogimpl && m_poslogimpl->m_blFind;
}

bool COsLog::GetIsDump()
{
  return m_poslogimpl && m_poslogimpl->m_blDump;
}

bool COsLog::GetIsMdns()
{
  return m_poslogimpl && m_poslogimpl->m_blMdns;
}

bool COsLog::GetIsNetXfer()
{
  return m_poslogimpl && m_poslogimpl->m_blNetXfer;
}

void COsLog::SetNetXfer(bool a_blNetXfer)
{
  if (m_poslogimpl)
  {
    m_poslogimpl->m_blNetXfer = a_blNetXfer;
  }
}

int COsLog::GetDsState()
{
  return m_poslogimpl ? m_poslogimpl->GetDsState() : 0;
}

void COsLog::SetDsState(int a_iState)
{
  if (m_poslogimpl && m_poslogimpl->m_pu8DsState)
  {
    *m_poslogimpl->m_pu8DsState = static_cast<uint8_t>(a_iState);
  }
}

// 0 outside a data source (no state, or the initial 9), 1 in state 0.
int COsLog::GetIsTWAIN()
{
  if (!m_poslogimpl || !m_poslogimpl->m_pu8DsState || *m_poslogimpl->m_pu8DsState == OSLOG_STATEINITIAL)
  {
    return 0;
  }
  return (*m_poslogimpl->m_pu8DsState == 0) ? 1 : *m_poslogimpl->m_pu8DsState;
}

bool COsLog::IsFlushing()
{
  return m_poslogimpl && m_poslogimpl->m_iFlushing;
}

void COsLog::EnableAssert(int a_iAssert)
{
  if (m_poslogimpl)
  {
    m_poslogimpl->m_iAssert = a_iAssert;
  }
}

int COsLog::SetHopeless(int a_iHopeless)
{
  return m_poslogimpl ? m_poslogimpl->SetHopeless(a_iHopeless) : 0;
}

int COsLog::GetStackUsage()
{
  return 0;
}

void COsLog::LogMemoryUsage() {}

void COsLog::GetFilename(char *a_szFilename, uint32_t a_u32Size)
{
  if (m_poslogimpl && a_szFilename && a_u32Size)
  {
    (void)m_poslogimpl->CopyPath(a_szFilename, a_u32Size, false);
  }
}

EOSSTS COsLog::GetLogFile(char *a_szLogFile, uint32_t a_u32Size)
{
  if (!m_poslogimpl)
  {
    return EOSSTS_FAIL;
  }
  if (!a_szLogFile || a_u32Size == 0)
  {
    return EOSSTS_BADARG;
  }
  return m_poslogimpl->CopyPath(a_szLogFile, a_u32Size, true) ? EOSSTS_OK : EOSSTS_BADARG;
}

void COsLog::Flush()
{
  if (m_poslogimpl)
  {
    m_poslogimpl->Flush();
  }
}

int COsLog::DisplayLength()
{
  if (!m_poslogimpl || !g_poscfg)
  {
    return 0;
  }
  return static_cast<int>(strtol(g_poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_DEBUGDISPLAYLENGTH),
                                 COsCfg::GetThrowAwayPointer(), 0));
}
