// The date timer: Gregorian arithmetic against the system calendar, the clock, and persistence
// into small in-test XML and folder streams.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "host/common/HostObject.h"
#include "support/Convert.h"
#include "support/DateTimer.h"

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

CDateTimer FromStamp(long long seconds, unsigned nanoseconds = 0) {
  statx_timestamp stamp{};
  stamp.tv_sec = seconds;
  stamp.tv_nsec = nanoseconds;
  CDateTimer timer;
  EXPECT_EQ(timer.SetLinuxTime(&stamp), S_OK);
  return timer;
}

TEST(DateTimer, LeapYearsAndTheEpoch) {
  EXPECT_EQ(Of(FromStamp(0)), (Date{1, 1, 1970, 0, 0, 0.0f}));
  EXPECT_EQ(Of(FromStamp(951782400)), (Date{29, 2, 2000, 0, 0, 0.0f}));
  EXPECT_EQ(Of(FromStamp(951782400 + 86400)), (Date{1, 3, 2000, 0, 0, 0.0f}));
  EXPECT_EQ(Of(FromStamp(978220800)), (Date{31, 12, 2000, 0, 0, 0.0f})) << "day 366 of 2000";
  EXPECT_EQ(Of(FromStamp(4107542400 - 86400)), (Date{28, 2, 2100, 0, 0, 0.0f}));
  EXPECT_EQ(Of(FromStamp(4107542400)), (Date{1, 3, 2100, 0, 0, 0.0f})) << "2100 is no leap year";
  EXPECT_EQ(Of(FromStamp(1234567890, 250000000)), (Date{13, 2, 2009, 23, 31, 30.25f}));

  CDateTimer timer;
  EXPECT_EQ(timer.SetLinuxTime(static_cast<statx_timestamp*>(nullptr)), E_INVALIDARG);
}

TEST(DateTimer, AgreesWithTheSystemCalendar) {
  std::mt19937_64 draw(7);
  for (int i = 0; i < 20000; ++i) {
    const auto seconds = static_cast<time_t>(draw() % (1ull << 33));  // up to the year 2242
    tm utc{};
    gmtime_r(&seconds, &utc);
    const Date expected{utc.tm_mday, utc.tm_mon + 1, utc.tm_year + 1900,
                        utc.tm_hour, utc.tm_min,     static_cast<float>(utc.tm_sec)};
    ASSERT_EQ(Of(FromStamp(seconds)), expected) << seconds;
  }
}

TEST(DateTimer, AddingElapsedTime) {
  CDateTimer timer = FromStamp(0);
  timer.AddElapsedTime(86399.5);
  EXPECT_EQ(Of(timer), (Date{1, 1, 1970, 23, 59, 59.5f}));
  timer.AddElapsedTime(0.5);
  EXPECT_EQ(Of(timer), (Date{2, 1, 1970, 0, 0, 0.0f}));
  // Days are counted from January whatever the month says: callers set Month to 1 first.
  CDateTimer march;
  static_cast<DATETIME&>(march) = DATETIME{5, 3, 2001, 10, 0, 0.0f};
  march.AddElapsedTime(0);
  EXPECT_EQ(Of(march), (Date{5, 1, 2001, 10, 0, 0.0f}));
}

TEST(DateTimer, ResetReadsTheClockInUTC) {
  CDateTimer timer;
  EXPECT_EQ(Of(timer), (Date{0, 0, 0, 0, 0, 0.0f}));
  EXPECT_EQ(timer.Reset(), S_OK);
  tm utc{};
  const time_t seconds = timer.clockReading.tv_sec;
  gmtime_r(&seconds, &utc);
  EXPECT_EQ(timer.Year, utc.tm_year + 1900);
  EXPECT_EQ(timer.Month, utc.tm_mon + 1);
  EXPECT_EQ(timer.Day, utc.tm_mday);
  EXPECT_EQ(timer.Hour, utc.tm_hour);
  EXPECT_EQ(timer.Minute, utc.tm_min);
  EXPECT_NEAR(timer.Second, utc.tm_sec + timer.clockReading.tv_nsec / 1e9, 1e-4);
  tm local{};
  localtime_r(&seconds, &local);
  EXPECT_EQ(timer.timeZoneMinutes, local.tm_gmtoff / 60);
}

// An XML stream that writes elements into its text, which it also offers as IString.
class XMLStream final : public host::HostObject<XMLStream, IDataStream, IXMLStream, IString> {
 public:
  std::wstring text;
  std::vector<std::wstring> open;
  int calls = 0;

  HRESULT Open(tagREFString, int) override { return E_NOTIMPL; }
  HRESULT Commit(tagREFString) override { return E_NOTIMPL; }
  HRESULT Reserved3() override { return E_NOTIMPL; }
  HRESULT Reserved4() override { return E_NOTIMPL; }
  HRESULT Reserved5() override { return E_NOTIMPL; }
  HRESULT Reserved6() override { return E_NOTIMPL; }
  HRESULT Reserved7() override { return E_NOTIMPL; }
  HRESULT Reserved8() override { return E_NOTIMPL; }
  HRESULT Reserved9() override { return E_NOTIMPL; }
  HRESULT Reserved11() override { return E_NOTIMPL; }
  HRESULT BeginElement(tagREFString name, int, int) override {
    ++calls;
    open.emplace_back(name.text, static_cast<std::size_t>(name.length));
    text += L"<" + open.back() + L">";
    return S_OK;
  }
  HRESULT SetItem(tagREFString name, int, IString* value, int) override {
    ++calls;
    const std::wstring tag(name.text, static_cast<std::size_t>(name.length));
    const CREFString content(value);
    text += L"<" + tag + L">" +
            std::wstring(content.text, static_cast<std::size_t>(content.length)) + L"</" + tag +
            L">";
    return S_OK;
  }
  HRESULT EndElement() override {
    ++calls;
    text += L"</" + open.back() + L">";
    open.pop_back();
    return S_OK;
  }
  HRESULT GetBuffer(const wchar_t** buffer, int* length) override {
    *buffer = text.data();
    *length = static_cast<int>(text.size());
    return S_OK;
  }
  HRESULT SetText(int length, const wchar_t* buffer) override {
    text.assign(buffer, static_cast<std::size_t>(length));
    return S_OK;
  }
  HRESULT Append(int length, const wchar_t* buffer) override {
    text.append(buffer, static_cast<std::size_t>(length));
    return S_OK;
  }
};

