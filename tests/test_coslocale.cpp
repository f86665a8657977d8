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
  void TearDown() override { g_poslocale = m_poslocaleSaved; }
  COsLocale *m_poslocaleSaved = g_poslocale;
};

// Every row sits at its own value and has a name of its own; the closing
// row's name is empty (as is the first row's).
TEST(LanguageTable, RowsAreConsistent)
{
  std::set<std::string> setLexicon;
  for (uint32_t ii = 0; ii < OS_LANGUAGE_COUNT; ii++)
  {
    EXPECT_EQ(ii, s_oslanguagelookup[ii].eoslanguage);
    EXPECT_TRUE(setLexicon.insert(s_oslanguagelookup[ii].szLexicon).second || ii == OS_LANGUAGE_LAST) << ii;
  }
  EXPECT_STREQ("", s_oslanguagelookup[OS_LANGUAGE_LAST].szLexicon);
}

// A new object starts in US English and publishes itself; the
// language changes only to a row of the table.
TEST_F(LocaleTest, SetLanguageByValueNameAndTwainCodeButNeverOutsideTheTable)
{
  COsLocale oslocale;
  EXPECT_EQ(&oslocale, g_poslocale);
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(OS_LANGUAGE_AUTO));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(OS_LANGUAGE_LAST));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage("xx_xxx"));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(static_cast<const char *>(nullptr)));
  EXPECT_STREQ("en_usa", oslocale.GetLanguageName());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguage(130u));
  EXPECT_STREQ("vi_vnm", oslocale.GetLanguageName());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguage("JP_JPN"));
  EXPECT_EQ(78u, oslocale.GetCurrentLanguage());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguageTwain(52));
  EXPECT_STREQ("en_gbr", oslocale.GetLanguageName());
}

TEST(LanguageFind, SearchesByColumn)
{
  EXPECT_EQ(1u, COsLocale::FindLanguageId("AUTO"));
  EXPECT_STREQ("English_UK", COsLocale::FindLanguageDocumentation(53));
  EXPECT_STREQ("", COsLocale::FindLanguageDocumentation(OS_LANGUAGE_COUNT));
}

}  // namespace
