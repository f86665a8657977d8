// Path functions of COsFile: normalisation, set, append, split, trailing
// slash and the absolute form of existing paths.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cosfile_testutil.h"
#include "os_cosfile.h"

namespace
{

std::string Normalized(const char *a_szPath, char a_cSeparator = '/')
{
  char sz[512];
  strcpy(sz, a_szPath);
  char *szEnd = COsFile::PathNormalize(sz, a_cSeparator);
  EXPECT_EQ(szEnd, sz + strlen(sz));
  return sz;
}

std::string Physical(const std::string &a_strPath)
{
  char sz[PATH_MAX];
  return realpath(a_strPath.c_str(), sz) ? sz : "";
}

TEST(CosFilePath, NormalizeMergesRunsAndKeepsDotsAndTrailingSlash)
{
  EXPECT_EQ("a/b/c/", Normalized("a//b\\c/"));
  EXPECT_EQ("/a/./../b", Normalized("\\/a\\.//..\\\\b"));
  EXPECT_EQ("", Normalized(""));
  EXPECT_EQ("a\\b\\", Normalized("a/b//", '\\'));
  EXPECT_EQ(nullptr, COsFile::PathNormalize(nullptr, '/'));
}

TEST(CosFilePath, NormalizeKeepsOnlyALeadingPairOfBackslashes)
{
  EXPECT_EQ("\\\\server/share/x", Normalized("\\\\server\\share//x"));
  // A third backslash is an ordinary separator after the kept pair.
  EXPECT_EQ("\\\\/x", Normalized("\\\\\\x"));
  // A pair that is not leading is merged like any run.
  EXPECT_EQ("a/b", Normalized("a\\\\b"));
  EXPECT_EQ("/x", Normalized("/\\x"));
}

TEST(CosFilePath, SetCopiesWhatFitsAndEmptiesOnOverflow)
{
  ostest::ScopedFileServices services;
  char sz[8];
  COsFile::PathSet(sz, sizeof(sz), "a\\b//cd");  // 7 characters: fits exactly
  EXPECT_STREQ("a/b/cd", sz);
  COsFile::PathSet(sz, sizeof(sz), "abcdefgh");  // one character more
  EXPECT_STREQ("", sz);
  EXPECT_TRUE(services.Logged("buffer overflow...8 <abcdefgh>"));

  strcpy(sz, "keep");
  COsFile::PathSet(sz, sizeof(sz), nullptr);
  EXPECT_STREQ("keep", sz);
  EXPECT_TRUE(services.Logged("null argument..."));
  COsFile::PathSet(nullptr, 8, "x");  // must not crash
}

TEST(CosFilePath, SetAllowsOverlappingBuffers)
{
  char sz[32] = "xx/a\\\\b";
  COsFile::PathSet(sz, sizeof(sz), sz + 3);
  EXPECT_STREQ("a/b", sz);
}

TEST(CosFilePath, AppendAddsOneSeparator)
{
  char sz[64] = "";
  char *szEnd = COsFile::PathAppend(sz, sizeof(sz), "etc");
  EXPECT_STREQ("/etc", sz);
  EXPECT_EQ(sz + 4, szEnd);

  strcpy(sz, "dir/");
  COsFile::PathAppend(sz, sizeof(sz), "/x");
  EXPECT_STREQ("dir/x", sz);

  strcpy(sz, "dir");
  COsFile::PathAppend(sz, sizeof(sz), "sub\\name");
  EXPECT_STREQ("dir/sub/name", sz);
}

TEST(CosFilePath, AppendDropsADriveLetter)
{
  ostest::ScopedFileServices services;
  char sz[64] = "dir";
  COsFile::PathAppend(sz, sizeof(sz), "Z:\\x");
  EXPECT_STREQ("dir/x", sz);
  EXPECT_TRUE(services.Logged("PathAppend stripping drive letter...<Z:\\x>"));
  // A one-character name is not a drive letter.
  strcpy(sz, "dir");
  COsFile::PathAppend(sz, sizeof(sz), "Z");
  EXPECT_STREQ("dir/Z", sz);
}

TEST(CosFilePath, AppendNeverWritesPastTheBuffer)
{
  ostest::ScopedFileServices services;
  char sz[10] = "abc";
  sz[9] = '#';
  COsFile::PathAppend(sz, 9, "toolong");  // "abc/toolong" needs 12 bytes: refused
  EXPECT_STREQ("abc/", sz);
  EXPECT_EQ('#', sz[9]);
  COsFile::PathAppend(sz, 9, "ok");  // "abc/ok" fits 9 bytes after the merge
  EXPECT_STREQ("abc/ok", sz);
}

TEST(CosFilePath, SplitReportsDirectoryLengthAndName)
{
  struct Case
  {
    const char *szPath;
    uint32_t u32Length;
    const char *szName;
  } acase[] = {{"name", 0, "name"}, {"/a/b", 2, "b"}, {"/a/", 2, ""}, {"/x", 0, "x"}, {"a\\\\b\\c", 3, "c"}};
  for (const Case &c : acase)
  {
    char sz[64];
    strcpy(sz, c.szPath);
    uint32_t u32Length = 99;
    char *szName = nullptr;
    COsFile::PathSplit(sz, &u32Length, &szName);
    EXPECT_EQ(c.u32Length, u32Length) << c.szPath;
    EXPECT_STREQ(c.szName, szName) << c.szPath;
    EXPECT_TRUE(szName >= sz && szName <= sz + strlen(sz)) << "the name points into the path";
  }
  char sz[16] = "a/b";
  COsFile::PathSplit(sz, nullptr, nullptr);  // outputs are optional
  EXPECT_STREQ("a/b", sz);
}

TEST(CosFilePath, RemoveTrailingSlashDropsOnlyOne)
{
  struct Case
  {
    const char *szIn;
    const char *szOut;
  } acase[] = {{"/", ""}, {"a/b/", "a/b"}, {"a//", "a"}, {"a\\", "a"}, {"", ""}, {"a", "a"}};
  for (const Case &c : acase)
  {
    char sz[16];
    strcpy(sz, c.szIn);
    COsFile::PathRemoveTrailingSlash(sz);
    EXPECT_STREQ(c.szOut, sz) << c.szIn;
  }
}

TEST(CosFilePath, AbsoluteOfAFileInTheCurrentDirectory)
{
  ostest::TempDir tempdir;
  ASSERT_TRUE(ostest::WriteFile(tempdir / "f", "x"));
  ostest::ScopedCwd cwd(tempdir.Path());
  ASSERT_TRUE(cwd.Changed());
  char sz[512];
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), "f"));
  EXPECT_EQ(Physical(tempdir.Path()) + "/f", sz);
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), "."));
  EXPECT_EQ(Physical(tempdir.Path()), sz);
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), ".."));
  EXPECT_EQ(Physical(tempdir.Path() + "/.."), sz);
  // The working directory is where it was.
  char szCwd[PATH_MAX];
  ASSERT_NE(nullptr, getcwd(szCwd, sizeof(szCwd)));
  EXPECT_EQ(Physical(tempdir.Path()), szCwd);
}

