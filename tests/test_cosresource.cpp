// test_cosresource.cpp: the resource table at the end of a file: building it
// with Update, reading it with Open and the walk, corrupt tables, versions.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "cosfile_testutil.h"
#include "os_cosresource.h"

namespace
{

const size_t s_sizetPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));

// Stand-in for a program image: a recognisable byte pattern.
std::string Image(size_t a_sizetBytes)
{
  std::string str(a_sizetBytes, '\0');
  for (size_t ii = 0; ii < a_sizetBytes; ii++)
  {
    str[ii] = static_cast<char>('a' + ii % 26);
  }
  return str;
}

// A hand-made table, for the corrupt cases that Update never writes.
class RawTable
{
public:
  RawTable() : m_str(OS_RESOURCE_TABLESIZE, '\0')
  {
    m_str.replace(OS_RESOURCE_MARKERENTRY * OS_RESOURCE_ENTRYSIZE, 9, OS_RESOURCE_MARKER);
  }
  // The fields are little-endian, as the hosts are.
  RawTable &Entry(int a_iIndex, const std::string &a_strName, uint32_t a_u32Offset, uint32_t a_u32Size,
                  uint32_t a_u32OffsetHigh = 0)
  {
    size_t sizetAt = static_cast<size_t>(a_iIndex) * OS_RESOURCE_ENTRYSIZE;
    m_str.replace(sizetAt, a_strName.size(), a_strName);
    memcpy(&m_str[sizetAt + OS_RESOURCE_OFFSETFIELD], &a_u32Offset, 4);
    memcpy(&m_str[sizetAt + OS_RESOURCE_OFFSETHIGHFIELD], &a_u32OffsetHigh, 4);
    memcpy(&m_str[sizetAt + OS_RESOURCE_SIZEFIELD], &a_u32Size, 4);
    return *this;
  }
  const std::string &Bytes() const { return m_str; }

private:
  std::string m_str;
};

// The status of opening a_szName.
EOSSTS OpenStatus(const std::string &a_strFile, const char *a_szName)
{
  COsResource osresource;
  return osresource.Open(a_strFile.c_str(), a_szName, EOSRESOURCETYPE_DATA);
}

// The block a_szName, which must open.
std::string Read(const std::string &a_strFile, const char *a_szName)
{
  COsResource osresource;
  EXPECT_EQ(EOSSTS_OK, osresource.Open(a_strFile.c_str(), a_szName, EOSRESOURCETYPE_DATA)) << a_szName;
  const char *sz = static_cast<const char *>(osresource.GetPointer());
  return sz ? std::string(sz, osresource.GetSize()) : "<not open>";
}

EOSSTS Add(const std::string &a_strFile, const char *a_szName, const std::string &a_strData)
{
  return COsResource::Update(a_strFile.c_str(), a_szName, EOSRESOURCETYPE_DATA, a_strData.data(),
                             static_cast<uint32_t>(a_strData.size()));
}

// Every entry the walk yields, as "name@index:offset+size"; its first step
// must give a_eosstsFirst.
std::vector<std::string> Walk(const std::string &a_strFile, EOSSTS a_eosstsFirst = EOSSTS_OK)
{
  std::vector<std::string> vec;
  COsResource osresource;
  OsResourceInfo info;
  EOSSTS eossts = osresource.FindFirst(a_strFile.c_str(), &info);
  EXPECT_EQ(a_eosstsFirst, eossts);
  for (; eossts == EOSSTS_OK; eossts = osresource.FindNext(&info))
  {
    vec.push_back(std::string(info.szName) + "@" + std::to_string(info.u32Index) + ":" +
                  std::to_string(info.u32Offset) + "+" + std::to_string(info.u32Size));
  }
  return vec;
}

class Resource : public ::testing::Test
{
protected:
  void SetUp() override { ASSERT_TRUE(ostest::WriteFile(m_strFile, m_strImage)); }
  ostest::TempDir m_tempdir;
  const std::string m_strFile = m_tempdir / "program";
  const std::string m_strImage = Image(3 * s_sizetPage + 123);
};

