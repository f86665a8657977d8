// os_cosstring.cpp: bounded string functions (see os_cosstring.h).
#include "os_cosstring.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "os_coslog.h"
#include "os_cosmem.h"

namespace
{

const uint8_t kNotHex = 255;

// Value of each character as a hexadecimal digit, 255 for a non-digit.
struct HexTable
{
  uint8_t au8[OS_SIZE_LINE];
  constexpr HexTable() : au8()
  {
    for (int ii = 0; ii < 256; ii++)
    {
      au8[ii] = kNotHex;
    }
    for (int ii = 0; ii < 10; ii++)
    {
      au8['0' + ii] = static_cast<uint8_t>(ii);
    }
    for (int ii = 0; ii < 6; ii++)
    {
      au8['A' + ii] = static_cast<uint8_t>(10 + ii);
      au8['a' + ii] = static_cast<uint8_t>(10 + ii);
    }
  }
};
constexpr HexTable s_hextable;

// Reads up to a_u32Digits hexadecimal digits after an optional 0x prefix;
// the value wraps in T, so it keeps its low bits.
template <typename T>
T ParseHex(const char *a_szSrc, uint32_t a_u32Digits)
{
  T value = 0;
  if (!a_szSrc)
  {
    return 0;
  }
  if (a_szSrc[0] == '0' && (a_szSrc[1] == 'x' || a_szSrc[1] == 'X'))
  {
    a_szSrc += 2;
  }
  for (uint32_t uu = 0; uu < a_u32Digits; uu++)
  {
    uint8_t u8Digit = s_hextable.au8[static_cast<unsigned char>(a_szSrc[uu])];
    if (u8Digit == kNotHex)
    {
      break;
    }
    value = static_cast<T>(value * 16u + u8Digit);
  }
  return value;
}

bool IsSpace(char a_c)
{
  return isspace(static_cast<unsigned char>(a_c)) != 0;
}

// True when the text is made only of the characters accepted by a_pfn.
bool AllOf(const char *a_szSrc, int (*a_pfn)(int))
{
  for (; *a_szSrc; a_szSrc++)
  {
    if (!a_pfn(static_cast<unsigned char>(*a_szSrc)))
    {
      return false;
    }
  }
  return true;
}

int IsDigit(int a_iChar)
{
  return isdigit(a_iChar);
}

int IsDigitOrDot(int a_iChar)
{
  return isdigit(a_iChar) || a_iChar == '.';
}

size_t CountChar(const char *a_szSrc, char a_c)
{
  size_t sizetCount = 0;
  for (; *a_szSrc; a_szSrc++)
  {
    sizetCount += (*a_szSrc == a_c);
  }
  return sizetCount;
}

// Decimal value of two digits.
int TwoDigits(const char *a_sz)
{
  return (a_sz[0] - '0') * 10 + (a_sz[1] - '0');
}

// Number of (non-overlapping) occurrences of a_szOld in a_szText.
uint32_t CountOccurrences(const char *a_szText, const char *a_szOld, bool a_blAll)
{
  uint32_t u32Count = 0;
  size_t sizetOld = strlen(a_szOld);
  for (const char *sz = strstr(a_szText, a_szOld); sz; sz = strstr(sz + sizetOld, a_szOld))
  {
    u32Count++;
    if (!a_blAll)
    {
      break;
    }
  }
  return u32Count;
}

}  // namespace

void COsString::SStrCpy(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc)
{
  if (!a_szDst || !a_u32DstSize || !a_szSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrCpy failed...%p %u %p", static_cast<void *>(a_szDst), a_u32DstSize,
          static_cast<const void *>(a_szSrc));
    return;
  }
  size_t sizetSrc = strlen(a_szSrc);
  if (a_u32DstSize <= sizetSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrCpy failed...<%s>", a_szSrc);
    return;
  }
  memmove(a_szDst, a_szSrc, sizetSrc + 1);
}

