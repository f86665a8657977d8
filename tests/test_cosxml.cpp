// test_cosxml.cpp: tagged content extraction in copy and in-place mode, and
// ReplaceContent.
#include <gtest/gtest.h>

#include <algorithm>
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
    {false, "<a></a>", "<a>", "</a>", 64, false, true, ""},
    // Missing markers; the end is looked for after the start.
    {false, "<b>x</b>", "<a>", "</a>", 64, false, false, ""},
    {false, "<a>x", "<a>", "</a>", 64, false, false, ""},
    {false, "</a><a>x", "<a>", "</a>", 64, false, false, ""},
    // CDATA is unwrapped only when asked, only right after the start marker,
    // and the size is checked after unwrapping.
    {false, kCdataId, "<id>", "</id>", 64, true, true, "USB\\VID_1234&PID_0001"},
    {false, kCdataId, "<id>", "</id>", 64, false, true, "<![CDATA[USB\\VID_1234&PID_0001]]>"},
    {false, "<id>plain</id>", "<id>", "</id>", 64, true, true, "plain"},
    {false, "<id> <![CDATA[x]]></id>", "<id>", "</id>", 64, true, true, " <![CDATA[x]]>"},
    {false, "<a><![CDATA[ab]]></a>", "<a>", "</a>", 3, true, true, "ab"},
    // Too short for the closing "]]>": the length goes negative, found empty.
    {false, "<a><![CDATA[</a>", "<a>", "</a>", 64, true, true, ""},
    // Plain text search: a marker without its bracket matches a longer tag,
    // the first element wins.
    {false, "<modelname\">x</model>", "<model", "</model>", 64, false, true, "name\">x"},
    {false, "<i>1</i><i>2</i>", "<i>", "</i>", 64, false, true, "1"},
    // In-place mode: the content moves to the front; empty, missing and
    // overflowing contents empty the document; CDATA is always unwrapped.
    {true, "<r><a>value</a></r>", "<a>", "</a>", 0, false, true, "value"},
    {true, "<a>x</a>", "<a>", "</a>", 2, false, true, "x"},
    {true, "<a></a>", "<a>", "</a>", 64, false, false, ""},
    {true, "<b>x</b>", "<a>", "</a>", 64, false, false, ""},
    {true, "<a>xy</a>", "<a>", "</a>", 2, false, false, ""},
    {true, "<a><![CDATA[v]]></a>", "<a>", "</a>", 0, false, true, "v"},
    {true, "<a><![CDATA[]]></a>", "<a>", "</a>", 0, false, false, ""},
};

// Runs a case with characters of type T. The output is pre-filled with
// junk, so a result that forgets to clear it shows.
template <typename T>
void CheckContent(const ContentCase &a_contentcase)
{
  const auto convert = [](const char *sz) { return std::basic_string<T>(sz, sz + strlen(sz)); };
  T szOut[128];
  std::fill(szOut, szOut + 127, T('Z'));
  szOut[127] = 0;
  const std::basic_string<T> strDocument = convert(a_contentcase.szDocument);
  const T *szDocument = strDocument.c_str();
  if (a_contentcase.blInPlace)
  {
    std::copy(szDocument, szDocument + strDocument.size() + 1, szOut);
    szDocument = szOut;
  }
  EXPECT_EQ(a_contentcase.blFound, COsXml::GetContent(szDocument, convert(a_contentcase.szStart).c_str(),
                                                      convert(a_contentcase.szEnd).c_str(), szOut,
                                                      a_contentcase.u32Size, a_contentcase.blCdata));
  EXPECT_EQ(convert(a_contentcase.szOut), szOut);
}

}  // namespace

// The wide functions follow the narrow rules.
TEST(XmlGetContent, Table)
{
  for (const ContentCase &c : kacontentcase)
  {
    SCOPED_TRACE(std::string(c.blInPlace ? "in place " : "copy ") + c.szDocument + " size " +
                 std::to_string(c.u32Size) + (c.blCdata ? " cdata" : ""));
    CheckContent<char>(c);
    CheckContent<wchar_t>(c);
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

TEST(XmlReplaceContent, ReplacesTheFirstElementOrLeavesTheBuffer)
{
  char szBuffer[64] = "<r><a>x</a><a>x</a></r>";
  EXPECT_EQ(EOSSTS_OK, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", "longer"));
  EXPECT_STREQ("<r><a>longer</a><a>x</a></r>", szBuffer);
  EXPECT_EQ(EOSSTS_OK, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", ""));
  EXPECT_STREQ("<r><a></a><a>x</a></r>", szBuffer);

  char szSmall[16] = "<a>x</a>";
  EXPECT_EQ(EOSSTS_NOTFOUND, COsXml::ReplaceContent(szSmall, sizeof(szSmall), "<b>", "</b>", "y"));
  // "<a>0123456789</a>" needs 18 bytes.
  EXPECT_EQ(EOSSTS_FAIL, COsXml::ReplaceContent(szSmall, sizeof(szSmall), "<a>", "</a>", "0123456789"));
  EXPECT_STREQ("<a>x</a>", szSmall);
  EXPECT_EQ(EOSSTS_BADARG, COsXml::ReplaceContent(nullptr, 16, "<a>", "</a>", "y"));
  EXPECT_EQ(EOSSTS_BADARG, COsXml::ReplaceContent(szSmall, sizeof(szSmall), "<a>", "</a>", nullptr));
}
