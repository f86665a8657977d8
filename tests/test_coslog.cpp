// test_coslog.cpp: the log writes whole lines in the fixed format, filters
// by flag, level and source words, survives threads and re-entry, finds its
// file by the rules of the @ forms and the environment, and starts every new
// log with the general information block.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "os_coscfg.h"
#include "os_coslog.h"
#include "os_testutil.h"

namespace
{

// One parsed log line.
struct LogLine
{
  long lCounter = -1;
  std::string strTime;
  std::string strSource;  // the 32-character column, padding included
  int iLine = 0;
  int iErrno = 0;
  unsigned long long u64Thread = 0;
  int iState = 0;
  char cLetter = 0;
  std::string strText;
};

bool ParseLine(const std::string &a_strLine, LogLine *a_plogline)
{
  static const std::regex s_regex(
      R"(^(\d{5}) (\d{9}) (.{32}) ([ \d]{4}\d) ([ \d-]{4}\d) T(\d{4,}) S(\d+) V(.) )");
  // The header is matched alone: a regular expression over a 1 MiB text
  // would recurse too deep.
  std::string strHead = a_strLine.substr(0, 128);
  std::smatch match;
  if (!std::regex_search(strHead, match, s_regex))
  {
    return false;
  }
  a_plogline->lCounter = std::stol(match[1]);
  a_plogline->strTime = match[2];
  a_plogline->strSource = match[3];
  a_plogline->iLine = std::stoi(match[4]);
  a_plogline->iErrno = std::stoi(match[5]);
  a_plogline->u64Thread = std::stoull(match[6]);
  a_plogline->iState = std::stoi(match[7]);
  a_plogline->cLetter = match[8].str()[0];
  a_plogline->strText = a_strLine.substr(static_cast<size_t>(match.length(0)));
  return true;
}

unsigned long long ThisThread()
{
  return static_cast<unsigned long long>(syscall(SYS_gettid));
}

std::string Padded(const std::string &a_strSource)
{
  std::string str = a_strSource.substr(0, 32);
  str.resize(32, ' ');
  return str;
}

std::string ProgramName()
{
  char szExe[4096];
  ssize_t ssz = readlink("/proc/self/exe", szExe, sizeof(szExe) - 1);
  szExe[ssz > 0 ? ssz : 0] = '\0';
  const char *szSlash = strrchr(szExe, '/');
  return szSlash ? szSlash + 1 : szExe;
}

class LogTest : public ::testing::Test
{
protected:
  void SetUp() override
  {
    m_poslogSaved = g_poslog;
    g_poslog = nullptr;
    m_strLog = m_tempdir / "test.log";
  }

  void TearDown() override
  {
    delete m_poslog;
    g_poslog = m_poslogSaved;
  }

  COsLog *Make(int a_iLevel, const char *a_szFilter = nullptr, const char *a_szPath = nullptr)
  {
    delete m_poslog;
    m_poslog = new COsLog("test", a_szPath ? a_szPath : m_strLog.c_str(), a_iLevel, a_szFilter);
    g_poslog = m_poslog;
    return m_poslog;
  }

  // Every line of a log file, parsed; a line that does not parse fails.
  std::vector<LogLine> Lines(const std::string &a_strPath)
  {
    std::vector<LogLine> vec;
    for (const std::string &strLine : ostest::SplitLines(ostest::ReadFile(a_strPath)))
    {
      LogLine logline;
      EXPECT_TRUE(ParseLine(strLine, &logline)) << strLine;
      vec.push_back(logline);
    }
    return vec;
  }
  std::vector<LogLine> Lines() { return Lines(m_strLog); }

  // The texts of the message lines (the block's "### " lines left out).
  std::vector<std::string> Texts(const std::string &a_strPath)
  {
    std::vector<std::string> vec;
    static const char *const s_aszBlock[] = {"### (", "### systemInfo <", "### osInfo <", "### appInfo <",
                                             "### dllInfo <"};
    for (const LogLine &logline : Lines(a_strPath))
    {
      if (std::none_of(std::begin(s_aszBlock), std::end(s_aszBlock),
                       [&](const char *a_sz) { return logline.strText.compare(0, strlen(a_sz), a_sz) == 0; }))
      {
        vec.push_back(logline.strText);
      }
    }
    return vec;
  }
  std::vector<std::string> Texts() { return Texts(m_strLog); }

