// test_cosstring.cpp: bounded copies and formatting at their exact limits,
// the wildcard matcher, the hexadecimal and version parsers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "os_cosmem.h"
#include "os_cosstring.h"
#include "os_testlog.h"

namespace
{

// Formats through SStrVprintf so that the va_list form is exercised.
int VprintfThrough(char *a_szDst, uint32_t a_u32DstSize, const char *a_szFormat, ...)
{
  va_list valist;
  va_start(valist, a_szFormat);
  int iResult = COsString::SStrVprintf(a_szDst, a_u32DstSize, a_szFormat, valist);
  va_end(valist);
  return iResult;
}

// The text a refusal with pointer arguments writes, as the log shows it.
std::string PointerMessage(const char *a_szFunction, const void *a_pv1, uint32_t a_u32, const void *a_pv2)
{
  char sz[128];
  snprintf(sz, sizeof(sz), "A %s failed...%p %u %p", a_szFunction, a_pv1, a_u32, a_pv2);
  return sz;
}

}  // namespace

TEST(SStrCpy, CopiesOnlyWhenTheTerminatorFits)
{
  char sz[6] = "old";
  COsString::SStrCpy(sz, 5, "hello");  // strlen == size: refused
  EXPECT_STREQ("old", sz);
  COsString::SStrCpy(sz, 6, "hello");  // one larger: copied
  EXPECT_STREQ("hello", sz);
  COsString::SStrCpy(sz, 1, "");
  EXPECT_STREQ("", sz);
}

TEST(SStrCpy, NullOrZeroSizeLeavesTheDestination)
{
  char sz[8] = "keep";
  COsString::SStrCpy(sz, 0, "x");
  COsString::SStrCpy(sz, sizeof(sz), nullptr);
  COsString::SStrCpy(nullptr, sizeof(sz), "x");
  EXPECT_STREQ("keep", sz);
}

TEST(SStrCat, AppendsOnlyWhenTheWholeResultFits)
{
  char sz[8] = "abc";
  COsString::SStrCat(sz, 8, "defgh");  // 3 + 5 == 8: refused
  EXPECT_STREQ("abc", sz);
  COsString::SStrCat(sz, 8, "defg");  // 7 < 8: appended
  EXPECT_STREQ("abcdefg", sz);
  COsString::SStrCat(sz, 8, "");
  EXPECT_STREQ("abcdefg", sz);
  COsString::SStrCat(sz, 0, "x");
  COsString::SStrCat(sz, 8, nullptr);
  EXPECT_STREQ("abcdefg", sz);
}

TEST(SStrNcpy, CopiesCountCharactersWithoutTerminator)
{
  char sz[8] = "zzzzzzz";
  COsString::SStrNcpy(sz, 8, "abcdef", 3);
  EXPECT_EQ(0, memcmp(sz, "abczzzz", 8));
  // The count exceeds the buffer but the source fits: padding stops at the end.
  COsString::SStrNcpy(sz, 8, "ab", 100);
  EXPECT_STREQ("ab", sz);
  EXPECT_EQ(0, sz[7]);
}

TEST(SStrNcpy, RefusesWhenNeitherCountNorSourceFits)
{
  char sz[4] = "old";
  COsString::SStrNcpy(sz, 4, "abcdef", 4);
  EXPECT_STREQ("old", sz);
  COsString::SStrNcpy(sz, 4, "abcdef", 3);  // count fits: copied without terminator
  EXPECT_EQ(0, memcmp(sz, "abc", 4));
}

TEST(SStrNcat, LimitsTheAppendedPart)
{
  char sz[8] = "ab";
  COsString::SStrNcat(sz, 8, "cdefghij", 5);  // 2 + 5 < 8
  EXPECT_STREQ("abcdefg", sz);
  char szFull[8] = "ab";
  COsString::SStrNcat(szFull, 8, "cdefghij", 6);  // 2 + 6 and 2 + 8 both reach 8
  EXPECT_STREQ("ab", szFull);
  COsString::SStrNcat(szFull, 8, "cd", 50);  // the whole source fits
  EXPECT_STREQ("abcd", szFull);
}