const char s_szScanners[] = "<pnphelper><scanner><id>USB\\VID_040A&PID_6020</id></scanner></pnphelper>";

}  // namespace

// Blocks follow the image in the order of their entries, from 62 down, and
// the last one ends where the table begins; a replaced block keeps its entry.
TEST_F(Resource, UpdateAppendsAndReplacesBlocksAfterTheImage)
{
  ASSERT_EQ(EOSSTS_OK, Add(m_strFile, "BRAND", "<brand/>"));
  ASSERT_EQ(EOSSTS_OK, Add(m_strFile, "PNPHELPER", "short"));
  ASSERT_EQ(EOSSTS_OK, Add(m_strFile, "VERSION", "00020000"));
  ASSERT_EQ(EOSSTS_OK, Add(m_strFile, "pnphelper", s_szScanners));
  ASSERT_EQ(EOSSTS_OK, Add(m_strFile, "BRAND", ""));
  const std::string str = ostest::ReadFile(m_strFile);
  const size_t sizetImage = m_strImage.size();
  const size_t sizetScanners = strlen(s_szScanners);
  ASSERT_EQ(sizetImage + sizetScanners + 8 + OS_RESOURCE_TABLESIZE, str.size());
  EXPECT_EQ(m_strImage, str.substr(0, sizetImage));
  EXPECT_EQ(0, memcmp(str.data() + str.size() - OS_RESOURCE_ENTRYSIZE, "@!@qrb@!@\0\0\0", 12));
  EXPECT_EQ((std::vector<std::string>{
                "BRAND@62:" + std::to_string(sizetImage) + "+0",
                "pnphelper@61:" + std::to_string(sizetImage) + "+" + std::to_string(sizetScanners),
                "VERSION@60:" + std::to_string(sizetImage + sizetScanners) + "+8"}),
            Walk(m_strFile));
  // Names compare without regard to case, and whole.
  EXPECT_EQ(s_szScanners, Read(m_strFile, "PnpHelper"));
  EXPECT_EQ("", Read(m_strFile, "brand"));
  EXPECT_EQ(EOSSTS_NOTFOUND, OpenStatus(m_strFile, "VERSIONS"));
  // A failed open hands out nothing; an object holds one block at a time.
  COsResource osresource;
  EXPECT_EQ(EOSSTS_NOTFOUND, osresource.Open(m_strFile.c_str(), "PNPHELPE", EOSRESOURCETYPE_DATA));
  EXPECT_EQ(nullptr, osresource.GetPointer());
  ASSERT_EQ(EOSSTS_OK, osresource.Open(m_strFile.c_str(), "VERSION", EOSRESOURCETYPE_DATA));
  EXPECT_EQ(EOSSTS_FAIL, osresource.Open(m_strFile.c_str(), "PNPHELPER", EOSRESOURCETYPE_DATA));
}

TEST_F(Resource, UpdateRefusesBadArgumentsLinksAndCorruptTables)
{
  EXPECT_EQ(EOSSTS_FILENOTFOUND, Add(m_tempdir / "missing", "X", "x"));
  EXPECT_EQ(EOSSTS_BADARG, Add(m_strFile, "", "x"));
  EXPECT_EQ(EOSSTS_BADARG, Add(m_strFile, std::string(32, 'N').c_str(), "x"));
  EXPECT_EQ(EOSSTS_BADARG, COsResource::Update(m_strFile.c_str(), "X", EOSRESOURCETYPE_DATA, nullptr, 4));
  std::string strLink = m_tempdir / "link";
  ASSERT_EQ(0, symlink(m_strFile.c_str(), strLink.c_str()));
  EXPECT_EQ(EOSSTS_FAIL, Add(strLink, "X", "x"));
  EXPECT_EQ(m_strImage, ostest::ReadFile(m_strFile));
  // The longest name that fits its field with a terminator; the file keeps
  // its permission bits.
  ASSERT_EQ(0, chmod(m_strFile.c_str(), 0751));
  std::string strName(31, 'N');
  ASSERT_EQ(EOSSTS_OK, Add(m_strFile, strName.c_str(), "x"));
  EXPECT_EQ("x", Read(m_strFile, strName.c_str()));
  EXPECT_EQ(0751, ostest::ModeOf(m_strFile));
  // A table with an entry past the end of the file is left as it is.
  std::string strTable = RawTable().Entry(62, "A", 100, 10).Entry(61, "B", 0xFFFFFF00u, 10).Bytes();
  ASSERT_TRUE(ostest::WriteFile(m_strFile, m_strImage + strTable));
  EXPECT_EQ(EOSSTS_FAIL, Add(m_strFile, "C", "c"));
  EXPECT_EQ(m_strImage + strTable, ostest::ReadFile(m_strFile));
}

