// Reading and changing an effect's settings through the property interrogation interface.
#pragma once

#include <string>
#include <vector>

#include "app/Host.h"

namespace kelo {

struct Choice {
  std::string text;
  int value = 0;
};

struct PropertyInfo {
  int id = 0;
  unsigned flags = 0;
  int kind = 0;
  std::string name;  // from the host's string table, or empty
  bool hasRange = false;
  int minimum = 0, maximum = 0;
  std::vector<Choice> choices;
  std::string value;  // the current value as text, or empty when it cannot be read
};

// The properties an effect offers, or none when it does not answer IUIPropInterrogate.
// `component` is the name it was created under (used to find the texts when the host
// cannot tell the effect's own component).
std::vector<PropertyInfo> ReadProperties(const Host& host, IUnknown* effect,
                                         std::wstring_view component);

// How a property's value is described for people: its kind and range or choices.
std::string DescribeConstraint(const PropertyInfo& property);

// Applies one "Name=Value" setting: the property by id or name (case and '_'/' ' ignored), the
// value by choice text or number, checked against the range or choices. Throws usage errors.
void ApplySetting(const Host& host, IUnknown* effect, std::wstring_view component,
                  const std::string& transitionName, const std::string& assignment);

}  // namespace kelo
