// os_coslocale.cpp: the current language and the static language table.
#include "os_coslocale.h"

#include <strings.h>

#include "os_coslog.h"

// Rows 2 to 130 are real languages; the spellings of names and tags are the
// family's own and stay as they are ("arabic-eqypt", "fi-FL", "ru_RU").
const OsLanguageLookup s_oslanguagelookup[OS_LANGUAGE_COUNT] = {
    {0, 0, "", 0, 0, "", "", "", 0},
    {1, 1, "auto", 0, 1252, "", "Auto", "", -1},
    {2, 2, "af_zaf", 0, 1252, "afrikaans", "Afrikaans", "af-ZA", 14},
    {3, 3, "sq_alb", 0, 1250, "albanian", "Albanian", "sq-AL", 15},
    {4, 4, "ar_arb", 0, 1256, "arabic", "Arabic", "ar-SA", 16},
    {5, 4, "ar_dza", 0, 1256, "arabic-algeria", "Arabic_Algeria", "ar-DZ", 17},
    {6, 4, "ar_bhr", 0, 1256, "arabic-bahrain", "Arabic_Bahrain", "ar-BH", 18},
    {7, 4, "ar_egy", 0, 1256, "arabic-eqypt", "Arabic_Egypt", "ar-EG", 19},
    {8, 4, "ar_irq", 0, 1256, "arabic-iraq", "Arabic_Iraq", "ar-IQ", 20},
    {9, 4, "ar_jor", 0, 1256, "arabic-jordan", "Arabic_Jordan", "ar-JO", 21},
    {10, 4, "ar_kwt", 0, 1256, "arabic-kuwait", "Arabic_Kuwait", "ar-KW", 22},
    {11, 4, "ar_lbn", 0, 1256, "arabic-lebanon", "Arabic_Lebanon", "ar-LB", 23},
    {12, 4, "ar_lby", 0, 1256, "arabic-libya", "Arabic_Libya", "ar-LY", 24},
    {13, 4, "ar_mar", 0, 1256, "arabic-morocco", "Arabic_Morocco", "ar-MA", 25},
    {14, 4, "ar_omn", 0, 1256, "arabic-oman", "Arabic_Oman", "ar-OM", 26},
    {15, 4, "ar_qat", 0, 1256, "arabic-qatar", "Arabic_Qatar", "ar-QA", 27},
    {16, 4, "twain_ar_arb", 0, 1256, "", "", "", 28},
    {17, 4, "ar_syr", 0, 1256, "arabic-syria", "Arabic_Syria", "ar-SY", 29},
    {18, 4, "ar_tun", 0, 1256, "arabic-tunisia", "Arabic_Tunisia", "ar-TN", 30},
    {19, 4, "ar_are", 0, 1256, "arabic-uae", "Arabic_UAE", "ar-AE", 31},
    {20, 4, "ar_yem", 0, 1256, "arabic-yemen", "Arabic_Yemen", "ar-YE", 32},
    {21, 21, "as_ind", 0, 9999, "assamese", "Assamese", "as-IN", 87},
    {22, 22, "eu_esp", 0, 1252, "basque", "Basque", "eu-ES", 33},
    {23, 23, "be_blr", 0, 1251, "belarusian", "Belarusian", "be-BY", 34},
    {24, 24, "bg_bgr", 0, 1251, "bulgarian", "Bulgarian", "bg-BG", 35},
    {25, 25, "ca_esp", 0, 1252, "catalan", "Catalan", "ca-ES", 36},
    {26, 26, "ch_chn", 0, 936, "chinese-simplified", "Chinese_Simplified", "zh-CN", 41},
    {27, 26, "twain_ch_prc", 0, 936, "", "", "", 39},
    {28, 26, "twain_ch_chn", 0, 936, "", "", "", 37},
    {29, 26, "ch_sgp", 0, 936, "chinese-singapore", "Chinese_Singapore", "zh-SG", 40},
    {30, 30, "ch_twn", 0, 950, "chinese-traditional", "Chinese_Traditional", "zh-TW", 43},
    {31, 30, "ch_hkg", 0, 950, "chinese-hongkong", "Chinese_HongKong", "zh-HK", 38},
    {32, 30, "ch_mac", 0, 950, "chinese-macau", "Chinese_Macau", "zh-MO", 43},
    {33, 30, "twain_ch_twn", 0, 950, "", "", "", 42},
    {34, 34, "hr_hrv", 0, 1250, "croatian", "Croatian", "hr-HR", 44},
    {35, 35, "cs_cze", 0, 1250, "czech", "Czech", "cs-CZ", 45},
    {36, 36, "da_dnk", 0, 1252, "danish", "Danish", "da-DK", 0},
    {37, 37, "nl_nld", 0, 1252, "dutch", "Dutch", "nl-NL", 1},
    {38, 37, "nl_bel", 0, 1252, "dutch-belgian", "Dutch_Belgian", "nl-BE", 46},
    {39, 39, "en_usa", 0, 1252, "english", "English", "en-US", 2},
    {40, 39, "en_aus", 0, 1252, "english-aus", "English_Australia", "en-AU", 47},
    {41, 39, "en_blz", 0, 1252, "english-belize", "English_Belize", "en-BZ", 2},
    {42, 39, "en_can", 0, 1252, "english-can", "English_Canada", "en-CA", 48},
    {43, 39, "en_029", 0, 1252, "english-caribbean", "English_Caribbean", "en-029", 2},
    {44, 39, "en_ind", 0, 1252, "english-india", "English_India", "en-IN", 2},
    {45, 39, "en_irl", 0, 1252, "english-ire", "English_Ireland", "en-IE", 49},
    {46, 39, "en_jam", 0, 1252, "english-jamaica", "English_Jamaica", "en-JM", 2},
    {47, 39, "en_mys", 0, 1252, "english-malaysia", "English_Malaysia", "en-MY", 2},
    {48, 39, "en_nzl", 0, 1252, "english-nz", "English_NewZealand", "en-NZ", 50},
    {49, 39, "en_phl", 0, 1252, "english-philippines", "English_Philippines", "en-PH", 2},
    {50, 39, "en_sgp", 0, 1252, "english-singapore", "English_Singapore", "en-SG", 2},
    {51, 39, "en_zaf", 0, 1252, "english-south africa", "English_SouthAfrica", "en-ZA", 51},
    {52, 39, "en_tto", 0, 1252, "english-trinidad y tobago", "English_Trinidad", "en-TT", 2},
    {53, 39, "en_gbr", 0, 1252, "english-uk", "English_UK", "en-GB", 52},
    {54, 39, "twain_en_usa", 0, 1252, "", "", "", 13},
    {55, 39, "en_zwe", 0, 1252, "english-zimbabwe", "English_Zimbabwe", "en-ZW", 2},
    {56, 56, "et_est", 0, 1257, "estonian", "Estonian", "et-EE", 53},
    {57, 57, "fo_fao", 0, 1252, "faeroese", "Faeroese", "fo-FO", 54},
    {58, 58, "fi_fin", 0, 1252, "finnish", "Finnish", "fi-FL", 4},
    {59, 59, "fr_fra", 0, 1252, "french", "French", "fr-FR", 5},
    {60, 59, "fr_bel", 0, 1252, "french-belgian", "French_Belgian", "fr-BE", 56},
    {61, 59, "fr_can", 0, 1252, "french-canadian", "French_Canadian", "fr-CA", 3},
    {62, 59, "fr_lux", 0, 1252, "french-luxembourg", "French_Luxembourg", "fr-LU", 57},
    {63, 59, "fr_mco", 0, 1252, "french-monaco", "French_Monaco", "fr-MC", 5},
    {64, 59, "fr_che", 0, 1252, "french-swiss", "French_Swiss", "fr-CH", 58},
    {65, 65, "de_deu", 0, 1252, "german", "German", "de-DE", 6},
    {66, 65, "de_aut", 0, 1252, "german-austrian", "German_Austrian", "de-AT", 59},
    {67, 65, "de_lie", 0, 1252, "german-liechtenstein", "German_Liechtenstein", "de-LI", 61},
    {68, 65, "de_lux", 0, 1252, "german-luxembourg", "German_Luxembourg", "de-LU", 60},
    {69, 65, "de_che", 0, 1252, "german-swiss", "German_Swiss", "de-CH", 62},
    {70, 70, "el_grc", 0, 1253, "greek", "Greek", "el-GR", 63},
    {71, 71, "he_isr", 0, 1255, "hebrew", "Hebrew", "he-IL", 64},
    {72, 72, "hi_ind", 0, 9999, "hindi", "Hindi", "hi-IN", 94},
    {73, 73, "hu_hun", 0, 1250, "hungarian", "Hungarian", "hu-HU", 65},
    {74, 74, "is_isl", 0, 1252, "icelandic", "Icelandic", "is-IS", 7},
    {75, 75, "id_idn", 0, 1252, "indonesian", "Indonesian", "id-ID", 66},
    {76, 76, "it_ita", 0, 1252, "italian", "Italian", "it-IT", 8},
    {77, 76, "it_che", 0, 1252, "italian-swiss", "Italian_Swiss", "it-CH", 67},
    {78, 78, "jp_jpn", 0, 932, "japanese", "Japanese", "ja-JP", 68},
    {79, 79, "ko_kor", 0, 949, "korean", "Korean", "ko-KR", 69},
    {80, 79, "twain_ko_kor", 0, 949, "", "", "", 70},
    {81, 81, "lv_lav", 0, 1257, "latvian", "Latvian", "lv-LV", 71},
    {82, 82, "lt_lit", 0, 1257, "lithuanian", "Lithuanian", "lt-LT", 72},
    {83, 83, "no_nor", 0, 1252, "norwegian", "Norwegian", "no-NO", 9},
    {84, 83, "nb_nor", 0, 1252, "norwegian-bokmal", "Norwegian_Bokmal", "nb-NO", 73},
    {85, 83, "nn_nor", 0, 1252, "norwegian-nynorsk", "Norwegian_Nynorsk", "nn-NO", 74},
    {86, 86, "fa_irn", 0, 1256, "farsi", "Farsi", "fa-IR", 55},
    {87, 87, "pl_pol", 0, 1250, "polish", "Polish", "pl-PL", 75},
    {88, 88, "pt_bra", 0, 1252, "portuguese-brazilian", "Portuguese_Brazil", "pt-BR", 76},
    {89, 89, "pt_prt", 0, 1252, "portuguese", "Portuguese", "pt-PT", 10},
    {90, 90, "ro_rom", 0, 1250, "romanian", "Romanian", "ro-RO", 77},
    {91, 91, "ru_rus", 0, 1251, "russian", "Russian", "ru_RU", 78},
    {92, 92, "sr_cyrl", 0, 1251, "serbian-cyrillic", "Serbian_Cyrillic", "sr-Cyrl", 106},
    {93, 92, "sr_cyrl_bih", 0, 1251, "serbian-cyrillic-bosnia", "Serbian_Cyrillic_Bosnia", "sr-Cyrl-BA", 106},
    {94, 92, "sr_cyrl_mne", 0, 1251, "serbian-cyrillic-montenegro", "Serbian_Cyrillic_Montenegro",
     "sr-Cyrl-ME", 106},
    {95, 92, "sr_cyrl_srb", 0, 1251, "serbian-cyrillic-serbia", "Serbian_Cyrillic_Serbia", "sr-Cyrl-RS", 106},
    {96, 96, "sr_latn", 0, 1250, "serbian-latin", "Serbian_Latin", "sr-Latn", 79},
    {97, 96, "sr_latn_bih", 0, 1250, "serbian-latin-bosnia", "Serbian_Latin_Bosnia", "sr-Latn-BA", 79},
    {98, 96, "sr_latn_mne", 0, 1250, "serbian-latin-montenegro", "Serbian_Latin_Montenegro", "sr-Latn-ME",
     79},
    {99, 96, "sr_latn_srb", 0, 1250, "serbian-latin-serbia", "Serbian_Latin_Serbia", "sr-Latn-RS", 79},
    {100, 100, "sk_svk", 0, 1250, "slovak", "Slovak", "sk-SK", 80},
    {101, 101, "sl_svn", 0, 1250, "slovenian", "Slovenian", "sl-SI", 81},
    {102, 102, "es_esp", 0, 1252, "spanish", "Spanish", "es-ES", 11},
    {103, 102, "es_arg", 0, 1252, "spanish-argentina", "Spanish_Argentina", "es-AR", 11},
    {104, 102, "es_bol", 0, 1252, "spanish-bolivia", "Spanish_Bolivia", "es-BO", 11},
    {105, 102, "es_chl", 0, 1252, "spanish-chile", "Spanish_Chile", "es-CL", 11},
    {106, 102, "es_col", 0, 1252, "spanish-colombia", "Spanish_Colombia", "es-CO", 11},
    {107, 102, "es_cri", 0, 1252, "spanish-costa rica", "Spanish_CostaRica", "es-CR", 11},
    {108, 102, "es_dom", 0, 1252, "spanish-dominican republic", "Spanish_DominicanRepublic", "es-DO", 11},
    {109, 102, "es_ecu", 0, 1252, "spanish-ecuador", "Spanish_Ecuador", "es-EC", 11},
    {110, 102, "es_slv", 0, 1252, "spanish-el salvador", "Spanish_ElSalvador", "es-SV", 11},
    {111, 102, "es_gtm", 0, 1252, "spanish-guatemala", "Spanish_Guatemala", "es-GT", 11},
    {112, 102, "es_hnd", 0, 1252, "spanish-honduras", "Spanish_Honduras", "es-HN", 11},
    {113, 102, "es_mex", 0, 1252, "spanish-mexican", "Spanish_Mexican", "es-MX", 82},
    {114, 102, "twain_es_esp", 0, 1252, "", "", "", 83},
    {115, 102, "es_nic", 0, 1252, "spanish-nicaragua", "Spanish_Nicaragua", "es-NI", 11},
    {116, 102, "es_pan", 0, 1252, "spanish-panama", "Spanish_Panama", "es-PA", 11},
    {117, 102, "es_pry", 0, 1252, "spanish-paraguay", "Spanish_Paraguay", "es-PY", 11},
    {118, 102, "es_per", 0, 1252, "spanish-peru", "Spanish_Peru", "es-PE", 11},
    {119, 102, "es_pri", 0, 1252, "spanish-puerto rico", "Spanish_PuertoRico", "es-PR", 11},
    {120, 102, "es_ury", 0, 1252, "spanish-uruguay", "Spanish_Uruguay", "es-UY", 11},
    {121, 102, "es_usa", 0, 1252, "spanish-us", "Spanish_US", "es-US", 11},
    {122, 102, "es_ven", 0, 1252, "spanish-venezuela", "Spanish_Venezuela", "es-VE", 11},
    {123, 123, "sv_swe", 0, 1252, "swedish", "Swedish", "sv-SE", 12},
    {124, 123, "sv_fin", 0, 1252, "swedish-finland", "Swedish_Finland", "sv-FI", 108},
    {125, 125, "th_tha", 0, 874, "thai", "Thai", "th-TH", 84},
    {126, 126, "tr_tur", 0, 1254, "turkish", "Turkish", "tr-TR", 85},
    {127, 127, "uk_ukr", 0, 1251, "ukrainian", "Ukrainian", "uk-UA", 86},
    {128, 128, "ur_pak", 0, 1256, "urdu", "Urdu", "ur-PK", 112},
    {129, 128, "ur_ind", 0, 1256, "urdu-india", "Urdu_India", "ur-IN", 112},
    {130, 130, "vi_vnm", 0, 1258, "vietnamese", "Vietnamese", "vi-VN", 113},
    {131, 0, "", 0, 0, "", "", "", 0},
};

