// The file object of COsFile (Open's modes, the exclusive lock, Write,
// Printf, temporary files) and the static Create and Exists.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "cosfile_testutil.h"
#include "os_coscfg.h"
#include "os_cosfile.h"

namespace
{

const char kContent[] = "hello world";

struct OpenCase
{
  EOSFILEOPEN eosfileopen;
  EOSFILEACCESS eosfileaccess;
  bool blExisting;  // whether the file is there before the open
  EOSSTS eosstsExpected;
  const char *szAfter;  // content after writing "HE" (null: no write), or after the open
};

// Each access/open pair on an existing and on a missing file. Reading with
// open 1 or 4 uses "r+": the file must exist and is not truncated.
const OpenCase kaopencase[] = {
    {EOSFILEOPEN_EXISTING, EOSFILEACCESS_READ, true, 0, kContent},
    {EOSFILEOPEN_EXISTING, EOSFILEACCESS_WRITE, true, 0, "HEllo world"},
    {EOSFILEOPEN_EXISTING, EOSFILEACCESS_READWRITE, true, 0, "HEllo world"},
    {EOSFILEOPEN_EXISTING, EOSFILEACCESS_READ, false, 257, nullptr},
    {EOSFILEOPEN_EXISTING, EOSFILEACCESS_WRITE, false, 257, nullptr},
    {EOSFILEOPEN_EXISTING, EOSFILEACCESS_READWRITE, false, 257, nullptr},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_READ, true, 0, "HEllo world"},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_WRITE, true, 0, "HE"},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_READWRITE, true, 0, "HE"},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_READ, false, 257, nullptr},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_WRITE, false, 0, "HE"},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_READWRITE, false, 0, "HE"},
    {EOSFILEOPEN_ALWAYS, EOSFILEACCESS_READ, true, 0, kContent},
    {EOSFILEOPEN_ALWAYS, EOSFILEACCESS_WRITE, true, 0, "HEllo world"},
    {EOSFILEOPEN_ALWAYS, EOSFILEACCESS_READWRITE, true, 0, "HEllo world"},
    {EOSFILEOPEN_ALWAYS, EOSFILEACCESS_READ, false, 257, nullptr},
    {EOSFILEOPEN_ALWAYS, EOSFILEACCESS_WRITE, false, 0, "HE"},
    {EOSFILEOPEN_ALWAYS, EOSFILEACCESS_READWRITE, false, 0, "HE"},
    {EOSFILEOPEN_TEMPORARY, EOSFILEACCESS_READ, false, 257, nullptr},
    {EOSFILEOPEN_NOMODE, EOSFILEACCESS_READ, true, 1, kContent},
    {EOSFILEOPEN_NOMODE, EOSFILEACCESS_WRITE, true, 1, kContent},
    {EOSFILEOPEN_EXISTING, EOSFILEACCESS_EXECUTE, true, 1, kContent},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_EXECUTE, true, 1, kContent},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_EXECUTE, false, 1, nullptr},
};

TEST(CosFileOpen, ModesTable)
{
  ostest::ScopedFileServices services;
  for (const OpenCase &c : kaopencase)
  {
    SCOPED_TRACE("open " + std::to_string(c.eosfileopen) + " access " + std::to_string(c.eosfileaccess) +
                 (c.blExisting ? " existing" : " missing"));
    ostest::TempDir tempdir;
    std::string strFile = tempdir / "f";
    ASSERT_TRUE(!c.blExisting || ostest::WriteFile(strFile, kContent));
    COsFile osfile;
    EXPECT_EQ(c.eosstsExpected, osfile.Open(strFile.c_str(), c.eosfileopen, c.eosfileaccess, 2));
    uint32_t u32Written = 0;
    bool blOpen = (c.eosstsExpected == 0);
    EXPECT_EQ(blOpen ? 0u : 3u, osfile.Write("HE", 2, &u32Written));
    EXPECT_EQ(0u, osfile.Close());
    // A read-only stream takes no bytes.
    if (blOpen && (c.eosfileaccess == EOSFILEACCESS_READ) && (c.eosfileopen != EOSFILEOPEN_CREATE))
    {
      EXPECT_EQ(0u, u32Written);
    }
    EXPECT_EQ(c.szAfter ? c.szAfter : "<missing>",
              ostest::FileExists(strFile) ? ostest::ReadFile(strFile) : "<missing>");
  }
}

