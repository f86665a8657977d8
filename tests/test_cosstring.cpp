// test_cosstring.cpp: bounded copies and formatting at their exact limits,
// and the main path with one boundary of each other string helper.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "os_cosmem.h"
#include "os_cosstring.h"
#include "os_testlog.h"

namespace
{

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
  EXPECT_STREQ("ab", (COsString::SStrNcpy(sz, 8, "ab", 100), sz));      // the source fits: no padding past it
  EXPECT_STREQ("ab", (COsString::SStrNcpy(sz, 4, "abcdef", 4), sz));    // neither count nor source fits
  EXPECT_STREQ("ab", (COsString::SStrNcat(sz, 8, "cdefghij", 6), sz));  // 2 + 6 reaches 8: refused
  EXPECT_STREQ("abcdefg", (COsString::SStrNcat(sz, 8, "cdefghij", 5), sz));  // 2 + 5 < 8
  EXPECT_STREQ("", (COsString::SStrCpy(sz, 1, ""), sz));
  EXPECT_EQ(4u, logcapture.Messages().size());  // one message for each refusal
}

TEST(BoundedCopy, NullOrZeroSizeLeavesTheDestination)
{
  char sz[8] = "keep";
  COsString::SStrCpy(sz, 0, "x");
  COsString::SStrCpy(sz, sizeof(sz), nullptr);
  COsString::SStrCat(nullptr, 4, "x");
  COsString::SStrCat(sz, 0, "x");
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, 4, nullptr));
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, 0, "a"));
  EXPECT_EQ(-1, COsString::SStrCatf(sz, 0, "x"));
  EXPECT_STREQ("keep", sz);
}

TEST(BoundedFormat, ExactFitSucceedsOneMoreTruncates)
{
  char sz[6];
  EXPECT_EQ("5 ab-12", Result(COsString::SStrPrintf(sz, sizeof(sz), "%s-%d", "ab", 12), sz));
  EXPECT_EQ("-1 ab-12",
            Result(COsString::SStrPrintf(sz, sizeof(sz), "%s-%d", "ab", 123), sz));  // cut, terminated
  strcpy(sz, "ab");
  EXPECT_EQ("5 ab123", Result(COsString::SStrCatf(sz, sizeof(sz), "%d", 123), sz));  // the new total
  EXPECT_EQ("-1 ab123", Result(COsString::SStrCatf(sz, sizeof(sz), "z"), sz));
  strcpy(sz, "ab");
  EXPECT_EQ("-1 ab[cd",
            Result(COsString::SStrCatf(sz, sizeof(sz), "[%s]", "cdef"), sz));  // the cut text stays
  EXPECT_EQ("0 ", Result(COsString::SStrPrintf(sz, sizeof(sz), "%s", ""), sz));
}

TEST(StringHelpers, TokLenTrimAndFromNum)
{
  char szTok[] = "a,;b";
  char *szSave = nullptr;
  EXPECT_STREQ("a", COsString::SStrTok(szTok, ",;", &szSave));
  EXPECT_STREQ("b", COsString::SStrTok(nullptr, ",;", &szSave));
  EXPECT_EQ(nullptr, COsString::SStrTok(nullptr, ",;", &szSave));
  char szLen[8] = "abc";
  EXPECT_EQ(3, COsString::SStrLen(szLen, sizeof(szLen)));
  EXPECT_EQ(-1, COsString::SStrLen(szLen, 3));  // no terminator within the size
  char sz[6] = "x";
  EXPECT_STREQ("hello", (COsString::SStrTrim(sz, sizeof(sz), " \t hello \r\n"), sz));
  EXPECT_STREQ("hello", (COsString::SStrTrim(sz, 5, "  world "), sz));  // five characters need six bytes
  char szNum[16];
  EXPECT_STREQ("-5000000000", (COsString::SStrFromNum64(-5000000000LL, szNum, sizeof(szNum), 10), szNum));
  EXPECT_EQ(-1, COsString::SStrFromNum64(1234567890123LL, szNum, 4, 10));
}

TEST(SStrReplace, ReplacesFirstOrAllAndRefusesOverflow)
{
  char sz[8] = "a.b.c";
  EXPECT_EQ("0 axxb.c", Result(COsString::SStrReplace(sz, sizeof(sz), ".", "xx", false), sz));
  EXPECT_EQ("0 axxbxxc", Result(COsString::SStrReplace(sz, sizeof(sz), ".", "xx", true), sz));  // 7 + 1 bytes
  EXPECT_EQ("1 axxbxxc", Result(COsString::SStrReplace(sz, sizeof(sz), "b", "bb", false), sz));
}

