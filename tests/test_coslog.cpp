// test_coslog.cpp: the log writes whole lines in the fixed format, filters
// by flag, level and source words, survives threads and re-entry, finds its
// file by the rules of the @ forms and the environment, and starts every new
// log with the general information block.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <future>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "cosfile_testutil.h"
#include "os_coscfg.h"
#include "os_costhread.h"

namespace
{

using Texts = std::vector<std::string>;

// The fields of a line the tests read; the others are checked whole.
struct LogLine
{
  long lCounter = -1;
  std::string strTime;
  int iState = 0;
  std::string strText;
};

bool ParseLine(const std::string &a_strLine, LogLine *a_plogline)
{
  static const std::regex s_regex(R"(^(\d{5}) (\d{9}) .{32} [ \d]{4}\d [ \d-]{4}\d T\d{4,} S(\d+) V. )");
  // Only the head is matched: a regular expression over a 1 MiB line would
  // recurse too deep.
  std::string strHead = a_strLine.substr(0, 128);
  std::smatch match;
  if (!std::regex_search(strHead, match, s_regex))
  {
    return false;
  }
  *a_plogline = {std::stol(match[1]), match[2], std::stoi(match[3]),
                 a_strLine.substr(static_cast<size_t>(match.length(0)))};
  return true;
}

bool TimeNamed(const std::string &a_strPath, const std::string &a_strPrefix)
{
  return std::regex_match(a_strPath, std::regex(a_strPrefix + R"(\d{17}\.log)"));
}

void Msg(EOSLOGFLAG a_eoslogflag, const std::string &a_strText, const char *a_szFile = "a.cpp")
{
  g_poslog->Message(a_szFile, 1, a_eoslogflag, "%s", a_strText.c_str());
}

class LogTest : public ::testing::Test
{
protected:
  void TearDown() override
  {
    delete m_poslog;
    g_poslog = m_poslogSaved;
  }

  void Make(int a_iLevel, const char *a_szFilter = nullptr, const char *a_szPath = "")
  {
    delete m_poslog;
    m_poslog =
        new COsLog("test", (a_szPath && !*a_szPath) ? m_strLog.c_str() : a_szPath, a_iLevel, a_szFilter);
    g_poslog = m_poslog;
  }

  // Setup through a writable copy of the path.
  static void Setup(const std::string &a_strPath, int a_iLevel, const char *a_szFilter = nullptr,
                    uint8_t *a_pu8State = nullptr)
  {
    std::vector<char> vecPath(a_strPath.begin(), a_strPath.end());
    vecPath.push_back('\0');
    g_poslog->Setup(vecPath.data(), a_iLevel, a_szFilter, a_pu8State);
  }

  // Works in a fresh "work" directory until the test ends.
  std::string EnterWorkDirectory()
  {
    std::string strWork = m_tempdir / "work";
    EXPECT_EQ(0, mkdir(strWork.c_str(), 0777));
    m_cwd.emplace(strWork);
    return strWork;
  }

  // Every line of a log file, parsed; a line that does not parse fails.
  std::vector<LogLine> Lines(const std::string &a_strPath = "")
  {
    std::vector<LogLine> vec;
    for (const std::string &strLine :
         ostest::SplitLines(ostest::ReadFile(a_strPath.empty() ? m_strLog : a_strPath)))
    {
      LogLine logline;
      EXPECT_TRUE(ParseLine(strLine, &logline)) << strLine;
      vec.push_back(logline);
    }
    return vec;
  }

  // The texts of the message lines; the block's "### " lines are left out,
  // Setup's "### OsServicesStart..." is kept.
  Texts Messages(const std::string &a_strPath = "")
  {
    Texts vec;
    for (const LogLine &logline : Lines(a_strPath))
    {
      if (logline.strText.compare(0, 4, "### ") != 0 || logline.strText == "### OsServicesStart...")
      {
        vec.push_back(logline.strText);
      }
    }
    return vec;
  }

