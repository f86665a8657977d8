// test_pnphelper_e2e.cpp: the built pnphelper program run end to end in
// temporary homes: HOME/bin/pnphelper (a copy of the program, its
// resources rewritten per test), HOME/const.ini, a fake HOME/lib/deviceprobe
// that records its argument, a user tree in HOME/user and a writeable root
// beside HOME. Checks exit statuses, mirrors, the probe's argument and the
// log lines. Runs take their hot-plug lock in the temporary directory unless
// a test says otherwise.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "cosfile_testutil.h"

namespace
{

const int kHang = 1000;  // a fake probe status: the probe never ends

// A temporary installation: home, a user tree holding a.ini, writeable
// root, fake probe.
class PnpHome
{
public:
  explicit PnpHome(const std::string &a_strHomeName = "home")
      : m_strRoot(ostest::Physical(m_tempdir.Path())),
        m_strHome(m_strRoot + "/" + a_strHomeName),
        m_strWriteable(m_strRoot + "/writeable")
  {
    std::filesystem::create_directories(m_strHome + "/bin");
    std::filesystem::create_directories(m_strHome + "/lib");
    std::filesystem::create_directories(m_strWriteable);
    UserFile("a.ini");
    ostest::WriteFile(Program(), ostest::ReadFile(PNPHELPER_BIN));
    chmod(Program().c_str(), 0755);
    WriteConstIni(m_strWriteable, 1);
    InstallProbe(1);
  }

  const std::string &Root() const { return m_strRoot; }
  const std::string &Home() const { return m_strHome; }
  const std::string &Writeable() const { return m_strWriteable; }
  std::string Program() const { return m_strHome + "/bin/pnphelper"; }
  std::string User() const { return m_strHome + "/user"; }
  std::string Mirror() const { return m_strWriteable + User(); }

  void WriteConstIni(const std::string &a_strWriteable, int a_iDebug)
  {
    ostest::WriteFile(m_strHome + "/const.ini", "[dsIdentity]\nwriteable=" + a_strWriteable +
                                                    "\nDebug=" + std::to_string(a_iDebug) + "\n");
  }

  // The fake probe appends its argument, one line per run, and exits with
  // a_iStatus; -1 removes it, kHang makes it never end.
  void InstallProbe(int a_iStatus)
  {
    const std::string strProbe = m_strHome + "/lib/deviceprobe";
    unlink(strProbe.c_str());
    if (a_iStatus >= 0)
    {
      ostest::WriteFile(
          strProbe, "#!/bin/sh\nprintf '%s\\n' \"$1\" >>\"" + m_strRoot + "/probe.args\"\n" +
                        (a_iStatus == kHang ? "sleep 1000\n" : "exit " + std::to_string(a_iStatus) + "\n"));
      chmod(strProbe.c_str(), 0755);
    }
  }
  std::vector<std::string> ProbeArgs() const
  {
    return ostest::SplitLines(ostest::ReadFile(m_strRoot + "/probe.args"));
  }

  // Replaces the program's scanner list resource with a_strList.
  void SetResource(const std::string &a_strList)
  {
    const std::string strList = m_strRoot + "/list.xml";
    ostest::WriteFile(strList, a_strList);
    ASSERT_EQ(0, ostest::WaitProgram(
                     ostest::StartProgram({OSRESOURCE_BIN, "add", Program(), "PNPHELPER", strList})));
  }
  // The program's twin built without resources, its C++ runtime a shared
  // library (the installed program has it linked in).
  void UseTwin() { ASSERT_TRUE(ostest::WriteFile(Program(), ostest::ReadFile(PNPHELPER_SHAREDCXX_BIN))); }

  int Run(const std::vector<std::string> &a_vecArgs, const std::vector<std::string> &a_vecEnv = {})
  {
    return ostest::WaitProgram(Start(a_vecArgs, a_vecEnv));
  }
  pid_t Start(const std::vector<std::string> &a_vecArgs, std::vector<std::string> a_vecEnv = {})
  {
    std::vector<std::string> vec{Program()};
    vec.insert(vec.end(), a_vecArgs.begin(), a_vecArgs.end());
    a_vecEnv.insert(a_vecEnv.begin(), "QRB_PNPHELPERLOCKDIR=" + m_strRoot);  // a later one replaces it
    return ostest::StartProgram(vec, a_vecEnv);
  }

  std::string Log() const { return ostest::ReadFile(m_strHome + "/log/pnphelper.log"); }
  bool LogHas(const std::string &a_strText) const { return Log().find(a_strText) != std::string::npos; }

