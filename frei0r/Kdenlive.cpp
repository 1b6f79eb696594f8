// Writes a Kdenlive transition description, kelo_<short>.xml, for every transition the host
// lists, from the same parameters the plug-ins offer: an animated progress going from 0 to 1
// over the transition, choices as lists, ranged numbers with their range, flags as switches.
//
//   kelo_frei0r_kdenlive OUTDIR   (the modules are found beside the program's folder)
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "app/Host.h"
#include "app/Text.h"
#include "frei0r/Parameters.h"
#include "sdk/Text.h"

namespace {

using namespace kelo;
using namespace kelo::frei0r;

std::string Escaped(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out.push_back(c);
    }
  }
  return out;
}

std::string Attribute(std::string_view name, std::string_view value) {
  // Appended in steps: GCC 12 warns falsely (-Wrestrict) about " " + name + ...
  std::string text(1, ' ');
  text.append(name).append("=\"").append(Escaped(value)).push_back('"');
  return text;
}

std::string ParameterXml(const Parameter& parameter) {
  const Property& property = parameter.property;
  const std::string value =
      property.current ? ReadBackText(property, *property.current) : std::string();
  std::string head = "  <parameter" + Attribute("name", parameter.name);
  std::string body;
  switch (parameter.mapping) {
    case ParamMapping::kProgress:
      head += Attribute("type", "animated") + Attribute("default", "0=0;-1=1") +
              Attribute("min", "0") + Attribute("max", "1") + Attribute("factor", "1") +
              Attribute("decimals", "3");
      break;
    case ParamMapping::kChoice: {
      std::string list, shown;
      for (const PropertyChoice& choice : property.choices) {
        const std::string text = choice.text.empty() ? std::to_string(choice.value) : choice.text;
        list += (list.empty() ? "" : ";") + text;
        shown += (shown.empty() ? "" : ",") + text;
      }
      head +=
          Attribute("type", "list") + Attribute("default", value) + Attribute("paramlist", list);
      body = "    <paramlistdisplay>" + Escaped(shown) + "</paramlistdisplay>\n";
      break;
    }
    case ParamMapping::kRanged:
      head += Attribute("type", "constant") +
              Attribute("default",
                        property.current ? ExactNumber(ToUnit(property, *property.current)) : "0") +
              Attribute("min", "0") + Attribute("max", "1") + Attribute("factor", "1") +
              Attribute("decimals", "3");
      break;
    case ParamMapping::kBoolean:
      head += Attribute("type", "bool") + Attribute("default", value == "0" ? "0" : "1");
      break;
    case ParamMapping::kText:
      // A free value: a line to type in, offering the effect's own starting value.
      head += Attribute("type", "keywords") + Attribute("default", value) +
              Attribute("keywords", value) + Attribute("keywordsdisplay", value);
      break;
  }
  return head + ">\n    <name>" + Escaped(parameter.name) + "</name>\n" + body + "    <comment>" +
         Escaped(parameter.explanation) + "</comment>\n  </parameter>\n";
}

std::string TransitionXml(const std::string& component, const std::vector<Parameter>& parameters) {
  const std::string service = "frei0r.kelo_" + ShortName(component);
  std::string xml = "<?xml version=\"1.0\"?>\n<!DOCTYPE kpartgui>\n<transition" +
                    Attribute("tag", service) + Attribute("id", service) + ">\n";
  xml += "  <name>Kelo " + Escaped(ShortName(component)) + "</name>\n";
  xml += "  <description>" + Escaped(DescribePlugin(component, parameters)) + "</description>\n";
  xml += "  <author>Kelo</author>\n";
  for (const Parameter& parameter : parameters) xml += ParameterXml(parameter);
  return xml + "</transition>\n";
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kelo_frei0r_kdenlive OUTDIR\n");
    return 2;
  }
  const std::filesystem::path folder = argv[1];
  std::filesystem::create_directories(folder);
  Host host;
  const auto names = host.TransitionNames();
  if (names.empty()) throw std::runtime_error("the host lists no transitions");
  for (const std::wstring& name : names) {
    const std::string component = kelo_text::Utf8FromWide(name);
    auto effect = host.CreateTransition(name);
    if (!effect) throw std::runtime_error("the host could not create " + component);
    const TransitionSettings settings(host, ComPtr<IUnknown>::Share(effect.Get()), name);
    const std::string xml = TransitionXml(component, ParametersOf(settings.Properties()));
    const auto path = folder / ("kelo_" + ShortName(component) + ".xml");
    std::string hidden = path.filename().string();  // in steps: GCC 12's false -Wrestrict
    hidden.insert(hidden.begin(), '.');
    hidden += ".tmp";
    const auto temporary = folder / hidden;
    std::ofstream out(temporary, std::ios::trunc);
    out << xml;
    if (!out.flush()) throw std::runtime_error("cannot write " + temporary.string());
    out.close();
    std::filesystem::rename(temporary, path);
  }
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "kelo_frei0r_kdenlive: %s\n", error.what());
  return 1;
}
