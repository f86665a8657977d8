// Path functions of COsFile: normalisation, set, append, split, trailing
// slash and the absolute form of existing paths.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "cosfile_testutil.h"
#include "os_cosfile.h"

namespace
{

struct PathCase
{
  char cFunction;  // N PathNormalize, S PathSet, A PathAppend, T PathRemoveTrailingSlash, P PathSplit
  const char *szIn;
  const char *szArgument;  // N: the separator (null: '/'); S: the source; A: the name
  uint32_t u32Size;        // S and A: the buffer size (0: 64)
  const char *szOut;       // P: "<directory length>|<name>"
};

// Runs one case in a buffer filled with '#' behind the input: nothing may be
// written at or past the buffer size.
std::string Apply(const PathCase &a_c)
{
  char sz[80];
  memset(sz, '#', sizeof(sz));
  strcpy(sz, a_c.szIn);
  const uint32_t u32Size = a_c.u32Size ? a_c.u32Size : 64;
  switch (a_c.cFunction)
  {
    case 'N':
      EXPECT_EQ(sz + strlen(a_c.szOut), COsFile::PathNormalize(sz, a_c.szArgument ? a_c.szArgument[0] : '/'));
      break;
    case 'S':
      COsFile::PathSet(sz, u32Size, a_c.szArgument);
      break;
    case 'A':
      EXPECT_EQ(sz + strlen(a_c.szOut), COsFile::PathAppend(sz, u32Size, a_c.szArgument));
      break;
    case 'T':
      COsFile::PathRemoveTrailingSlash(sz);
      break;
    default:
    {
      uint32_t u32Length = 99;
      char *szName = nullptr;
      COsFile::PathSplit(sz, &u32Length, &szName);
      EXPECT_TRUE(szName >= sz && szName <= sz + strlen(sz)) << "the name points into the path";
      return std::to_string(u32Length) + "|" + szName;
    }
  }
  EXPECT_EQ('#', sz[u32Size]) << "written past the buffer";
  return sz;
}

using CosFilePath = ostest::FileServicesTest;

TEST_F(CosFilePath, Table)
{
  const PathCase apathcase[] = {
      // Runs merge; only a leading pair of backslashes stays (a network share).
      {'N', "a//b\\c/", nullptr, 0, "a/b/c/"},
      {'N', "", nullptr, 0, ""},
      {'N', "a/b//", "\\", 0, "a\\b\\"},
      {'N', "\\\\server\\share//x", nullptr, 0, "\\\\server/share/x"},
      {'N', "\\\\\\x", nullptr, 0, "\\\\/x"},  // a third backslash is an ordinary separator
      // Set copies what fits (normalised) and empties the buffer otherwise.
      {'S', "old", "a\\b//cd", 8, "a/b/cd"},
      {'S', "old", "abcdefgh", 8, ""},
      // Append adds one separator and drops a drive letter; what does not
      // fit is not added.
      {'A', "", "etc", 0, "/etc"},
      {'A', "dir/", "/x", 0, "dir/x"},
      {'A', "dir", "Z:\\x", 0, "dir/x"},
      {'A', "dir", "Z", 0, "dir/Z"},  // a one-character name is not a drive letter
      {'A', "abc", "ok", 7, "abc/ok"},
      {'A', "abc", "okk", 7, "abc/"},
      {'T', "/", nullptr, 0, ""},
      {'T', "a/\\/", nullptr, 0, "a"},
      {'P', "name", nullptr, 0, "0|name"},
      {'P', "/a/b", nullptr, 0, "2|b"},
      {'P', "/a/", nullptr, 0, "2|"},
      {'P', "/x", nullptr, 0, "0|x"},
      {'P', "a\\\\b\\c", nullptr, 0, "3|c"},
  };
  for (const PathCase &c : apathcase)
  {
    EXPECT_EQ(c.szOut, Apply(c)) << c.cFunction << " <" << c.szIn << "> <"
                                 << (c.szArgument ? c.szArgument : "") << "> " << c.u32Size;
  }
}

TEST_F(CosFilePath, NullArgumentsAndOverlappingBuffers)
{
  EXPECT_EQ(nullptr, COsFile::PathNormalize(nullptr, '/'));
  char sz[8] = "keep";
  COsFile::PathSet(sz, sizeof(sz), nullptr);
  EXPECT_STREQ("keep", sz);
  COsFile::PathSet(nullptr, 8, "x");  // must not crash
  COsFile::PathSplit(sz, nullptr, nullptr);
  EXPECT_STREQ("keep", sz);
  char szLong[32] = "xx/a\\\\b";
  COsFile::PathSet(szLong, sizeof(szLong), szLong + 3);
  EXPECT_STREQ("a/b", szLong);
}

// A file directly below "/" ("/" itself when there is none).
std::string FileInTheRootDirectory()
{
  std::error_code ec;
  for (const auto &entry : std::filesystem::directory_iterator("/", ec))
  {
    if (entry.is_regular_file(ec))
    {
      return entry.path().string();
    }
  }
  return "/";
}

// Relative names are taken from the working directory, which stays; links in
// the directory part are resolved, a link as the last component stays as it
// is named. A result that does not fit fails rather than being cut.
TEST_F(CosFilePath, Absolute)
{
  ASSERT_TRUE(ostest::MakeDirectory(P("real")) && ostest::WriteFile(P("real/f"), "x"));
  ASSERT_EQ(0, symlink("real", P("link").c_str()));
  ASSERT_EQ(0, symlink("f", P("real/flink").c_str()));
  ostest::ScopedCwd cwd(P("real"));
  const std::string strReal = ostest::Physical(P("real"));
  const uint32_t u32Fits = static_cast<uint32_t>(strReal.size() + 3);  // "<real>/f" and its terminator
  const std::string strRootFile = FileInTheRootDirectory();
  const struct
  {
    std::string strName;
    uint32_t u32Size;
    EOSSTS eossts;
    std::string strOut;  // on success
  } acase[] = {
      {".", 512, 0, strReal},
      {"../link", 512, 0, strReal},
      {"../link/flink", 512, 0, strReal + "/flink"},
      {"/", 512, 0, "/"},
      {strRootFile, 512, 0, strRootFile},
      {"f", u32Fits, 0, strReal + "/f"},
      {"f", u32Fits - 1, 1, ""},
      {".", static_cast<uint32_t>(strReal.size()), 1, ""},
      {"missing", 512, 257, ""},
  };
  for (const auto &c : acase)
  {
    char sz[512] = "";
    EXPECT_EQ(c.eossts, COsFile::PathAbsolute(sz, c.u32Size, c.strName.c_str()))
        << c.strName << " " << c.u32Size;
    if (!c.eossts)
    {
      EXPECT_EQ(c.strOut, sz) << c.strName;
    }
  }
  EXPECT_EQ(strReal, ostest::Physical("."));
  char sz[512];
  EXPECT_EQ(1u, COsFile::PathAbsolute(nullptr, sizeof(sz), "."));
  EXPECT_EQ(1u, COsFile::PathAbsolute(sz, sizeof(sz), nullptr));
}

}  // namespace