TEST(CosFileOpen, ArgumentChecks)
{
  ostest::ScopedFileServices services;
  ostest::TempDir tempdir;
  std::string strFile = tempdir / "f";
  COsFile osfile;
  EXPECT_EQ(3u, osfile.Open(nullptr, 1, 2, 2));
  // Each of open, access and share just outside its range.
  const uint32_t aau32[][3] = {{0, 2, 2}, {6, 2, 2}, {1, 0, 2}, {1, 5, 2}, {1, 2, 0}, {1, 2, 5}};
  for (const auto &au32 : aau32)
  {
    EXPECT_EQ(3u, osfile.Open(strFile.c_str(), au32[0], au32[1], au32[2])) << au32[0] << au32[1] << au32[2];
  }
  EXPECT_FALSE(ostest::FileExists(strFile));
}

// Writing never goes through a link, nor into a FIFO (which would block):
// the open is refused with 258 (a dangling link that must exist is simply
// missing).
TEST(CosFileOpen, WritingIsRefusedOnLinksAndFifos)
{
  ostest::ScopedFileServices services;
  ostest::TempDir tempdir;
  ASSERT_TRUE(ostest::WriteFile(tempdir / "victim", "precious"));
  ASSERT_EQ(0, symlink((tempdir / "victim").c_str(), (tempdir / "link").c_str()));
  ASSERT_EQ(0, symlink((tempdir / "created").c_str(), (tempdir / "dangling").c_str()));
  ASSERT_EQ(0, mkfifo((tempdir / "fifo").c_str(), 0600));
  for (const char *sz : {"link", "dangling", "fifo"})
  {
    for (EOSFILEOPEN eosfileopen : {EOSFILEOPEN_CREATE, EOSFILEOPEN_EXISTING})
    {
      COsFile osfile;
      const bool blMissing = !strcmp(sz, "dangling") && (eosfileopen == EOSFILEOPEN_EXISTING);
      EXPECT_EQ(blMissing ? 257u : 258u,
                osfile.Open((tempdir / sz).c_str(), eosfileopen, EOSFILEACCESS_WRITE, 2))
          << sz;
    }
  }
  EXPECT_EQ("precious", ostest::ReadFile(tempdir / "victim"));
  EXPECT_FALSE(ostest::FileExists(tempdir / "created"));
}

TEST(CosFileOpen, ExclusiveShareLocksOutASecondObject)
{
  ostest::TempDir tempdir;
  std::string strFile = tempdir / "locked";
  COsFile osfileFirst;
  COsFile osfileSecond;
  ASSERT_EQ(0u, osfileFirst.Open(strFile.c_str(), 1, 3, 1));
  EXPECT_EQ(260u, osfileSecond.Open(strFile.c_str(), 2, 3, 1));
  // The refused object holds no stream.
  EXPECT_EQ(3u, osfileSecond.Write("x", 1, nullptr));
  // Without share 1 no lock is asked for.
  COsFile osfileShared;
  EXPECT_EQ(0u, osfileShared.Open(strFile.c_str(), 2, 1, 2));
  osfileShared.Close();
  osfileFirst.Close();
  EXPECT_EQ(0u, osfileSecond.Open(strFile.c_str(), 2, 3, 1));
}

