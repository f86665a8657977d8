// test_cosservices.cpp: services start-up and shut-down run end to end in a
// temporary root (QRB_SHGETFOLDERPATH), for every entity, and the services
// arguments block: its composition, its publication in the environment, its
// inheritance and its withdrawal at stop.
//
// The directories follow the configuration's layout: the root is the
// temporary directory, the log directory <root>/log, the log file
// <root>/log/<unique name>.log, and the home of the program is the directory
// of the test executable (its name is the home name).
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "os_coscfg.h"
#include "os_coslocale.h"
#include "os_coslog.h"
#include "os_cosmem.h"
#include "os_cosservices.h"
#include "os_cosstring.h"
#include "os_costhread.h"
#include "os_testutil.h"

namespace
{

const char s_szDriverXml[] =
    "<arguments>\n\t<uniquename>svcdriver</uniquename>\n\t<entity>driver</entity>\n\t<loglevel>0</loglevel>\n"
    "</arguments>";
const char s_szDriverDebugXml[] =
    "<arguments>\n\t<uniquename>svcdriver</uniquename>\n\t<entity>driver</entity>\n\t<loglevel>1</loglevel>\n"
    "</arguments>";
const char s_szUtilityXml[] =
    "<arguments><uniquename>svcutil</uniquename><entity>utility</entity></arguments>";
const char s_szAppUtilityXml[] =
    "<arguments><uniquename>svcapputil</uniquename><entity>apputility</entity></arguments>";
const char s_szApplicationXml[] =
    "<arguments><uniquename>svcapp</uniquename><entity>application</entity></arguments>";
const char s_szUnknownXml[] =
    "<arguments><uniquename>svcunknown</uniquename><entity>Driver</entity></arguments>";

std::string Env(const char *a_szName)
{
  const char *szValue = getenv(a_szName);
  return szValue ? szValue : "<unset>";
}

bool IsDirectory(const std::string &a_strPath)
{
  struct stat statPath;
  return stat(a_strPath.c_str(), &statPath) == 0 && S_ISDIR(statPath.st_mode);
}

std::string ProcessThreadName()
{
  char szName[128];
  snprintf(szName, sizeof(szName), "QRB_OSSERVICESARGUMENTS_%llx_%llx",
           static_cast<unsigned long long>(getpid()),
           static_cast<unsigned long long>(COsThread::GetThreadId()));
  return szName;
}

std::string ExecutablePath()
{
  char szPath[512];
  const ssize_t sszLength = readlink("/proc/self/exe", szPath, sizeof(szPath) - 1);
  return sszLength > 0 ? std::string(szPath, static_cast<size_t>(sszLength)) : std::string();
}

// The first word of the command line, as the log's application line shows it.
std::string CommandName()
{
  const std::string strCommandLine = ostest::ReadFile("/proc/self/cmdline");
  return strCommandLine.substr(0, strCommandLine.find('\0'));
}

// The configuration's home name: the executable's directory name.
std::string HomeName()
{
  const std::string strExe = ExecutablePath();
  const std::string strDirectory = strExe.substr(0, strExe.rfind('/'));
  return strDirectory.substr(strDirectory.rfind('/') + 1);
}

std::string CfgGet(uint32_t a_u32Tag)
{
  return g_poscfg ? g_poscfg->Get(OS_CFGSECTION_MAIN, a_u32Tag) : "<no cfg>";
}

// The block as the runtime composes it with a model line.
std::string BlockWithModel(const std::string &a_strRoot, const std::string &a_strLogPath,
                           const std::string &a_strModel, int a_iLevel, const std::string &a_strCaller,
                           bool a_blFromInterfaceOpen, bool a_blForceSetAccess, const std::string &a_strApp)
{
  return "<arguments>\n\t<rootpath>" + a_strRoot + "</rootpath>\n\t<logpath>" + a_strLogPath +
         "</logpath>\n\t<logmodel>" + a_strModel + "</logmodel>\n\t<loglevel>" + std::to_string(a_iLevel) +
         "</loglevel>\n\t<callersuniquename>" + a_strCaller + "</callersuniquename>\n\t<frominterfaceopen>" +
         (a_blFromInterfaceOpen ? "true" : "false") + "</frominterfaceopen>\n\t<forcesetaccess>" +
         (a_blForceSetAccess ? "true" : "false") + "</forcesetaccess>\n\t<app><![CDATA[" + a_strApp +
         "]]></app>\n</arguments>";
}

// Publishes the runtime's block and returns what QRB_OSSERVICESARGUMENTS holds.
std::string Published()
{
  COsCfg::OsCfgServicesArgumentsSetAndLock(true);
  COsCfg::OsCfgServicesArgumentsSetAndLock(false);
  return Env("QRB_OSSERVICESARGUMENTS");
}

// Every test runs in a fresh root, with the services' environment cleared
// and restored, the module description restored, and the services stopped.
class ServicesTest : public ::testing::Test
{
protected:
  ServicesTest()
      : m_envRoot("QRB_SHGETFOLDERPATH", m_tempdir.Path().c_str()),
        m_envDebug("QRB_DEBUG", nullptr),
        m_envLogDir("QRB_LOGDIR", nullptr),
        m_envDebugDir("QRB_DEBUGDIR", nullptr),
        m_envCfgDir("QRB_OSCFGDIR", nullptr),
        m_envOverride("QRB_OVERRIDEINI", nullptr),
        m_envArguments("QRB_OSSERVICESARGUMENTS", nullptr),
        m_envUnicode("QRB_OSSERVICESARGUMENTSUNICODE", nullptr),
        m_envDisabled("QRB_OSSERVICESARGUMENTSDISABLED", nullptr),
        m_envProcessThread(ProcessThreadName().c_str(), nullptr),
        m_szOsXmlOld(g_szOsXml)
  {
  }
  ~ServicesTest() override
  {
    OsServicesStop();
    g_szOsXml = m_szOsXmlOld;
  }

