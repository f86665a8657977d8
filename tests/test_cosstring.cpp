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

using Texts = std::vector<std::string>;

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

TEST(BoundedCopy, CopiesOnlyWhatFitsAndLogsTheRest)
{
  ostest::LogCapture logcapture;
  char sz[8] = "old";
  COsString::SStrCpy(sz, 5, "hello");  // strlen == size: refused
  EXPECT_STREQ("old", sz);
  COsString::SStrCpy(sz, 6, "hello");  // one larger: copied
  EXPECT_STREQ("hello", sz);
  strcpy(sz, "abc");
  COsString::SStrCat(sz, 8, "defgh");  // 3 + 5 == 8: refused
  EXPECT_STREQ("abc", sz);
  COsString::SStrCat(sz, 8, "defg");  // 7 < 8: appended
  EXPECT_STREQ("abcdefg", sz);
  memcpy(sz, "zzzzzzz", 8);
  COsString::SStrNcpy(sz, 8, "abcdef", 3);  // count characters, no terminator
  EXPECT_EQ(0, memcmp(sz, "abczzzz", 8));
  COsString::SStrNcpy(sz, 8, "ab", 100);  // the source fits: padding stops at the end
  EXPECT_STREQ("ab", sz);
  EXPECT_EQ(0, sz[7]);
  COsString::SStrNcpy(sz, 4, "abcdef", 4);  // neither count nor source fits
  EXPECT_STREQ("ab", sz);
  COsString::SStrNcat(sz, 8, "cdefghij", 6);  // 2 + 6 and 2 + 8 both reach 8
  EXPECT_STREQ("ab", sz);
  COsString::SStrNcat(sz, 8, "cd", 50);  // the whole source fits
  EXPECT_STREQ("abcd", sz);
  COsString::SStrNcat(sz, 8, "efghij", 3);  // 4 + 3 < 8
  EXPECT_STREQ("abcdefg", sz);
  COsString::SStrCpy(sz, 1, "");
  EXPECT_STREQ("", sz);
  EXPECT_EQ((Texts{"A SStrCpy failed...<hello>", "A SStrCat failed...<defgh>", "A SStrNcpy failed...<abcdef>",
                   "A SStrNcat failed...<cdefghij>"}),
            logcapture.Messages());
}

TEST(BoundedCopy, NullOrZeroSizeLeavesTheDestinationAndLogsThePointers)
{
  ostest::LogCapture logcapture;
  char sz[8] = "keep";
  const char *szX = "x";
  COsString::SStrCpy(sz, 0, szX);
  COsString::SStrCat(nullptr, 4, szX);
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, 4, nullptr));
  EXPECT_EQ(-1, VprintfThrough(nullptr, 4, szX));
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"  // a variable format on purpose
  EXPECT_EQ(-1, COsString::SStrCatf(sz, 0, szX));
#pragma GCC diagnostic pop
  char *szSave = nullptr;
  EXPECT_EQ(nullptr, COsString::SStrTok(sz, nullptr, &szSave));
  EXPECT_EQ(nullptr, COsString::StrFirstNonWhitespace(nullptr));
  char szTok[64];
  snprintf(szTok, sizeof(szTok), "A SStrTok failed...%p %p", nullptr, static_cast<void *>(&szSave));
  EXPECT_EQ(
      (Texts{PointerMessage("SStrCpy", sz, 0, szX), PointerMessage("SStrCat", nullptr, 4, szX),
             PointerMessage("SStrPrintf", sz, 4, nullptr), PointerMessage("SStrVprintf", nullptr, 4, szX),
             PointerMessage("SStrCatf", sz, 0, szX), szTok, "A a_szSrc is null..."}),
      logcapture.Messages());
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
  EXPECT_EQ(5, COsString::SStrPrintf(sz, sizeof(sz), "%s-%d", "ab", 12));
  EXPECT_STREQ("ab-12", sz);
  EXPECT_EQ(-1, COsString::SStrPrintf(sz, sizeof(sz), "%s-%d", "ab", 123));
  EXPECT_STREQ("ab-12", sz);  // the formatter's truncated, terminated text
  EXPECT_EQ(5, VprintfThrough(sz, sizeof(sz), "%05d", 7));
  EXPECT_STREQ("00007", sz);
  EXPECT_EQ(-1, VprintfThrough(sz, sizeof(sz), "%06d", 7));
  EXPECT_STREQ("00000", sz);
  strcpy(sz, "ab");
  EXPECT_EQ(5, COsString::SStrCatf(sz, sizeof(sz), "%d", 123));  // the new total
  EXPECT_STREQ("ab123", sz);
  EXPECT_EQ(-1, COsString::SStrCatf(sz, sizeof(sz), "z"));
  EXPECT_STREQ("ab123", sz);
  strcpy(sz, "ab");
  EXPECT_EQ(-1, COsString::SStrCatf(sz, sizeof(sz), "[%s]", "cdef"));
  EXPECT_STREQ("ab[cd", sz);  // truncated text stays
  EXPECT_EQ(0, COsString::SStrPrintf(sz, sizeof(sz), "%s", ""));
  EXPECT_STREQ("", sz);
  EXPECT_EQ((Texts{"A SStrPrintf failed...<%s-%d>", "A SStrVprintf failed...<%06d>",
                   "A SStrCatf failed...<z>", "A SStrCatf failed...<[%s]>"}),
            logcapture.Messages());
}