void COsString::SStrCat(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc)
{
  if (!a_szDst || !a_u32DstSize || !a_szSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrCat failed...%p %u %p", static_cast<void *>(a_szDst), a_u32DstSize,
          static_cast<const void *>(a_szSrc));
    return;
  }
  size_t sizetDst = strlen(a_szDst);
  size_t sizetSrc = strlen(a_szSrc);
  if (a_u32DstSize <= sizetDst + sizetSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrCat failed...<%s>", a_szSrc);
    return;
  }
  memmove(a_szDst + sizetDst, a_szSrc, sizetSrc + 1);
}

void COsString::SStrNcpy(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc, uint32_t a_u32Count)
{
  if (!a_szDst || !a_u32DstSize || !a_szSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrNcpy failed...%p %u %p", static_cast<void *>(a_szDst), a_u32DstSize,
          static_cast<const void *>(a_szSrc));
    return;
  }
  if (a_u32DstSize <= a_u32Count && a_u32DstSize <= strlen(a_szSrc))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrNcpy failed...<%s>", a_szSrc);
    return;
  }
  // A count beyond the buffer is allowed when the source fits; strncpy would
  // then pad with zeros past the end, so the padding stops at the buffer.
  strncpy(a_szDst, a_szSrc, a_u32Count < a_u32DstSize ? a_u32Count : a_u32DstSize);
}

void COsString::SStrNcat(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc, uint32_t a_u32Count)
{
  if (!a_szDst || !a_u32DstSize || !a_szSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrNcat failed...%p %u %p", static_cast<void *>(a_szDst), a_u32DstSize,
          static_cast<const void *>(a_szSrc));
    return;
  }
  size_t sizetDst = strlen(a_szDst);
  if (a_u32DstSize <= sizetDst + a_u32Count && a_u32DstSize <= sizetDst + strlen(a_szSrc))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrNcat failed...<%s>", a_szSrc);
    return;
  }
  strncat(a_szDst, a_szSrc, a_u32Count);
}

int COsString::VFormat(const char *a_szFunction, char *a_szDst, uint32_t a_u32DstSize, const char *a_szFormat,
                       va_list a_valist)
{
  if (!a_szDst || !a_u32DstSize || !a_szFormat)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "%s failed...%p %u %p", a_szFunction, static_cast<void *>(a_szDst), a_u32DstSize,
          static_cast<const void *>(a_szFormat));
    return -1;
  }
  int iWritten = vsnprintf(a_szDst, a_u32DstSize, a_szFormat, a_valist);
  if (iWritten < 0)
  {
    return iWritten;
  }
  if (static_cast<int64_t>(iWritten) >= static_cast<int64_t>(a_u32DstSize))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "%s failed...<%s>", a_szFunction, a_szFormat);
    return -1;
  }
  return iWritten;
}

int COsString::SStrPrintf(char *a_szDst, uint32_t a_u32DstSize, const char *a_szFormat, ...)
{
  va_list valist;
  va_start(valist, a_szFormat);
  int iResult = VFormat("SStrPrintf", a_szDst, a_u32DstSize, a_szFormat, valist);
  va_end(valist);
  return iResult;
}

int COsString::SStrVprintf(char *a_szDst, uint32_t a_u32DstSize, const char *a_szFormat, va_list a_valist)
{
  // The caller's list stays usable for the caller: format from a copy.
  va_list valist;
  va_copy(valist, a_valist);
  int iResult = VFormat("SStrVprintf", a_szDst, a_u32DstSize, a_szFormat, valist);
  va_end(valist);
  return iResult;
}