  void Start(const char *a_szXml, const char *a_szArguments = nullptr)
  {
    g_szOsXml = a_szXml;
    OsServicesStart(a_szArguments);
  }

  std::string Root() const { return m_tempdir.Path(); }
  std::string LogDirectory() const { return m_tempdir / "log"; }
  std::string Path(const std::string &a_strName) const { return m_tempdir / a_strName; }

private:
  ostest::TempDir m_tempdir;
  ostest::ScopedEnv m_envRoot;
  ostest::ScopedEnv m_envDebug;
  ostest::ScopedEnv m_envLogDir;
  ostest::ScopedEnv m_envDebugDir;
  ostest::ScopedEnv m_envCfgDir;
  ostest::ScopedEnv m_envOverride;
  ostest::ScopedEnv m_envArguments;
  ostest::ScopedEnv m_envUnicode;
  ostest::ScopedEnv m_envDisabled;
  ostest::ScopedEnv m_envProcessThread;
  const char *m_szOsXmlOld;
};

// An inherited block as a parent process would publish it.
const char s_szParentBlock[] =
    "<arguments>\n\t<rootpath>/srv/writeable</rootpath>\n\t<logpath>LOGPATH</logpath>\n\t"
    "<logmodel>parentmodel</logmodel>\n\t<loglevel>3</loglevel>\n\t<callersuniquename>parentapp"
    "</callersuniquename>\n\t<frominterfaceopen>false</frominterfaceopen>\n\t<forcesetaccess>false"
    "</forcesetaccess>\n\t<app><![CDATA[/opt/parent/bin/parentapp]]></app>\n</arguments>";

std::string ParentBlock(const std::string &a_strLogPath)
{
  std::string strBlock = s_szParentBlock;
  strBlock.replace(strBlock.find("LOGPATH"), 7, a_strLogPath);
  return strBlock;
}

// --- Start-up by entity ------------------------------------------------------

TEST_F(ServicesTest, DriverCreatesEveryServiceAndPublishesItsBlock)
{
  Start(s_szDriverXml);
  ASSERT_NE(nullptr, g_posstring);
  ASSERT_NE(nullptr, g_poslog);
  ASSERT_NE(nullptr, g_posmem);
  ASSERT_NE(nullptr, g_poscfg);
  ASSERT_NE(nullptr, g_poslocale);
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  EXPECT_STREQ("", OsServicesGetUniqueNameCaller());

  // The block is filled from the configuration and published at start-up;
  // the model line carries the real model directory (the home name).
  const std::string strExpected =
      BlockWithModel(Root(), LogDirectory(), HomeName(), 0, "svcdriver", false, false, ExecutablePath());
  EXPECT_EQ(strExpected, Env("QRB_OSSERVICESARGUMENTS"));
  EXPECT_EQ(strExpected, Env(ProcessThreadName().c_str()));
  EXPECT_EQ(strExpected, Env("QRB_OSSERVICESARGUMENTSUNICODE"));
  EXPECT_EQ(HomeName(), CfgGet(OS_CFGTAG_MODELDIRECTORY));
  OsServicesStop();
  EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTS"));
  EXPECT_EQ("<unset>", Env(ProcessThreadName().c_str()));
  EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTSUNICODE"));
}

TEST_F(ServicesTest, DriverIgnoresAnInheritedBlock)
{
  ostest::ScopedEnv envParent("QRB_OSSERVICESARGUMENTS", ParentBlock(Path("parentlogs")).c_str());
  Start(s_szDriverXml);
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  EXPECT_STREQ("", OsServicesGetUniqueNameCaller());
  EXPECT_STREQ("", OsServicesGetWriteableRootPath());
  EXPECT_NE(std::string::npos, Published().find("<callersuniquename>svcdriver<"));
  EXPECT_FALSE(IsDirectory(Path("parentlogs")));
}

TEST_F(ServicesTest, ApplicationBlockHasNoModelLine)
{
  Start(s_szApplicationXml);
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  const std::string strExpected = "<arguments>\n\t<rootpath>" + Root() + "</rootpath>\n\t<logpath>" +
                                  LogDirectory() +
                                  "</logpath>\n\t<loglevel>0</loglevel>\n\t<callersuniquename>svcapp"
                                  "</callersuniquename>\n\t<frominterfaceopen>false</frominterfaceopen>\n\t"
                                  "<forcesetaccess>false</forcesetaccess>\n\t<app><![CDATA[" +
                                  ExecutablePath() + "]]></app>\n</arguments>";
  EXPECT_EQ(strExpected, Published());
}

TEST_F(ServicesTest, LibraryIsTopMostLikeAnApplication)
{
  ostest::ScopedEnv envParent("QRB_OSSERVICESARGUMENTS", ParentBlock(Path("parentlogs")).c_str());
  Start("<arguments><uniquename>svcdll</uniquename><entity>dll</entity></arguments>");
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  const std::string strBlock = Published();
  EXPECT_NE(std::string::npos, strBlock.find("<callersuniquename>svcdll<"));
  EXPECT_EQ(std::string::npos, strBlock.find("<logmodel>"));
}

TEST_F(ServicesTest, TopMostUtilityPublishesABlockForItsChildren)
{
  Start(s_szUtilityXml);
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  // Composed before the configuration existed: the arguments themselves.
  const std::string strLogPath = LogDirectory() + "/" + HomeName() + "/isis/log";
  EXPECT_EQ(BlockWithModel("", strLogPath, HomeName(), 0, "svcutil", false, false, "(null oscfg)"),
            Env("QRB_OSSERVICESARGUMENTS"));
}

TEST_F(ServicesTest, AppUtilityInheritsTheParentsBlock)
{
  const std::string strBlock = ParentBlock(Path("parentlogs"));
  ostest::ScopedEnv envParent("QRB_OSSERVICESARGUMENTS", strBlock.c_str());
  Start(s_szAppUtilityXml);
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_FALSE(OsServicesIsTopMostInvocation());
  EXPECT_STREQ("parentapp", OsServicesGetUniqueNameCaller());
  EXPECT_STREQ("/srv/writeable", OsServicesGetWriteableRootPath());
  // The log goes below the parent's log path, in a directory of its own.
  EXPECT_TRUE(IsDirectory(Path("parentlogs/svcapputil")));
  // The parent's level applies while the own one is 0 (bit 2 is the log's
  // keep-old-contents switch, so 3 leaves 1).
  EXPECT_EQ(1, g_poslog->GetDebugLevel());
  // The parent's program stands for the application.
  EXPECT_EQ("/opt/parent/bin/parentapp", CfgGet(OS_CFGTAG_APPLICATION));
  // Nothing is published again: the inherited block stays as it was.
  EXPECT_EQ(strBlock, Env("QRB_OSSERVICESARGUMENTS"));
}

TEST_F(ServicesTest, AppUtilityWithoutAParentIsTopMost)
{
  Start(s_szAppUtilityXml);
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  EXPECT_NE(std::string::npos, Env("QRB_OSSERVICESARGUMENTS").find("<callersuniquename>svcapputil<"));
}

TEST_F(ServicesTest, DisabledSwitchDropsTheInheritedBlockBeforeReading)
{
  ostest::ScopedEnv envParent("QRB_OSSERVICESARGUMENTS", ParentBlock(Path("parentlogs")).c_str());
  ostest::ScopedEnv envDisabled("QRB_OSSERVICESARGUMENTSDISABLED", "1");
  Start(s_szAppUtilityXml);
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  EXPECT_STREQ("", OsServicesGetUniqueNameCaller());
  EXPECT_FALSE(IsDirectory(Path("parentlogs")));
  EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTSDISABLED"));
  // The block seen now is the utility's own.
  EXPECT_NE(std::string::npos, Env("QRB_OSSERVICESARGUMENTS").find("<callersuniquename>svcapputil<"));
}

TEST_F(ServicesTest, UnknownEntityStartsTheServicesButPublishesNothing)
{
  // Entity names are case-sensitive: "Driver" is not a driver.
  Start(s_szUnknownXml);
  ASSERT_NE(nullptr, g_poscfg);
  ASSERT_NE(nullptr, g_poslocale);
  EXPECT_FALSE(OsServicesIsTopMostInvocation());
  EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTS"));
  OsServicesStop();
  // Not the owner of the set-up: the (empty) log directory stays.
  EXPECT_TRUE(IsDirectory(LogDirectory()));
}

TEST_F(ServicesTest, StarredUniqueNameComesFromTheModuleFile)
{
  Start("<arguments><uniquename>*</uniquename><entity>driver</entity></arguments>");
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_NE(std::string::npos, Published().find("<callersuniquename>test_cosservices<"));
  EXPECT_EQ(LogDirectory() + "/test_cosservices.log", CfgGet(OS_CFGTAG_QRB_LOG));
}

TEST_F(ServicesTest, VersionFieldsOnlyWithTheVersionTag)
{
  Start(
      "<arguments><uniquename>svcver</uniquename><entity>application</entity><version></version>"
      "<major>8</major><minor>13</minor><year>24</year></arguments>");
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_EQ("08", CfgGet(OS_CFGTAG_VERSION_MAJORNUM));
  EXPECT_EQ("13", CfgGet(OS_CFGTAG_VERSION_MINORNUM));
  EXPECT_EQ("00", CfgGet(OS_CFGTAG_VERSION_PATCHNUM));
  EXPECT_EQ("0024", CfgGet(OS_CFGTAG_VERSION_YEAR));
  OsServicesStop();

  Start("<arguments><uniquename>svcver</uniquename><entity>application</entity><major>8</major></arguments>");
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_EQ("00", CfgGet(OS_CFGTAG_VERSION_MAJORNUM));
  EXPECT_EQ("0000", CfgGet(OS_CFGTAG_VERSION_YEAR));
}

// --- Debug word, dump and the general information block ----------------------

TEST_F(ServicesTest, DebugWordSwitchesTheConfiguredDebugOn)
{
  Start(s_szUnknownXml);
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_EQ("0", CfgGet(OS_CFGTAG_DEBUG));
  EXPECT_EQ(0, g_poslog->GetDebugLevel());
  OsServicesStop();

  // QRB_DEBUG is OR-ed with the module's level; Debug "0" becomes "1".
  ostest::ScopedEnv envDebug("QRB_DEBUG", "16");
  Start("<arguments><uniquename>svcunknown</uniquename><loglevel>1</loglevel></arguments>");
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_EQ("1", CfgGet(OS_CFGTAG_DEBUG));
  EXPECT_EQ(17, g_poslog->GetDebugLevel());
}

TEST_F(ServicesTest, CoreDumpBitLiftsTheCoreLimit)
{
  struct rlimit rlimitOld;
  ASSERT_EQ(0, getrlimit(RLIMIT_CORE, &rlimitOld));
  if (rlimitOld.rlim_max != RLIM_INFINITY && geteuid() != 0)
  {
    GTEST_SKIP() << "the hard core limit can only be raised by a privileged user";
  }
  struct rlimit rlimitLow = {0, rlimitOld.rlim_max};
  ASSERT_EQ(0, setrlimit(RLIMIT_CORE, &rlimitLow));
  ostest::ScopedEnv envDebug("QRB_DEBUG", "4096");
  Start(s_szUnknownXml);
  struct rlimit rlimitNow;
  ASSERT_EQ(0, getrlimit(RLIMIT_CORE, &rlimitNow));
  EXPECT_EQ(RLIM_INFINITY, rlimitNow.rlim_cur);
  EXPECT_EQ(RLIM_INFINITY, rlimitNow.rlim_max);
  setrlimit(RLIMIT_CORE, &rlimitOld);
}

TEST_F(ServicesTest, NoCoreLimitChangeWithoutTheBit)
{
  struct rlimit rlimitOld;
  ASSERT_EQ(0, getrlimit(RLIMIT_CORE, &rlimitOld));
  struct rlimit rlimitLow = {0, rlimitOld.rlim_max};
  ASSERT_EQ(0, setrlimit(RLIMIT_CORE, &rlimitLow));
  ostest::ScopedEnv envDebug("QRB_DEBUG", "4095");
  Start(s_szUnknownXml);
  struct rlimit rlimitNow;
  ASSERT_EQ(0, getrlimit(RLIMIT_CORE, &rlimitNow));
  EXPECT_EQ(0u, rlimitNow.rlim_cur);
  setrlimit(RLIMIT_CORE, &rlimitOld);
}

TEST_F(ServicesTest, DumpAndArgumentLinesAtANonZeroLevel)
{
  Start(s_szDriverDebugXml);
  ASSERT_NE(nullptr, g_poscfg);
  const std::string strDump = ostest::ReadFile(LogDirectory() + "/qrboscfg.txt");
  EXPECT_EQ(0u, strDump.find("\r\n*** Environmentals ***"));
  EXPECT_NE(std::string::npos, strDump.find("QRB_SHGETFOLDERPATH=" + Root() + "\r\n"));
  const std::string strLog = ostest::ReadFile(LogDirectory() + "/svcdriver.log");
  EXPECT_NE(std::string::npos, strLog.find(" os_coscfg "));
  EXPECT_NE(std::string::npos, strLog.find("V. QRB_OSSERVICESARGUMENTS before...<"));
  EXPECT_NE(std::string::npos, strLog.find("V. QRB_OSSERVICESARGUMENTS after...<<arguments>\n\t<rootpath>"));
}

TEST_F(ServicesTest, NoDumpAtLevelZero)
{
  Start(s_szDriverXml);
  ASSERT_NE(nullptr, g_poscfg);
  EXPECT_FALSE(ostest::FileExists(LogDirectory() + "/qrboscfg.txt"));
}

TEST_F(ServicesTest, FreshLogBeginsWithTheGeneralInformation)
{
  ASSERT_EQ(0, mkdir(LogDirectory().c_str(), 0777));
  ASSERT_TRUE(ostest::WriteFile(LogDirectory() + "/svcdriver.log", "OLD LINE\r\n"));
  Start(s_szDriverDebugXml);
  ASSERT_NE(nullptr, g_poslog);
  const std::vector<std::string> vecLines =
      ostest::SplitLines(ostest::ReadFile(LogDirectory() + "/svcdriver.log"));
  ASSERT_GE(vecLines.size(), 5u);
  EXPECT_EQ(0u, vecLines[0].find("00000 "));
  EXPECT_NE(std::string::npos, vecLines[0].find(" VP ### ("));
  EXPECT_NE(std::string::npos, vecLines[0].find(") Debug=1 DebugFilter=<> Version=~8.13.0.0"));
  EXPECT_EQ(0u, vecLines[1].find("00001 "));
  EXPECT_NE(std::string::npos, vecLines[1].find(" VP ### systemInfo <arch:"));
  EXPECT_NE(std::string::npos, vecLines[1].find(" pid:" + std::to_string(getpid()) + " "));
  EXPECT_NE(std::string::npos, vecLines[2].find(" VP ### osInfo <Os:"));
  EXPECT_NE(std::string::npos, vecLines[3].find(" VP ### appInfo <" + CommandName() + "> versioncfg="));
  // The first message follows with the next number.
  EXPECT_EQ(0u, vecLines[4].find("00004 "));
  for (const std::string &strLine : vecLines)
  {
    EXPECT_EQ(std::string::npos, strLine.find("OLD LINE"));
  }
}

TEST_F(ServicesTest, LevelTwoSwitchKeepsTheOldLog)
{
  ASSERT_EQ(0, mkdir(LogDirectory().c_str(), 0777));
  ASSERT_TRUE(ostest::WriteFile(LogDirectory() + "/svcdriver.log", "OLD LINE\r\n"));
  ostest::ScopedEnv envDebug("QRB_DEBUG", "2");
  Start(s_szDriverDebugXml);
  ASSERT_NE(nullptr, g_poslog);
  const std::vector<std::string> vecLines =
      ostest::SplitLines(ostest::ReadFile(LogDirectory() + "/svcdriver.log"));
  ASSERT_GE(vecLines.size(), 2u);
  EXPECT_EQ("OLD LINE", vecLines[0]);
  EXPECT_EQ(0u, vecLines[1].find("00000 "));
  EXPECT_NE(std::string::npos, vecLines[1].find("### ("));
}

TEST_F(ServicesTest, ForceThreadAffinityPinsTheThread)
{
  cpu_set_t cpusetOld;
  ASSERT_EQ(0, sched_getaffinity(0, sizeof(cpusetOld), &cpusetOld));
  if (CPU_COUNT(&cpusetOld) < 2 || !CPU_ISSET(0, &cpusetOld))
  {
    GTEST_SKIP() << "needs processors 0 and another one";
  }
  ASSERT_TRUE(ostest::WriteFile(Path("override.ini"), "[dsIdentity]\nForceThreadAffinity=0x1\n"));
  ostest::ScopedEnv envOverride("QRB_OVERRIDEINI", Path("override.ini").c_str());
  Start(s_szDriverDebugXml);
  cpu_set_t cpusetNow;
  ASSERT_EQ(0, sched_getaffinity(0, sizeof(cpusetNow), &cpusetNow));
  sched_setaffinity(0, sizeof(cpusetOld), &cpusetOld);
  EXPECT_EQ(1, CPU_COUNT(&cpusetNow));
  EXPECT_TRUE(CPU_ISSET(0, &cpusetNow));
  EXPECT_NE(std::string::npos,
            ostest::ReadFile(LogDirectory() + "/svcdriver.log").find("V. ForceThreadAffinity set to 1..."));
}

// --- Shut-down -----------------------------------------------------------------

TEST_F(ServicesTest, StopWithdrawsTheBlockAndDestroysEverything)
{
  ostest::ScopedEnv envOdd("QRB_OSSERVICESARGUMENTS_1a2b_3c4d", "x");
  ostest::ScopedEnv envLower("qrb_osservicesarguments", "y");
  ostest::ScopedEnv envDisabled("QRB_OSSERVICESARGUMENTSDISABLED", "0");
  ostest::ScopedEnv envShort("QRB_OSSERVICESARGUMENT", "kept");
  ostest::ScopedEnv envOverride("QRB_OVERRIDEINI", Path("none.ini").c_str());
  Start(s_szDriverXml);
  ASSERT_NE(nullptr, g_poscfg);
  ASSERT_NE("<unset>", Published());
  OsServicesStop();
  EXPECT_EQ(nullptr, g_posstring);
  EXPECT_EQ(nullptr, g_poslog);
  EXPECT_EQ(nullptr, g_posmem);
  EXPECT_EQ(nullptr, g_poscfg);
  EXPECT_EQ(nullptr, g_poslocale);
  for (const std::string &strName :
       {std::string("QRB_OSSERVICESARGUMENTS"), ProcessThreadName(),
        std::string("QRB_OSSERVICESARGUMENTSUNICODE"), std::string("QRB_OSSERVICESARGUMENTS_1a2b_3c4d"),
        std::string("qrb_osservicesarguments"), std::string("QRB_OSSERVICESARGUMENTSDISABLED")})
  {
    EXPECT_EQ("<unset>", Env(strName.c_str())) << strName;
  }
  EXPECT_EQ("kept", Env("QRB_OSSERVICESARGUMENT"));
  // The override deliberately survives the stop.
  EXPECT_EQ(Path("none.ini"), Env("QRB_OVERRIDEINI"));
  EXPECT_FALSE(OsServicesIsTopMostInvocation());
}

TEST_F(ServicesTest, TopMostStopRemovesOnlyAnEmptyLogDirectory)
{
  Start(s_szDriverXml);
  ASSERT_TRUE(IsDirectory(LogDirectory()));
  OsServicesStop();
  EXPECT_FALSE(IsDirectory(LogDirectory()));

  Start(s_szDriverDebugXml);
  OsServicesStop();
  // The log and the dump are in it now.
  EXPECT_TRUE(IsDirectory(LogDirectory()));
}

TEST_F(ServicesTest, InheritedStopLeavesTheLogDirectory)
{
  ostest::ScopedEnv envParent("QRB_OSSERVICESARGUMENTS", ParentBlock(Path("parentlogs")).c_str());
  Start(s_szAppUtilityXml);
  ASSERT_NE(nullptr, g_poscfg);
  OsServicesStop();
  EXPECT_TRUE(IsDirectory(LogDirectory()));
  EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTS"));
}

TEST_F(ServicesTest, StopWithoutStartIsHarmless)
{
  OsServicesStop();
  OsServicesStop();
  EXPECT_EQ(nullptr, g_poslog);
  EXPECT_EQ(nullptr, g_poscfg);
}

TEST_F(ServicesTest, StartStopStartStopBehavesTheSameTwice)
{
  const std::string strBlock = ParentBlock(Path("parentlogs"));
  {
    ostest::ScopedEnv envParent("QRB_OSSERVICESARGUMENTS", strBlock.c_str());
    Start(s_szAppUtilityXml);
    ASSERT_NE(nullptr, g_poscfg);
    EXPECT_STREQ("parentapp", OsServicesGetUniqueNameCaller());
    OsServicesStop();
  }
  EXPECT_STREQ("", OsServicesGetUniqueNameCaller());
  EXPECT_STREQ("", OsServicesGetWriteableRootPath());

  for (int iRound = 0; iRound < 2; iRound++)
  {
    Start(s_szDriverXml);
    ASSERT_NE(nullptr, g_poscfg) << iRound;
    EXPECT_TRUE(OsServicesIsTopMostInvocation());
    EXPECT_EQ(
        BlockWithModel(Root(), LogDirectory(), HomeName(), 0, "svcdriver", false, false, ExecutablePath()),
        Published())
        << iRound;
    OsServicesStop();
    EXPECT_EQ(nullptr, g_poscfg);
    EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTS"));
  }
}

// --- The block in the environment --------------------------------------------

TEST_F(ServicesTest, ArgumentsGetPrefersTheProcessThreadVariable)
{
  ostest::ScopedEnv envOwn(ProcessThreadName().c_str(), "<arguments>own</arguments>");
  ostest::ScopedEnv envPlain("QRB_OSSERVICESARGUMENTS", "<arguments>plain</arguments>");
  ostest::ScopedEnv envWide("QRB_OSSERVICESARGUMENTSUNICODE", "<arguments>wide</arguments>");
  char szBlock[64];
  EXPECT_EQ(EOSSTS_OK, COsCfg::OsCfgServicesArgumentsGet(szBlock, sizeof(szBlock)));
  EXPECT_STREQ("<arguments>own</arguments>", szBlock);
}

TEST_F(ServicesTest, ArgumentsGetSkipsIncompleteBlocks)
{
  ostest::ScopedEnv envOwn(ProcessThreadName().c_str(), "<arguments>no end");
  ostest::ScopedEnv envPlain("QRB_OSSERVICESARGUMENTS", "no start</arguments>");
  ostest::ScopedEnv envWide("QRB_OSSERVICESARGUMENTSUNICODE", "<arguments>wide</arguments>");
  char szBlock[64];
  EXPECT_EQ(EOSSTS_OK, COsCfg::OsCfgServicesArgumentsGet(szBlock, sizeof(szBlock)));
  EXPECT_STREQ("<arguments>wide</arguments>", szBlock);
}

TEST_F(ServicesTest, ArgumentsGetWithNothingLeavesTheBufferEmpty)
{
  char szBlock[64] = "stale";
  EXPECT_EQ(EOSSTS_FILENOTFOUND, COsCfg::OsCfgServicesArgumentsGet(szBlock, sizeof(szBlock)));
  EXPECT_STREQ("", szBlock);

  // A block longer than the buffer is cut, loses its end marker and is
  // not taken.
  ostest::ScopedEnv envPlain("QRB_OSSERVICESARGUMENTS", "<arguments>0123456789</arguments>");
  char szSmall[20] = "stale";
  EXPECT_EQ(EOSSTS_FILENOTFOUND, COsCfg::OsCfgServicesArgumentsGet(szSmall, sizeof(szSmall)));
  EXPECT_STREQ("", szSmall);
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::OsCfgServicesArgumentsGet(szSmall, 1));
}

