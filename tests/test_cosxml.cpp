// test_cosxml.cpp: tagged content extraction in copy and in-place mode, and
// ReplaceContent.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "os_cosxml.h"
#include "os_testlog.h"

namespace
{

// Copy mode into a 64-byte buffer pre-filled with junk, so a result that
// forgets to clear the output shows.
struct CopyResult
{
  bool blFound;
  std::string strOut;
};

CopyResult Copy(const char *a_szDocument, const char *a_szStart, const char *a_szEnd, uint32_t a_u32Size,
                bool a_blCdata)
{
  char szOut[64];
  memset(szOut, 'Z', sizeof(szOut));
  szOut[sizeof(szOut) - 1] = 0;
  bool blFound = COsXml::GetContent(a_szDocument, a_szStart, a_szEnd, szOut, a_u32Size, a_blCdata);
  return {blFound, szOut};
}

// In-place mode on a copy of a_szDocument.
CopyResult InPlace(const char *a_szDocument, const char *a_szStart, const char *a_szEnd, uint32_t a_u32Size,
                   bool a_blCdata)
{
  char szDoc[128];
  snprintf(szDoc, sizeof(szDoc), "%s", a_szDocument);
  bool blFound = COsXml::GetContent(szDoc, a_szStart, a_szEnd, szDoc, a_u32Size, a_blCdata);
  return {blFound, szDoc};
}

}  // namespace

TEST(XmlCopyMode, SizeBoundaryAndUnlimited)
{
  CopyResult r = Copy("<a>x</a>", "<a>", "</a>", 2, false);
  EXPECT_TRUE(r.blFound);
  EXPECT_EQ("x", r.strOut);
  // One byte of room cannot hold "x" and its terminator: overflow.
  r = Copy("<a>x</a>", "<a>", "</a>", 1, false);
  EXPECT_FALSE(r.blFound);
  EXPECT_EQ("", r.strOut);
  r = Copy("<r><a>hello world</a></r>", "<a>", "</a>", 0, false);
  EXPECT_TRUE(r.blFound);
  EXPECT_EQ("hello world", r.strOut);
  r = Copy("<a>abcd</a>", "<a>", "</a>", 4, false);
  EXPECT_FALSE(r.blFound);
  r = Copy("<a>abcd</a>", "<a>", "</a>", 5, false);
  EXPECT_EQ("abcd", r.strOut);
}

TEST(XmlCopyMode, EmptyContentIsFound)
{
  CopyResult r = Copy("<a></a>", "<a>", "</a>", 64, false);
  EXPECT_TRUE(r.blFound);
  EXPECT_EQ("", r.strOut);
}

TEST(XmlCopyMode, MissingMarkersClearTheOutput)
{
  CopyResult r = Copy("<b>x</b>", "<a>", "</a>", 64, false);
  EXPECT_FALSE(r.blFound);
  EXPECT_EQ("", r.strOut);
  EXPECT_FALSE(Copy("<a>x", "<a>", "</a>", 64, false).blFound);
  EXPECT_EQ("", Copy("<a>x", "<a>", "</a>", 64, false).strOut);
  // The end marker is looked for only after the start marker.
  EXPECT_FALSE(Copy("</a><a>x", "<a>", "</a>", 64, false).blFound);
  // Markers compare with case.
  EXPECT_FALSE(Copy("<A>x</A>", "<a>", "</a>", 64, false).blFound);
}

TEST(XmlCopyMode, CdataOnlyWhenAsked)
{
  const char *szDoc = "<id><![CDATA[USB\\VID_1234&PID_0001]]></id>";
  EXPECT_EQ("USB\\VID_1234&PID_0001", Copy(szDoc, "<id>", "</id>", 64, true).strOut);
  EXPECT_EQ("<![CDATA[USB\\VID_1234&PID_0001]]>", Copy(szDoc, "<id>", "</id>", 64, false).strOut);
  // Without the wrapper the flag changes nothing.
  EXPECT_EQ("plain", Copy("<id>plain</id>", "<id>", "</id>", 64, true).strOut);
  // The wrapper must stand right after the start marker.
  EXPECT_EQ(" <![CDATA[x]]>", Copy("<id> <![CDATA[x]]></id>", "<id>", "</id>", 64, true).strOut);
}

