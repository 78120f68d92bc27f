#include <algorithm>
#include <cmath>

#include "platform/common/PropertyListFormats.h"
#include "platform/common/PropertyListReal.h"

namespace platform::plist {
namespace {

std::string escaped(std::string_view original) {
  const std::string text = xmlText(original);
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '\r':
        result += "&#13;";  // a parser would read the character itself as a line feed
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string realText(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number > 0 ? "+infinity" : "-infinity";
  return decimalText(number);
}

class XmlWriter {
 public:
  std::string write(const Value& value) {
    _xml =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n";
    append(value);
    _xml += "</plist>\n";
    return std::move(_xml);
  }

 private:
  void append(const Value& value) {
    if (const auto* flag = value.as<bool>()) return line(*flag ? "<true/>" : "<false/>");
    if (const auto* number = value.as<std::int64_t>()) return leaf("integer", std::to_string(*number));
    if (const auto* number = value.as<std::uint64_t>()) return leaf("integer", std::to_string(*number));
    if (const auto* number = value.as<double>()) return leaf("real", realText(*number));
    if (const auto* text = value.as<std::string>()) return leaf("string", escaped(*text));
    if (const auto* date = value.as<Date>()) return leaf("date", formatIso8601(*date));
    if (const auto* data = value.as<Data>()) return appendData(*data);
    if (const auto* uid = value.as<Uid>()) return appendDictionary({{kUidKey, uid->number}});
    if (const auto* array = value.as<Array>()) return appendArray(*array);
    if (const auto* dictionary = value.as<Dictionary>()) return appendDictionary(*dictionary);
  }

  void line(const std::string& text) { _xml.append(_depth, '\t').append(text).append("\n"); }

  void leaf(const std::string& element, const std::string& text) {
    line("<" + element + ">" + text + "</" + element + ">");
  }

  void appendData(const Data& data) {
    constexpr std::size_t kColumns = 76;
    constexpr std::size_t kTabColumns = 8;
    constexpr std::size_t kLeastColumns = 16;
    const std::size_t width = std::max(kLeastColumns, kColumns - std::min(kColumns, _depth * kTabColumns));
    const std::string text = encodeBase64(data);
    line("<data>");
    for (std::size_t i = 0; i < text.size(); i += width)
      line(text.substr(i, width));
    line("</data>");
  }

  void appendArray(const Array& array) {
    if (array.empty()) return line("<array/>");
    line("<array>");
    ++_depth;
    for (const auto& element : array)
      append(element);
    --_depth;
    line("</array>");
  }

  void appendDictionary(const Dictionary& dictionary) {
    if (dictionary.empty()) return line("<dict/>");
    line("<dict>");
    ++_depth;
    for (const auto& [key, value] : dictionary) {
      leaf("key", escaped(key));
      append(value);
    }
    --_depth;
    line("</dict>");
  }

  std::string _xml;
  std::size_t _depth = 0;
};

}  // namespace

std::string toXml(const Value& value) {
  return XmlWriter().write(value);
}

}  // namespace platform::plist