  ostest::TempDir m_tempdir;
  std::string m_strLog;
  COsLog *m_poslog = nullptr;
  COsLog *m_poslogSaved = nullptr;
};

// ---- the line format -------------------------------------------------------

TEST_F(LogTest, ConstantDataModeWritesAFixedHeaderEndingInCrLf)
{
  Make(0x20);
  errno = EACCES;
  g_poslog->Message("/work/src/PnpHelper.CPP", 123, EOSLOGFLAG_INFO, "hello %s", "world");
  EXPECT_EQ(EACCES, errno);
  char szExpected[256];
  snprintf(szExpected, sizeof(szExpected), "00000 000000000 %s   123     0 T%04llu S9 V. hello world\r\n",
           Padded("pnphelper").c_str(), ThisThread());
  std::string strFile = ostest::ReadFile(m_strLog);
  ASSERT_GE(strFile.size(), strlen(szExpected));
  EXPECT_EQ(szExpected, strFile.substr(strFile.size() - strlen(szExpected)));
}

TEST_F(LogTest, HeaderCarriesLineErrnoThreadAndRestoresErrno)
{
  Make(1);
  errno = ENOENT;
  g_poslog->Message("os_coscfg.cpp", 4711, EOSLOGFLAG_INFO, "value <%d>", 42);
  EXPECT_EQ(ENOENT, errno);
  std::vector<LogLine> vec = Lines();
  ASSERT_FALSE(vec.empty());
  const LogLine &logline = vec.back();
  EXPECT_EQ(Padded("os_coscfg"), logline.strSource);
  EXPECT_EQ(4711, logline.iLine);
  EXPECT_EQ(ENOENT, logline.iErrno);
  EXPECT_EQ(ThisThread(), logline.u64Thread);
  EXPECT_EQ(9, logline.iState);
  EXPECT_EQ("value <42>", logline.strText);
}

TEST_F(LogTest, SourceNameIsBareLowerCaseAndCutTo32)
{
  Make(1);
  g_poslog->Message("/src/ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.cpp", 1, EOSLOGFLAG_INFO, "long");
  g_poslog->Message("osservices/os_cosstring.cpp", 2, EOSLOGFLAG_INFO, "short");
  g_poslog->Message("C:\\dir\\Os_CosFile.cpp", 3, EOSLOGFLAG_INFO, "backslashes");
  g_poslog->Message("noextension", 4, EOSLOGFLAG_INFO, "plain");
  std::vector<LogLine> vec = Lines();
  ASSERT_GE(vec.size(), 4u);
  EXPECT_EQ("abcdefghijklmnopqrstuvwxyz012345", vec[vec.size() - 4].strSource);
  EXPECT_EQ(Padded("os_cosstring"), vec[vec.size() - 3].strSource);
  EXPECT_EQ(Padded("os_cosfile"), vec[vec.size() - 2].strSource);
  EXPECT_EQ(Padded("noextension"), vec[vec.size() - 1].strSource);
}

TEST_F(LogTest, EachFlagGetsItsLetter)
{
  Make(1);
  const struct
  {
    EOSLOGFLAG eoslogflag;
    char cLetter;
  } acase[] = {{EOSLOGFLAG_ERROR, 'E'}, {EOSLOGFLAG_ASSERT, 'A'},   {EOSLOGFLAG_PROCESS, 'P'},
               {EOSLOGFLAG_INFO, '.'},  {EOSLOGFLAG_SYNC, '.'},     {EOSLOGFLAG_DEVIO, '.'},
               {EOSLOGFLAG_MEM, '.'},   {EOSLOGFLAG_MEMSHARED, '.'}};
  g_poslog->EnableAssert(1);
  for (const auto &c : acase)
  {
    g_poslog->Message("x.cpp", 1, c.eoslogflag, "flag %u", static_cast<unsigned>(c.eoslogflag));
  }
  std::vector<LogLine> vec = Lines();
  ASSERT_GE(vec.size(), 8u);
  for (size_t ii = 0; ii < 8; ii++)
  {
    const LogLine &logline = vec[vec.size() - 8 + ii];
    EXPECT_EQ(acase[ii].cLetter, logline.cLetter) << logline.strText;
    EXPECT_EQ("flag " + std::to_string(acase[ii].eoslogflag), logline.strText);
  }
}

TEST_F(LogTest, CountersOfTheBlockComeFirstThenTheMessages)
{
  Make(1);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "first");
  g_poslog->Message("a.cpp", 2, EOSLOGFLAG_INFO, "second");
  std::vector<LogLine> vec = Lines();
  ASSERT_GE(vec.size(), 4u);
  for (size_t ii = 0; ii < vec.size(); ii++)
  {
    EXPECT_EQ(static_cast<long>(ii), vec[ii].lCounter);
  }
  EXPECT_EQ(0u, vec[0].strText.find("### ("));
  EXPECT_EQ("first", vec[vec.size() - 2].strText);
  EXPECT_EQ("second", vec[vec.size() - 1].strText);
  // The message lines are the only ones outside the block.
  EXPECT_EQ((std::vector<std::string>{"first", "second"}), Texts());
}

// ---- filters and levels ----------------------------------------------------

TEST_F(LogTest, WordFiltersIncludeAndExcludeBySourceName)
{
  Make(1, "usb ~usbpnp");
  g_poslog->Message("os_cosusbpnp.cpp", 1, EOSLOGFLAG_INFO, "pnp dropped");
  g_poslog->Message("os_cosusb.cpp", 2, EOSLOGFLAG_INFO, "usb written");
  g_poslog->Message("os_coscfg.cpp", 3, EOSLOGFLAG_INFO, "cfg dropped");
  g_poslog->Message("os_coscfg.cpp", 4, EOSLOGFLAG_ERROR, "cfg error written");
  g_poslog->Message("os_cosusbpnp.cpp", 5, EOSLOGFLAG_ERROR, "pnp error written");
  EXPECT_EQ((std::vector<std::string>{"usb written", "cfg error written", "pnp error written"}), Texts());
}

