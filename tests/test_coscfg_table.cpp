// test_coscfg_table.cpp: addressing the table: bounds of the fixed area, the
// caller's dynamic area with its asymmetric bounds, lookups by name and the
// key table's first-match rule; the configuration report: its file name, its
// sections in order, the names of unnamed tags, the dynamic area, its modes
// and the names it refuses to write through.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "cosfile_testutil.h"
#include "os_coscfg.h"
#include "os_coscfgimpl.h"
#include "test_coscfg.h"

namespace
{

// Two dynamic sections and five dynamic tags: 3 rows, 6 columns. The data
// array is exactly 3 x 6, so that a read past it shows under the address
// sanitizer.
struct DynamicArea
{
  OsCfgLookup aoscfglookupSection[3] = {{"dsIdentity", 1001}, {"Extra", 1002}, {nullptr, 1000}};
  OsCfgLookup aoscfglookupTag[6] = {{"writeable", 1001}, {"t2", 1002}, {"t3", 1003},
                                    {"t4", 1004},        {"t5", 1005}, {nullptr, 1000}};
  const char *apszData[3 * 6] = {};
  // The arguments block that hands the area to the configuration.
  std::string Arguments() const
  {
    char szArguments[512];
    snprintf(szArguments, sizeof(szArguments),
             "<arguments>\n\t<cfgsectionptr>%p</cfgsectionptr>\n\t<cfgtagptr>%p</cfgtagptr>\n\t<cfgdataptr>%p"
             "</cfgdataptr>\n</arguments>",
             static_cast<const void *>(aoscfglookupSection), static_cast<const void *>(aoscfglookupTag),
             static_cast<const void *>(apszData));
    return szArguments;
  }
};

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

TEST(CfgTable, FixedAreaBounds)
{
  CfgHome home;
  COsCfg *poscfg = home.Make();
  const uint32_t aau32Bad[][2] = {{0, 1}, {6, 1}, {1, 0}, {1, 363}, {1, 1000}, {1000, 1}, {1000, 1001}};
  for (const auto &au32 : aau32Bad)
  {
    SCOPED_TRACE(std::to_string(au32[0]) + "," + std::to_string(au32[1]));
    EXPECT_STREQ("", poscfg->Get(au32[0], au32[1]));
    EXPECT_EQ(EOSSTS_BADARG, poscfg->Set(au32[0], au32[1], "v"));
  }
  EXPECT_EQ(EOSSTS_OK, poscfg->Set(5, 362, "corner"));
  EXPECT_STREQ("corner", poscfg->Get(5, 362));
  EXPECT_EQ(EOSSTS_OK, poscfg->Set(1, 269, nullptr));
  EXPECT_STREQ("", poscfg->Get(1, 269));
  // Set stores the pointer, not a copy.
  char szValue[8] = "one";
  ASSERT_EQ(EOSSTS_OK, poscfg->Set(OS_CFGSECTION_MAIN, OS_CFGTAG_FORCEPROBE, szValue));
  strcpy(szValue, "two");
  EXPECT_EQ(szValue, poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_FORCEPROBE));
}

TEST(CfgTable, DynamicAreaBoundsAreAsymmetricButStayInsideTheArray)
{
  CfgHome home;
  DynamicArea area;
  COsCfg *poscfg = home.Make(EOSCFGENTITY_DRIVER, area.Arguments().c_str());
  // Reads test the section against the 6 columns, writes against the 3
  // rows; a read past the 18 entries gives the empty string.
  EXPECT_STREQ("", poscfg->Get(1003, 1000));
  EXPECT_EQ(EOSSTS_BADARG, poscfg->Set(1003, 1001, "v"));
  EXPECT_STREQ("", poscfg->Get(1006, 1001));
  EXPECT_STREQ("", poscfg->Get(1001, 1006));
  EXPECT_EQ(EOSSTS_BADARG, poscfg->Set(1001, 1006, "v"));
  EXPECT_EQ(EOSSTS_OK, poscfg->Set(1002, 1005, "last"));
  EXPECT_STREQ("last", area.apszData[2 * 6 + 5]);
  EXPECT_STREQ("last", poscfg->Get(1002, 1005));
  // Id 1000 has room but names nothing.
  EXPECT_EQ(EOSSTS_OK, poscfg->Set(1000, 1000, "zero"));
  EXPECT_STREQ("zero", area.apszData[0]);
}

// Section and key names ignore case; unknown names read as empty.
TEST(CfgTable, NamesFindTheFixedArea)
{
  CfgHome home;
  COsCfg *poscfg = home.MakeWith("[dsIdentity]\nForceProbe=5\n");
  EXPECT_STREQ("5", poscfg->Get("DSIDENTITY", "forceprobe"));
  EXPECT_STREQ("false", poscfg->Get("simulation", "SIMULATION"));
  EXPECT_STREQ("", poscfg->Get("Nowhere", "ForceProbe"));
  EXPECT_STREQ("", poscfg->Get("dsIdentity", "NoSuchKey"));
  EXPECT_STREQ("", poscfg->Get(nullptr, nullptr));
}