TEST_F(ServicesTest, ArgumentsGetHonoursTheDisabledSwitch)
{
  ostest::ScopedEnv envPlain("QRB_OSSERVICESARGUMENTS", "<arguments>plain</arguments>");
  {
    ostest::ScopedEnv envDisabled("QRB_OSSERVICESARGUMENTSDISABLED", "0");
    char szBlock[64];
    EXPECT_EQ(EOSSTS_OK, COsCfg::OsCfgServicesArgumentsGet(szBlock, sizeof(szBlock)));
    EXPECT_STREQ("<arguments>plain</arguments>", szBlock);
  }
  ostest::ScopedEnv envOwn(ProcessThreadName().c_str(), "<arguments>own</arguments>");
  ostest::ScopedEnv envWide("QRB_OSSERVICESARGUMENTSUNICODE", "<arguments>wide</arguments>");
  ostest::ScopedEnv envDisabled("QRB_OSSERVICESARGUMENTSDISABLED", "1yes");
  char szBlock[64] = "stale";
  EXPECT_EQ(EOSSTS_FILENOTFOUND, COsCfg::OsCfgServicesArgumentsGet(szBlock, sizeof(szBlock)));
  EXPECT_STREQ("", szBlock);
  EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTS"));
  EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTSUNICODE"));
  EXPECT_EQ("<unset>", Env(ProcessThreadName().c_str()));
  EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTSDISABLED"));
}