TEST_F(Resource, FullTableRefusesANewNameAndFallsBackToEntryZero)
{
  for (int ii = 62; ii >= 0; ii--)
  {
    ASSERT_EQ(EOSSTS_OK, Add(m_strFile, ("R" + std::to_string(ii)).c_str(), "data" + std::to_string(ii)));
  }
  EXPECT_EQ(EOSSTS_NOFIT, Add(m_strFile, "ONEMORE", "x"));
  // Replacing in a full table still works.
  EXPECT_EQ(EOSSTS_OK, Add(m_strFile, "R30", "new30"));
  EXPECT_EQ("new30", Read(m_strFile, "r30"));
  // Any unknown name yields the bottom entry of a full table.
  EXPECT_EQ("data0", Read(m_strFile, "NOSUCHNAME"));
  const std::vector<std::string> vec = Walk(m_strFile);
  ASSERT_EQ(63u, vec.size());
  EXPECT_EQ(0u, vec.back().find("R0@0:"));
}

TEST_F(Resource, FileWithoutUsableTableOrTooShort)
{
  // No table; a marker one character off; an empty entry 62, which ends the
  // search before entry 61.
  for (const std::string &strTable :
       {std::string(), RawTable().Entry(63, "@!@qrb@!X", 0, 0).Entry(62, "A", 0, 4).Bytes(),
        RawTable().Entry(61, "A", 0, 4).Bytes()})
  {
    ASSERT_TRUE(ostest::WriteFile(m_strFile, m_strImage + strTable));
    EXPECT_EQ(EOSSTS_NOTFOUND, OpenStatus(m_strFile, "A"));
    EXPECT_TRUE(Walk(m_strFile, EOSSTS_NOTFOUND).empty());
  }
  EXPECT_TRUE(Walk(m_tempdir / "missing", EOSSTS_FAIL).empty());
  // A table in a file shorter than two pages cannot be mapped.
  std::string strShort =
      Image(2 * s_sizetPage - OS_RESOURCE_TABLESIZE - 1) + RawTable().Entry(62, "A", 0, 4).Bytes();
  ASSERT_TRUE(ostest::WriteFile(m_strFile, strShort));
  EXPECT_EQ(EOSSTS_FAIL, OpenStatus(m_strFile, "A"));
  ASSERT_TRUE(ostest::WriteFile(m_strFile, "x" + strShort));
  EXPECT_EQ(EOSSTS_OK, OpenStatus(m_strFile, "A"));
  std::string strFifo = m_tempdir / "fifo";
  ASSERT_EQ(0, mkfifo(strFifo.c_str(), 0600));
  for (const std::string &str : {m_tempdir / "missing", std::string(600, 'x'), m_tempdir.Path(), strFifo})
  {
    EXPECT_EQ(EOSSTS_FAIL, OpenStatus(str, "A")) << str;
  }
}

