// The date timer: Gregorian arithmetic against the system calendar, the clock, and persistence
// into the host's XML and folder streams.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <cwctype>
#include <random>
#include <string>
#include <vector>

#include "support/Convert.h"
#include "support/DateTimer.h"
#include "tests/common/TestHost.h"

namespace {

struct Date {
  int day, month, year, hour, minute;
  float second;
  friend bool operator==(const Date&, const Date&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Date& d) {
    return out << d.year << '-' << d.month << '-' << d.day << ' ' << d.hour << ':' << d.minute
               << ':' << d.second;
  }
};

Date Of(const CDateTimer& t) {
  return {t.Day, t.Month, t.Year, t.Hour, t.Minute, t.Second};
}

// The system calendar's UTC date of a time_t.
Date Utc(time_t seconds) {
  tm utc{};
  gmtime_r(&seconds, &utc);
  return {utc.tm_mday, utc.tm_mon + 1, utc.tm_year + 1900,
          utc.tm_hour, utc.tm_min,     static_cast<float>(utc.tm_sec)};
}

CDateTimer FromStamp(long long seconds, unsigned nanoseconds = 0) {
  statx_timestamp stamp{};
  stamp.tv_sec = seconds;
  stamp.tv_nsec = nanoseconds;
  CDateTimer timer;
  EXPECT_EQ(timer.SetLinuxTime(&stamp), S_OK);
  return timer;
}

CDateTimer Made(const DATETIME& date) {
  CDateTimer timer;
  static_cast<DATETIME&>(timer) = date;
  return timer;
}

// Catches: a leap-year rule, month length or time-of-day error against the system calendar;
// nanoseconds lost; a missing stamp accepted.
TEST(DateTimer, AgreesWithTheSystemCalendar) {
  // The epoch, 2000-02-29 and the day after, day 366 of 2000, and 2100-02-28 and the day after
  // (2100 is no leap year); then random stamps up to the year 2242.
  std::vector<long long> stamps = {0, 951782400, 951868800, 978220800, 4107456000, 4107542400};
  std::mt19937_64 draw(7);
  for (int i = 0; i < 20000; ++i) stamps.push_back(static_cast<long long>(draw() % (1ull << 33)));
  for (const long long seconds : stamps) ASSERT_EQ(Of(FromStamp(seconds)), Utc(seconds)) << seconds;

  EXPECT_EQ(Of(FromStamp(1234567890, 250000000)), (Date{13, 2, 2009, 23, 31, 30.25f}));
  CDateTimer timer;
  EXPECT_EQ(timer.SetLinuxTime(static_cast<statx_timestamp*>(nullptr)), E_INVALIDARG);
}

// Catches: a carry across the day lost, days counted from the month set instead of January.
TEST(DateTimer, AddingElapsedTime) {
  CDateTimer timer = FromStamp(0);
  timer.AddElapsedTime(86399.5);
  EXPECT_EQ(Of(timer), (Date{1, 1, 1970, 23, 59, 59.5f}));
  timer.AddElapsedTime(0.5);
  EXPECT_EQ(Of(timer), (Date{2, 1, 1970, 0, 0, 0.0f}));
  // Days are counted from January whatever the month says: callers set Month to 1 first.
  EXPECT_EQ(Of(Made({5, 3, 2001, 10, 0, 0.0f}).AddElapsedTime(0)), (Date{5, 1, 2001, 10, 0, 0.0f}));
}

// Catches: a fresh timer not zero, Reset reading local time or losing the fraction, the time
// zone offset wrong.
TEST(DateTimer, ResetReadsTheClockInUTC) {
  CDateTimer timer;
  EXPECT_EQ(Of(timer), (Date{0, 0, 0, 0, 0, 0.0f}));
  EXPECT_EQ(timer.Reset(), S_OK);
  const time_t seconds = timer.clockReading.tv_sec;
  Date expected = Utc(seconds);
  EXPECT_NEAR(timer.Second, expected.second + timer.clockReading.tv_nsec / 1e9, 1e-4);
  expected.second = timer.Second;
  EXPECT_EQ(Of(timer), expected);
  tm local{};
  localtime_r(&seconds, &local);
  EXPECT_EQ(timer.timeZoneMinutes, local.tm_gmtoff / 60);
}

// The stream's text without the white space its layout adds.
std::wstring Compact(const ComPtr<IDataStream>& stream) {
  std::wstring text = testhost::Text(stream.Get());
  std::erase_if(text, [](wchar_t c) { return std::iswspace(static_cast<wint_t>(c)) != 0; });
  return text;
}

// Catches: an empty date written, an element misnamed or a whole second written with a
// fraction, loading that needs the enclosing element or an order, or clears what is missing.
TEST(DateTimer, SavesAndLoadsXML) {
  auto stream = testhost::Create<IDataStream>(L"XMLStream");
  ASSERT_TRUE(stream);
  EXPECT_EQ(CDateTimer().Save(stream.Get(), 0), S_FALSE);
  EXPECT_EQ(Compact(stream), L"") << "no date, nothing written";

  CDateTimer timer = Made({29, 2, 2000, 13, 5, 12.5f});
  EXPECT_EQ(timer.Save(stream.Get(), 0), S_OK);
  EXPECT_EQ(Compact(stream),
            L"<DATETIME><Day>29</Day><Month>2</Month><Year>2000</Year><Hour>13</Hour>"
            L"<Minute>5</Minute><Second>12.5</Second></DATETIME>");
  CDateTimer loaded;
  EXPECT_EQ(loaded.Load(stream.Get(), 0), S_OK);
  EXPECT_EQ(Of(loaded), Of(timer));

  auto whole = testhost::Create<IDataStream>(L"XMLStream");
  Made({1, 1, 2001, 0, 0, 7.0f}).Save(whole.Get(), 0);
  EXPECT_NE(Compact(whole).find(L"<Second>7</Second>"), std::wstring::npos) << "whole";

  // Keys are found in any order and without the enclosing element; missing ones stay.
  const std::wstring text = L"<Second>9.25</Second><Minute>8</Minute><Day>5</Day><Year>1999</Year>";
  ASSERT_EQ(stream.As<IString>()->SetText(static_cast<int>(text.size()), text.c_str()), S_OK);
  EXPECT_EQ(loaded.Load(stream.Get(), 0), S_OK);
  EXPECT_EQ(Of(loaded), (Date{5, 2, 1999, 13, 8, 9.25f}));
}

// Catches: the year not two bytes least significant first, a zero second written, a round trip
// losing a field, a missing stream accepted.
TEST(DateTimer, SavesAndLoadsFolderStreams) {
  auto stream = testhost::Create<IDataStream>(L"FolderStream");
  ASSERT_TRUE(stream);
  auto folder = stream.As<IFolderStream>();
  CDateTimer timer = Made({31, 12, 2099, 23, 59, 0.0f});
  EXPECT_EQ(timer.Save(stream.Get(), 0), S_OK);
  unsigned char year[2] = {};
  EXPECT_EQ(folder->ReadBinary(RefView(L"Year"), year, 2, 0), S_OK);
  EXPECT_EQ(year[0] | year[1] << 8, 2099) << "two bytes, least significant first";
  float second = 0;
  EXPECT_EQ(folder->ReadBinary(RefView(L"Second"), &second, 4, 0), E_FAIL) << "zero not written";

  timer.Second = 1.75f;
  EXPECT_EQ(timer.Save(stream.Get(), 0), S_OK);
  CDateTimer loaded;
  EXPECT_EQ(loaded.Load(stream.Get(), 0), S_OK);
  EXPECT_EQ(Of(loaded), Of(timer));

  EXPECT_EQ(timer.Save(nullptr, 0), E_INVALIDARG);
  EXPECT_EQ(timer.Load(nullptr, 0), E_INVALIDARG);
}

}  // namespace
