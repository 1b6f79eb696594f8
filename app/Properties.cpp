#include "app/Properties.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/Errors.h"
#include "app/Text.h"
#include "sdk/Properties.h"
#include "sdk/Storage.h"

namespace kelo {

namespace {

// The texts of a property come from a string table keyed by numbers: the table named after
// the effect's component holds the property names under their ids.
class Texts {
 public:
  Texts(const Host& host, IUnknown* effect, std::wstring_view component) : host_(host) {
    std::vector<std::wstring> tables;
    if (auto describer = host.Create<IComponentString>(L"ComponentString")) {
      ComPtr<IString> own;
      if (Succeeded(describer->Attach(effect)) &&
          Succeeded(describer->GetText(kComponentName, own.Put())))
        if (auto text = HostText(own.Get()); !text.empty()) tables.push_back(text);
    }
    tables.emplace_back(component);
    for (const auto& name : tables) {
      auto table = host.Create<IStringTable>(L"StringTable");
      if (table && Succeeded(table->Open(host.String(name).Get()))) {
        table_ = table;
        return;
      }
    }
  }
  std::string Lookup(int key) const {
    if (!table_) return {};
    int index = 0;
    ComPtr<IString> text;
    if (Failed(table_->Find(host_.String(FromUtf8(std::to_string(key))).Get(), &index)) ||
        Failed(table_->GetText(index, text.Put())))
      return {};
    return ToUtf8(HostText(text.Get()));
  }

