// test_cosservices.cpp: services start-up and shut-down run end to end in a
// temporary root (QRB_SHGETFOLDERPATH), by entity, and the services
// arguments block: its composition, its publication in the environment, its
// inheritance and its withdrawal at stop. The log directory is <root>/log and
// the program's home name is the directory name of the test executable.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <regex>
#include <string>
#include <vector>

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

const char s_szUnset[] = "<unset>";
const char s_szArgs[] = "QRB_OSSERVICESARGUMENTS";
const char s_szUnicode[] = "QRB_OSSERVICESARGUMENTSUNICODE";
const char s_szDisabled[] = "QRB_OSSERVICESARGUMENTSDISABLED";

std::string Env(const std::string &a_strName)
{
  return getenv(a_strName.c_str()) ? getenv(a_strName.c_str()) : s_szUnset;
}

bool Has(const std::string &a_strText, const std::string &a_strPart)
{
  return a_strText.find(a_strPart) != std::string::npos;
}

int LiveServices()
{
  return (g_posstring != nullptr) + (g_poslog != nullptr) + (g_posmem != nullptr) + (g_poscfg != nullptr) +
         (g_poslocale != nullptr);
}

std::string ProcessThreadName()
{
  char szName[128];
  snprintf(szName, sizeof(szName), "QRB_OSSERVICESARGUMENTS_%llx_%llx",
           static_cast<unsigned long long>(getpid()),
           static_cast<unsigned long long>(COsThread::GetThreadId()));
  return szName;
}

void ExpectUnset(std::initializer_list<std::string> a_listNames)
{
  for (const std::string &strName : a_listNames)
  {
    EXPECT_EQ(s_szUnset, Env(strName)) << strName;
  }
}

std::string ExecutablePath()
{
  return std::filesystem::read_symlink("/proc/self/exe");
}

// The home name is the name of the executable's directory.
std::string HomeName()
{
  return std::filesystem::path(ExecutablePath()).parent_path().filename();
}

std::string CfgGet(uint32_t a_u32Tag)
{
  return g_poscfg ? g_poscfg->Get(OS_CFGSECTION_MAIN, a_u32Tag) : "<no cfg>";
}

// The block as the runtime composes it; an empty model leaves out its line.
std::string Block(const std::string &a_strRoot, const std::string &a_strLogPath,
                  const std::string &a_strModel, int a_iLevel, const std::string &a_strCaller,
                  bool a_blFromInterfaceOpen, bool a_blForceSetAccess, const std::string &a_strApp)
{
  const std::string strModel = a_strModel.empty() ? "" : "\n\t<logmodel>" + a_strModel + "</logmodel>";
  return "<arguments>\n\t<rootpath>" + a_strRoot + "</rootpath>\n\t<logpath>" + a_strLogPath + "</logpath>" +
         strModel + "\n\t<loglevel>" + std::to_string(a_iLevel) + "</loglevel>\n\t<callersuniquename>" +
         a_strCaller + "</callersuniquename>\n\t<frominterfaceopen>" +
         (a_blFromInterfaceOpen ? "true" : "false") + "</frominterfaceopen>\n\t<forcesetaccess>" +
         (a_blForceSetAccess ? "true" : "false") + "</forcesetaccess>\n\t<app><![CDATA[" + a_strApp +
         "]]></app>\n</arguments>";
}

// Publishes the runtime's block and returns what QRB_OSSERVICESARGUMENTS
// holds; the wide variable holds the same.
std::string Published()
{
  COsCfg::OsCfgServicesArgumentsSetAndLock(true);
  COsCfg::OsCfgServicesArgumentsSetAndLock(false);
  EXPECT_EQ(Env(s_szArgs), Env(s_szUnicode));
  return Env(s_szArgs);
}

// Every test runs in a fresh root, with the services' environment cleared
// and restored, the module description restored, and the services stopped.
class ServicesTest : public ::testing::Test
{
protected:
  ServicesTest() : m_szOsXmlOld(g_szOsXml)
  {
    SetEnv("QRB_SHGETFOLDERPATH", m_tempdir.Path().c_str());
    for (const char *szName : {"QRB_DEBUG", "QRB_LOGDIR", "QRB_DEBUGDIR", "QRB_OSCFGDIR", "QRB_OVERRIDEINI",
                               s_szArgs, s_szUnicode, s_szDisabled})
    {
      SetEnv(szName, nullptr);
    }
    SetEnv(ProcessThreadName(), nullptr);
  }
  ~ServicesTest() override
  {
    OsServicesStop();
    g_szOsXml = m_szOsXmlOld;
    while (!m_vecEnv.empty())  // newest first, so that the oldest value wins
    {
      m_vecEnv.pop_back();
    }
  }