int COsString::SStrCatf(char *a_szDst, uint32_t a_u32DstSize, const char *a_szFormat, ...)
{
  if (!a_szDst || !a_u32DstSize || !a_szFormat)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrCatf failed...%p %u %p", static_cast<void *>(a_szDst), a_u32DstSize,
          static_cast<const void *>(a_szFormat));
    return -1;
  }
  size_t sizetDst = strnlen(a_szDst, a_u32DstSize);
  int iWritten = -1;
  if (sizetDst < a_u32DstSize)
  {
    va_list valist;
    va_start(valist, a_szFormat);
    iWritten = vsnprintf(a_szDst + sizetDst, a_u32DstSize - sizetDst, a_szFormat, valist);
    va_end(valist);
  }
  if (iWritten < 0 || a_u32DstSize <= sizetDst + static_cast<size_t>(iWritten))
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrCatf failed...<%s>", a_szFormat);
    return -1;
  }
  return static_cast<int>(sizetDst + static_cast<size_t>(iWritten));
}

char *COsString::SStrTok(char *a_szStr, const char *a_szDelimiters, char **a_pszSave)
{
  if (!a_szDelimiters || !a_pszSave)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrTok failed...%p %p", static_cast<const void *>(a_szDelimiters),
          static_cast<void *>(a_pszSave));
    return nullptr;
  }
  return strtok_r(a_szStr, a_szDelimiters, a_pszSave);
}

int COsString::SStrLen(const char *a_szSrc, uint32_t a_u32Size)
{
  if (!a_szSrc || !a_u32Size)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrLen failed...%p %u", static_cast<const void *>(a_szSrc), a_u32Size);
    return -1;
  }
  const void *pvEnd = memchr(a_szSrc, 0, a_u32Size);
  if (!pvEnd)
  {
    // Show at most 16 bytes, and none beyond the buffer.
    char szShow[17] = {};
    memcpy(szShow, a_szSrc, a_u32Size < 16 ? a_u32Size : 16);
    OSLOG(EOSLOGFLAG_ASSERT, "SStrLen failed...<%16.16s>", szShow);
    return -1;
  }
  return static_cast<int>(static_cast<const char *>(pvEnd) - a_szSrc);
}

void COsString::SStrTrim(char *a_szDst, uint32_t a_u32DstSize, const char *a_szSrc)
{
  if (!a_szDst || !a_u32DstSize || !a_szSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrTrim failed...%p %u %p", static_cast<void *>(a_szDst), a_u32DstSize,
          static_cast<const void *>(a_szSrc));
    return;
  }
  const char *szStart = StrFirstNonWhitespace(a_szSrc);
  size_t sizetLength = strlen(szStart);
  while (sizetLength && IsSpace(szStart[sizetLength - 1]))
  {
    sizetLength--;
  }
  // The trimmed text and its terminator must fit.
  if (a_u32DstSize <= sizetLength)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrTrim failed...<%s>", a_szSrc);
    return;
  }
  memmove(a_szDst, szStart, sizetLength);
  a_szDst[sizetLength] = '\0';
}

EOSSTS COsString::SStrReplace(char *a_szBuffer, uint32_t a_u32BufferSize, const char *a_szOld,
                              const char *a_szNew, bool a_blAll)
{
  if (!a_szBuffer || !a_u32BufferSize || !a_szOld || !*a_szOld || !a_szNew)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "SStrReplace failed...%p %u %p %p", static_cast<void *>(a_szBuffer),
          a_u32BufferSize, static_cast<const void *>(a_szOld), static_cast<const void *>(a_szNew));
    return EOSSTS_BADARG;
  }
  uint32_t u32Count = CountOccurrences(a_szBuffer, a_szOld, a_blAll);
  if (!u32Count)
  {
    return EOSSTS_NOTFOUND;
  }
  size_t sizetOld = strlen(a_szOld);
  size_t sizetNew = strlen(a_szNew);
  size_t sizetText = strlen(a_szBuffer);
  // Check the final length first so that a refusal leaves the buffer as it was.
  if (a_u32BufferSize <= sizetText - u32Count * sizetOld + u32Count * sizetNew)
  {
    OSLOG(EOSLOGFLAG_ERROR, "buffer overflow...<%s> %d <%s> <%s>", a_szBuffer,
          static_cast<int>(a_u32BufferSize), a_szOld, a_szNew);
    return EOSSTS_FAIL;
  }
  char *szAt = a_szBuffer;
  for (uint32_t uu = 0; uu < u32Count; uu++)
  {
    szAt = strstr(szAt, a_szOld);
    memmove(szAt + sizetNew, szAt + sizetOld, strlen(szAt + sizetOld) + 1);
    memcpy(szAt, a_szNew, sizetNew);
    szAt += sizetNew;
  }
  return EOSSTS_OK;
}

