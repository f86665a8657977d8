// test_cosxml.cpp: tagged content extraction in copy and in-place mode, the
// wide form, and ReplaceContent.
#include <gtest/gtest.h>

#include <cstring>

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
    {false, "<a></a>", "<a>", "</a>", 64, false, true, ""},
    // Missing markers; the end is looked for after the start.
    {false, "<b>x</b>", "<a>", "</a>", 64, false, false, ""},
    {false, "</a><a>x", "<a>", "</a>", 64, false, false, ""},
    // CDATA is unwrapped only when asked, only right after the start marker,
    // and the size is checked after unwrapping.
    {false, kCdataId, "<id>", "</id>", 64, true, true, "USB\\VID_1234&PID_0001"},
    {false, kCdataId, "<id>", "</id>", 64, false, true, "<![CDATA[USB\\VID_1234&PID_0001]]>"},
    {false, "<id> <![CDATA[x]]></id>", "<id>", "</id>", 64, true, true, " <![CDATA[x]]>"},
    {false, "<a><![CDATA[ab]]></a>", "<a>", "</a>", 3, true, true, "ab"},
    // Too short for the closing "]]>": the length goes negative, found empty.
    {false, "<a><![CDATA[</a>", "<a>", "</a>", 64, true, true, ""},
    // In-place mode: the content moves to the front; an overflowing content
    // empties the document.
    {true, "<r><a>x</a></r>", "<a>", "</a>", 2, false, true, "x"},
    {true, "<a>xy</a>", "<a>", "</a>", 2, false, false, ""},
};

}  // namespace

TEST(XmlGetContent, Table)
{
  for (const ContentCase &c : kacontentcase)
  {
    SCOPED_TRACE(&c - kacontentcase);  // the row
    // Junk in the output shows a result that forgets to clear it.
    char szOut[128];
    memset(szOut, 'Z', sizeof(szOut) - 1);
    szOut[sizeof(szOut) - 1] = '\0';
    const char *szDocument = c.blInPlace ? strcpy(szOut, c.szDocument) : c.szDocument;
    EXPECT_EQ(c.blFound, COsXml::GetContent(szDocument, c.szStart, c.szEnd, szOut, c.u32Size, c.blCdata));
    EXPECT_STREQ(c.szOut, szOut);
  }
}

// The wide form follows the narrow rules.
TEST(XmlGetContent, WideFormUnwrapsAndChecksTheSize)
{
  wchar_t wszOut[8] = L"junk";
  EXPECT_TRUE(COsXml::GetContent(L"<a><![CDATA[ab]]></a>", L"<a>", L"</a>", wszOut, 3, true));
  EXPECT_STREQ(L"ab", wszOut);
  EXPECT_FALSE(COsXml::GetContent(L"<a>ab</a>", L"<a>", L"</a>", wszOut, 2, false));
  EXPECT_STREQ(L"", wszOut);
}

TEST(XmlGetContent, NullArgumentsAreNotFound)
{
  char szOut[8] = "keep";
  EXPECT_FALSE(COsXml::GetContent(nullptr, "<a>", "</a>", szOut, sizeof(szOut), false));
  EXPECT_FALSE(COsXml::GetContent("<a>x</a>", "<a>", "</a>", nullptr, sizeof(szOut), false));
}

TEST(XmlReplaceContent, ReplacesTheFirstElementOrLeavesTheBuffer)
{
  char szBuffer[64] = "<r><a>x</a><a>x</a></r>";
  EXPECT_EQ(EOSSTS_OK, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", "longer"));
  EXPECT_STREQ("<r><a>longer</a><a>x</a></r>", szBuffer);
  // "<a>0123456789</a>" needs 18 bytes.
  char szSmall[16] = "<a>x</a>";
  EXPECT_EQ(EOSSTS_FAIL, COsXml::ReplaceContent(szSmall, sizeof(szSmall), "<a>", "</a>", "0123456789"));
  EXPECT_STREQ("<a>x</a>", szSmall);
}
