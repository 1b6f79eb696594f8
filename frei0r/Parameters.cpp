#include "frei0r/Parameters.h"

#include <cmath>

#include "app/Text.h"

namespace kelo::frei0r {

namespace {

// A property's name as a parameter name. A nameless property is named by its id, spelled out:
// MLT also accepts a parameter's index as its name, so a bare number would be ambiguous.
std::string ParameterName(const Property& property) {
  return property.name.empty() ? "property " + std::to_string(property.id) : property.name;
}

std::string ChoiceList(const Property& property) {
  std::string text;
  for (std::size_t i = 0; i < property.choices.size(); ++i) {
    const PropertyChoice& choice = property.choices[i];
    text += i == 0 ? "" : ", ";
    text += choice.text.empty() ? std::to_string(choice.value) : choice.text;
  }
  return text;
}

std::string Explain(const Parameter& parameter) {
  const Property& property = parameter.property;
  switch (parameter.mapping) {
    case ParamMapping::kProgress:
      return "Progress of the transition: 0 shows the first clip, 1 the second (clamped to 0..1)";
    case ParamMapping::kChoice:
      return "One of " + ChoiceList(property) +
             " (by name or by its number: " + DescribeConstraint(property).substr(7) + ")";
    case ParamMapping::kRanged:
      return "0..1 mapped linearly onto " + std::to_string(property.minimum) + ".." +
             std::to_string(property.maximum) + " (0 is " + std::to_string(property.minimum) +
             ", 1 is " + std::to_string(property.maximum) + ")";
    case ParamMapping::kBoolean:
      return "On or off";
    case ParamMapping::kText:
      break;
  }
  if (property.type == PropertyType::kText) return "A text";
  return "A number (" + DescribeConstraint(property) + ", no fixed range)";
}

}  // namespace

std::vector<Parameter> ParametersOf(const std::vector<Property>& properties) {
  std::vector<Parameter> parameters;
  Parameter progress{.name = kProgressName,
                     .type = ParamType::kDouble,
                     .mapping = ParamMapping::kProgress,
                     .explanation = {},
                     .property = {}};
  progress.explanation = Explain(progress);
  parameters.push_back(std::move(progress));
  for (const Property& property : properties) {
    Parameter parameter{.name = ParameterName(property),
                        .type = ParamType::kString,
                        .mapping = ParamMapping::kText,
                        .explanation = {},
                        .property = property};
    switch (property.type) {
      case PropertyType::kChoice:
        parameter.type = ParamType::kString;
        parameter.mapping = ParamMapping::kChoice;
        break;
      case PropertyType::kBoolean:
        parameter.type = ParamType::kBool;
        parameter.mapping = ParamMapping::kBoolean;
        break;
      case PropertyType::kInteger:
      case PropertyType::kFloat:
      case PropertyType::kDouble:
        parameter.type = property.hasRange ? ParamType::kDouble : ParamType::kString;
        parameter.mapping = property.hasRange ? ParamMapping::kRanged : ParamMapping::kText;
        break;
      case PropertyType::kColour:
      case PropertyType::kText:
        parameter.type = ParamType::kString;
        parameter.mapping = ParamMapping::kText;
        break;
      case PropertyType::kOther:
        continue;  // objects and interfaces take no value from outside
    }
    parameter.explanation = Explain(parameter);
    parameters.push_back(std::move(parameter));
  }
  return parameters;
}

double ClampUnit(double value) {
  if (std::isnan(value) || value < 0) return 0;
  return value > 1 ? 1 : value;
}

PropertyValue FromUnit(const Property& property, double unit) {
  const double lowest = property.minimum, highest = property.maximum;
  const double value = lowest + ClampUnit(unit) * (highest - lowest);
  if (property.type == PropertyType::kInteger || property.type == PropertyType::kBoolean)
    return static_cast<long>(std::lround(value));
  return value;
}

double ToUnit(const Property& property, const PropertyValue& value) {
  double number = 0;
  if (const long* integer = std::get_if<long>(&value)) number = static_cast<double>(*integer);
  if (const double* real = std::get_if<double>(&value)) number = *real;
  if (property.maximum == property.minimum) return 0;
  return ClampUnit((number - property.minimum) / (property.maximum - property.minimum));
}

std::string ReadBackText(const Property& property, const PropertyValue& value) {
  if (const std::string* text = std::get_if<std::string>(&value)) return *text;
  if (const double* real = std::get_if<double>(&value)) return ExactNumber(*real);
  return FormatValue(property, value);  // a choice's text, or the integer
}

std::string DescribePlugin(const std::string& component, const std::vector<Parameter>& parameters) {
  std::string text = "Kelo " + component;
  if (parameters.size() <= 1) return text + ", no settings";
  text += "; settings:";
  for (std::size_t i = 1; i < parameters.size(); ++i) {
    const Parameter& parameter = parameters[i];
    text += (i == 1 ? " " : "; ") + parameter.name;
    if (parameter.mapping == ParamMapping::kChoice)
      text += " (" + ChoiceList(parameter.property) + ")";
  }
  return text;
}

}  // namespace kelo::frei0r