TEST(XmlCopyMode, CdataSizeIsCheckedAfterUnwrapping)
{
  // Content "<![CDATA[ab]]>" is 14 bytes, unwrapped "ab" is 2: room for 3.
  CopyResult r = Copy("<a><![CDATA[ab]]></a>", "<a>", "</a>", 3, true);
  EXPECT_TRUE(r.blFound);
  EXPECT_EQ("ab", r.strOut);
}

TEST(XmlCopyMode, TruncatedCdataGivesEmptyContent)
{
  // Too short for the closing "]]>": the length goes negative, found empty.
  CopyResult r = Copy("<a><![CDATA[</a>", "<a>", "</a>", 64, true);
  EXPECT_TRUE(r.blFound);
  EXPECT_EQ("", r.strOut);
  r = Copy("<a><![CDATA[x]</a>", "<a>", "</a>", 2, true);
  EXPECT_TRUE(r.blFound);
  EXPECT_EQ("", r.strOut);
  // An end marker inside the wrapper itself, at the document's first byte.
  r = Copy("<![CDATA[x]]>", "", "<", 64, true);
  EXPECT_TRUE(r.blFound);
  EXPECT_EQ("", r.strOut);
}

TEST(XmlCopyMode, PlainTextSearchRules)
{
  // A start marker without its bracket also matches a longer tag name.
  EXPECT_EQ("name\">x", Copy("<modelname\">x</model>", "<model", "</model>", 64, false).strOut);
  EXPECT_FALSE(Copy("<modelname>x</modelname>", "<model>", "</model>", 64, false).blFound);
  // First element wins; a nested element of the same name is cut at the
  // inner end tag.
  EXPECT_EQ("1", Copy("<i>1</i><i>2</i>", "<i>", "</i>", 64, false).strOut);
  EXPECT_EQ("<a>in", Copy("<a><a>in</a>out</a>", "<a>", "</a>", 64, false).strOut);
  // Attributes are not understood: "<a x>" is not "<a>".
  EXPECT_FALSE(Copy("<a x='1'>v</a>", "<a>", "</a>", 64, false).blFound);
}

TEST(XmlCopyMode, NullArgumentsAreNotFound)
{
  char szOut[8] = "keep";
  EXPECT_FALSE(COsXml::GetContent(nullptr, "<a>", "</a>", szOut, sizeof(szOut), false));
  EXPECT_FALSE(COsXml::GetContent("<a>x</a>", nullptr, "</a>", szOut, sizeof(szOut), false));
  EXPECT_FALSE(COsXml::GetContent("<a>x</a>", "<a>", nullptr, szOut, sizeof(szOut), false));
  EXPECT_FALSE(COsXml::GetContent("<a>x</a>", "<a>", "</a>", nullptr, sizeof(szOut), false));
}

TEST(XmlInPlaceMode, MovesContentToTheFront)
{
  CopyResult r = InPlace("<r><a>value</a></r>", "<a>", "</a>", 0, false);
  EXPECT_TRUE(r.blFound);
  EXPECT_EQ("value", r.strOut);
  r = InPlace("<a>x</a>", "<a>", "</a>", 2, false);
  EXPECT_TRUE(r.blFound);
  EXPECT_EQ("x", r.strOut);
}

TEST(XmlInPlaceMode, EmptyOrMissingEmptiesTheDocument)
{
  CopyResult r = InPlace("<a></a>", "<a>", "</a>", 64, false);
  EXPECT_FALSE(r.blFound);
  EXPECT_EQ("", r.strOut);
  r = InPlace("<b>x</b>", "<a>", "</a>", 64, false);
  EXPECT_FALSE(r.blFound);
  EXPECT_EQ("", r.strOut);
  r = InPlace("<a>x", "<a>", "</a>", 64, false);
  EXPECT_FALSE(r.blFound);
  EXPECT_EQ("", r.strOut);
}