  void UserFile(const std::string &a_strRelative, const std::string &a_strData = "x")
  {
    const std::string strPath = User() + "/" + a_strRelative;
    std::filesystem::create_directories(strPath.substr(0, strPath.rfind('/')));
    ostest::WriteFile(strPath, a_strData);
  }

private:
  ostest::TempDir m_tempdir;
  std::string m_strRoot;
  std::string m_strHome;
  std::string m_strWriteable;
};

TEST(PnpHelperAction, ParsingRules)
{
  const struct
  {
    std::vector<std::string> vecArgs;
    bool blMirror;  // whether an add ran
    std::string strLogLine;
  } acase[] = {
      {{}, false, "Action not given or unknown: \r\n"},
      {{"ACTION:ADD"}, true, "Action: Add"},
      {{"action:add", "action:bogus"}, false, "Action not given or unknown: bogus"},  // the last one wins
      {{"add", "--verbose", "action:add"}, true, "Unknown argument: --verbose"},
      {{"action:add "}, false, "Action not given or unknown: add \r\n"},
  };
  for (const auto &c : acase)
  {
    SCOPED_TRACE(c.strLogLine);
    PnpHome home;
    EXPECT_EQ(0, home.Run(c.vecArgs));
    EXPECT_TRUE(home.LogHas(c.strLogLine)) << home.Log();
    EXPECT_EQ(c.blMirror, ostest::FileExists(home.Mirror() + "/a.ini"));
  }
}

// Inside a directory named "profiles" (any case, any depth) everything is
// copied; elsewhere *.ini and usb*.lock (any case) only; a directory with
// nothing to copy is not made. Every add starts from a fresh mirror.
TEST(PnpHelperAction, AddMirrorsProfilesIniAndUsbLocksOnly)
{
  PnpHome home;
  for (const char *sz :
       {"profiles/sub/readme.txt", "PROFILES2/x.xml", "nested/Profiles/k.bin", "b.INI", "c.ini.bak",
        "USB2.LOCK", "usb.lock", "xusb.lock", "noextension", ".ini", "deep/d.Ini"})
  {
    home.UserFile(sz);
  }
  std::filesystem::create_directories(home.Mirror());
  ostest::WriteFile(home.Mirror() + "/stray.ini", "stray");
  EXPECT_EQ(0, home.Run({"action:add"}));
  EXPECT_EQ((std::vector<std::string>{".ini", "USB2.LOCK", "a.ini", "b.INI", "deep/", "deep/d.Ini", "nested/",
                                      "nested/Profiles/", "nested/Profiles/k.bin", "profiles/",
                                      "profiles/sub/", "profiles/sub/readme.txt", "usb.lock"}),
            ostest::Listing(home.Mirror()));
}

// Without a writeable override both actions succeed and do nothing; a
// missing writeable root fails add (200) and is never made.
TEST(PnpHelperAction, WriteableRootUnsetOrMissing)
{
  PnpHome home;
  home.WriteConstIni("", 1);
  EXPECT_EQ(0, home.Run({"action:add"}));
  EXPECT_EQ(0, home.Run({"action:remove"}));
  EXPECT_EQ(std::vector<std::string>{}, ostest::Listing(home.Writeable()));
  home.WriteConstIni(home.Root() + "/absent", 1);
  EXPECT_EQ(200, home.Run({"action:add"}));
  EXPECT_TRUE(home.LogHas("Writeable path does not exist: " + home.Root() + "/absent"));
  EXPECT_FALSE(ostest::FileExists(home.Root() + "/absent"));
}

// The mirror stays while a listed scanner is attached (the probe answers 0)
// or when the probe is missing; any other answer removes it, and so does a
// probe that never ends, killed after the bounded wait so that it cannot
// hold the lock for ever.
TEST(PnpHelperProbe, RemoveFollowsTheProbesAnswer)
{
  // The probe's status (-1: no probe), whether the mirror stays, the log line.
  for (const auto &[iProbe, blKept, szLogLine] :
       {std::make_tuple(0, true, "DeviceConnected() Exit: 1"),
        std::make_tuple(1, false, "DeviceConnected() Exit: 0"),
        std::make_tuple(-1, true, "deviceprobe is missing: "),
        std::make_tuple(kHang, false, "deviceprobe killed after 1 seconds...<")})
  {
    SCOPED_TRACE(iProbe);
    PnpHome home;
    ASSERT_EQ(0, home.Run({"action:add"}));
    home.InstallProbe(iProbe);
    EXPECT_EQ(0, home.Run({"Action:Remove"}, {"QRB_PNPHELPERWAIT=1"}));
    EXPECT_EQ(blKept, ostest::FileExists(home.Mirror() + "/a.ini"));
    EXPECT_TRUE(ostest::IsDirectory(home.Writeable()));  // the root itself stays
    EXPECT_TRUE(home.LogHas(szLogLine)) << home.Log();
  }
}

// A scanner section of a_iTimes times a_strIds, padded with blanks to
// a_sizetSize bytes.
std::string Scanner(const std::string &a_strIds, int a_iTimes = 1, size_t a_sizetSize = 0)
{
  std::string str = "<pnphelper><scanner>";
  for (int ii = 0; ii < a_iTimes; ii++)
  {
    str += a_strIds;
  }
  str += "</scanner></pnphelper>";
  return str.append(std::max(str.size(), a_sizetSize) - str.size(), ' ');
}

// Each scanner list (none at all: "") gives its exit status and log line; a
// failed load never runs the action. A helper object that cannot be made
// ends the run first (the preloaded library fails its allocation; it cannot
// reach a runtime linked in, hence the twin).
TEST(PnpHelperResource, StatusAndLogLine)
{
  // The sanitizer runtime would refuse a library preloaded before it.
  const char *szAsan = std::getenv("ASAN_OPTIONS");
  const std::vector<std::string> vecFailNew{
      std::string("LD_PRELOAD=") + FAILNEW_LIB,
      std::string("ASAN_OPTIONS=") + (szAsan ? szAsan : "") + ":verify_asan_link_order=0"};
  const struct
  {
    std::string strResource;
    int iStatus;
    const char *szLogLine;
    std::vector<std::string> vecEnv = {};  // added to the run's environment
  } acase[] = {
      {"", 100, "Unable to create object", vecFailNew},
      {"", 150, "Failed to Open resource..."},
      {Scanner("<id>VID_40a&PID_6020</id>", 1, 1023), 0, "GetVidPids() Exit"},
      {Scanner("<id>VID_40a&PID_6020</id>", 1, 1024), 160, "Not enough space to load resource..."},
      {"<scanner><id>VID_1&PID_2</id>", 180, "<scanner> section not found..."},
      {Scanner("<id>VID_1&PID_2</id><id></id>"), 181, "OsXmlGetContent failed..."},
      {Scanner("<id>VID_1&PID_2" + std::string(53, 'x') + "</id>"), 181, "OsXmlGetContent failed..."},  // 64
      {Scanner("<id>VID_1&PID_2" + std::string(52, 'x') + "</id>"), 0, "add Vid/Pid 1/2"},              // 63
      {Scanner("<id>vid_040a&PID_6020</id>"), 182, "VID_ missing..."},
      {Scanner("<id>VID_0000&PID_6020</id>"), 183, "VID_ is zero..."},
      {Scanner("<id>VID_040a</id>"), 184, "PID_ missing..."},
      {Scanner("<id>VID_040a&PID_0</id>"), 185, "PID_ is zero..."},
      // Ids of eight-digit numbers, 18 list characters each: 29 overflow the 511-character list.
      {Scanner("<id>VID_ffffffffPID_ffffffff</id>", 28), 0, "GetVidPids() Exit"},
      {Scanner("<id>VID_ffffffffPID_ffffffff</id>", 29), 186, "Out of space: OsStrCatf failed..."},
  };
  for (const auto &c : acase)
  {
    SCOPED_TRACE(c.szLogLine);
    PnpHome home;
    c.strResource.empty() ? home.UseTwin() : home.SetResource(c.strResource);
    EXPECT_EQ(c.iStatus, home.Run({"action:add"}, c.vecEnv));
    EXPECT_TRUE(home.LogHas(c.szLogLine)) << home.Log();
    EXPECT_EQ(c.iStatus == 0, ostest::FileExists(home.Mirror()));
  }
}

TEST(PnpHelperAction, ConcurrentAddAndRemoveRunsSerialise)
{
  PnpHome home;
  for (int ii = 0; ii < 20; ii++)
  {
    home.UserFile("profiles/p" + std::to_string(ii) + ".xml", std::string(4096, 'p'));
    home.UserFile("d" + std::to_string(ii) + "/s.ini", "[s]");
  }
  std::vector<pid_t> vecPids;
  for (int ii = 0; ii < 24; ii++)
  {
    vecPids.push_back(home.Start({ii % 2 ? "action:remove" : "action:add"}));
  }
  for (pid_t pid : vecPids)
  {
    EXPECT_EQ(0, ostest::WaitProgram(pid));
  }
  ASSERT_EQ(0, home.Run({"action:add"}));
  EXPECT_EQ(21u + 20u * 2u + 1u,
            ostest::Listing(home.Mirror()).size());  // profiles/ + 20, 20 x (d/, s.ini), a.ini
  // Nothing but the mirror's first directory is left in the root.
  EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(home.Writeable()), {}));
}

