#include "support/DateTimer.h"

#include <sys/stat.h>

#include <cmath>

#include "support/Convert.h"

namespace {

bool IsLeapYear(unsigned year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

struct Field {
  tagREFString name;
  std::uint16_t DATETIME::*member;
};
constexpr Field kFields[] = {
    {RefLiteral(L"Day"), &DATETIME::Day},       {RefLiteral(L"Month"), &DATETIME::Month},
    {RefLiteral(L"Year"), &DATETIME::Year},     {RefLiteral(L"Hour"), &DATETIME::Hour},
    {RefLiteral(L"Minute"), &DATETIME::Minute},
};
constexpr tagREFString kSecond = RefLiteral(L"Second");
constexpr tagREFString kElement = RefLiteral(L"DATETIME");

// One name/value item; the value's text is the variant's automatic presentation.
void WriteXMLItem(IXMLStream* xml, tagREFString name, IVariant* value) {
  if (value == nullptr) return;
  IString* text = ISCreate(value);
  value->Release();
  if (text == nullptr) return;
  xml->SetItem(name, 0, text, 0);
  text->Release();
}

}  // namespace

int DaysInYear(unsigned year) {
  return IsLeapYear(year) ? 366 : 365;
}

int DaysInMonth(unsigned month, unsigned year) {
  switch (month) {
    case 1:
    case 3:
    case 5:
    case 7:
    case 8:
    case 10:
    case 12:
      return 31;
    case 2:
      return IsLeapYear(year) ? 29 : 28;
    default:
      return 30;
  }
}

CDateTimer& CDateTimer::AddElapsedTime(double seconds) {
  const double total = Second + seconds + Minute * 60.0 + Hour * 3600.0;
  // Days outside the 32-bit range would make the conversion undefined; such spans are not dates.
  double wholeDays = std::floor(total / 86400);
  if (!(wholeDays >= -2147483648.0)) wholeDays = -2147483648.0;
  if (wholeDays > 2147483647.0) wholeDays = 2147483647.0;
  int days = static_cast<int>(wholeDays);
  double rest = total - days * 86400.0;
  Hour = static_cast<std::uint16_t>(std::trunc(rest / 3600));
  rest -= Hour * 3600.0;
  Minute = static_cast<std::uint16_t>(std::trunc(rest / 60));
  Second = static_cast<float>(rest - Minute * 60.0);

  while (days >= DaysInYear(Year)) {
    days -= DaysInYear(Year);
    ++Year;
  }
  // d is a day number within the year, January 1st being 1.
  const long long d = static_cast<long long>(Day) + days;
  unsigned month = 1;
  long long before = 0;
  while (before + DaysInMonth(month, Year) < d) {
    before += DaysInMonth(month, Year);
    ++month;
  }
  Month = static_cast<std::uint16_t>(month);
  Day = static_cast<std::uint16_t>(d - before);
  return *this;
}

HRESULT CDateTimer::Reset() {
  const time_t now = time(nullptr);
  tm local{};
  localtime_r(&now, &local);
  timeZoneMinutes = static_cast<std::int32_t>(local.tm_gmtoff / 60);
  clock_gettime(CLOCK_REALTIME, &clockReading);
  static_cast<DATETIME&>(*this) = DATETIME{1, 1, 1970, 0, 0, 0.0f};
  AddElapsedTime(static_cast<double>(clockReading.tv_sec));
  Second = static_cast<float>(Second + clockReading.tv_nsec / 1e9);
  return S_OK;
}

HRESULT CDateTimer::SetLinuxTime(long seconds) {
  const time_t t = seconds;
  tm local{};
  if (localtime_r(&t, &local) == nullptr) return E_INVALIDARG;
  Day = static_cast<std::uint16_t>(local.tm_mday);
  Month = static_cast<std::uint16_t>(local.tm_mon + 1);
  Year = static_cast<std::uint16_t>(local.tm_year + 1900);
  Hour = static_cast<std::uint16_t>(local.tm_hour);
  Minute = static_cast<std::uint16_t>(local.tm_min);
  Second = static_cast<float>(local.tm_sec);
  return S_OK;
}

HRESULT CDateTimer::SetLinuxTime(statx_timestamp* stamp) {
  if (stamp == nullptr) return E_INVALIDARG;
  static_cast<DATETIME&>(*this) = DATETIME{1, 1, 1970, 0, 0, 0.0f};
  AddElapsedTime(static_cast<double>(stamp->tv_sec));
  Second = static_cast<float>(Second + stamp->tv_nsec / 1e9);
  return S_OK;
}

HRESULT CDateTimer::Save(IDataStream* stream, int /*reserved*/) {
  if (Year == 0 && Month == 0 && Day == 0) return S_FALSE;
  if (stream == nullptr) return E_INVALIDARG;
  IXMLStream* xml = nullptr;
  stream->QueryInterface(IID_IXMLStream, reinterpret_cast<void**>(&xml));
  if (xml != nullptr) {
    // The stream's results are not checked: saving reports nothing but the empty date.
    xml->BeginElement(kElement, 0, 0);
    for (const Field& field : kFields)
      WriteXMLItem(xml, field.name, IVCreate(static_cast<int>(this->*field.member)));
    WriteXMLItem(xml, kSecond, IVCreate(static_cast<double>(Second)));
    xml->EndElement();
    xml->Release();
    return S_OK;
  }
  IFolderStream* folder = nullptr;
  stream->QueryInterface(IID_IFolderStream, reinterpret_cast<void**>(&folder));
  if (folder != nullptr) {
    for (const Field& field : kFields)
      folder->WriteBinary(field.name, &(this->*field.member), 2, 0);
    if (Second != 0) folder->WriteBinary(kSecond, &Second, 4, 0);
    folder->Release();
  }
  return S_OK;
}

HRESULT CDateTimer::Load(IDataStream* stream, int /*reserved*/) {
  if (stream == nullptr) return E_INVALIDARG;
  IXMLStream* xml = nullptr;
  stream->QueryInterface(IID_IXMLStream, reinterpret_cast<void**>(&xml));
  if (xml != nullptr) {
    xml->Release();
    IString* whole = nullptr;
    stream->QueryInterface(IID_IString, reinterpret_cast<void**>(&whole));
    if (whole == nullptr) return S_OK;
    const CREFString text(whole);
    // Every key is searched from the start, so their order does not matter and no enclosing
    // element is needed; a missing closing tag reads as 0.
    for (const Field& field : kFields) {
      CREFString from = text;
      CREFString tag = field.name;
      CREFString attributes;
      CREFString value;
      if (XMLGetTAGGED(from, tag, attributes, value, 0) >= 0)
        this->*field.member = static_cast<std::uint16_t>(_IS2Integer(value, 10));
    }
    CREFString from = text;
    CREFString tag = kSecond;
    CREFString attributes;
    CREFString value;
    if (XMLGetTAGGED(from, tag, attributes, value, 0) >= 0)
      Second = static_cast<float>(_IS2Double(value));
    whole->Release();
    return S_OK;
  }
  IFolderStream* folder = nullptr;
  stream->QueryInterface(IID_IFolderStream, reinterpret_cast<void**>(&folder));
  if (folder != nullptr) {
    for (const Field& field : kFields) folder->ReadBinary(field.name, &(this->*field.member), 2, 0);
    folder->ReadBinary(kSecond, &Second, 4, 0);
    folder->Release();
  }
  return S_OK;
}