TEST(StrSearch, WhitespaceCaseInsensitiveAndBoundedSearch)
{
  const char *sz = " \t\n x y";
  EXPECT_EQ(sz + 4, COsString::StrFirstNonWhitespace(sz));
  EXPECT_EQ(sz + 5, COsString::StrFirstWhitespace(sz + 4));
  EXPECT_EQ(sz + 7, COsString::StrFirstWhitespace(sz + 6));
  const char *szHello = "Hello World";
  EXPECT_EQ(szHello + 6, COsString::StrIstr(szHello, "wORLD"));
  EXPECT_EQ(nullptr, COsString::StrIstr(szHello, "worlds"));
  EXPECT_EQ(szHello + 2, COsString::StrNstr(szHello, "ll", 4));
  EXPECT_EQ(nullptr, COsString::StrNstr(szHello, "ll", 3));  // the match would end past the limit
  EXPECT_TRUE(COsString::IsNum("0123456789"));
  EXPECT_FALSE(COsString::IsNum("12a"));
}

// "*aab" on "aaab" fails the first try and matches on the retry.
TEST(StrWildCmp, QuestionMarksStarsAndBackTracking)
{
  const struct
  {
    const char *szPattern;
    const char *szText;
    bool blMatch;
  } acase[] = {{"a?c", "abc", true},     {"a?c", "ac", false},       {"ABC", "abc", false},
               {"*.xml", "a.xml", true}, {"*.xml", "a.xmlx", false}, {"*aab", "aaab", true},
               {"*?", "", false},        {"***", "", true},          {nullptr, "a", false}};
  for (const auto &c : acase)
  {
    EXPECT_EQ(c.blMatch, COsString::StrWildCmp(c.szPattern, c.szText) == 0)
        << (c.szPattern ? c.szPattern : "(null)") << " " << c.szText;
  }
}

// Only one prefix is skipped; an overflow keeps the low bits.
TEST(StrToHex, PrefixDigitsStopAndOverflowKeepingTheLowBits)
{
  EXPECT_EQ(0u, COsString::StrToFastHex(nullptr));
  EXPECT_EQ(0x4e8u, COsString::StrToFastHex("04e8z"));
  EXPECT_EQ(0xABCDEFu, COsString::StrToFastHex("0XabCdEf"));
  EXPECT_EQ(0u, COsString::StrToFastHex("0x0x12"));
  EXPECT_EQ(0x23456789u, COsString::StrToFastHex("0x123456789"));
  EXPECT_EQ(0x12u, COsString::StrToHex("0x1234", 2));  // at most the given digits
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
               {"123456789", {123456789, 0, 0, 0}, 0},  // nine digits: one field
               {"1.2.3.4.5", {0, 0, 0, 0}, 3}};
  for (const auto &c : acase)
  {
    int ai[4] = {-1, -1, -1, -1};
    EXPECT_EQ(c.eossts, COsString::StrConvertVersionToFields(c.szVersion, &ai[0], &ai[1], &ai[2], &ai[3]));
    EXPECT_EQ(std::vector<int>(c.aiField, c.aiField + 4), std::vector<int>(ai, ai + 4)) << c.szVersion;
  }
}

TEST(VersionFromFields, DottedDropsTrailingZerosAndUnreadableTextIsCopiedOrZeroed)
{
  char sz[32];
  EXPECT_EQ("5 1.0.5", Result(COsString::StrConvertVersionFromFields(sz, sizeof(sz), true, 1, 0, 5, 0), sz));
  EXPECT_EQ("3 0.0", Result(COsString::StrConvertVersionFromFields(sz, sizeof(sz), true, 0, 0, 0, 0), sz));
  EXPECT_EQ(-1, COsString::StrConvertVersionFromFields(sz, 8, false, 1, 2, 3, 4));
  EXPECT_EQ("8 01020304", Result(COsString::StrConvertVersion(sz, sizeof(sz), false, "1.2.3.4"), sz));
  EXPECT_EQ("4 beta", Result(COsString::StrConvertVersion(sz, sizeof(sz), true, "beta"), sz));
}

TEST(PtrToStrAndStrDup, SizeChecksAndTheMemoryService)
{
  char sz[20] = "keep";
  EXPECT_EQ("3 keep", Result(COsString::PtrToStr(reinterpret_cast<void *>(0x1a2b), sz, 8), sz));
  EXPECT_EQ("0 00001a2b", Result(COsString::PtrToStr(reinterpret_cast<void *>(0x1a2b), sz, 9), sz));
  COsMem *posmemOld = g_posmem;
  g_posmem = nullptr;
  EXPECT_EQ(nullptr, COsString::StrDup("abc"));  // no memory service: refused
  g_posmem = new COsMem(OS_MEM_METHOD_MALLOC, 1);
  char *szDup = COsString::StrDup("copy me");
  EXPECT_STREQ("copy me", szDup);
  g_posmem->Free(szDup, __FILE__, __LINE__, EOSLOGFLAG_MEM, true);
  delete g_posmem;
  g_posmem = posmemOld;
}
