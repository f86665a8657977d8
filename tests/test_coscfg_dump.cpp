// test_coscfg_dump.cpp: the configuration report: its file name, its
// sections in order, the names of unnamed tags, the dynamic area, its modes
// and the names it refuses to write through.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include "cosfile_testutil.h"
#include "os_coscfg.h"
#include "os_testlog.h"
#include "test_coscfg.h"

namespace
{

// Index of the first line equal to a_strLine, or -1.
int FindLine(const std::vector<std::string> &a_vecLines, const std::string &a_strLine)
{
  const auto it = std::find(a_vecLines.begin(), a_vecLines.end(), a_strLine);
  return it == a_vecLines.end() ? -1 : static_cast<int>(it - a_vecLines.begin());
}

std::string Value(const char *a_szName, const std::string &a_strValue)
{
  char szLine[256];
  snprintf(szLine, sizeof(szLine), "%-48s <%s>", a_szName, a_strValue.c_str());
  return szLine;
}

// Dumps into a folder below the home's temporary directory; gives the text.
std::string DumpText(const CfgHome &a_home, const std::string &a_strFolder)
{
  const std::string strFolder = a_home.Tmp() / a_strFolder;
  EXPECT_EQ(EOSSTS_OK, COsCfg::Dump(strFolder.c_str()));
  return ostest::ReadFile(strFolder + "/qrboscfg.txt");
}

}  // namespace

TEST(CfgDump, SectionsInOrderWithCrLf)
{
  CfgHome home;
  ostest::ScopedEnv env("QRB_CFGDUMP_MARK", "here");
  home.MakeWith("[SupportedSizes]\nN7=A5\n");
  const std::string strText = DumpText(home, "dump/deeper");
  EXPECT_EQ(std::string::npos, std::regex_replace(strText, std::regex("\r\n"), "").find_first_of("\r\n"));
  EXPECT_EQ(0u, strText.find("\r\n*** Environmentals ***************************************\r\n\r\n"));
  const std::vector<std::string> vecLines = ostest::SplitLines(strText);
  // Each line below comes after the one before it.
  int iPrevious = 0;
  for (const std::string &strLine :
       {std::string("QRB_CFGDUMP_MARK=here"),
        std::string("*** CFG Info *********************************************"),
        "OS_CFGINFO_CPU_TOTAL.................." + std::to_string(COsCfg::NumberOfProcessors()),
        std::string("OS_CFGSECTION_MAIN"), Value("HomeDirectory", home.Home()), Value("0x00003e", "0"),
        std::string("OS_CFGSECTION_SUPPORTEDSIZES"), Value("N07", "A5"),
        Value("OS_CFGTAG_JPEGQUANTIZATION_CBCR_05", ""),
        std::string("*** There are no local items ************************"),
        std::string("*** Directories *************************************"),
        "m_szLogDirectory                    = <" + home.Root() + "/log>"})
  {
    const int iLine = FindLine(vecLines, strLine);
    EXPECT_LT(iPrevious, iLine) << strLine;
    iPrevious = std::max(iPrevious, iLine);
  }
  EXPECT_EQ(strText.find("*** There are no local items"), strText.rfind("*** There are no local items"));
  EXPECT_EQ(std::string::npos, strText.find("\r\n["));
}

