// The file object of COsFile (Open's modes, the exclusive lock, Write,
// Printf, temporary files) and the static Create and Exists.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
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

// The access/open pairs on an existing and on a missing file. Reading with
// open 1 or 4 uses "r+": the file must exist and is not truncated; open 3 is
// 2 for an existing file and 1 for a missing one.
const OpenCase kaopencase[] = {
    {EOSFILEOPEN_EXISTING, EOSFILEACCESS_READ, true, 0, kContent},
    {EOSFILEOPEN_EXISTING, EOSFILEACCESS_WRITE, true, 0, "HEllo world"},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_WRITE, true, 0, "HE"},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_READ, false, 257, nullptr},
    {EOSFILEOPEN_ALWAYS, EOSFILEACCESS_WRITE, false, 0, "HE"},
    {EOSFILEOPEN_NOMODE, EOSFILEACCESS_WRITE, true, 1, kContent},
    {EOSFILEOPEN_CREATE, EOSFILEACCESS_EXECUTE, false, 1, nullptr},
};

using CosFile = ostest::FileServicesTest;

TEST_F(CosFile, OpenModesTable)
{
  int iCase = 0;
  for (const OpenCase &c : kaopencase)
  {
    SCOPED_TRACE("open " + std::to_string(c.eosfileopen) + " access " + std::to_string(c.eosfileaccess) +
                 (c.blExisting ? " existing" : " missing"));
    const std::string strFile = P(std::to_string(iCase++));
    ASSERT_TRUE(!c.blExisting || ostest::WriteFile(strFile, kContent));
    COsFile osfile;
    EXPECT_EQ(c.eosstsExpected, osfile.Open(strFile.c_str(), c.eosfileopen, c.eosfileaccess, 2));
    uint32_t u32Written = 0;
    const bool blOpen = (c.eosstsExpected == 0);
    EXPECT_EQ(blOpen ? 0u : 3u, osfile.Write("HE", 2, &u32Written));
    EXPECT_EQ(0u, osfile.Close());
    const bool blReadOnly = (c.eosfileaccess == EOSFILEACCESS_READ) && (c.eosfileopen != EOSFILEOPEN_CREATE);
    EXPECT_EQ(blOpen && !blReadOnly ? 2u : 0u, u32Written);
    EXPECT_EQ(c.szAfter ? c.szAfter : "<missing>",
              ostest::FileExists(strFile) ? ostest::ReadFile(strFile) : "<missing>");
  }
}

