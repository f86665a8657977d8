// test_cosstring.cpp: bounded copies and formatting at their exact limits,
// the wildcard matcher, the hexadecimal and version parsers, and what each
// refusal writes to the log.
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

// A status or length and the text a call left: "5 ab-12".
std::string Result(int a_iResult, const char *a_sz)
{
  return std::to_string(a_iResult) + " " + a_sz;
}

}  // namespace

// "(call, sz)" below is the text a call left in sz.
TEST(BoundedCopy, CopiesOnlyWhatFitsAndLogsTheRest)
{
  ostest::LogCapture logcapture;
  char sz[8] = "old";
  EXPECT_STREQ("old", (COsString::SStrCpy(sz, 5, "hello"), sz));    // strlen == size: refused
  EXPECT_STREQ("hello", (COsString::SStrCpy(sz, 6, "hello"), sz));  // one larger: copied
  strcpy(sz, "abc");
  EXPECT_STREQ("abc", (COsString::SStrCat(sz, 8, "defgh"), sz));     // 3 + 5 == 8: refused
  EXPECT_STREQ("abcdefg", (COsString::SStrCat(sz, 8, "defg"), sz));  // 7 < 8: appended
  memcpy(sz, "zzzzzzz", 8);
  COsString::SStrNcpy(sz, 8, "abcdef", 3);  // count characters, no terminator
  EXPECT_EQ(0, memcmp(sz, "abczzzz", 8));
  EXPECT_STREQ("ab",
               (COsString::SStrNcpy(sz, 8, "ab", 100), sz));  // the source fits: padding stops at the end
  EXPECT_STREQ("ab", (COsString::SStrNcpy(sz, 4, "abcdef", 4), sz));       // neither count nor source fits
  EXPECT_STREQ("ab", (COsString::SStrNcat(sz, 8, "cdefghij", 6), sz));     // 2 + 6 and 2 + 8 both reach 8
  EXPECT_STREQ("abcd", (COsString::SStrNcat(sz, 8, "cd", 50), sz));        // the whole source fits
  EXPECT_STREQ("abcdefg", (COsString::SStrNcat(sz, 8, "efghij", 3), sz));  // 4 + 3 < 8
  EXPECT_STREQ("", (COsString::SStrCpy(sz, 1, ""), sz));
  EXPECT_EQ(4u, logcapture.Messages().size());  // one message for each refusal
}

TEST(BoundedCopy, NullOrZeroSizeLeavesTheDestinationAndIsLogged)
{
  ostest::LogCapture logcapture;
  char sz[8] = "keep";
  COsString::SStrCpy(sz, 0, "x");
  COsString::SStrCat(nullptr, 4, "x");
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, 4, nullptr));
  EXPECT_EQ(-1, COsString::SStrCatf(sz, 0, "x"));
  char *szSave = nullptr;
  EXPECT_EQ(nullptr, COsString::SStrTok(sz, nullptr, &szSave));
  EXPECT_EQ(nullptr, COsString::StrFirstNonWhitespace(nullptr));
  EXPECT_EQ(6u, logcapture.Messages().size());  // one message for each refusal
  COsString::SStrCpy(sz, sizeof(sz), nullptr);
  COsString::SStrCpy(nullptr, sizeof(sz), "x");
  COsString::SStrCat(sz, 0, "x");
  COsString::SStrCat(sz, 8, nullptr);
  EXPECT_EQ(-1, COsString::SStrPrintf(nullptr, 4, "a"));
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, 0, "a"));
  EXPECT_EQ(-1, COsString::SStrCatf(sz, sizeof(sz), nullptr));
  EXPECT_STREQ("keep", sz);
}

TEST(BoundedFormat, ExactFitSucceedsOneMoreTruncates)
{
  ostest::LogCapture logcapture;
  char sz[6];
  EXPECT_EQ("5 ab-12", Result(COsString::SStrPrintf(sz, sizeof(sz), "%s-%d", "ab", 12), sz));
  EXPECT_EQ("-1 ab-12",
            Result(COsString::SStrPrintf(sz, sizeof(sz), "%s-%d", "ab", 123), sz));  // cut, terminated
  EXPECT_EQ("5 00007", Result(VprintfThrough(sz, sizeof(sz), "%05d", 7), sz));
  strcpy(sz, "ab");
  EXPECT_EQ("5 ab123", Result(COsString::SStrCatf(sz, sizeof(sz), "%d", 123), sz));  // the new total
  EXPECT_EQ("-1 ab123", Result(COsString::SStrCatf(sz, sizeof(sz), "z"), sz));
  strcpy(sz, "ab");
  EXPECT_EQ("-1 ab[cd",
            Result(COsString::SStrCatf(sz, sizeof(sz), "[%s]", "cdef"), sz));  // the cut text stays
  EXPECT_EQ("0 ", Result(COsString::SStrPrintf(sz, sizeof(sz), "%s", ""), sz));
  EXPECT_EQ(3u, logcapture.Messages().size());  // one message for each refusal
}