TEST_F(ServicesTest, NullBufferReadsIntoTheGlobalBlock)
{
  {
    ostest::ScopedEnv envPlain("QRB_OSSERVICESARGUMENTS", "<arguments>global</arguments>");
    EXPECT_EQ(EOSSTS_OK, COsCfg::OsCfgServicesArgumentsGet(nullptr, 0));
  }
  EXPECT_EQ("<arguments>global</arguments>", Published());
  EXPECT_EQ("<arguments>global</arguments>", Env(ProcessThreadName().c_str()));
  EXPECT_EQ("<arguments>global</arguments>", Env("QRB_OSSERVICESARGUMENTSUNICODE"));
  COsCfg::OsCfgServicesArgumentsClear();
  EXPECT_EQ("", Published());
}

// --- OsServicesSetArguments ----------------------------------------------------

TEST_F(ServicesTest, SetArgumentsWithoutConfigurationUsesTheArguments)
{
  OsServicesSetArguments("/l", "model", "7", nullptr, "/r", true, true);
  EXPECT_EQ(BlockWithModel("/r", "/l", "model", 7, "", true, true, "(null oscfg)"), Published());

  OsServicesSetArguments(nullptr, "", nullptr, nullptr, nullptr, false, false);
  EXPECT_EQ(
      "<arguments>\n\t<rootpath></rootpath>\n\t<logpath></logpath>\n\t<loglevel>0</loglevel>\n\t"
      "<callersuniquename></callersuniquename>\n\t<frominterfaceopen>false</frominterfaceopen>\n\t"
      "<forcesetaccess>false</forcesetaccess>\n\t<app><![CDATA[(null oscfg)]]></app>\n</arguments>",
      Published());
}

