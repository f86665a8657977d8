// test_coscfg_env.cpp: environment helpers at their boundaries, permission
// bits, the module of an address and the application marker.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "os_coscfg.h"
#include "os_testlog.h"
#include "os_testutil.h"

namespace
{

const char s_szVar[] = "QRB_CFGTEST_VARIABLE";

mode_t ModeAfter(mode_t a_modeBefore, EOSFILEACCESS a_eosfileaccess, EOSSTS *a_peossts)
{
  ostest::TempDir tmp;
  const std::string strFile = tmp / "f";
  ostest::WriteFile(strFile, "x");
  chmod(strFile.c_str(), a_modeBefore);
  *a_peossts = COsCfg::SetAccess(strFile.c_str(), a_eosfileaccess);
  struct stat statFile;
  stat(strFile.c_str(), &statFile);
  return statFile.st_mode & 07777;
}

}  // namespace

TEST(CfgGetEnv, BadArguments)
{
  char szValue[8];
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv(nullptr, "d", sizeof(szValue), szValue));
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv("", "d", sizeof(szValue), szValue));
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv(s_szVar, "d", sizeof(szValue), nullptr));
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv(s_szVar, "d", 1, szValue));
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv(s_szVar, "d", 0, szValue));
}

TEST(CfgGetEnv, ValueLengthBoundary)
{
  char szValue[8];
  {
    ostest::ScopedEnv env(s_szVar, "abcd");
    // Exactly the size: accepted and silently cut by one character.
    EXPECT_EQ(EOSSTS_OK, COsCfg::GetEnv(s_szVar, nullptr, 4, szValue));
    EXPECT_STREQ("abc", szValue);
    EXPECT_EQ(EOSSTS_OK, COsCfg::GetEnv(s_szVar, nullptr, 5, szValue));
    EXPECT_STREQ("abcd", szValue);
  }
  {
    ostest::ScopedEnv env(s_szVar, "abcde");
    EXPECT_EQ(EOSSTS_NOFIT, COsCfg::GetEnv(s_szVar, nullptr, 4, szValue));
    EXPECT_STREQ("abc", szValue);  // the cut text stays
  }
}

