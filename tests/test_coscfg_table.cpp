// test_coscfg_table.cpp: addressing the table: bounds of the fixed area, the
// caller's dynamic area with its asymmetric bounds, lookups by name and the
// key table's first-match rule.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

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
  std::string Arguments() { return CfgDynamicArguments(aoscfglookupSection, aoscfglookupTag, apszData); }
};

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
  EXPECT_STREQ("", poscfg->Get(1005, 1001));
  EXPECT_STREQ("", poscfg->Get(1003, 1000));
  EXPECT_EQ(EOSSTS_BADARG, poscfg->Set(1005, 1001, "v"));
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
  // More sections than tags (6 rows, 3 columns): a section above the column
  // count is written but never read back.
  OsCfgLookup aoscfglookupSection[6] = {{"s1", 1001}, {"s2", 1002}, {"s3", 1003},
                                        {"s4", 1004}, {"s5", 1005}, {nullptr, 1000}};
  OsCfgLookup aoscfglookupTag[3] = {{"t1", 1001}, {"t2", 1002}, {nullptr, 1000}};
  const char *apszTall[6 * 3] = {};
  poscfg = home.Make(EOSCFGENTITY_DRIVER,
                     CfgDynamicArguments(aoscfglookupSection, aoscfglookupTag, apszTall).c_str());
  EXPECT_EQ(EOSSTS_OK, poscfg->Set(1005, 1002, "tall"));
  EXPECT_STREQ("tall", apszTall[5 * 3 + 2]);
  EXPECT_STREQ("", poscfg->Get(1005, 1002));
}

TEST(CfgTable, NoDynamicAreaUnlessAllThreePointersAndBothTablesHoldEntries)
{
  CfgHome home;
  DynamicArea area;
  std::string strArguments = area.Arguments();
  strArguments.replace(strArguments.find("<cfgdataptr>"), strlen("<cfgdataptr>"), "<nodataptr>");
  COsCfg *poscfg = home.Make(EOSCFGENTITY_DRIVER, strArguments.c_str());
  EXPECT_EQ(EOSSTS_BADARG, poscfg->Set(1001, 1001, "v"));
  area.aoscfglookupTag[0].szName = nullptr;  // an empty tag table
  poscfg = home.Make(EOSCFGENTITY_DRIVER, area.Arguments().c_str());
  EXPECT_EQ(EOSSTS_BADARG, poscfg->Set(1001, 1001, "v"));
  EXPECT_EQ(nullptr, area.apszData[6 + 1]);
}

TEST(CfgTable, FileFillsTheDynamicAreaAndNamesFindIt)
{
  CfgHome home;
  DynamicArea area;
  home.WriteIni("[DSIDENTITY]\nWriteable=/w\nForceProbe=5\n[Extra]\nt5=five\nForceProbe=6\n");
  COsCfg *poscfg = home.Make(EOSCFGENTITY_DRIVER, area.Arguments().c_str());
  EXPECT_STREQ("/w", poscfg->Get("dsidentity", "WRITEABLE"));
  EXPECT_STREQ("five", poscfg->Get("extra", "t5"));
  // The fixed keys of a dynamic-only section go nowhere; those of a section
  // that is both are stored in the fixed area.
  EXPECT_STREQ("5", poscfg->Get("dsIdentity", "ForceProbe"));
  EXPECT_STREQ("", poscfg->Get("Extra", "ForceProbe"));
  // Names of the fixed area.
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
  std::unique_ptr<COsCfgImpl> poscfgimpl(new COsCfgImpl("x", EOSCFGENTITY_DRIVER));
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
    EXPECT_STREQ("scanmodel", poscfg->Get(OS_CFGSECTION_MAIN, OS_CFGTAG_MODELDIRECTORY));
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
