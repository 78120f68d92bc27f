#include <expat.h>

#include <charconv>
#include <limits>
#include <map>
#include <memory>

#include "platform/Text.h"
#include "platform/common/PropertyListFormats.h"
#include "platform/common/PropertyListReal.h"

namespace platform::plist {
namespace {

enum class Element { key, string, integer, real, date, data, isTrue, isFalse, array, dictionary, unknown };

Element elementOf(std::string_view name) {
  static const std::map<std::string_view, Element> kElements = {
      {"key", Element::key},        {"string", Element::string}, {"integer", Element::integer},
      {"real", Element::real},      {"date", Element::date},     {"data", Element::data},
      {"true", Element::isTrue},    {"false", Element::isFalse}, {"array", Element::array},
      {"dict", Element::dictionary}};
  const auto found = kElements.find(name);
  return found == kElements.end() ? Element::unknown : found->second;
}

bool parseInteger(std::string_view text, Value& value) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (isHexadecimal) text.remove_prefix(2);
  constexpr auto kMinMagnitude = std::uint64_t{1} << 63;
  std::uint64_t magnitude = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, magnitude, isHexadecimal ? 16 : 10);
  if (error != std::errc() || rest != end) return false;
  if (negative && magnitude > kMinMagnitude) return false;
  value = negative ? Value(static_cast<std::int64_t>(0 - magnitude)) : Value(magnitude);
  return true;
}

bool parseReal(std::string_view text, Value& value) {
  const std::string lower = lowerCase(text);
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  static const std::map<std::string_view, double> kNames = {{"nan", std::numeric_limits<double>::quiet_NaN()},
                                                            {"inf", kInfinity},
                                                            {"+inf", kInfinity},
                                                            {"-inf", -kInfinity},
                                                            {"infinity", kInfinity},
                                                            {"+infinity", kInfinity},
                                                            {"-infinity", -kInfinity}};
  if (const auto name = kNames.find(lower); name != kNames.end()) {
    value = name->second;
    return true;
  }
  std::string_view digits = lower;
  if (digits.starts_with('+') && !digits.starts_with("+-")) digits.remove_prefix(1);
  double number = 0;
  if (!readDecimal(digits, number)) return false;
  value = number;
  return true;
}

/// What a dictionary stands for: a reference number, or itself.
Value dictionaryOrUid(Dictionary dictionary) {
  if (dictionary.size() == 1) {
    const Value* number = find(dictionary, kUidKey);
    const auto* integer = number != nullptr ? number->as<std::int64_t>() : nullptr;
    if (integer != nullptr && *integer >= 0) return Uid{static_cast<std::uint64_t>(*integer)};
    const auto* large = number != nullptr ? number->as<std::uint64_t>() : nullptr;
    if (large != nullptr) return Uid{*large};
  }
  return dictionary;
}

bool parseDate(std::string_view text, Value& value) {
  Date date;
  if (!parseIso8601(std::string(text), date)) return false;
  value = date;
  return true;
}

bool parseData(std::string_view text, Value& value) {
  Data data;
  if (!decodeBase64(text, data)) return false;
  value = std::move(data);
  return true;
}

bool parseFlag(std::string_view text, bool flag, Value& value) {
  value = flag;
  return text.empty();
}

bool parseLeaf(Element element, std::string& text, Value& value) {
  switch (element) {
    case Element::string:
      value = std::move(text);
      return true;
    case Element::integer:
      return parseInteger(trimmed(text), value);
    case Element::real:
      return parseReal(trimmed(text), value);
    case Element::date:
      return parseDate(trimmed(text), value);
    case Element::data:
      return parseData(text, value);
    case Element::isTrue:
    case Element::isFalse:
      return parseFlag(trimmed(text), element == Element::isTrue, value);
    default:
      return false;
  }
}

/// The line that the parser is at; older versions of the library have it under its old name only.
std::uint64_t currentLine(XML_Parser parser) {
#if XML_MAJOR_VERSION > 2 || XML_MINOR_VERSION >= 9
  return XML_GetCurrentLineNumber64(parser);
#else
  return XML_GetCurrentLineNumber(parser);
#endif
}

