// Directory search, file copy, tree copy with its callback verdicts, and tree
// removal of COsFile, including trees that hold symbolic links, loops and
// more depth than the walk allows.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "cosfile_testutil.h"
#include "os_cosfile.h"

namespace
{

// --- Directory search ---------------------------------------------------------

using CosFileDir = ostest::FileServicesTest;

TEST_F(CosFileDir, FindPathWithoutWildcardDescribesOneEntry)
{
  const std::string strFile = P("Data.TXT");
  ASSERT_TRUE(ostest::WriteFile(strFile, "12345"));
  OsFileInfo osfileinfo{};
  ASSERT_EQ(0u, COsFile::FindFirst(strFile.c_str(), &osfileinfo));
  EXPECT_STREQ("Data.TXT", osfileinfo.szName);
  EXPECT_STREQ("data.txt", osfileinfo.szNameLower);
  EXPECT_EQ(5u, osfileinfo.u32Size);
  EXPECT_EQ(2u, osfileinfo.eosfiletype);
  ASSERT_TRUE(ostest::MakeDirectory(P("sub")));
  // A path without wildcard names one entry and holds no stream.
  ASSERT_EQ(0u, COsFile::FindFirst(P("sub").c_str(), &osfileinfo));
  EXPECT_EQ(ostest::Physical(P("sub")), osfileinfo.szFullPath);
  EXPECT_EQ(1u, osfileinfo.eosfiletype);
  EXPECT_EQ(nullptr, osfileinfo.pvDirectory);
  EXPECT_EQ(257u, COsFile::FindNext(&osfileinfo));
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
  }
  EXPECT_EQ(nullptr, osfileinfo.pvDirectory);
  EXPECT_EQ(257u, COsFile::FindNext(&osfileinfo));
  return setNames;
}

TEST_F(CosFileDir, FindWildcardWalksMatchingEntriesAndCloseClearsTheRecord)
{
  for (const char *sz : {"a.txt", "b.txt", "c.log", "d.txt.bak"})
  {
    ASSERT_TRUE(ostest::WriteFile(P(sz), "x"));
  }
  EXPECT_EQ((std::set<std::string>{"a.txt", "b.txt"}), Names(m_tempdir.Path(), "*.txt"));
  EXPECT_EQ((std::set<std::string>{".", "..", "a.txt", "b.txt", "c.log", "d.txt.bak"}),
            Names(m_tempdir.Path(), "*"));
  // Closed half-way.
  OsFileInfo osfileinfo{};
  ASSERT_EQ(0u, COsFile::FindFirst(P("c*").c_str(), &osfileinfo));
  EXPECT_EQ(0u, COsFile::FindClose(&osfileinfo));
  OsFileInfo osfileinfoZero{};
  EXPECT_EQ(0, memcmp(&osfileinfo, &osfileinfoZero, sizeof(osfileinfo)));
  // Nothing found, and bad arguments.
  EXPECT_EQ(257u, COsFile::FindFirst(P("*.none").c_str(), &osfileinfo));
  EXPECT_EQ(3u, COsFile::FindFirst(nullptr, &osfileinfo));
  EXPECT_EQ(3u, COsFile::FindFirst("x", nullptr));
}

// --- File copy --------------------------------------------------------------------