TEST_F(ServicesTest, SetArgumentsDoesNothingWhenInheritanceIsOff)
{
  OsServicesSetArguments(nullptr, nullptr, nullptr, "<arguments>first</arguments>", nullptr, false, false);
  g_szOsXml = "<arguments><inherit>false</inherit></arguments>";
  OsServicesSetArguments("/l", "model", "7", nullptr, "/r", true, true);
  OsServicesSetArguments(nullptr, nullptr, nullptr, "<arguments>second</arguments>", nullptr, false, false);
  EXPECT_EQ("<arguments>first</arguments>", Published());
}

TEST_F(ServicesTest, SetArgumentsAppliesAGivenBlock)
{
  Start(s_szDriverXml);
  ASSERT_NE(nullptr, g_poscfg);
  const std::string strBlock =
      "<arguments><logfile>_T(\"" + Path("x.log") +
      "\")</logfile><logmodel>_T(\"scanmodel\")</logmodel><loglevel>5</loglevel></arguments>";
  const char *szBlock = strBlock.c_str();
  // Null switches: the block is only taken over.
  OsServicesSetArguments(nullptr, nullptr, nullptr, szBlock, nullptr, false, false);
  EXPECT_EQ(LogDirectory(), CfgGet(OS_CFGTAG_LOGDIRECTORY));
  EXPECT_EQ(0, g_poslog->GetDebugLevel());
  EXPECT_EQ(strBlock, Published());

  OsServicesSetArguments("", "", "", szBlock, nullptr, false, false);
  EXPECT_EQ(Path("x.log"), CfgGet(OS_CFGTAG_LOGDIRECTORY));
  EXPECT_EQ("scanmodel", CfgGet(OS_CFGTAG_MODELDIRECTORY));
  EXPECT_EQ(5, g_poslog->GetDebugLevel());

  // "NULL" in any case, and "0", mean no value.
  OsServicesSetArguments("", "", "",
                         "<arguments><logfile>_T(\"nUlL\")</logfile><loglevel>0</loglevel></arguments>",
                         nullptr, false, false);
  EXPECT_EQ("", CfgGet(OS_CFGTAG_LOGDIRECTORY));
  EXPECT_EQ("", CfgGet(OS_CFGTAG_MODELDIRECTORY));
  EXPECT_EQ(0, g_poslog->GetDebugLevel());
}