TEST(CosFileOpen, TemporaryFileGoesAtCloseAndAtDestruction)
{
  ostest::TempDir tempdir;
  std::string strFile = tempdir / "tmp";
  {
    COsFile osfile;
    ASSERT_EQ(0u, osfile.Open(strFile.c_str(), 4, 2, 2));
    EXPECT_EQ(0u, osfile.Close());
    EXPECT_FALSE(ostest::FileExists(strFile));
    EXPECT_EQ(0u, osfile.Close());  // nothing open: still 0
    ASSERT_EQ(0u, osfile.Open(strFile.c_str(), 4, 3, 2));
    EXPECT_TRUE(ostest::FileExists(strFile));
  }
  EXPECT_FALSE(ostest::FileExists(strFile));
  // A file opened later with another mode stays.
  COsFile osfile;
  ASSERT_EQ(0u, osfile.Open(strFile.c_str(), 1, 2, 2));
  osfile.Close();
  EXPECT_TRUE(ostest::FileExists(strFile));
}

TEST(CosFileOpen, StreamIsClosedOnExec)
{
  ostest::TempDir tempdir;
  COsFile osfile;
  ASSERT_EQ(0u, osfile.Open((tempdir / "cloexec").c_str(), 1, 2, 2));
  DIR *pdir = opendir("/proc/self/fd");
  if (!pdir)
  {
    GTEST_SKIP() << "no /proc";
  }
  int iFound = 0;
  for (struct dirent *pdirent = readdir(pdir); pdirent; pdirent = readdir(pdir))
  {
    char szTarget[4096] = "";
    std::string strLink = std::string("/proc/self/fd/") + pdirent->d_name;
    if ((readlink(strLink.c_str(), szTarget, sizeof(szTarget) - 1) > 0) && strstr(szTarget, "/cloexec"))
    {
      iFound++;
      EXPECT_TRUE(fcntl(atoi(pdirent->d_name), F_GETFD) & FD_CLOEXEC);
    }
  }
  closedir(pdir);
  EXPECT_EQ(1, iFound);
}

// A configuration with a root path and a creation mask; it is g_poscfg
// while it lives. Set keeps the caller's text: a_strRootPath must outlive it.
std::unique_ptr<COsCfg> RootPath(const std::string &a_strRootPath, const char *a_szMask)
{
  OsCfgVersion oscfgversion{};
  std::unique_ptr<COsCfg> poscfg(new COsCfg("filetest", EOSCFGENTITY_UTILITY, "", &oscfgversion, false, nullptr));
  EXPECT_EQ(0u, poscfg->Set(1, 10, a_strRootPath.c_str()));
  EXPECT_EQ(0u, poscfg->Set(1, 99, a_szMask));
  return poscfg;
}

TEST(CosFileOpen, NameUnderTheRootPathGetsTheConfiguredMode)
{
  ostest::TempDir tempdir;
  ostest::TempDir tempdirOther;
  const std::string strRoot = tempdir / "root";
  auto poscfg = RootPath(strRoot, "0640");
  mode_t modeOld = umask(022);
  COsFile osfile;
  ASSERT_EQ(0, mkdir((tempdir / "root").c_str(), 0755));
  EXPECT_EQ(0u, osfile.Open((tempdir / "root/new").c_str(), 1, 2, 2));
  osfile.Close();
  EXPECT_EQ(0640, ostest::ModeOf(tempdir / "root/new"));
  // Also after a failed open of an existing file.
  ASSERT_TRUE(ostest::WriteFile(tempdir / "root/old", "x"));
  ASSERT_EQ(0, chmod((tempdir / "root/old").c_str(), 0600));
  EXPECT_EQ(1u, osfile.Open((tempdir / "root/old").c_str(), 5, 2, 2));
  EXPECT_EQ(0640, ostest::ModeOf(tempdir / "root/old"));
  // A file elsewhere gets the process's default mode.
  EXPECT_EQ(0u, osfile.Open((tempdirOther / "g").c_str(), 1, 2, 2));
  osfile.Close();
  EXPECT_EQ(0644, ostest::ModeOf(tempdirOther / "g"));
  // A link under the root path that failed to open does not pass the change on.
  ASSERT_TRUE(ostest::WriteFile(tempdirOther / "target", "x"));
  ASSERT_EQ(0, chmod((tempdirOther / "target").c_str(), 0600));
  ASSERT_EQ(0, symlink((tempdirOther / "target").c_str(), (tempdir / "root/link").c_str()));
  EXPECT_EQ(1u, osfile.Open((tempdir / "root/link").c_str(), 5, 2, 2));
  EXPECT_EQ(0600, ostest::ModeOf(tempdirOther / "target"));
  umask(modeOld);
}