TEST_F(CosFileDir, CopyIsExactInPlaceAndFailsOnBadSources)
{
  std::string strData;
  for (int ii = 0; ii < 5 * 1024 * 1024 + 17; ii++)
  {
    strData += static_cast<char>((ii * 7) ^ (ii >> 9));
  }
  ASSERT_TRUE(ostest::WriteFile(P("big"), strData));
  EXPECT_EQ(0u, COsFile::Copy(P("big").c_str(), P("copy").c_str()));
  EXPECT_TRUE(ostest::ReadFile(P("copy")) == strData);
  ASSERT_TRUE(ostest::WriteFile(P("empty"), ""));
  EXPECT_EQ(0u, COsFile::Copy(P("empty").c_str(), P("copy").c_str()));
  EXPECT_EQ("", ostest::ReadFile(P("copy")));
  // An existing target is truncated in place: it keeps its mode and its hard
  // links. A new one gets the process's default mode.
  ASSERT_TRUE(ostest::WriteFile(P("src"), "new"));
  ASSERT_EQ(0, chmod(P("copy").c_str(), 0640));
  ASSERT_EQ(0, link(P("copy").c_str(), P("second").c_str()));
  EXPECT_EQ(0u, COsFile::Copy(P("src").c_str(), P("copy").c_str()));
  EXPECT_EQ("new", ostest::ReadFile(P("second")));
  EXPECT_EQ(0640, ostest::ModeOf(P("copy")));
  mode_t modeOld = umask(027);
  EXPECT_EQ(0u, COsFile::Copy(P("src").c_str(), P("fresh").c_str()));
  umask(modeOld);
  EXPECT_EQ(0640, ostest::ModeOf(P("fresh")));
  // Bad sources and targets.
  EXPECT_EQ(3u, COsFile::Copy(nullptr, "x"));
  EXPECT_EQ(1u, COsFile::Copy(P("missing").c_str(), P("dst").c_str()));
  // A FIFO is not read (it would block); the copy fails at once.
  ASSERT_EQ(0, mkfifo(P("fifo").c_str(), 0600));
  EXPECT_EQ(1u, COsFile::Copy(P("fifo").c_str(), P("dst").c_str()));
  EXPECT_FALSE(ostest::FileExists(P("dst")));
}

// Another user's file with a second hard link, in a directory everyone can
// write: the copy is refused and nothing is written through. (The safe
// open's other refusals are tested with the dump.)
TEST_F(CosFileDir, CopyRefusesAHardLinkToAnotherUsersFile)
{
  if (geteuid() != 0)
  {
    GTEST_SKIP() << "handing a file to another user needs root";
  }
  ASSERT_EQ(0, chmod(m_tempdir.Path().c_str(), 0777));
  ASSERT_TRUE(ostest::WriteFile(P("src"), "new") && ostest::WriteFile(P("theirs"), "precious"));
  ASSERT_TRUE(ostest::GiveToNobody(P("theirs")));
  ASSERT_EQ(0, link(P("theirs").c_str(), P("hard").c_str()));
  EXPECT_EQ(1u, COsFile::Copy(P("src").c_str(), P("hard").c_str()));
  EXPECT_EQ("precious", ostest::ReadFile(P("theirs")));
}

