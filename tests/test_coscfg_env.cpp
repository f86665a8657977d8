// test_coscfg_env.cpp: environment helpers at their boundaries, permission
// bits, the module of an address and the application marker.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "cosfile_testutil.h"
#include "os_coscfg.h"

namespace
{

const char s_szVar[] = "QRB_CFGTEST_VARIABLE";

}  // namespace

TEST(CfgGetEnv, BadArgumentsValueLengthBoundaryAndDefaults)
{
  char szValue[8];
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv(nullptr, "d", sizeof(szValue), szValue));
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv("", "d", sizeof(szValue), szValue));
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv(s_szVar, "d", sizeof(szValue), nullptr));
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv(s_szVar, "d", 1, szValue));
  // The variable (null: unset), the default, the size, the status and the text.
  const std::tuple<const char *, const char *, uint32_t, EOSSTS, const char *> acase[] = {
      {"abcd", nullptr, 4, EOSSTS_OK, "abc"},  // exactly the size: silently cut by one
      {"abcd", nullptr, 5, EOSSTS_OK, "abcd"},
      {"abcde", nullptr, 4, EOSSTS_NOFIT, "abc"},  // the cut text stays
      {nullptr, "dflt", 2, EOSSTS_NOFIT, ""},
      {nullptr, "dflt", 4, EOSSTS_OK, "dfl"},
      {nullptr, nullptr, 8, EOSSTS_OK, ""},
      {"", "dflt", 8, EOSSTS_OK, "dflt"}};
  for (const auto &[szEnv, szDefault, u32Size, eossts, szOut] : acase)
  {
    ostest::ScopedEnv env(s_szVar, szEnv);
    strcpy(szValue, "junk");
    EXPECT_EQ(eossts, COsCfg::GetEnv(s_szVar, szDefault, u32Size, szValue)) << szOut;
    EXPECT_STREQ(szOut, szValue);
  }
}

TEST(CfgSetEnv, SetReplaceRemove)
{
  ostest::ScopedEnv env(s_szVar, nullptr);
  EXPECT_EQ(EOSSTS_FAIL, COsCfg::ExistEnv(s_szVar));
  EXPECT_EQ(EOSSTS_OK, COsCfg::SetEnv(s_szVar, "one"));
  EXPECT_EQ(EOSSTS_OK, COsCfg::SetEnv(s_szVar, "two"));
  EXPECT_STREQ("two", getenv(s_szVar));
  EXPECT_EQ(EOSSTS_OK, COsCfg::ExistEnv(s_szVar));
  EXPECT_EQ(EOSSTS_OK, COsCfg::SetEnvUtf8ToUnicode(s_szVar, "\xc3\xa9"));
  EXPECT_STREQ("\xc3\xa9", getenv(s_szVar));
  EXPECT_EQ(EOSSTS_OK, COsCfg::SetEnv(s_szVar, nullptr));
  EXPECT_EQ(nullptr, getenv(s_szVar));
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::SetEnv("", "x"));
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::SetEnv(nullptr, "x"));
  EXPECT_EQ(EOSSTS_NOFIT, COsCfg::SetEnv("A=B", "x"));  // the system refuses the name
  EXPECT_EQ(EOSSTS_FAIL, COsCfg::ExistEnv(nullptr));
}

TEST(CfgGetEnvNumbers, LongIsPlainDecimalAndBoolKnowsFourWords)
{
  const std::string strLong(40, '1');  // too long for the 32-byte buffer
  // The variable (null: unset), the default and the answer.
  const std::tuple<const char *, long, long> acaseLong[] = {
      {"0x10", 5, 0}, {"12abc", 5, 12}, {"-7", 5, -7}, {strLong.c_str(), 5, 5}, {nullptr, -3, -3}};
  for (const auto &[szEnv, lDefault, lExpected] : acaseLong)
  {
    ostest::ScopedEnv env(s_szVar, szEnv);
    EXPECT_EQ(lExpected, COsCfg::GetEnvLong(s_szVar, lDefault)) << (szEnv ? szEnv : "unset");
  }
  EXPECT_EQ(0, COsCfg::GetEnvLong(nullptr, 9));

  const std::string strBool(20, 't');  // does not fit: the default
  // The variable and the answer: 1 true, 0 false, -1 the default.
  const std::pair<const char *, int> acaseBool[] = {
      {"TRUE", 1}, {"1", 1},      {"False", 0},          {"0", 0},     {"yes", -1},
      {"00", -1},  {"true ", -1}, {strBool.c_str(), -1}, {nullptr, -1}};
  for (const auto &[szEnv, iAnswer] : acaseBool)
  {
    ostest::ScopedEnv env(s_szVar, szEnv);
    EXPECT_EQ(iAnswer != 0, COsCfg::GetEnvBool(s_szVar, true)) << (szEnv ? szEnv : "unset");
    EXPECT_EQ(iAnswer == 1, COsCfg::GetEnvBool(s_szVar, false)) << (szEnv ? szEnv : "unset");
  }
  EXPECT_FALSE(COsCfg::GetEnvBool(nullptr, true));
}

