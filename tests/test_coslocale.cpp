// test_coslocale.cpp: the language table keeps its fixed rows and its own
// consistency, and the locale object selects languages by value, name and
// TWAIN code without ever leaving the table.
#include <gtest/gtest.h>

#include <cstring>
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

TEST(LanguageTable, RowsCarryTheirOwnValueEndAt131AndHoldTheirFixedValues)
{
  for (uint32_t ii = 0; ii < OS_LANGUAGE_COUNT; ii++)
  {
    EXPECT_EQ(ii, s_oslanguagelookup[ii].eoslanguage);
    EXPECT_EQ(0u, s_oslanguagelookup[ii].u32Reserved);
  }
  EXPECT_STREQ("", s_oslanguagelookup[0].szLexicon);
  EXPECT_STREQ("auto", s_oslanguagelookup[1].szLexicon);
  EXPECT_STREQ("af_zaf", s_oslanguagelookup[2].szLexicon);
  EXPECT_STREQ("vi_vnm", s_oslanguagelookup[130].szLexicon);
  EXPECT_STREQ("", s_oslanguagelookup[131].szLexicon);
  const struct
  {
    uint32_t u32Row;
    const char *szLexicon;
    uint32_t u32Neutral;
    uint32_t u32CodePage;
    const char *szLocale;
    const char *szDocumentation;
    const char *szTag;
    int32_t i32Twain;
  } arow[] = {{2, "af_zaf", 2, 1252, "afrikaans", "Afrikaans", "af-ZA", 14},
              {39, "en_usa", 39, 1252, "english", "English", "en-US", 2},
              {53, "en_gbr", 39, 1252, "english-uk", "English_UK", "en-GB", 52},
              {54, "twain_en_usa", 39, 1252, "", "", "", 13},
              {59, "fr_fra", 59, 1252, "french", "French", "fr-FR", 5},
              {65, "de_deu", 65, 1252, "german", "German", "de-DE", 6},
              {78, "jp_jpn", 78, 932, "japanese", "Japanese", "ja-JP", 68}};
  for (const auto &row : arow)
  {
    const OsLanguageLookup &lookup = s_oslanguagelookup[row.u32Row];
    EXPECT_STREQ(row.szLexicon, lookup.szLexicon);
    EXPECT_EQ(row.u32Neutral, lookup.eoslanguageNeutral) << row.szLexicon;
    EXPECT_EQ(row.u32CodePage, lookup.u32CodePage) << row.szLexicon;
    EXPECT_STREQ(row.szLocale, lookup.szLocale);
    EXPECT_STREQ(row.szDocumentation, lookup.szDocumentation);
    EXPECT_STREQ(row.szTag, lookup.szTag);
    EXPECT_EQ(row.i32Twain, lookup.i32Twain) << row.szLexicon;
  }
  // The family's own spellings stay.
  EXPECT_STREQ("arabic-eqypt", s_oslanguagelookup[COsLocale::FindLanguageId("ar_egy")].szLocale);
  EXPECT_STREQ("english-ire", s_oslanguagelookup[COsLocale::FindLanguageId("en_irl")].szLocale);
  EXPECT_STREQ("fi-FL", s_oslanguagelookup[COsLocale::FindLanguageId("fi_fin")].szTag);
  EXPECT_STREQ("ru_RU", s_oslanguagelookup[COsLocale::FindLanguageId("ru_rus")].szTag);
}

TEST(LanguageTable, RealRowsAreConsistent)
{
  const std::set<uint32_t> setCodePage = {1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257,
                                          1258, 874,  932,  936,  949,  950,  9999};
  std::set<std::string> setLexicon;
  for (uint32_t ii = 2; ii <= 130; ii++)
  {
    const OsLanguageLookup &lookup = s_oslanguagelookup[ii];
    EXPECT_TRUE(setLexicon.insert(lookup.szLexicon).second) << "duplicate " << lookup.szLexicon;
    EXPECT_EQ(1u, setCodePage.count(lookup.u32CodePage)) << lookup.szLexicon;
    // A neutral row is its own neutral and shares its code name's language.
    const OsLanguageLookup &neutral = s_oslanguagelookup[lookup.eoslanguageNeutral];
    EXPECT_EQ(neutral.eoslanguage, neutral.eoslanguageNeutral) << lookup.szLexicon;
    std::string strName = lookup.szLexicon;
    if (strName.compare(0, 6, "twain_") == 0)
    {
      EXPECT_STREQ("", lookup.szTag) << strName;
      strName = strName.substr(6);
    }
    else
    {
      EXPECT_STRNE("", lookup.szTag) << strName;
      EXPECT_STRNE("", lookup.szDocumentation) << strName;
    }
    // Bokmal and Nynorsk are written as Norwegian.
    std::string strLanguage = strName.substr(0, 2);
    if (strLanguage == "nb" || strLanguage == "nn")
    {
      strLanguage = "no";
    }
    EXPECT_EQ(strLanguage, std::string(neutral.szLexicon).substr(0, 2)) << lookup.szLexicon;
    EXPECT_GE(lookup.i32Twain, 0) << lookup.szLexicon;
  }
}

TEST_F(LocaleTest, ConstructorSelectsEnglishAndPublishesItselfForGood)
{
  COsLocale *poslocale = new COsLocale;
  EXPECT_EQ(poslocale, g_poslocale);
  EXPECT_EQ(39u, poslocale->GetCurrentLanguage());
  EXPECT_STREQ("en_usa", poslocale->GetLanguageName());
  EXPECT_EQ(2, poslocale->GetMeasurement());
  delete poslocale;
  EXPECT_EQ(poslocale, g_poslocale);  // the destructor leaves the global alone
}

TEST_F(LocaleTest, SetLanguageByValueNameAndTwainCodeButNeverOutsideTheTable)
{
  COsLocale oslocale;
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(OS_LANGUAGE_UNDEFINED));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(OS_LANGUAGE_AUTO));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(OS_LANGUAGE_LAST));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(1000u));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage("xx_xxx"));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguage(static_cast<const char *>(nullptr)));
  EXPECT_EQ(EOSSTS_BADARG, oslocale.SetLanguageTwain(9999));
  EXPECT_EQ(39u, oslocale.GetCurrentLanguage());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguage(130u));
  EXPECT_STREQ("vi_vnm", oslocale.GetLanguageName());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguage(OS_LANGUAGE_DE_DEU));
  EXPECT_STREQ("de_deu", oslocale.GetLanguageName());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguage("JP_JPN"));
  EXPECT_EQ(78u, oslocale.GetCurrentLanguage());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguageTwain(52));
  EXPECT_STREQ("en_gbr", oslocale.GetLanguageName());
  EXPECT_EQ(EOSSTS_OK, oslocale.SetLanguageTwain(13));
  EXPECT_STREQ("twain_en_usa", oslocale.GetLanguageName());
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