TEST_F(CosFileDir, CopyHolesStayHoles)
{
  const off_t offSize = 8 << 20;
  int fd = open(P("sparse").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(1, pwrite(fd, "x", 1, offSize / 2));
  ASSERT_EQ(0, ftruncate(fd, offSize));
  close(fd);
  struct stat statFile;
  ASSERT_EQ(0, stat(P("sparse").c_str(), &statFile));
  if (statFile.st_blocks * 512 >= (1 << 20))
  {
    GTEST_SKIP() << "the file system keeps no holes";
  }
  EXPECT_EQ(0u, COsFile::Copy(P("sparse").c_str(), P("copy").c_str()));
  ASSERT_EQ(0, stat(P("copy").c_str(), &statFile));
  EXPECT_LT(statFile.st_blocks * 512, 1 << 20);
  EXPECT_TRUE(ostest::ReadFile(P("copy")) == ostest::ReadFile(P("sparse")));
}

// --- Tree copy ------------------------------------------------------------------

// Records every callback call and answers from a table of name suffixes.
struct Recorder
{
  size_t sizetFiles = 0;                                   // file entries offered
  size_t sizetDirectories = 0;                             // directory entries offered
  std::vector<std::pair<std::string, EOSSTS>> vecAnswers;  // suffix of the path -> answer
  bool blBadRecord = false;
};

// Each record has the size 16, the caller's context and an absolute path; a
// file's name is the last component of its path, a directory has none.
EOSSTS RecordingCallback(OsFileCopyDirectoryInfo *a_pinfo)
{
  Recorder *precorder = static_cast<Recorder *>(a_pinfo->pvContext);
  const std::string strPath = a_pinfo->szPath ? a_pinfo->szPath : "";
  const std::string strLast = strPath.substr(strPath.rfind('/') + 1);  // all of it without a '/'
  precorder->blBadRecord |=
      (a_pinfo->u32Size != 16) || (strPath[0] != '/') || (a_pinfo->szName && (strLast != a_pinfo->szName));
  (a_pinfo->szName ? precorder->sizetFiles : precorder->sizetDirectories)++;
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

class CosFileCopyDirectory : public ostest::FileServicesTest
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
  std::string Src(const std::string &a_str = "") const { return P("src/" + a_str); }
  std::string Dst(const std::string &a_str = "") const { return P("dst/" + a_str); }
  EOSSTS Run(bool a_blRecursive, Recorder *a_precorder, const std::string &a_strDestination = "")
  {
    return COsFile::CopyDirectory(Src().c_str(),
                                  (a_strDestination.empty() ? Dst() : a_strDestination).c_str(),
                                  a_blRecursive, a_precorder ? RecordingCallback : nullptr, a_precorder);
  }
};

// The callback's verdicts: 8 skips an entry, 6 copies a directory whole
// without asking about what is inside; 6 for a file is a failure that does
// not stop the walk; another status for a directory is a failure, and the
// directory is not entered. A destination directory is made only on the way
// to a copied file, except without a callback, when everything is copied.
TEST_F(CosFileCopyDirectory, CallbackVerdicts)
{
  const std::vector<std::string> vecAll{"a.ini",     "b.txt",       "empty/",          "sub/",
                                        "sub/c.ini", "sub/deeper/", "sub/deeper/d.txt"};
  const std::vector<std::string> vecSub{"a.ini", "sub/", "sub/c.ini", "sub/deeper/", "sub/deeper/d.txt"};
  const struct
  {
    bool blCallback;
    bool blRecursive;
    std::vector<std::pair<std::string, EOSSTS>> vecAnswers;
    EOSSTS eossts;
    std::vector<std::string> vecCopied;
    size_t sizetFiles;        // offered to the callback
    size_t sizetDirectories;  // offered to the callback
  } acase[] = {
      {false, true, {}, 0, vecAll, 0, 0},
      {true, true, {}, 0, {"a.ini", "b.txt", "sub/", "sub/c.ini", "sub/deeper/", "sub/deeper/d.txt"}, 4, 3},
      {true, true, {{"", 8}}, 0, {}, 2, 2},  // only the top files and directories are offered
      {true, true, {{".txt", 8}}, 0, {"a.ini", "sub/", "sub/c.ini"}, 4, 3},
      {true, true, {{"/sub", 6}, {".txt", 8}}, 0, vecSub, 2, 2},
      {true, true, {{"b.txt", 6}}, 6, vecSub, 4, 3},
      {true, true, {{"/deeper", 5}, {"d.txt", 9}}, 5, {"a.ini", "b.txt", "sub/", "sub/c.ini"}, 3, 3},
      {true, false, {}, 0, {"a.ini", "b.txt"}, 2, 0},
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
    EXPECT_EQ(c.sizetFiles, recorder.sizetFiles);
    EXPECT_EQ(c.sizetDirectories, recorder.sizetDirectories);
    EXPECT_FALSE(recorder.blBadRecord);
  }
  // A missing source with a callback makes nothing.
  Recorder recorder;
  EXPECT_EQ(0u, COsFile::CopyDirectory(Src("missing").c_str(), Dst("none").c_str(), true, RecordingCallback,
                                       &recorder));
  EXPECT_FALSE(ostest::FileExists(Dst("none")));
  EXPECT_EQ(3u, COsFile::CopyDirectory(nullptr, Dst().c_str(), true, nullptr, nullptr));
}

// A directory loop fails the copy; links that lead to each other and a FIFO
// (which is not read) fail it too, without hanging the walk; the rest is
// copied.
TEST_F(CosFileCopyDirectory, LoopsAndFifosFailTheCopyNotTheWalk)
{
  ASSERT_EQ(0, symlink("..", Src("sub/up").c_str()));
  EXPECT_EQ(1u, Run(true, nullptr));
  EXPECT_TRUE(Logged("Directory loop"));
  ASSERT_EQ(0, unlink(Src("sub/up").c_str()));
  ASSERT_EQ(0, symlink("ping", Src("pong").c_str()) + symlink("pong", Src("ping").c_str()));
  ASSERT_EQ(0, mkfifo(Src("pipe").c_str(), 0600));
  Recorder recorder;
  EXPECT_EQ(1u, Run(true, &recorder, P("dst2")));
  EXPECT_EQ("d", ostest::ReadFile(P("dst2/sub/deeper/d.txt")));
}

// More depth than the walk allows (status 1) and paths longer than its
// buffers (status 2) fail the copy; what lies within the limits is copied.
TEST_F(CosFileCopyDirectory, TooDeepOrTooLongFails)
{
  std::string strPath = Src("deep");
  for (int ii = 0; ii < 80; ii++)
  {
    ASSERT_TRUE(ostest::MakeDirectory(strPath) && ostest::WriteFile(strPath + "/f.ini", "f"));
    strPath += "/d";
  }
  EXPECT_EQ(1u, Run(true, nullptr));
  EXPECT_EQ("f", ostest::ReadFile(Dst("deep/d/d/d/f.ini")));
  std::string strName(100, 'n');
  strPath = Src();
  for (int ii = 0; ii < 6; ii++)
  {
    strPath += "/" + strName;
    ASSERT_TRUE(ostest::MakeDirectory(strPath) && ostest::WriteFile(strPath + "/f.ini", "f"));
  }
  ASSERT_EQ(0, rename(Src("deep").c_str(), P("aside").c_str()));
  EXPECT_EQ(2u, Run(true, nullptr, P("dst2")));
  EXPECT_EQ("f", ostest::ReadFile(P("dst2/" + strName + "/f.ini")));
}

// --- Removal --------------------------------------------------------------------

class CosFileDelete : public ostest::FileServicesTest
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
  std::string Tree(const std::string &a_str = "") const { return P("tree/" + a_str); }
  std::string Outside(const std::string &a_str = "") const { return P("outside/" + a_str); }
};