TEST_F(ServicesTest, SetArgumentsStoresIntoTheConfiguration)
{
  Start(s_szDriverXml);
  ASSERT_NE(nullptr, g_poscfg);
  std::string strLogPath = Path("scans");
  OsServicesSetArguments(strLogPath.c_str(), "flatbed", "0x3", nullptr, "/ignored", false, true);
  // The configuration keeps its own copy.
  strLogPath.back() = 'X';
  EXPECT_EQ(Path("scans"), CfgGet(OS_CFGTAG_LOGDIRECTORY));
  EXPECT_EQ("flatbed", CfgGet(OS_CFGTAG_MODELDIRECTORY));
  EXPECT_EQ(3, g_poslog->GetDebugLevel());
  // The configuration, not the root argument, gives the root path.
  EXPECT_EQ(BlockWithModel(Root(), Path("scans"), "flatbed", 3, "svcdriver", false, true, ExecutablePath()),
            Published());
}

// --- Interface open ------------------------------------------------------------

class InterfaceOpenTest : public ServicesTest
{
protected:
  // The caller's directory: <log directory>/<company>/<home name>/<caller>.
  std::string CallerDirectory(const std::string &a_strCaller) const
  {
    return LogDirectory() + "/qrb/" + HomeName() + "/" + a_strCaller;
  }
  // The published block's log path, with the time stamp checked and cut.
  std::string PublishedLogPath()
  {
    const std::string strBlock = Env("QRB_OSSERVICESARGUMENTS");
    const size_t sizetStart = strBlock.find("<logpath>");
    const size_t sizetEnd = strBlock.find("</logpath>");
    if (sizetStart == std::string::npos || sizetEnd == std::string::npos)
    {
      return "<none>";
    }
    std::string strLogPath = strBlock.substr(sizetStart + 9, sizetEnd - sizetStart - 9);
    const size_t sizetStamp = strLogPath.rfind("/log.");
    EXPECT_NE(std::string::npos, sizetStamp);
    EXPECT_EQ(17u, strLogPath.size() - sizetStamp - 5) << strLogPath;
    return strLogPath.substr(0, sizetStamp);
  }
  int PublishedLevel()
  {
    const std::string strBlock = Env("QRB_OSSERVICESARGUMENTS");
    const size_t sizetStart = strBlock.find("<loglevel>");
    return sizetStart == std::string::npos ? -1 : atoi(strBlock.c_str() + sizetStart + 10);
  }
};

