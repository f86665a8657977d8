// test_cosxml.cpp: tagged content extraction in copy and in-place mode, and
// ReplaceContent.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "os_cosxml.h"

namespace
{

struct ContentCase
{
  bool blInPlace;
  const char *szDocument;
  const char *szStart;
  const char *szEnd;
  uint32_t u32Size;
  bool blCdata;
  bool blFound;
  const char *szOut;
};

const char kCdataId[] = "<id><![CDATA[USB\\VID_1234&PID_0001]]></id>";

const ContentCase kacontentcase[] = {
    // Copy mode. One byte of room cannot hold "x" and its terminator.
    {false, "<a>x</a>", "<a>", "</a>", 2, false, true, "x"},
    {false, "<a>x</a>", "<a>", "</a>", 1, false, false, ""},
    {false, "<r><a>hello world</a></r>", "<a>", "</a>", 0, false, true, "hello world"},
    {false, "<a>abcd</a>", "<a>", "</a>", 4, false, false, ""},
    {false, "<a>abcd</a>", "<a>", "</a>", 5, false, true, "abcd"},
    {false, "<a></a>", "<a>", "</a>", 64, false, true, ""},
    // Missing markers; the end is looked for after the start; case counts.
    {false, "<b>x</b>", "<a>", "</a>", 64, false, false, ""},
    {false, "<a>x", "<a>", "</a>", 64, false, false, ""},
    {false, "</a><a>x", "<a>", "</a>", 64, false, false, ""},
    {false, "<A>x</A>", "<a>", "</a>", 64, false, false, ""},
    // CDATA is unwrapped only when asked, only right after the start marker,
    // and the size is checked after unwrapping.
    {false, kCdataId, "<id>", "</id>", 64, true, true, "USB\\VID_1234&PID_0001"},
    {false, kCdataId, "<id>", "</id>", 64, false, true, "<![CDATA[USB\\VID_1234&PID_0001]]>"},
    {false, "<id>plain</id>", "<id>", "</id>", 64, true, true, "plain"},
    {false, "<id> <![CDATA[x]]></id>", "<id>", "</id>", 64, true, true, " <![CDATA[x]]>"},
    {false, "<a><![CDATA[ab]]></a>", "<a>", "</a>", 3, true, true, "ab"},
    // Too short for the closing "]]>": the length goes negative, found empty.
    {false, "<a><![CDATA[</a>", "<a>", "</a>", 64, true, true, ""},
    {false, "<a><![CDATA[x]</a>", "<a>", "</a>", 2, true, true, ""},
    {false, "<![CDATA[x]]>", "", "<", 64, true, true, ""},
    // Plain text search: a marker without its bracket matches a longer tag,
    // the first element wins, a nested twin is cut at the inner end tag,
    // attributes are not understood.
    {false, "<modelname\">x</model>", "<model", "</model>", 64, false, true, "name\">x"},
    {false, "<modelname>x</modelname>", "<model>", "</model>", 64, false, false, ""},
    {false, "<i>1</i><i>2</i>", "<i>", "</i>", 64, false, true, "1"},
    {false, "<a><a>in</a>out</a>", "<a>", "</a>", 64, false, true, "<a>in"},
    {false, "<a x='1'>v</a>", "<a>", "</a>", 64, false, false, ""},
    // In-place mode: the content moves to the front; empty, missing and
    // overflowing contents empty the document; CDATA is always unwrapped.
    {true, "<r><a>value</a></r>", "<a>", "</a>", 0, false, true, "value"},
    {true, "<a>x</a>", "<a>", "</a>", 2, false, true, "x"},
    {true, "<a></a>", "<a>", "</a>", 64, false, false, ""},
    {true, "<b>x</b>", "<a>", "</a>", 64, false, false, ""},
    {true, "<a>x", "<a>", "</a>", 64, false, false, ""},
    {true, "<a>xy</a>", "<a>", "</a>", 2, false, false, ""},
    {true, "<a><![CDATA[v]]></a>", "<a>", "</a>", 0, false, true, "v"},
    {true, "<a><![CDATA[v]]></a>", "<a>", "</a>", 0, true, true, "v"},
    {true, "<a><![CDATA[]]></a>", "<a>", "</a>", 0, false, false, ""},
};

}  // namespace