TEST_F(LogTest, ExcludeOnlyFilterKeepsEverythingElse)
{
  Make(1, "~usbpnp");
  g_poslog->Message("os_cosusbpnp.cpp", 1, EOSLOGFLAG_INFO, "dropped");
  g_poslog->Message("os_coscfg.cpp", 2, EOSLOGFLAG_INFO, "kept");
  EXPECT_EQ((std::vector<std::string>{"kept"}), Texts());
}

TEST_F(LogTest, SetupExpandsKeywordsAndLowerCasesTheFilter)
{
  Make(1);
  std::vector<char> vecPath(m_strLog.begin(), m_strLog.end());
  vecPath.push_back('\0');
  g_poslog->Setup(vecPath.data(), 1, "Twain\t~DB_  Usb", nullptr);
  g_poslog->Message("qrbdat.cpp", 1, EOSLOGFLAG_INFO, "qrbdat kept");
  g_poslog->Message("db_cdbdatum.cpp", 2, EOSLOGFLAG_INFO, "db dropped");
  g_poslog->Message("os_cosusb.cpp", 3, EOSLOGFLAG_INFO, "usb kept");
  g_poslog->Message("os_coscfg.cpp", 4, EOSLOGFLAG_INFO, "cfg dropped");
  std::vector<LogLine> vec = Lines();
  ASSERT_FALSE(vec.empty());
  EXPECT_NE(std::string::npos, vec[0].strText.find("DebugFilter=<qrbdat twn_ db_cdbdatum ~db_ usb>"))
      << vec[0].strText;
  EXPECT_EQ((std::vector<std::string>{"qrbdat kept", "usb kept"}), Texts());
}

TEST_F(LogTest, SetupExpandsWireAndXml)
{
  Make(1);
  std::vector<char> vecPath(m_strLog.begin(), m_strLog.end());
  vecPath.push_back('\0');
  g_poslog->Setup(vecPath.data(), 1, "wire XML", nullptr);
  g_poslog->Message("img_cimgokapi.cpp", 1, EOSLOGFLAG_INFO, "kept");
  std::vector<LogLine> vec = Lines();
  ASSERT_FALSE(vec.empty());
  EXPECT_NE(std::string::npos, vec[0].strText.find("DebugFilter=<qrbhal qrbprot twn_ctwngui img_cimgokapi>"));
  EXPECT_EQ((std::vector<std::string>{"kept"}), Texts());
}

TEST_F(LogTest, ErrorsOnlyLevelWritesErrorsFaultsAndProcessEvents)
{
  Make(0x800);
  g_poslog->EnableAssert(0);
  EXPECT_EQ(0x800, g_poslog->GetDebugLevel());
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "info");
  g_poslog->Message("a.cpp", 2, EOSLOGFLAG_DEVIO, "devio");
  g_poslog->Message("a.cpp", 3, EOSLOGFLAG_MEM, "mem");
  g_poslog->Message("a.cpp", 4, EOSLOGFLAG_ERROR, "error");
  g_poslog->Message("a.cpp", 5, EOSLOGFLAG_ASSERT, "assert");
  g_poslog->Message("a.cpp", 6, EOSLOGFLAG_PROCESS, "process");
  EXPECT_EQ((std::vector<std::string>{"error", "assert", "process"}), Texts());
}

TEST_F(LogTest, DeviceTraceOnlyLevelWritesDeviceTraceErrorsAndFaults)
{
  Make(0x11);
  g_poslog->EnableAssert(0);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "info");
  g_poslog->Message("a.cpp", 2, EOSLOGFLAG_DEVIO, "usb>>> devio");
  g_poslog->Message("a.cpp", 3, EOSLOGFLAG_PROCESS, "process");
  g_poslog->Message("a.cpp", 4, EOSLOGFLAG_MEM, "mem");
  g_poslog->Message("a.cpp", 5, EOSLOGFLAG_ERROR, "error");
  g_poslog->Message("a.cpp", 6, EOSLOGFLAG_ASSERT, "assert");
  EXPECT_EQ((std::vector<std::string>{"usb>>> devio", "error", "assert"}), Texts());
}

TEST_F(LogTest, MemoryTraceOnlyLevelWritesTheFourMemoryFlags)
{
  Make(0x41);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "info");
  g_poslog->Message("a.cpp", 2, EOSLOGFLAG_DEVIO, "devio");
  g_poslog->Message("a.cpp", 3, EOSLOGFLAG_MEM, "m1");
  g_poslog->Message("a.cpp", 4, EOSLOGFLAG_MEMSHARED, "m2");
  g_poslog->Message("a.cpp", 5, EOSLOGFLAG_MEMNOTOWNER, "m3");
  g_poslog->Message("a.cpp", 6, EOSLOGFLAG_MEMEXTERNAL, "m4");
  g_poslog->Message("a.cpp", 7, EOSLOGFLAG_ERROR, "error");
  EXPECT_EQ((std::vector<std::string>{"m1", "m2", "m3", "m4", "error"}), Texts());
}