TEST(StringHelpers, TokLenTrimAndFromNum)
{
  char szTok[] = "a,,b;c";
  char *szSave = nullptr;
  EXPECT_STREQ("a", COsString::SStrTok(szTok, ",;", &szSave));
  EXPECT_STREQ("b", COsString::SStrTok(nullptr, ",;", &szSave));
  EXPECT_STREQ("c", COsString::SStrTok(nullptr, ",;", &szSave));
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
  COsString::SStrTrim(sz, sizeof(sz), " \t hello \r\n");
  EXPECT_STREQ("hello", sz);
  COsString::SStrTrim(sz, 5, "  world ");  // five characters need six bytes
  EXPECT_STREQ("hello", sz);
  COsString::SStrTrim(sz, sizeof(sz), "   ");
  EXPECT_STREQ("", sz);
  char szInPlace[16] = "  a b  ";
  COsString::SStrTrim(szInPlace, sizeof(szInPlace), szInPlace);
  EXPECT_STREQ("a b", szInPlace);
  char szNum[16];
  EXPECT_EQ(3, COsString::SStrFromNum(-42, szNum, sizeof(szNum), 10));
  EXPECT_STREQ("-42", szNum);
  COsString::SStrFromNum(-1, szNum, sizeof(szNum), 16);
  EXPECT_STREQ("ffffffff", szNum);
  COsString::SStrFromNum(5, szNum, sizeof(szNum), 8);
  EXPECT_STREQ("@@@", szNum);
  COsString::SStrFromNum64(0x123456789abLL, szNum, sizeof(szNum), 16);
  EXPECT_STREQ("123456789ab", szNum);
  COsString::SStrFromNum64(-5000000000LL, szNum, sizeof(szNum), 10);
  EXPECT_STREQ("-5000000000", szNum);
  EXPECT_EQ(-1, COsString::SStrFromNum64(1234567890123LL, szNum, 4, 10));
  Texts vec = logcapture.Messages();
  ASSERT_EQ(6u, vec.size());
  vec.erase(vec.begin() + 1);  // the too-short size: its text is not pinned down
  EXPECT_EQ((Texts{"A SStrLen failed...<qqqqqqqqqqqqqqqq>", "A SStrLen failed...(nil) 3",
                   "A SStrTrim failed...<  world >", "A SStrFromNum failed (must be 10 or 16)...<@@@>",
                   "A SStrPrintf failed...<%lld>"}),
            vec);
}