// The creation mask is read as C reads a number: "511" is 0777.
TEST(CosFileOpen, DefaultCreationMaskIsDecimal511)
{
  ostest::TempDir tempdir;
  auto poscfg = RootPath(tempdir.Path(), "511");
  mode_t modeOld = umask(077);
  COsFile osfile;
  EXPECT_EQ(0u, osfile.Open((tempdir / "f").c_str(), 1, 2, 2));
  osfile.Close();
  umask(modeOld);
  EXPECT_EQ(0777, ostest::ModeOf(tempdir / "f"));
}

TEST(CosFileWrite, WriteAndPrintfCheckAndCount)
{
  ostest::ScopedFileServices services;
  ostest::TempDir tempdir;
  COsFile osfile;
  EXPECT_EQ(3u, osfile.Write("x", 1, nullptr));
  EXPECT_EQ(-1, osfile.Printf("x"));
  ASSERT_EQ(0u, osfile.Open((tempdir / "f").c_str(), 1, 2, 2));
  EXPECT_EQ(3u, osfile.Write(nullptr, 1, nullptr));
  uint32_t u32Written = 99;
  EXPECT_EQ(0u, osfile.Write("abc", 3, &u32Written));
  EXPECT_EQ(3u, u32Written);
  EXPECT_EQ(0u, osfile.Write("de", 2, nullptr));
  EXPECT_EQ(7, osfile.Printf("%d-%s\r\n", 42, "bc"));
  EXPECT_EQ(-1, osfile.Printf("%s", ""));  // nothing formatted
  EXPECT_EQ(-1, osfile.Printf(nullptr));
  // The format buffer is 64 KiB with its terminator.
  std::string strFits(65535, 'a');
  EXPECT_EQ(65535, osfile.Printf("%s", strFits.c_str()));
  EXPECT_EQ(-1, osfile.Printf("%s", std::string(65536, 'b').c_str()));
  osfile.Close();
  EXPECT_EQ("abcde42-bc\r\n" + strFits, ostest::ReadFile(tempdir / "f"));
}

TEST(CosFileWrite, PrintfFailsWithoutTheMemoryService)
{
  ostest::TempDir tempdir;
  COsMem *posmemOld = g_posmem;
  g_posmem = nullptr;
  {
    COsFile osfile;
    ASSERT_EQ(0u, osfile.Open((tempdir / "f").c_str(), 1, 2, 2));
    EXPECT_EQ(-1, osfile.Printf("x"));
  }
  g_posmem = posmemOld;
  EXPECT_EQ("", ostest::ReadFile(tempdir / "f"));
}

TEST(CosFileCreate, MakesEveryComponentWithFullPermissions)
{
  ostest::TempDir tempdir;
  ASSERT_EQ(0, mkdir((tempdir / "a").c_str(), 0700));
  mode_t modeOld = umask(077);
  EOSSTS eossts = COsFile::Create((tempdir / "a/b/c").c_str(), nullptr);
  mode_t modeDuring = umask(modeOld);
  EXPECT_EQ(0u, eossts);
  EXPECT_EQ(077u, modeDuring) << "the process's mask is restored";
  EXPECT_EQ(0700, ostest::ModeOf(tempdir / "a")) << "an existing component is left alone";
  EXPECT_EQ(0777, ostest::ModeOf(tempdir / "a/b"));
  EXPECT_EQ(0777, ostest::ModeOf(tempdir / "a/b/c"));
  EXPECT_EQ(261u, COsFile::Create((tempdir / "a/b/c").c_str(), nullptr));
}

