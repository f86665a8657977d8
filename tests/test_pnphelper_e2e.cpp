// test_pnphelper_e2e.cpp: the built pnphelper program run end to end in
// temporary homes: HOME/bin/pnphelper (a copy of the program, its
// resources rewritten per test), HOME/const.ini, a fake HOME/lib/deviceprobe
// that records its argument, a user tree in HOME/user and a writeable root
// beside HOME. Checks exit statuses, mirrors, the probe's argument and the
// log lines. Runs take their hot-plug lock in the temporary directory unless
// a test says otherwise; the attacks on the lock need root.
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cosfile_testutil.h"

extern char **environ;

namespace
{

const char *const kPnpHelper = PNPHELPER_BIN;
const char *const kOsResource = OSRESOURCE_BIN;

// The resource directory: the last 3,584 bytes, 64 entries of 56 bytes.
const size_t kTableSize = 3584;
const size_t kEntrySize = 56;

const std::string kDefaultList =
    "<pnphelper><scanner><id>USB\\VID_040A&PID_6020</id><id>USB\\VID_040A&PID_6021</id></scanner></"
    "pnphelper>";

void MakeDirs(const std::string &a_strPath)
{
  for (size_t pos = 0; pos != std::string::npos;)
  {
    pos = a_strPath.find('/', pos + 1);
    mkdir(a_strPath.substr(0, pos).c_str(), 0777);
  }
}

// Starts a program this build made with the current environment minus every QRB_ variable,
// plus a_vecExtraEnv ("NAME=value", replacing a variable of that name).
pid_t Spawn(const std::vector<std::string> &a_vecArgs, const std::vector<std::string> &a_vecExtraEnv = {})
{
  std::vector<std::string> vecEnv;
  for (char **psz = environ; *psz; psz++)
  {
    const std::string strEntry = *psz;
    const std::string strName = strEntry.substr(0, strEntry.find('=') + 1);
    const bool blReplaced =
        std::any_of(a_vecExtraEnv.begin(), a_vecExtraEnv.end(),
                    [&](const std::string &s) { return s.compare(0, strName.size(), strName) == 0; });
    if (strName.compare(0, 4, "QRB_") != 0 && strName != "DEVICEPROBE_SYSFS=" && !blReplaced)
    {
      vecEnv.push_back(strEntry);
    }
  }
  vecEnv.insert(vecEnv.end(), a_vecExtraEnv.begin(), a_vecExtraEnv.end());
  auto pointers = [](const std::vector<std::string> &a_vec)
  {
    std::vector<char *> vec;
    for (const std::string &str : a_vec)
    {
      vec.push_back(const_cast<char *>(str.c_str()));
    }
    vec.push_back(nullptr);
    return vec;
  };
  std::vector<std::string> vecCommand = ostest::ProgramCommand(a_vecArgs[0]);
  vecCommand.insert(vecCommand.end(), a_vecArgs.begin() + 1, a_vecArgs.end());
  std::vector<char *> vecArgv = pointers(vecCommand);
  std::vector<char *> vecEnvp = pointers(vecEnv);
  const pid_t pid = fork();
  if (pid == 0)
  {
    execve(vecArgv[0], vecArgv.data(), vecEnvp.data());
    _exit(127);
  }
  return pid;
}

// The exit status, or 1000 + the signal that ended the program.
int Wait(pid_t a_pid)
{
  int iStatus = 0;
  if (a_pid < 0 || waitpid(a_pid, &iStatus, 0) != a_pid)
  {
    return -1;
  }
  return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 1000 + WTERMSIG(iStatus);
}

// Truncates a program file to its ELF image: the resource blocks start at
// the lowest offset that the directory names.
bool StripResources(const std::string &a_strFile)
{
  const std::string strData = ostest::ReadFile(a_strFile);
  if (strData.size() < kTableSize)
  {
    return false;
  }
  const char *pTable = strData.data() + strData.size() - kTableSize;
  if (std::memcmp(pTable + 63 * kEntrySize, "@!@qrb@!@", 9) != 0)
  {
    return true;  // nothing appended
  }
  size_t sizetImage = strData.size() - kTableSize;
  for (int ii = 0; ii < 63; ii++)
  {
    const char *pEntry = pTable + ii * kEntrySize;
    if (pEntry[0])
    {
      uint32_t u32Offset;
      std::memcpy(&u32Offset, pEntry + 32, sizeof(u32Offset));
      sizetImage = std::min<size_t>(sizetImage, u32Offset);
    }
  }
  return truncate(a_strFile.c_str(), static_cast<off_t>(sizetImage)) == 0;
}

// A temporary installation: home, user tree, writeable root, fake probe.
class PnpHome
{
public:
  explicit PnpHome(const std::string &a_strHomeName = "home")
      : m_strRoot(ostest::Physical(m_tempdir.Path())),
        m_strHome(m_strRoot + "/" + a_strHomeName),
        m_strWriteable(m_strRoot + "/writeable")
  {
    MakeDirs(m_strHome + "/bin");
    MakeDirs(m_strHome + "/lib");
    MakeDirs(m_strHome + "/user");
    MakeDirs(m_strWriteable);
    ostest::WriteFile(Program(), ostest::ReadFile(kPnpHelper));
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
  // a_iStatus.
  void InstallProbe(int a_iStatus)
  {
    const std::string strProbe = m_strHome + "/lib/deviceprobe";
    ostest::WriteFile(strProbe, "#!/bin/sh\nprintf '%s\\n' \"$1\" >>\"" + m_strRoot + "/probe.args\"\nexit " +
                                    std::to_string(a_iStatus) + "\n");
    chmod(strProbe.c_str(), 0755);
  }
  void RemoveProbe() { unlink((m_strHome + "/lib/deviceprobe").c_str()); }
  std::vector<std::string> ProbeArgs() const
  {
    return ostest::SplitLines(ostest::ReadFile(m_strRoot + "/probe.args"));
  }

  // Replaces the program's resources: a_strList as PNPHELPER (none when
  // a_blWithList is false) and a VERSION.
  void SetResource(const std::string &a_strList, bool a_blWithList = true)
  {
    ASSERT_TRUE(StripResources(Program()));
    const std::string strList = m_strRoot + "/list.xml";
    const std::string strVersion = m_strRoot + "/version.dat";
    ostest::WriteFile(strList, a_strList);
    ostest::WriteFile(strVersion, "01000000");
    if (a_blWithList)
    {
      ASSERT_EQ(0, Wait(Spawn({kOsResource, "add", Program(), "PNPHELPER", strList})));
    }
    ASSERT_EQ(0, Wait(Spawn({kOsResource, "add", Program(), "VERSION", strVersion})));
  }

  int Run(const std::vector<std::string> &a_vecArgs = {}, const std::vector<std::string> &a_vecEnv = {})
  {
    return Wait(Start(a_vecArgs, a_vecEnv));
  }
  pid_t Start(const std::vector<std::string> &a_vecArgs, const std::vector<std::string> &a_vecEnv = {})
  {
    std::vector<std::string> vec{Program()};
    vec.insert(vec.end(), a_vecArgs.begin(), a_vecArgs.end());
    std::vector<std::string> vecEnv{a_vecEnv};
    if (std::none_of(vecEnv.begin(), vecEnv.end(),
                     [](const std::string &s) { return s.compare(0, 21, "QRB_PNPHELPERLOCKDIR=") == 0; }))
    {
      vecEnv.push_back("QRB_PNPHELPERLOCKDIR=" + m_strRoot);
    }
    return Spawn(vec, vecEnv);
  }

  // The text of every log file below HOME/log.
  std::string Log() const
  {
    std::string strText;
    for (const std::string &strName : ostest::Listing(m_strHome + "/log"))
    {
      if (strName.size() > 4 && strName.compare(strName.size() - 4, 4, ".log") == 0)
      {
        strText += ostest::ReadFile(m_strHome + "/log/" + strName);
      }
    }
    return strText;
  }
  bool LogHas(const std::string &a_strText) const { return Log().find(a_strText) != std::string::npos; }
  // Whether a line of flag 1 (error) holds a_strText.
  bool ErrorLogged(const std::string &a_strText) const
  {
    for (const std::string &strLine : ostest::SplitLines(Log()))
    {
      if (strLine.find(" VE " + a_strText) != std::string::npos)
      {
        return true;
      }
    }
    return false;
  }

  void UserFile(const std::string &a_strRelative, const std::string &a_strData = "x")
  {
    const std::string strPath = User() + "/" + a_strRelative;
    MakeDirs(strPath.substr(0, strPath.rfind('/')));
    ostest::WriteFile(strPath, a_strData);
  }

private:
  ostest::TempDir m_tempdir;
  std::string m_strRoot;
  std::string m_strHome;
  std::string m_strWriteable;
};

class PnpHelperE2E : public ::testing::Test
{
protected:
  PnpHome m_home;
};

// ---------------------------------------------------------------------------
// Command line

struct ActionCase
{
  std::vector<std::string> vecArgs;
  bool blMirror;  // whether an add ran
  std::string strLogLine;
};

TEST(PnpHelperAction, ParsingRules)
{
  const ActionCase aactioncase[] = {
      {{}, false, "Action not given or unknown: \r\n"},
      {{"ACTION:ADD"}, true, "Action: Add"},
      {{"action:add", "action:bogus"}, false, "Action not given or unknown: bogus"},  // the last one wins
      {{"add", "--verbose", "action:add"}, true, "Unknown argument: --verbose"},
      {{"add"}, false, "Unknown argument: add"},
      {{"action:add "}, false, "Action not given or unknown: add \r\n"},
      {{"action:"}, false, "Action not given or unknown: \r\n"},
      {{"action:" + std::string(100, 'w')},
       false,
       "Action not given or unknown: " + std::string(63, 'w') + "\r\n"},
  };
  for (const ActionCase &c : aactioncase)
  {
    SCOPED_TRACE(c.strLogLine);
    PnpHome home;
    home.UserFile("a.ini");
    EXPECT_EQ(0, home.Run(c.vecArgs));
    EXPECT_TRUE(home.LogHas(c.strLogLine)) << home.Log();
    EXPECT_TRUE(home.LogHas("Action completed: 0"));
    EXPECT_EQ(c.blMirror, ostest::FileExists(home.Mirror() + "/a.ini"));
  }
}

TEST_F(PnpHelperE2E, InformationLinesOnlyAtDebugLevel)
{
  m_home.WriteConstIni(m_home.Writeable(), 0);
  EXPECT_EQ(0, m_home.Run({"action:add", "extra"}));
  EXPECT_TRUE(m_home.LogHas("Action completed: 0"));
  for (const char *sz : {"Unknown argument", "Run() Enter", "create pnphelper object"})
  {
    EXPECT_FALSE(m_home.LogHas(sz)) << sz;
  }
  m_home.WriteConstIni(m_home.Writeable(), 1);
  EXPECT_EQ(0, m_home.Run({"action:add", "extra"}));
  for (const char *sz :
       {"Run() Enter: 3", "Unknown argument: extra", "Add() Enter for Linux", "cleanup pnphelper object"})
  {
    EXPECT_TRUE(m_home.LogHas(sz)) << sz;
  }
}

TEST_F(PnpHelperE2E, MainLogsItsObjectAtLine522)
{
  EXPECT_EQ(0, m_home.Run({"action:nothing"}));
  const std::vector<std::string> vecLines = ostest::SplitLines(m_home.Log());
  const auto it = std::find_if(vecLines.begin(), vecLines.end(),
                               [](const std::string &s)
                               { return s.find("create pnphelper object") != std::string::npos; });
  ASSERT_NE(vecLines.end(), it);
  // Header: counter, time, source (32 columns), line (5 columns).
  EXPECT_EQ("pnphelper", it->substr(16, 9));
  EXPECT_EQ("  522", it->substr(49, 5));
}

TEST_F(PnpHelperE2E, ObjectThatCannotBeMadeIs100)
{
  m_home.UserFile("a.ini");
  // The installed program has the C++ runtime linked in, out of a preloaded
  // library's reach; its twin links the runtime as a shared library.
  ASSERT_TRUE(ostest::WriteFile(m_home.Program(), ostest::ReadFile(PNPHELPER_SHAREDCXX_BIN)));
  // The sanitizer runtime would refuse a library preloaded before it.
  const char *szAsan = std::getenv("ASAN_OPTIONS");
  const std::string strAsan =
      std::string("ASAN_OPTIONS=") + (szAsan ? szAsan : "") + ":verify_asan_link_order=0";
  EXPECT_EQ(100, m_home.Run({"action:add"}, {std::string("LD_PRELOAD=") + FAILNEW_LIB, strAsan}));
  EXPECT_TRUE(m_home.LogHas("Unable to create object"));
  EXPECT_FALSE(m_home.LogHas("Action: Add"));
  EXPECT_FALSE(ostest::FileExists(m_home.Mirror()));
}

// ---------------------------------------------------------------------------
// Copy rules

TEST_F(PnpHelperE2E, AddMirrorsProfilesIniAndUsbLocksOnly)
{
  // Inside a directory named "profiles" (any case, any depth) everything is
  // copied; "PROFILES2" is only looked into; a directory with nothing to
  // copy is not made.
  for (const char *sz :
       {"profiles/Default.xml", "profiles/sub/readme.txt", "PROFILES2/x.xml", "nested/Profiles/kept.bin",
        "a.ini", "b.INI", "c.ini.bak", "usb1.lock", "USB2.LOCK", "usb.lock", "scanner.lock", "xusb.lock",
        "readme.txt", "noextension", "ini", ".ini", "deep/er/d.Ini", "skipped/only.txt"})
  {
    m_home.UserFile(sz);
  }
  EXPECT_EQ(0, m_home.Run({"action:add"}));
  const std::vector<std::string> vecExpected{".ini",
                                             "USB2.LOCK",
                                             "a.ini",
                                             "b.INI",
                                             "deep/",
                                             "deep/er/",
                                             "deep/er/d.Ini",
                                             "nested/",
                                             "nested/Profiles/",
                                             "nested/Profiles/kept.bin",
                                             "profiles/",
                                             "profiles/Default.xml",
                                             "profiles/sub/",
                                             "profiles/sub/readme.txt",
                                             "usb.lock",
                                             "usb1.lock"};
  EXPECT_EQ(vecExpected, ostest::Listing(m_home.Mirror()));
  for (const std::string &str :
       {"Copy entire directory: " + m_home.User() + "/profiles",
        "OK to look in directory: " + m_home.User() + "/PROFILES2",
        "OK to copy: " + m_home.User() + "/usb1.lock", "Do NOT copy: " + m_home.User() + "/noextension",
        "Do NOT copy: " + m_home.User() + "/scanner.lock"})
  {
    EXPECT_TRUE(m_home.LogHas(str)) << str;
  }
}

TEST_F(PnpHelperE2E, AddCopiesContentsAndStartsFromAFreshMirror)
{
  m_home.UserFile("only.txt");
  EXPECT_EQ(0, m_home.Run({"action:add"}));
  EXPECT_FALSE(ostest::FileExists(m_home.Mirror())) << "nothing to copy: no mirror";
  m_home.UserFile("settings.ini", "[scan]\nresolution=300\n");
  EXPECT_EQ(0, m_home.Run({"action:add"}));
  // A user edit and a stray file in the mirror are both replaced.
  ostest::WriteFile(m_home.Mirror() + "/settings.ini", "edited");
  ostest::WriteFile(m_home.Mirror() + "/stray.ini", "stray");
  EXPECT_EQ(0, m_home.Run({"action:add"}));
  EXPECT_EQ("[scan]\nresolution=300\n", ostest::ReadFile(m_home.Mirror() + "/settings.ini"));
  EXPECT_FALSE(ostest::FileExists(m_home.Mirror() + "/stray.ini"));
}

TEST_F(PnpHelperE2E, SymbolicLinkLoopInTheUserTreeEnds)
{
  m_home.UserFile("a.ini");
  ASSERT_EQ(0, symlink(m_home.User().c_str(), (m_home.User() + "/loop").c_str()));
  const int iStatus = m_home.Run({"action:add"});
  EXPECT_TRUE(iStatus == 0 || iStatus == 210) << iStatus;
  EXPECT_TRUE(ostest::FileExists(m_home.Mirror() + "/a.ini"));
}

// ---------------------------------------------------------------------------
// Writeable root

// The per-user root R comes from QRB_SHGETFOLDERPATH: R/user is mirrored
// below the writeable root and the log is R/log/pnphelper.log.
TEST_F(PnpHelperE2E, UserRootFollowsTheFolderPathVariable)
{
  const std::string strRoot = m_home.Root() + "/folders";
  MakeDirs(strRoot + "/user/profiles");
  ostest::WriteFile(strRoot + "/user/profiles/p.xml", "p");
  m_home.UserFile("home.ini");
  EXPECT_EQ(0, m_home.Run({"action:add"}, {"QRB_SHGETFOLDERPATH=" + strRoot}));
  EXPECT_EQ((std::vector<std::string>{"profiles/", "profiles/p.xml"}),
            ostest::Listing(m_home.Writeable() + strRoot + "/user"));
  EXPECT_FALSE(ostest::FileExists(m_home.Mirror()));
  EXPECT_NE(std::string::npos, ostest::ReadFile(strRoot + "/log/pnphelper.log").find("Action completed: 0"));
}

TEST_F(PnpHelperE2E, WithoutOverrideBothActionsDoNothing)
{
  m_home.WriteConstIni("", 1);
  m_home.UserFile("a.ini");
  EXPECT_EQ(0, m_home.Run({"action:add"}));
  EXPECT_TRUE(m_home.LogHas("no writeable override in const.ini"));
  EXPECT_TRUE(m_home.LogHas("nothing copied, no override"));
  EXPECT_EQ(std::vector<std::string>{}, ostest::Listing(m_home.Writeable()));
  EXPECT_EQ(0, m_home.Run({"action:remove"}));
  EXPECT_TRUE(m_home.LogHas("nothing removed, no override"));
  EXPECT_TRUE(m_home.ProbeArgs().empty());
}

TEST_F(PnpHelperE2E, MissingWriteableRootFailsAddOnly)
{
  m_home.WriteConstIni(m_home.Root() + "/absent", 1);
  EXPECT_EQ(200, m_home.Run({"action:add"}));
  EXPECT_TRUE(m_home.LogHas("Writeable path does not exist: " + m_home.Root() + "/absent"));
  EXPECT_TRUE(m_home.LogHas("Action completed: 200"));
  EXPECT_FALSE(ostest::FileExists(m_home.Root() + "/absent"));
  EXPECT_EQ(0, m_home.Run({"action:remove"}));
}

TEST_F(PnpHelperE2E, CopyFailureIs210)
{
  m_home.UserFile("a.ini");
  // A file where the mirror's first directory must go.
  const std::string strFirst =
      m_home.Writeable() + "/" + m_home.Root().substr(1, m_home.Root().find('/', 1) - 1);
  ASSERT_TRUE(ostest::WriteFile(strFirst, "in the way"));
  EXPECT_EQ(210, m_home.Run({"action:add"}));
  EXPECT_TRUE(m_home.LogHas("Unable to copy files: <" + m_home.User() + "> <" + m_home.Mirror() + ">"));
}

// The mirror path names a file: deleting it as a directory fails; remove
// reports it, add logs it and goes on to fail its copy.
TEST_F(PnpHelperE2E, RemoveFailureIs250)
{
  m_home.UserFile("a.ini");
  MakeDirs(m_home.Mirror().substr(0, m_home.Mirror().rfind('/')));
  ASSERT_TRUE(ostest::WriteFile(m_home.Mirror(), "not a directory"));
  EXPECT_EQ(250, m_home.Run({"action:remove"}));
  EXPECT_TRUE(m_home.LogHas("Unable to remove old files: " + m_home.Mirror()));
  EXPECT_TRUE(ostest::FileExists(m_home.Mirror()));
  ASSERT_EQ(0, rename((m_home.Home() + "/log").c_str(), (m_home.Root() + "/log.old").c_str()));
  EXPECT_EQ(210, m_home.Run({"action:add"}));
  EXPECT_TRUE(m_home.LogHas("Unable to remove old files: " + m_home.Mirror()));
}

TEST_F(PnpHelperE2E, RemoveNeverFollowsALinkOutOfTheMirror)
{
  m_home.UserFile("a.ini");
  ASSERT_EQ(0, m_home.Run({"action:add"}));
  const std::string strOutside = m_home.Root() + "/outside";
  MakeDirs(strOutside);
  ASSERT_TRUE(ostest::WriteFile(strOutside + "/precious.txt", "keep"));
  ASSERT_EQ(0, symlink(strOutside.c_str(), (m_home.Mirror() + "/link").c_str()));
  EXPECT_EQ(0, m_home.Run({"action:remove"}));
  EXPECT_FALSE(ostest::FileExists(m_home.Mirror()));
  EXPECT_EQ("keep", ostest::ReadFile(strOutside + "/precious.txt"));
}

// ---------------------------------------------------------------------------
// Remove and the probe

// The mirror stays while a listed scanner is attached (the probe answers 0)
// or when the probe is missing; any other answer removes it.
TEST(PnpHelperProbe, RemoveFollowsTheProbesAnswer)
{
  const struct
  {
    int iProbe;  // -1: no probe
    bool blKept;
    const char *szLogLine;
  } acase[] = {{0, true, "DeviceConnected() Exit: 1"},
               {1, false, "DeviceConnected() Exit: 0"},
               {2, false, "WriteableRemove() Exit"},
               {-1, true, "deviceprobe is missing: "}};
  for (const auto &c : acase)
  {
    SCOPED_TRACE(c.iProbe);
    PnpHome home;
    home.UserFile("profiles/p.xml");
    ASSERT_EQ(0, home.Run({"action:add"}));
    c.iProbe < 0 ? home.RemoveProbe() : home.InstallProbe(c.iProbe);
    EXPECT_EQ(0, home.Run({"Action:Remove"}));
    EXPECT_TRUE(home.LogHas("Action: Remove"));
    EXPECT_EQ(c.blKept, ostest::FileExists(home.Mirror() + "/profiles/p.xml"));
    EXPECT_TRUE(ostest::IsDirectory(home.Writeable()));  // the root itself stays
    EXPECT_TRUE(home.LogHas(c.szLogLine)) << home.Log();
    EXPECT_EQ(c.blKept, home.LogHas("device is still connected"));
    if (c.iProbe >= 0)
    {
      EXPECT_EQ(std::vector<std::string>{"40a,6020;40a,6021"}, home.ProbeArgs());
      EXPECT_TRUE(home.LogHas("call deviceprobe: " + home.Home() + "/lib/deviceprobe \"40a,6020;40a,6021\""));
    }
  }
}

TEST_F(PnpHelperE2E, ProbeRunsOncePerRemoveAndNeverOnAdd)
{
  m_home.UserFile("a.ini");
  EXPECT_EQ(0, m_home.Run({"action:add"}));
  EXPECT_TRUE(m_home.ProbeArgs().empty());
  m_home.InstallProbe(0);
  EXPECT_EQ(0, m_home.Run({"action:remove", "action:remove"}));
  EXPECT_EQ(1u, m_home.ProbeArgs().size());
  EXPECT_EQ(0, m_home.Run({"action:remove"}));
  EXPECT_EQ(2u, m_home.ProbeArgs().size());
}

// ---------------------------------------------------------------------------
// The scanner list resource

std::string Scanner(const std::string &a_strIds)
{
  return "<pnphelper><scanner>" + a_strIds + "</scanner></pnphelper>";
}

// A resource of exactly a_sizetSize bytes: a valid list padded with blanks.
std::string Sized(size_t a_sizetSize)
{
  std::string str = Scanner("<id>VID_40a&PID_6020</id>");
  return str.append(a_sizetSize - str.size(), ' ');
}

// Ids of eight-digit numbers: 18 list characters each, so 29 of them
// (521 characters) overflow the 511-character list.
std::string ManyIds(int a_iCount)
{
  std::string str;
  for (int ii = 0; ii < a_iCount; ii++)
  {
    str += "<id>VID_ffffffffPID_ffffffff</id>";
  }
  return Scanner(str);
}

// Each scanner list gives its exit status and log line; a failed load
// never runs the action.
TEST(PnpHelperResource, StatusAndLogLine)
{
  const struct
  {
    std::string strResource;
    int iStatus;
    const char *szLogLine;
  } acase[] = {
      {kDefaultList, 0, "add Vid/Pid 40a/6021"},
      {Sized(1023), 0, "GetVidPids() Exit"},
      {Sized(1024), 160, "Not enough space to load resource..."},
      {"<pnphelper><id>VID_1&PID_2</id></pnphelper>", 180, "<scanner> section not found..."},
      {"<scanner><id>VID_1&PID_2</id>", 180, "<scanner> section not found..."},
      {Scanner("<id>VID_1&PID_2</id><id></id>"), 181, "OsXmlGetContent failed..."},
      {Scanner("<id>VID_1&PID_2"), 181, "OsXmlGetContent failed..."},
      {Scanner("<id>VID_1&PID_2" + std::string(53, 'x') + "</id>"), 181, "OsXmlGetContent failed..."},  // 64
      {Scanner("<id>VID_1&PID_2" + std::string(52, 'x') + "</id>"), 0, "add Vid/Pid 1/2"},              // 63
      {Scanner("<id>vid_040a&PID_6020</id>"), 182, "VID_ missing..."},
      {Scanner("<id>VID_0000&PID_6020</id>"), 183, "VID_ is zero..."},
      {Scanner("<id>VID_&PID_6020</id>"), 183, "VID_ is zero..."},
      {Scanner("<id>VID_040a</id>"), 184, "PID_ missing..."},
      {Scanner("<id>VID_040a&PID_0</id>"), 185, "PID_ is zero..."},
      {Scanner("<id>VID_1&PID_2</id><id>VID_3</id>"), 184, "add Vid/Pid 1/2"},
      {ManyIds(28), 0, "GetVidPids() Exit"},
      {ManyIds(29), 186, "Out of space: OsStrCatf failed..."},
  };
  for (const auto &c : acase)
  {
    SCOPED_TRACE(c.szLogLine);
    PnpHome home;
    home.SetResource(c.strResource);
    home.UserFile("a.ini");
    EXPECT_EQ(c.iStatus, home.Run({"action:add"}));
    EXPECT_TRUE(home.LogHas(c.szLogLine)) << home.Log();
    EXPECT_TRUE(home.LogHas("Action completed: " + std::to_string(c.iStatus)));
    EXPECT_EQ(c.iStatus == 0, ostest::FileExists(home.Mirror() + "/a.ini"));
  }
}

TEST_F(PnpHelperE2E, MissingResourceIs150)
{
  m_home.SetResource("", false);
  m_home.UserFile("a.ini");
  EXPECT_EQ(150, m_home.Run({"action:add"}));
  EXPECT_TRUE(m_home.LogHas("Failed to Open resource...14"));
  EXPECT_EQ(150, m_home.Run({"action:remove"}));
  EXPECT_FALSE(ostest::FileExists(m_home.Mirror()));
  // Without any resource at all, unknown actions still succeed.
  ASSERT_TRUE(StripResources(m_home.Program()));
  EXPECT_EQ(150, m_home.Run({"action:add"}));
  EXPECT_EQ(0, m_home.Run({"action:other"}));
}

// What the probe is given: the list in order, lower-case hexadecimal
// without leading zeros; ids after </scanner> are never read. An empty
// section gives an empty list.
TEST_F(PnpHelperE2E, ProbeArgumentIsTheParsedList)
{
  m_home.SetResource(
      "<x><id>VID_9&PID_9</id><scanner>\n <id>USB\\VID_040A&PID_6020&REV_0001</id>\n"
      " <id>PID_00FF then "
      "VID_0ABC</id><id><![CDATA[VID_1234&PID_5678]]></id></scanner><id>VID_7&PID_7</id></x>");
  EXPECT_EQ(0, m_home.Run({"action:remove"}));
  m_home.SetResource("<scanner></scanner>");
  EXPECT_EQ(0, m_home.Run({"action:remove"}));
  EXPECT_EQ((std::vector<std::string>{"40a,6020;abc,ff;1234,5678", ""}), m_home.ProbeArgs());
  EXPECT_TRUE(m_home.LogHas("call deviceprobe: " + m_home.Home() + "/lib/deviceprobe \"\""));
}

// ---------------------------------------------------------------------------
// Concurrent events on one mirror

TEST_F(PnpHelperE2E, ConcurrentAddAndRemoveRunsSerialise)
{
  for (int ii = 0; ii < 20; ii++)
  {
    m_home.UserFile("profiles/p" + std::to_string(ii) + ".xml", std::string(4096, 'p'));
    m_home.UserFile("d" + std::to_string(ii) + "/s.ini", "[s]");
    m_home.UserFile("d" + std::to_string(ii) + "/skip.txt");
  }
  m_home.UserFile("usb1.lock");
  m_home.WriteConstIni(m_home.Writeable(), 0);
  m_home.InstallProbe(1);

  for (int iRound = 0; iRound < 3; iRound++)
  {
    std::vector<pid_t> vecPids;
    for (int ii = 0; ii < 8; ii++)
    {
      vecPids.push_back(m_home.Start({ii % 2 ? "action:remove" : "action:add"}));
    }
    for (pid_t pid : vecPids)
    {
      EXPECT_EQ(0, Wait(pid));
    }
  }
  ASSERT_EQ(0, m_home.Run({"action:add"}));
  const std::vector<std::string> vecMirror = ostest::Listing(m_home.Mirror());
  EXPECT_EQ(21u + 20u * 2u + 1u, vecMirror.size());  // profiles/ + 20, 20 x (d/, s.ini), usb1.lock
  EXPECT_EQ(std::string(4096, 'p'), ostest::ReadFile(m_home.Mirror() + "/profiles/p19.xml"));
  // The lock is taken on the root itself: nothing but the mirror's first
  // directory is left in it.
  const std::string strFirst = m_home.Root().substr(1, m_home.Root().find('/', 1) - 1) + "/";
  std::vector<std::string> vecTop;
  for (const std::string &str : ostest::Listing(m_home.Writeable()))
  {
    if (str.find('/') == std::string::npos || str.find('/') == str.size() - 1)
    {
      vecTop.push_back(str);
    }
  }
  EXPECT_EQ(std::vector<std::string>{strFirst}, vecTop);
}

// ---------------------------------------------------------------------------
// Safety as root: the hot-plug lock, the probe command, the mirror's place

// Runs a_fn in a child that has become "nobody" (no groups); the child's
// exit status is a_fn's result. The parent gets the pid.
template <typename F>
pid_t AsNobody(F a_fn)
{
  const pid_t pid = fork();
  if (pid == 0)
  {
    _exit((setgroups(0, nullptr) == 0 && setresgid(65534, 65534, 65534) == 0 &&
           setresuid(65534, 65534, 65534) == 0)
              ? a_fn()
              : 99);
  }
  return pid;
}

// Exit status of a program that must end within a_iSeconds; -2 when it
// had to be killed.
int WaitAtMost(pid_t a_pid, int a_iSeconds)
{
  for (int ii = 0; ii < a_iSeconds * 50; ii++)
  {
    int iStatus = 0;
    if (waitpid(a_pid, &iStatus, WNOHANG) == a_pid)
    {
      return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 1000 + WTERMSIG(iStatus);
    }
    usleep(20000);
  }
  kill(a_pid, SIGKILL);
  Wait(a_pid);
  return -2;
}

// A lock held elsewhere ends each action after the bounded wait with its
// failure status; the old mirror stays and the probe never runs.
TEST(PnpHelperSafety, HeldLockEndsTheRunWithTheFailureStatus)
{
  for (const auto &c : {std::make_pair("action:add", 210), std::make_pair("action:remove", 250)})
  {
    SCOPED_TRACE(c.first);
    PnpHome home;
    home.UserFile("a.ini");
    ASSERT_EQ(0, home.Run({"action:add"}));
    ostest::WriteFile(home.Mirror() + "/a.ini", "old");
    const int fd = open((home.Root() + "/pnphelper.lock").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, flock(fd, LOCK_EX));
    EXPECT_EQ(c.second, WaitAtMost(home.Start({c.first}, {"QRB_PNPHELPERWAIT=1"}), 20));
    close(fd);
    EXPECT_TRUE(home.ErrorLogged("Unable to lock writeable root...<" + home.Writeable() + ">")) << home.Log();
    EXPECT_EQ("old", ostest::ReadFile(home.Mirror() + "/a.ini"));
    EXPECT_TRUE(home.ProbeArgs().empty());
  }
}

// Root's lock is /run/pnphelper.lock, mode 0600: "nobody" can neither open
// it nor stop a run by locking the writeable root, which any user can open.
TEST(PnpHelperSafety, UnprivilegedUserCannotHoldTheLock)
{
  if (geteuid() != 0)
  {
    GTEST_SKIP() << "needs root";
  }
  PnpHome home;
  home.UserFile("a.ini");
  ASSERT_EQ(0, chmod(home.Root().c_str(), 0755));
  ASSERT_EQ(0, home.Run({"action:add"}, {"QRB_PNPHELPERLOCKDIR="}));
  struct stat statLock = {};
  ASSERT_EQ(0, lstat("/run/pnphelper.lock", &statLock));
  EXPECT_TRUE(S_ISREG(statLock.st_mode));
  EXPECT_EQ(0600u, statLock.st_mode & 07777);
  EXPECT_EQ(0u, statLock.st_uid);
  // The holder reports through one pipe and holds until the other closes.
  int aiReport[2];
  int aiHold[2];
  ASSERT_EQ(0, pipe2(aiReport, O_CLOEXEC));
  ASSERT_EQ(0, pipe2(aiHold, O_CLOEXEC));
  const std::string strWriteable = home.Writeable();
  const pid_t pidHolder = AsNobody(
      [&]()
      {
        close(aiHold[1]);
        const int fdRoot = open(strWriteable.c_str(), O_RDONLY | O_DIRECTORY);
        const bool blOpened = open("/run/pnphelper.lock", O_RDONLY) >= 0;
        const char chHeld = (fdRoot >= 0 && flock(fdRoot, LOCK_EX) == 0 && !blOpened) ? 'y' : 'n';
        char ch;
        return (write(aiReport[1], &chHeld, 1) == 1 && read(aiHold[0], &ch, 1) == 0) ? 0 : 1;
      });
  close(aiReport[1]);
  char chHeld = 0;
  EXPECT_EQ(1, read(aiReport[0], &chHeld, 1));
  EXPECT_EQ('y', chHeld) << "nobody could not lock the root, or could open the lock file";
  EXPECT_EQ(0, WaitAtMost(home.Start({"action:add"}, {"QRB_PNPHELPERLOCKDIR="}), 20));
  EXPECT_EQ(0, WaitAtMost(home.Start({"action:remove"}, {"QRB_PNPHELPERLOCKDIR="}), 20));
  close(aiHold[1]);
  EXPECT_EQ(0, WaitAtMost(pidHolder, 5));
  close(aiReport[0]);
  close(aiHold[0]);
}

// A probe that never ends is killed after the bounded wait (counting as not
// attached), so it cannot hold the lock for ever.
TEST_F(PnpHelperE2E, HangingProbeIsKilled)
{
  m_home.UserFile("a.ini");
  ASSERT_EQ(0, m_home.Run({"action:add"}));
  ostest::WriteFile(m_home.Home() + "/lib/deviceprobe", "#!/bin/sh\nsleep 1000\n");
  EXPECT_EQ(0, WaitAtMost(m_home.Start({"action:remove"}, {"QRB_PNPHELPERWAIT=1"}), 20));
  EXPECT_TRUE(m_home.ErrorLogged("deviceprobe killed after 1 seconds...<" + m_home.Home() + "/lib/deviceprobe \""))
      << m_home.Log();
  EXPECT_FALSE(ostest::FileExists(m_home.Mirror()));
}

// An installation path with shell characters is one quoted word: the probe
// runs and nothing in the path is executed.
TEST(PnpHelperSafety, ProbePathIsQuotedForTheShell)
{
  for (const std::string &strName : {std::string("my home"), std::string("$(touch pwned)"), std::string("it's")})
  {
    SCOPED_TRACE(strName);
    PnpHome home(strName);
    home.UserFile("a.ini");
    ASSERT_EQ(0, home.Run({"action:add"}));
    home.InstallProbe(0);
    EXPECT_EQ(0, home.Run({"action:remove"}));
    EXPECT_EQ(std::vector<std::string>{"40a,6020;40a,6021"}, home.ProbeArgs());
    EXPECT_TRUE(ostest::FileExists(home.Mirror() + "/a.ini"));
    EXPECT_FALSE(ostest::FileExists("pwned"));
    EXPECT_FALSE(ostest::FileExists(home.Root() + "/pwned"));
  }
  PnpHome home("it's");
  home.Run({"action:remove"});
  EXPECT_TRUE(home.LogHas("call deviceprobe: '" + home.Root() + "/it'\\''s/lib/deviceprobe' \"40a,6020;40a,6021\""))
      << home.Log();
}

// A writeable root that puts the mirror at or inside the user-root
// directory is refused before anything is deleted or copied.
TEST(PnpHelperSafety, MirrorOverlappingTheUserRootIsRefused)
{
  for (const std::string &strWriteable : {std::string("/"), std::string("user/w"), std::string("toroot/.")})
  {
    for (const auto &c : {std::make_pair("action:add", 210), std::make_pair("action:remove", 250)})
    {
      SCOPED_TRACE(strWriteable + " " + c.first);
      PnpHome home;
      const std::string strRoot = (strWriteable[0] == '/') ? strWriteable : home.Home() + "/" + strWriteable;
      MakeDirs(home.User() + "/w");
      ASSERT_EQ(0, symlink("/", (home.Home() + "/toroot").c_str()));
      home.UserFile("a.ini");
      home.UserFile("keep.txt");
      home.WriteConstIni(strRoot, 1);
      home.InstallProbe(1);
      EXPECT_EQ(c.second, home.Run({c.first}));
      EXPECT_TRUE(home.ErrorLogged("Writeable mirror overlaps the user-root directory...<")) << home.Log();
      EXPECT_TRUE(home.LogHas("<" + home.User() + ">"));
      EXPECT_EQ((std::vector<std::string>{"a.ini", "keep.txt", "w/"}), ostest::Listing(home.User()));
      EXPECT_TRUE(home.ProbeArgs().empty());
    }
  }
}

// A const.ini that is a FIFO counts as missing: the run does not block.
TEST_F(PnpHelperE2E, FifoConstIniDoesNotBlock)
{
  ASSERT_EQ(0, unlink((m_home.Home() + "/const.ini").c_str()));
  ASSERT_EQ(0, mkfifo((m_home.Home() + "/const.ini").c_str(), 0666));
  EXPECT_EQ(0, WaitAtMost(m_home.Start({"action:add"}), 5));
  EXPECT_TRUE(m_home.LogHas("Action completed: 0"));
}

}  // namespace