TEST(SStrReplace, ReplacesFirstOrAllAndRefusesOverflow)
{
  ostest::LogCapture logcapture;
  char sz[16] = "a-b-c";
  EXPECT_EQ(0u, COsString::SStrReplace(sz, sizeof(sz), "-", "--", false));
  EXPECT_STREQ("a--b-c", sz);
  EXPECT_EQ(0u, COsString::SStrReplace(sz, sizeof(sz), "-", "+", true));
  EXPECT_STREQ("a++b+c", sz);
  EXPECT_EQ(0u, COsString::SStrReplace(sz, sizeof(sz), "++", "", true));
  EXPECT_STREQ("ab+c", sz);
  EXPECT_EQ(14u, COsString::SStrReplace(sz, sizeof(sz), "zz", "y", true));
  EXPECT_EQ(3u, COsString::SStrReplace(sz, sizeof(sz), "", "y", true));
  char szFit[8] = "a.b.c";  // every '.' to "xx" needs 7 + 1 bytes: fits exactly
  EXPECT_EQ(0u, COsString::SStrReplace(szFit, sizeof(szFit), ".", "xx", true));
  EXPECT_STREQ("axxbxxc", szFit);
  EXPECT_EQ(1u, COsString::SStrReplace(szFit, sizeof(szFit), "b", "bb", false));
  EXPECT_STREQ("axxbxxc", szFit);
  EXPECT_EQ("E buffer overflow...<axxbxxc> 8 <b> <bb>", logcapture.Last());
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
  EXPECT_EQ(szHello, COsString::StrIstr(szHello, "HELLO"));
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
  EXPECT_FALSE(COsString::IsNum("-1"));
  EXPECT_FALSE(COsString::IsNum(nullptr));
}

TEST(StrWildCmp, QuestionMarksStarsAndBackTracking)
{
  const struct
  {
    const char *szPattern;
    const char *szText;
    bool blMatch;
  } acase[] = {{"a?c", "abc", true},     {"abc", "ab", false},       {"ab", "abc", false},
               {"a?c", "ac", false},     {"ABC", "abc", false},      {"", "", true},
               {"*.xml", "a.xml", true}, {"*.xml", "a.xmlx", false}, {"*ab*c", "xabyabzc", true},
               {"a*b*c", "aXbYc", true}, {"a*b*c", "abbbc", true},   {"a*b*c", "aXbYd", false},
               {"*aab", "aaab", true},  // the first try fails, the retry matches
               {"*?", "x", true},        {"*?", "", false},          {"a*", "a", true},
               {"*", "", true},          {"***", "", true},          {"*", "anything", true},
               {"*x", "", false},        {"", "a", false},           {nullptr, "a", false},
               {"a", nullptr, false}};
  for (const auto &c : acase)
  {
    EXPECT_EQ(c.blMatch, COsString::StrWildCmp(c.szPattern, c.szText) == 0)
        << (c.szPattern ? c.szPattern : "(null)") << " " << (c.szText ? c.szText : "(null)");
  }
}