TEST(StringHelpers, TokLenTrimAndFromNum)
{
  char szTok[] = "a,;b";
  char *szSave = nullptr;
  EXPECT_STREQ("a", COsString::SStrTok(szTok, ",;", &szSave));
  EXPECT_STREQ("b", COsString::SStrTok(nullptr, ",;", &szSave));
  EXPECT_EQ(nullptr, COsString::SStrTok(nullptr, ",;", &szSave));
  EXPECT_EQ(nullptr, COsString::SStrTok(szTok, " ", nullptr));
  ostest::LogCapture logcapture;
  char szLen[20];
  memset(szLen, 'q', sizeof(szLen));
  EXPECT_EQ(-1, COsString::SStrLen(szLen, sizeof(szLen)));
  szLen[3] = '\0';
  EXPECT_EQ(3, COsString::SStrLen(szLen, sizeof(szLen)));
  EXPECT_EQ(-1, COsString::SStrLen(szLen, 3));
  EXPECT_EQ(-1, COsString::SStrLen(nullptr, 3));
  char sz[6] = "x";
  EXPECT_STREQ("hello", (COsString::SStrTrim(sz, sizeof(sz), " \t hello \r\n"), sz));
  EXPECT_STREQ("hello", (COsString::SStrTrim(sz, 5, "  world "), sz));  // five characters need six bytes
  EXPECT_STREQ("", (COsString::SStrTrim(sz, sizeof(sz), "   "), sz));
  char szInPlace[16] = "  a b  ";
  EXPECT_STREQ("a b", (COsString::SStrTrim(szInPlace, sizeof(szInPlace), szInPlace), szInPlace));
  char szNum[16];
  EXPECT_EQ(3, COsString::SStrFromNum(-42, szNum, sizeof(szNum), 10));
  EXPECT_STREQ("-42", szNum);
  EXPECT_STREQ("ffffffff", (COsString::SStrFromNum(-1, szNum, sizeof(szNum), 16), szNum));
  EXPECT_STREQ("@@@", (COsString::SStrFromNum(5, szNum, sizeof(szNum), 8), szNum));
  EXPECT_STREQ("123456789ab", (COsString::SStrFromNum64(0x123456789abLL, szNum, sizeof(szNum), 16), szNum));
  EXPECT_STREQ("-5000000000", (COsString::SStrFromNum64(-5000000000LL, szNum, sizeof(szNum), 10), szNum));
  EXPECT_EQ(-1, COsString::SStrFromNum64(1234567890123LL, szNum, 4, 10));
  EXPECT_EQ(6u, logcapture.Messages().size());  // one message for each refusal
}

TEST(SStrReplace, ReplacesFirstOrAllAndRefusesOverflow)
{
  char sz[16] = "a-b-c";
  EXPECT_EQ("0 a--b-c", Result(COsString::SStrReplace(sz, sizeof(sz), "-", "--", false), sz));
  EXPECT_EQ("0 a++b+c", Result(COsString::SStrReplace(sz, sizeof(sz), "-", "+", true), sz));
  EXPECT_EQ("0 ab+c", Result(COsString::SStrReplace(sz, sizeof(sz), "++", "", true), sz));
  EXPECT_EQ(14u, COsString::SStrReplace(sz, sizeof(sz), "zz", "y", true));
  EXPECT_EQ(3u, COsString::SStrReplace(sz, sizeof(sz), "", "y", true));
  char szFit[8] = "a.b.c";  // every '.' to "xx" needs 7 + 1 bytes: fits exactly
  EXPECT_EQ("0 axxbxxc", Result(COsString::SStrReplace(szFit, sizeof(szFit), ".", "xx", true), szFit));
  EXPECT_EQ("1 axxbxxc", Result(COsString::SStrReplace(szFit, sizeof(szFit), "b", "bb", false), szFit));
}

