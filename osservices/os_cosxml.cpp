// os_cosxml.cpp: tagged content extraction by plain text search. One
// template serves the narrow and the wide form; only the string primitives
// and the overflow message differ between them.
#include "os_cosxml.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "os_coslog.h"
#include "os_cosmem.h"
#include "os_cosstring.h"

namespace
{

// String primitives of one character type.
template <typename T>
struct OsXmlText;

template <>
struct OsXmlText<char>
{
  static const char *Find(const char *a_sz, const char *a_szNeedle) { return strstr(a_sz, a_szNeedle); }
  static size_t Length(const char *a_sz) { return strlen(a_sz); }
  static constexpr const char *s_szCdata = "<![CDATA[";
  static void LogOverflow(const char *a_szStart, const char *a_szDocument)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "data overflow: %s %s", a_szStart, a_szDocument);
  }
};

template <>
struct OsXmlText<wchar_t>
{
  static const wchar_t *Find(const wchar_t *a_wsz, const wchar_t *a_wszNeedle)
  {
    return wcsstr(a_wsz, a_wszNeedle);
  }
  static size_t Length(const wchar_t *a_wsz) { return wcslen(a_wsz); }
  static constexpr const wchar_t *s_szCdata = L"<![CDATA[";
  static void LogOverflow(const wchar_t *a_wszStart, const wchar_t *a_wszDocument)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "data overflow: %ls %ls", a_wszStart, a_wszDocument);
  }
};

// Length of the CDATA opening and of its closing "]]>".
constexpr ptrdiff_t s_iCdataOpen = 9;
constexpr ptrdiff_t s_iCdataClose = 3;

// True when a_text begins with a_prefix; never reads past a_text's end.
template <typename T>
bool StartsWith(const T *a_text, const T *a_prefix)
{
  for (; *a_prefix; ++a_text, ++a_prefix)
  {
    if (*a_text != *a_prefix)
    {
      return false;
    }
  }
  return true;
}

// Finds the content between the first a_start and the first a_end after it.
// The content may come out with a negative length when a CDATA wrapper is
// taken off a content too short to hold one.
template <typename T>
bool FindContent(const T *a_document, const T *a_start, const T *a_end, bool a_blCdata, const T **a_ppContent,
                 ptrdiff_t *a_piLength)
{
  const T *pStart = OsXmlText<T>::Find(a_document, a_start);
  if (!pStart)
  {
    return false;
  }
  const T *pContent = pStart + OsXmlText<T>::Length(a_start);
  const T *pEnd = OsXmlText<T>::Find(pContent, a_end);
  if (!pEnd)
  {
    return false;
  }
  ptrdiff_t iLength = pEnd - pContent;
  // The closing "]]>" is taken to stand right before the end marker; it is
  // not checked, as the documents come from the family's own writers. The
  // length is adjusted rather than the end pointer, which could otherwise
  // point before the document.
  if (a_blCdata && StartsWith(pContent, OsXmlText<T>::s_szCdata))
  {
    pContent += s_iCdataOpen;
    iLength -= s_iCdataOpen + s_iCdataClose;
  }
  *a_ppContent = pContent;
  *a_piLength = iLength;
  return true;
}

// Content of a_length characters does not fit an output of a_u32Size.
bool Overflows(ptrdiff_t a_iLength, uint32_t a_u32Size)
{
  return a_u32Size != 0 && a_iLength >= static_cast<ptrdiff_t>(a_u32Size);
}

// Copy mode: the output is a separate buffer; an empty content is found.
template <typename T>
bool GetContentCopy(const T *a_document, const T *a_start, const T *a_end, T *a_out, uint32_t a_u32Size,
                    bool a_blCdata)
{
  a_out[0] = 0;
  const T *pContent = nullptr;
  ptrdiff_t iLength = 0;
  if (!FindContent(a_document, a_start, a_end, a_blCdata, &pContent, &iLength))
  {
    return false;
  }
  if (Overflows(iLength, a_u32Size))
  {
    OsXmlText<T>::LogOverflow(a_start, a_document);
    return false;
  }
  if (iLength <= 0)
  {
    return true;
  }
  memmove(a_out, pContent, static_cast<size_t>(iLength) * sizeof(T));
  a_out[iLength] = 0;
  return true;
}

// In-place mode: the output is the document; CDATA is always unwrapped and
// an empty content empties the document and is not found.
template <typename T>
bool GetContentInPlace(T *a_document, const T *a_start, const T *a_end, uint32_t a_u32Size)
{
  const T *pContent = nullptr;
  ptrdiff_t iLength = 0;
  bool blFound = FindContent<T>(a_document, a_start, a_end, true, &pContent, &iLength);
  if (blFound && Overflows(iLength, a_u32Size))
  {
    OsXmlText<T>::LogOverflow(a_start, a_document);
    blFound = false;
  }
  if (!blFound || iLength <= 0)
  {
    a_document[0] = 0;
    return false;
  }
  memmove(a_document, pContent, static_cast<size_t>(iLength) * sizeof(T));
  a_document[iLength] = 0;
  return true;
}