TEST(CfgGetEnv, DefaultsForUnsetAndEmptyVariables)
{
  char szValue[8];
  ostest::ScopedEnv env(s_szVar, nullptr);
  strcpy(szValue, "junk");
  EXPECT_EQ(EOSSTS_NOFIT, COsCfg::GetEnv(s_szVar, "dflt", 2, szValue));
  EXPECT_STREQ("", szValue);
  EXPECT_EQ(EOSSTS_OK, COsCfg::GetEnv(s_szVar, "dflt", 4, szValue));
  EXPECT_STREQ("dfl", szValue);
  EXPECT_EQ(EOSSTS_OK, COsCfg::GetEnv(s_szVar, "dflt", 8, szValue));
  EXPECT_STREQ("dflt", szValue);
  EXPECT_EQ(EOSSTS_OK, COsCfg::GetEnv(s_szVar, nullptr, 8, szValue));
  EXPECT_STREQ("", szValue);
  ostest::ScopedEnv envEmpty(s_szVar, "");
  EXPECT_EQ(EOSSTS_OK, COsCfg::GetEnv(s_szVar, "dflt", 8, szValue));
  EXPECT_STREQ("dflt", szValue);
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

TEST(CfgGetEnvLong, PlainDecimalConversion)
{
  ostest::ScopedEnv env(s_szVar, "0x10");
  EXPECT_EQ(0, COsCfg::GetEnvLong(s_szVar, 5));
  COsCfg::SetEnv(s_szVar, "12abc");
  EXPECT_EQ(12, COsCfg::GetEnvLong(s_szVar, 5));
  COsCfg::SetEnv(s_szVar, "-7");
  EXPECT_EQ(-7, COsCfg::GetEnvLong(s_szVar, 5));
  COsCfg::SetEnv(s_szVar, std::string(40, '1').c_str());  // too long for 32 bytes
  EXPECT_EQ(5, COsCfg::GetEnvLong(s_szVar, 5));
  COsCfg::SetEnv(s_szVar, nullptr);
  EXPECT_EQ(-3, COsCfg::GetEnvLong(s_szVar, -3));
  EXPECT_EQ(0, COsCfg::GetEnvLong(nullptr, 9));
}

TEST(CfgGetEnvBool, RecognisedWordsOnly)
{
  ostest::ScopedEnv env(s_szVar, "TRUE");
  EXPECT_TRUE(COsCfg::GetEnvBool(s_szVar, false));
  COsCfg::SetEnv(s_szVar, "1");
  EXPECT_TRUE(COsCfg::GetEnvBool(s_szVar, false));
  COsCfg::SetEnv(s_szVar, "False");
  EXPECT_FALSE(COsCfg::GetEnvBool(s_szVar, true));
  COsCfg::SetEnv(s_szVar, "0");
  EXPECT_FALSE(COsCfg::GetEnvBool(s_szVar, true));
  const char *aszOther[] = {"yes", "00", "01", "true ", "fals"};
  for (const char *sz : aszOther)
  {
    COsCfg::SetEnv(s_szVar, sz);
    EXPECT_TRUE(COsCfg::GetEnvBool(s_szVar, true)) << sz;
    EXPECT_FALSE(COsCfg::GetEnvBool(s_szVar, false)) << sz;
  }
  COsCfg::SetEnv(s_szVar, std::string(20, 't').c_str());  // does not fit: the default
  EXPECT_TRUE(COsCfg::GetEnvBool(s_szVar, true));
  COsCfg::SetEnv(s_szVar, nullptr);
  EXPECT_TRUE(COsCfg::GetEnvBool(s_szVar, true));
  EXPECT_FALSE(COsCfg::GetEnvBool(s_szVar, false));
  EXPECT_FALSE(COsCfg::GetEnvBool(nullptr, true));
}

TEST(CfgGetEnvList, SnapshotOfTheWholeEnvironment)
{
  ostest::ScopedEnv env(s_szVar, "a=b");
  char *szList = COsCfg::GetEnvList();
  ASSERT_NE(nullptr, szList);
  bool blFound = false;
  int iEntries = 0;
  for (const char *sz = szList; *sz; sz += strlen(sz) + 1)
  {
    blFound = blFound || strcmp(sz, "QRB_CFGTEST_VARIABLE=a=b") == 0;
    iEntries++;
  }
  // Changing the environment afterwards does not touch the snapshot.
  COsCfg::SetEnv(s_szVar, nullptr);
  EXPECT_TRUE(blFound);
  int iAfter = 0;
  for (const char *sz = szList; *sz; sz += strlen(sz) + 1)
  {
    iAfter++;
  }
  EXPECT_EQ(iEntries, iAfter);
  COsCfg::FreeEnvList(szList);
}

TEST(CfgSetAccess, ModesOfUserAndGroupOnly)
{
  EOSSTS eossts = EOSSTS_FAIL;
  EXPECT_EQ(0660u, ModeAfter(0600, EOSFILEACCESS_READWRITE, &eossts));
  EXPECT_EQ(EOSSTS_OK, eossts);
  EXPECT_EQ(0440u, ModeAfter(0660, EOSFILEACCESS_READ, &eossts));
  EXPECT_EQ(0220u, ModeAfter(0640, EOSFILEACCESS_WRITE, &eossts));
  EXPECT_EQ(0710u, ModeAfter(0600, EOSFILEACCESS_EXECUTE, &eossts));
  // Others keep their bits whatever the access.
  EXPECT_EQ(0667u, ModeAfter(0607, EOSFILEACCESS_READWRITE, &eossts));
  EXPECT_EQ(0445u, ModeAfter(0665, EOSFILEACCESS_READ, &eossts));
  EXPECT_EQ(0600u, ModeAfter(0600, 5, &eossts));
  EXPECT_EQ(EOSSTS_FAIL, eossts);
  EXPECT_EQ(0600u, ModeAfter(0600, 0, &eossts));
  EXPECT_EQ(EOSSTS_FAIL, eossts);
}

TEST(CfgSetAccess, MissingFileAndMaskRestored)
{
  ostest::TempDir tmp;
  EXPECT_EQ(EOSSTS_FAIL, COsCfg::SetAccess((tmp / "missing").c_str(), EOSFILEACCESS_READ));
  EXPECT_EQ(EOSSTS_FAIL, COsCfg::SetAccess(nullptr, EOSFILEACCESS_READ));
  const mode_t modeOld = umask(022);
  ostest::WriteFile(tmp / "f", "x");
  EXPECT_EQ(EOSSTS_OK, COsCfg::SetAccess((tmp / "f").c_str(), EOSFILEACCESS_READ));
  EXPECT_EQ(022u, umask(modeOld));
}

TEST(CfgModules, ModuleOfAnAddress)
{
  char szPath[512];
  // A function of the C library: an absolute path naming the library.
  void *pvFopen = dlsym(RTLD_DEFAULT, "gnu_get_libc_version");
  ASSERT_NE(nullptr, pvFopen);
  COsCfg::GetModuleName(pvFopen, szPath, sizeof(szPath), true);
  EXPECT_EQ('/', szPath[0]);
  EXPECT_NE(nullptr, strstr(szPath, "libc"));
  // A small buffer gets what fits.
  char szShort[4];
  COsCfg::GetModuleName(pvFopen, szShort, sizeof(szShort), false);
  EXPECT_EQ(3u, strlen(szShort));
  // An address that no object holds leaves the path empty.
  strcpy(szPath, "junk");
  COsCfg::GetModuleName(reinterpret_cast<const void *>(8), szPath, sizeof(szPath), true);
  EXPECT_STREQ("", szPath);
  // The running program's own code.
  COsCfg::GetModuleName(reinterpret_cast<const void *>(g_oscfglocatorfunction), szPath, sizeof(szPath),
                        false);
  EXPECT_NE(nullptr, strstr(szPath, "test_coscfg_env"));
}

TEST(CfgModules, ApplicationMarkerMeansNoLibrary)
{
  const void *pvOld = g_OsCfgHinstance;
  g_OsCfgHinstance = g_szOsCfgApplicationMarker;
  EXPECT_STREQ("OSCFG_APPLICATION_PATH", g_szOsCfgApplicationMarker);
  EXPECT_FALSE(COsCfg::IsLibrary());
  EXPECT_EQ(nullptr, COsCfg::GetHmodule());
  // The answer is kept from the first call.
  g_OsCfgHinstance = pvOld;
  EXPECT_FALSE(COsCfg::IsLibrary());
}

TEST(CfgStubs, PlatformAnswers)
{
  EXPECT_FALSE(COsCfg::IsDebugging());
  EXPECT_FALSE(COsCfg::IsDebuggingLive());
  COsCfg::CreateSecurityAttributes("name");
  EXPECT_EQ(nullptr, COsCfg::GetSecurityAttributesFile());
  EXPECT_EQ(nullptr, COsCfg::GetSecurityAttributesEvent());
  EXPECT_EQ(nullptr, COsCfg::GetSecurityAttributesMutex());
  COsCfg::DestroySecurityAttributes();
}

TEST(CfgEnvMessages, FaultsAreLoggedWithTheirValues)
{
  ostest::LogCapture capture;
  ostest::ScopedEnv env(s_szVar, nullptr);
  char szValue[8];
  EXPECT_EQ(EOSSTS_NOFIT, COsCfg::GetEnv(s_szVar, "dflt", 2, szValue));
  EXPECT_EQ("E GetEnv error...<QRB_CFGTEST_VARIABLE> <dflt> 2", capture.Last());
  // Every part of the configuration logs as "os_coscfg".
  EXPECT_NE(std::string::npos, capture.Lines().back().find(" os_coscfg "));
  COsCfg::SetEnv(s_szVar, "abcdef");
  EXPECT_EQ(EOSSTS_NOFIT, COsCfg::GetEnv(s_szVar, nullptr, 4, szValue));
  EXPECT_EQ("E GetEnv error...<QRB_CFGTEST_VARIABLE> 6 4", capture.Last());
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv(s_szVar, nullptr, 1, szValue));
  EXPECT_EQ("E a_sizetBytes <= 1...<QRB_CFGTEST_VARIABLE> 1", capture.Last());
  COsCfg::SetEnv(s_szVar, "yes");
  EXPECT_TRUE(COsCfg::GetEnvBool(s_szVar, true));
  EXPECT_EQ("A unrecognized value...<yes>, returning default...1", capture.Last());
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::SetEnv("", "x"));
  EXPECT_EQ("E SetEnv bad arg...", capture.Last());
  ostest::TempDir tmp;
  ostest::WriteFile(tmp / "f", "x");
  EXPECT_EQ(EOSSTS_FAIL, COsCfg::SetAccess((tmp / "f").c_str(), 7));
  EXPECT_EQ("A unrecognized a_eosfileaccess...7", capture.Last());
}
