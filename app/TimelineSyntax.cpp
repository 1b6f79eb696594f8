// JSON and TOML timeline files into the tree of app/TimelineTree.h: nlohmann's SAX reader, read
// through an iterator that counts characters so that each event knows its line, and toml++, which
// keeps source positions.
#include <cerrno>
#include <iterator>
#include <set>

#include "app/Errors.h"
#include "app/Text.h"
#include "app/Timeline.h"
#include "app/TimelineTree.h"

#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

#include <nlohmann/json.hpp>

namespace kelo::timeline {

namespace {

// ---- JSON: nlohmann's SAX events build the tree; the iterator it reads through counts the
// characters read, so each event knows its line.

class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator(const char* at, const char** furthest) : at_(at), furthest_(furthest) {}
  reference operator*() const { return *at_; }
  CountingIterator& operator++() {
    *furthest_ = ++at_;
    return *this;
  }
  CountingIterator operator++(int) {
    CountingIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }
  bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  const char** furthest_;
};

class JsonTree : public nlohmann::json_sax<nlohmann::json> {
 public:
  JsonTree(std::string_view text, const std::filesystem::path& file)
      : text_(text), file_(file), read_(text.data()) {}

  Node Parse() {
    const CountingIterator first(text_.data(), &read_), last(text_.data() + text_.size(), &read_);
    if (!nlohmann::json::sax_parse(first, last, this) && !error_.empty())
      Refuse(error_code_, file_, error_line_, "", error_);
    return std::move(root_);
  }

  bool null() override { return Add(Scalar(Node::Kind::kNull, LineRead())); }
  bool boolean(bool value) override {
    Node node = Scalar(Node::Kind::kBoolean, LineRead());
    node.boolean = value;
    return Add(std::move(node));
  }
  bool number_integer(number_integer_t value) override {
    return Integer(static_cast<double>(value), std::to_string(value));
  }
  bool number_unsigned(number_unsigned_t value) override {
    return Integer(static_cast<double>(value), std::to_string(value));
  }
  bool number_float(number_float_t value, const string_t& written) override {
    // The lexer has read one character past a number.
    Node node = Scalar(Node::Kind::kNumber, LineAt(Read() - 1));
    node.number = value;
    node.text = written;
    return Add(std::move(node));
  }
  bool string(string_t& value) override {
    Node node = Scalar(Node::Kind::kString, LineRead());
    node.text = std::move(value);
    return Add(std::move(node));
  }
  bool binary(binary_t&) override { return Add(Scalar(Node::Kind::kOther, LineRead())); }
  bool start_object(std::size_t) override { return Open(Node::Kind::kObject); }
  bool start_array(std::size_t) override { return Open(Node::Kind::kArray); }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }
  bool key(string_t& value) override {
    key_line_ = LineRead();
    if (!keys_.back().insert(value).second)
      return Stop(kExitUsage, key_line_, "field '" + value + "' is given twice");
    key_ = std::move(value);
    return true;
  }
  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::detail::exception& error) override {
    // nlohmann's message: "[json.exception.parse_error.101] parse error at line 3, column 5:
    // syntax error ...": the line is ours, the rest is kept.
    std::string what = error.what();
    if (const auto column = what.find("column "); column != std::string::npos)
      if (const auto colon = what.find(": ", column); colon != std::string::npos)
        what = what.substr(colon + 2);
    Stop(kExitInput, LineAt(position > 0 ? position - 1 : 0), "not valid JSON: " + what);
    return false;
  }

 private:
  std::size_t Read() const { return static_cast<std::size_t>(read_ - text_.data()); }
  // The line of the character at `offset`.
  int LineAt(std::size_t offset) {
    offset = std::min(offset, text_.size());
    // Lines are counted onwards from the last place asked, since events come in order.
    if (offset < counted_) counted_ = 0, line_ = 1;
    for (; counted_ < offset; ++counted_) line_ += text_[counted_] == '\n';
    return line_;
  }
  // The line of the last character read.
  int LineRead() { return LineAt(Read() > 0 ? Read() - 1 : 0); }

  static Node Scalar(Node::Kind kind, int line) {
    Node node;
    node.kind = kind;
    node.line = line;
    return node;
  }
  bool Integer(double value, std::string written) {
    Node node = Scalar(Node::Kind::kInteger, LineAt(Read() - 1));
    node.number = value;
    node.text = std::move(written);
    return Add(std::move(node));
  }
  bool Stop(int code, int line, std::string message) {
    if (error_.empty()) error_code_ = code, error_line_ = line, error_ = std::move(message);
    return false;
  }
  // Puts a value where the parser stands: under the key just read, in the open array, or at the
  // root. Returns the node's place.
  Node* Place(Node node) {
    if (++values_ > kMaxValues) return nullptr;
    if (open_.empty()) {
      root_ = std::move(node);
      return &root_;
    }
    Node& parent = *open_.back();
    if (parent.kind == Node::Kind::kObject) {
      parent.members.push_back({std::move(key_), key_line_, std::move(node)});
      return &parent.members.back().value;
    }
    parent.items.push_back(std::move(node));
    return &parent.items.back();
  }
  bool Add(Node node) {
    if (Place(std::move(node)) != nullptr) return true;
    return Stop(kExitInput, LineRead(),
                "more than " + std::to_string(kMaxValues) + " values, the limit for timelines");
  }
  bool Open(Node::Kind kind) {
    if (open_.size() >= static_cast<std::size_t>(kMaxTimelineDepth))
      return Stop(kExitInput, LineRead(),
                  "nested more than " + std::to_string(kMaxTimelineDepth) + " levels deep");
    Node* node = Place(Scalar(kind, LineRead()));
    if (node == nullptr) return Add(Node());
    open_.push_back(node);
    keys_.emplace_back();
    return true;
  }
  bool Close() {
    open_.pop_back();
    keys_.pop_back();
    return true;
  }

  std::string_view text_;
  const std::filesystem::path& file_;
  const char* read_;
  std::size_t counted_ = 0;
  int line_ = 1;
  Node root_;
  // The open objects and arrays, innermost last (each in its parent, which does not grow while
  // it is open), and the keys seen in each.
  std::vector<Node*> open_;
  std::vector<std::set<std::string>> keys_;
  std::string key_;
  int key_line_ = 0;
  std::size_t values_ = 0;
  std::string error_;
  int error_code_ = kExitInput, error_line_ = 0;
};

