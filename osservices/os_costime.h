// os_costime.h: broken-down time records and a millisecond sleep.
//
// Contract: all members are static, re-entrant and keep no state. Records
// (OsTimeRecord) belong to the caller. Statuses: 0 success, 1 a bad text
// buffer or size, 3 a null record. GetDifference gives milliseconds, first
// record minus second, or -1 for a null argument; within one day it is exact
// to the millisecond, across days it is computed in whole seconds (the
// milliseconds fields are ignored there).
#ifndef OS_COSTIME_H
#define OS_COSTIME_H

#include <cstdint>

#include "os_types.h"

class COsTime
{
public:
  // The current time in UTC.
  [[nodiscard]] static EOSSTS GetSystemTime(OsTimeRecord *a_ptimerecord);
  // The local time of a_llSeconds since 1970 (their low 32 bits, milliseconds
  // 0), or of now when they are 0. *a_pu64Extra, when given, is set to 0.
  [[nodiscard]] static EOSSTS GetLocalTime(OsTimeRecord *a_ptimerecord, long long a_llSeconds,
                                           unsigned long long *a_pu64Extra);
  // UTC time of the given seconds since 1970 (the full width of time_t), with
  // milliseconds 0; 3 for a null record.
  [[nodiscard]] static EOSSTS GetUtcTime(OsTimeRecord *a_ptimerecord, long long a_llSeconds);
  // Milliseconds from a_ptimerecordEarlier to a_ptimerecordLater.
  static int64_t GetDifference(OsTimeRecord *a_ptimerecordLater, OsTimeRecord *a_ptimerecordEarlier);
  // Writes the record as 17 digits "YYYYMMDDhhmmssmmm"; a_iTimeSize must be
  // at least 19.
  [[nodiscard]] static EOSSTS GetStringTime(OsTimeRecord *a_ptimerecord, char *a_szTime, int a_iTimeSize);
  // Sleeps a_iMilliseconds; 0 yields for a microsecond, a negative value
  // returns at once.
  static void Sleep(int a_iMilliseconds);
};

#endif  // OS_COSTIME_H