  // Sets a variable for the rest of the test.
  void SetEnv(const std::string &a_strName, const char *a_szValue)
  {
    m_vecEnv.emplace_back(new ostest::ScopedEnv(a_strName.c_str(), a_szValue));
  }
  void SetParent() { SetEnv(s_szArgs, ParentBlock().c_str()); }
  void StartXml(const std::string &a_strXml)
  {
    m_strXml = a_strXml;
    g_szOsXml = m_strXml.c_str();
    OsServicesStart(nullptr);
    EXPECT_EQ(5, LiveServices());
  }
  // Entity names are case-sensitive: "Driver" is not a driver.
  void Start(const char *a_szName, const char *a_szEntity, const char *a_szMore = "<loglevel>0</loglevel>")
  {
    StartXml(std::string("<arguments>\n\t<uniquename>") + a_szName + "</uniquename>\n\t<entity>" +
             a_szEntity + "</entity>\n\t" + a_szMore + "\n</arguments>");
  }
  std::string Root() const { return m_tempdir.Path(); }
  std::string LogDirectory() const { return m_tempdir / "log"; }
  std::string Path(const std::string &a_strName) const { return m_tempdir / a_strName; }
  // An inherited block as a parent process would publish it.
  std::string ParentBlock() const
  {
    return Block("/srv/writeable", Path("parentlogs"), "parentmodel", 3, "parentapp", false, false,
                 "/opt/parent/bin/parentapp");
  }

private:
  ostest::TempDir m_tempdir;
  std::vector<std::unique_ptr<ostest::ScopedEnv>> m_vecEnv;
  const char *m_szOsXmlOld;
  std::string m_strXml;
};

// --- Start-up by entity and shut-down -------------------------------------------

TEST_F(ServicesTest, DriverFillsItsBlockWithoutPublishingAndStopWithdrawsEverything)
{
  // A driver ignores an inherited block; stop removes every spelling of the
  // block's variables but leaves the override in place.
  SetParent();
  SetEnv("QRB_OSSERVICESARGUMENTS_1a2b_3c4d", "x");
  SetEnv("qrb_osservicesarguments", "y");
  SetEnv(s_szDisabled, "0");
  SetEnv("QRB_OSSERVICESARGUMENT", "kept");
  SetEnv("QRB_OVERRIDEINI", Path("none.ini").c_str());
  Start("svcdriver", "driver");
  EXPECT_EQ(ParentBlock(), Env(s_szArgs));  // neither taken nor replaced
  ExpectUnset({ProcessThreadName(), s_szUnicode});
  EXPECT_FALSE(ostest::FileExists(LogDirectory() + "/qrboscfg.txt"));  // no dump at level 0
  ASSERT_TRUE(std::filesystem::is_directory(LogDirectory()));

  OsServicesStop();
  EXPECT_EQ(0, LiveServices());
  ExpectUnset({s_szArgs, ProcessThreadName(), s_szUnicode, "QRB_OSSERVICESARGUMENTS_1a2b_3c4d",
               "qrb_osservicesarguments", s_szDisabled});
  EXPECT_EQ("kept", Env("QRB_OSSERVICESARGUMENT"));
  EXPECT_EQ(Path("none.ini"), Env("QRB_OVERRIDEINI"));
  EXPECT_FALSE(std::filesystem::is_directory(LogDirectory()));  // the top-most owner removes it when empty
}

// Drivers and libraries are top-most whatever they inherit and compose
// their own block, which only a driver's names the model in; start and
// stop work the same any number of times.
TEST_F(ServicesTest, TopMostEntitiesComposeTheirOwnBlockAndStartAgain)
{
  OsServicesStop();  // without a start: harmless
  EXPECT_EQ(0, LiveServices());
  const std::pair<const char *, const char *> apair[] = {
      {"svcdriver", "driver"}, {"svcdll", "dll"}, {"svcdriver", "driver"}};
  for (const auto &pair : apair)
  {
    SCOPED_TRACE(pair.second);
    SetParent();
    Start(pair.first, pair.second);
    EXPECT_TRUE(OsServicesIsTopMostInvocation());
    const std::string strModel = std::string(pair.second) == "driver" ? HomeName() : "";
    EXPECT_EQ(Block(Root(), LogDirectory(), strModel, 0, pair.first, false, false, ExecutablePath()),
              Published());
    OsServicesStop();
  }
}

TEST_F(ServicesTest, AppUtilityInheritsTheParentsBlock)
{
  SetParent();
  Start("svcapputil", "apputility");
  EXPECT_FALSE(OsServicesIsTopMostInvocation());
  EXPECT_STREQ("parentapp", OsServicesGetUniqueNameCaller());
  // The log goes below the parent's log path, in a directory of its own.
  EXPECT_TRUE(std::filesystem::is_directory(Path("parentlogs/svcapputil")));
  // The parent's level applies while the own one is 0; bit 2 is the log's
  // keep-old-contents switch, so 3 leaves 1.
  EXPECT_EQ(1, g_poslog->GetDebugLevel());
  EXPECT_EQ("/opt/parent/bin/parentapp", CfgGet(OS_CFGTAG_APPLICATION));
  EXPECT_EQ(ParentBlock(), Env(s_szArgs));  // not published again
  OsServicesStop();
  EXPECT_TRUE(std::filesystem::is_directory(LogDirectory()));  // not the owner: it stays
}

