// Settings files read within their limits and parsed with expat, in one pass and linear time.
#include "app/SettingsFile.h"

#include <expat.h>

#include <cerrno>
#include <cstring>
#include <fstream>

namespace kelo {

namespace {

std::string Quoted(const std::filesystem::path& path) {
  std::string text = path.string();  // in steps: GCC 12 warns falsely (-Wrestrict) otherwise
  text.insert(text.begin(), '\'');
  text.push_back('\'');
  return text;
}

// The folder a file would be in, "." for a bare name.
std::filesystem::path FolderOf(const std::filesystem::path& file) {
  const auto folder = file.parent_path();
  return folder.empty() ? std::filesystem::path(".") : folder;
}

// Why the file cannot be read whole within the size limit, or nothing (and `bytes` then holds it).
std::optional<std::string> ReadBounded(const std::filesystem::path& file, std::string* bytes) {
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    if (!std::filesystem::is_directory(FolderOf(file), error))
      return "the folder " + Quoted(FolderOf(file)) + " does not exist";
    return std::string("no such file");
  }
  if (status.type() == std::filesystem::file_type::directory) return std::string("it is a folder");
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::string(std::strerror(errno));
  // Read one byte past the limit, so that a file that grows while read is still caught.
  bytes->resize(kMaxSettingsFileBytes + 1);
  in.read(bytes->data(), static_cast<std::streamsize>(bytes->size()));
  if (in.bad()) return std::string("it cannot be read");
  bytes->resize(static_cast<std::size_t>(in.gcount()));
  if (bytes->size() > kMaxSettingsFileBytes)
    return "it is larger than " + std::to_string(kMaxSettingsFileBytes >> 20) +
           " MiB, the limit for settings files";
  return std::nullopt;
}

// Collects the root's children from expat's events; a refusal stops the parser for good.
struct Collector {
  XML_Parser parser = nullptr;
  int depth = 0;
  std::vector<SettingsFileItem> items;
  std::string refusal;

  void Refuse(std::string why) {
    if (!refusal.empty()) return;
    refusal = std::move(why);
    XML_StopParser(parser, XML_FALSE);
  }
};

void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** /*attributes*/) {
  auto* collector = static_cast<Collector*>(data);
  if (!collector->refusal.empty()) return;
  const int depth = ++collector->depth;
  if (depth > kMaxSettingsDepth)
    return collector->Refuse("its elements nest more than " + std::to_string(kMaxSettingsDepth) +
                             " deep");
  if (depth == 1) {
    if (std::strcmp(name, kSettingsRoot) != 0)
      collector->Refuse("its root element is <" + std::string(name) + ">, not <" + kSettingsRoot +
                        ">");
  } else if (depth == 2) {
    collector->items.push_back({name, {}, false});
  } else {
    collector->items.back().holdsElements = true;
  }
}

void XMLCALL OnEnd(void* data, const XML_Char* /*name*/) {
  --static_cast<Collector*>(data)->depth;
}

void XMLCALL OnText(void* data, const XML_Char* text, int length) {
  auto* collector = static_cast<Collector*>(data);
  if (collector->refusal.empty() && collector->depth == 2)
    collector->items.back().text.append(text, static_cast<std::size_t>(length));
}

void XMLCALL OnDoctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
  static_cast<Collector*>(data)->Refuse(
      "it declares a document type, which settings files may not (no entities are expanded)");
}

}  // namespace

std::variant<std::vector<SettingsFileItem>, SettingsFileFault> ReadSettingsFile(
    const std::filesystem::path& file) {
  std::string bytes;
  if (auto problem = ReadBounded(file, &bytes)) return SettingsFileFault{true, *problem};

  Collector collector;
  collector.parser = XML_ParserCreate("UTF-8");
  if (collector.parser == nullptr) return SettingsFileFault{true, "out of memory"};
  XML_SetUserData(collector.parser, &collector);
  XML_SetElementHandler(collector.parser, OnStart, OnEnd);
  XML_SetCharacterDataHandler(collector.parser, OnText);
  XML_SetStartDoctypeDeclHandler(collector.parser, OnDoctype);
  XML_SetParamEntityParsing(collector.parser, XML_PARAM_ENTITY_PARSING_NEVER);
  const bool parsed = XML_Parse(collector.parser, bytes.data(), static_cast<int>(bytes.size()),
                                XML_TRUE) == XML_STATUS_OK;
  std::string reason = collector.refusal;
  if (reason.empty() && !parsed)
    reason = "not well-formed XML (line " +
             std::to_string(XML_GetCurrentLineNumber(collector.parser)) + ": " +
             XML_ErrorString(XML_GetErrorCode(collector.parser)) + ")";
  XML_ParserFree(collector.parser);
  if (!reason.empty()) return SettingsFileFault{false, reason};
  return std::move(collector.items);
}

std::optional<std::string> SettingsFileUnwritable(const std::filesystem::path& file) {
  std::error_code error;
  if (file.empty() || file.filename().empty()) return std::string("it names no file");
  if (!std::filesystem::is_directory(FolderOf(file), error))
    return "the folder " + Quoted(FolderOf(file)) + " does not exist";
  if (std::filesystem::is_directory(file, error)) return std::string("it is a folder");
  return std::nullopt;
}

}  // namespace kelo