TEST_F(LogTest, FindMessagesNeedTheFindSwitchAndBypassTheLevelRules)
{
  Make(1);
  EXPECT_FALSE(g_poslog->GetDebugFind());
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_FIND, "find dropped");
  Make(0x411);
  EXPECT_TRUE(g_poslog->GetDebugFind());
  EXPECT_EQ(0x11, g_poslog->GetDebugLevel());
  g_poslog->Message("a.cpp", 2, EOSLOGFLAG_FIND, "find kept");
  EXPECT_EQ((std::vector<std::string>{"find kept"}), Texts());
}

TEST_F(LogTest, SwitchBitsAreTakenOutOfTheLevel)
{
  Make(0x4103);
  EXPECT_TRUE(g_poslog->GetIsDump());
  EXPECT_FALSE(g_poslog->GetIsMdns());
  EXPECT_TRUE(g_poslog->GetIsNetXfer());
  // The constructor keeps 0x2: only Setup takes it out.
  EXPECT_EQ(0x3, g_poslog->GetDebugLevel());
  g_poslog->SetNetXfer(false);
  EXPECT_FALSE(g_poslog->GetIsNetXfer());
  std::vector<char> vecPath(m_strLog.begin(), m_strLog.end());
  vecPath.push_back('\0');
  // Setup turns switches on; the ones already on stay on.
  g_poslog->Setup(vecPath.data(), 0x2003, nullptr, nullptr);
  EXPECT_EQ(0x1, g_poslog->GetDebugLevel());
  EXPECT_TRUE(g_poslog->GetIsDump());
  EXPECT_TRUE(g_poslog->GetIsMdns());
  EXPECT_FALSE(g_poslog->GetIsNetXfer());
  g_poslog->SetDebugLevel(0x6100);
  EXPECT_EQ(0x6100, g_poslog->GetDebugLevel());
}

TEST_F(LogTest, FlushLevelBitTurnsIntoTheFlushingFlag)
{
  Make(0x5);
  EXPECT_FALSE(g_poslog->IsFlushing());
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "flushed");
  EXPECT_TRUE(g_poslog->IsFlushing());
  EXPECT_EQ(0x1, g_poslog->GetDebugLevel());
  EXPECT_EQ((std::vector<std::string>{"flushed"}), Texts());
}

// ---- threads and re-entry ----------------------------------------------------

// Writes the information block from a thread that then ends, so that
// concurrent messages are not lost while the block is written (the log is
// hopeless meanwhile) and the slot it used is free again.
void WarmUp()
{
  std::thread([] { g_poslog->Message("t.cpp", 1, EOSLOGFLAG_INFO, "warm up"); }).join();
}

TEST_F(LogTest, SixtyFifthLiveThreadLosesItsMessages)
{
  Make(1);
  WarmUp();
  std::mutex mutex;
  std::condition_variable cv;
  int iLogged = 0;
  bool blRelease = false;
  std::vector<std::thread> vecThread;
  for (int ii = 0; ii < 64; ii++)
  {
    vecThread.emplace_back(
        [&, ii]
        {
          g_poslog->Message("t.cpp", ii, EOSLOGFLAG_INFO, "hold %d", ii);
          std::unique_lock<std::mutex> lock(mutex);
          iLogged++;
          cv.notify_all();
          cv.wait(lock, [&] { return blRelease; });
        });
  }
  {
    std::unique_lock<std::mutex> lock(mutex);
    cv.wait(lock, [&] { return iLogged == 64; });
  }
  // This thread has not logged yet: it would be the 65th.
  g_poslog->Message("t.cpp", 100, EOSLOGFLAG_INFO, "lost");
  {
    std::lock_guard<std::mutex> lock(mutex);
    blRelease = true;
  }
  cv.notify_all();
  for (std::thread &thread : vecThread)
  {
    thread.join();
  }
  // The slots of threads that ended are taken again.
  g_poslog->Message("t.cpp", 101, EOSLOGFLAG_INFO, "after");
  std::vector<std::string> vec = Texts();
  ASSERT_EQ(66u, vec.size());
  EXPECT_EQ(0, std::count(vec.begin(), vec.end(), "lost"));
  EXPECT_EQ("after", vec.back());
}

TEST_F(LogTest, LinesOfConcurrentThreadsNeverInterleave)
{
  Make(1);
  WarmUp();
  constexpr int iThreads = 4;
  constexpr int iEach = 200;
  std::vector<std::thread> vecThread;
  for (int ii = 0; ii < iThreads; ii++)
  {
    vecThread.emplace_back(
        [ii]
        {
          for (int jj = 0; jj < iEach; jj++)
          {
            g_poslog->Message("t.cpp", jj, EOSLOGFLAG_INFO, "thread %d message %d", ii, jj);
          }
        });
  }
  for (std::thread &thread : vecThread)
  {
    thread.join();
  }
  std::vector<LogLine> vec = Lines();
  std::set<long> setCounter;
  std::set<std::string> setText;
  for (const LogLine &logline : vec)
  {
    setCounter.insert(logline.lCounter);
    setText.insert(logline.strText);
  }
  EXPECT_EQ(vec.size(), setCounter.size());
  EXPECT_EQ(static_cast<long>(vec.size()) - 1, *setCounter.rbegin());
  EXPECT_EQ(static_cast<size_t>(iThreads * iEach) + 1, Texts().size());
  EXPECT_EQ(1u, setText.count("thread 3 message 199"));
}