TEST_F(ServicesTest, UnknownEntityStartsTheServicesButPublishesNothing)
{
  Start("svcunknown", "Driver");
  EXPECT_FALSE(OsServicesIsTopMostInvocation());
  ExpectUnset({s_szArgs});
  OsServicesStop();
  // QRB_DEBUG is OR-ed with the module's level; Debug "0" becomes "1".
  SetEnv("QRB_DEBUG", "16");
  StartXml("<arguments><uniquename>svcunknown</uniquename><loglevel>1</loglevel></arguments>");
  EXPECT_EQ("1", CfgGet(OS_CFGTAG_DEBUG));
  EXPECT_EQ(17, g_poslog->GetDebugLevel());
}

// A starred unique name stands for the program's own name.
TEST_F(ServicesTest, StarredUniqueNameTakesTheProgramsName)
{
  Start("*", "driver");
  EXPECT_EQ(LogDirectory() + "/test_cosservices.log", CfgGet(OS_CFGTAG_QRB_LOG));
}

// --- Debug word, dump and the general information block ----------------------

TEST_F(ServicesTest, CoreDumpBitAloneLiftsTheCoreLimit)
{
  struct rlimit rlimitOld;
  ASSERT_EQ(0, getrlimit(RLIMIT_CORE, &rlimitOld));
  if (rlimitOld.rlim_max != RLIM_INFINITY && geteuid() != 0)
  {
    GTEST_SKIP() << "only a privileged user can raise the hard limit";
  }
  for (const char *szDebug : {"4095", "4096"})
  {
    struct rlimit rlimitNow = {0, rlimitOld.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_CORE, &rlimitNow));
    SetEnv("QRB_DEBUG", szDebug);
    Start("svcunknown", "Driver");
    ASSERT_EQ(0, getrlimit(RLIMIT_CORE, &rlimitNow));
    OsServicesStop();
    setrlimit(RLIMIT_CORE, &rlimitOld);
    const bool blBit = std::string(szDebug) == "4096";
    EXPECT_EQ(blBit ? RLIM_INFINITY : 0, rlimitNow.rlim_cur) << szDebug;
    EXPECT_EQ(blBit ? RLIM_INFINITY : rlimitOld.rlim_max, rlimitNow.rlim_max) << szDebug;
  }
}

// At a non-zero level start-up dumps the configuration and logs the block
// before and after it is filled (one message, one line); bit 2 of
// QRB_DEBUG keeps what the log held.
TEST_F(ServicesTest, NonZeroLevelDumpsAndLogsTheBlockAndBit2KeepsTheOldLog)
{
  SetEnv("QRB_DEBUG", "2");
  ASSERT_EQ(0, mkdir(LogDirectory().c_str(), 0777));
  ASSERT_TRUE(ostest::WriteFile(LogDirectory() + "/svcdriver.log", "OLD LINE\r\n"));
  Start("svcdriver", "driver", "<loglevel>1</loglevel>");
  EXPECT_TRUE(
      Has(ostest::ReadFile(LogDirectory() + "/qrboscfg.txt"), "QRB_SHGETFOLDERPATH=" + Root() + "\r\n"));
  const std::string strLog = ostest::ReadFile(LogDirectory() + "/svcdriver.log");
  EXPECT_EQ(0u, strLog.find("OLD LINE\r\n00000 ")) << strLog.substr(0, 100);
  EXPECT_TRUE(Has(strLog, "V. QRB_OSSERVICESARGUMENTS after...<<arguments>\\n\t<rootpath>"));
  OsServicesStop();
  EXPECT_TRUE(std::filesystem::is_directory(LogDirectory()));  // the log and the dump keep it
}

TEST_F(ServicesTest, ForceThreadAffinityPinsTheThread)
{
  cpu_set_t cpusetOld;
  cpu_set_t cpusetNow;
  ASSERT_EQ(0, sched_getaffinity(0, sizeof(cpusetOld), &cpusetOld));
  if (CPU_COUNT(&cpusetOld) < 2 || !CPU_ISSET(0, &cpusetOld))
  {
    GTEST_SKIP() << "needs processors 0 and another one";
  }
  ASSERT_TRUE(ostest::WriteFile(Path("override.ini"), "[dsIdentity]\nForceThreadAffinity=0x1\n"));
  SetEnv("QRB_OVERRIDEINI", Path("override.ini").c_str());
  Start("svcdriver", "driver", "<loglevel>1</loglevel>");
  ASSERT_EQ(0, sched_getaffinity(0, sizeof(cpusetNow), &cpusetNow));
  sched_setaffinity(0, sizeof(cpusetOld), &cpusetOld);
  EXPECT_EQ(1, CPU_COUNT(&cpusetNow));
  EXPECT_TRUE(CPU_ISSET(0, &cpusetNow));
}