// A folder stream holding binary items by name.
class FolderStream final : public host::HostObject<FolderStream, IDataStream, IFolderStream> {
 public:
  std::map<std::wstring, std::vector<unsigned char>> items;

  HRESULT Open(tagREFString, int) override { return E_NOTIMPL; }
  HRESULT Commit(tagREFString) override { return E_NOTIMPL; }
  HRESULT Reserved5() override { return E_NOTIMPL; }
  HRESULT GetFolderCount(int*) override { return E_NOTIMPL; }
  HRESULT OpenFolder(IVariant*, IFolderStream**) override { return E_NOTIMPL; }
  HRESULT CreateFolder(tagREFString, IFolderStream**) override { return E_NOTIMPL; }
  HRESULT WriteString(tagREFString, IString*) override { return E_NOTIMPL; }
  HRESULT ReadString(tagREFString, IString**) override { return E_NOTIMPL; }
  HRESULT WriteObject(tagREFString, IUnknown*) override { return E_NOTIMPL; }
  HRESULT ReadObject(tagREFString, IUnknown**) override { return E_NOTIMPL; }
  HRESULT GetName(IString**) override { return E_NOTIMPL; }
  HRESULT Reserved12() override { return E_NOTIMPL; }
  HRESULT Reserved13() override { return E_NOTIMPL; }
  HRESULT Reserved14() override { return E_NOTIMPL; }
  HRESULT Reserved15() override { return E_NOTIMPL; }
  HRESULT WriteBinary(tagREFString name, const void* data, int size, int) override {
    const auto* bytes = static_cast<const unsigned char*>(data);
    items[std::wstring(name.text, static_cast<std::size_t>(name.length))].assign(bytes,
                                                                                 bytes + size);
    return S_OK;
  }
  HRESULT ReadBinary(tagREFString name, void* data, int size, int) override {
    const auto found = items.find(std::wstring(name.text, static_cast<std::size_t>(name.length)));
    if (found == items.end() || found->second.size() != static_cast<std::size_t>(size))
      return E_FAIL;
    std::memcpy(data, found->second.data(), found->second.size());
    return S_OK;
  }
};

TEST(DateTimer, SavesAndLoadsXML) {
  auto* stream = new XMLStream();
  CDateTimer unset;
  EXPECT_EQ(unset.Save(stream, 0), S_FALSE);
  EXPECT_EQ(stream->calls, 0);

  CDateTimer timer;
  static_cast<DATETIME&>(timer) = DATETIME{29, 2, 2000, 13, 5, 12.5f};
  EXPECT_EQ(timer.Save(stream, 0), S_OK);
  EXPECT_EQ(stream->text,
            L"<DATETIME><Day>29</Day><Month>2</Month><Year>2000</Year><Hour>13</Hour>"
            L"<Minute>5</Minute><Second>12.5</Second></DATETIME>");
  CDateTimer loaded;
  EXPECT_EQ(loaded.Load(stream, 0), S_OK);
  EXPECT_EQ(Of(loaded), Of(timer));

  stream->text.clear();
  timer.Second = 7.0f;
  timer.Save(stream, 0);
  EXPECT_NE(stream->text.find(L"<Second>7</Second>"), std::wstring::npos) << "whole seconds";

  // Keys are found in any order and without the enclosing element.
  stream->text =
      L"<DATETIME><Day>5</Day><Month>6</Month><Year>2020</Year><Hour>7</Hour><Minute>8</Minute>"
      L"<Second>9.25</Second></DATETIME>";
  EXPECT_EQ(loaded.Load(stream, 0), S_OK);
  EXPECT_EQ(Of(loaded), (Date{5, 6, 2020, 7, 8, 9.25f}));
  stream->text = L"<Year>1999</Year><Day>3";
  loaded.Load(stream, 0);
  EXPECT_EQ(Of(loaded), (Date{0, 6, 1999, 7, 8, 9.25f})) << "missing keys stay, open ones read 0";
  stream->Release();
}

TEST(DateTimer, SavesAndLoadsFolderStreams) {
  auto* folder = new FolderStream();
  CDateTimer timer;
  static_cast<DATETIME&>(timer) = DATETIME{31, 12, 2099, 23, 59, 0.0f};
  EXPECT_EQ(timer.Save(folder, 0), S_OK);
  EXPECT_EQ(folder->items.size(), 5u) << "a zero Second is not written";
  EXPECT_EQ(folder->items[L"Year"], (std::vector<unsigned char>{0x33, 0x08}));
  timer.Second = 1.75f;
  timer.Save(folder, 0);
  EXPECT_EQ(folder->items.size(), 6u);
  EXPECT_EQ(folder->items[L"Second"].size(), 4u);
  CDateTimer loaded;
  EXPECT_EQ(loaded.Load(folder, 0), S_OK);
  EXPECT_EQ(Of(loaded), Of(timer));
  folder->Release();

  EXPECT_EQ(timer.Save(nullptr, 0), E_INVALIDARG);
  EXPECT_EQ(timer.Load(nullptr, 0), E_INVALIDARG);
}

}  // namespace