TEST_F(LogTest, OverlongTextIsCutAndTheReentrantReportIsDropped)
{
  Make(1);
  std::string strHuge(2 * 1048576, 'x');
  g_poslog->Message("big.cpp", 1, EOSLOGFLAG_INFO, "%s", strHuge.c_str());
  g_poslog->Message("big.cpp", 2, EOSLOGFLAG_INFO, "after");
  std::string strFile = ostest::ReadFile(m_strLog);
  std::vector<std::string> vecLines = ostest::SplitLines(strFile);
  ASSERT_GE(vecLines.size(), 2u);
  const std::string &strBig = vecLines[vecLines.size() - 2];
  // The header, the cut text and CR LF fill the 1 MiB buffer but one byte.
  EXPECT_EQ(1048576u - 3u, strBig.size());
  EXPECT_EQ(std::string::npos, strFile.find("failed..."));
  EXPECT_EQ("after", Texts().back());
}

// ---- where the log goes --------------------------------------------------------

TEST_F(LogTest, LinesWaitUntilTheLogDirectoryExists)
{
  std::string strDir = m_tempdir / "later";
  std::string strPath = strDir + "/x.log";
  Make(1, nullptr, strPath.c_str());
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "lost");
  g_poslog->Message("a.cpp", 2, EOSLOGFLAG_ERROR, "lost too");
  EXPECT_FALSE(ostest::FileExists(strPath));
  ASSERT_EQ(0, mkdir(strDir.c_str(), 0777));
  g_poslog->Message("a.cpp", 3, EOSLOGFLAG_INFO, "kept");
  EXPECT_EQ((std::vector<std::string>{"kept"}), Texts(strPath));
}

TEST_F(LogTest, ConstructorAtFormNamesTheDirectoryAndTheProgram)
{
  ostest::ScopedEnv envLogDir("QRB_LOGDIR", nullptr);
  ostest::ScopedEnv envDir("MYLOGDIR", m_tempdir.Path().c_str());
  Make(1, nullptr, "@MYLOGDIR@/scan.log");
  char szPath[512];
  ASSERT_EQ(EOSSTS_OK, g_poslog->GetLogFile(szPath, sizeof(szPath)));
  std::string strExpected = m_tempdir / ("scan_" + ProgramName() + ".log");
  EXPECT_EQ(strExpected, szPath);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "there");
  EXPECT_EQ((std::vector<std::string>{"there"}), Texts(strExpected));
}

TEST_F(LogTest, ConstructorAtFormNormalisesBackslashesAndDefaultsToDot)
{
  ostest::ScopedEnv envLogDir("QRB_LOGDIR", nullptr);
  ostest::ScopedEnv envDir("MYLOGDIR", m_tempdir.Path().c_str());
  Make(1, nullptr, "@MYLOGDIR@\\sub\\scan.v2.log");
  char szPath[512];
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_EQ(m_tempdir / ("sub/scan.v2_" + ProgramName() + ".log"), szPath);
  ostest::ScopedEnv envUnset("MYLOGDIR", nullptr);
  Make(1, nullptr, "@MYLOGDIR@/scan.log");
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_EQ("./scan_" + ProgramName() + ".log", std::string(szPath));
  // A single "@" at the front is no @ form.
  Make(1, nullptr, "@plain.log");
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_STREQ("@plain.log", szPath);
}

TEST_F(LogTest, LogDirReplacesTheAtFormButNotAPlainConstructorPath)
{
  ostest::ScopedEnv envLogDir("QRB_LOGDIR", m_tempdir.Path().c_str());
  Make(1, nullptr, "@MYLOGDIR@/scan.log");
  char szPath[512];
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_TRUE(std::regex_match(std::string(szPath), std::regex(m_tempdir.Path() + R"(/qrb_\d{17}\.log)")))
      << szPath;
  Make(1);
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_EQ(m_strLog, szPath);
}

TEST_F(LogTest, SetupAtFormCutsTheCallersBufferAndLooksUpTheWholeTail)
{
  ostest::ScopedEnv envLogDir("QRB_LOGDIR", nullptr);
  ostest::ScopedEnv envDir("MYLOGDIR", m_tempdir.Path().c_str());
  ostest::ScopedEnv envTail("MYLOGDIR@/scan.log", nullptr);
  Make(1);
  char szName[] = "@MYLOGDIR@/scan.log";
  g_poslog->Setup(szName, 1, nullptr, nullptr);
  EXPECT_STREQ("@MYLOGDIR", szName);
  char szPath[512];
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_STREQ("./scan.log", szPath);

  ostest::ScopedEnv envTailSet("MYLOGDIR@/scan.log", m_tempdir.Path().c_str());
  char szAgain[] = "@MYLOGDIR@/scan.log";
  g_poslog->Setup(szAgain, 1, nullptr, nullptr);
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_EQ(m_tempdir / "scan.log", szPath);
}

TEST_F(LogTest, SetupAppliesLogDirAndKeepsThePathWhenGivenNone)
{
  Make(1);
  char szPath[512];
  g_poslog->Setup(nullptr, 1, nullptr, nullptr);
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_EQ(m_strLog, szPath);
  ostest::ScopedEnv envLogDir("QRB_LOGDIR", m_tempdir.Path().c_str());
  char szName[] = "plain.log";
  g_poslog->Setup(szName, 1, nullptr, nullptr);
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_TRUE(std::regex_match(std::string(szPath), std::regex(m_tempdir.Path() + R"(/qrb_\d{17}\.log)")))
      << szPath;
}

