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

TEST(CosFilePath, NormalizeMergesRunsAndKeepsOnlyALeadingPairOfBackslashes)
{
  EXPECT_EQ("a/b/c/", Normalized("a//b\\c/"));
  EXPECT_EQ("/a/./../b", Normalized("\\/a\\.//..\\\\b"));
  EXPECT_EQ("", Normalized(""));
  EXPECT_EQ("a\\b\\", Normalized("a/b//", '\\'));
  EXPECT_EQ(nullptr, COsFile::PathNormalize(nullptr, '/'));
  EXPECT_EQ("\\\\server/share/x", Normalized("\\\\server\\share//x"));
  EXPECT_EQ("\\\\/x", Normalized("\\\\\\x"));  // a third backslash is an ordinary separator
  EXPECT_EQ("a/b", Normalized("a\\\\b"));      // a pair that is not leading is merged
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
  // Overlapping buffers.
  char szLong[32] = "xx/a\\\\b";
  COsFile::PathSet(szLong, sizeof(szLong), szLong + 3);
  EXPECT_STREQ("a/b", szLong);
}

TEST(CosFilePath, AppendAddsOneSeparatorAndDropsADriveLetter)
{
  ostest::ScopedFileServices services;
  const struct
  {
    const char *szPath;
    const char *szAppend;
    const char *szOut;
  } acase[] = {{"", "etc", "/etc"},
               {"dir/", "/x", "dir/x"},
               {"dir", "sub\\name", "dir/sub/name"},
               {"dir", "Z:\\x", "dir/x"},
               {"dir", "Z", "dir/Z"}};  // a one-character name is not a drive letter
  for (const auto &c : acase)
  {
    char sz[64];
    strcpy(sz, c.szPath);
    EXPECT_EQ(sz + strlen(c.szOut), COsFile::PathAppend(sz, sizeof(sz), c.szAppend)) << c.szAppend;
    EXPECT_STREQ(c.szOut, sz) << c.szAppend;
  }
  EXPECT_TRUE(services.Logged("PathAppend stripping drive letter...<Z:\\x>"));
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

TEST(CosFilePath, AbsoluteOfRelativeNames)
{
  ostest::TempDir tempdir;
  ASSERT_TRUE(ostest::WriteFile(tempdir / "f", "x"));
  ostest::ScopedCwd cwd(tempdir.Path());
  ASSERT_TRUE(cwd.Changed());
  const std::string strHere = ostest::Physical(tempdir.Path());
  for (const auto &c : {std::make_pair("f", strHere + "/f"), std::make_pair(".", strHere),
                        std::make_pair("..", ostest::Physical(tempdir.Path() + "/.."))})
  {
    char sz[512];
    ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), c.first));
    EXPECT_EQ(c.second, sz);
  }
  // The working directory is where it was.
  char szCwd[PATH_MAX];
  ASSERT_NE(nullptr, getcwd(szCwd, sizeof(szCwd)));
  EXPECT_EQ(strHere, szCwd);
}

// Links in the directory part are resolved; a link as the last component
// stays as it is named.
TEST(CosFilePath, AbsoluteResolvesLinksInTheDirectoryPartOnly)
{
  ostest::TempDir tempdir;
  ASSERT_EQ(0, mkdir((tempdir / "real").c_str(), 0755));
  ASSERT_TRUE(ostest::WriteFile(tempdir / "real/f", "x"));
  ASSERT_EQ(0, symlink("real", (tempdir / "link").c_str()));
  ASSERT_EQ(0, symlink("f", (tempdir / "real/flink").c_str()));
  std::string strReal = ostest::Physical(tempdir / "real");
  for (const auto &c : {std::make_pair("link//f", strReal + "/f"), std::make_pair("link", strReal),
                        std::make_pair("link/flink", strReal + "/flink")})
  {
    char sz[512];
    ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), (tempdir / c.first).c_str()));
    EXPECT_EQ(c.second, sz);
  }
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
    strFile = (!stat(strPath.c_str(), &statEntry) && !S_ISDIR(statEntry.st_mode)) ? strPath : "";
  }
  closedir(pdir);
  char sz[512];
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), "/"));
  EXPECT_STREQ("/", sz);
  if (strFile.empty())
  {
    GTEST_SKIP() << "no file directly below /";
  }
  ASSERT_EQ(0u, COsFile::PathAbsolute(sz, sizeof(sz), strFile.c_str()));
  EXPECT_EQ(strFile, sz);
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
  std::string strDirectory = ostest::Physical(tempdir.Path());
  char szSmall[512];
  EXPECT_EQ(1u, COsFile::PathAbsolute(szSmall, 4, (tempdir / "file").c_str()));
  EXPECT_EQ(1u, COsFile::PathAbsolute(szSmall, static_cast<uint32_t>(strDirectory.size() + 3),
                                      (tempdir / "file").c_str()));
  EXPECT_EQ(0u, COsFile::PathAbsolute(szSmall, static_cast<uint32_t>(strDirectory.size() + 6),
                                      (tempdir / "file").c_str()));
  EXPECT_EQ(strDirectory + "/file", szSmall);
}

}  // namespace