TEST(CfgTable, KeyTableFirstMatchWins)
{
  EXPECT_STREQ("DesktopDirectory", COsCfgImpl::TagName(OS_CFGTAG_SHAREDDESKTOPDIRECTORY));
  EXPECT_EQ(0u, COsCfgImpl::TagFromName("N51"));
  EXPECT_EQ(0u, COsCfgImpl::SectionFromName("qrb_all"));
  // 358 named tags: all of 1..362 but 62, 257, 258 and 269.
  int iNamed = 0;
  for (uint32_t u32Tag = 1; u32Tag <= OS_CFGTAG_COUNT; u32Tag++)
  {
    const char *szName = COsCfgImpl::TagName(u32Tag);
    iNamed += szName ? 1 : 0;
    if (szName && u32Tag != OS_CFGTAG_SHAREDDESKTOPDIRECTORY)
    {
      EXPECT_EQ(u32Tag, COsCfgImpl::TagFromName(szName)) << szName;
    }
  }
  EXPECT_EQ(358, iNamed);
  // The file sets only the first of the two desktop tags.
  std::unique_ptr<COsCfgImpl> poscfgimpl(new (std::nothrow) COsCfgImpl("x", EOSCFGENTITY_DRIVER));
  char szText[] = "[dsIdentity]\nDesktopDirectory=/only6\n";
  poscfgimpl->ParseText(szText);
  EXPECT_STREQ("/only6", poscfgimpl->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_DESKTOPDIRECTORY));
  EXPECT_STREQ("", poscfgimpl->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_SHAREDDESKTOPDIRECTORY));
}

TEST(CfgTable, ModelNameAndDestruction)
{
  {
    CfgHome home;
    COsCfg *poscfg = home.Make();
    COsCfg::SetModelName("other");
    EXPECT_STREQ("other", poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_MODELDIRECTORY));
    EXPECT_STREQ("scanmodel", poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_MODELDIRECTORYREAL));
    COsCfg::SetModelName(std::string(600, 'm').c_str());
    EXPECT_EQ(511u, strlen(poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_MODELDIRECTORY)));
  }
  // Destruction clears the global; the statics then need an object.
  EXPECT_EQ(nullptr, g_poscfg);
  EXPECT_EQ(EOSSTS_FAIL, COsCfg::Dump("/nonexistent"));
  COsCfg::SetModelName("ignored");  // nothing to change, no crash
}

TEST(CfgDump, SectionsInOrderWithCrLf)
{
  CfgHome home;
  ostest::ScopedEnv env("QRB_CFGDUMP_MARK", "here");
  home.MakeWith("[SupportedSizes]\nN7=A5\n");
  const std::string strText = DumpText(home, "dump/deeper");
  EXPECT_EQ(std::string::npos, std::regex_replace(strText, std::regex("\r\n"), "").find_first_of("\r\n"));
  const std::vector<std::string> vecLines = ostest::SplitLines(strText);
  // Each line below comes after the one before it.
  int iPrevious = 0;
  for (const std::string &strLine : {std::string("QRB_CFGDUMP_MARK=here"), std::string("OS_CFGSECTION_MAIN"),
                                     Value("HomeDirectory", home.Home()), Value("0x00003e", "0"),
                                     std::string("OS_CFGSECTION_SUPPORTEDSIZES"), Value("N07", "A5"),
                                     std::string("*** There are no local items ************************"),
                                     "m_szLogDirectory                    = <" + home.Root() + "/log>"})
  {
    const int iLine = FindLine(vecLines, strLine);
    EXPECT_LT(iPrevious, iLine) << strLine;
    iPrevious = std::max(iPrevious, iLine);
  }
}

TEST(CfgDump, DynamicAreaAndNamesCut)
{
  CfgHome home;
  DynamicArea area;
  const std::string strLong(60, 'k');
  area.aoscfglookupTag[1].szName = strLong.c_str();
  home.WriteIni("[dsIdentity]\nwriteable=/srv/w\n");
  // The file fills the area, which names find whatever their case.
  EXPECT_STREQ("/srv/w",
               home.Make(EOSCFGENTITY_DRIVER, area.Arguments().c_str())->Get("DSIDENTITY", "Writeable"));
  const std::vector<std::string> vecLines = ostest::SplitLines(DumpText(home, "dump"));
  const int iLocal = FindLine(vecLines, "*** Local Items *************************************");
  ASSERT_LT(0, iLocal);
  ASSERT_LT(static_cast<size_t>(iLocal + 4), vecLines.size());
  EXPECT_EQ("[dsIdentity]", vecLines[iLocal + 2]);
  EXPECT_EQ(Value("writeable", "/srv/w"), vecLines[iLocal + 3]);
  EXPECT_EQ(strLong.substr(0, 48) + " <>", vecLines[iLocal + 4]);
}

TEST(CfgDump, FileNamesByFolderAndEnvironment)
{
  CfgHome home;
  home.Make(EOSCFGENTITY_APPLICATION);
  ASSERT_EQ(EOSSTS_OK, COsCfg::Dump(nullptr));  // the log directory
  EXPECT_TRUE(ostest::FileExists(home.Root() + "/log/qrboscfg.txt"));
  // A folder that cannot be made.
  ostest::WriteFile(home.Tmp() / "plain", "x");
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
  home.Make();
  const std::string strVictim = home.Root() + "/log/victim";
  ASSERT_TRUE(ostest::WriteFile(strVictim, "secret"));
  ASSERT_EQ(0, chmod(strVictim.c_str(), 0600));
  ASSERT_EQ(0, link(strVictim.c_str(), (home.Root() + "/log/qrboscfg.txt").c_str()));
  EXPECT_EQ(EOSSTS_IOERROR, COsCfg::Dump(nullptr));
  EXPECT_EQ(0600, ostest::ModeOf(strVictim));
  EXPECT_EQ("secret", ostest::ReadFile(strVictim));
}
