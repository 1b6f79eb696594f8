// A calendar date and time of day with its own Gregorian arithmetic, readable from the clock
// and persisted in the host's XML and folder streams as "DATETIME".
#pragma once

#include <cstdint>
#include <ctime>

#include "frame/Com.h"

struct statx_timestamp;

struct DATETIME {
  std::uint16_t Day;     // 1-based day of the month
  std::uint16_t Month;   // 1..12
  std::uint16_t Year;    // full year
  std::uint16_t Hour;    // 0..23
  std::uint16_t Minute;  // 0..59
  float Second;          // with fraction, below 60
};

// All zeros when constructed: an all-zero date means "no date" and is not saved.
class CDateTimer : public DATETIME {
 public:
  CDateTimer() : DATETIME{0, 0, 0, 0, 0, 0.0f} {}

  // The current UTC date and time with nanoseconds; records the time zone and the clock reading.
  virtual HRESULT Reset();
  // Local time of a time_t, in whole seconds.
  virtual HRESULT SetLinuxTime(long seconds);
  // UTC time of a file time stamp. E_INVALIDARG for null.
  virtual HRESULT SetLinuxTime(statx_timestamp* stamp);
  // "DATETIME" with Day, Month, Year, Hour, Minute, Second into an XML stream, or binary items
  // into a folder stream. S_FALSE (nothing written) when no date is set.
  virtual HRESULT Save(IDataStream* stream, int reserved);
  // Reads what Save writes; missing items leave their fields as they are.
  virtual HRESULT Load(IDataStream* stream, int reserved);

  // Adds a non-negative number of seconds. The date is counted from January of its year (the
  // month is not read), so callers set Month to 1 before adding.
  CDateTimer& AddElapsedTime(double seconds);

  // Local offset east of UTC in minutes, and the clock reading, both taken by Reset.
  std::int32_t timeZoneMinutes = 0;
  timespec clockReading{};
};

// 366 in Gregorian leap years, else 365.
int DaysInYear(unsigned year);
// Days of a month (1..12) of a year; months beyond 12 count 30.
int DaysInMonth(unsigned month, unsigned year);