TEST(StrSearch, WhitespaceCaseInsensitiveAndBoundedSearch)
{
  const char *sz = " \t\n x y";
  EXPECT_EQ(sz + 4, COsString::StrFirstNonWhitespace(sz));
  EXPECT_EQ(sz + 5, COsString::StrFirstWhitespace(sz + 4));
  EXPECT_EQ(sz + 7, COsString::StrFirstWhitespace(sz + 6));
  const char *szAll = "   ";
  EXPECT_EQ(szAll + 3, COsString::StrFirstNonWhitespace(szAll));
  EXPECT_EQ(nullptr, COsString::StrFirstWhitespace(nullptr));
  const char *szHello = "Hello World";
  EXPECT_EQ(szHello + 6, COsString::StrIstr(szHello, "wORLD"));
  EXPECT_EQ(nullptr, COsString::StrIstr(szHello, "worlds"));
  EXPECT_EQ(nullptr, COsString::StrIstr(szHello, ""));
  const char *szEmpty = "";
  EXPECT_EQ(szEmpty, COsString::StrIstr(szEmpty, ""));
  EXPECT_EQ(nullptr, COsString::StrIstr(nullptr, "a"));
  const char *szAbc = "abcdef";
  EXPECT_EQ(szAbc + 2, COsString::StrNstr(szAbc, "cd", 4));
  EXPECT_EQ(nullptr, COsString::StrNstr(szAbc, "cd", 3));      // the match would end past the limit
  EXPECT_EQ(szAbc + 4, COsString::StrNstr(szAbc, "ef", 100));  // a limit past the end is harmless
  EXPECT_EQ(szAbc, COsString::StrNstr(szAbc, "", 0));
  EXPECT_TRUE(COsString::IsNum("0123456789"));
  EXPECT_TRUE(COsString::IsNum(""));
  EXPECT_FALSE(COsString::IsNum("12a"));
  EXPECT_FALSE(COsString::IsNum(nullptr));
}

// "*aab" on "aaab" fails the first try and matches on the retry.
TEST(StrWildCmp, QuestionMarksStarsAndBackTracking)
{
  const struct
  {
    const char *szPattern;
    const char *szText;
    bool blMatch;
  } acase[] = {{"a?c", "abc", true},        {"abc", "ab", false},       {"ab", "abc", false},
               {"a?c", "ac", false},        {"ABC", "abc", false},      {"", "", true},
               {"*.xml", "a.xml", true},    {"*.xml", "a.xmlx", false}, {"a*b*c", "aXbYc", true},
               {"*ab*c", "xabyabzc", true}, {"a*b*c", "aXbYd", false},  {"*aab", "aaab", true},
               {"*?", "x", true},           {"*?", "", false},          {"a*", "a", true},
               {"***", "", true},           {"*x", "", false},          {"", "a", false},
               {nullptr, "a", false},       {"a", nullptr, false}};
  for (const auto &c : acase)
  {
    EXPECT_EQ(c.blMatch, COsString::StrWildCmp(c.szPattern, c.szText) == 0)
        << (c.szPattern ? c.szPattern : "(null)") << " " << (c.szText ? c.szText : "(null)");
  }
}

TEST(StrToHex, PrefixDigitsStopAndOverflowKeepingTheLowBits)
{
  // Only one prefix is skipped; an overflow keeps the low bits.
  const std::pair<const char *, uint32_t> apair[] = {{"0x", 0},
                                                     {"", 0},
                                                     {"g12", 0},
                                                     {"04e8z", 0x4e8},
                                                     {"0XabCdEf", 0xABCDEF},
                                                     {nullptr, 0},
                                                     {"0x0x12", 0},
                                                     {"0x123456789", 0x23456789}};
  for (const auto &pair : apair)
  {
    EXPECT_EQ(pair.second, COsString::StrToFastHex(pair.first)) << (pair.first ? pair.first : "(null)");
  }
  EXPECT_EQ(0x123456789ULL, COsString::StrToFastHex64("0x123456789"));
  EXPECT_EQ(0x23456789ULL, COsString::StrToFastHex64("0x10000000000000000023456789") & 0xFFFFFFFFULL);
  EXPECT_EQ(static_cast<uintptr_t>(0xdeadbeef), COsString::StrToFastHexIntPtr("deadbeef"));
  EXPECT_EQ(0x12u, COsString::StrToHex("0x1234", 2));  // at most the given digits
  EXPECT_EQ(0x1234u, COsString::StrToHex("1234", 8));
  EXPECT_EQ(0u, COsString::StrToHex("1234", 0));
  EXPECT_EQ(static_cast<uintptr_t>(0xabc), COsString::StrToHexIntPtr("abcd", 3));
}

