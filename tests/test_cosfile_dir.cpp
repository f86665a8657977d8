// Directory search, file copy, tree copy with its callback verdicts, and tree
// removal of COsFile, including trees that hold symbolic links, loops and
// more depth than the walk allows.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "cosfile_testutil.h"
#include "os_cosfile.h"

namespace
{

// --- Directory search ---------------------------------------------------------

TEST(CosFileFind, PathWithoutWildcardDescribesOneEntry)
{
  ostest::TempDir tempdir;
  std::string strFile = tempdir / "Data.TXT";
  ASSERT_TRUE(ostest::WriteFile(strFile, "12345"));
  ASSERT_EQ(0, chmod(strFile.c_str(), 0444));
  // Accessed 2001-09-09 01:46:40 UTC (a Sunday), written 2024-02-29
  // 13:14:15 UTC (a Thursday).
  struct timeval atimeval[2] = {{1000000000, 0}, {1709212455, 0}};
  ASSERT_EQ(0, utimes(strFile.c_str(), atimeval));
  OsFileInfo osfileinfo{};
  ASSERT_EQ(0u, COsFile::FindFirst(strFile.c_str(), &osfileinfo));
  EXPECT_STREQ("Data.TXT", osfileinfo.szName);
  EXPECT_STREQ("data.txt", osfileinfo.szNameLower);
  EXPECT_EQ(5u, osfileinfo.u32Size);
  EXPECT_EQ(2u, osfileinfo.eosfiletype);
  EXPECT_EQ(1u, osfileinfo.eosfileaccess);
  auto fields = [](const OsTimeRecord &a_r)
  {
    return std::vector<int>{a_r.wYear, a_r.wMonth,  a_r.wDayOfWeek, a_r.wDay,
                            a_r.wHour, a_r.wMinute, a_r.wSecond,    a_r.wMilliseconds};
  };
  EXPECT_EQ((std::vector<int>{2024, 2, 4, 29, 13, 14, 15, 0}), fields(osfileinfo.ostimerecordWrite));
  EXPECT_EQ((std::vector<int>{2001, 9, 0, 9, 1, 46, 40, 0}), fields(osfileinfo.ostimerecordAccess));
  ASSERT_EQ(0, chmod(strFile.c_str(), 0600));
  ASSERT_EQ(0u, COsFile::FindFirst(strFile.c_str(), &osfileinfo));
  EXPECT_EQ(3u, osfileinfo.eosfileaccess);
  ASSERT_EQ(0, mkfifo((tempdir / "fifo").c_str(), 0600));
  ASSERT_EQ(0u, COsFile::FindFirst((tempdir / "fifo").c_str(), &osfileinfo));
  EXPECT_EQ(3u, osfileinfo.eosfiletype);
  // A path without wildcard names one entry and holds no stream.
  ASSERT_TRUE(ostest::MakeDirectory(tempdir / "sub"));
  ASSERT_EQ(0u, COsFile::FindFirst((tempdir / "sub").c_str(), &osfileinfo));
  EXPECT_STREQ("sub", osfileinfo.szName);
  EXPECT_EQ(ostest::Physical(tempdir / "sub"), osfileinfo.szFullPath);
  EXPECT_EQ(1u, osfileinfo.eosfiletype);
  EXPECT_EQ(nullptr, osfileinfo.pvDirectory);
  EXPECT_EQ(257u, COsFile::FindNext(&osfileinfo));
  EXPECT_EQ(0u, COsFile::FindClose(&osfileinfo));
}

// The names a wildcard walk yields; each full path must lie in the searched
// directory, and the stream is closed at the end.
std::set<std::string> Names(const std::string &a_strDirectory, const char *a_szPattern)
{
  OsFileInfo osfileinfo{};
  std::set<std::string> setNames;
  for (EOSSTS eossts = COsFile::FindFirst((a_strDirectory + "/" + a_szPattern).c_str(), &osfileinfo); !eossts;
       eossts = COsFile::FindNext(&osfileinfo))
  {
    setNames.insert(osfileinfo.szName);
    EXPECT_EQ(ostest::Physical(a_strDirectory) + "/" + osfileinfo.szName, osfileinfo.szFullPath);
    EXPECT_STREQ(a_szPattern, osfileinfo.szPattern);
  }
  EXPECT_EQ(nullptr, osfileinfo.pvDirectory);
  EXPECT_EQ(257u, COsFile::FindNext(&osfileinfo));
  return setNames;
}

TEST(CosFileFind, WildcardWalksMatchingEntriesAndCloseClearsTheRecord)
{
  ostest::TempDir tempdir;
  for (const char *sz : {"a.txt", "b.txt", "c.log", "d.txt.bak"})
  {
    ASSERT_TRUE(ostest::WriteFile(tempdir / sz, "x"));
  }
  EXPECT_EQ((std::set<std::string>{"a.txt", "b.txt"}), Names(tempdir.Path(), "*.txt"));
  EXPECT_EQ((std::set<std::string>{".", "..", "a.txt", "b.txt", "c.log", "d.txt.bak"}),
            Names(tempdir.Path(), "*"));
  // Reuse with an open stream, then close half-way.
  OsFileInfo osfileinfo{};
  ASSERT_EQ(0u, COsFile::FindFirst((tempdir / "*").c_str(), &osfileinfo));
  ASSERT_NE(nullptr, osfileinfo.pvDirectory);
  ASSERT_EQ(0u, COsFile::FindFirst((tempdir / "c*").c_str(), &osfileinfo));
  EXPECT_STREQ("c.log", osfileinfo.szName);
  EXPECT_EQ(0u, COsFile::FindClose(&osfileinfo));
  OsFileInfo osfileinfoZero{};
  EXPECT_EQ(0, memcmp(&osfileinfo, &osfileinfoZero, sizeof(osfileinfo)));
  EXPECT_EQ(0u, COsFile::FindClose(&osfileinfo));
}

TEST(CosFileFind, NothingFoundAndBadArguments)
{
  ostest::ScopedFileServices services;
  ostest::TempDir tempdir;
  OsFileInfo osfileinfo{};
  EXPECT_EQ(257u, COsFile::FindFirst((tempdir / "*.none").c_str(), &osfileinfo));
  EXPECT_TRUE(services.Logged("readdir failed...<"));
  EXPECT_EQ(nullptr, osfileinfo.pvDirectory);
  EXPECT_EQ(257u, COsFile::FindFirst((tempdir / "missing/*").c_str(), &osfileinfo));
  EXPECT_EQ(257u, COsFile::FindFirst((tempdir / "missing").c_str(), &osfileinfo));
  EXPECT_EQ(3u, COsFile::FindFirst(nullptr, &osfileinfo));
  EXPECT_TRUE(services.Logged("a_szFilename is null..."));
  EXPECT_EQ(3u, COsFile::FindFirst("x", nullptr));
  EXPECT_TRUE(services.Logged("a_posfileinfo is NULL..."));
  EXPECT_EQ(3u, COsFile::FindNext(nullptr));
  EXPECT_EQ(3u, COsFile::FindClose(nullptr));
}

// --- File copy --------------------------------------------------------------------

TEST(CosFileCopy, CopiesLargeFilesExactly)
{
  ostest::ScopedFileServices services;
  ostest::TempDir tempdir;
  std::string strData;
  for (int ii = 0; ii < 5 * 1024 * 1024 + 17; ii++)
  {
    strData += static_cast<char>((ii * 7) ^ (ii >> 9));
  }
  ASSERT_TRUE(ostest::WriteFile(tempdir / "big", strData));
  ASSERT_TRUE(ostest::WriteFile(tempdir / "copy", "old content that is longer"));
  EXPECT_EQ(0u, COsFile::Copy((tempdir / "big").c_str(), (tempdir / "copy").c_str()));
  EXPECT_TRUE(ostest::ReadFile(tempdir / "copy") == strData);
  ASSERT_TRUE(ostest::WriteFile(tempdir / "empty", ""));
  EXPECT_EQ(0u, COsFile::Copy((tempdir / "empty").c_str(), (tempdir / "copy").c_str()));
  EXPECT_EQ("", ostest::ReadFile(tempdir / "copy"));
}

TEST(CosFileCopy, Failures)
{
  ostest::ScopedFileServices services;
  ostest::TempDir tempdir;
  ASSERT_TRUE(ostest::WriteFile(tempdir / "src", "x"));
  EXPECT_EQ(3u, COsFile::Copy(nullptr, "x"));
  EXPECT_TRUE(services.Logged("a_szFilename is null..."));
  EXPECT_EQ(3u, COsFile::Copy("x", nullptr));
  EXPECT_TRUE(services.Logged("a_szNewFilename is NULL..."));
  EXPECT_EQ(1u, COsFile::Copy((tempdir / "missing").c_str(), (tempdir / "dst").c_str()));
  EXPECT_TRUE(services.Logged("CopyFile failed..."));
  EXPECT_TRUE(services.Logged("src: " + tempdir / "missing"));
  EXPECT_TRUE(services.Logged("dst: " + tempdir / "dst"));
  EXPECT_FALSE(ostest::FileExists(tempdir / "dst"));
  EXPECT_EQ(1u, COsFile::Copy((tempdir / "src").c_str(), (tempdir / "nodir/dst").c_str()));
  // A FIFO is not read (it would block); the copy fails at once.
  ASSERT_EQ(0, mkfifo((tempdir / "fifo").c_str(), 0600));
  EXPECT_EQ(1u, COsFile::Copy((tempdir / "fifo").c_str(), (tempdir / "dst").c_str()));
}

TEST(CosFileCopy, NeverWritesThroughALinkOrHardLinkAtTheTarget)
{
  ostest::TempDir tempdir;
  ASSERT_TRUE(ostest::WriteFile(tempdir / "src", "new"));
  ASSERT_TRUE(ostest::WriteFile(tempdir / "victim", "precious"));
  ASSERT_EQ(0, symlink("victim", (tempdir / "dst").c_str()));
  EXPECT_EQ(0u, COsFile::Copy((tempdir / "src").c_str(), (tempdir / "dst").c_str()));
  EXPECT_FALSE(ostest::IsLink(tempdir / "dst"));
  EXPECT_EQ("new", ostest::ReadFile(tempdir / "dst"));
  EXPECT_EQ("precious", ostest::ReadFile(tempdir / "victim"));
  ASSERT_EQ(0, link((tempdir / "victim").c_str(), (tempdir / "hard").c_str()));
  EXPECT_EQ(0u, COsFile::Copy((tempdir / "src").c_str(), (tempdir / "hard").c_str()));
  EXPECT_EQ("new", ostest::ReadFile(tempdir / "hard"));
  EXPECT_EQ("precious", ostest::ReadFile(tempdir / "victim"));
}

// --- Tree copy ------------------------------------------------------------------

// Records every callback call and answers from a table of name suffixes.
struct Recorder
{
  std::vector<std::string> vecFiles;                       // names of file entries
  std::vector<std::string> vecDirectories;                 // paths of directory entries
  std::vector<std::pair<std::string, EOSSTS>> vecAnswers;  // suffix of the path -> answer
  bool blBadRecord = false;
};

EOSSTS RecordingCallback(OsFileCopyDirectoryInfo *a_pinfo)
{
  Recorder *precorder = static_cast<Recorder *>(a_pinfo->pvContext);
  if ((a_pinfo->u32Size != 16) || !a_pinfo->szPath || (a_pinfo->szPath[0] != '/'))
  {
    precorder->blBadRecord = true;
  }
  std::string strPath = a_pinfo->szPath;
  if (a_pinfo->szName)
  {
    precorder->vecFiles.push_back(a_pinfo->szName);
    if (strPath.substr(strPath.rfind('/') + 1) != a_pinfo->szName)
    {
      precorder->blBadRecord = true;
    }
  }
  else
  {
    precorder->vecDirectories.push_back(strPath);
  }
  for (const auto &answer : precorder->vecAnswers)
  {
    if ((strPath.size() >= answer.first.size()) &&
        !strPath.compare(strPath.size() - answer.first.size(), answer.first.size(), answer.first))
    {
      return answer.second;
    }
  }
  return 0;
}

class CosFileCopyDirectory : public ::testing::Test
{
protected:
  void SetUp() override
  {
    for (const char *sz : {"", "sub", "sub/deeper", "empty"})
    {
      ASSERT_TRUE(ostest::MakeDirectory(Src(sz)));
    }
    for (const char *sz : {"a.ini", "b.txt", "sub/c.ini", "sub/deeper/d.txt"})
    {
      ASSERT_TRUE(ostest::WriteFile(Src(sz), std::string(1, sz[strlen(sz) - 5])));
    }
  }
  std::string Src(const std::string &a_str = "") const { return m_tempdir / ("src/" + a_str); }
  std::string Dst(const std::string &a_str = "") const { return m_tempdir / ("dst/" + a_str); }
  EOSSTS Run(bool a_blRecursive, Recorder *a_precorder, const std::string &a_strDestination = "")
  {
    return COsFile::CopyDirectory(Src().c_str(),
                                  (a_strDestination.empty() ? Dst() : a_strDestination).c_str(),
                                  a_blRecursive, a_precorder ? RecordingCallback : nullptr, a_precorder);
  }

