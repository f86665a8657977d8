// os_cosstring.h: bounded string functions, small parsers and matchers.
//
// Contract: COsString is a class of static functions used instead of the
// unbounded string calls of the C library. Every function that writes takes
// the destination buffer and its full size in bytes (terminator included).
// On a null argument or an overflow it writes one line to the log (when a
// log exists) and refuses: the copy functions leave the destination as it
// was, the formatting functions return -1 with the truncated, terminated
// text the formatter left. A refusal never stops the caller. The caller owns
// every buffer; nothing here allocates except StrDup, whose block belongs to
// the caller and goes back through g_posmem->Free. The object itself holds
// no state (services start-up creates one as g_posstring).
#ifndef OS_COSSTRING_H
#define OS_COSSTRING_H

#include <cstdarg>
#include <cstdint>

#include "os_types.h"

class COsString
{
public:
  COsString() = default;
  ~COsString() = default;

  // Copies a_szSrc whole when it fits (a_u32DstSize > strlen), else refuses;
  // never truncates.
  static void SStrCpy(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc);
  // Appends a_szSrc whole when strlen(dst) + strlen(src) < a_u32DstSize.
  static void SStrCat(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc);
  // Copies a_u32Count characters like strncpy (no terminator added when src
  // is longer); refuses when neither the count nor the source fits.
  static void SStrNcpy(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc, uint32_t a_u32Count);
  // Appends at most a_u32Count characters like strncat; refuses when neither
  // the count nor the whole source fits.
  static void SStrNcat(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc, uint32_t a_u32Count);

  // Formats into the buffer; returns the characters written, -1 when the
  // text did not fit (the buffer keeps the truncated text), or the
  // formatter's own negative result.
  static int SStrPrintf(char *a_szDst, uint32_t a_u32DstSize, const char *a_szFormat, ...)
      OS_PRINTF_FORMAT(3, 4);
  static int SStrVprintf(char *a_szDst, uint32_t a_u32DstSize, const char *a_szFormat, va_list a_valist);
  // Formats after the existing text; returns the new total length or -1.
  static int SStrCatf(char *a_szDst, uint32_t a_u32DstSize, const char *a_szFormat, ...)
      OS_PRINTF_FORMAT(3, 4);

  // Re-entrant tokeniser (strtok_r); a null a_szStr continues the scan kept
  // in *a_pszSave.
  static char *SStrTok(char *a_szStr, const char *a_szDelimiters, char **a_pszSave);
  // Length within a_u32Size bytes, or -1 when there is no terminator.
  static int SStrLen(const char *a_szSrc, uint32_t a_u32Size);
  // Copies a_szSrc without leading and trailing white space; src and dst
  // may be the same buffer.
  static void SStrTrim(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc);
  // Replaces the first (or, with a_blAll, every) a_szOld by a_szNew in place.
  // 0 done, 14 a_szOld absent, 1 the result would not fit (buffer untouched),
  // 3 bad argument.
  [[nodiscard]] static EOSSTS SStrReplace(char *a_szBuffer, uint32_t a_u32BufferSize, const char *a_szOld,
                                          const char *a_szNew, bool a_blAll);
  // Writes a number in radix 10 or 16; any other radix stores "@@@".
  // Returns as SStrPrintf.
  static int SStrFromNum(int32_t a_i32Value, char *a_szDst, uint32_t a_u32DstSize, int a_iRadix);
  static int SStrFromNum64(int64_t a_i64Value, char *a_szDst, uint32_t a_u32DstSize, int a_iRadix);

  // Pointer to the first character that is (not) white space, or to the
  // terminator; null for a null string.
  static char *StrFirstNonWhitespace(const char *a_szSrc);
  static char *StrFirstWhitespace(const char *a_szSrc);
  // Wildcard match ('*' any run, '?' any one character), case-sensitive.
  // 0 when the text matches, non-zero otherwise (strcmp convention).
  static int StrWildCmp(const char *a_szPattern, const char *a_szText);
  // Case-insensitive strstr; an empty needle matches only an empty haystack.
  static char *StrIstr(const char *a_szHaystack, const char *a_szNeedle);
  // strstr within the first a_u32Count bytes of the haystack.
  static char *StrNstr(const char *a_szHaystack, const char *a_szNeedle, uint32_t a_u32Count);
  // True when every character is a decimal digit (also for "").
  static bool IsNum(const char *a_szSrc);

  // Hexadecimal parsers: an optional 0x/0X prefix, then digits up to the
  // first non-digit. No digits give 0; overflow keeps the low bits. The
  // StrToHex forms read at most a_u32Digits digits.
  static uint32_t StrToFastHex(const char *a_szSrc);
  static uintptr_t StrToFastHexIntPtr(const char *a_szSrc);
  static uint64_t StrToFastHex64(const char *a_szSrc);
  static uint32_t StrToHex(const char *a_szSrc, uint32_t a_u32Digits);
  static uintptr_t StrToHexIntPtr(const char *a_szSrc, uint32_t a_u32Digits);

  // Splits "MMmmbbrr" or "a[.b[.c[.d]]]" into four numbers. 0 done, 1 a null
  // argument, 3 any other text (the outputs are then 0).
  [[nodiscard]] static EOSSTS StrConvertVersionToFields(const char *a_szVersion, int *a_piMajor,
                                                        int *a_piMinor, int *a_piBuild, int *a_piRevision);
  // Dotted: "a.b" when c and d are 0, "a.b.c" when only d is 0, else
  // "a.b.c.d"; otherwise the eight-digit form "%02d%02d%02d%02d". Returns as
  // SStrPrintf.
  static int StrConvertVersionFromFields(char *a_szDst, uint32_t a_u32DstSize, bool a_blDotted, int a_iMajor,
                                         int a_iMinor, int a_iBuild, int a_iRevision);
  // Re-formats a version text. An unreadable text is copied unchanged in the
  // dotted form (result: its length, or -1 when it does not fit) and becomes
  // "00000000" in the eight-digit form.
  static int StrConvertVersion(char *a_szDst, uint32_t a_u32DstSize, bool a_blDotted,
                               const char *a_szVersion);

  // Writes a value as (at least) 8 lower-case hexadecimal digits; 0 done,
  // 3 when the buffer is null or smaller than 9 bytes.
  [[nodiscard]] static EOSSTS PtrToStr(const void *a_pvValue, char *a_szValue,
                                       uint32_t a_u32ValueSizeInBytes);
  // A copy in a block of the memory service (free it with g_posmem->Free),
  // or null.
  [[nodiscard]] static char *StrDup(const char *a_szSrc);

private:
  static int VFormat(const char *a_szFunction, char *a_szDst, uint32_t a_u32DstSize, const char *a_szFormat,
                     va_list a_valist);
};

#endif  // OS_COSSTRING_H
