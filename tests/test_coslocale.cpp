// test_coslocale.cpp: the language table keeps its own consistency, and the
// locale object selects languages by value, name and TWAIN code without ever
// leaving the table.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "os_coslocale.h"

namespace
{

class LocaleTest : public ::testing::Test
{
protected:
  void SetUp() override { m_poslocaleSaved = g_poslocale; }
  void TearDown() override { g_poslocale = m_poslocaleSaved; }
  COsLocale *m_poslocaleSaved = nullptr;
};

TEST(LanguageTable, RowsAreConsistent)
{
  for (uint32_t ii = 0; ii < OS_LANGUAGE_COUNT; ii++)
  {
    EXPECT_EQ(ii, s_oslanguagelookup[ii].eoslanguage);
  }
  EXPECT_STREQ("", s_oslanguagelookup[OS_LANGUAGE_LAST].szLexicon);
  std::set<std::string> setLexicon;
  for (uint32_t ii = 2; ii <= 130; ii++)
  {
    const OsLanguageLookup &lookup = s_oslanguagelookup[ii];
    const std::string strName = lookup.szLexicon;
    EXPECT_TRUE(setLexicon.insert(strName).second) << "duplicate " << strName;
    EXPECT_EQ(strName.compare(0, 6, "twain_") == 0, std::string(lookup.szTag).empty()) << strName;
    // A neutral row is its own neutral and shares the row's language (Bokmal
    // and Nynorsk are written as Norwegian).
    const OsLanguageLookup &neutral = s_oslanguagelookup[lookup.eoslanguageNeutral];
    EXPECT_EQ(neutral.eoslanguage, neutral.eoslanguageNeutral) << strName;
    std::string strLanguage = strName.substr(strName.compare(0, 6, "twain_") ? 0 : 6, 2);
    strLanguage = (strLanguage == "nb" || strLanguage == "nn") ? "no" : strLanguage;
    EXPECT_EQ(strLanguage, std::string(neutral.szLexicon).substr(0, 2)) << strName;
  }
}

// A new object starts in US English and publishes itself for good; the
// language changes only to a row of the table.
TEST_F(LocaleTest, SetLanguageByValueNameAndTwainCodeButNeverOutsideTheTable)
{
  COsLocale *poslocale = new COsLocale;
  EXPECT_EQ(poslocale, g_poslocale);
  EXPECT_EQ(2, poslocale->GetMeasurement());
  COsLocale &oslocale = *poslocale;
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(OS_LANGUAGE_UNDEFINED));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(OS_LANGUAGE_AUTO));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(OS_LANGUAGE_LAST));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage("xx_xxx"));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(static_cast<const char *>(nullptr)));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguageTwain(9999));
  EXPECT_STREQ("en_usa", oslocale.GetLanguageName());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguage(130u));
  EXPECT_STREQ("vi_vnm", oslocale.GetLanguageName());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguage("JP_JPN"));
  EXPECT_EQ(78u, oslocale.GetCurrentLanguage());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguageTwain(52));
  EXPECT_STREQ("en_gbr", oslocale.GetLanguageName());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguageTwain(13));
  EXPECT_STREQ("twain_en_usa", oslocale.GetLanguageName());
  delete poslocale;
  EXPECT_EQ(poslocale, g_poslocale);  // the destructor leaves the global alone
}

TEST(LanguageFind, SearchesByColumn)
{
  EXPECT_EQ(53u, COsLocale::FindLanguageId("en_gbr"));
  EXPECT_EQ(1u, COsLocale::FindLanguageId("AUTO"));
  EXPECT_EQ(0u, COsLocale::FindLanguageId(""));
  EXPECT_EQ(0u, COsLocale::FindLanguageId(nullptr));
  EXPECT_STREQ("fr_fra", COsLocale::FindLanguageName(59));
  EXPECT_STREQ("English_UK", COsLocale::FindLanguageDocumentation(53));
  EXPECT_STREQ("", COsLocale::FindLanguageName(132));
  EXPECT_STREQ("", COsLocale::FindLanguageDocumentation(4000000000u));
}

}  // namespace
