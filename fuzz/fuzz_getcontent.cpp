// fuzz_getcontent.cpp: COsXml::GetContent (copy and in-place, narrow and
// wide) and ReplaceContent on arbitrary text, with buffers of exactly the
// promised size so that any write past it is caught. Input: byte 0 flags
// (bit 0 cdata, bit 1 in-place), byte 1 the size, then "document\0start\0end".
#include <algorithm>
#include <cstring>
#include <cwchar>
#include <sstream>
#include <string>
#include <vector>

#include "os_cosxml.h"

#define CHECK(condition) ((condition) ? (void)0 : __builtin_trap())

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *a_pu8Data, size_t a_sizetSize)
{
  if (a_sizetSize < 2)
  {
    return 0;
  }
  const bool blCdata = a_pu8Data[0] & 1;
  const uint32_t u32Size = a_pu8Data[1];
  std::istringstream in(std::string(reinterpret_cast<const char *>(a_pu8Data) + 2, a_sizetSize - 2));
  std::string strDoc, strStart, strEnd;
  std::getline(in, strDoc, '\0');
  strStart = std::getline(in, strStart, '\0') ? strStart : "<a>";  // missing markers: <a> and </a>
  strEnd = std::getline(in, strEnd) ? strEnd : "</a>";
  std::replace(strEnd.begin(), strEnd.end(), '\0', ' ');
  // Unlimited (0): the document's length, which any content fits.
  const size_t sizetOut = u32Size ? u32Size : strDoc.size() + 1;
  if (a_pu8Data[0] & 2)
  {
    std::vector<char> vecDoc(strDoc.c_str(), strDoc.c_str() + strDoc.size() + 1);
    const bool blFound =
        COsXml::GetContent(vecDoc.data(), strStart.c_str(), strEnd.c_str(), vecDoc.data(), u32Size, false);
    CHECK(blFound == (strlen(vecDoc.data()) > 0) && (!u32Size || strlen(vecDoc.data()) < u32Size));
  }
  else
  {
    std::vector<char> vecOut(sizetOut, 'Z');
    const bool blFound =
        COsXml::GetContent(strDoc.c_str(), strStart.c_str(), strEnd.c_str(), vecOut.data(), u32Size, blCdata);
    const size_t sizetLength = strnlen(vecOut.data(), sizetOut);
    CHECK(sizetLength < sizetOut && (blFound || sizetLength == 0));
    CHECK(!blFound || blCdata || strDoc.find(vecOut.data() + strEnd) != std::string::npos);
  }
  auto widen = [](const std::string &a_str) { return std::wstring(a_str.begin(), a_str.end()); };
  std::vector<wchar_t> vecWide(sizetOut, L'Z');
  COsXml::GetContent(widen(strDoc).c_str(), widen(strStart).c_str(), widen(strEnd).c_str(), vecWide.data(),
                     u32Size, blCdata);
  CHECK(wcsnlen(vecWide.data(), sizetOut) < sizetOut);
  std::vector<char> vecBuffer(strDoc.begin(), strDoc.end());
  vecBuffer.resize(strDoc.size() + 1 + u32Size, 0);
  const EOSSTS eossts = COsXml::ReplaceContent(vecBuffer.data(), static_cast<uint32_t>(vecBuffer.size()),
                                               strStart.c_str(), strEnd.c_str(), "new");
  CHECK(strnlen(vecBuffer.data(), vecBuffer.size()) < vecBuffer.size());
  CHECK(eossts != EOSSTS_OK || strstr(vecBuffer.data(), (strStart + "new" + strEnd).c_str()));
  return 0;
}