namespace
{

// True for the rows that name a language (not undefined, not the end).
bool IsLanguage(EOSLANGUAGE a_eoslanguage)
{
  return a_eoslanguage > OS_LANGUAGE_AUTO && a_eoslanguage < OS_LANGUAGE_LAST;
}

}  // namespace

COsLocale::COsLocale() : m_eoslanguage(OS_LANGUAGE_EN_USA), m_u32Registered(0), m_u32Flags(0)
{
  g_poslocale = this;
}

COsLocale::~COsLocale() {}

const char *COsLocale::GetLanguageName()
{
  return FindLanguageName(m_eoslanguage);
}

EOSLANGUAGE COsLocale::GetCurrentLanguage()
{
  return m_eoslanguage;
}

int COsLocale::GetMeasurement()
{
  return 2;
}

EOSSTS COsLocale::SetLanguage(EOSLANGUAGE a_eoslanguage)
{
  if (!IsLanguage(a_eoslanguage))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "unrecognized language...%u", a_eoslanguage);
    return EOSSTS_BADARG;
  }
  m_eoslanguage = a_eoslanguage;
  return EOSSTS_OK;
}

EOSSTS COsLocale::SetLanguage(const char *a_szLexicon)
{
  EOSLANGUAGE eoslanguage = FindLanguageId(a_szLexicon);
  if (eoslanguage == OS_LANGUAGE_UNDEFINED)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "unrecognized language...<%s>", a_szLexicon ? a_szLexicon : "(null)");
    return EOSSTS_BADARG;
  }
  return SetLanguage(eoslanguage);
}