  ostest::TempDir m_tempdir;
  std::optional<ostest::ScopedCwd> m_cwd;  // left before the directory goes
  std::string m_strLog = m_tempdir / "test.log";
  COsLog *m_poslog = nullptr;
  COsLog *m_poslogSaved = g_poslog;
};

// ---- the line format -------------------------------------------------------

// The source column is the bare file name, lower-cased, cut or padded to 32;
// line and errno are 5 wide and errno survives the call. Level 0x20 writes
// constant data: zeros for the counter, the time and errno.
TEST_F(LogTest, MessageLinesHaveTheFixedHeaderAndEndInCrLf)
{
  const struct
  {
    int iLevel;
    const char *szFile;
    EOSLOGFLAG eoslogflag;
    const char *szSource;
    char cLetter;
  } acase[] = {{0x20, "/work/src/PnpHelper.CPP", EOSLOGFLAG_INFO, "pnphelper", '.'},
               {1, "/src/ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.cpp", EOSLOGFLAG_ERROR,
                "abcdefghijklmnopqrstuvwxyz012345", 'E'},
               {1, "noextension", EOSLOGFLAG_INFO, "noextension", '.'}};
  int iErrno = 0;
  for (const auto &c : acase)
  {
    SCOPED_TRACE(c.szFile);
    Make(c.iLevel);
    errno = ++iErrno;
    g_poslog->Message(c.szFile, 12340 + iErrno, c.eoslogflag, "value <%d>", iErrno);
    EXPECT_EQ(iErrno, errno);
    const std::vector<LogLine> vec = Lines();  // the block's lines come first
    ASSERT_FALSE(vec.empty());
    const bool blConstant = c.iLevel == 0x20;
    char szExpected[256];
    // The tests run on the main thread, whose thread number is the process's.
    snprintf(szExpected, sizeof(szExpected), "%05zu %s %-32.32s %5d %5d T%04d S9 V%c value <%d>\r\n",
             blConstant ? 0 : vec.size() - 1, blConstant ? "000000000" : vec.back().strTime.c_str(),
             c.szSource, 12340 + iErrno, blConstant ? 0 : iErrno, getpid(), c.cLetter, iErrno);
    const std::string strFile = ostest::ReadFile(m_strLog);
    EXPECT_EQ(szExpected, strFile.substr(strFile.size() - std::min(strFile.size(), strlen(szExpected))));
  }
}

// ---- filters and levels ----------------------------------------------------

// Setup expands TWAIN (to "qrbdat twn_ db_cdbdatum") and lower-cases the
// filter. Plain words must occur in the source name, "~" words must not;
// errors pass whatever the words.
TEST_F(LogTest, WordFiltersSelectBySourceNameButNeverDropErrors)
{
  Make(1);
  Setup(m_strLog, 1, "Twain\t~DB_  Usb");
  for (std::string strSource : {"os_cosusb", "qrbdat", "db_cdbdatum", "img_cimgokapi"})
  {
    Msg(EOSLOGFLAG_INFO, strSource, (strSource + ".cpp").c_str());
    Msg(EOSLOGFLAG_ERROR, strSource + " E", (strSource + ".cpp").c_str());
  }
  EXPECT_EQ((Texts{"os_cosusb", "os_cosusb E", "qrbdat", "qrbdat E", "db_cdbdatum E", "img_cimgokapi E"}),
            Messages());
}

TEST_F(LogTest, LevelsSelectTheFlagsWritten)
{
  const std::pair<EOSLOGFLAG, const char *> apair[] = {
      {EOSLOGFLAG_INFO, "info"},       {EOSLOGFLAG_DEVIO, "devio"},    {EOSLOGFLAG_MEM, "m1"},
      {EOSLOGFLAG_MEMSHARED, "m2"},    {EOSLOGFLAG_MEMNOTOWNER, "m3"}, {EOSLOGFLAG_MEMEXTERNAL, "m4"},
      {EOSLOGFLAG_PROCESS, "process"}, {EOSLOGFLAG_ERROR, "error"},    {EOSLOGFLAG_ASSERT, "assert"},
      {EOSLOGFLAG_FIND, "find"}};
  const struct
  {
    int iLevel;
    Texts vecExpected;
  } acase[] = {
      {1, {"info", "devio", "m1", "m2", "m3", "m4", "process", "error", "assert"}},
      {0x800, {"process", "error", "assert"}},  // errors only
      {0x41, {"m1", "m2", "m3", "m4", "error", "assert"}},
      {0x411, {"devio", "error", "assert", "find"}}};  // device trace; find messages pass the level rules
  for (const auto &c : acase)
  {
    SCOPED_TRACE(c.iLevel);
    Make(c.iLevel);
    g_poslog->EnableAssert(0);
    for (const auto &pair : apair)
    {
      Msg(pair.first, pair.second);
    }
    EXPECT_EQ(c.vecExpected, Messages());
  }
}

// 0x4 flushes from the first line on; 0x100, 0x2000 and 0x4000 are the
// dump, mdns and network switches.
TEST_F(LogTest, SwitchBitsAreTakenOutOfTheLevel)
{
  Make(0x4107);
  EXPECT_FALSE(g_poslog->IsFlushing());
  Msg(EOSLOGFLAG_INFO, "flushed");
  EXPECT_TRUE(g_poslog->IsFlushing());
  EXPECT_EQ(0x3, g_poslog->GetDebugLevel());
  EXPECT_TRUE(g_poslog->GetIsDump() && !g_poslog->GetIsMdns() && g_poslog->GetIsNetXfer());
}

// ---- threads and re-entry ----------------------------------------------------

TEST_F(LogTest, SixtyFifthLiveThreadLosesItsMessages)
{
  Make(1);
  std::atomic<int> iLogged{0};
  std::promise<void> promiseRelease;
  std::shared_future<void> futureRelease = promiseRelease.get_future().share();
  std::vector<uint64_t> vecId(64);
  std::vector<std::thread> vecThread;
  for (int ii = 0; ii < 64; ii++)
  {
    vecThread.emplace_back(
        [&, ii]
        {
          vecId[ii] = COsThread::GetThreadId();
          Msg(EOSLOGFLAG_INFO, "hold " + std::to_string(ii));
          iLogged++;
          futureRelease.wait();
        });
  }
  while (iLogged < 64)
  {
    std::this_thread::yield();
  }
  Msg(EOSLOGFLAG_INFO, "lost");  // this thread has not logged yet: it is the 65th
  promiseRelease.set_value();
  for (size_t ii = 0; ii < vecThread.size(); ii++)
  {
    vecThread[ii].join();
    // A joined thread may answer the liveness probe for a moment more.
    for (int iWait = 0; iWait < 5000 && COsThread::IsThreadRunning(vecId[ii]); iWait++)
    {
      usleep(1000);
    }
  }
  // The slots of threads that ended are taken again.
  Msg(EOSLOGFLAG_INFO, "after");
  Texts vec = Messages();
  ASSERT_EQ(65u, vec.size());
  EXPECT_EQ(0, std::count(vec.begin(), vec.end(), "lost"));
  EXPECT_EQ("after", vec.back());
}

struct StressCase
{
  int iThreads;
  int iLines;
  bool blDebugDir;  // QRB_DEBUGDIR set: the new log goes there
  bool blSetup;     // thread 0 moves the log to another file halfway
  int iRounds;
};

class LogStressTest : public LogTest, public ::testing::WithParamInterface<StressCase>
{
};

// Threads start logging at once on a fresh log, with no warm-up: every line
// is written once and in its thread's order, each file begins with the
// block, and the counters of a file run 0, 1, 2, ... in the order of its
// lines. Level 0 keeps the log's
// own lines out. Meanwhile the creation mask never changes, and the modes of
// what the log makes do not depend on it.
TEST_P(LogStressTest, EveryLineOnceBlockFirstCountersInLineOrder)
{
  const StressCase &c = GetParam();
  const mode_t modeOld = umask(027);
  std::set<std::string> setMask;
  for (int iRound = 0; iRound < c.iRounds && !HasFailure(); iRound++)
  {
    ostest::TempDir tempdir;
    const std::string strDebugDir = tempdir / "debug";
    ostest::ScopedEnv envDebugDir("QRB_DEBUGDIR", c.blDebugDir ? strDebugDir.c_str() : nullptr);
    m_strLog = tempdir / "first.log";
    Make(0);
    std::atomic<int> iStarted{0};
    std::atomic<int> iRunning{c.iThreads};
    std::vector<std::thread> vecThread;
    for (int ii = 0; ii < c.iThreads; ii++)
    {
      vecThread.emplace_back(
          [&, ii]
          {
            for (iStarted++; iStarted < c.iThreads;)
            {
              std::this_thread::yield();
            }
            for (int jj = 0; jj < c.iLines; jj++)
            {
              if (ii == 0 && c.blSetup && jj == c.iLines / 2)
              {
                Setup(tempdir / "second.log", 0);
              }
              g_poslog->Message("t.cpp", jj, EOSLOGFLAG_INFO, "thread %d line %d", ii, jj);
            }
            iRunning--;
          });
    }
    while (iRunning > 0)  // the creation mask as /proc shows it, read without changing it
    {
      const std::string strStatus = ostest::ReadFile("/proc/self/status");
      setMask.insert(strStatus.substr(strStatus.find("Umask:\t") + 7, 4));
    }
    for (std::thread &thread : vecThread)
    {
      thread.join();
    }
    std::vector<int> vecNext(c.iThreads);  // each thread's next line
    const std::string strDir = c.blDebugDir ? strDebugDir : tempdir.Path();
    const Texts vecFiles = ostest::Listing(strDir);
    ASSERT_LE(vecFiles.size(), c.blSetup ? 2u : 1u);
    for (const std::string &strName : vecFiles)
    {
      const std::string strFile = strDir + "/" + strName;
      EXPECT_TRUE(c.blDebugDir ? TimeNamed(strName, "") : (strName == "first.log" || strName == "second.log"))
          << strFile;
      EXPECT_EQ(0666, ostest::ModeOf(strFile));
      std::vector<LogLine> vec = Lines(strFile);
      ASSERT_GE(vec.size(), 4u);
      EXPECT_EQ(0u, vec[0].strText.find("### (")) << strFile;
      for (size_t ii = 0; ii < vec.size(); ii++)
      {
        EXPECT_EQ(static_cast<long>(ii), vec[ii].lCounter) << strFile;
        unsigned uThread = 0;
        int iLine = 0;
        if (vec[ii].strText.compare(0, 4, "### ") != 0)
        {
          ASSERT_EQ(2, sscanf(vec[ii].strText.c_str(), "thread %u line %d", &uThread, &iLine));
          ASSERT_LT(uThread, vecNext.size());
          EXPECT_EQ(vecNext[uThread]++, iLine) << "round " << iRound << ", thread " << uThread;
        }
      }
    }
    EXPECT_EQ(std::vector<int>(c.iThreads, c.iLines), vecNext) << "round " << iRound;
    if (c.blDebugDir)
    {
      // Nothing at the given paths: the directory holds only the debug one.
      EXPECT_EQ(vecFiles.size() + 1, ostest::Listing(tempdir.Path()).size());
      EXPECT_EQ(0777, ostest::ModeOf(strDebugDir));
      EXPECT_EQ(0700, ostest::ModeOf(tempdir.Path()));  // an existing directory is not widened
    }
    delete m_poslog;  // while its directory exists
    m_poslog = nullptr;
  }
  EXPECT_EQ(027u, umask(modeOld));
  EXPECT_EQ((std::set<std::string>{"0027"}), setMask);
}

INSTANTIATE_TEST_SUITE_P(
    Threads, LogStressTest,
    ::testing::Values(StressCase{8, 100, false, false, 50}, StressCase{64, 1, false, false, 50},
                      StressCase{8, 100, true, false, 50}, StressCase{8, 100, false, true, 50},
                      StressCase{64, 1, false, true, 50}, StressCase{8, 100, true, true, 50},
                      StressCase{8, 500, true, false, 1}));

// Control characters but tab are escaped, so that a message stays one line.
// An over-long text is cut, before a whole escape; the formatter's report of
// the cut re-enters the log and is dropped.
TEST_F(LogTest, ControlCharactersAreEscapedAndOverlongTextIsCut)
{
  Make(1);
  Msg(EOSLOGFLAG_INFO, "a\nb\r\nc\x01\x1f\td\\n\x7f");
  EXPECT_EQ((Texts{"a\\nb\\r\\nc\\x01\\x1f\td\\n\x7f"}), Messages());
  for (char c : {'x', '\n'})
  {
    Msg(EOSLOGFLAG_INFO, std::string(2 * 1048576, c));
    std::string strLast = ostest::SplitLines(ostest::ReadFile(m_strLog)).back();
    LogLine logline;
    ASSERT_TRUE(ParseLine(strLast, &logline));
    // The header, the cut text and CR LF fill the 1 MiB buffer but one byte
    // (or two, when an escape does not fit whole).
    EXPECT_LE(1048576u - 3u - (c == '\n' ? 1u : 0u), strLast.size());
    EXPECT_GE(1048576u - 3u, strLast.size());
    EXPECT_EQ(std::string::npos, logline.strText.find_first_not_of(c == 'x' ? "x" : "\\n"));
  }
  EXPECT_EQ(std::string::npos, ostest::ReadFile(m_strLog).find("failed..."));
}

// ---- where the log goes --------------------------------------------------------

TEST_F(LogTest, LinesWaitUntilTheLogDirectoryExists)
{
  std::string strDir = m_tempdir / "later";
  std::string strPath = strDir + "/x.log";
  Make(1, nullptr, strPath.c_str());
  Msg(EOSLOGFLAG_INFO, "lost");
  Msg(EOSLOGFLAG_ERROR, "lost too");
  ASSERT_EQ(0, mkdir(strDir.c_str(), 0777));
  Msg(EOSLOGFLAG_INFO, "kept");
  EXPECT_EQ((Texts{"kept"}), Messages(strPath));
}

// Where a path leads. In the constructor "@VAR@/name.ext" gives
// <$VAR or .>/name_<program>.log. QRB_LOGDIR replaces Setup paths by a file
// named after the time, but not a plain constructor path. The variable named
// is set to the temporary directory; an expected path ending in "_" is
// followed by the 17 digits of the time.
TEST_F(LogTest, PathsFromAtFormsAndTheLogDirectory)
{
  const std::string &strTemp = m_tempdir.Path();
  const std::string strProgram = program_invocation_short_name;
  const struct
  {
    bool blSetup;
    const char *szVariable;
    std::string strPath;
    std::string strExpected;
  } acase[] = {{false, "MYLOGDIR", "@MYLOGDIR@/scan.log", strTemp + "/scan_" + strProgram + ".log"},
               {false, "OTHER", "@MYLOGDIR@/scan.log", "./scan_" + strProgram + ".log"},
               {true, "QRB_LOGDIR", "plain.log", strTemp + "/qrb_"},
               {false, "QRB_LOGDIR", strTemp + "/test.log", strTemp + "/test.log"}};
  ostest::ScopedEnv envLogDir("QRB_LOGDIR", nullptr);
  EnterWorkDirectory();  // where the relative paths lead
  for (const auto &c : acase)
  {
    SCOPED_TRACE(c.strPath);
    ostest::ScopedEnv envVariable(c.szVariable, strTemp.c_str());
    Make(1, nullptr, c.blSetup ? "" : c.strPath.c_str());
    if (c.blSetup)
    {
      Setup(c.strPath, 1);
    }
    char szFile[512];
    g_poslog->GetFilename(szFile, sizeof(szFile));
    EXPECT_TRUE(c.strExpected.back() == '_' ? TimeNamed(szFile, c.strExpected) : szFile == c.strExpected)
        << szFile;
  }
}

TEST_F(LogTest, NoPathMeansHopelessUntilSetupGivesOne)
{
  Make(1, nullptr, nullptr);
  EXPECT_EQ(1, g_poslog->SetHopeless(1));
  g_poslog->Flush();  // no path: nothing to open
  Setup(m_strLog, 1);
  g_poslog->Setup(nullptr, 1, nullptr, nullptr);  // no new path: the old one stays
  EXPECT_EQ(0, g_poslog->SetHopeless(0));
  Msg(EOSLOGFLAG_INFO, "written");
  EXPECT_EQ("written", Messages().back());
  // GetLogFile needs room for the whole path.
  std::vector<char> vec(m_strLog.size() + 1, '#');
  EXPECT_EQ(EOSSTS_BADARG, g_poslog->GetLogFile(vec.data(), static_cast<uint32_t>(m_strLog.size())));
  EXPECT_EQ(EOSSTS_BADARG, g_poslog->GetLogFile(nullptr, 100));
  EXPECT_EQ(EOSSTS_OK, g_poslog->GetLogFile(vec.data(), static_cast<uint32_t>(vec.size())));
  EXPECT_EQ(m_strLog, vec.data());
}

// A path that does not open (here a directory) makes each of its prefixes,
// joined by backslashes, relative to the working directory (the whole path
// is the last of them), and is retried
// formatted with itself as the format and "/tmp/qrb.log" as the argument,
// but only when "%%" and one "%s" are its only conversions: a "%n" or "%d"
// must never reach the formatter. Then the log turns hopeless.
TEST_F(LogTest, UnopenablePathMakesBackslashDirectoriesAndIsRetriedOnlyWithALoneS)
{
  const std::string strWork = EnterWorkDirectory();
  for (const char *szDir : {"x%n%d%s", "x%s", "x", "x/tmp"})
  {
    ASSERT_EQ(0, mkdir((m_tempdir / szDir).c_str(), 0777));
  }
  const std::string strPath = m_tempdir / "x%n%d%s";
  Make(1, nullptr, strPath.c_str());
  Msg(EOSLOGFLAG_INFO, "lost");
  EXPECT_EQ(1, g_poslog->SetHopeless(0));
  std::string strFlat = strPath.substr(1);
  std::replace(strFlat.begin(), strFlat.end(), '/', '\\');
  EXPECT_TRUE(ostest::IsDirectory(strWork + "/" + strFlat)) << strFlat;
  Make(1, nullptr, (m_tempdir / "x%s").c_str());
  Msg(EOSLOGFLAG_INFO, "fallback");
  EXPECT_EQ((Texts{"fallback"}), Messages(m_tempdir / "x/tmp/qrb.log"));
}

// What a user may leave at the log path in a directory that everyone may
// write. Only another user's own log (a regular file with a single link) may
// be written; a link, a FIFO (an open for writing would block) or a second
// name of a file elsewhere turns the log hopeless, as root and as nobody.
enum class Plant
{
  Link,
  DanglingLink,
  Fifo,
  HardLink,
  OthersLog
};

TEST_F(LogTest, PlantedLinksFifosAndHardLinksAreNeverWrittenThrough)
{
  if (geteuid() != 0)
  {
    GTEST_SKIP() << "needs the superuser to plant files of other users";
  }
  EnterWorkDirectory();                                 // the refused path's fallback makes directories here
  ASSERT_EQ(0, chmod(m_tempdir.Path().c_str(), 0711));  // nobody may pass
  for (int iCase = 0; iCase < 10; iCase++)
  {
    SCOPED_TRACE(iCase);
    const Plant plant = static_cast<Plant>(iCase % 5);
    const bool blAsNobody = iCase >= 5;
    const std::string strShared = m_tempdir / ("shared" + std::to_string(iCase));
    const std::string strTarget = m_tempdir / ("target" + std::to_string(iCase));
    const std::string strLogPath = strShared + "/x.log";
    ASSERT_EQ(0, mkdir(strShared.c_str(), 0777));
    ASSERT_EQ(0, chmod(strShared.c_str(), 0777));
    if (plant != Plant::DanglingLink)
    {
      ASSERT_TRUE(ostest::WriteFile(strTarget, "untouched\n"));
      ASSERT_EQ(0, chmod(strTarget.c_str(), 0666));
    }
    switch (plant)
    {
      case Plant::Link:
      case Plant::DanglingLink:
        ASSERT_EQ(0, symlink(strTarget.c_str(), strLogPath.c_str()));
        break;
      case Plant::Fifo:
        ASSERT_EQ(0, mkfifo(strLogPath.c_str(), 0666));
        break;
      case Plant::HardLink:
        ASSERT_EQ(0, link(strTarget.c_str(), strLogPath.c_str()));
        break;
      case Plant::OthersLog:
        ASSERT_TRUE(ostest::WriteFile(strLogPath, ""));
        ASSERT_EQ(0, chmod(strLogPath.c_str(), 0666));
        ASSERT_EQ(0, chown(strLogPath.c_str(), blAsNobody ? 0 : 65534, blAsNobody ? 0 : 65534));
        break;
    }
    Make(1, nullptr, strLogPath.c_str());
    auto fnAttempt = [&]
    {
      Msg(EOSLOGFLAG_ERROR, "planted");
      return g_poslog->SetHopeless(0) == (plant == Plant::OthersLog ? 0 : 1);
    };
    EXPECT_TRUE(blAsNobody ? ostest::RunAsNobody(fnAttempt) : fnAttempt());
    if (plant == Plant::OthersLog)  // reading the others would block on the FIFO
    {
      EXPECT_EQ(Texts{"planted"}, Messages(strLogPath));
    }
    // A dangling link's target is never made.
    EXPECT_EQ(plant == Plant::DanglingLink ? "" : "untouched\n", ostest::ReadFile(strTarget));
  }
}

// ---- the general information block --------------------------------------------

// The block's own values come from the configuration's information
// functions, tested with them; here its shape and the log's own fields.
TEST_F(LogTest, NewLogReplacesTheOldContentsWithTheBlock)
{
  // Longer than the block's first line, which is written over the old start.
  ASSERT_TRUE(ostest::WriteFile(m_strLog, std::string(5000, 'o') + "\r\n"));
  Make(0x101, "usb");
  Msg(EOSLOGFLAG_INFO, "new", "os_cosusb.cpp");
  std::vector<LogLine> vec = Lines();  // an old line would not parse
  ASSERT_EQ(COsCfg::IsLibrary() ? 6u : 5u, vec.size());
  EXPECT_NE(std::string::npos, vec[0].strText.find(") Debug=257 DebugFilter=<usb> Version="))
      << vec[0].strText;
  EXPECT_EQ("new", vec.back().strText);
}

// Setup starts a new block only for a new path; the level-2 switch keeps
// what the new file held.
TEST_F(LogTest, SetupStartsANewBlockOnlyForANewPathAndLevel2KeepsTheOldLines)
{
  const std::string strOther = m_tempdir / "other.log";
  ASSERT_TRUE(ostest::WriteFile(strOther, "old line\r\n"));
  Make(1);
  Msg(EOSLOGFLAG_INFO, "before");
  Setup(m_strLog, 1);
  Msg(EOSLOGFLAG_INFO, "after");
  Setup(strOther, 0x3);
  Msg(EOSLOGFLAG_INFO, "second file");
  const std::string strText = ostest::ReadFile(m_strLog);
  EXPECT_EQ(strText.find("### ("), strText.rfind("### ("));  // one block
  EXPECT_EQ((Texts{"before", "### OsServicesStart...", "after"}), Messages());
  const std::string strOtherText = ostest::ReadFile(strOther);
  EXPECT_EQ(0u, strOtherText.find("old line\r\n00000 "));
  ASSERT_TRUE(ostest::WriteFile(strOther, strOtherText.substr(10)));  // the rest must parse
  EXPECT_EQ((Texts{"### OsServicesStart...", "second file"}), Messages(strOther));
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
  Msg(EOSLOGFLAG_ASSERT, "quiet");
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST_F(LogTest, DataSourceStateByteShowsInTheHeader)
{
  Make(1);
  uint8_t u8State = 0;
  Setup(m_strLog, 1, nullptr, &u8State);
  g_poslog->SetDsState(5);
  Msg(EOSLOGFLAG_INFO, "state");
  EXPECT_EQ(5, Lines().back().iState);
  // Destroying the log traces it and clears the global.
  delete m_poslog;
  m_poslog = nullptr;
  EXPECT_EQ(nullptr, g_poslog);
  EXPECT_EQ(0u, Messages().back().find("mem>>> addr:0x"));
}

}  // namespace