TEST(XmlGetContent, Table)
{
  for (const ContentCase &c : kacontentcase)
  {
    SCOPED_TRACE(std::string(c.blInPlace ? "in place " : "copy ") + c.szDocument + " size " +
                 std::to_string(c.u32Size) + (c.blCdata ? " cdata" : ""));
    // The copy output is pre-filled with junk, so a result that forgets to
    // clear it shows.
    char szOut[128];
    memset(szOut, 'Z', sizeof(szOut) - 1);
    szOut[sizeof(szOut) - 1] = 0;
    char *szDoc = const_cast<char *>(c.szDocument);
    if (c.blInPlace)
    {
      snprintf(szOut, sizeof(szOut), "%s", c.szDocument);
      szDoc = szOut;
    }
    EXPECT_EQ(c.blFound, COsXml::GetContent(szDoc, c.szStart, c.szEnd, szOut, c.u32Size, c.blCdata));
    EXPECT_STREQ(c.szOut, szOut);
  }
}

TEST(XmlGetContent, NullArgumentsAreNotFound)
{
  char szOut[8] = "keep";
  EXPECT_FALSE(COsXml::GetContent(nullptr, "<a>", "</a>", szOut, sizeof(szOut), false));
  EXPECT_FALSE(COsXml::GetContent("<a>x</a>", nullptr, "</a>", szOut, sizeof(szOut), false));
  EXPECT_FALSE(COsXml::GetContent("<a>x</a>", "<a>", nullptr, szOut, sizeof(szOut), false));
  EXPECT_FALSE(COsXml::GetContent("<a>x</a>", "<a>", "</a>", nullptr, sizeof(szOut), false));
}

TEST(XmlGetContent, WideFollowsTheNarrowRules)
{
  wchar_t wszOut[32];
  EXPECT_TRUE(COsXml::GetContent(L"<a>x</a>", L"<a>", L"</a>", wszOut, 2, false));
  EXPECT_EQ(std::wstring(L"x"), wszOut);
  EXPECT_FALSE(COsXml::GetContent(L"<a>x</a>", L"<a>", L"</a>", wszOut, 1, false));
  EXPECT_EQ(std::wstring(L""), wszOut);
  EXPECT_TRUE(COsXml::GetContent(L"<a><![CDATA[\u00e9]]></a>", L"<a>", L"</a>", wszOut, 32, true));
  EXPECT_EQ(std::wstring(L"\u00e9"), wszOut);
  wchar_t wszDoc[32] = L"<a></a>";
  EXPECT_FALSE(COsXml::GetContent(wszDoc, L"<a>", L"</a>", wszDoc, 32, false));
  EXPECT_EQ(std::wstring(L""), wszDoc);
}

TEST(XmlReplaceContent, ReplacesTheFirstElementOrLeavesTheBuffer)
{
  char szBuffer[64] = "<r><a>x</a><a>x</a></r>";
  EXPECT_EQ(EOSSTS_OK, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", "longer"));
  EXPECT_STREQ("<r><a>longer</a><a>x</a></r>", szBuffer);
  EXPECT_EQ(EOSSTS_OK, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", ""));
  EXPECT_STREQ("<r><a></a><a>x</a></r>", szBuffer);
  EXPECT_EQ(EOSSTS_OK, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", "y"));
  EXPECT_STREQ("<r><a>y</a><a>x</a></r>", szBuffer);

  char szSmall[16] = "<a>x</a>";
  EXPECT_EQ(EOSSTS_NOTFOUND, COsXml::ReplaceContent(szSmall, sizeof(szSmall), "<b>", "</b>", "y"));
  // "<a>0123456789</a>" needs 18 bytes.
  EXPECT_EQ(EOSSTS_FAIL, COsXml::ReplaceContent(szSmall, sizeof(szSmall), "<a>", "</a>", "0123456789"));
  EXPECT_STREQ("<a>x</a>", szSmall);
  EXPECT_EQ(EOSSTS_BADARG, COsXml::ReplaceContent(nullptr, 16, "<a>", "</a>", "y"));
  EXPECT_EQ(EOSSTS_BADARG, COsXml::ReplaceContent(szSmall, sizeof(szSmall), "<a>", "</a>", nullptr));
}