TEST(CfgDump, DynamicAreaAndNamesCut)
{
  CfgHome home;
  const std::string strLong(60, 'k');
  OsCfgLookup aoscfglookupSection[] = {{"dsIdentity", 1001}, {nullptr, 1000}};
  OsCfgLookup aoscfglookupTag[] = {{"writeable", 1001}, {strLong.c_str(), 1002}, {nullptr, 1000}};
  const char *apszData[2 * 3] = {};
  home.WriteIni("[dsIdentity]\nwriteable=/srv/w\n");
  home.Make(EOSCFGENTITY_DRIVER, CfgDynamicArguments(aoscfglookupSection, aoscfglookupTag, apszData).c_str());
  const std::vector<std::string> vecLines = ostest::SplitLines(DumpText(home, "dump"));
  const int iLocal = FindLine(vecLines, "*** Local Items *************************************");
  ASSERT_LT(0, iLocal);
  ASSERT_LT(static_cast<size_t>(iLocal + 5), vecLines.size());
  EXPECT_EQ("[dsIdentity]", vecLines[iLocal + 2]);
  EXPECT_EQ(Value("writeable", "/srv/w"), vecLines[iLocal + 3]);
  EXPECT_EQ(strLong.substr(0, 48) + " <>", vecLines[iLocal + 4]);
  EXPECT_EQ("", vecLines[iLocal + 5]);
}

TEST(CfgDump, FileNamesByEntityFolderAndEnvironment)
{
  CfgHome home;
  home.Make(EOSCFGENTITY_APPLICATION);
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump(nullptr));  // the log directory
  EXPECT_TRUE(ostest::FileExists(home.Root() + "/log/qrboscfg.txt"));
  home.Make(EOSCFGENTITY_UTILITY);
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump(nullptr));
  EXPECT_TRUE(ostest::FileExists(home.Root() + "/log/qrboscfg_scanmodel.txt"));
  // A folder that cannot be made.
  ostest::WriteFile(home.Tmp() / "plain", "x");
  EXPECT_EQ(EOSSTS_IOERROR, COsCfg::Dump((home.Tmp() / "plain/sub").c_str()));
  EXPECT_EQ(EOSSTS_IOERROR, COsCfg::Dump((home.Tmp() / "plain").c_str()));
  // With QRB_OSCFGDIR the name carries the time as 17 digits.
  const std::string strDir = home.Tmp() / "oscfgdir";
  mkdir(strDir.c_str(), 0777);
  ostest::ScopedEnv env("QRB_OSCFGDIR", strDir.c_str());
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump(nullptr));
  const std::vector<std::string> vecNames = ostest::Listing(strDir);
  ASSERT_EQ(1u, vecNames.size());
  EXPECT_TRUE(std::regex_match(vecNames[0], std::regex("qrboscfg_[0-9]{17}\\.txt"))) << vecNames[0];
}

// The report gets the file object's modes: the configured creation mask in
// the log directory (below the root path), 0666 less the creation mask
// elsewhere, which the dump itself never changes.
TEST(CfgDump, ModesOfTheReport)
{
  CfgHome home;
  home.MakeWith("[dsIdentity]\nForceFileCreationMask=0604\n");
  const mode_t modeMask = umask(027);
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump(nullptr));
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump((home.Tmp() / "elsewhere").c_str()));
  EXPECT_EQ(027, umask(modeMask));
  EXPECT_EQ(0604, ostest::ModeOf(home.Root() + "/log/qrboscfg.txt"));
  EXPECT_EQ(0640, ostest::ModeOf(home.Tmp() / "elsewhere/qrboscfg.txt"));
}

// A second hard link to the caller's own file, planted at the report's name
// in the (world-writable) log directory: the dump is refused, the file keeps
// its text and mode. (Links and FIFOs are refused by the same safe open.)
TEST(CfgDump, PlantedHardLinkIsRefused)
{
  CfgHome home;
  ostest::LogCapture capture;
  home.Make();
  const std::string strVictim = home.Root() + "/log/victim";
  ASSERT_TRUE(ostest::WriteFile(strVictim, "secret"));
  ASSERT_EQ(0, chmod(strVictim.c_str(), 0600));
  ASSERT_EQ(0, link(strVictim.c_str(), (home.Root() + "/log/qrboscfg.txt").c_str()));
  EXPECT_EQ(EOSSTS_IOERROR, COsCfg::Dump(nullptr));
  EXPECT_EQ(0600, ostest::ModeOf(strVictim));
  EXPECT_EQ("secret", ostest::ReadFile(strVictim));
}