TEST_F(InterfaceOpenTest, TextWithoutTheMarkerIsIgnored)
{
  OsServicesProcessInterfaceOpen("<callername>scanapp</callername><logging>on</logging>");
  OsServicesProcessInterfaceOpen(nullptr);
  EXPECT_EQ("<unset>", Env("QRB_OSSERVICESARGUMENTS"));
  EXPECT_FALSE(OsServicesIsTopMostInvocation());
}

TEST_F(InterfaceOpenTest, CallerWithoutConfigurationGetsALogBesideIt)
{
  OsServicesProcessInterfaceOpen("<interfaceopen><callername>scanapp</callername><logging>on</logging>");
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  EXPECT_EQ(CallerDirectory("scanapp"), PublishedLogPath());
  EXPECT_EQ(1, PublishedLevel());
  const std::string strBlock = Env("QRB_OSSERVICESARGUMENTS");
  EXPECT_EQ(0u, strBlock.find("<arguments>\n\t<rootpath>" + Root() + "</rootpath>\n\t<logpath>"));
  EXPECT_NE(std::string::npos, strBlock.find("<logmodel>" + HomeName() + "</logmodel>"));
  EXPECT_NE(std::string::npos, strBlock.find("<callersuniquename>scanapp</callersuniquename>"));
  EXPECT_NE(std::string::npos, strBlock.find("<frominterfaceopen>true</frominterfaceopen>"));
  EXPECT_NE(std::string::npos, strBlock.find("<forcesetaccess>false</forcesetaccess>"));
  EXPECT_EQ(strBlock, Env(ProcessThreadName().c_str()));
}