  ostest::ScopedFileServices m_services;
  ostest::TempDir m_tempdir;
};

// The callback's verdicts: 8 skips an entry, 6 copies a directory whole
// without asking about what is inside; 6 for a file is a failure that does
// not stop the walk. A destination directory is made only on the way to a
// copied file, except without a callback, when everything is copied.
TEST_F(CosFileCopyDirectory, CallbackVerdicts)
{
  const std::vector<std::string> vecAll{"a.ini",     "b.txt",       "empty/",          "sub/",
                                        "sub/c.ini", "sub/deeper/", "sub/deeper/d.txt"};
  const struct
  {
    bool blCallback;
    bool blRecursive;
    std::vector<std::pair<std::string, EOSSTS>> vecAnswers;
    EOSSTS eossts;
    std::vector<std::string> vecCopied;
    size_t sizetOffered;  // files offered to the callback
  } acase[] = {
      {false, true, {}, 0, vecAll, 0},
      {true, true, {{"", 8}}, 0, {}, 2},  // only the top files and directories are offered
      {true, true, {{".txt", 8}, {".ini", 8}}, 0, {}, 4},
      {true, true, {{".txt", 8}}, 0, {"a.ini", "sub/", "sub/c.ini"}, 4},
      {true,
       true,
       {{"/sub", 6}, {".txt", 8}},
       0,
       {"a.ini", "sub/", "sub/c.ini", "sub/deeper/", "sub/deeper/d.txt"},
       2},
      {true, true, {{"b.txt", 6}}, 6, {"a.ini", "sub/", "sub/c.ini", "sub/deeper/", "sub/deeper/d.txt"}, 4},
      {true, false, {}, 0, {"a.ini", "b.txt"}, 2},
  };
  int iCase = 0;
  for (const auto &c : acase)
  {
    SCOPED_TRACE(iCase);
    std::string strDestination = m_tempdir / ("dst" + std::to_string(iCase++));
    Recorder recorder;
    recorder.vecAnswers = c.vecAnswers;
    EXPECT_EQ(c.eossts, Run(c.blRecursive, c.blCallback ? &recorder : nullptr, strDestination));
    EXPECT_EQ(c.vecCopied, ostest::Listing(strDestination));
    EXPECT_EQ(!c.vecCopied.empty(), ostest::IsDirectory(strDestination))
        << "no destination when nothing is copied";
    EXPECT_EQ(c.sizetOffered, recorder.vecFiles.size());
    EXPECT_FALSE(recorder.blBadRecord);
    if (!c.blRecursive)
    {
      EXPECT_TRUE(recorder.vecDirectories.empty());
    }
  }
  EXPECT_EQ("d", ostest::ReadFile(m_tempdir / "dst0/sub/deeper/d.txt"));
  EXPECT_EQ(0777, ostest::ModeOf(m_tempdir / "dst0/empty"));
  EXPECT_TRUE(m_services.Logged("Unexpected callback status: 6"));
  EXPECT_TRUE(m_services.Logged("OsFileCopy failed...<" + ostest::Physical(Src()) + "/b.txt> <" +
                                m_tempdir / "dst5/b.txt>"));
  // Without a callback an empty source still makes the destination.
  std::string strEmpty = m_tempdir / "nothing";
  ASSERT_TRUE(ostest::MakeDirectory(strEmpty));
  EXPECT_EQ(0u, COsFile::CopyDirectory(strEmpty.c_str(), Dst().c_str(), true, nullptr, nullptr));
  EXPECT_TRUE(ostest::IsDirectory(Dst()));
}

TEST_F(CosFileCopyDirectory, RecordCarriesContextAndAbsolutePaths)
{
  Recorder recorder;
  EXPECT_EQ(0u, Run(true, &recorder));
  EXPECT_FALSE(recorder.blBadRecord);
  std::set<std::string> setFiles(recorder.vecFiles.begin(), recorder.vecFiles.end());
  EXPECT_EQ((std::set<std::string>{"a.ini", "b.txt", "c.ini", "d.txt"}), setFiles);
  std::string strSource = ostest::Physical(Src());
  std::set<std::string> setDirectories(recorder.vecDirectories.begin(), recorder.vecDirectories.end());
  EXPECT_EQ((std::set<std::string>{strSource + "/sub", strSource + "/sub/deeper", strSource + "/empty"}),
            setDirectories);
}

TEST_F(CosFileCopyDirectory, FirstFailureWins)
{
  Recorder recorder;
  recorder.vecAnswers = {{"/deeper", 5}, {"d.txt", 9}, {"b.txt", 7}, {"/empty", 7}};
  EOSSTS eossts = Run(true, &recorder);
  // Whichever of the three answers the directory order meets first is kept.
  EXPECT_TRUE(eossts == 5 || eossts == 7) << eossts;
  EXPECT_FALSE(ostest::FileExists(Dst("sub/deeper")));
  EXPECT_EQ("c", ostest::ReadFile(Dst("sub/c.ini")));
  recorder.vecAnswers = {{"/empty", 11}};
  ASSERT_TRUE(ostest::WriteFile(Src("empty/e.ini"), "e"));
  EXPECT_EQ(11u, Run(true, &recorder));
  EXPECT_TRUE(m_services.Logged("Unexpected callback status: 11"));
  EXPECT_FALSE(ostest::FileExists(Dst("empty/e.ini")));
}

TEST_F(CosFileCopyDirectory, ExistingDestinationIsOverwrittenNotFollowed)
{
  ASSERT_TRUE(ostest::MakeDirectory(Dst()));
  ASSERT_TRUE(ostest::WriteFile(Dst("a.ini"), "old and long"));
  std::string strVictim = m_tempdir / "victim";
  ASSERT_TRUE(ostest::WriteFile(strVictim, "precious"));
  ASSERT_EQ(0, symlink(strVictim.c_str(), Dst("b.txt").c_str()));
  std::string strOutside = m_tempdir / "outside";
  ASSERT_TRUE(ostest::MakeDirectory(strOutside));
  ASSERT_EQ(0, symlink(strOutside.c_str(), Dst("sub").c_str()));
  EOSSTS eossts = Run(true, nullptr);
  EXPECT_EQ("a", ostest::ReadFile(Dst("a.ini")));
  EXPECT_EQ("b", ostest::ReadFile(Dst("b.txt")));
  EXPECT_EQ("precious", ostest::ReadFile(strVictim));
  // The planted directory link is not entered: nothing lands outside.
  EXPECT_FALSE(ostest::FileExists(strOutside + "/c.ini"));
  EXPECT_NE(0u, eossts);
}

TEST_F(CosFileCopyDirectory, DestinationThatIsALinkIsRefused)
{
  std::string strOutside = m_tempdir / "outside";
  ASSERT_TRUE(ostest::MakeDirectory(strOutside));
  ASSERT_EQ(0, symlink(strOutside.c_str(), (m_tempdir / "dst").c_str()));
  EXPECT_NE(0u, Run(true, nullptr));
  EXPECT_TRUE(m_services.Logged("OsFileCreateDirectory failed...<"));
  EXPECT_FALSE(ostest::FileExists(strOutside + "/a.ini"));
}

TEST_F(CosFileCopyDirectory, LinksInsideTheTreeAreFollowedLinksOutsideSkipped)
{
  std::string strOutside = m_tempdir / "outside";
  ASSERT_TRUE(ostest::MakeDirectory(strOutside));
  ASSERT_TRUE(ostest::WriteFile(strOutside + "/secret.ini", "secret"));
  ASSERT_EQ(0, symlink(strOutside.c_str(), Src("outdir").c_str()));
  ASSERT_EQ(0, symlink((strOutside + "/secret.ini").c_str(), Src("outfile.ini").c_str()));
  ASSERT_EQ(0, symlink("../a.ini", Src("sub/inside.ini").c_str()));
  ASSERT_EQ(0, symlink("sub/deeper", Src("indir").c_str()));
  ASSERT_EQ(0, symlink("nowhere", Src("dangling.ini").c_str()));
  Recorder recorder;
  EXPECT_EQ(0u, Run(true, &recorder));
  EXPECT_EQ((std::vector<std::string>{"a.ini", "b.txt", "indir/", "indir/d.txt", "sub/", "sub/c.ini",
                                      "sub/deeper/", "sub/deeper/d.txt", "sub/inside.ini"}),
            ostest::Listing(Dst()));
  EXPECT_TRUE(m_services.Logged("<" + ostest::Physical(Src()) + "/outfile.ini>"));
  EXPECT_EQ("a", ostest::ReadFile(Dst("sub/inside.ini")));
  for (const std::string &str : recorder.vecFiles)
  {
    EXPECT_TRUE(str != "secret.ini" && str != "outfile.ini") << str;
  }
}

TEST_F(CosFileCopyDirectory, LinkLoopTerminatesWithAFailure)
{
  ASSERT_EQ(0, symlink("..", Src("sub/up").c_str()));
  ASSERT_EQ(0, symlink(".", Src("self").c_str()));
  EOSSTS eossts = Run(true, nullptr);
  EXPECT_EQ(1u, eossts);
  EXPECT_TRUE(m_services.Logged("Directory loop"));
  EXPECT_EQ("d", ostest::ReadFile(Dst("sub/deeper/d.txt")));
  EXPECT_EQ("a", ostest::ReadFile(Dst("a.ini")));
}

TEST_F(CosFileCopyDirectory, TooDeepTreeTerminatesWithAFailure)
{
  std::string strPath = Src("deep");
  for (int ii = 0; ii < 80; ii++)
  {
    ASSERT_TRUE(ostest::MakeDirectory(strPath)) << strPath;
    ASSERT_TRUE(ostest::WriteFile(strPath + "/f.ini", "f"));
    strPath += "/d";
  }
  Recorder recorder;
  EXPECT_EQ(1u, Run(true, &recorder));
  EXPECT_EQ("f", ostest::ReadFile(Dst("deep/d/d/d/f.ini")));
  EXPECT_EQ("c", ostest::ReadFile(Dst("sub/c.ini")));
}

TEST_F(CosFileCopyDirectory, PathsLongerThanTheBuffersAreFailures)
{
  std::string strName(100, 'n');
  std::string strPath = Src();
  for (int ii = 0; ii < 6; ii++)
  {
    strPath += "/" + strName;
    ASSERT_TRUE(ostest::MakeDirectory(strPath));
    ASSERT_TRUE(ostest::WriteFile(strPath + "/f.ini", "f"));
  }
  EXPECT_EQ(2u, Run(true, nullptr));
  EXPECT_TRUE(m_services.Logged("Path too long"));
  EXPECT_EQ("f", ostest::ReadFile(Dst(strName + "/f.ini")));
  EXPECT_EQ("a", ostest::ReadFile(Dst("a.ini")));
}

TEST_F(CosFileCopyDirectory, FifoIsReportedNotRead)
{
  ASSERT_EQ(0, mkfifo(Src("pipe").c_str(), 0600));
  Recorder recorder;
  EXPECT_EQ(1u, Run(true, &recorder));
  EXPECT_TRUE(m_services.Logged("OsFileCopy failed...<" + ostest::Physical(Src()) + "/pipe>"));
  EXPECT_EQ("a", ostest::ReadFile(Dst("a.ini")));
}

TEST_F(CosFileCopyDirectory, MissingSourceWithCallbackDoesNothing)
{
  Recorder recorder;
  EXPECT_EQ(0u, COsFile::CopyDirectory((m_tempdir / "missing").c_str(), Dst().c_str(), true,
                                       RecordingCallback, &recorder));
  EXPECT_FALSE(ostest::FileExists(Dst()));
  EXPECT_EQ(3u, COsFile::CopyDirectory(nullptr, Dst().c_str(), true, nullptr, nullptr));
}

// --- Removal --------------------------------------------------------------------

class CosFileDelete : public ::testing::Test
{
protected:
  void SetUp() override
  {
    ASSERT_TRUE(ostest::MakeDirectory(Tree()) && ostest::MakeDirectory(Tree("sub")) &&
                ostest::MakeDirectory(Outside()));
    for (const char *sz : {"f.log", "g.txt", "sub/h.log"})
    {
      ASSERT_TRUE(ostest::WriteFile(Tree(sz), "x"));
    }
    ASSERT_TRUE(ostest::WriteFile(Outside("keep"), "keep"));
  }
  std::string Tree(const std::string &a_str = "") const { return m_tempdir / ("tree/" + a_str); }
  std::string Outside(const std::string &a_str = "") const { return m_tempdir / ("outside/" + a_str); }