TEST(SStrPrintf, ExactFitSucceedsOneMoreTruncates)
{
  char sz[6];
  EXPECT_EQ(5, COsString::SStrPrintf(sz, sizeof(sz), "%s-%d", "ab", 12));
  EXPECT_STREQ("ab-12", sz);
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, sizeof(sz), "%s-%d", "ab", 123));
  EXPECT_STREQ("ab-12", sz);  // the formatter's truncated, terminated text
  EXPECT_EQ(0, COsString::SStrPrintf(sz, sizeof(sz), "%s", ""));
  EXPECT_STREQ("", sz);
}

TEST(SStrPrintf, RefusesNullArguments)
{
  char sz[4] = "x";
  EXPECT_EQ(-1, COsString::SStrPrintf(nullptr, 4, "a"));
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, 0, "a"));
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, 4, nullptr));
  EXPECT_STREQ("x", sz);
}

TEST(SStrVprintf, BehavesAsSStrPrintf)
{
  char sz[4];
  EXPECT_EQ(3, VprintfThrough(sz, sizeof(sz), "%03d", 7));
  EXPECT_STREQ("007", sz);
  EXPECT_EQ(-1, VprintfThrough(sz, sizeof(sz), "%04d", 7));
  EXPECT_STREQ("000", sz);
  EXPECT_EQ(-1, VprintfThrough(nullptr, 4, "x"));
}

TEST(SStrCatf, ReturnsTheNewTotalOrMinusOne)
{
  char sz[8] = "ab";
  EXPECT_EQ(5, COsString::SStrCatf(sz, sizeof(sz), "%d", 123));
  EXPECT_STREQ("ab123", sz);
  EXPECT_EQ(7, COsString::SStrCatf(sz, sizeof(sz), "xy"));
  EXPECT_STREQ("ab123xy", sz);
  EXPECT_EQ(-1, COsString::SStrCatf(sz, sizeof(sz), "z"));
  EXPECT_STREQ("ab123xy", sz);
  char szShort[6] = "ab";
  EXPECT_EQ(-1, COsString::SStrCatf(szShort, sizeof(szShort), "%s", "cdef"));
  EXPECT_STREQ("abcde", szShort);  // truncated text stays
  EXPECT_EQ(-1, COsString::SStrCatf(szShort, sizeof(szShort), nullptr));
}

TEST(SStrTok, SplitsWithTheCallersSavePointer)
{
  char sz[] = "a,,b;c";
  char *szSave = nullptr;
  EXPECT_STREQ("a", COsString::SStrTok(sz, ",;", &szSave));
  EXPECT_STREQ("b", COsString::SStrTok(nullptr, ",;", &szSave));
  EXPECT_STREQ("c", COsString::SStrTok(nullptr, ",;", &szSave));
  EXPECT_EQ(nullptr, COsString::SStrTok(nullptr, ",;", &szSave));
  char sz2[] = "x y";
  EXPECT_EQ(nullptr, COsString::SStrTok(sz2, nullptr, &szSave));
  EXPECT_EQ(nullptr, COsString::SStrTok(sz2, " ", nullptr));
}

TEST(SStrLen, FindsTheTerminatorWithinTheSize)
{
  char sz[4] = {'a', 'b', 'c', 'd'};
  EXPECT_EQ(-1, COsString::SStrLen(sz, sizeof(sz)));
  sz[3] = '\0';
  EXPECT_EQ(3, COsString::SStrLen(sz, sizeof(sz)));
  EXPECT_EQ(-1, COsString::SStrLen(sz, 3));
  EXPECT_EQ(-1, COsString::SStrLen(nullptr, 3));
}

TEST(SStrTrim, RemovesOuterWhiteSpaceAndChecksTheSize)
{
  char sz[6] = "x";
  COsString::SStrTrim(sz, sizeof(sz), " \t hello \r\n");
  EXPECT_STREQ("hello", sz);
  COsString::SStrTrim(sz, 5, "  world ");  // five characters need six bytes
  EXPECT_STREQ("hello", sz);
  COsString::SStrTrim(sz, sizeof(sz), "   ");
  EXPECT_STREQ("", sz);
  char szInPlace[16] = "  a b  ";
  COsString::SStrTrim(szInPlace, sizeof(szInPlace), szInPlace);
  EXPECT_STREQ("a b", szInPlace);
}