TEST_F(LogTest, NoPathMeansHopelessUntilSetupGivesOne)
{
  Make(1, nullptr, nullptr);
  delete m_poslog;
  m_poslog = new COsLog("test", nullptr, 1, nullptr);
  g_poslog = m_poslog;
  g_poslog->Setup(nullptr, 1, nullptr, nullptr);
  EXPECT_EQ(1, g_poslog->SetHopeless(1));
  g_poslog->Flush();  // no path: nothing to open
  std::vector<char> vecPath(m_strLog.begin(), m_strLog.end());
  vecPath.push_back('\0');
  g_poslog->Setup(vecPath.data(), 1, nullptr, nullptr);
  EXPECT_EQ(0, g_poslog->SetHopeless(0));
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "written");
  EXPECT_EQ("written", Texts().back());
}

TEST_F(LogTest, GetLogFileNeedsRoomForTheWholePath)
{
  Make(1);
  std::vector<char> vec(m_strLog.size() + 1, '#');
  EXPECT_EQ(EOSSTS_BADARG, g_poslog->GetLogFile(vec.data(), static_cast<uint32_t>(m_strLog.size())));
  EXPECT_EQ(EOSSTS_BADARG, g_poslog->GetLogFile(nullptr, 100));
  EXPECT_EQ(EOSSTS_OK, g_poslog->GetLogFile(vec.data(), static_cast<uint32_t>(vec.size())));
  EXPECT_EQ(m_strLog, vec.data());
}

TEST_F(LogTest, DebugDirRedirectsANewLogIntoATimeNamedFile)
{
  std::string strDebugDir = m_tempdir / "dbg/deep";
  ostest::ScopedEnv envDebugDir("QRB_DEBUGDIR", strDebugDir.c_str());
  Make(1);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "redirected");
  char szPath[512];
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_TRUE(std::regex_match(std::string(szPath), std::regex(strDebugDir + R"(/\d{17}\.log)"))) << szPath;
  EXPECT_EQ((std::vector<std::string>{"redirected"}), Texts(szPath));
  EXPECT_FALSE(ostest::FileExists(m_strLog));
}

// Runs a test body with the working directory in a temporary directory.
class ScopedCwd
{
public:
  explicit ScopedCwd(const std::string &a_strDir)
  {
    EXPECT_NE(nullptr, getcwd(m_szOld, sizeof(m_szOld)));
    EXPECT_EQ(0, chdir(a_strDir.c_str()));
  }
  ~ScopedCwd() { EXPECT_EQ(0, chdir(m_szOld)); }

private:
  char m_szOld[4096];
};

TEST_F(LogTest, UnopenablePathMakesBackslashDirectoriesThenTurnsHopeless)
{
  std::string strWork = m_tempdir / "work";
  ASSERT_EQ(0, mkdir(strWork.c_str(), 0777));
  // The log "file" is a directory: every open fails.
  std::string strPath = m_tempdir / "adir";
  ASSERT_EQ(0, mkdir(strPath.c_str(), 0777));
  ScopedCwd scopedcwd(strWork);
  Make(1, nullptr, strPath.c_str());
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "lost");
  EXPECT_EQ(1, g_poslog->SetHopeless(1));
  // The prefixes were made relative to the working directory, joined by
  // backslashes.
  std::string strJoined;
  size_t sizeStart = 1;
  while (sizeStart <= strPath.size())
  {
    size_t sizeEnd = strPath.find('/', sizeStart);
    std::string strPart = strPath.substr(sizeStart, sizeEnd - sizeStart);
    strJoined += (strJoined.empty() ? "" : "\\") + strPart;
    struct stat st;
    EXPECT_EQ(0, stat((strWork + "/" + strJoined).c_str(), &st)) << strJoined;
    if (sizeEnd == std::string::npos)
    {
      break;
    }
    sizeStart = sizeEnd + 1;
  }
  char szPath[512];
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_EQ(strPath, szPath);
}

TEST_F(LogTest, PathWithAConversionIsRetriedWithTheFallbackName)
{
  std::string strWork = m_tempdir / "work";
  ASSERT_EQ(0, mkdir(strWork.c_str(), 0777));
  // "<dir>/x%s" cannot be opened (it is a directory); formatted with the
  // fallback name it becomes "<dir>/x/tmp/qrb.log", which can.
  std::string strPath = m_tempdir / "x%s";
  ASSERT_EQ(0, mkdir(strPath.c_str(), 0777));
  ASSERT_EQ(0, mkdir((m_tempdir / "x").c_str(), 0777));
  ASSERT_EQ(0, mkdir((m_tempdir / "x/tmp").c_str(), 0777));
  ScopedCwd scopedcwd(strWork);
  Make(1, nullptr, strPath.c_str());
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "fallback");
  std::string strFallback = m_tempdir / "x/tmp/qrb.log";
  char szPath[512];
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_EQ(strFallback, szPath);
  EXPECT_EQ((std::vector<std::string>{"fallback"}), Texts(strFallback));
  // Without a configuration the file is opened up to everyone.
  struct stat st;
  ASSERT_EQ(0, stat(strFallback.c_str(), &st));
  EXPECT_EQ(0666u, st.st_mode & 0777u);
  EXPECT_EQ(0, g_poslog->SetHopeless(0));
}