TEST_F(InterfaceOpenTest, LevelFromTheLoggingTags)
{
  OsServicesProcessInterfaceOpen("<interfaceopen><logging>off</logging><logginglevel>9</logginglevel>");
  EXPECT_EQ(0, PublishedLevel());
  // An unnamed caller is "isis".
  EXPECT_EQ(CallerDirectory("isis"), PublishedLogPath());
  // Each open below would otherwise see the block published by the one
  // before it as inherited, and keep it.
  unsetenv("QRB_OSSERVICESARGUMENTS");
  OsServicesProcessInterfaceOpen("<interfaceopen><logging>on</logging><logginglevel>9</logginglevel>");
  EXPECT_EQ(9, PublishedLevel());
  unsetenv("QRB_OSSERVICESARGUMENTS");
  OsServicesProcessInterfaceOpen("<interfaceopen><logging>maybe</logging>");
  EXPECT_EQ(0, PublishedLevel());
  unsetenv("QRB_OSSERVICESARGUMENTS");
  OsServicesProcessInterfaceOpen(
      "<interfaceopen><logginglevel>4</logginglevel><forcesetaccess>true</forcesetaccess>");
  EXPECT_EQ(4, PublishedLevel());
  EXPECT_NE(std::string::npos, Env("QRB_OSSERVICESARGUMENTS").find("<forcesetaccess>true</forcesetaccess>"));
}

TEST_F(InterfaceOpenTest, CallersConstIniGivesTheLevel)
{
  ASSERT_EQ(0, system(("mkdir -p '" + CallerDirectory("scanapp") + "'").c_str()));
  ASSERT_TRUE(ostest::WriteFile(CallerDirectory("scanapp") + "/const.ini", "[dsIdentity]\r\nDEBUG=6\r\n"));
  OsServicesProcessInterfaceOpen("<interfaceopen><callername>scanapp</callername><logging>off</logging>");
  EXPECT_EQ(6, PublishedLevel());
}

TEST_F(InterfaceOpenTest, InheritedBlockStaysUnlessInheritanceIsOff)
{
  const std::string strBlock = ParentBlock(Path("parentlogs"));
  ostest::ScopedEnv envParent("QRB_OSSERVICESARGUMENTS", strBlock.c_str());
  OsServicesProcessInterfaceOpen("<interfaceopen><callername>scanapp</callername><inherit>no</inherit>");
  EXPECT_EQ(strBlock, Env("QRB_OSSERVICESARGUMENTS"));
  EXPECT_FALSE(OsServicesIsTopMostInvocation());

  OsServicesProcessInterfaceOpen("<interfaceopen><callername>scanapp</callername><inherit>FALSE</inherit>");
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  EXPECT_NE(std::string::npos, Env("QRB_OSSERVICESARGUMENTS").find("<callersuniquename>scanapp<"));
}

TEST_F(InterfaceOpenTest, UtilityStartedForACallerWithoutConfiguration)
{
  OsServicesProcessInterfaceOpen("<interfaceopen><callername>scanapp</callername><logging>on</logging>");
  Start(s_szUtilityXml);
  ASSERT_NE(nullptr, g_poscfg);
  // The utility works under the caller's name and publishes nothing new.
  EXPECT_EQ(CallerDirectory("scanapp"), PublishedLogPath());
  // Its own block names the caller and the parent of the log directory.
  COsCfg::OsCfgServicesArgumentsSetAndLock(true);
  COsCfg::OsCfgServicesArgumentsSetAndLock(false);
  EXPECT_NE(std::string::npos, Env("QRB_OSSERVICESARGUMENTS").find("<logpath>" + Root() + "</logpath>"));
  EXPECT_NE(std::string::npos, Env("QRB_OSSERVICESARGUMENTS").find("<frominterfaceopen>true<"));
  EXPECT_NE(std::string::npos, Env("QRB_OSSERVICESARGUMENTS").find("<callersuniquename>scanapp<"));
}

}  // namespace