TEST(SStrReplace, ReplacesFirstOrAll)
{
  char sz[16] = "a-b-c";
  EXPECT_EQ(0u, COsString::SStrReplace(sz, sizeof(sz), "-", "--", false));
  EXPECT_STREQ("a--b-c", sz);
  EXPECT_EQ(0u, COsString::SStrReplace(sz, sizeof(sz), "-", "+", true));
  EXPECT_STREQ("a++b+c", sz);
  EXPECT_EQ(0u, COsString::SStrReplace(sz, sizeof(sz), "++", "", true));
  EXPECT_STREQ("ab+c", sz);
  EXPECT_EQ(14u, COsString::SStrReplace(sz, sizeof(sz), "zz", "y", true));
  EXPECT_EQ(3u, COsString::SStrReplace(sz, sizeof(sz), "", "y", true));
}

TEST(SStrReplace, OverflowLeavesTheBuffer)
{
  char sz[8] = "a.b.c";  // every '.' to "xx" needs 7 + 1 bytes: fits exactly
  EXPECT_EQ(0u, COsString::SStrReplace(sz, sizeof(sz), ".", "xx", true));
  EXPECT_STREQ("axxbxxc", sz);
  EXPECT_EQ(1u, COsString::SStrReplace(sz, sizeof(sz), "b", "bb", false));
  EXPECT_STREQ("axxbxxc", sz);
}

TEST(SStrFromNum, DecimalHexAndBadRadix)
{
  char sz[16];
  EXPECT_EQ(3, COsString::SStrFromNum(-42, sz, sizeof(sz), 10));
  EXPECT_STREQ("-42", sz);
  COsString::SStrFromNum(-1, sz, sizeof(sz), 16);
  EXPECT_STREQ("ffffffff", sz);
  COsString::SStrFromNum(5, sz, sizeof(sz), 8);
  EXPECT_STREQ("@@@", sz);
  COsString::SStrFromNum64(0x123456789abLL, sz, sizeof(sz), 16);
  EXPECT_STREQ("123456789ab", sz);
  COsString::SStrFromNum64(-5000000000LL, sz, sizeof(sz), 10);
  EXPECT_STREQ("-5000000000", sz);
  EXPECT_EQ(-1, COsString::SStrFromNum64(1234567890123LL, sz, 4, 10));
}

TEST(Whitespace, FirstNonWhitespaceAndFirstWhitespace)
{
  const char *sz = " \t\n x y";
  EXPECT_EQ(sz + 4, COsString::StrFirstNonWhitespace(sz));
  EXPECT_EQ(sz + 5, COsString::StrFirstWhitespace(sz + 4));
  const char *szNone = "abc";
  EXPECT_EQ(szNone + 3, COsString::StrFirstWhitespace(szNone));
  const char *szAll = "   ";
  EXPECT_EQ(szAll + 3, COsString::StrFirstNonWhitespace(szAll));
  EXPECT_EQ(nullptr, COsString::StrFirstNonWhitespace(nullptr));
  EXPECT_EQ(nullptr, COsString::StrFirstWhitespace(nullptr));
}

TEST(StrWildCmp, LiteralAndQuestionMark)
{
  EXPECT_EQ(0, COsString::StrWildCmp("a?c", "abc"));
  EXPECT_NE(0, COsString::StrWildCmp("abc", "ab"));
  EXPECT_NE(0, COsString::StrWildCmp("ab", "abc"));
  EXPECT_NE(0, COsString::StrWildCmp("a?c", "ac"));
  EXPECT_NE(0, COsString::StrWildCmp("ABC", "abc"));  // case-sensitive
  EXPECT_EQ(0, COsString::StrWildCmp("", ""));
}

TEST(StrWildCmp, StarsBackTrack)
{
  EXPECT_EQ(0, COsString::StrWildCmp("*.xml", "a.xml"));
  EXPECT_NE(0, COsString::StrWildCmp("*.xml", "a.xmlx"));
  EXPECT_EQ(0, COsString::StrWildCmp("*ab*c", "xabyabzc"));
  EXPECT_EQ(0, COsString::StrWildCmp("a*b*c", "aXbYc"));
  EXPECT_EQ(0, COsString::StrWildCmp("a*b*c", "abbbc"));
  EXPECT_NE(0, COsString::StrWildCmp("a*b*c", "aXbYd"));
  EXPECT_EQ(0, COsString::StrWildCmp("*aab", "aaab"));  // the first try fails, the retry matches
  EXPECT_EQ(0, COsString::StrWildCmp("*?", "x"));
  EXPECT_NE(0, COsString::StrWildCmp("*?", ""));
  EXPECT_EQ(0, COsString::StrWildCmp("a*", "a"));
}