TEST(CosFileCreate, RelativeNamesExistingDirectoriesAndFailures)
{
  ostest::ScopedFileServices services;
  ostest::TempDir tempdir;
  ostest::ScopedCwd cwd(tempdir.Path());
  ASSERT_TRUE(cwd.Changed());
  EXPECT_EQ(0u, COsFile::Create("./x\\y//z/", nullptr));
  EXPECT_TRUE(ostest::IsDirectory(tempdir / "x/y/z"));
  for (const char *sz : {".", "/", "", "./.."})
  {
    EXPECT_EQ(261u, COsFile::Create(sz, nullptr)) << sz;
  }
  EXPECT_EQ(1u, COsFile::Create(nullptr, nullptr));
  ASSERT_TRUE(ostest::WriteFile(tempdir / "file", "x"));
  EXPECT_EQ(1u, COsFile::Create((tempdir / "file/sub").c_str(), nullptr));
}

TEST(CosFileCreate, StopsAfterSixtyFourComponents)
{
  ostest::TempDir tempdir;
  // The first 64 components (counted from the root) exist, no more.
  std::string strLast = tempdir.Path();
  for (auto ii = std::count(strLast.begin(), strLast.end(), '/'); ii < 64; ii++)
  {
    strLast += "/d";
  }
  EXPECT_EQ(0u, COsFile::Create((strLast + "/d/d/d").c_str(), nullptr));
  EXPECT_TRUE(ostest::IsDirectory(strLast));
  EXPECT_FALSE(ostest::IsDirectory(strLast + "/d"));
}

// The trace file name is read once per process, so the case runs in a forked
// child. CTest runs every test in a process of its own, so the child starts
// with the name unread (a re-executing death test style would not run under
// an emulator).
TEST(CosFileCreateDeathTest, TraceFileLogsExistingDirectories)
{
  GTEST_FLAG_SET(death_test_style, "fast");
  ostest::TempDir tempdir;
  const std::string strDirectory = tempdir.Path();
  std::string strTrace = strDirectory + "/trace.txt";
  EXPECT_EXIT(
      {
        setenv("QRB_TRACE_COSFILE_CREATE", strTrace.c_str(), 1);
        bool blOk = (COsFile::Create(strDirectory.c_str(), nullptr) == 261) &&
                    (COsFile::Create((strDirectory + "/new").c_str(), nullptr) == 0);
        exit(blOk ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
  std::string strExpected =
      "exists: " + std::string(15, ' ') + " " + std::string(15, ' ') + " " + strDirectory + "\r\n";
  EXPECT_EQ(strExpected, ostest::ReadFile(strTrace));
}

TEST(CosFileExists, FilesDirectoriesAndPatterns)
{
  ostest::ScopedFileServices services;
  ostest::TempDir tempdir;
  ASSERT_TRUE(ostest::WriteFile(tempdir / "a.xml", "x"));
  ASSERT_EQ(0, symlink("nowhere", (tempdir / "dangling").c_str()));
  EXPECT_TRUE(COsFile::Exists(tempdir.Path().c_str()));
  for (const char *sz : {"a.xml", "*.xml", "?.xml"})
  {
    EXPECT_TRUE(COsFile::Exists((tempdir / sz).c_str())) << sz;
  }
  for (const char *sz : {"*.txt", "b.xml", "dangling"})
  {
    EXPECT_FALSE(COsFile::Exists((tempdir / sz).c_str())) << sz;
  }
  EXPECT_FALSE(COsFile::Exists(nullptr));
}

}  // namespace