/// Builds the value from the parser's events. The first fault stops the parser.
class XmlReader {
 public:
  XmlReader() : _parser(XML_ParserCreate(nullptr), &XML_ParserFree) {
    XML_SetUserData(_parser.get(), this);
    XML_SetElementHandler(
        _parser.get(),
        [](void* self, const XML_Char* name, const XML_Char**) { reader(self).startElement(name); },
        [](void* self, const XML_Char*) { reader(self).endElement(); });
    XML_SetCharacterDataHandler(_parser.get(), [](void* self, const XML_Char* text, int size) {
      reader(self).characters({text, static_cast<std::size_t>(size)});
    });
    // The document type is accepted and never fetched. What it declares itself could multiply without end.
    XML_SetEntityDeclHandler(
        _parser.get(),
        [](void* self, const XML_Char*, int, const XML_Char*, int, const XML_Char*, const XML_Char*,
           const XML_Char*, const XML_Char*) { reader(self).fail("a declaration of an entity"); });
    XML_SetSkippedEntityHandler(_parser.get(), [](void* self, const XML_Char* name, int) {
      reader(self).fail("the unknown entity " + std::string(name));
    });
  }

  Error read(const std::string& bytes, Value& value) {
    const auto status = XML_Parse(_parser.get(), bytes.data(), static_cast<int>(bytes.size()), XML_TRUE);
    if (!_fault.empty()) return malformed(_fault);
    if (status != XML_STATUS_OK) return malformed(XML_ErrorString(XML_GetErrorCode(_parser.get())) + line());
    value = std::move(_root);
    return {};
  }

 private:
  struct Container {
    bool isDictionary = false;
    Array array;
    Dictionary dictionary;
    std::optional<std::string> key;  ///< the dictionary's member whose value comes next
  };

  static XmlReader& reader(void* self) { return *static_cast<XmlReader*>(self); }

  [[nodiscard]] std::string line() const { return " on line " + std::to_string(currentLine(_parser.get())); }

  void fail(const std::string& what) {
    if (!_fault.empty()) return;
    _fault = what + line();
    XML_StopParser(_parser.get(), XML_FALSE);
  }

  void startElement(std::string_view name) {
    if (!_fault.empty()) return;
    if (!_isOpen) {
      _isOpen = name == "plist";
      if (!_isOpen) fail("no property list");
      return;
    }
    const Element element = elementOf(name);
    if (element == Element::unknown) return fail("the unknown element " + std::string(name));
    if (_leaf) return fail("an element inside of a value");
    if (++_nodes > kMaxNodes) return fail("too many values");
    if (!isExpected(element)) return fail("an element out of place");
    if (element == Element::array || element == Element::dictionary) {
      openContainer(element == Element::dictionary);
    } else {
      _leaf = element;
      _text.clear();
    }
  }

  /// In a dictionary keys and values take turns; a key has no place elsewhere; the list holds one value.
  [[nodiscard]] bool isExpected(Element element) const {
    const bool isKey = element == Element::key;
    if (_open.empty()) return !isKey && !_hasRoot;
    const Container& container = _open.back();
    return container.isDictionary ? isKey != container.key.has_value() : !isKey;
  }

  void openContainer(bool isDictionary) {
    if (_open.size() == kMaxDepth) return fail("values nested too deeply");
    _open.emplace_back().isDictionary = isDictionary;
  }

  void endElement() {
    if (!_fault.empty()) return;
    if (_leaf) return endLeaf();
    if (_open.empty()) {
      if (!_hasRoot) fail("an empty property list");
      return;
    }
    Container container = std::move(_open.back());
    _open.pop_back();
    if (container.key) return fail("a key without a value");
    add(container.isDictionary ? dictionaryOrUid(std::move(container.dictionary))
                               : Value(std::move(container.array)));
  }

  void endLeaf() {
    const Element element = *_leaf;
    _leaf.reset();
    if (element == Element::key) {
      _open.back().key = std::move(_text);
      return;
    }
    Value value;
    if (!parseLeaf(element, _text, value)) return fail("a malformed value");
    add(std::move(value));
  }

  void add(Value value) {
    if (_open.empty()) {
      _root = std::move(value);
      _hasRoot = true;
      return;
    }
    Container& container = _open.back();
    if (!container.isDictionary) {
      container.array.push_back(std::move(value));
      return;
    }
    container.dictionary.insert_or_assign(std::move(*container.key), std::move(value));
    container.key.reset();
  }

  void characters(std::string_view text) {
    if (!_fault.empty()) return;
    if (_leaf) {
      _text += text;
    } else if (!trimmed(text).empty()) {
      fail("text outside of a value");
    }
  }

  std::unique_ptr<XML_ParserStruct, void (*)(XML_Parser)> _parser;
  std::string _fault;
  bool _isOpen = false;  ///< the list's own element has begun
  bool _hasRoot = false;
  Value _root;
  std::vector<Container> _open;
  std::optional<Element> _leaf;
  std::string _text;
  std::size_t _nodes = 0;
};

}  // namespace

Error parseXml(const std::string& bytes, Value& value) {
  return XmlReader().read(bytes, value);
}

}  // namespace platform::plist