TEST_F(CosFile, OpenArgumentChecks)
{
  const std::string strFile = P("f");
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

// Writing never goes through a link, not even a dangling one (the refusals
// themselves are the safe open's, tested with the configuration dump).
TEST_F(CosFile, WritingIsRefusedOnLinks)
{
  ASSERT_EQ(0, symlink(P("created").c_str(), P("dangling").c_str()));
  COsFile osfile;
  EXPECT_EQ(258u, osfile.Open(P("dangling").c_str(), EOSFILEOPEN_CREATE, EOSFILEACCESS_WRITE, 2));
  EXPECT_FALSE(ostest::FileExists(P("created")));
}

TEST_F(CosFile, ExclusiveShareLocksOutASecondObject)
{
  const std::string strFile = P("locked");
  COsFile osfileFirst;
  COsFile osfileSecond;
  ASSERT_EQ(0u, osfileFirst.Open(strFile.c_str(), 1, 3, 1));
  EXPECT_EQ(260u, osfileSecond.Open(strFile.c_str(), 2, 3, 1));
  osfileFirst.Close();
  EXPECT_EQ(0u, osfileSecond.Open(strFile.c_str(), 2, 3, 1));
}

TEST_F(CosFile, TemporaryFileGoesAtClose)
{
  COsFile osfile;
  ASSERT_EQ(0u, osfile.Open(P("tmp").c_str(), 4, 3, 2));
  EXPECT_TRUE(ostest::FileExists(P("tmp")));
  EXPECT_EQ(0u, osfile.Close());
  EXPECT_FALSE(ostest::FileExists(P("tmp")));
}

TEST_F(CosFile, StreamIsClosedOnExec)
{
  COsFile osfile;
  ASSERT_EQ(0u, osfile.Open(P("cloexec").c_str(), 1, 2, 2));
  int iFound = 0;  // descriptors of the file with the flag
  std::error_code ec;
  for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd", ec))
  {
    iFound += (std::filesystem::read_symlink(entry.path(), ec).filename() == "cloexec") &&
              (fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC);
  }
  EXPECT_EQ(1, iFound);
}

// Below the configured root path a file gets the configured mode, read as C
// reads a number ("511" is 0777), whatever the process's mask; also after a
// failed open of an existing file, but never through a link. (The rule
// itself is shared with the configuration dump and tested there.)
TEST_F(CosFile, NameUnderTheRootPathGetsTheConfiguredMode)
{
  const std::string strRoot = P("root");
  OsCfgVersion oscfgversion{};
  COsCfg oscfg("filetest", EOSCFGENTITY_UTILITY, "", &oscfgversion, false, nullptr);
  ASSERT_EQ(0u, oscfg.Set(1, 10, strRoot.c_str()));
  ASSERT_EQ(0u, oscfg.Set(1, 99, "511"));
  ASSERT_TRUE(ostest::MakeDirectory(strRoot));
  ASSERT_TRUE(ostest::WriteFile(P("root/old"), "x") && ostest::WriteFile(P("target"), "x"));
  ASSERT_EQ(0, chmod(P("root/old").c_str(), 0600) + chmod(P("target").c_str(), 0600));
  ASSERT_EQ(0, symlink(P("target").c_str(), P("root/link").c_str()));
  const mode_t modeOld = umask(077);
  COsFile osfile;
  EXPECT_EQ(0u, osfile.Open(P("root/new").c_str(), 1, 2, 2));
  osfile.Close();
  EXPECT_EQ(1u, osfile.Open(P("root/old").c_str(), 5, 2, 2));
  EXPECT_EQ(1u, osfile.Open(P("root/link").c_str(), 5, 2, 2));
  umask(modeOld);
  EXPECT_EQ(0777, ostest::ModeOf(P("root/new")));
  EXPECT_EQ(0777, ostest::ModeOf(P("root/old")));
  EXPECT_EQ(0600, ostest::ModeOf(P("target")));
}

TEST_F(CosFile, WriteAndPrintfCheckAndCount)
{
  COsFile osfile;
  EXPECT_EQ(3u, osfile.Write("x", 1, nullptr));  // not open
  ASSERT_EQ(0u, osfile.Open(P("f").c_str(), 1, 2, 2));
  COsMem *posmemOld = g_posmem;
  g_posmem = nullptr;
  EXPECT_EQ(-1, osfile.Printf("x"));  // no memory service for the buffer
  g_posmem = posmemOld;
  uint32_t u32Written = 99;
  EXPECT_EQ(0u, osfile.Write("abc", 3, &u32Written));
  EXPECT_EQ(3u, u32Written);
  EXPECT_EQ(7, osfile.Printf("%d-%s\r\n", 42, "bc"));
  EXPECT_EQ(-1, osfile.Printf(nullptr));
  // The format buffer is 64 KiB with its terminator.
  std::string strFits(65535, 'a');
  EXPECT_EQ(65535, osfile.Printf("%s", strFits.c_str()));
  EXPECT_EQ(-1, osfile.Printf("%s", std::string(65536, 'b').c_str()));
  osfile.Close();
  EXPECT_EQ("abc42-bc\r\n" + strFits, ostest::ReadFile(P("f")));
}

// Missing components are made with the bits 0777 whatever the process's
// mask, which stays; relative names and both separators are taken.
TEST_F(CosFile, CreateMakesEveryComponentWithFullPermissions)
{
  ASSERT_EQ(0, mkdir(P("a").c_str(), 0700));
  ostest::ScopedCwd cwd(m_tempdir.Path());
  const mode_t modeOld = umask(077);
  const EOSSTS eossts = COsFile::Create("./a\\b//c/", nullptr);
  const mode_t modeDuring = umask(modeOld);
  EXPECT_EQ(0u, eossts);
  EXPECT_EQ(077u, modeDuring) << "the process's mask is restored";
  EXPECT_EQ(0700, ostest::ModeOf(P("a"))) << "an existing component is left alone";
  EXPECT_EQ(0777, ostest::ModeOf(P("a/b")));
  EXPECT_EQ(0777, ostest::ModeOf(P("a/b/c")));
  EXPECT_EQ(261u, COsFile::Create("a/b/c", nullptr));
  EXPECT_EQ(261u, COsFile::Create("/", nullptr));
  EXPECT_EQ(1u, COsFile::Create(nullptr, nullptr));
  ASSERT_TRUE(ostest::WriteFile(P("file"), "x"));
  EXPECT_EQ(1u, COsFile::Create("file/sub", nullptr));
}

TEST_F(CosFile, CreateStopsAfterSixtyFourComponents)
{
  // The first 64 components (counted from the root) exist, no more.
  std::string strLast = m_tempdir.Path();
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

// Exists is a search (tested with FindFirst) that keeps no stream.
TEST_F(CosFile, ExistsFindsFilesDirectoriesAndPatterns)
{
  ASSERT_TRUE(ostest::WriteFile(P("a.xml"), "x"));
  ASSERT_EQ(0, symlink("nowhere", P("dangling").c_str()));
  EXPECT_TRUE(COsFile::Exists(m_tempdir.Path().c_str()));
  EXPECT_TRUE(COsFile::Exists(P("?.xml").c_str()));
  EXPECT_FALSE(COsFile::Exists(P("*.txt").c_str()));
  EXPECT_FALSE(COsFile::Exists(P("dangling").c_str()));
  EXPECT_FALSE(COsFile::Exists(nullptr));
}

}  // namespace
