// Reading an effect's properties, and parsing, checking and applying values, all through
// IUIPropInterrogate: what a property is comes from its flags word, its choices from
// ParameterEnumeration, its range from ParameterRange and its name from the string table.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "app/Settings.h"
#include "app/Text.h"
#include "sdk/Properties.h"
#include "sdk/Storage.h"
#include "sdk/Text.h"

namespace kelo {

namespace {

using kelo_text::TextOf;
using kelo_text::Utf8FromWide;
using kelo_text::WideFromUtf8;

bool IsIntegerKind(int kind) {
  return kind == kPropUInt8 || kind == kPropInt16 || kind == kPropInt32;
}

bool IsBoolean(const Property& property) {
  return (property.flags & kPropSubKindMask) == kPropBoolean;
}

PropertyType TypeOf(const Property& property) {
  switch (property.kind) {
    case kPropUInt8:
    case kPropInt16:
    case kPropInt32:
      if (!property.choices.empty()) return PropertyType::kChoice;
      if (IsBoolean(property)) return PropertyType::kBoolean;
      if ((property.flags & kPropSubKindMask) == kPropColour) return PropertyType::kColour;
      return PropertyType::kInteger;
    case kPropFloat:
      return PropertyType::kFloat;
    case kPropDouble:
      return PropertyType::kDouble;
    case kPropString:
      return PropertyType::kText;
    default:
      return PropertyType::kOther;
  }
}

std::vector<PropertyChoice> ReadChoices(IUnknown* collection) {
  std::vector<PropertyChoice> choices;
  auto named = ComPtr<IUnknown>::Share(collection).As<INamedCollection>();
  int count = 0;
  if (!named || Failed(named->GetCount(&count))) return choices;
  for (int i = 0; i < count; ++i) {
    PropertyChoice choice{.text = {}, .value = i};
    ComPtr<IString> text;
    if (Succeeded(named->GetName(i, text.Put()))) choice.text = Utf8FromWide(TextOf(text.Get()));
    ComPtr<IUnknown> value;
    if (Succeeded(named->GetValue(i, value.Put())) && value)
      if (auto variant = value.As<IVariant>()) variant->GetInteger(&choice.value);
    choices.push_back(choice);
  }
  return choices;
}

// An effect answers a request for IUIPropInterrogate with its IUIPropInterrogateEx (and refuses
// one for the extended identity itself), so the interface in hand is the extended one.
IUIPropInterrogateEx* Extended(IUIPropInterrogate* properties) {
  return static_cast<IUIPropInterrogateEx*>(properties);
}

// A value that does not fit 32 bits: doubles and texts, handed out as objects.
ComPtr<IUnknown> InquireObject(IUIPropInterrogate* properties, int id) {
  ComPtr<IUnknown> value;
  if (Failed(Extended(properties)->InquireEx(id, value.Put()))) return {};
  return value;
}

std::optional<PropertyValue> ReadCurrent(IUIPropInterrogate* properties, const Property& property) {
  int raw = 0;
  switch (property.kind) {
    case kPropUInt8:
    case kPropInt16:
    case kPropInt32:
      if (Failed(properties->Inquire(property.id, &raw))) return std::nullopt;
      return static_cast<long>(raw);
    case kPropFloat:
      if (Failed(properties->Inquire(property.id, &raw))) return std::nullopt;
      return static_cast<double>(BitsFloat(raw));
    case kPropDouble: {
      double number = 0;
      auto variant = InquireObject(properties, property.id).As<IVariant>();
      if (!variant || Failed(variant->GetDouble(&number))) return std::nullopt;
      return number;
    }
    case kPropString: {
      auto text = InquireObject(properties, property.id).As<IString>();
      if (!text) return std::nullopt;
      return Utf8FromWide(TextOf(text.Get()));
    }
    default:
      return std::nullopt;
  }
}

std::string Lookup(const Host& host, IStringTable* table, int key) {
  int index = 0;
  ComPtr<IString> text;
  if (table == nullptr ||
      Failed(table->Find(host.String(WideFromUtf8(std::to_string(key))).Get(), &index)) ||
      Failed(table->GetText(index, text.Put())))
    return {};
  return Utf8FromWide(TextOf(text.Get()));
}

// What a value shows as in a message when it was given typed rather than as text.
std::string PlainText(const PropertyValue& value) {
  if (const long* integer = std::get_if<long>(&value)) return std::to_string(*integer);
  if (const double* number = std::get_if<double>(&value)) return Number(*number);
  return std::get<std::string>(value);
}

}  // namespace

std::vector<Property> TransitionSettings::Properties() const {
  std::vector<Property> list;
  int count = 0;
  if (!properties_ || Failed(properties_->Inquire(UIPROP_ALL, &count)) || count <= 0) return list;
  int lowest = 0, highest = -1;
  if (Failed(properties_->ParameterRange(UIPROP_ALL, &lowest, &highest))) return list;
  // Ids are sparse: walk the span between the lowest and highest and keep those that answer.
  for (long id = lowest;
       id <= highest && static_cast<int>(list.size()) < count && id - lowest < 100000; ++id) {
    Property property;
    property.id = static_cast<int>(id);
    const HRESULT flags = properties_->Inquire(property.id, nullptr);
    if (Failed(flags)) continue;  // Inquire answers the flags word on success
    property.flags = static_cast<unsigned>(flags);
    property.kind = static_cast<int>(property.flags & kPropKindMask);
    property.name = Lookup(*host_, texts_.Get(), property.id);
    ComPtr<IUnknown> choices;
    if (Succeeded(properties_->ParameterEnumeration(property.id, choices.Put())) && choices) {
      property.choices = ReadChoices(choices.Get());
    } else if (Succeeded(properties_->ParameterRange(property.id, &property.minimum,
                                                     &property.maximum))) {
      // A range of 0..0 is the table's way of saying "no range"; booleans have 0..1.
      property.hasRange = property.minimum != 0 || property.maximum != 0;
    }
    property.type = TypeOf(property);
    property.current = ReadCurrent(properties_.Get(), property);
    list.push_back(std::move(property));
  }
  return list;
}

std::string DescribeConstraint(const Property& property) {
  static const char* const kKinds[] = {"none",     "8-bit integer", "16-bit integer", "integer",
                                       "float",    "double",        "string",         "object",
                                       "constant", "interface"};
  std::string text = property.kind >= 0 && property.kind < 10
                         ? kKinds[property.kind]
                         : "kind " + std::to_string(property.kind);
  if (IsBoolean(property)) text = "boolean";
  if (!property.choices.empty()) {
    text = "one of ";
    for (std::size_t i = 0; i < property.choices.size(); ++i) {
      if (i > 0) text += ", ";
      const PropertyChoice& choice = property.choices[i];
      text += (choice.text.empty() ? "" : choice.text + "=") + std::to_string(choice.value);
    }
  } else if (property.hasRange) {
    text.append(" ").append(std::to_string(property.minimum)).append("..");
    text.append(std::to_string(property.maximum));
  }
  return text;
}

std::string FormatValue(const Property& property, const PropertyValue& value) {
  if (const long* integer = std::get_if<long>(&value)) {
    for (const PropertyChoice& choice : property.choices)
      if (choice.value == *integer)
        return choice.text.empty() ? std::to_string(*integer) : choice.text;
    return std::to_string(*integer);
  }
  if (const double* number = std::get_if<double>(&value)) return Number(*number);
  return "\"" + std::get<std::string>(value) + "\"";
}

SettingsError TransitionSettings::ValueError(SettingsErrorKind kind, const Property& property,
                                             std::string_view text, std::string detail) const {
  SettingsError error = Error(kind, "bad value '" + std::string(text) + "' for " + name_ + " " +
                                        property.Shown() + ": " + detail);
  error.property = property.Shown();
  error.value = std::string(text);
  error.detail = std::move(detail);
  return error;
}

SettingsResult<PropertyValue> TransitionSettings::Parse(const Property& property,
                                                        std::string_view text) const {
  if (IsIntegerKind(property.kind)) {
    long value = 0;
    bool found = false;
    const std::string folded = FoldedName(text);
    for (const PropertyChoice& choice : property.choices)
      if (!choice.text.empty() && FoldedName(choice.text) == folded) {
        value = choice.value;
        found = true;
      }
    if (!found && IsBoolean(property)) {
      if (folded == "true" || folded == "yes" || folded == "on") value = 1, found = true;
      if (folded == "false" || folded == "no" || folded == "off") value = 0, found = true;
    }
    if (!found && !ParseInteger(text, value))
      return ValueError(
          property.choices.empty() ? SettingsErrorKind::kWrongType : SettingsErrorKind::kNotAChoice,
          property, text, "expected " + DescribeConstraint(property));
    return Checked(property, value, text);
  }
  if (property.kind == kPropFloat || property.kind == kPropDouble) {
    double value = 0;
    if (!ParseNumber(text, value))
      return ValueError(SettingsErrorKind::kWrongType, property, text, "expected a number");
    return Checked(property, value, text);
  }
  // A text, or a kind that takes no value, which Check refuses.
  return Checked(property, std::string(text), text);
}

SettingsResult<PropertyValue> TransitionSettings::Checked(const Property& property,
                                                          PropertyValue value,
                                                          std::string_view text) const {
  if (auto error = Check(property, value, text)) return std::move(*error);
  return value;
}

std::optional<SettingsError> TransitionSettings::Check(const Property& property,
                                                       const PropertyValue& given,
                                                       std::string_view text) const {
  const std::string expected = "expected " + DescribeConstraint(property);
  if (IsIntegerKind(property.kind)) {
    const long* value = std::get_if<long>(&given);
    if (value == nullptr)
      return ValueError(SettingsErrorKind::kWrongType, property, text, expected);
    if (!property.choices.empty()) {
      bool listed = false;
      for (const PropertyChoice& choice : property.choices)
        listed = listed || choice.value == *value;
      if (!listed) return ValueError(SettingsErrorKind::kNotAChoice, property, text, expected);
    } else if (property.hasRange && (*value < property.minimum || *value > property.maximum)) {
      return ValueError(SettingsErrorKind::kOutOfRange, property, text, expected);
    }
    // What the kind can hold, whatever the range says.
    const long lowest = property.kind == kPropUInt8   ? 0
                        : property.kind == kPropInt16 ? INT16_MIN
                                                      : INT32_MIN;
    const long highest = property.kind == kPropUInt8   ? UINT8_MAX
                         : property.kind == kPropInt16 ? INT16_MAX
                                                       : INT32_MAX;
    if (*value < lowest || *value > highest)
      return ValueError(SettingsErrorKind::kOutOfRange, property, text,
                        "out of the " + DescribeConstraint(property) + " range");
    return std::nullopt;
  }
  if (property.kind == kPropFloat || property.kind == kPropDouble) {
    const double* value = std::get_if<double>(&given);
    if (value == nullptr || !std::isfinite(*value))
      return ValueError(SettingsErrorKind::kWrongType, property, text, "expected a number");
    if (property.hasRange && (*value < property.minimum || *value > property.maximum))
      return ValueError(SettingsErrorKind::kOutOfRange, property, text, expected);
    // Both kinds travel as a float, whatever the range says.
    if (std::fabs(*value) > std::numeric_limits<float>::max())
      return ValueError(SettingsErrorKind::kOutOfRange, property, text, "out of the float range");
    return std::nullopt;
  }
  if (property.kind == kPropString) {
    if (!std::holds_alternative<std::string>(given))
      return ValueError(SettingsErrorKind::kWrongType, property, text, "expected a text");
    return std::nullopt;
  }
  return ValueError(SettingsErrorKind::kNotSettable, property, text,
                    DescribeConstraint(property) + " properties take no value from text");
}

std::optional<SettingsError> TransitionSettings::Apply(const Property& property,
                                                       const PropertyValue& value) const {
  if (!properties_) return Error(SettingsErrorKind::kNoSettings, name_ + " has no settings");
  const std::string text = PlainText(value);
  if (auto error = Check(property, value, text)) return error;
  return Give(property, value, text);
}

std::optional<SettingsError> TransitionSettings::Give(const Property& property,
                                                      const PropertyValue& value,
                                                      std::string_view text) const {
  const auto refused = [&] {
    return ValueError(SettingsErrorKind::kRefused, property, text, "the effect refused it");
  };
  if (property.kind == kPropString) {
    const auto string = host_->String(WideFromUtf8(std::get<std::string>(value)));
    if (Failed(Extended(properties_.Get())->ControlEx(property.id, string.Get()))) return refused();
    return std::nullopt;
  }
  // Floats and doubles both take a single-precision bit pattern through Control (a double is
  // widened back).
  const int raw = IsIntegerKind(property.kind)
                      ? static_cast<int>(std::get<long>(value))
                      : FloatBits(static_cast<float>(std::get<double>(value)));
  if (Failed(properties_->Control(property.id, raw))) return refused();
  return std::nullopt;
}

}  // namespace kelo