 private:
  const Host& host_;
  ComPtr<IStringTable> table_;
};

std::vector<Choice> ReadChoices(IUnknown* collection) {
  std::vector<Choice> choices;
  auto named = ComPtr<IUnknown>::Share(collection).As<INamedCollection>();
  int count = 0;
  if (!named || Failed(named->GetCount(&count))) return choices;
  for (int i = 0; i < count; ++i) {
    Choice choice{.text = {}, .value = i};
    ComPtr<IString> text;
    if (Succeeded(named->GetName(i, text.Put()))) choice.text = ToUtf8(HostText(text.Get()));
    ComPtr<IUnknown> value;
    if (Succeeded(named->GetValue(i, value.Put())) && value)
      if (auto variant = value.As<IVariant>()) variant->GetInteger(&choice.value);
    choices.push_back(choice);
  }
  return choices;
}

std::string ReadValue(IUIPropInterrogate* properties, const PropertyInfo& property) {
  int raw = 0;
  switch (property.kind) {
    case kPropUInt8:
    case kPropInt16:
    case kPropInt32:
      if (Failed(properties->Inquire(property.id, &raw))) return {};
      for (const Choice& choice : property.choices)
        if (choice.value == raw) return choice.text.empty() ? std::to_string(raw) : choice.text;
      return std::to_string(raw);
    case kPropFloat: {
      if (Failed(properties->Inquire(property.id, &raw))) return {};
      float value;
      std::memcpy(&value, &raw, sizeof value);
      char text[32];
      std::snprintf(text, sizeof text, "%g", value);
      return text;
    }
    case kPropDouble: {
      auto extended = ComPtr<IUIPropInterrogate>::Share(properties).As<IUIPropInterrogateEx>();
      ComPtr<IUnknown> value;
      double number = 0;
      if (!extended || Failed(extended->InquireEx(property.id, value.Put())) || !value) return {};
      auto variant = value.As<IVariant>();
      if (!variant || Failed(variant->GetDouble(&number))) return {};
      char text[32];
      std::snprintf(text, sizeof text, "%g", number);
      return text;
    }
    case kPropString: {
      auto extended = ComPtr<IUIPropInterrogate>::Share(properties).As<IUIPropInterrogateEx>();
      ComPtr<IUnknown> value;
      if (!extended || Failed(extended->InquireEx(property.id, value.Put())) || !value) return {};
      auto string = value.As<IString>();
      if (!string) return {};
      std::string quoted = "\"";
      quoted.append(ToUtf8(HostText(string.Get()))).append("\"");
      return quoted;
    }
    default:
      return {};
  }
}

// Names match ignoring case and treating '_' and ' ' alike.
std::string Folded(std::string_view text) {
  std::string out;
  for (char c : text)
    out += c == '_' ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

bool ParseInteger(const std::string& text, long& value) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  value = std::strtol(text.c_str(), &end, 10);
  return errno == 0 && *end == '\0';
}

bool ParseNumber(const std::string& text, double& value) {
  if (text.empty()) return false;
  errno = 0;
  char* end = nullptr;
  value = std::strtod(text.c_str(), &end);
  return errno == 0 && *end == '\0' && std::isfinite(value);
}

}  // namespace

std::vector<PropertyInfo> ReadProperties(const Host& host, IUnknown* effect,
                                         std::wstring_view component) {
  std::vector<PropertyInfo> list;
  auto properties = ComPtr<IUnknown>::Share(effect).As<IUIPropInterrogate>();
  int count = 0;
  if (!properties || Failed(properties->Inquire(UIPROP_ALL, &count)) || count <= 0) return list;
  int lowest = 0, highest = -1;
  if (Failed(properties->ParameterRange(UIPROP_ALL, &lowest, &highest))) return list;
  const Texts texts(host, effect, component);
  // Ids are sparse: walk the span between the lowest and highest and keep those that answer.
  for (long id = lowest;
       id <= highest && static_cast<int>(list.size()) < count && id - lowest < 100000; ++id) {
    PropertyInfo property;
    property.id = static_cast<int>(id);
    const HRESULT flags = properties->Inquire(property.id, nullptr);
    if (Failed(flags)) continue;  // Inquire answers the flags word on success
    property.flags = static_cast<unsigned>(flags);
    property.kind = static_cast<int>(property.flags & kPropKindMask);
    property.name = texts.Lookup(property.id);
    ComPtr<IUnknown> choices;
    if (Succeeded(properties->ParameterEnumeration(property.id, choices.Put())) && choices) {
      property.choices = ReadChoices(choices.Get());
    } else if (Succeeded(
                   properties->ParameterRange(property.id, &property.minimum, &property.maximum))) {
      // A range of 0..0 is the table's way of saying "no range"; booleans have 0..1.
      property.hasRange = property.minimum != 0 || property.maximum != 0;
    }
    property.value = ReadValue(properties.Get(), property);
    list.push_back(std::move(property));
  }
  return list;
}

std::string DescribeConstraint(const PropertyInfo& property) {
  static const char* const kKinds[] = {"none",     "8-bit integer", "16-bit integer", "integer",
                                       "float",    "double",        "string",         "object",
                                       "constant", "interface"};
  std::string text =
      property.kind < 10 ? kKinds[property.kind] : "kind " + std::to_string(property.kind);
  if ((property.flags & kPropSubKindMask) == kPropBoolean) text = "boolean";
  if (!property.choices.empty()) {
    text = "one of ";
    for (std::size_t i = 0; i < property.choices.size(); ++i) {
      if (i > 0) text += ", ";
      const Choice& choice = property.choices[i];
      text += (choice.text.empty() ? "" : choice.text + "=") + std::to_string(choice.value);
    }
  } else if (property.hasRange) {
    text.append(" ").append(std::to_string(property.minimum)).append("..");
    text.append(std::to_string(property.maximum));
  }
  return text;
}

void ApplySetting(const Host& host, IUnknown* effect, std::wstring_view component,
                  const std::string& transitionName, const std::string& assignment) {
  const auto equals = assignment.find('=');
  if (equals == std::string::npos || equals == 0)
    throw AppError(kExitUsage,
                   "bad --set '" + assignment + "': expected NAME=VALUE, e.g. Direction=Left");
  const std::string key = assignment.substr(0, equals), text = assignment.substr(equals + 1);
  auto properties = ComPtr<IUnknown>::Share(effect).As<IUIPropInterrogate>();
  if (!properties) throw AppError(kExitUsage, transitionName + " has no settings");
  const auto list = ReadProperties(host, effect, component);

  const PropertyInfo* property = nullptr;
  long id = 0;
  for (const auto& candidate : list)
    if ((ParseInteger(key, id) && candidate.id == id) ||
        (!candidate.name.empty() && Folded(candidate.name) == Folded(key)))
      property = &candidate;
  if (property == nullptr) {
    std::vector<std::string> names;
    for (const auto& candidate : list)
      names.push_back(candidate.name.empty() ? std::to_string(candidate.id) : candidate.name);
    std::string message = transitionName + " has no setting '" + key + "'";
    auto nearest = NearestNames(key, names);
    if (!nearest.empty())
      message += "; did you mean " + JoinAlternatives(nearest) + "?";
    else if (!names.empty())
      message += "; it has " + JoinAlternatives(names);
    throw AppError(kExitUsage, message);
  }
  const std::string shown = property->name.empty() ? std::to_string(property->id) : property->name;
  auto bad = [&](const std::string& why) {
    throw AppError(kExitUsage,
                   "bad value '" + text + "' for " + transitionName + " " + shown + ": " + why);
  };

  int raw = 0;
  switch (property->kind) {
    case kPropUInt8:
    case kPropInt16:
    case kPropInt32: {
      long value = 0;
      bool found = false;
      for (const Choice& choice : property->choices)
        if (!choice.text.empty() && Folded(choice.text) == Folded(text)) {
          value = choice.value;
          found = true;
        }
      if (!found && (property->flags & kPropSubKindMask) == kPropBoolean) {
        const std::string word = Folded(text);
        if (word == "true" || word == "yes" || word == "on") value = 1, found = true;
        if (word == "false" || word == "no" || word == "off") value = 0, found = true;
      }
      if (!found && !ParseInteger(text, value)) bad("expected " + DescribeConstraint(*property));
      if (!property->choices.empty()) {
        bool listed = false;
        for (const Choice& choice : property->choices) listed = listed || choice.value == value;
        if (!listed) bad("expected " + DescribeConstraint(*property));
      } else if (property->hasRange && (value < property->minimum || value > property->maximum)) {
        bad("expected " + DescribeConstraint(*property));
      }
      const long lowest = property->kind == kPropUInt8   ? 0
                          : property->kind == kPropInt16 ? -32768
                                                         : INT32_MIN;
      const long highest = property->kind == kPropUInt8   ? 255
                           : property->kind == kPropInt16 ? 32767
                                                          : INT32_MAX;
      if (value < lowest || value > highest)
        bad("out of the " + DescribeConstraint(*property) + " range");
      raw = static_cast<int>(value);
      break;
    }
    case kPropFloat:
    case kPropDouble: {
      double value = 0;
      if (!ParseNumber(text, value)) bad("expected a number");
      if (property->hasRange && (value < property->minimum || value > property->maximum))
        bad("expected " + DescribeConstraint(*property));
      // Both take a single-precision bit pattern through Control (doubles are widened back).
      const float narrow = static_cast<float>(value);
      std::memcpy(&raw, &narrow, sizeof raw);
      break;
    }
    case kPropString: {
      auto extended = properties.As<IUIPropInterrogateEx>();
      if (!extended || Failed(extended->ControlEx(property->id, host.String(FromUtf8(text)).Get())))
        bad("the effect refused it");
      return;
    }
    default:
      bad("this setting cannot be set from the command line");
  }
  if (Failed(properties->Control(property->id, raw))) bad("the effect refused it");
}

}  // namespace kelo