int COsString::SStrFromNum(int32_t a_i32Value, char *a_szDst, uint32_t a_u32DstSize, int a_iRadix)
{
  if (a_iRadix == 10)
  {
    return SStrPrintf(a_szDst, a_u32DstSize, "%d", a_i32Value);
  }
  if (a_iRadix == 16)
  {
    return SStrPrintf(a_szDst, a_u32DstSize, "%x", static_cast<uint32_t>(a_i32Value));
  }
  int iResult = SStrPrintf(a_szDst, a_u32DstSize, "@@@");
  OSLOG(EOSLOGFLAG_ASSERT, "SStrFromNum failed (must be 10 or 16)...<%s>", a_szDst ? a_szDst : "");
  return iResult;
}

int COsString::SStrFromNum64(int64_t a_i64Value, char *a_szDst, uint32_t a_u32DstSize, int a_iRadix)
{
  if (a_iRadix == 10)
  {
    return SStrPrintf(a_szDst, a_u32DstSize, "%lld", static_cast<long long>(a_i64Value));
  }
  if (a_iRadix == 16)
  {
    return SStrPrintf(a_szDst, a_u32DstSize, "%llx", static_cast<unsigned long long>(a_i64Value));
  }
  int iResult = SStrPrintf(a_szDst, a_u32DstSize, "@@@");
  OSLOG(EOSLOGFLAG_ASSERT, "SStrFromNum64 failed (must be 10 or 16)...<%s>", a_szDst ? a_szDst : "");
  return iResult;
}

char *COsString::StrFirstNonWhitespace(const char *a_szSrc)
{
  if (!a_szSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "a_szSrc is null...");
    return nullptr;
  }
  while (IsSpace(*a_szSrc))
  {
    a_szSrc++;
  }
  return const_cast<char *>(a_szSrc);
}

char *COsString::StrFirstWhitespace(const char *a_szSrc)
{
  if (!a_szSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "a_szSrc is null...");
    return nullptr;
  }
  while (*a_szSrc && !IsSpace(*a_szSrc))
  {
    a_szSrc++;
  }
  return const_cast<char *>(a_szSrc);
}

int COsString::StrWildCmp(const char *a_szPattern, const char *a_szText)
{
  if (!a_szPattern || !a_szText)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "StrWildCmp failed...%p %p", static_cast<const void *>(a_szPattern),
          static_cast<const void *>(a_szText));
    return 1;
  }
  // The literal head, up to the first star, must match character by character.
  while (*a_szText && *a_szPattern != '*')
  {
    if (*a_szPattern != *a_szText && *a_szPattern != '?')
    {
      return 1;
    }
    a_szPattern++;
    a_szText++;
  }
  // From the first star on: on a mismatch go back to just after the last star
  // and let that star swallow one more character of the text.
  const char *szStar = nullptr;
  const char *szRetry = nullptr;
  while (*a_szText)
  {
    if (*a_szPattern == '*')
    {
      if (!*++a_szPattern)
      {
        return 0;
      }
      szStar = a_szPattern;
      szRetry = a_szText + 1;
    }
    else if (*a_szPattern == *a_szText || *a_szPattern == '?')
    {
      a_szPattern++;
      a_szText++;
    }
    else
    {
      a_szPattern = szStar;
      a_szText = szRetry++;
    }
  }
  while (*a_szPattern == '*')
  {
    a_szPattern++;
  }
  return static_cast<unsigned char>(*a_szPattern);
}