// A wrong type, a missing name, a non-empty directory without the recursive
// flag, a wildcard without the wildcard flag, "/" and "<tree>/." remove
// nothing; other types than file and directory are not removed by name.
TEST_F(CosFileDelete, RefusalsRemoveNothing)
{
  ASSERT_EQ(0, mkfifo(Tree("fifo").c_str(), 0600));
  const struct
  {
    std::string strPath;
    EOSFILETYPE eosfiletype;
    EOSBOOL eosboolRecursive;
    EOSSTS eossts;
  } acase[] = {
      {Tree(), 2, 1, 1},          {Tree("f.log"), 1, 1, 1}, {Tree("f.log"), 0, 1, 1},
      {Tree("missing"), 2, 0, 1}, {Tree("fifo"), 3, 0, 1},  {Tree(), 1, 0, 1},
      {Tree("*.log"), 2, 0, 3},   {"/", 1, 1, 1},           {Tree() + "/.", 1, 1, 1},
  };
  for (const auto &c : acase)
  {
    EXPECT_EQ(c.eossts, COsFile::Delete(c.strPath.c_str(), c.eosfiletype, c.eosboolRecursive, false))
        << c.strPath << " " << c.eosfiletype << " " << c.eosboolRecursive;
  }
  EXPECT_EQ(3u, COsFile::Delete(nullptr, 2, 0, false));
  EXPECT_EQ((std::vector<std::string>{"f.log", "fifo", "g.txt", "sub/", "sub/h.log"}),
            ostest::Listing(Tree()));
}

// Files and empty directories go by name; a tree goes whole with the
// recursive flag, however deep, whatever it holds. A link met inside the
// tree is removed as a link, never entered, whoever owns it: following it
// would empty a directory outside the tree.
TEST_F(CosFileDelete, NamedFilesAndTrees)
{
  EXPECT_EQ(0u, COsFile::Delete(Tree("f.log").c_str(), 2, 0, false));
  EXPECT_FALSE(ostest::FileExists(Tree("f.log")));
  ASSERT_TRUE(ostest::MakeDirectory(Tree("void")));
  EXPECT_EQ(0u, COsFile::Delete(Tree("void").c_str(), 1, 0, false));
  EXPECT_FALSE(ostest::FileExists(Tree("void")));
  ASSERT_EQ(0, mkfifo(Tree("sub/fifo").c_str(), 0600));
  ASSERT_EQ(0, symlink(Outside().c_str(), Tree("sub/planted").c_str()));
  std::string strPath = Tree("deep");
  for (int ii = 0; ii < 100; ii++)
  {
    ASSERT_TRUE(ostest::MakeDirectory(strPath));
    strPath += "/d";
  }
  EXPECT_EQ(0u, COsFile::Delete((Tree() + "/").c_str(), 1, 1, false));
  EXPECT_FALSE(ostest::FileExists(Tree()));
  EXPECT_EQ("keep", ostest::ReadFile(Outside("keep")));
}