TEST(StrWildCmp, StarsAgainstEmptyText)
{
  EXPECT_EQ(0, COsString::StrWildCmp("*", ""));
  EXPECT_EQ(0, COsString::StrWildCmp("***", ""));
  EXPECT_EQ(0, COsString::StrWildCmp("*", "anything"));
  EXPECT_NE(0, COsString::StrWildCmp("*x", ""));
  EXPECT_NE(0, COsString::StrWildCmp("", "a"));
  EXPECT_NE(0, COsString::StrWildCmp(nullptr, "a"));
  EXPECT_NE(0, COsString::StrWildCmp("a", nullptr));
}

TEST(StrIstr, FindsIgnoringCase)
{
  const char *sz = "Hello World";
  EXPECT_EQ(sz + 6, COsString::StrIstr(sz, "wORLD"));
  EXPECT_EQ(sz, COsString::StrIstr(sz, "HELLO"));
  EXPECT_EQ(nullptr, COsString::StrIstr(sz, "worlds"));
  EXPECT_EQ(nullptr, COsString::StrIstr(sz, ""));
  const char *szEmpty = "";
  EXPECT_EQ(szEmpty, COsString::StrIstr(szEmpty, ""));
  EXPECT_EQ(nullptr, COsString::StrIstr(nullptr, "a"));
}

TEST(StrNstr, SearchesOnlyTheFirstBytes)
{
  const char *sz = "abcdef";
  EXPECT_EQ(sz + 2, COsString::StrNstr(sz, "cd", 4));
  EXPECT_EQ(nullptr, COsString::StrNstr(sz, "cd", 3));   // the match would end past the limit
  EXPECT_EQ(sz + 4, COsString::StrNstr(sz, "ef", 100));  // a limit past the end is harmless
  EXPECT_EQ(sz, COsString::StrNstr(sz, "", 0));
}

TEST(IsNum, OnlyDecimalDigits)
{
  EXPECT_TRUE(COsString::IsNum("0123456789"));
  EXPECT_TRUE(COsString::IsNum(""));
  EXPECT_FALSE(COsString::IsNum("12a"));
  EXPECT_FALSE(COsString::IsNum("-1"));
  EXPECT_FALSE(COsString::IsNum(nullptr));
}

TEST(StrToFastHex, PrefixDigitsAndStop)
{
  EXPECT_EQ(0u, COsString::StrToFastHex("0x"));
  EXPECT_EQ(0u, COsString::StrToFastHex(""));
  EXPECT_EQ(0u, COsString::StrToFastHex("g12"));
  EXPECT_EQ(0x4e8u, COsString::StrToFastHex("04e8z"));
  EXPECT_EQ(0xABCDEFu, COsString::StrToFastHex("0XabCdEf"));
  EXPECT_EQ(0u, COsString::StrToFastHex(nullptr));
  EXPECT_EQ(0u, COsString::StrToFastHex("0x0x12"));  // only one prefix is skipped
}

TEST(StrToFastHex, OverflowKeepsTheLowBits)
{
  EXPECT_EQ(0xFFFFFFFFu, COsString::StrToFastHex("FFFFFFFFF"));
  EXPECT_EQ(0x23456789u, COsString::StrToFastHex("0x123456789"));
  EXPECT_EQ(0x123456789ULL, COsString::StrToFastHex64("0x123456789"));
  EXPECT_EQ(0x23456789ULL, COsString::StrToFastHex64("0x10000000000000000023456789") & 0xFFFFFFFFULL);
  EXPECT_EQ(static_cast<uintptr_t>(0xdeadbeef), COsString::StrToFastHexIntPtr("deadbeef"));
}

TEST(StrToHex, ReadsAtMostTheGivenDigits)
{
  EXPECT_EQ(0x12u, COsString::StrToHex("0x1234", 2));
  EXPECT_EQ(0x1234u, COsString::StrToHex("1234", 8));
  EXPECT_EQ(0u, COsString::StrToHex("1234", 0));
  EXPECT_EQ(static_cast<uintptr_t>(0xabc), COsString::StrToHexIntPtr("abcd", 3));
}

