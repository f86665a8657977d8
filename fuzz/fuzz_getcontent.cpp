// fuzz_getcontent.cpp: COsXml::GetContent and ReplaceContent on arbitrary
// text, in both modes and both character widths, with exactly sized
// buffers so that any write past the caller's size is caught.
//
// Input: byte 0 flags (bit 0 cdata, bit 1 in-place), byte 1 the size
// argument, then "document\0start\0end" (missing markers default to
// "<a>" and "</a>").
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "os_cosxml.h"

namespace
{

void Check(bool a_blCondition)
{
  if (!a_blCondition)
  {
    __builtin_trap();
  }
}

std::vector<std::string> Split(const uint8_t *a_pu8, size_t a_sizet)
{
  std::vector<std::string> vec(1);
  for (size_t ii = 0; ii < a_sizet; ii++)
  {
    if (a_pu8[ii] == 0 && vec.size() < 3)
    {
      vec.emplace_back();
      continue;
    }
    vec.back().push_back(a_pu8[ii] ? static_cast<char>(a_pu8[ii]) : ' ');
  }
  const char *aszDefault[] = {"", "<a>", "</a>"};
  while (vec.size() < 3)
  {
    vec.push_back(aszDefault[vec.size()]);
  }
  return vec;
}

void CopyMode(const std::string &a_strDoc, const std::string &a_strStart, const std::string &a_strEnd,
              uint32_t a_u32Size, bool a_blCdata)
{
  // The output is exactly as large as promised (unlimited: the document's
  // length, which any content fits).
  size_t sizetOut = a_u32Size ? a_u32Size : a_strDoc.size() + 1;
  std::vector<char> vecOut(sizetOut, 'Z');
  bool blFound = COsXml::GetContent(a_strDoc.c_str(), a_strStart.c_str(), a_strEnd.c_str(), vecOut.data(),
                                    a_u32Size, a_blCdata);
  size_t sizetLength = strnlen(vecOut.data(), sizetOut);
  Check(sizetLength < sizetOut);
  Check(blFound || sizetLength == 0);
  if (blFound && !a_blCdata)
  {
    Check(a_strDoc.find(std::string(vecOut.data()) + a_strEnd) != std::string::npos);
  }
}

void InPlaceMode(const std::string &a_strDoc, const std::string &a_strStart, const std::string &a_strEnd,
                 uint32_t a_u32Size)
{
  std::vector<char> vecDoc(a_strDoc.begin(), a_strDoc.end());
  vecDoc.push_back(0);
  bool blFound = COsXml::GetContent(vecDoc.data(), a_strStart.c_str(), a_strEnd.c_str(), vecDoc.data(),
                                    a_u32Size, false);
  size_t sizetLength = strlen(vecDoc.data());
  Check(blFound == (sizetLength > 0));
  Check(!a_u32Size || sizetLength < a_u32Size);
}

void WideMode(const std::string &a_strDoc, const std::string &a_strStart, const std::string &a_strEnd,
              uint32_t a_u32Size, bool a_blCdata)
{
  auto widen = [](const std::string &a_str) { return std::wstring(a_str.begin(), a_str.end()); };
  size_t sizetOut = a_u32Size ? a_u32Size : a_strDoc.size() + 1;
  std::vector<wchar_t> vecOut(sizetOut, L'Z');
  COsXml::GetContent(widen(a_strDoc).c_str(), widen(a_strStart).c_str(), widen(a_strEnd).c_str(),
                     vecOut.data(), a_u32Size, a_blCdata);
  Check(wcsnlen(vecOut.data(), sizetOut) < sizetOut);
}

void Replace(const std::string &a_strDoc, const std::string &a_strStart, const std::string &a_strEnd,
             uint32_t a_u32Extra)
{
  std::vector<char> vecBuffer(a_strDoc.begin(), a_strDoc.end());
  vecBuffer.resize(a_strDoc.size() + 1 + a_u32Extra, 0);
  EOSSTS eossts = COsXml::ReplaceContent(vecBuffer.data(), static_cast<uint32_t>(vecBuffer.size()),
                                         a_strStart.c_str(), a_strEnd.c_str(), "new");
  Check(strnlen(vecBuffer.data(), vecBuffer.size()) < vecBuffer.size());
  Check(eossts != EOSSTS_OK || strstr(vecBuffer.data(), (a_strStart + "new" + a_strEnd).c_str()) != nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *a_pu8Data, size_t a_sizetSize)
{
  if (a_sizetSize < 2)
  {
    return 0;
  }
  bool blCdata = a_pu8Data[0] & 1;
  uint32_t u32Size = a_pu8Data[1];
  std::vector<std::string> vec = Split(a_pu8Data + 2, a_sizetSize - 2);
  if (a_pu8Data[0] & 2)
  {
    InPlaceMode(vec[0], vec[1], vec[2], u32Size);
  }
  else
  {
    CopyMode(vec[0], vec[1], vec[2], u32Size, blCdata);
  }
  WideMode(vec[0], vec[1], vec[2], u32Size, blCdata);
  Replace(vec[0], vec[1], vec[2], u32Size);
  return 0;
}