TEST_F(LogTest, PathWithOtherConversionsIsRetriedUnchanged)
{
  std::string strWork = m_tempdir / "work";
  ASSERT_EQ(0, mkdir(strWork.c_str(), 0777));
  // A "%n" or "%d" in the path must never reach the formatter as a format.
  std::string strPath = m_tempdir / "x%n%d%s";
  ASSERT_EQ(0, mkdir(strPath.c_str(), 0777));
  ScopedCwd scopedcwd(strWork);
  Make(1, nullptr, strPath.c_str());
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "lost");
  EXPECT_EQ(1, g_poslog->SetHopeless(0));
  char szPath[512];
  g_poslog->GetFilename(szPath, sizeof(szPath));
  EXPECT_EQ(strPath, szPath);
}

// ---- the general information block --------------------------------------------

TEST_F(LogTest, NewLogReplacesTheOldContentsWithTheBlock)
{
  ASSERT_TRUE(ostest::WriteFile(m_strLog, "old line\r\n"));
  Make(0x101, "usb");
  g_poslog->Message("os_cosusb.cpp", 1, EOSLOGFLAG_INFO, "new");
  std::string strFile = ostest::ReadFile(m_strLog);
  EXPECT_EQ(std::string::npos, strFile.find("old line"));
  std::vector<LogLine> vec = Lines();
  ASSERT_GE(vec.size(), 3u);
  std::smatch match;
  ASSERT_TRUE(
      std::regex_match(vec[0].strText, match,
                       std::regex(R"(### \((\d{4})/(\d{2})/(\d{2}) (\d{2}):(\d{2}):(\d{2})\.(\d{3})\) )"
                                  R"(Debug=257 DebugFilter=<usb> Version=~8\.13\.0\.0)")))
      << vec[0].strText;
  // The hour stands twice, the minute in the seconds' place.
  EXPECT_EQ(match[4], match[5]);
  EXPECT_EQ(vec[0].strTime.substr(0, 2), match[4].str());
  EXPECT_EQ(vec[0].strTime.substr(2, 2), match[6].str());
  EXPECT_EQ(vec[0].strTime.substr(6, 3), match[7].str());
  bool blAppInfo = false;
  for (const LogLine &logline : vec)
  {
    if (logline.strText.compare(0, 13, "### appInfo <") == 0)
    {
      blAppInfo = true;
      EXPECT_NE(std::string::npos, logline.strText.find(ProgramName() + "> versioncfg="));
    }
  }
  EXPECT_TRUE(blAppInfo);
  EXPECT_EQ("new", vec.back().strText);
}

TEST_F(LogTest, BlockDescribesTheMachineTheSystemAndTheProgram)
{
  Make(1);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "first");
  std::vector<LogLine> vec = Lines();
  ASSERT_GE(vec.size(), 5u);
  char szSystem[128];
  snprintf(szSystem, sizeof(szSystem), R"(### systemInfo <arch:\d+ ps:%u pmask:0x[0-9a-f]{8,} ncpu:%d )",
           static_cast<unsigned>(sysconf(_SC_PAGESIZE)), COsCfg::NumberOfProcessors());
  std::string strTail =
      R"(cputype:\d+ cpulevel:\d+ cpurev:\d+ bits:proc-(32|64)/mach-(32|64) spd:~-?\d+ pid:)" +
      std::to_string(getpid()) + R"( pmem:\d+/\d+ vmem:\d+/\d+ memload:\d+ integrity:[46]>)";
  EXPECT_TRUE(std::regex_match(vec[1].strText, std::regex(szSystem + strTail))) << vec[1].strText;
  EXPECT_TRUE(std::regex_match(vec[2].strText, std::regex(R"(### osInfo <Os:\S+ Kernel:\d{8}>)")))
      << vec[2].strText;
  EXPECT_EQ(0u, vec[3].strText.find("### appInfo <"));
  size_t sizeBlock = 4;
  if (COsCfg::IsLibrary())
  {
    // Inside a library the program's versions come from its command line
    // path and the library names itself.
    EXPECT_TRUE(std::regex_match(vec[4].strText,
                                 std::regex(R"(### dllInfo <.+> versioncfg=\(none\) versionresource=\(n/a\) )"
                                            R"(versionsimple=\(n/a\))")))
        << vec[4].strText;
    sizeBlock = 5;
  }
  ASSERT_EQ(sizeBlock + 1, vec.size());
  EXPECT_EQ("first", vec.back().strText);
  EXPECT_EQ(static_cast<long>(sizeBlock), vec.back().lCounter);
}