TEST(VersionToFields, EightDigitForm)
{
  int a = -1, b = -1, c = -1, d = -1;
  EXPECT_EQ(0u, COsString::StrConvertVersionToFields("01020304", &a, &b, &c, &d));
  EXPECT_EQ(1, a);
  EXPECT_EQ(2, b);
  EXPECT_EQ(3, c);
  EXPECT_EQ(4, d);
  EXPECT_EQ(0u, COsString::StrConvertVersionToFields("99887766", &a, &b, &c, &d));
  EXPECT_EQ(99, a);
  EXPECT_EQ(66, d);
}

TEST(VersionToFields, DottedForm)
{
  int a = -1, b = -1, c = -1, d = -1;
  EXPECT_EQ(0u, COsString::StrConvertVersionToFields("1.2", &a, &b, &c, &d));
  EXPECT_EQ(1, a);
  EXPECT_EQ(2, b);
  EXPECT_EQ(0, c);
  EXPECT_EQ(0, d);
  EXPECT_EQ(0u, COsString::StrConvertVersionToFields("10.20.300.4000", &a, &b, &c, &d));
  EXPECT_EQ(10, a);
  EXPECT_EQ(4000, d);
  EXPECT_EQ(0u, COsString::StrConvertVersionToFields("", &a, &b, &c, &d));
  EXPECT_EQ(0, a + b + c + d);
  EXPECT_EQ(0u, COsString::StrConvertVersionToFields("123456789", &a, &b, &c, &d));  // nine digits: one field
  EXPECT_EQ(123456789, a);
  EXPECT_EQ(0u, COsString::StrConvertVersionToFields(".5", &a, &b, &c, &d));
  EXPECT_EQ(0, a);
  EXPECT_EQ(5, b);
}

TEST(VersionToFields, Errors)
{
  int a = -1, b = -1, c = -1, d = -1;
  EXPECT_EQ(3u, COsString::StrConvertVersionToFields("1.2.3.4.5", &a, &b, &c, &d));
  EXPECT_EQ(0, a + b + c + d);  // no partial fields
  EXPECT_EQ(3u, COsString::StrConvertVersionToFields("1.x", &a, &b, &c, &d));
  EXPECT_EQ(3u, COsString::StrConvertVersionToFields("v1", &a, &b, &c, &d));
  EXPECT_EQ(1u, COsString::StrConvertVersionToFields(nullptr, &a, &b, &c, &d));
  a = b = c = d = 7;
  EXPECT_EQ(1u, COsString::StrConvertVersionToFields("1.2", &a, &b, nullptr, &d));
  EXPECT_EQ(7, a);  // outputs are only cleared once all four are present
  EXPECT_EQ(1u, COsString::StrConvertVersionToFields(nullptr, &a, &b, &c, &d));
  EXPECT_EQ(0, a + b + c + d);
}

TEST(VersionFromFields, DottedDropsTrailingZerosAsymmetrically)
{
  char sz[32];
  EXPECT_EQ(7, COsString::StrConvertVersionFromFields(sz, sizeof(sz), true, 1, 0, 0, 5));
  EXPECT_STREQ("1.0.0.5", sz);
  COsString::StrConvertVersionFromFields(sz, sizeof(sz), true, 1, 0, 5, 0);
  EXPECT_STREQ("1.0.5", sz);
  COsString::StrConvertVersionFromFields(sz, sizeof(sz), true, 1, 2, 0, 0);
  EXPECT_STREQ("1.2", sz);
  COsString::StrConvertVersionFromFields(sz, sizeof(sz), true, 0, 0, 0, 0);
  EXPECT_STREQ("0.0", sz);
  EXPECT_EQ(8, COsString::StrConvertVersionFromFields(sz, sizeof(sz), false, 1, 2, 0, 0));
  EXPECT_STREQ("01020000", sz);
  EXPECT_EQ(-1, COsString::StrConvertVersionFromFields(sz, 8, false, 1, 2, 3, 4));
}

TEST(StrConvertVersion, ConvertsBetweenForms)
{
  char sz[32];
  EXPECT_EQ(8, COsString::StrConvertVersion(sz, sizeof(sz), false, "1.2.3.4"));
  EXPECT_STREQ("01020304", sz);
  EXPECT_EQ(3, COsString::StrConvertVersion(sz, sizeof(sz), true, "01020000"));
  EXPECT_STREQ("1.2", sz);
}

