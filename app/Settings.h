// The settings of transitions, for every front end (the command line, a property page, a timeline
// reader, editor plug-ins): finding and making an effect by name, listing its properties as the
// effect itself describes them (IUIPropInterrogate and the host's string tables), checking and
// applying values, and loading and saving settings files through the effect's own persistence.
// Nothing here prints or exits, and a user's mistake is a returned SettingsError, never a throw:
// each front end words it and decides what follows. Only a host that cannot make strings throws,
// as the Host itself does.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "app/Host.h"
#include "sdk/Properties.h"
#include "sdk/Storage.h"

namespace kelo {

enum class SettingsErrorKind {
  kUnknownTransition,  // no transition is registered under the name, whatever its case or suffix
  kNotCreated,         // the transition is registered but the host made no effect
  kNoSettings,         // the effect has no properties (or no persistence, for files)
  kUnknownProperty,    // no property has that name or id
  kWrongType,          // text where a number is wanted, or a value of another type
  kNotAChoice,         // neither the text nor the value of one of the property's choices
  kOutOfRange,         // outside the property's range or what its kind can hold
  kNotSettable,        // a kind that takes no value from outside (object, interface, ...)
  kRefused,            // the effect refused the value, or failed to load or save
  kHostMissing,        // the host lacks a component the operation needs
  kFileUnreadable,     // the settings file is missing, a folder, too large or cannot be read
  kFileMalformed,      // not well-formed XML, nested too deep, a document type, another root
  kFileUnwritable,     // the settings file cannot be written (the message says why)
};

// Why an operation did nothing. `message` is one line for people; the other fields let a front end
// word it its own way.
struct SettingsError {
  SettingsError() = default;
  SettingsError(SettingsErrorKind kind, std::string message, std::string transition = {})
      : kind(kind), message(std::move(message)), transition(std::move(transition)) {}

  SettingsErrorKind kind = SettingsErrorKind::kRefused;
  std::string message;
  std::string transition;  // the transition concerned, when there is one
  std::string property;    // the property as shown: its name, or its id when it has none
  std::string value;       // the value refused, as given
  std::string detail;      // why the value was refused ("expected one of Top=0, Right=1")
  std::filesystem::path file;
  std::vector<std::string> nearest;  // known names close to the one asked for, best first
  std::vector<std::string> known;    // every name there is to choose from
};

// A value or the error that stands in its place.
template <class T>
class SettingsResult {
 public:
  SettingsResult(T value) : value_(std::move(value)) {}
  SettingsResult(SettingsError error) : error_(std::move(error)) {}
  explicit operator bool() const { return value_.has_value(); }
  T& operator*() { return *value_; }
  const T& operator*() const { return *value_; }
  T* operator->() { return &*value_; }
  const T* operator->() const { return &*value_; }
  const SettingsError& Error() const { return error_; }

 private:
  std::optional<T> value_;
  SettingsError error_;
};

// What a front end offers for a property. Integer kinds with choices are choices, with the boolean
// sub-kind booleans; colours are packed integers; float and double travel as float bit patterns.
enum class PropertyType { kInteger, kChoice, kBoolean, kColour, kFloat, kDouble, kText, kOther };

struct PropertyChoice {
  std::string text;  // from the host's string table; may be empty
  int value = 0;
};

// A property's value: an integer (integers, choices, booleans, colours), a number (float,
// double) or a text.
using PropertyValue = std::variant<long, double, std::string>;

struct Property {
  int id = 0;
  unsigned flags = 0;  // the flags word Inquire answers (sdk/Properties.h)
  int kind = 0;        // PropertyKind: flags & kPropKindMask
  PropertyType type = PropertyType::kOther;
  std::string name;  // from the string table named after the effect's component, or empty
  bool hasRange = false;
  int minimum = 0, maximum = 0;
  std::vector<PropertyChoice> choices;
  std::optional<PropertyValue> current;  // empty when the effect does not say