// ---- TOML: toml++'s tree, converted.

// toml++ 3.3 asks of each character outside strings and comments (and of the one after a
// backslash in a multi-line string) whether it is whitespace, and for many non-ASCII characters
// that question runs into a gap of its generated table marked unreachable (undefined behaviour).
// TOML allows non-ASCII characters only inside strings and comments, so one elsewhere is refused
// here first. Returns the line it stands on, or 0.
int NonAsciiOutsideStrings(std::string_view text) {
  enum class In { kValue, kComment, kBasic, kLiteral, kMultiBasic, kMultiLiteral };
  In in = In::kValue;
  int line = 1;
  // Where a quote opens a string: at the start of a key or of a value. A bare value (a number,
  // date or word) runs on to whitespace, ']', '}', ',' or '#', and toml++ reads each of its
  // characters, quotes and brackets included.
  std::string open;  // the arrays and inline tables open, innermost last
  bool key = true, bare = false;
  char before = '\n';
  std::size_t i = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
  auto at = [&](std::string_view quote) { return text.substr(i, quote.size()) == quote; };
  auto ascii = [&](std::size_t k) { return k >= text.size() || (text[k] & 0x80) == 0; };
  while (i < text.size()) {
    const char c = text[i];
    if (c == '\n') {
      ++line;
      if (in != In::kMultiBasic && in != In::kMultiLiteral) {
        in = In::kValue;
        key = open.empty() || open.back() == '{';
        bare = false;
        before = '\n';
      }
      ++i;
      continue;
    }
    switch (in) {
      case In::kValue: {
        if (!ascii(i)) return line;
        if (c == ' ' || c == '\t' || c == '\r') {
          bare = false;
          break;
        }
        if (bare && c != ']' && c != '}' && c != ',' && c != '#') break;
        bare = false;
        const char previous = before;
        before = c;
        if (c == '#') {
          in = In::kComment;
        } else if (c == '"' || c == '\'') {
          const bool opens = !key || previous == '\n' || previous == '[' || previous == '.' ||
                             previous == '{' || previous == ',';
          if (!opens) break;
          if (at(R"(""")") || at("'''")) {
            in = c == '"' ? In::kMultiBasic : In::kMultiLiteral;
            i += 3;
            continue;
          }
          in = c == '"' ? In::kBasic : In::kLiteral;
        } else if (key) {
          if (c == '=') key = false;
          if (c == '}' && !open.empty()) open.pop_back(), key = false;
        } else if (c == '[' || c == '{') {
          open.push_back(c);
          key = c == '{';
        } else if (c == ']' || c == '}') {
          if (!open.empty()) open.pop_back();
        } else if (c == ',') {
          key = !open.empty() && open.back() == '{';
        } else if (c != '=') {
          bare = true;
        }
        break;
      }
      case In::kComment:
        break;
      case In::kBasic:
      case In::kMultiBasic:
        if (c == '\\') {
          ++i;
          // A line-ending backslash: the whitespace after it is skipped, character by character.
          while (in == In::kMultiBasic && i < text.size() &&
                 (text[i] == ' ' || text[i] == '\t' || text[i] == '\r' || text[i] == '\n'))
            line += text[i++] == '\n';
          if (!ascii(i)) return line;
          ++i;
          continue;
        }
        if (in == In::kBasic && c == '"') in = In::kValue;
        if (in == In::kMultiBasic && at(R"(""")")) {
          // Up to two more quotes belong to the string.
          i += 3;
          for (int extra = 0; extra < 2 && i < text.size() && text[i] == '"'; ++extra) ++i;
          in = In::kValue;
          continue;
        }
        break;
      case In::kLiteral:
        if (c == '\'') in = In::kValue;
        break;
      case In::kMultiLiteral:
        if (at("'''")) {
          i += 3;
          for (int extra = 0; extra < 2 && i < text.size() && text[i] == '\''; ++extra) ++i;
          in = In::kValue;
          continue;
        }
        break;
    }
    ++i;
  }
  return 0;
}

class TomlTree {
 public:
  explicit TomlTree(const std::filesystem::path& file) : file_(file) {}

  Node Parse(std::string_view text) {
    if (const int line = NonAsciiOutsideStrings(text))
      Refuse(kExitInput, file_, line, "",
             "not valid TOML: a character beyond ASCII stands outside a string or comment");
    try {
      const toml::table table = toml::parse(text, file_.string());
      return Convert(table, 0, 1);
    } catch (const toml::parse_error& error) {
      Refuse(kExitInput, file_, static_cast<int>(error.source().begin.line), "",
             "not valid TOML: " + std::string(error.description()));
    }
  }

 private:
  Node Convert(const toml::node& from, int depth, int line) {
    if (++values_ > kMaxValues)
      Refuse(kExitInput, file_, line, "",
             "more than " + std::to_string(kMaxValues) + " values, the limit for timelines");
    Node node;
    node.line = from.source().begin.line > 0 ? static_cast<int>(from.source().begin.line) : line;
    if (depth > kMaxTimelineDepth)
      Refuse(kExitInput, file_, node.line, "",
             "nested more than " + std::to_string(kMaxTimelineDepth) + " levels deep");
    if (const auto* table = from.as_table()) {
      node.kind = Node::Kind::kObject;
      for (const auto& [key, value] : *table) {
        const int keyLine =
            key.source().begin.line > 0 ? static_cast<int>(key.source().begin.line) : node.line;
        node.members.push_back(
            {std::string(key.str()), keyLine, Convert(value, depth + 1, keyLine)});
      }
    } else if (const auto* array = from.as_array()) {
      node.kind = Node::Kind::kArray;
      for (const auto& item : *array) node.items.push_back(Convert(item, depth + 1, node.line));
    } else if (const auto* text = from.as_string()) {
      node.kind = Node::Kind::kString;
      node.text = text->get();
    } else if (const auto* integer = from.as_integer()) {
      node.kind = Node::Kind::kInteger;
      node.number = static_cast<double>(integer->get());
      node.text = std::to_string(integer->get());
    } else if (const auto* number = from.as_floating_point()) {
      node.kind = Node::Kind::kNumber;
      node.number = number->get();
      node.text = ExactNumber(number->get());
    } else if (const auto* boolean = from.as_boolean()) {
      node.kind = Node::Kind::kBoolean;
      node.boolean = boolean->get();
    } else {
      node.kind = Node::Kind::kOther;  // dates and times
    }
    return node;
  }

  const std::filesystem::path& file_;
  std::size_t values_ = 0;
};

}  // namespace

Node ParseJson(std::string_view text, const std::filesystem::path& file) {
  return JsonTree(text, file).Parse();
}

Node ParseToml(std::string_view text, const std::filesystem::path& file) {
  return TomlTree(file).Parse(text);
}

}  // namespace kelo::timeline
