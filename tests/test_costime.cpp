// test_costime.cpp: time records in UTC and local time, the two paths of
// GetDifference, the digit-string form and the sleep.
#include <gtest/gtest.h>
#include <time.h>

#include <chrono>
#include <climits>
#include <cstring>

#include "os_costime.h"
#include "os_testutil.h"

namespace
{

OsTimeRecord Record(uint16_t a_wYear, uint16_t a_wMonth, uint16_t a_wDay, uint16_t a_wHour,
                    uint16_t a_wMinute, uint16_t a_wSecond, uint16_t a_wMilliseconds)
{
  return {a_wYear, a_wMonth, 0, a_wDay, a_wHour, a_wMinute, a_wSecond, a_wMilliseconds};
}

// Sets the time zone for one test; the library rereads it at both ends.
struct TzReset
{
  ~TzReset() { tzset(); }  // runs after the base below has restored TZ
};
struct ScopedTz : TzReset, ostest::ScopedEnv
{
  explicit ScopedTz(const char *a_szTz) : ostest::ScopedEnv("TZ", a_szTz) { tzset(); }
};

// Seconds since 1970 of a UTC record.
long long UtcSeconds(const OsTimeRecord &a_timerecord)
{
  struct tm tmRecord = {};
  tmRecord.tm_year = a_timerecord.wYear - 1900;
  tmRecord.tm_mon = a_timerecord.wMonth - 1;
  tmRecord.tm_mday = a_timerecord.wDay;
  tmRecord.tm_hour = a_timerecord.wHour;
  tmRecord.tm_min = a_timerecord.wMinute;
  tmRecord.tm_sec = a_timerecord.wSecond;
  return static_cast<long long>(timegm(&tmRecord));
}

}  // namespace

TEST(GetSystemTime, IsNowInUtcAndLocalTimeOfZeroIsNowInTheZone)
{
  ScopedTz tz("Asia/Tokyo");  // must not matter to the system time
  OsTimeRecord timerecord = {};
  // time() reads a coarser clock that may lag a second boundary: read the
  // precise one around the call.
  auto now = [] { return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now()); };
  const long long llBefore = now();
  ASSERT_EQ(0u, COsTime::GetSystemTime(&timerecord));
  const long long llAfter = now();
  long long llRecord = UtcSeconds(timerecord);
  EXPECT_LE(llBefore, llRecord);
  EXPECT_GE(llAfter, llRecord);
  EXPECT_LT(timerecord.wMilliseconds, 1000);
  EXPECT_EQ(3u, COsTime::GetSystemTime(nullptr));
  // Tokyo is nine hours ahead and keeps no daylight saving time.
  OsTimeRecord timerecordLocal = {};
  ASSERT_EQ(0u, COsTime::GetLocalTime(&timerecordLocal, 0, nullptr));
  long long llShift = UtcSeconds(timerecordLocal) - llRecord;
  EXPECT_GE(llShift, 9 * 3600);
  EXPECT_LE(llShift, 9 * 3600 + 1);
}

TEST(GetLocalTime, GivenSecondsInTheLocalZoneOnlyTheLow32BitsCount)
{
  ScopedTz tz("Asia/Tokyo");
  OsTimeRecord timerecord;
  memset(&timerecord, 0xFF, sizeof(timerecord));
  unsigned long long u64Extra = 99;
  ASSERT_EQ(0u, COsTime::GetLocalTime(&timerecord, (1LL << 32) + 86400LL * 365 + 1, &u64Extra));
  EXPECT_EQ(0u, u64Extra);
  // 1971-01-01 00:00:01 UTC is 09:00:01 in Tokyo, a Friday.
  OsTimeRecord timerecordExpected = Record(1971, 1, 1, 9, 0, 1, 0);
  timerecordExpected.wDayOfWeek = 5;
  EXPECT_EQ(0, memcmp(&timerecordExpected, &timerecord, sizeof(timerecord)));
  EXPECT_EQ(3u, COsTime::GetLocalTime(nullptr, 0, nullptr));
}

TEST(GetDifference, MillisecondsWithinADayWholeSecondsAcrossMidnight)
{
  struct  // not const: GetDifference takes plain pointers
  {
    OsTimeRecord timerecordLater;
    OsTimeRecord timerecordEarlier;
    long long llExpected;
  } acase[] = {// Within one day, to the millisecond.
               {Record(2024, 1, 31, 10, 0, 0, 500), Record(2024, 1, 31, 9, 59, 59, 900), 600},
               // Across midnight only whole seconds count.
               {Record(2024, 2, 1, 0, 0, 0, 100), Record(2024, 1, 31, 23, 59, 59, 900), 1000},
               {Record(2024, 3, 1, 0, 0, 0, 0), Record(2024, 2, 28, 0, 0, 0, 0), 2LL * 86400 * 1000},
               // Small years count from 1900.
               {Record(2024, 5, 6, 7, 8, 9, 0), Record(124, 5, 6, 7, 8, 9, 0), 0},
               // The clocks in Berlin went forward on 2024-03-31; the days still count 24 hours.
               {Record(2024, 3, 31, 12, 0, 0, 0), Record(2024, 3, 30, 12, 0, 0, 0), 86400LL * 1000}};
  ScopedTz tz("Europe/Berlin");
  for (auto &c : acase)
  {
    SCOPED_TRACE(c.llExpected);
    EXPECT_EQ(c.llExpected, COsTime::GetDifference(&c.timerecordLater, &c.timerecordEarlier));
    EXPECT_EQ(-c.llExpected, COsTime::GetDifference(&c.timerecordEarlier, &c.timerecordLater));
  }
  EXPECT_EQ(-1, COsTime::GetDifference(nullptr, &acase[0].timerecordLater));
  EXPECT_EQ(-1, COsTime::GetDifference(&acase[0].timerecordLater, nullptr));
}

TEST(GetStringTime, NineteenBytesIsTheMinimumAndTheWholeSizeIsCleared)
{
  OsTimeRecord timerecord = Record(999, 2, 3, 4, 5, 6, 70);
  char sz[32];
  memset(sz, 'x', sizeof(sz));
  EXPECT_EQ(1u, COsTime::GetStringTime(&timerecord, sz, 18));  // the platform tests write into 19
  EXPECT_EQ('x', sz[0]);
  ASSERT_EQ(0u, COsTime::GetStringTime(&timerecord, sz, 24));
  EXPECT_EQ(std::string("09990203040506070") + std::string(7, '\0') + "x", std::string(sz, 25));
  EXPECT_EQ(3u, COsTime::GetStringTime(nullptr, sz, 32));
  EXPECT_EQ(1u, COsTime::GetStringTime(&timerecord, nullptr, 32));
}

TEST(Sleep, WaitsAtLeastTheGivenTimeAndNotForNegativeTimes)
{
  auto start = std::chrono::steady_clock::now();
  COsTime::Sleep(30);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
  // Taken as a length, INT_MIN would sleep for weeks.
  start = std::chrono::steady_clock::now();
  COsTime::Sleep(INT_MIN);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}
