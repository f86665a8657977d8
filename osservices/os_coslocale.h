// os_coslocale.h: the process's user-interface language and the table of
// languages the services know.
//
// Contract: one COsLocale exists per process; its constructor stores it in
// g_poslocale and selects English (39, "en_usa"); the destructor leaves the
// global pointer alone. The language table s_oslanguagelookup has 132 rows
// indexed by the EOSLANGUAGE value (row n has value n): row 0 is undefined,
// row 1 "auto", row 131 ends the table; rows whose code name begins
// "twain_" are aliases for TWAIN language codes. Texts handed out point
// into the static table and stay valid for the life of the process. Setters
// return 0, or 3 for a value or name the table does not know (the current
// language is then left as it was). Nothing here touches files.
#ifndef OS_COSLOCALE_H
#define OS_COSLOCALE_H

#include <cstdint>

#include "os_types.h"

// A language: the row number of the language table.
typedef uint32_t EOSLANGUAGE;
enum : uint32_t
{
  OS_LANGUAGE_UNDEFINED = 0,
  OS_LANGUAGE_AUTO = 1,
  OS_LANGUAGE_EN_USA = 39,
  OS_LANGUAGE_EN_GBR = 53,
  OS_LANGUAGE_FR_FRA = 59,
  OS_LANGUAGE_DE_DEU = 65,
  OS_LANGUAGE_JP_JPN = 78,
  OS_LANGUAGE_LAST = 131,
  OS_LANGUAGE_COUNT = 132
};

// One row of the language table.
struct OsLanguageLookup
{
  EOSLANGUAGE eoslanguage;         // the row's own value
  EOSLANGUAGE eoslanguageNeutral;  // the base language (39 for every English)
  const char *szLexicon;           // code name, e.g. "en_usa"
  uint32_t u32Reserved;            // 0
  uint32_t u32CodePage;            // Windows code page; 9999 for none
  const char *szLocale;            // system locale name, e.g. "english-uk"
  const char *szDocumentation;     // documentation name, e.g. "English_UK"
  const char *szTag;               // culture tag, e.g. "en-GB"
  int32_t i32Twain;                // TWAIN language code (TWLG value)
};

extern const OsLanguageLookup s_oslanguagelookup[OS_LANGUAGE_COUNT];

class COsLocale
{
public:
  COsLocale();
  ~COsLocale();
  COsLocale(const COsLocale &) = delete;
  COsLocale &operator=(const COsLocale &) = delete;

  // Code name of the current language.
  const char *GetLanguageName();
  EOSLANGUAGE GetCurrentLanguage();
  // Always 2.
  int GetMeasurement();
  // By value (2..130), by code name (case-insensitive) or by TWAIN code
  // (the first row that carries it).
  [[nodiscard]] EOSSTS SetLanguage(EOSLANGUAGE a_eoslanguage);
  [[nodiscard]] EOSSTS SetLanguage(const char *a_szLexicon);
  [[nodiscard]] EOSSTS SetLanguageTwain(int32_t a_i32Twain);
  // The row whose code name is a_szLexicon (case-insensitive); 0 when none.
  static EOSLANGUAGE FindLanguageId(const char *a_szLexicon);
  // Code name and documentation name of a row; "" for a value out of range.
  static const char *FindLanguageName(EOSLANGUAGE a_eoslanguage);
  static const char *FindLanguageDocumentation(EOSLANGUAGE a_eoslanguage);

private:
  EOSLANGUAGE m_eoslanguage;
  uint32_t m_u32Registered;
  uint32_t m_u32Flags;
};

#endif  // OS_COSLOCALE_H