  // The name, or the id for a property without one.
  std::string Shown() const { return name.empty() ? std::to_string(id) : name; }
};

// A property's type and range or choices, for people: "one of Top=0, Right=1", "integer 0..4".
std::string DescribeConstraint(const Property& property);
// A value as people read it: a choice's text, a number, or a quoted text.
std::string FormatValue(const Property& property, const PropertyValue& value);

// The registered transition a user's name means: the exact name, the same but for case, or the
// name with "Transition" appended. kUnknownTransition with the nearest names otherwise.
SettingsResult<std::wstring> ResolveTransition(const Host& host, std::string_view name);

// One effect and its settings. Holds a reference to the effect, and the host must outlive it.
class TransitionSettings {
 public:
  // A new effect of the transition `name` means (see ResolveTransition).
  static SettingsResult<TransitionSettings> Create(const Host& host, std::string_view name);
  // The settings of an effect made elsewhere; `component` is the name it was made under, whose
  // string table names the properties when the host cannot tell the effect's own component.
  TransitionSettings(const Host& host, ComPtr<IUnknown> effect, std::wstring component);

  const std::wstring& Component() const { return component_; }
  const std::string& Name() const { return name_; }
  IUnknown* Effect() const { return effect_.Get(); }
  // The effect as a transition (empty when it is none).
  ComPtr<IKeloTransition> Transition() const { return effect_.As<IKeloTransition>(); }

  // Whether the effect answers IUIPropInterrogate at all (it may still list no property).
  bool HasProperties() const { return static_cast<bool>(properties_); }
  // Every property with its current value, in id order; empty without IUIPropInterrogate.
  std::vector<Property> Properties() const;
  // The property with that id ("3") or name (case, '_' and ' ' ignored).
  SettingsResult<Property> Find(std::string_view nameOrId) const;

  // The value a text means for a property: a choice's text or value, true/yes/on or
  // false/no/off for a boolean, an integer, a number or a text; checked as Apply checks it.
  SettingsResult<PropertyValue> Parse(const Property& property, std::string_view text) const;
  // Checks a value against the property's type, choices, range and kind, and gives it to the
  // effect.
  std::optional<SettingsError> Apply(const Property& property, const PropertyValue& value) const;
  // Find, Parse and Apply in one.
  std::optional<SettingsError> Set(std::string_view nameOrId, std::string_view text) const;

  // Loads the effect's settings from an XML settings file (app/SettingsFile.h: its limits) through
  // its own IDataPersist. Each setting is checked as Set checks it, and nothing is loaded unless
  // every one passes; the error names the file. An effect without IUIPropInterrogate gets the
  // file's settings unchecked.
  std::optional<SettingsError> Load(const std::filesystem::path& file) const;
  // Saves them to an XML settings file, written under a temporary name and renamed when
  // complete, so a failure leaves any earlier file as it was.
  std::optional<SettingsError> Save(const std::filesystem::path& file) const;

 private:
  SettingsError Error(SettingsErrorKind kind, std::string message) const;
  SettingsError FileError(SettingsErrorKind kind, std::string message,
                          const std::filesystem::path& file) const;
  SettingsError ValueError(SettingsErrorKind kind, const Property& property, std::string_view text,
                           std::string detail) const;
  std::optional<SettingsError> Check(const Property& property, const PropertyValue& value,
                                     std::string_view text) const;
  // The value, once Check accepts it.
  SettingsResult<PropertyValue> Checked(const Property& property, PropertyValue value,
                                        std::string_view text) const;
  // Hands a checked value to the effect.
  std::optional<SettingsError> Give(const Property& property, const PropertyValue& value,
                                    std::string_view text) const;

  const Host* host_;
  ComPtr<IUnknown> effect_;
  std::wstring component_;
  std::string name_;
  ComPtr<IUIPropInterrogate> properties_;
  ComPtr<IStringTable> texts_;  // the table naming the properties, when there is one
};

}  // namespace kelo