// Entries outside the file are not found; a 32-character name has no
// terminator in its field.
TEST_F(Resource, EntriesOutsideTheFileAreNotFoundAndNamesMayFillTheirField)
{
  const uint32_t u32End = static_cast<uint32_t>(m_strImage.size()) + OS_RESOURCE_TABLESIZE;
  const std::string strName(32, 'W');
  RawTable rawtable;
  rawtable
      .Entry(62, "EXACT", u32End - 10, 10)   // ends at the end of the file
      .Entry(61, "PAST", u32End - 10, 11)    // one byte beyond
      .Entry(60, "FAROFF", 0x7FFFFFF0u, 16)  // far beyond
      .Entry(59, "HUGE", 4096, 0xFFFFFFFFu)  // size overflows
      .Entry(58, "WRAP", 0xFFFFFFF0u, 0x20)  // offset + size wraps 32 bits
      .Entry(57, "HIGH", 0, 4, 1)            // high half of the offset set
      .Entry(56, "EMPTY", u32End, 0)         // empty block at the very end
      .Entry(55, strName, 0, 4);
  ASSERT_TRUE(ostest::WriteFile(m_strFile, m_strImage + rawtable.Bytes()));
  EXPECT_EQ(EOSSTS_OK, OpenStatus(m_strFile, "EXACT"));
  for (const char *szName : {"PAST", "FAROFF", "HUGE", "WRAP", "HIGH"})
  {
    EXPECT_EQ(EOSSTS_NOTFOUND, OpenStatus(m_strFile, szName)) << szName;
  }
  EXPECT_EQ("", Read(m_strFile, "EMPTY"));
  EXPECT_EQ("abcd", Read(m_strFile, strName.c_str()));
  // The walk skips the bad entries and goes on.
  EXPECT_EQ((std::vector<std::string>{"EXACT@62:" + std::to_string(u32End - 10) + "+10",
                                      "EMPTY@56:" + std::to_string(u32End) + "+0", strName + "@55:0+4"}),
            Walk(m_strFile));
}

// Four bytes of room copy "000", which converts to 0.0; Dump prints versions
// only.
TEST_F(Resource, GetVersionConvertsTheTextAndDumpPrintsIt)
{
  ASSERT_EQ(EOSSTS_OK, Add(m_strFile, "VERSION", "00020000"));
  char szVersion[64];
  EXPECT_EQ(EOSSTS_OK,
            COsResource::GetVersion(m_strFile.c_str(), szVersion, sizeof(szVersion), "version", true));
  EXPECT_STREQ("0.2", szVersion);
  EXPECT_EQ(EOSSTS_OK, COsResource::GetVersion(m_strFile.c_str(), szVersion, 4, "VERSION", true));
  EXPECT_STREQ("0.0", szVersion);
  EXPECT_EQ(EOSSTS_BADARG, COsResource::Dump(m_strFile.c_str(), "PNPHELPER"));
  testing::internal::CaptureStdout();
  EXPECT_EQ(EOSSTS_OK, COsResource::Dump(m_strFile.c_str(), "VERSION"));
  EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find("0.2"));
}

// GetVersionInfo asks the "file" and "monodis" programs (fake ones on PATH
// here) and refuses a path that could break their command line.
TEST_F(Resource, GetVersionInfoReadsTheAssemblyVersion)
{
  ostest::ScopedEnv scopedenvPath("PATH", (m_tempdir.Path() + ":/usr/bin:/bin").c_str());
  for (const auto &[szTool, szOutput] :
       {std::make_pair("file", "program: .Net assembly"),
        std::make_pair("monodis", "Assembly Table\nName:          x\nVersion:       1.2.0.0\nCulture:")})
  {
    const std::string strPath = m_tempdir / szTool;
    ASSERT_TRUE(ostest::WriteFile(strPath, std::string("#!/bin/sh\necho '") + szOutput + "'\n"));
    ASSERT_EQ(0, chmod(strPath.c_str(), 0755));
  }
  char szVersion[64];
  EXPECT_EQ(EOSSTS_OK, COsResource::GetVersionInfo(m_strFile.c_str(), szVersion, sizeof(szVersion), 0));
  EXPECT_STREQ("1.2", szVersion);
  const std::string strUnsafe = m_tempdir / "a$b";
  ASSERT_TRUE(ostest::WriteFile(strUnsafe, "x"));
  EXPECT_EQ(EOSSTS_BADARG, COsResource::GetVersionInfo(strUnsafe.c_str(), szVersion, sizeof(szVersion), 0));
}
