// test_coscfg_info.cpp: the parsers of the system files, fed with sample
// texts, and the information accessors on the running machine.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <tuple>

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "os_testutil.h"

TEST(CfgKernelVersion, EightDigitsFromTheRelease)
{
  const std::string strLong = "1." + std::string(40, '0') + ".9";  // only 32 characters count
  const char *aszCases[][2] = {{"2.6.32-5-686", "02063200"},
                               {"6", "06000000"},
                               {"", "00000000"},
                               {"x.1.y", "00010000"},  // non-numeric pieces read as 0
                               {"123.4", "12304000"},  // a wide piece pushes the rest right
                               {"1.2.3.4.5.6.7", "01020304"},
                               {strLong.c_str(), "01000000"}};
  for (const auto &aszCase : aszCases)
  {
    char szVersion[64];
    COsCfgImpl::KernelVersion(aszCase[0], szVersion, sizeof(szVersion));
    EXPECT_STREQ(aszCase[1], szVersion) << aszCase[0];
  }
  char szSmall[4];
  COsCfgImpl::KernelVersion("5.4", szSmall, sizeof(szSmall));
  EXPECT_STREQ("050", szSmall);
}

TEST(CfgDistribution, ReleaseFiles)
{
  // The file, its text, the code and the name, which starts as "LINUX";
  // files without a version leave it.
  const std::tuple<const char *, const char *, uint32_t, const char *> acase[] = {
      {"/etc/SuSE-release", "openSUSE 10.3 (i586)\nversion = 10.3\nCODENAME = x\n", 8, "suse1003"},
      {"/etc/SuSE-release", "no version here\n", 8, "suse0000"},
      {"/etc/mandrake-release", "Release 10.1\n", 5, "mandrake1001"},
      {"/etc/mandrake-release", "Mandrake Linux release 10.1 (Official)\n", 5, "mandrake0000"},
      {"/etc/redhat-release", "Red Hat Enterprise Linux Server release 6.5 (Santiago)\n", 6, "redhat0605"},
      {"/etc/lsb-release", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\nDISTRIB_CODENAME=jammy\n", 9,
       "ubuntu2204"},
      {"/etc/debian-release", "12", 2, "LINUX"},
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
  EXPECT_EQ(0ull, infoEmpty.u64TotalPhysical);
}

TEST(CfgSystemInfo, RunningMachine)
{
  COsCfg::ResetSystemInfo();
  EXPECT_EQ(8u, strlen(COsCfg::InfoGetString(OS_CFGINFO_OS_KERNELVERSION)));
  EXPECT_GT(COsCfg::InfoGetLongLong(OS_CFGINFO_MEM_TOTALPHYSICAL), 0);
#if defined(__i386__) || defined(__x86_64__)
  EXPECT_EQ(12u, strlen(COsCfg::InfoGetString(OS_CFGINFO_CPU_VENDORSTRING)));
  EXPECT_TRUE(COsCfg::InfoGetBool(OS_CFGINFO_CPU_FLAG_SSE2));
#endif
  EXPECT_EQ(sysconf(_SC_PAGESIZE), COsCfg::InfoGetLong(OS_CFGINFO_CPU_PAGESIZE));
  EXPECT_STREQ("", COsCfg::InfoGetString(OS_CFGINFO_COUNT));
  EXPECT_EQ(0, COsCfg::InfoGetLong(OS_CFGINFO_COUNT));
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
