// test_platform.cpp: what the 32-bit build shares with the 64-bit one: the
// fixed record sizes, directories whose entries carry 64-bit offsets or
// inode numbers, and times past January 2038.
#include <gtest/gtest.h>

#include "cosfile_testutil.h"
#include "os_cosfile.h"
#include "os_cosresource.h"
#include "os_costime.h"

// Records whose layout other programs of the family rely on (os_types.h
// pins the time and version records itself).
static_assert(sizeof(EOSSTS) == 4, "statuses are 32-bit");
static_assert(OS_RESOURCE_ENTRYSIZE * 64 == OS_RESOURCE_TABLESIZE, "64 entries in the table");
static_assert(sizeof(void *) != 4 || sizeof(OsFileCopyDirectoryInfo) == 16, "16 bytes on a 32-bit build");
static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8, "large-file support");
static_assert(sizeof(time_t) == 8, "a 64-bit time");

using Platform = ostest::FileServicesTest;

// On ext4 with hashed directories the offsets are 64-bit hashes; a build
// without large-file support sees every such directory as empty.
TEST_F(Platform, DirectoryWalksSeeEveryEntry)
{
  const std::string strSource = P("source");
  ASSERT_TRUE(ostest::MakeDirectory(strSource));
  for (int ii = 0; ii < 40; ii++)
  {
    ASSERT_TRUE(ostest::WriteFile(strSource + "/f" + std::to_string(ii) + ".ini", "x"));
  }
  const std::string strCopy = P("copy");
  ASSERT_EQ(0u, COsFile::CopyDirectory(strSource.c_str(), strCopy.c_str(), true, nullptr, nullptr));
  OsFileInfo osfileinfo{};
  int iFound = 0;
  for (EOSSTS eossts = COsFile::FindFirst((strCopy + "/*.ini").c_str(), &osfileinfo); eossts == 0;
       eossts = COsFile::FindNext(&osfileinfo))
  {
    iFound++;
  }
  EXPECT_EQ(40, iFound);
  EXPECT_EQ(0u, COsFile::Delete(strCopy.c_str(), EOSFILETYPE_DIRECTORY, 1, false));
  EXPECT_FALSE(ostest::FileExists(strCopy));
}

TEST_F(Platform, TimesPast2038)
{
  OsTimeRecord timerecord = {};
  ASSERT_EQ(0u, COsTime::GetUtcTime(&timerecord, 4102444800LL));  // 2100-01-01 00:00:00 UTC
  char szTime[19];
  ASSERT_EQ(0u, COsTime::GetStringTime(&timerecord, szTime, sizeof(szTime)));
  EXPECT_STREQ("21000101000000000", szTime);
  EXPECT_EQ(5, timerecord.wDayOfWeek);  // a Friday
}
