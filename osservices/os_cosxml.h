// os_cosxml.h: tagged content extraction by plain text search.
//
// Contract: GetContent returns what lies between the first start marker and
// the first end marker after it. There is no parser: no nesting, no
// attributes, no entities; markers are compared byte for byte. A CDATA
// section directly after the start marker is unwrapped (in copy mode only
// when asked for, in in-place mode always). The caller owns every buffer;
// a_u32Size is the capacity of the output in bytes (terminator included),
// or 0 for no limit. The output may be the document itself (in-place mode):
// there an empty content or a missing marker empties the document and gives
// false, while copy mode reports an empty content as found. Content that
// does not fit logs "data overflow: %s %s" and gives false with an empty
// output. No other message is written. Nothing allocates except
// ReplaceContent's two temporaries.
#ifndef OS_COSXML_H
#define OS_COSXML_H

#include <cstdint>
#include <cwchar>

#include "os_types.h"

class COsXml
{
public:
  // Copies the content between a_szStart and a_szEnd of a_szDocument into
  // a_szOut (which may be a_szDocument itself). True when found.
  static bool GetContent(const char *a_szDocument, const char *a_szStart, const char *a_szEnd, char *a_szOut,
                         uint32_t a_u32Size, bool a_blCdata);
  // The same for wide-character text; a_u32Size counts characters.
  static bool GetContent(const wchar_t *a_wszDocument, const wchar_t *a_wszStart, const wchar_t *a_wszEnd,
                         wchar_t *a_wszOut, uint32_t a_u32Size, bool a_blCdata);

  // Replaces, in place, the content between the first a_szStart and the
  // a_szEnd after it with a_szNew (an empty content is replaced too).
  // 0 success; 14 a marker is missing; 1 the result does not fit a_u32Size
  // or no memory; 3 bad argument.
  [[nodiscard]] static EOSSTS ReplaceContent(char *a_szBuffer, uint32_t a_u32Size, const char *a_szStart,
                                             const char *a_szEnd, const char *a_szNew);
};

#endif  // OS_COSXML_H