char *COsString::StrIstr(const char *a_szHaystack, const char *a_szNeedle)
{
  if (!a_szHaystack || !a_szNeedle)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "StrIstr failed...%p %p", static_cast<const void *>(a_szHaystack),
          static_cast<const void *>(a_szNeedle));
    return nullptr;
  }
  if (!*a_szNeedle)
  {
    return *a_szHaystack ? nullptr : const_cast<char *>(a_szHaystack);
  }
  for (const char *szAt = a_szHaystack; *szAt; szAt++)
  {
    size_t ii = 0;
    while (a_szNeedle[ii] && tolower(static_cast<unsigned char>(szAt[ii])) ==
                                 tolower(static_cast<unsigned char>(a_szNeedle[ii])))
    {
      ii++;
    }
    if (!a_szNeedle[ii])
    {
      return const_cast<char *>(szAt);
    }
  }
  return nullptr;
}

char *COsString::StrNstr(const char *a_szHaystack, const char *a_szNeedle, uint32_t a_u32Count)
{
  if (!a_szHaystack || !a_szNeedle)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "StrNstr failed...%p %p", static_cast<const void *>(a_szHaystack),
          static_cast<const void *>(a_szNeedle));
    return nullptr;
  }
  size_t sizetNeedle = strlen(a_szNeedle);
  size_t sizetHaystack = strnlen(a_szHaystack, a_u32Count);
  for (size_t ii = 0; ii + sizetNeedle <= sizetHaystack; ii++)
  {
    if (!memcmp(a_szHaystack + ii, a_szNeedle, sizetNeedle))
    {
      return const_cast<char *>(a_szHaystack + ii);
    }
  }
  return nullptr;
}

bool COsString::IsNum(const char *a_szSrc)
{
  if (!a_szSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "IsNum failed...%p", static_cast<const void *>(a_szSrc));
    return false;
  }
  return AllOf(a_szSrc, IsDigit);
}

uint32_t COsString::StrToFastHex(const char *a_szSrc)
{
  return ParseHex<uint32_t>(a_szSrc, UINT32_MAX);
}

uintptr_t COsString::StrToFastHexIntPtr(const char *a_szSrc)
{
  return ParseHex<uintptr_t>(a_szSrc, UINT32_MAX);
}

uint64_t COsString::StrToFastHex64(const char *a_szSrc)
{
  return ParseHex<uint64_t>(a_szSrc, UINT32_MAX);
}

uint32_t COsString::StrToHex(const char *a_szSrc, uint32_t a_u32Digits)
{
  return ParseHex<uint32_t>(a_szSrc, a_u32Digits);
}

uintptr_t COsString::StrToHexIntPtr(const char *a_szSrc, uint32_t a_u32Digits)
{
  return ParseHex<uintptr_t>(a_szSrc, a_u32Digits);
}

EOSSTS COsString::StrConvertVersionToFields(const char *a_szVersion, int *a_piMajor, int *a_piMinor,
                                            int *a_piBuild, int *a_piRevision)
{
  if (!a_piMajor || !a_piMinor || !a_piBuild || !a_piRevision)
  {
    OSLOG(EOSLOGFLAG_ERROR, "invalid argument");
    return EOSSTS_FAIL;
  }
  *a_piMajor = *a_piMinor = *a_piBuild = *a_piRevision = 0;
  if (!a_szVersion)
  {
    OSLOG(EOSLOGFLAG_ERROR, "invalid argument");
    return EOSSTS_FAIL;
  }
  int *apiField[4] = {a_piMajor, a_piMinor, a_piBuild, a_piRevision};
  if (strlen(a_szVersion) == 8 && AllOf(a_szVersion, IsDigit))
  {
    for (int ii = 0; ii < 4; ii++)
    {
      *apiField[ii] = TwoDigits(a_szVersion + 2 * ii);
    }
    return EOSSTS_OK;
  }
  if (!AllOf(a_szVersion, IsDigitOrDot))
  {
    OSLOGDBG("Non-numeric version...<%s>", a_szVersion);
    return EOSSTS_BADARG;
  }
  if (CountChar(a_szVersion, '.') > 3)
  {
    OSLOGDBG("More than 4 version fields...<%s>", a_szVersion);
    return EOSSTS_BADARG;
  }
  // Each field is the number after the previous dot; missing ones stay 0.
  const char *szField = a_szVersion;
  for (int ii = 0; szField; ii++)
  {
    *apiField[ii] = atoi(szField);
    szField = strchr(szField, '.');
    szField = szField ? szField + 1 : nullptr;
  }
  return EOSSTS_OK;
}