TEST(StrToHex, PrefixDigitsStopAndOverflowKeepingTheLowBits)
{
  const std::pair<const char *, uint32_t> apair[] = {{"0x", 0},
                                                     {"", 0},
                                                     {"g12", 0},
                                                     {"04e8z", 0x4e8},
                                                     {"0XabCdEf", 0xABCDEF},
                                                     {nullptr, 0},
                                                     {"0x0x12", 0},  // only one prefix is skipped
                                                     {"FFFFFFFFF", 0xFFFFFFFF},
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

TEST(VersionToFields, EightDigitAndDottedForms)
{
  const struct
  {
    const char *szVersion;
    int aiField[4];
  } acase[] = {{"01020304", {1, 2, 3, 4}},
               {"99887766", {99, 88, 77, 66}},
               {"1.2", {1, 2, 0, 0}},
               {"10.20.300.4000", {10, 20, 300, 4000}},
               {"", {0, 0, 0, 0}},
               {".5", {0, 5, 0, 0}},
               {"123456789", {123456789, 0, 0, 0}}};  // nine digits: one field
  for (const auto &c : acase)
  {
    int ai[4] = {-1, -1, -1, -1};
    EXPECT_EQ(0u, COsString::StrConvertVersionToFields(c.szVersion, &ai[0], &ai[1], &ai[2], &ai[3]));
    EXPECT_EQ(std::vector<int>(c.aiField, c.aiField + 4), std::vector<int>(ai, ai + 4)) << c.szVersion;
  }
}

TEST(VersionToFields, ErrorsLeaveNoPartialFields)
{
  int a = -1, b = -1, c = -1, d = -1;
  EXPECT_EQ(3u, COsString::StrConvertVersionToFields("1.2.3.4.5", &a, &b, &c, &d));
  EXPECT_EQ(0, a + b + c + d);
  EXPECT_EQ(3u, COsString::StrConvertVersionToFields("1.x", &a, &b, &c, &d));
  EXPECT_EQ(3u, COsString::StrConvertVersionToFields("v1", &a, &b, &c, &d));
  a = b = c = d = 7;
  ostest::LogCapture logcapture;
  EXPECT_EQ(1u, COsString::StrConvertVersionToFields("1.2", &a, &b, nullptr, &d));
  EXPECT_EQ(7, a);  // outputs are only cleared once all four are present
  EXPECT_EQ("E invalid argument", logcapture.Last());
  EXPECT_EQ(1u, COsString::StrConvertVersionToFields(nullptr, &a, &b, &c, &d));
  EXPECT_EQ(0, a + b + c + d);
}

TEST(VersionFromFields, DottedDropsTrailingZerosAsymmetrically)
{
  const struct
  {
    int aiField[4];
    const char *szDotted;
  } acase[] = {
      {{1, 0, 0, 5}, "1.0.0.5"}, {{1, 0, 5, 0}, "1.0.5"}, {{1, 2, 0, 0}, "1.2"}, {{0, 0, 0, 0}, "0.0"}};
  char sz[32];
  for (const auto &c : acase)
  {
    EXPECT_EQ(static_cast<int>(strlen(c.szDotted)),
              COsString::StrConvertVersionFromFields(sz, sizeof(sz), true, c.aiField[0], c.aiField[1],
                                                     c.aiField[2], c.aiField[3]));
    EXPECT_STREQ(c.szDotted, sz);
  }
  EXPECT_EQ(8, COsString::StrConvertVersionFromFields(sz, sizeof(sz), false, 1, 2, 0, 0));
  EXPECT_STREQ("01020000", sz);
  EXPECT_EQ(-1, COsString::StrConvertVersionFromFields(sz, 8, false, 1, 2, 3, 4));
  EXPECT_EQ(8, COsString::StrConvertVersion(sz, sizeof(sz), false, "1.2.3.4"));
  EXPECT_STREQ("01020304", sz);
  EXPECT_EQ(3, COsString::StrConvertVersion(sz, sizeof(sz), true, "01020000"));
  EXPECT_STREQ("1.2", sz);
}

TEST(StrConvertVersion, UnreadableTextIsCopiedOrZeroed)
{
  ostest::LogCapture logcapture;
  char sz[32];
  EXPECT_EQ(4, COsString::StrConvertVersion(sz, sizeof(sz), true, "beta"));
  EXPECT_STREQ("beta", sz);
  EXPECT_EQ(8, COsString::StrConvertVersion(sz, sizeof(sz), false, "x.y"));
  EXPECT_STREQ("00000000", sz);
  EXPECT_EQ("E version not supported, use v0...<x.y>", logcapture.Last());
  strcpy(sz, "old");
  EXPECT_EQ(-1, COsString::StrConvertVersion(sz, 4, true, "beta"));
  EXPECT_STREQ("old", sz);
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
  EXPECT_EQ((Texts{". Non-numeric version...<1.x>", ". More than 4 version fields...<1.2.3.4.5>"}),
            logcapture.Messages());
  // The source column names this service, not its caller.
  char sz[2];
  COsString::SStrCpy(sz, sizeof(sz), "ab");
  EXPECT_NE(std::string::npos, logcapture.Lines().back().find(" os_cosstring "));
}

TEST(PtrToStrAndStrDup, SizeChecksAndTheMemoryService)
{
  ostest::LogCapture logcapture;
  char sz[20] = "keep";
  EXPECT_EQ(3u, COsString::PtrToStr(reinterpret_cast<void *>(0x1a2b), sz, 8));
  EXPECT_STREQ("keep", sz);
  EXPECT_EQ("A a_lValueSizeInBytes too small...", logcapture.Last());
  EXPECT_EQ(0u, COsString::PtrToStr(reinterpret_cast<void *>(0x1a2b), sz, 9));
  EXPECT_STREQ("00001a2b", sz);
  EXPECT_EQ(3u, COsString::PtrToStr(nullptr, nullptr, 9));
  COsMem *posmemOld = g_posmem;
  g_posmem = nullptr;
  EXPECT_EQ(nullptr, COsString::StrDup("abc"));  // no memory service: refused
  EXPECT_EQ("E OsMemAlloc failed...", logcapture.Last());
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
