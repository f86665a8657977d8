// test_coscfg_info.cpp: the parsers of the system files, fed with sample
// texts, and the information accessors on the running machine.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "os_testutil.h"

namespace
{

std::string Kernel(const char *a_szRelease)
{
  char szVersion[64];
  COsCfgImpl::KernelVersion(a_szRelease, szVersion, sizeof(szVersion));
  return szVersion;
}

// Code and name of a release file's text; the name starts as "LINUX".
std::pair<uint32_t, std::string> Release(const char *a_szFile, const char *a_szText)
{
  char szName[512] = "LINUX";
  const uint32_t u32Code = COsCfgImpl::Distribution(a_szFile, a_szText, szName, sizeof(szName));
  return {u32Code, szName};
}

}  // namespace

TEST(CfgKernelVersion, EightDigitsFromTheRelease)
{
  EXPECT_EQ("02063200", Kernel("2.6.32-5-686"));
  EXPECT_EQ("05150000", Kernel("5.15.0-91-generic"));
  EXPECT_EQ("03100000", Kernel("3.10"));
  EXPECT_EQ("06000000", Kernel("6"));
  EXPECT_EQ("00000000", Kernel(""));
  EXPECT_EQ("00010000", Kernel("x.1.y"));  // non-numeric pieces read as 0
  EXPECT_EQ("12304000", Kernel("123.4"));  // a wide piece pushes the rest right
  EXPECT_EQ("01020304", Kernel("1.2.3.4.5.6.7"));
  // Only the first 32 characters of the release count.
  EXPECT_EQ("01000000", Kernel((std::string("1.") + std::string(40, '0') + ".9").c_str()));
  char szSmall[4];
  COsCfgImpl::KernelVersion("5.4", szSmall, sizeof(szSmall));
  EXPECT_STREQ("050", szSmall);
}

TEST(CfgDistribution, VersionedReleaseFiles)
{
  EXPECT_EQ(std::make_pair(8u, std::string("suse1003")),
            Release("/etc/SuSE-release", "openSUSE 10.3 (i586)\nversion = 10.3\nCODENAME = x\n"));
  EXPECT_EQ(std::make_pair(8u, std::string("suse1100")),
            Release("/etc/SuSE-release", "SUSE Linux Enterprise Server 11\nVERSION = 11\nPATCHLEVEL = 4\n"));
  EXPECT_EQ(std::make_pair(8u, std::string("suse0000")), Release("/etc/SuSE-release", "no version here\n"));
  EXPECT_EQ(std::make_pair(5u, std::string("mandrake1001")),
            Release("/etc/mandrake-release", "Release 10.1\n"));
  EXPECT_EQ(std::make_pair(5u, std::string("mandrake0000")),
            Release("/etc/mandrake-release", "Mandrake Linux release 10.1 (Official)\n"));
  EXPECT_EQ(std::make_pair(3u, std::string("fedora3800")),
            Release("/etc/fedora-release", "Fedora release 38 (Thirty Eight)\n"));
  EXPECT_EQ(std::make_pair(6u, std::string("redhat0605")),
            Release("/etc/redhat-release", "Red Hat Enterprise Linux Server release 6.5 (Santiago)\n"));
  EXPECT_EQ(
      std::make_pair(9u, std::string("ubuntu2204")),
      Release("/etc/lsb-release", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\nDISTRIB_CODENAME=jammy\n"));
}

TEST(CfgDistribution, CodeOnlyFilesAndLsbWithoutUbuntu)
{
  EXPECT_EQ(std::make_pair(2u, std::string("LINUX")), Release("/etc/debian-release", "12"));
  EXPECT_EQ(std::make_pair(7u, std::string("LINUX")), Release("/etc/slackware-release", "Slackware 15.0"));
  EXPECT_EQ(std::make_pair(10u, std::string("LINUX")), Release("/etc/yellowdog-release", ""));
  EXPECT_EQ(std::make_pair(4u, std::string("LINUX")), Release("/etc/gentoo-release", "Gentoo"));
  EXPECT_EQ(std::make_pair(0u, std::string("LINUX")),
            Release("/etc/lsb-release", "DISTRIB_ID=LinuxMint\nDISTRIB_RELEASE=21.1\n"));
  EXPECT_EQ(std::make_pair(0u, std::string("LINUX")), Release("/etc/other-release", "Ubuntu"));
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
  EXPECT_EQ(2048ull * 1024, info.u64TotalPageFile);
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
  const long lOnline = sysconf(_SC_NPROCESSORS_ONLN);
  EXPECT_EQ(lOnline > 0 ? lOnline : 1, COsCfg::InfoGetLong(35));
  EXPECT_EQ(COsCfg::NumberOfProcessors(), COsCfg::InfoGetLong(OS_CFGINFO_CPU_TOTAL));
  EXPECT_EQ(8u, strlen(COsCfg::InfoGetString(OS_CFGINFO_OS_KERNELVERSION)));
  EXPECT_STREQ(COsCfg::InfoGetString(OS_CFGINFO_OS_KERNELVERSION),
               COsCfg::InfoGetString(OS_CFGINFO_OS_VERSION));
  EXPECT_STREQ("0", COsCfg::InfoGetString(OS_CFGINFO_OS_BUILDSTRING));
  EXPECT_NE(0u, strlen(COsCfg::InfoGetString(OS_CFGINFO_OS_NAME)));
  EXPECT_EQ(3, COsCfg::InfoGetLong(OS_CFGINFO_OS_PLATFORM));
  EXPECT_GT(COsCfg::InfoGetLongLong(OS_CFGINFO_MEM_TOTALPHYSICAL), 0);
  EXPECT_LE(COsCfg::InfoGetLong(OS_CFGINFO_MEM_LOAD), 100);
  EXPECT_EQ(static_cast<long>(sizeof(void *) * 8), COsCfg::InfoGetLong(OS_CFGINFO_CPU_PROCESSBITS));
#if defined(__i386__) || defined(__x86_64__)
  EXPECT_EQ(12u, strlen(COsCfg::InfoGetString(OS_CFGINFO_CPU_VENDORSTRING)));
  EXPECT_TRUE(COsCfg::InfoGetBool(OS_CFGINFO_CPU_FLAG_FPU));
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