TEST_F(LogTest, Level2SwitchAppendsTheBlockToTheOldContents)
{
  ASSERT_TRUE(ostest::WriteFile(m_strLog, "old line\r\n"));
  Make(1);
  std::vector<char> vecPath(m_strLog.begin(), m_strLog.end());
  vecPath.push_back('\0');
  g_poslog->Setup(vecPath.data(), 0x3, nullptr, nullptr);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "appended");
  std::vector<std::string> vecRaw = ostest::SplitLines(ostest::ReadFile(m_strLog));
  ASSERT_GE(vecRaw.size(), 3u);
  EXPECT_EQ("old line", vecRaw[0]);
  LogLine logline;
  ASSERT_TRUE(ParseLine(vecRaw[1], &logline));
  EXPECT_EQ(0, logline.lCounter);
  EXPECT_NE(std::string::npos, logline.strText.find(" Debug=3 "));
  ASSERT_TRUE(ParseLine(vecRaw[vecRaw.size() - 2], &logline));
  EXPECT_EQ("### OsServicesStart...", logline.strText);
  ASSERT_TRUE(ParseLine(vecRaw.back(), &logline));
  EXPECT_EQ("appended", logline.strText);
}

TEST_F(LogTest, SetupWithTheSamePathWritesNoSecondBlock)
{
  Make(1);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "before");
  std::vector<char> vecPath(m_strLog.begin(), m_strLog.end());
  vecPath.push_back('\0');
  g_poslog->Setup(vecPath.data(), 1, nullptr, nullptr);
  g_poslog->Message("a.cpp", 2, EOSLOGFLAG_INFO, "after");
  std::vector<LogLine> vec = Lines();
  int iBlocks = 0;
  for (const LogLine &logline : vec)
  {
    iBlocks += (logline.strText.compare(0, 5, "### (") == 0) ? 1 : 0;
  }
  EXPECT_EQ(1, iBlocks);
  EXPECT_EQ((std::vector<std::string>{"before", "### OsServicesStart...", "after"}), Texts());
  EXPECT_EQ('P', vec[vec.size() - 2].cLetter);
  EXPECT_EQ(vec[vec.size() - 2].lCounter + 1, vec.back().lCounter);
}

TEST_F(LogTest, SetupWithANewPathStartsANewBlockThere)
{
  Make(1);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "first file");
  std::string strOther = m_tempdir / "other.log";
  std::vector<char> vecPath(strOther.begin(), strOther.end());
  vecPath.push_back('\0');
  g_poslog->Setup(vecPath.data(), 1, nullptr, nullptr);
  g_poslog->Message("a.cpp", 2, EOSLOGFLAG_INFO, "second file");
  EXPECT_EQ((std::vector<std::string>{"first file"}), Texts());
  std::vector<LogLine> vec = Lines(strOther);
  ASSERT_FALSE(vec.empty());
  EXPECT_EQ(0, vec[0].lCounter);
  EXPECT_EQ(0u, vec[0].strText.find("### ("));
  EXPECT_EQ((std::vector<std::string>{"### OsServicesStart...", "second file"}), Texts(strOther));
}

// ---- odds and ends --------------------------------------------------------------

TEST_F(LogTest, ArgumentFaultEchoesToStandardErrorWhenAsked)
{
  Make(1);
  testing::internal::CaptureStderr();
  g_poslog->Message("f.cpp", 7, EOSLOGFLAG_ASSERT, "bad %d", 1);
  EXPECT_EQ("<f.cpp> <7> <bad %d>\r\n", testing::internal::GetCapturedStderr());
  g_poslog->EnableAssert(1);
  testing::internal::CaptureStderr();
  g_poslog->Message("f.cpp", 8, EOSLOGFLAG_ASSERT, "quiet");
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ((std::vector<std::string>{"bad 1", "quiet"}), Texts());
}

TEST_F(LogTest, AssertSettingComesFromTheEnvironment)
{
  ostest::ScopedEnv envAssert("QRB_ASSERT", "0x1");
  Make(1);
  testing::internal::CaptureStderr();
  g_poslog->Message("f.cpp", 7, EOSLOGFLAG_ASSERT, "no echo");
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(LogTest, DataSourceStateByteShowsInTheHeader)
{
  Make(1);
  EXPECT_EQ(9, g_poslog->GetDsState());
  EXPECT_EQ(0, g_poslog->GetIsTWAIN());
  uint8_t u8State = 0;
  std::vector<char> vecPath(m_strLog.begin(), m_strLog.end());
  vecPath.push_back('\0');
  g_poslog->Setup(vecPath.data(), 1, nullptr, &u8State);
  EXPECT_EQ(1, g_poslog->GetIsTWAIN());
  g_poslog->SetDsState(5);
  EXPECT_EQ(5, u8State);
  EXPECT_EQ(5, g_poslog->GetIsTWAIN());
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "state");
  EXPECT_EQ(5, Lines().back().iState);
}

TEST_F(LogTest, DestroyingTheLogTracesItAndClearsTheGlobal)
{
  Make(1);
  g_poslog->Message("a.cpp", 1, EOSLOGFLAG_INFO, "alive");
  delete m_poslog;
  m_poslog = nullptr;
  EXPECT_EQ(nullptr, g_poslog);
  std::vector<std::string> vec = Texts();
  ASSERT_EQ(2u, vec.size());
  EXPECT_TRUE(std::regex_match(vec[1], std::regex(R"(mem>>> addr:0x[0-9a-f]+ delete-object)"))) << vec[1];
}

}  // namespace