template <typename T>
bool GetContentOf(const T *a_document, const T *a_start, const T *a_end, T *a_out, uint32_t a_u32Size,
                  bool a_blCdata)
{
  if (!a_document || !a_start || !a_end || !a_out)
  {
    return false;
  }
  if (a_out == a_document)
  {
    return GetContentInPlace(a_out, a_start, a_end, a_u32Size);
  }
  return GetContentCopy(a_document, a_start, a_end, a_out, a_u32Size, a_blCdata);
}

// A zero-filled temporary from the memory service, or from the C heap when
// the services are not started.
class COsXmlTemp
{
public:
  explicit COsXmlTemp(size_t a_sizetBytes) : m_blFromService(g_posmem != nullptr)
  {
    m_pv = m_blFromService ? g_posmem->Alloc(a_sizetBytes, __FILE__, __LINE__, EOSLOGFLAG_MEM, true,
                                             "COsXml::ReplaceContent")
                           : calloc(a_sizetBytes, 1);
  }
  ~COsXmlTemp()
  {
    if (!m_blFromService)
    {
      free(m_pv);
    }
    else if (g_posmem)
    {
      g_posmem->Free(m_pv, __FILE__, __LINE__, EOSLOGFLAG_MEM, true);
    }
  }
  COsXmlTemp(const COsXmlTemp &) = delete;
  COsXmlTemp &operator=(const COsXmlTemp &) = delete;
  char *Get() const { return static_cast<char *>(m_pv); }

private:
  void *m_pv;
  bool m_blFromService;
};

}  // namespace

bool COsXml::GetContent(const char *a_szDocument, const char *a_szStart, const char *a_szEnd, char *a_szOut,
                        uint32_t a_u32Size, bool a_blCdata)
{
  return GetContentOf(a_szDocument, a_szStart, a_szEnd, a_szOut, a_u32Size, a_blCdata);
}

bool COsXml::GetContent(const wchar_t *a_wszDocument, const wchar_t *a_wszStart, const wchar_t *a_wszEnd,
                        wchar_t *a_wszOut, uint32_t a_u32Size, bool a_blCdata)
{
  return GetContentOf(a_wszDocument, a_wszStart, a_wszEnd, a_wszOut, a_u32Size, a_blCdata);
}

EOSSTS COsXml::ReplaceContent(char *a_szBuffer, uint32_t a_u32Size, const char *a_szStart,
                              const char *a_szEnd, const char *a_szNew)
{
  if (!a_szBuffer || !a_u32Size || !a_szStart || !a_szEnd || !a_szNew)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "bad argument...%p %u %p %p %p", static_cast<void *>(a_szBuffer), a_u32Size,
          static_cast<const void *>(a_szStart), static_cast<const void *>(a_szEnd),
          static_cast<const void *>(a_szNew));
    return EOSSTS_BADARG;
  }
  // One temporary holds the old content, then start+old+end, then
  // start+new+end; each part is sized for its worst case.
  size_t sizetMarkers = strlen(a_szStart) + strlen(a_szEnd);
  size_t sizetContent = strlen(a_szBuffer) + 1;
  size_t sizetOld = sizetMarkers + sizetContent;
  size_t sizetNew = sizetMarkers + strlen(a_szNew) + 1;
  if (sizetOld + sizetNew > UINT32_MAX)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "text too long...<%s>", a_szStart);
    return EOSSTS_FAIL;
  }
  COsXmlTemp osxmltemp(sizetContent + sizetOld + sizetNew);
  char *szContent = osxmltemp.Get();
  if (!szContent)
  {
    OSLOG(EOSLOGFLAG_ERROR, "alloc failed...%u", static_cast<unsigned>(sizetContent + sizetOld + sizetNew));
    return EOSSTS_FAIL;
  }
  char *szOld = szContent + sizetContent;
  char *szNew = szOld + sizetOld;
  if (!GetContent(a_szBuffer, a_szStart, a_szEnd, szContent, 0, false))
  {
    return EOSSTS_NOTFOUND;
  }
  COsString::SStrPrintf(szOld, static_cast<uint32_t>(sizetOld), "%s%s%s", a_szStart, szContent, a_szEnd);
  COsString::SStrPrintf(szNew, static_cast<uint32_t>(sizetNew), "%s%s%s", a_szStart, a_szNew, a_szEnd);
  return COsString::SStrReplace(a_szBuffer, a_u32Size, szOld, szNew, false);
}