int COsString::StrConvertVersionFromFields(char *a_szDst, uint32_t a_u32DstSize, bool a_blDotted,
                                           int a_iMajor, int a_iMinor, int a_iBuild, int a_iRevision)
{
  if (!a_blDotted)
  {
    return SStrPrintf(a_szDst, a_u32DstSize, "%02d%02d%02d%02d", a_iMajor, a_iMinor, a_iBuild, a_iRevision);
  }
  if (!a_iBuild && !a_iRevision)
  {
    return SStrPrintf(a_szDst, a_u32DstSize, "%d.%d", a_iMajor, a_iMinor);
  }
  if (!a_iRevision)
  {
    return SStrPrintf(a_szDst, a_u32DstSize, "%d.%d.%d", a_iMajor, a_iMinor, a_iBuild);
  }
  return SStrPrintf(a_szDst, a_u32DstSize, "%d.%d.%d.%d", a_iMajor, a_iMinor, a_iBuild, a_iRevision);
}

int COsString::StrConvertVersion(char *a_szDst, uint32_t a_u32DstSize, bool a_blDotted,
                                 const char *a_szVersion)
{
  int aiField[4];
  if (StrConvertVersionToFields(a_szVersion, &aiField[0], &aiField[1], &aiField[2], &aiField[3]) == EOSSTS_OK)
  {
    return StrConvertVersionFromFields(a_szDst, a_u32DstSize, a_blDotted, aiField[0], aiField[1], aiField[2],
                                       aiField[3]);
  }
  if (a_blDotted)
  {
    SStrCpy(a_szDst, a_u32DstSize, a_szVersion);
    bool blFits = a_szDst && a_szVersion && a_u32DstSize > strlen(a_szVersion);
    return blFits ? static_cast<int>(strlen(a_szVersion)) : -1;
  }
  OSLOG(EOSLOGFLAG_ERROR, "version not supported, use v0...<%s>", a_szVersion ? a_szVersion : "");
  return StrConvertVersionFromFields(a_szDst, a_u32DstSize, false, 0, 0, 0, 0);
}

EOSSTS COsString::PtrToStr(const void *a_pvValue, char *a_szValue, uint32_t a_u32ValueSizeInBytes)
{
  if (!a_szValue || a_u32ValueSizeInBytes < 9)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "a_lValueSizeInBytes too small...");
    return EOSSTS_BADARG;
  }
  int iResult = SStrPrintf(a_szValue, a_u32ValueSizeInBytes, "%08llx",
                           static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(a_pvValue)));
  return iResult < 0 ? EOSSTS_NOFIT : EOSSTS_OK;
}

char *COsString::StrDup(const char *a_szSrc)
{
  if (!a_szSrc)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "StrDup failed...%p", static_cast<const void *>(a_szSrc));
    return nullptr;
  }
  size_t sizetBytes = strlen(a_szSrc) + 1;
  char *szCopy = g_posmem ? static_cast<char *>(g_posmem->Alloc(sizetBytes, __FILE__, __LINE__,
                                                                EOSLOGFLAG_MEM, true, "StrDup"))
                          : nullptr;
  if (!szCopy)
  {
    OSLOG(EOSLOGFLAG_ERROR, "OsMemAlloc failed...");
    return nullptr;
  }
  memcpy(szCopy, a_szSrc, sizetBytes);
  return szCopy;
}