TEST(StrConvertVersion, UnreadableTextIsCopiedOrZeroed)
{
  char sz[32];
  EXPECT_EQ(4, COsString::StrConvertVersion(sz, sizeof(sz), true, "beta"));
  EXPECT_STREQ("beta", sz);
  EXPECT_EQ(8, COsString::StrConvertVersion(sz, sizeof(sz), false, "beta"));
  EXPECT_STREQ("00000000", sz);
  strcpy(sz, "old");
  EXPECT_EQ(-1, COsString::StrConvertVersion(sz, 4, true, "beta"));
  EXPECT_STREQ("old", sz);
}

TEST(PtrToStr, EightHexDigitsAndSizeCheck)
{
  char sz[20] = "keep";
  EXPECT_EQ(3u, COsString::PtrToStr(reinterpret_cast<void *>(0x1a2b), sz, 8));
  EXPECT_STREQ("keep", sz);
  EXPECT_EQ(0u, COsString::PtrToStr(reinterpret_cast<void *>(0x1a2b), sz, 9));
  EXPECT_STREQ("00001a2b", sz);
  EXPECT_EQ(3u, COsString::PtrToStr(nullptr, nullptr, 9));
}

TEST(StrDup, CopiesThroughTheMemoryService)
{
  COsMem *posmemOld = g_posmem;
  g_posmem = nullptr;
  EXPECT_EQ(nullptr, COsString::StrDup("abc"));  // no memory service: refused
  COsMem *posmem = new COsMem(OS_MEM_METHOD_MALLOC, 1);
  g_posmem = posmem;
  char *sz = COsString::StrDup("copy me");
  ASSERT_NE(nullptr, sz);
  EXPECT_STREQ("copy me", sz);
  g_posmem->Free(sz, __FILE__, __LINE__, EOSLOGFLAG_MEM, true);
  EXPECT_EQ(nullptr, COsString::StrDup(nullptr));
  delete posmem;
  g_posmem = posmemOld;
}

TEST(StringLog, SuccessWritesNothing)
{
  ostest::LogCapture logcapture;
  char sz[16] = "";
  COsString::SStrCpy(sz, sizeof(sz), "abc");
  COsString::SStrCat(sz, sizeof(sz), "def");
  EXPECT_EQ(9, COsString::SStrCatf(sz, sizeof(sz), "%d", 123));
  EXPECT_EQ(2, COsString::SStrPrintf(sz, sizeof(sz), "%s", "ok"));
  EXPECT_EQ(0, COsString::StrWildCmp("*", "x"));
  EXPECT_TRUE(logcapture.Messages().empty());
}

TEST(StringLog, OverflowsNameTheFunctionAndTheText)
{
  ostest::LogCapture logcapture;
  char sz[4] = "ab";
  COsString::SStrCpy(sz, sizeof(sz), "long");
  COsString::SStrCat(sz, sizeof(sz), "cd");
  COsString::SStrNcpy(sz, sizeof(sz), "wxyz", 4);
  COsString::SStrNcat(sz, sizeof(sz), "wxyz", 4);
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, sizeof(sz), "%s!", "abc"));
  EXPECT_EQ(-1, VprintfThrough(sz, sizeof(sz), "%d", 1234));
  sz[0] = '\0';
  EXPECT_EQ(-1, COsString::SStrCatf(sz, sizeof(sz), "[%s]", "ab"));
  COsString::SStrTrim(sz, sizeof(sz), " abcd ");
  char szNoEnd[20];
  memset(szNoEnd, 'q', sizeof(szNoEnd));
  EXPECT_EQ(-1, COsString::SStrLen(szNoEnd, sizeof(szNoEnd)));
  std::vector<std::string> vecExpected = {
      "A SStrCpy failed...<long>",  "A SStrCat failed...<cd>",      "A SStrNcpy failed...<wxyz>",
      "A SStrNcat failed...<wxyz>", "A SStrPrintf failed...<%s!>",  "A SStrVprintf failed...<%d>",
      "A SStrCatf failed...<[%s]>", "A SStrTrim failed...< abcd >", "A SStrLen failed...<qqqqqqqqqqqqqqqq>"};
  EXPECT_EQ(vecExpected, logcapture.Messages());
}