TEST(XmlInPlaceMode, CdataIsAlwaysUnwrapped)
{
  EXPECT_EQ("v", InPlace("<a><![CDATA[v]]></a>", "<a>", "</a>", 0, false).strOut);
  EXPECT_EQ("v", InPlace("<a><![CDATA[v]]></a>", "<a>", "</a>", 0, true).strOut);
  // An unwrapped content that comes out empty is not found here.
  EXPECT_FALSE(InPlace("<a><![CDATA[]]></a>", "<a>", "</a>", 0, false).blFound);
}

TEST(XmlInPlaceMode, OverflowEmptiesTheDocument)
{
  CopyResult r = InPlace("<a>xy</a>", "<a>", "</a>", 2, false);
  EXPECT_FALSE(r.blFound);
  EXPECT_EQ("", r.strOut);
}

TEST(XmlWide, FollowsTheNarrowRules)
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

TEST(XmlReplaceContent, ReplacesTheFirstElement)
{
  char szBuffer[64] = "<r><a>x</a><a>x</a></r>";
  EXPECT_EQ(EOSSTS_OK, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", "longer"));
  EXPECT_STREQ("<r><a>longer</a><a>x</a></r>", szBuffer);
  // Shrinking, and an empty content replaced too.
  EXPECT_EQ(EOSSTS_OK, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", ""));
  EXPECT_STREQ("<r><a></a><a>x</a></r>", szBuffer);
  EXPECT_EQ(EOSSTS_OK, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", "y"));
  EXPECT_STREQ("<r><a>y</a><a>x</a></r>", szBuffer);
}

TEST(XmlReplaceContent, FailuresLeaveTheBuffer)
{
  char szBuffer[16] = "<a>x</a>";
  EXPECT_EQ(EOSSTS_NOTFOUND, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<b>", "</b>", "y"));
  EXPECT_STREQ("<a>x</a>", szBuffer);
  // "<a>0123456789</a>" needs 18 bytes.
  EXPECT_EQ(EOSSTS_FAIL, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", "0123456789"));
  EXPECT_STREQ("<a>x</a>", szBuffer);
  EXPECT_EQ(EOSSTS_BADARG, COsXml::ReplaceContent(nullptr, 16, "<a>", "</a>", "y"));
  EXPECT_EQ(EOSSTS_BADARG, COsXml::ReplaceContent(szBuffer, sizeof(szBuffer), "<a>", "</a>", nullptr));
}

TEST(XmlLog, OnlyTheOverflowIsLogged)
{
  ostest::LogCapture logcapture(1);
  char szOut[4];
  EXPECT_FALSE(COsXml::GetContent("<a>wxyz</a>", "<a>", "</a>", szOut, sizeof(szOut), false));
  EXPECT_EQ("A data overflow: <a> <a>wxyz</a>", logcapture.Last());
  char szDoc[] = "<r><a>wxyz</a></r>";
  EXPECT_FALSE(COsXml::GetContent(szDoc, "<a>", "</a>", szDoc, 4, false));
  EXPECT_EQ("A data overflow: <a> <r><a>wxyz</a></r>", logcapture.Last());
  size_t sizetMessages = logcapture.Messages().size();
  // Missing markers and empty contents are no faults of the function.
  EXPECT_FALSE(COsXml::GetContent("<b>x</b>", "<a>", "</a>", szOut, sizeof(szOut), false));
  char szEmpty[] = "<a></a>";
  EXPECT_FALSE(COsXml::GetContent(szEmpty, "<a>", "</a>", szEmpty, 0, false));
  EXPECT_EQ(sizetMessages, logcapture.Messages().size());
}
