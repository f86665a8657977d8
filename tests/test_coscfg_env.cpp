// test_coscfg_env.cpp: environment helpers at their boundaries, permission
// bits, the module of an address, the application marker, the parsers of
// the system files fed with sample texts, and the information accessors on
// the running machine.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

#include "cosfile_testutil.h"
#include "os_coscfg.h"
#include "os_coscfgimpl.h"

namespace
{

const char s_szVar[] = "QRB_CFGTEST_VARIABLE";

}  // namespace

TEST(CfgGetEnv, BadArgumentsValueLengthBoundaryAndDefaults)
{
  char szValue[8];
  EXPECT_EQ(EOSSTS_BADARG, COsCfg::GetEnv(nullptr, "d", sizeof(szValue), szValue));
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
  EXPECT_EQ(EOSSTS_OK, COsCfg::SetEnv(s_szVar, nullptr));
  EXPECT_EQ(nullptr, getenv(s_szVar));
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
  COsCfg::GetModuleName(pvLibc, szPath, sizeof(szPath), true);
  EXPECT_TRUE(szPath[0] == '/' && strstr(szPath, "/libc")) << szPath;
  char szShort[4];  // a small buffer gets what fits
  COsCfg::GetModuleName(pvLibc, szShort, sizeof(szShort), false);
  EXPECT_EQ(3u, strlen(szShort));
  // An address that no object holds leaves the path empty.
  strcpy(szPath, "junk");
  COsCfg::GetModuleName(reinterpret_cast<const void *>(8), szPath, sizeof(szPath), true);
  EXPECT_STREQ("", szPath);
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

TEST(CfgKernelVersion, EightDigitsFromTheRelease)
{
  const std::string strLong = "1." + std::string(40, '0') + ".9";  // only 32 characters count
  const char *aszCases[][2] = {{"2.6.32-5-686", "02063200"},  {"", "00000000"},
                               {"x.1.y", "00010000"},  // non-numeric pieces read as 0
                               {"123.4", "12304000"},  // a wide piece pushes the rest right
                               {"1.2.3.4.5.6.7", "01020304"}, {strLong.c_str(), "01000000"}};
  for (const auto &aszCase : aszCases)
  {
    char szVersion[64];
    COsCfgImpl::KernelVersion(aszCase[0], szVersion, sizeof(szVersion));
    EXPECT_STREQ(aszCase[1], szVersion) << aszCase[0];
  }
}

TEST(CfgDistribution, ReleaseFiles)
{
  // The file, its text, the code and the name, which starts as "LINUX";
  // files without a version leave it.
  const std::tuple<const char *, const char *, uint32_t, const char *> acase[] = {
      {"/etc/SuSE-release", "openSUSE 10.3 (i586)\nversion = 10.3\nCODENAME = x\n", 8, "suse1003"},
      {"/etc/mandrake-release", "Release 10.1\n", 5, "mandrake1001"},
      {"/etc/mandrake-release", "Mandrake Linux release 10.1 (Official)\n", 5, "mandrake0000"},
      {"/etc/redhat-release", "Red Hat Enterprise Linux Server release 6.5 (Santiago)\n", 6, "redhat0605"},
      {"/etc/lsb-release", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\nDISTRIB_CODENAME=jammy\n", 9,
       "ubuntu2204"},
      {"/etc/lsb-release", "DISTRIB_ID=LinuxMint\nDISTRIB_RELEASE=21.1\n", 0, "LINUX"},
      {"/etc/other-release", "Ubuntu", 0, "LINUX"}};
  for (const auto &[szFile, szText, u32Code, szExpected] : acase)
  {
    char szName[512] = "LINUX";
    EXPECT_EQ(u32Code, COsCfgImpl::Distribution(szFile, szText, szName, sizeof(szName))) << szText;
    EXPECT_STREQ(szExpected, szName) << szText;
  }
}

TEST(CfgCpuInfo, ClockRatesByProcessorIndex)
{
  OsCfgProcessor aosprocessor[3] = {};
  COsCfgImpl::ParseCpuInfo(
      "processor\t: 1\n"
      "model name\t: Some CPU\n"
      "cpu MHz\t\t: 2394.000\n"
      "\n"
      "processor\t: 7\n"  // beyond the records: ignored with its clock
      "cpu MHz\t\t: 999.0\n"
      "processor\t: 0\n"
      "cpu MHz\t\t: 1200.5\n"
      "cpu MHz",  // no colon
      aosprocessor, 2);
  EXPECT_EQ(1200u, aosprocessor[0].u32Mhz);
  EXPECT_EQ(2394u, aosprocessor[1].u32Mhz);
  EXPECT_EQ(1u, aosprocessor[1].u32Index);
  EXPECT_EQ(0u, aosprocessor[2].u32Mhz);
  COsCfgImpl::ParseCpuInfo("processor :", aosprocessor, 2);  // a value cut short
  COsCfgImpl::ParseCpuInfo("", aosprocessor, 0);
  EXPECT_EQ(1200u, aosprocessor[0].u32Mhz);
}

TEST(CfgMemInfo, CountsInBytesAndLoad)
{
  OsCfgSystemInfo info = {};
  COsCfgImpl::ParseMemInfo(
      "MemTotal:        1000000 kB\n"
      "MemFree:          250000 kB\n"
      "MemAvailable:     900000 kB\n"
      "SwapTotal:          2048 kB\n"
      "SwapFree:           1024 kB\n",
      &info);
  EXPECT_EQ(1024000000ull, info.u64TotalPhysical);
  EXPECT_EQ(256000000ull, info.u64AvailPhysical);
  EXPECT_EQ(1024ull * 1024, info.u64AvailPageFile);
  EXPECT_EQ(75u, info.u32MemoryLoad);
  OsCfgSystemInfo infoEmpty = {};
  COsCfgImpl::ParseMemInfo("nothing useful\n", &infoEmpty);
  EXPECT_EQ(100u, infoEmpty.u32MemoryLoad);
}

TEST(CfgSystemInfo, RunningMachine)
{
  COsCfg::ResetSystemInfo();
  EXPECT_EQ(8u, strlen(COsCfg::InfoGetString(OS_CFGINFO_OS_KERNELVERSION)));
  EXPECT_GT(COsCfg::InfoGetLongLong(OS_CFGINFO_MEM_TOTALPHYSICAL), 0);
#if defined(__i386__) || defined(__x86_64__)
  EXPECT_EQ(12u, strlen(COsCfg::InfoGetString(OS_CFGINFO_CPU_VENDORSTRING)));
#endif
  EXPECT_EQ(sysconf(_SC_PAGESIZE), COsCfg::InfoGetLong(OS_CFGINFO_CPU_PAGESIZE));
  EXPECT_STREQ("", COsCfg::InfoGetString(OS_CFGINFO_COUNT));
  // The user name is read from /etc/passwd itself, not through the name service.
  const struct passwd *ppasswd = getpwuid(geteuid());
  ASSERT_NE(nullptr, ppasswd);
  EXPECT_STREQ(ppasswd->pw_name, COsCfg::InfoGetString(OS_CFGINFO_OS_USERNAME));
}

TEST(CfgSystemInfo, ForceCpuInfoTooSmallLeavesClocksAtZero)
{
  COsCfg::ResetSystemInfo();
  {
    ostest::ScopedEnv env("QRB_FORCECPUINFO", "1");
    EXPECT_EQ(0, COsCfg::InfoGetLong(OS_CFGINFO_CPU_MHZ));
  }
  COsCfg::ResetSystemInfo();
  EXPECT_GE(COsCfg::InfoGetLong(OS_CFGINFO_CPU_TOTAL), 1);
}