  ostest::ScopedFileServices m_services;
  ostest::TempDir m_tempdir;
};

TEST_F(CosFileDelete, TypeMustMatch)
{
  EXPECT_EQ(1u, COsFile::Delete(Tree().c_str(), 2, 1, false));
  EXPECT_EQ(1u, COsFile::Delete(Tree("f.log").c_str(), 1, 1, false));
  EXPECT_EQ(1u, COsFile::Delete(Tree("f.log").c_str(), 0, 1, false));
  EXPECT_EQ(1u, COsFile::Delete(Tree("missing").c_str(), 2, 0, false));
  EXPECT_TRUE(ostest::FileExists(Tree("f.log")));
  EXPECT_TRUE(ostest::FileExists(Tree("sub/h.log")));
  EXPECT_EQ(0u, COsFile::Delete(Tree("f.log").c_str(), 2, 0, false));
  EXPECT_FALSE(ostest::FileExists(Tree("f.log")));
  ASSERT_EQ(0, mkfifo(Tree("fifo").c_str(), 0600));
  EXPECT_EQ(1u, COsFile::Delete(Tree("fifo").c_str(), 3, 0, false)) << "other types are not removed by name";
}

TEST_F(CosFileDelete, DirectoryNeedsTheRecursiveFlagWhenNotEmpty)
{
  EXPECT_EQ(1u, COsFile::Delete(Tree().c_str(), 1, 0, false));
  EXPECT_TRUE(m_services.Logged("RemoveDirectory failed..."));
  EXPECT_TRUE(ostest::FileExists(Tree("g.txt")));
  ASSERT_TRUE(ostest::MakeDirectory(Tree("void")));
  EXPECT_EQ(0u, COsFile::Delete(Tree("void").c_str(), 1, 0, false));
  ASSERT_EQ(0, mkfifo(Tree("sub/fifo").c_str(), 0600));
  ASSERT_EQ(0, symlink("nowhere", Tree("sub/dangling").c_str()));
  std::string strPath = Tree("deep");
  for (int ii = 0; ii < 100; ii++)
  {
    ASSERT_TRUE(ostest::MakeDirectory(strPath));
    strPath += "/d";
  }
  EXPECT_EQ(0u, COsFile::Delete((Tree() + "/").c_str(), 1, 1, false));
  EXPECT_FALSE(ostest::FileExists(Tree()));
  EXPECT_TRUE(m_services.Logged("Delete: <" + Tree() + "/> 1 1"));
}

// A planted link to a directory outside the tree is removed, not entered; a
// link named as the path is removed as a link, its type being that of what
// it leads to.
TEST_F(CosFileDelete, LinksAreRemovedNotFollowed)
{
  ASSERT_EQ(0, symlink(Outside().c_str(), Tree("sub/planted").c_str()));
  ASSERT_EQ(0, symlink(Outside("keep").c_str(), Tree("filelink").c_str()));
  EXPECT_EQ(0u, COsFile::Delete(Tree().c_str(), 1, 1, false));
  EXPECT_FALSE(ostest::FileExists(Tree()));
  EXPECT_EQ("keep", ostest::ReadFile(Outside("keep")));
  std::string strLink = m_tempdir / "link";
  ASSERT_EQ(0, symlink(Outside().c_str(), strLink.c_str()));
  EXPECT_EQ(1u, COsFile::Delete(strLink.c_str(), 2, 1, false));
  EXPECT_EQ(0u, COsFile::Delete(strLink.c_str(), 1, 1, false));
  EXPECT_FALSE(ostest::IsLink(strLink));
  EXPECT_EQ("keep", ostest::ReadFile(Outside("keep")));
}

TEST_F(CosFileDelete, WildcardRemovesMatchesOnly)
{
  EXPECT_EQ(0u, COsFile::Delete(Tree("*.log").c_str(), 2, 0, true));
  EXPECT_FALSE(ostest::FileExists(Tree("f.log")));
  EXPECT_TRUE(ostest::FileExists(Tree("g.txt")));
  EXPECT_TRUE(ostest::FileExists(Tree("sub/h.log")));
  EXPECT_EQ(0u, COsFile::Delete(Tree("*.none").c_str(), 2, 0, true));
  // "*" also matches "." and "..": neither the tree nor its parent goes.
  EXPECT_EQ(0u, COsFile::Delete(Tree("*").c_str(), 1, 1, true));
  EXPECT_FALSE(ostest::FileExists(Tree("sub")));
  EXPECT_TRUE(ostest::FileExists(Tree("g.txt")));
  EXPECT_TRUE(ostest::IsDirectory(Tree()));
  EXPECT_EQ("keep", ostest::ReadFile(Outside("keep")));
}

TEST_F(CosFileDelete, BadArguments)
{
  EXPECT_EQ(3u, COsFile::Delete(nullptr, 2, 0, false));
  EXPECT_TRUE(m_services.Logged("a_szFilename is null..."));
  EXPECT_EQ(3u, COsFile::Delete(Tree("*.log").c_str(), 2, 0, false));
  EXPECT_TRUE(m_services.Logged("we don't support deleting with wildcards..."));
  EXPECT_TRUE(ostest::FileExists(Tree("f.log")));
  EXPECT_EQ(1u, COsFile::Delete("/", 1, 1, false));
  EXPECT_EQ(1u, COsFile::Delete((Tree() + "/.").c_str(), 1, 1, false));
  EXPECT_TRUE(ostest::FileExists(Tree("f.log")));
}

}  // namespace