// --- The block in the environment --------------------------------------------

TEST_F(ServicesTest, ArgumentsGetTakesTheFirstCompleteBlock)
{
  // The process-thread variable, then the plain one, then the wide one;
  // a block without both markers does not count.
  char szBlock[64];
  SetEnv(s_szUnicode, "<arguments>wide</arguments>");
  SetEnv(ProcessThreadName(), "<arguments>no end");
  SetEnv(s_szArgs, "no start</arguments>");
  EXPECT_EQ(EOSSTS_OK, COsCfg::OsCfgServicesArgumentsGet(szBlock, sizeof(szBlock)));
  EXPECT_STREQ("<arguments>wide</arguments>", szBlock);
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::OsCfgServicesArgumentsGet(szBlock, 1));
  // A disabled switch that begins with "1" removes them all.
  SetEnv(s_szDisabled, "1yes");
  EXPECT_EQ(EOSSTS_FILENOTFOUND, COsCfg::OsCfgServicesArgumentsGet(szBlock, sizeof(szBlock)));
  EXPECT_STREQ("", szBlock);
  ExpectUnset({s_szArgs, s_szUnicode, ProcessThreadName(), s_szDisabled});
}

// --- OsServicesSetArguments ----------------------------------------------------

TEST_F(ServicesTest, SetArgumentsAppliesAGivenBlockOrTheSwitches)
{
  Start("svcdriver", "driver");
  const std::string strBlock =
      "<arguments><logfile>_T(\"" + Path("x.log") +
      "\")</logfile><logmodel>_T(\"scanmodel\")</logmodel><loglevel>5</loglevel></arguments>";
  // Null switches: the block is only taken over.
  OsServicesSetArguments(nullptr, nullptr, nullptr, strBlock.c_str(), nullptr, false, false);
  EXPECT_EQ(LogDirectory(), CfgGet(OS_CFGTAG_LOGDIRECTORY));
  EXPECT_EQ(strBlock, Published());
  OsServicesSetArguments("", "", "", strBlock.c_str(), nullptr, false, false);
  EXPECT_EQ(Path("x.log") + "|scanmodel",
            CfgGet(OS_CFGTAG_LOGDIRECTORY) + "|" + CfgGet(OS_CFGTAG_MODELDIRECTORY));
  EXPECT_EQ(5, g_poslog->GetDebugLevel());
  // Plain switches: the configuration, not the root argument, gives the
  // root path.
  OsServicesSetArguments(Path("scans").c_str(), "flatbed", "0x3", nullptr, "/ignored", false, true);
  EXPECT_EQ(Path("scans") + "|flatbed",
            CfgGet(OS_CFGTAG_LOGDIRECTORY) + "|" + CfgGet(OS_CFGTAG_MODELDIRECTORY));
  EXPECT_EQ(3, g_poslog->GetDebugLevel());
  EXPECT_EQ(Block(Root(), Path("scans"), "flatbed", 3, "svcdriver", false, true, ExecutablePath()),
            Published());
}

// --- Interface open ------------------------------------------------------------

// Text without the marker is ignored; with it, a caller without a
// configuration gets a log in <log directory>/<company>/<home name>/<caller>
// and the block names it, time-stamped, in both variables.
TEST_F(ServicesTest, InterfaceOpenGivesTheCallerALogBesideIt)
{
  OsServicesProcessInterfaceOpen("<callername>scanapp</callername><logging>on</logging>");
  ExpectUnset({s_szArgs});

  OsServicesProcessInterfaceOpen("<interfaceopen><callername>scanapp</callername><logging>on</logging>");
  EXPECT_TRUE(OsServicesIsTopMostInvocation());
  const std::string strBlock = Env(s_szArgs);
  std::smatch match;
  ASSERT_TRUE(std::regex_search(strBlock, match, std::regex("<logpath>(.*)/log\\.[0-9]{17}</logpath>")));
  EXPECT_EQ(LogDirectory() + "/qrb/" + HomeName() + "/scanapp", match[1]);
  EXPECT_TRUE(Has(strBlock, "<rootpath>" + Root() + "</rootpath>"));
  EXPECT_TRUE(Has(strBlock,
                  "<loglevel>1</loglevel>\n\t<callersuniquename>scanapp</callersuniquename>\n\t"
                  "<frominterfaceopen>true<"));
  EXPECT_EQ(strBlock, Env(ProcessThreadName()));
}

}  // namespace