EOSSTS COsLocale::SetLanguageTwain(int32_t a_i32Twain)
{
  for (EOSLANGUAGE eoslanguage = 2; eoslanguage < OS_LANGUAGE_LAST; eoslanguage++)
  {
    if (s_oslanguagelookup[eoslanguage].i32Twain == a_i32Twain)
    {
      return SetLanguage(eoslanguage);
    }
  }
  OSLOG(EOSLOGFLAG_ASSERT, "unrecognized TWAIN language...%d", static_cast<int>(a_i32Twain));
  return EOSSTS_BADARG;
}

EOSLANGUAGE COsLocale::FindLanguageId(const char *a_szLexicon)
{
  if (!a_szLexicon || !*a_szLexicon)
  {
    return OS_LANGUAGE_UNDEFINED;
  }
  for (EOSLANGUAGE eoslanguage = OS_LANGUAGE_AUTO; eoslanguage < OS_LANGUAGE_LAST; eoslanguage++)
  {
    if (strcasecmp(s_oslanguagelookup[eoslanguage].szLexicon, a_szLexicon) == 0)
    {
      return eoslanguage;
    }
  }
  return OS_LANGUAGE_UNDEFINED;
}

const char *COsLocale::FindLanguageName(EOSLANGUAGE a_eoslanguage)
{
  return (a_eoslanguage < OS_LANGUAGE_COUNT) ? s_oslanguagelookup[a_eoslanguage].szLexicon : "";
}

const char *COsLocale::FindLanguageDocumentation(EOSLANGUAGE a_eoslanguage)
{
  return (a_eoslanguage < OS_LANGUAGE_COUNT) ? s_oslanguagelookup[a_eoslanguage].szDocumentation : "";
}