// --- Links of other users on the way to a tree --------------------------------

// A directory "outside" with a file in it, a link "mine" to it owned by the
// process's user and a link "theirs" to it owned by another user (needs root
// to hand the link over).
class CosFileForeignLink : public ::testing::Test
{
protected:
  void SetUp() override
  {
    if (geteuid() != 0)
    {
      GTEST_SKIP() << "handing a link to another user needs root";
    }
    ASSERT_TRUE(ostest::MakeDirectory(m_tempdir / "outside"));
    ASSERT_TRUE(ostest::MakeDirectory(m_tempdir / "outside/tree"));
    ASSERT_TRUE(ostest::WriteFile(m_tempdir / "outside/tree/keep", "keep"));
    ASSERT_EQ(0, symlink((m_tempdir / "outside").c_str(), (m_tempdir / "mine").c_str()));
    ASSERT_EQ(0, symlink((m_tempdir / "outside").c_str(), (m_tempdir / "theirs").c_str()));
    ASSERT_EQ(0, lchown((m_tempdir / "theirs").c_str(), 65534, 65534));
  }

  ostest::ScopedFileServices m_services;
  ostest::TempDir m_tempdir;
};

TEST_F(CosFileForeignLink, DeleteDoesNotGoThroughIt)
{
  EXPECT_EQ(1u, COsFile::Delete((m_tempdir / "theirs/tree").c_str(), 1, 1, false));
  EXPECT_EQ("keep", ostest::ReadFile(m_tempdir / "outside/tree/keep"));
  EXPECT_EQ(0u, COsFile::Delete((m_tempdir / "mine/tree").c_str(), 1, 1, false));
  EXPECT_FALSE(ostest::FileExists(m_tempdir / "outside/tree"));
}

