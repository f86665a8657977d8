// test_skeleton.cpp: the shared types keep their fixed widths on every build.
#include <gtest/gtest.h>

#include "os_types.h"

TEST(SharedTypes, FixedWidthsOnEveryBuild)
{
  EXPECT_EQ(4u, sizeof(EOSSTS));
  EXPECT_EQ(16u, sizeof(OsTimeRecord));
  EXPECT_EQ(7u * 16u, sizeof(OsCfgVersion));
  EXPECT_EQ(257u, static_cast<uint32_t>(EOSSTS_FILENOTFOUND));
}