// A lock held elsewhere ends each action after the bounded wait with its
// failure status; the old mirror stays and the probe never runs.
TEST(PnpHelperSafety, HeldLockEndsTheRunWithTheFailureStatus)
{
  for (const auto &c : {std::make_pair("action:add", 210), std::make_pair("action:remove", 250)})
  {
    SCOPED_TRACE(c.first);
    PnpHome home;
    ASSERT_EQ(0, home.Run({"action:add"}));
    ostest::WriteFile(home.Mirror() + "/a.ini", "old");
    const int fd = open((home.Root() + "/pnphelper.lock").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, flock(fd, LOCK_EX));
    EXPECT_EQ(c.second, home.Run({c.first}, {"QRB_PNPHELPERWAIT=1"}));
    close(fd);
    EXPECT_TRUE(home.LogHas("Unable to lock writeable root...<" + home.Writeable() + ">")) << home.Log();
    EXPECT_EQ("old", ostest::ReadFile(home.Mirror() + "/a.ini"));
    EXPECT_TRUE(home.ProbeArgs().empty());
  }
}

// Root's lock is /run/pnphelper.lock, mode 0600, which "nobody" cannot
// open; a lock on the writeable root, which any user can open and lock,
// does not stop a run.
TEST(PnpHelperSafety, UnprivilegedUserCannotHoldTheLock)
{
  if (geteuid() != 0)
  {
    GTEST_SKIP() << "needs root";
  }
  PnpHome home;
  ASSERT_EQ(0, home.Run({"action:add"}, {"QRB_PNPHELPERLOCKDIR="}));
  EXPECT_EQ(0600, ostest::ModeOf("/run/pnphelper.lock"));
  EXPECT_TRUE(ostest::RunAsNobody([] { return open("/run/pnphelper.lock", O_RDONLY) < 0; }));
  const int fdRoot = open(home.Writeable().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(0, flock(fdRoot, LOCK_EX));
  EXPECT_EQ(0, home.Run({"action:remove"}, {"QRB_PNPHELPERLOCKDIR="}));
  close(fdRoot);
}

// What the probe is given: its path as one shell word, quoted when it holds
// shell characters (nothing in it is executed), and the list in order,
// lower-case hexadecimal without leading zeros; ids after </scanner> are
// never read. An empty section gives an empty list.
TEST(PnpHelperSafety, ProbeGetsItsQuotedPathAndTheParsedList)
{
  for (const auto &c :
       {std::make_pair("home", ""), std::make_pair("$(touch pwned)", "'"), std::make_pair("it's", "'")})
  {
    SCOPED_TRACE(c.first);
    PnpHome home(c.first);
    home.SetResource(
        "<x><id>VID_9&PID_9</id><scanner>\n <id>USB\\VID_040A&PID_6020&REV_0001</id>\n <id>PID_00FF then "
        "VID_0ABC</id><id><![CDATA[VID_1234&PID_5678]]></id></scanner><id>VID_7&PID_7</id></x>");
    EXPECT_EQ(0, home.Run({"action:remove"}));
    home.SetResource("<scanner></scanner>");
    EXPECT_EQ(0, home.Run({"action:remove"}));
    EXPECT_EQ((std::vector<std::string>{"40a,6020;abc,ff;1234,5678", ""}), home.ProbeArgs());
    EXPECT_FALSE(ostest::FileExists("pwned"));
    EXPECT_TRUE(home.LogHas(std::string("call deviceprobe: ") + c.second + home.Root() + "/"));
    EXPECT_TRUE(home.LogHas(std::string("/lib/deviceprobe") + c.second + " \"\"")) << home.Log();
  }
}

// A writeable root that puts the mirror at or inside the user-root
// directory (given plainly or through a link) is refused by either action
// before anything is deleted or copied.
TEST(PnpHelperSafety, MirrorOverlappingTheUserRootIsRefused)
{
  for (const auto &[szWriteable, szAction, iStatus] :
       {std::make_tuple("/", "action:add", 210), std::make_tuple("user/w", "action:remove", 250),
        std::make_tuple("toroot/.", "action:add", 210)})
  {
    SCOPED_TRACE(szWriteable);
    PnpHome home;
    std::filesystem::create_directories(home.User() + "/w");
    ASSERT_EQ(0, symlink("/", (home.Home() + "/toroot").c_str()));
    home.WriteConstIni((szWriteable[0] == '/') ? szWriteable : home.Home() + "/" + szWriteable, 1);
    EXPECT_EQ(iStatus, home.Run({szAction}));
    EXPECT_TRUE(home.LogHas("Writeable mirror overlaps the user-root directory...<")) << home.Log();
    EXPECT_EQ((std::vector<std::string>{"a.ini", "w/"}), ostest::Listing(home.User()));
    EXPECT_TRUE(home.ProbeArgs().empty());
  }
}

}  // namespace