TEST(CfgSetAccess, ModesOfUserAndGroupOnlyAndTheMaskStays)
{
  // Others keep their bits whatever the access; unknown accesses change nothing.
  // The mode before, the access, the mode after and the status.
  const std::tuple<int, EOSFILEACCESS, int, EOSSTS> acase[] = {
      {0600, EOSFILEACCESS_READWRITE, 0660, EOSSTS_OK}, {0600, EOSFILEACCESS_READ, 0440, EOSSTS_OK},
      {0640, EOSFILEACCESS_WRITE, 0220, EOSSTS_OK},     {0600, EOSFILEACCESS_EXECUTE, 0710, EOSSTS_OK},
      {0667, EOSFILEACCESS_READ, 0447, EOSSTS_OK},      {0600, 0, 0600, EOSSTS_FAIL}};
  ostest::TempDir tmp;
  const std::string strFile = tmp / "f";
  ostest::WriteFile(strFile, "x");
  const mode_t modeOld = umask(022);
  for (const auto &[iBefore, eosfileaccess, iAfter, eossts] : acase)
  {
    chmod(strFile.c_str(), iBefore);
    EXPECT_EQ(eossts, COsCfg::SetAccess(strFile.c_str(), eosfileaccess)) << std::oct << iBefore;
    EXPECT_EQ(iAfter, ostest::ModeOf(strFile)) << std::oct << iBefore;
  }
  EXPECT_EQ(022u, umask(modeOld));
  EXPECT_EQ(EOSSTS_FAIL, COsCfg::SetAccess((tmp / "missing").c_str(), EOSFILEACCESS_READ));
  EXPECT_EQ(EOSSTS_FAIL, COsCfg::SetAccess(nullptr, EOSFILEACCESS_READ));
}

TEST(CfgModules, ModuleOfAnAddress)
{
  char szPath[512];
  // A function of the C library: an absolute path naming the library.
  void *pvLibc = dlsym(RTLD_DEFAULT, "gnu_get_libc_version");
  ASSERT_NE(nullptr, pvLibc);
  COsCfg::GetModuleName(pvLibc, szPath, sizeof(szPath), true);
  EXPECT_EQ('/', szPath[0]);
  EXPECT_NE(nullptr, strstr(szPath, "libc"));
  char szShort[4];  // a small buffer gets what fits
  COsCfg::GetModuleName(pvLibc, szShort, sizeof(szShort), false);
  EXPECT_EQ(3u, strlen(szShort));
  // An address that no object holds leaves the path empty.
  strcpy(szPath, "junk");
  COsCfg::GetModuleName(reinterpret_cast<const void *>(8), szPath, sizeof(szPath), true);
  EXPECT_STREQ("", szPath);
  COsCfg::GetModuleName(reinterpret_cast<const void *>(g_oscfglocatorfunction), szPath, sizeof(szPath),
                        false);
  EXPECT_NE(nullptr, strstr(szPath, "test_coscfg_env"));
}

TEST(CfgModules, ApplicationMarkerMeansNoLibrary)
{
  const void *pvOld = g_OsCfgHinstance;
  g_OsCfgHinstance = g_szOsCfgApplicationMarker;
  EXPECT_FALSE(COsCfg::IsLibrary());
  EXPECT_EQ(nullptr, COsCfg::GetHmodule());
  // The answer is kept from the first call.
  g_OsCfgHinstance = pvOld;
  EXPECT_FALSE(COsCfg::IsLibrary());
}