TEST(CosFilePath, AbsoluteResolvesLinksInTheDirectoryPartOnly)
{
  ostest::TempDir tempdir;
  ASSERT_EQ(0, mkdir((tempdir / "real").c_str(), 0755));
  ASSERT_TRUE(ostest::WriteFile(tempdir / "real/f", "x"));
  ASSERT_EQ(0, symlink("real", (tempdir / "link").c_str()));
  ASSERT_EQ(0, symlink("f", (tempdir / "real/flink").c_str()));
  std::string strReal = Physical(tempdir / "real");
  char sz[512];
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), (tempdir / "link//f").c_str()));
  EXPECT_EQ(strReal + "/f", sz);
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), (tempdir / "link").c_str()));
  EXPECT_EQ(strReal, sz);
  // A link as the last component stays as it is named.
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), (tempdir / "link/flink").c_str()));
  EXPECT_EQ(strReal + "/flink", sz);
}

// A file directly below "/" has "/" as its directory part.
TEST(CosFilePath, AbsoluteOfAFileInTheRootDirectory)
{
  std::string strFile;
  DIR *pdir = opendir("/");
  ASSERT_NE(nullptr, pdir);
  for (struct dirent *pdirent = readdir(pdir); pdirent && strFile.empty(); pdirent = readdir(pdir))
  {
    struct stat statEntry;
    std::string strPath = std::string("/") + pdirent->d_name;
    if (!stat(strPath.c_str(), &statEntry) && !S_ISDIR(statEntry.st_mode))
    {
      strFile = strPath;
    }
  }
  closedir(pdir);
  if (strFile.empty())
  {
    GTEST_SKIP() << "no file directly below /";
  }
  char sz[512];
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), strFile.c_str()));
  EXPECT_EQ(strFile, sz);
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), "/"));
  EXPECT_STREQ("/", sz);
}

TEST(CosFilePath, AbsoluteFailures)
{
  ostest::ScopedFileServices services;
  ostest::TempDir tempdir;
  char sz[512];
  EXPECT_EQ(257u, COsFile::PathAbsolute(sz, sizeof(sz), (tempdir / "missing").c_str()));
  EXPECT_EQ(257u, COsFile::PathAbsolute(sz, sizeof(sz), (tempdir / "missing/f").c_str()));
  EXPECT_TRUE(services.Logged("stat failed...<" + tempdir / "missing>"));
  EXPECT_EQ(1u, COsFile::PathAbsolute(nullptr, sizeof(sz), "."));
  EXPECT_TRUE(services.Logged("a_szAbsolute is null..."));
  EXPECT_EQ(1u, COsFile::PathAbsolute(sz, sizeof(sz), nullptr));
  EXPECT_TRUE(services.Logged("a_szName is null..."));
  // An output too small for the result fails rather than truncating, whether
  // the directory or only the name does not fit.
  ASSERT_TRUE(ostest::WriteFile(tempdir / "file", "x"));
  std::string strDirectory = Physical(tempdir.Path());
  char szSmall[512];
  EXPECT_EQ(1u, COsFile::PathAbsolute(szSmall, 4, (tempdir / "file").c_str()));
  EXPECT_EQ(1u, COsFile::PathAbsolute(szSmall, static_cast<uint32_t>(strDirectory.size() + 3),
                                      (tempdir / "file").c_str()));
  EXPECT_EQ(0u, COsFile::PathAbsolute(szSmall, static_cast<uint32_t>(strDirectory.size() + 6),
                                      (tempdir / "file").c_str()));
  EXPECT_EQ(strDirectory + "/file", szSmall);
}

}  // namespace