TEST(VersionToFields, EightDigitAndDottedFormsAndErrorsLeaveNoPartialFields)
{
  const struct
  {
    const char *szVersion;
    int aiField[4];
    EOSSTS eossts;
  } acase[] = {{"01020304", {1, 2, 3, 4}, 0},
               {"1.2", {1, 2, 0, 0}, 0},
               {"10.20.300.4000", {10, 20, 300, 4000}, 0},
               {"", {0, 0, 0, 0}, 0},
               {".5", {0, 5, 0, 0}, 0},
               {"123456789", {123456789, 0, 0, 0}, 0},  // nine digits: one field
               {"1.2.3.4.5", {0, 0, 0, 0}, 3},
               {"1.x", {0, 0, 0, 0}, 3},
               {nullptr, {0, 0, 0, 0}, 1}};
  for (const auto &c : acase)
  {
    int ai[4] = {-1, -1, -1, -1};
    EXPECT_EQ(c.eossts, COsString::StrConvertVersionToFields(c.szVersion, &ai[0], &ai[1], &ai[2], &ai[3]));
    EXPECT_EQ(std::vector<int>(c.aiField, c.aiField + 4), std::vector<int>(ai, ai + 4))
        << (c.szVersion ? c.szVersion : "(null)");
  }
  int a = 7, b = 7, d = 7;
  EXPECT_EQ(1u, COsString::StrConvertVersionToFields("1.2", &a, &b, nullptr, &d));
  EXPECT_EQ(7, a);  // outputs are only cleared once all four are present
}

TEST(VersionFromFields, DottedDropsTrailingZerosAsymmetricallyAndUnreadableTextIsCopiedOrZeroed)
{
  char sz[32];
  auto dotted = [&sz](int a_i1, int a_i2, int a_i3, int a_i4) {
    return Result(COsString::StrConvertVersionFromFields(sz, sizeof(sz), true, a_i1, a_i2, a_i3, a_i4), sz);
  };
  EXPECT_EQ("7 1.0.0.5", dotted(1, 0, 0, 5));
  EXPECT_EQ("5 1.0.5", dotted(1, 0, 5, 0));
  EXPECT_EQ("3 1.2", dotted(1, 2, 0, 0));
  EXPECT_EQ("3 0.0", dotted(0, 0, 0, 0));
  EXPECT_EQ("8 01020000",
            Result(COsString::StrConvertVersionFromFields(sz, sizeof(sz), false, 1, 2, 0, 0), sz));
  EXPECT_EQ(-1, COsString::StrConvertVersionFromFields(sz, 8, false, 1, 2, 3, 4));
  EXPECT_EQ("8 01020304", Result(COsString::StrConvertVersion(sz, sizeof(sz), false, "1.2.3.4"), sz));
  EXPECT_EQ("3 1.2", Result(COsString::StrConvertVersion(sz, sizeof(sz), true, "01020000"), sz));
  // Unreadable text is copied (dotted) or zeroed.
  EXPECT_EQ("4 beta", Result(COsString::StrConvertVersion(sz, sizeof(sz), true, "beta"), sz));
  EXPECT_EQ("8 00000000", Result(COsString::StrConvertVersion(sz, sizeof(sz), false, "x.y"), sz));
  strcpy(sz, "old");
  EXPECT_EQ("-1 old", Result(COsString::StrConvertVersion(sz, 4, true, "beta"), sz));
}

TEST(PtrToStrAndStrDup, SizeChecksAndTheMemoryService)
{
  char sz[20] = "keep";
  EXPECT_EQ("3 keep", Result(COsString::PtrToStr(reinterpret_cast<void *>(0x1a2b), sz, 8), sz));
  EXPECT_EQ("0 00001a2b", Result(COsString::PtrToStr(reinterpret_cast<void *>(0x1a2b), sz, 9), sz));
  EXPECT_EQ(3u, COsString::PtrToStr(nullptr, nullptr, 9));
  COsMem *posmemOld = g_posmem;
  g_posmem = nullptr;
  EXPECT_EQ(nullptr, COsString::StrDup("abc"));  // no memory service: refused
  COsMem *posmem = new COsMem(OS_MEM_METHOD_MALLOC, 1);
  g_posmem = posmem;
  char *szDup = COsString::StrDup("copy me");
  ASSERT_NE(nullptr, szDup);
  EXPECT_STREQ("copy me", szDup);
  g_posmem->Free(szDup, __FILE__, __LINE__, EOSLOGFLAG_MEM, true);
  EXPECT_EQ(nullptr, COsString::StrDup(nullptr));
  delete posmem;
  g_posmem = posmemOld;
}
