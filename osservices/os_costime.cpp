// os_costime.cpp: broken-down time records and a millisecond sleep (see
// os_costime.h).
#include "os_costime.h"

#include <errno.h>
#include <sys/time.h>
#include <time.h>

#include <cstring>

#include "os_coslog.h"
#include "os_cosstring.h"

namespace
{

// Stores a broken-down time and its milliseconds in a record.
void FillRecord(const struct tm &a_tm, long a_lMilliseconds, OsTimeRecord *a_ptimerecord)
{
  a_ptimerecord->wYear = static_cast<uint16_t>(a_tm.tm_year + 1900);
  a_ptimerecord->wMonth = static_cast<uint16_t>(a_tm.tm_mon + 1);
  a_ptimerecord->wDayOfWeek = static_cast<uint16_t>(a_tm.tm_wday);
  a_ptimerecord->wDay = static_cast<uint16_t>(a_tm.tm_mday);
  a_ptimerecord->wHour = static_cast<uint16_t>(a_tm.tm_hour);
  a_ptimerecord->wMinute = static_cast<uint16_t>(a_tm.tm_min);
  a_ptimerecord->wSecond = static_cast<uint16_t>(a_tm.tm_sec);
  a_ptimerecord->wMilliseconds = static_cast<uint16_t>(a_lMilliseconds);
}

// Milliseconds since midnight of a record's clock fields.
int32_t ClockMilliseconds(const OsTimeRecord *a_ptimerecord)
{
  return a_ptimerecord->wHour * 3600000 + a_ptimerecord->wMinute * 60000 + a_ptimerecord->wSecond * 1000 +
         a_ptimerecord->wMilliseconds;
}

// Seconds since 1970 of a record read as local time with daylight saving
// off; a year up to 1900 is taken as years since 1900.
long long RecordToSeconds(const OsTimeRecord *a_ptimerecord)
{
  struct tm tmRecord;
  memset(&tmRecord, 0, sizeof(tmRecord));
  tmRecord.tm_year = a_ptimerecord->wYear > 1900 ? a_ptimerecord->wYear - 1900 : a_ptimerecord->wYear;
  tmRecord.tm_mon = a_ptimerecord->wMonth - 1;
  tmRecord.tm_mday = a_ptimerecord->wDay;
  tmRecord.tm_hour = a_ptimerecord->wHour;
  tmRecord.tm_min = a_ptimerecord->wMinute;
  tmRecord.tm_sec = a_ptimerecord->wSecond;
  tmRecord.tm_isdst = 0;
  return static_cast<long long>(mktime(&tmRecord));
}

bool SameDay(const OsTimeRecord *a_ptimerecord1, const OsTimeRecord *a_ptimerecord2)
{
  return a_ptimerecord1->wYear == a_ptimerecord2->wYear && a_ptimerecord1->wMonth == a_ptimerecord2->wMonth &&
         a_ptimerecord1->wDay == a_ptimerecord2->wDay;
}

}  // namespace

EOSSTS COsTime::GetSystemTime(OsTimeRecord *a_ptimerecord)
{
  if (!a_ptimerecord)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_ptimerecord is NULL...");
    return EOSSTS_BADARG;
  }
  struct timeval tv;
  gettimeofday(&tv, nullptr);
  struct tm tmNow;
  gmtime_r(&tv.tv_sec, &tmNow);
  FillRecord(tmNow, static_cast<long>(tv.tv_usec / 1000), a_ptimerecord);
  return EOSSTS_OK;
}

EOSSTS COsTime::GetUtcTime(OsTimeRecord *a_ptimerecord, long long a_llSeconds)
{
  if (!a_ptimerecord)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_ptimerecord is NULL...");
    return EOSSTS_BADARG;
  }
  const time_t timeSeconds = static_cast<time_t>(a_llSeconds);
  struct tm tmUtc;
  memset(&tmUtc, 0, sizeof(tmUtc));
  gmtime_r(&timeSeconds, &tmUtc);
  FillRecord(tmUtc, 0, a_ptimerecord);
  return EOSSTS_OK;
}

EOSSTS COsTime::GetLocalTime(OsTimeRecord *a_ptimerecord, long long a_llSeconds,
                             unsigned long long *a_pu64Extra)
{
  if (a_pu64Extra)
  {
    *a_pu64Extra = 0;
  }
  if (!a_ptimerecord)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_ptimerecord is NULL...");
    return EOSSTS_BADARG;
  }
  struct timeval tv = {};
  if (a_llSeconds)
  {
    // Only the low 32 bits are kept, read as a signed 32-bit time.
    tv.tv_sec = static_cast<time_t>(static_cast<int32_t>(static_cast<uint32_t>(a_llSeconds)));
  }
  else
  {
    gettimeofday(&tv, nullptr);
  }
  struct tm tmLocal;
  localtime_r(&tv.tv_sec, &tmLocal);
  FillRecord(tmLocal, static_cast<long>(tv.tv_usec / 1000), a_ptimerecord);
  return EOSSTS_OK;
}

int64_t COsTime::GetDifference(OsTimeRecord *a_ptimerecordLater, OsTimeRecord *a_ptimerecordEarlier)
{
  if (!a_ptimerecordLater || !a_ptimerecordEarlier)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "argument is null...");
    return -1;
  }
  if (SameDay(a_ptimerecordLater, a_ptimerecordEarlier))
  {
    return ClockMilliseconds(a_ptimerecordLater) - ClockMilliseconds(a_ptimerecordEarlier);
  }
  // Across days only whole seconds count: the milliseconds are dropped.
  return (RecordToSeconds(a_ptimerecordLater) - RecordToSeconds(a_ptimerecordEarlier)) * 1000;
}

EOSSTS COsTime::GetStringTime(OsTimeRecord *a_ptimerecord, char *a_szTime, int a_iTimeSize)
{
  if (!a_szTime)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "a_szTime is null...");
    return EOSSTS_FAIL;
  }
  // The message names 18, but 19 bytes is the smallest size accepted.
  if (a_iTimeSize <= 18)
  {
    OSLOG(EOSLOGFLAG_ASSERT, "a_lTimeSize must be at least 18...%d", a_iTimeSize);
    return EOSSTS_FAIL;
  }
  if (!a_ptimerecord)
  {
    OSLOG(EOSLOGFLAG_ERROR, "a_ptimerecord is NULL...");
    return EOSSTS_BADARG;
  }
  memset(a_szTime, 0, static_cast<size_t>(a_iTimeSize));
  // Precision pads with zeros: 17 digits, no separators.
  COsString::SStrPrintf(a_szTime, static_cast<uint32_t>(a_iTimeSize - 1), "%.4d%.2d%.2d%.2d%.2d%.2d%.3d",
                        a_ptimerecord->wYear, a_ptimerecord->wMonth, a_ptimerecord->wDay,
                        a_ptimerecord->wHour, a_ptimerecord->wMinute, a_ptimerecord->wSecond,
                        a_ptimerecord->wMilliseconds);
  return EOSSTS_OK;
}

void COsTime::Sleep(int a_iMilliseconds)
{
  if (a_iMilliseconds < 0)
  {
    return;
  }
  struct timespec tsWait;
  if (a_iMilliseconds == 0)
  {
    tsWait = {0, 1000};  // one microsecond: a yield
  }
  else
  {
    tsWait.tv_sec = a_iMilliseconds / 1000;
    tsWait.tv_nsec = (a_iMilliseconds % 1000) * 1000000L;
  }
  // A signal does not cut the sleep short.
  while (nanosleep(&tsWait, &tsWait) != 0 && errno == EINTR)
  {
  }
}