TEST_F(CosFileDelete, WildcardRemovesMatchesOnly)
{
  EXPECT_EQ(0u, COsFile::Delete(Tree("*.log").c_str(), 2, 0, true));
  EXPECT_FALSE(ostest::FileExists(Tree("f.log")));
  EXPECT_TRUE(ostest::FileExists(Tree("g.txt")));
  EXPECT_TRUE(ostest::FileExists(Tree("sub/h.log")));
  // "*" also matches "." and "..": neither the tree nor its parent goes.
  EXPECT_EQ(0u, COsFile::Delete(Tree("*").c_str(), 1, 1, true));
  EXPECT_FALSE(ostest::FileExists(Tree("sub")));
  EXPECT_TRUE(ostest::FileExists(Tree("g.txt")));
  EXPECT_TRUE(ostest::IsDirectory(Tree()));
  EXPECT_EQ("keep", ostest::ReadFile(Outside("keep")));
}

}  // namespace

// --- Symbolic links: root's and the caller's followed, others refused -------

// A model tree whose "profiles" leads out of it, a destination link and a
// link to a tree, all owned by the caller
// (trusted; parameter false) or, run as root, by another user (true).
class CosFileLinkOwner : public ostest::FileServicesTest, public ::testing::WithParamInterface<bool>
{
protected:
  void SetUp() override
  {
    if (GetParam() && (geteuid() != 0))
    {
      GTEST_SKIP() << "handing a link to another user needs root";
    }
    for (const char *sz : {"common", "common/profiles", "model", "outside", "outside/tree"})
    {
      ASSERT_TRUE(ostest::MakeDirectory(P(sz)));
    }
    for (const char *sz : {"common/profiles/p.txt", "common/y.ini", "model/a.ini", "outside/tree/keep"})
    {
      ASSERT_TRUE(ostest::WriteFile(P(sz), sz));
    }
    Link("../common/profiles", "model/profiles");
    Link(P("outside"), "dstlink");
    Link(P("outside/tree"), "treelink");
  }
  void Link(const std::string &a_strTarget, const char *a_szName)
  {
    ASSERT_EQ(0, symlink(a_strTarget.c_str(), P(a_szName).c_str()));
    ASSERT_TRUE(!GetParam() || ostest::GiveToNobody(P(a_szName)));
  }
  bool Trusted() const { return !GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(Owners, CosFileLinkOwner, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool> &a_info)
                         { return a_info.param ? "OtherUser" : "Caller"; });

// The helper's rule: "profiles" whole, ".ini" files, nothing else.
TEST_P(CosFileLinkOwner, CopyFollowsTrustedLinksAndReportsTheOthers)
{
  Recorder recorder;
  recorder.vecAnswers = {{"/profiles", 6}, {".txt", 8}};
  EOSSTS eossts =
      COsFile::CopyDirectory(P("model").c_str(), P("mirror").c_str(), true, RecordingCallback, &recorder);
  EXPECT_EQ(Trusted() ? 0u : 258u, eossts);
  const std::vector<std::string> vecTrusted{"a.ini", "profiles/", "profiles/p.txt"};
  EXPECT_EQ(Trusted() ? vecTrusted : std::vector<std::string>{"a.ini"}, ostest::Listing(P("mirror")));
  // The destination reached through a link.
  EXPECT_EQ(Trusted() ? 0u : 258u,
            COsFile::CopyDirectory(P("common").c_str(), P("dstlink").c_str(), true, nullptr, nullptr));
  EXPECT_EQ(Trusted(), ostest::FileExists(P("outside/y.ini")));
}

TEST_P(CosFileLinkOwner, CreateCopyFindAndDeleteThroughALink)
{
  EXPECT_EQ(Trusted() ? 0u : 258u, COsFile::Create(P("dstlink/new/dir").c_str(), nullptr));
  EXPECT_EQ(Trusted(), ostest::IsDirectory(P("outside/new/dir")));
  EXPECT_EQ(Trusted() ? 0u : 1u, COsFile::Copy(P("model/a.ini").c_str(), P("dstlink/a.ini").c_str()));
  EXPECT_EQ(Trusted(), ostest::FileExists(P("outside/a.ini")));
  EXPECT_EQ(Trusted(), COsFile::Exists(P("dstlink/tree/*").c_str()));
  // A link named as the path: a trusted one leads to the tree, which is
  // emptied, and then fails to go as a directory; another user's link goes
  // as a link and what it leads to stays.
  EXPECT_EQ(1u, COsFile::Delete(P("treelink").c_str(), 1, 1, false));
  EXPECT_EQ(!Trusted(), ostest::FileExists(P("outside/tree/keep")));
  EXPECT_TRUE(ostest::IsDirectory(P("outside/tree")));
  EXPECT_EQ(Trusted(), ostest::FileExists(P("treelink")));
}

// An unprivileged caller below a directory it may search but not read.
TEST(CosFileUnprivileged, WorksBelowADirectoryItMaySearchButNotRead)
{
  if (geteuid() != 0)
  {
    GTEST_SKIP() << "needs root to become another user";
  }
  ostest::TempDir tempdir;
  ASSERT_EQ(0, chmod(tempdir.Path().c_str(), 0711));
  const std::string strWork = tempdir / "work";
  ASSERT_TRUE(ostest::MakeDirectory(tempdir / "src") && ostest::MakeDirectory(strWork));
  ASSERT_TRUE(ostest::WriteFile(tempdir / "src/f.ini", "f") && ostest::GiveToNobody(strWork));
  EXPECT_TRUE(ostest::RunAsNobody(
      [&]()
      {
        return !COsFile::CopyDirectory((tempdir / "src").c_str(), (strWork + "/copy").c_str(), true, nullptr,
                                       nullptr) &&
               (ostest::ReadFile(strWork + "/copy/f.ini") == "f") &&
               !COsFile::Delete((strWork + "/copy").c_str(), 1, 1, false) &&
               !ostest::FileExists(strWork + "/copy");
      }));
}

// A copy onto a full file system (a 1 MiB tmpfs) fails, through our buffer
// and inside the kernel (the tree copy writes its files the same way); a
// tree removal stops where another file system is mounted.
TEST_F(CosFileDir, CopyFailsOnAFullFileSystemAndRemovalStopsAtIt)
{
  const std::string strFull = P("tree/full");
  ASSERT_TRUE(ostest::MakeDirectory(P("tree")) && ostest::MakeDirectory(strFull) &&
              ostest::MakeDirectory(P("src")));
  if (mount("tmpfs", strFull.c_str(), "tmpfs", 0, "size=1m"))
  {
    GTEST_SKIP() << "cannot mount a tmpfs";
  }
  ASSERT_TRUE(ostest::WriteFile(P("src/big.ini"), std::string(2 << 20, 'b')));
  EXPECT_EQ(1u, COsFile::Copy(P("src/big.ini").c_str(), (strFull + "/other").c_str()));
  // Within one file system the kernel copies by itself, and fails the same way.
  ASSERT_EQ(0, umount2(strFull.c_str(), MNT_DETACH));
  ASSERT_EQ(0, mount("tmpfs", strFull.c_str(), "tmpfs", 0, "size=1m"));
  ASSERT_TRUE(ostest::WriteFile(strFull + "/half.ini", std::string(700 << 10, 'h')));
  EXPECT_EQ(1u, COsFile::Copy((strFull + "/half.ini").c_str(), (strFull + "/again.ini").c_str()));
  EXPECT_EQ(1u, COsFile::Delete(P("tree").c_str(), 1, 1, false));
  EXPECT_TRUE(ostest::FileExists(strFull + "/half.ini"));
  EXPECT_EQ(0, umount2(strFull.c_str(), MNT_DETACH));
}