TEST(StringLog, NullArgumentsShowThePointers)
{
  ostest::LogCapture logcapture;
  char sz[4] = "";
  const char *szX = "x";
  COsString::SStrCpy(sz, 0, szX);
  COsString::SStrCat(nullptr, 4, szX);
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, 4, nullptr));
  EXPECT_EQ(-1, VprintfThrough(nullptr, 4, szX));
  EXPECT_EQ(-1, COsString::SStrCatf(sz, 0, szX));
  char *szSave = nullptr;
  EXPECT_EQ(nullptr, COsString::SStrTok(sz, nullptr, &szSave));
  EXPECT_EQ(nullptr, COsString::StrFirstNonWhitespace(nullptr));
  char szTok[64];
  snprintf(szTok, sizeof(szTok), "A SStrTok failed...%p %p", nullptr, static_cast<void *>(&szSave));
  std::vector<std::string> vecExpected = {PointerMessage("SStrCpy", sz, 0, szX),
                                          PointerMessage("SStrCat", nullptr, 4, szX),
                                          PointerMessage("SStrPrintf", sz, 4, nullptr),
                                          PointerMessage("SStrVprintf", nullptr, 4, szX),
                                          PointerMessage("SStrCatf", sz, 0, szX),
                                          szTok,
                                          "A a_szSrc is null..."};
  EXPECT_EQ(vecExpected, logcapture.Messages());
}

TEST(StringLog, ErrorsUseTheErrorFlag)
{
  ostest::LogCapture logcapture;
  char sz[8] = "aaa";
  EXPECT_EQ(1u, COsString::SStrReplace(sz, sizeof(sz), "a", "xyz", true));
  int a, b, c;
  EXPECT_EQ(1u, COsString::StrConvertVersionToFields("1", &a, &b, &c, nullptr));
  char szVersion[9];
  EXPECT_EQ(8, COsString::StrConvertVersion(szVersion, sizeof(szVersion), false, "x.y"));
  COsString::SStrFromNum(5, sz, sizeof(sz), 2);
  COsMem *posmemOld = g_posmem;
  g_posmem = nullptr;
  EXPECT_EQ(nullptr, COsString::StrDup("abc"));
  g_posmem = posmemOld;
  EXPECT_EQ(3u, COsString::PtrToStr(nullptr, sz, 8));
  std::vector<std::string> vecExpected = {"E buffer overflow...<aaa> 8 <a> <xyz>",
                                          "E invalid argument",
                                          "E version not supported, use v0...<x.y>",
                                          "A SStrFromNum failed (must be 10 or 16)...<@@@>",
                                          "E OsMemAlloc failed...",
                                          "A a_lValueSizeInBytes too small..."};
  EXPECT_EQ(vecExpected, logcapture.Messages());
}

TEST(StringLog, VersionDiagnosticsOnlyAtADebugLevel)
{
  int a, b, c, d;
  {
    ostest::LogCapture logcapture(0);
    EXPECT_EQ(3u, COsString::StrConvertVersionToFields("1.x", &a, &b, &c, &d));
    EXPECT_TRUE(logcapture.Messages().empty());
  }
  ostest::LogCapture logcapture(1);
  EXPECT_EQ(3u, COsString::StrConvertVersionToFields("1.x", &a, &b, &c, &d));
  EXPECT_EQ(3u, COsString::StrConvertVersionToFields("1.2.3.4.5", &a, &b, &c, &d));
  std::vector<std::string> vecMessages = logcapture.Messages();
  ASSERT_EQ(2u, vecMessages.size());
  EXPECT_EQ(". Non-numeric version...<1.x>", vecMessages[0]);
  EXPECT_EQ(". More than 4 version fields...<1.2.3.4.5>", vecMessages[1]);
}

TEST(StringLog, SourceNameIsThisFile)
{
  ostest::LogCapture logcapture;
  char sz[2];
  COsString::SStrCpy(sz, sizeof(sz), "ab");
  std::vector<std::string> vecLines = logcapture.Lines();
  ASSERT_FALSE(vecLines.empty());
  EXPECT_NE(std::string::npos, vecLines.back().find(" os_cosstring "));
}