TEST_F(CosFileForeignLink, CreateAndCopyDoNotGoThroughIt)
{
  EXPECT_EQ(258u, COsFile::Create((m_tempdir / "theirs/new/dir").c_str(), nullptr));
  EXPECT_FALSE(ostest::FileExists(m_tempdir / "outside/new"));
  std::string strSource = m_tempdir / "source";
  ASSERT_TRUE(ostest::MakeDirectory(strSource));
  ASSERT_TRUE(ostest::WriteFile(strSource + "/a.ini", "a"));
  EXPECT_EQ(258u, COsFile::CopyDirectory(strSource.c_str(), (m_tempdir / "theirs/copy").c_str(), true,
                                         nullptr, nullptr));
  EXPECT_FALSE(ostest::FileExists(m_tempdir / "outside/copy"));
  EXPECT_EQ(1u, COsFile::Copy((strSource + "/a.ini").c_str(), (m_tempdir / "theirs/a.ini").c_str()));
  EXPECT_FALSE(ostest::FileExists(m_tempdir / "outside/a.ini"));
  // Nothing is read through it either.
  EXPECT_EQ(0u, COsFile::CopyDirectory((m_tempdir / "theirs/tree").c_str(), (m_tempdir / "copy").c_str(),
                                       true, nullptr, nullptr));
  EXPECT_FALSE(ostest::FileExists(m_tempdir / "copy/keep"));
  // The process's own links are followed.
  EXPECT_EQ(0u, COsFile::Create((m_tempdir / "mine/new/dir").c_str(), nullptr));
  EXPECT_TRUE(ostest::IsDirectory(m_tempdir / "outside/new/dir"));
  EXPECT_EQ(0u, COsFile::CopyDirectory(strSource.c_str(), (m_tempdir / "mine/copy").c_str(), true, nullptr,
                                       nullptr));
  EXPECT_EQ("a", ostest::ReadFile(m_tempdir / "outside/copy/a.ini"));
}
