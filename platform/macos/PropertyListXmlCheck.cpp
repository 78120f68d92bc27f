#include "platform/macos/PropertyListXmlCheck.h"

#include <algorithm>

#include "platform/Text.h"
#include "platform/common/PropertyListFormats.h"

namespace platform::plist {
namespace {

/// Whether the declaration leaves the text to be read byte by byte, so that no markup hides behind others. A
/// text in UTF-16 is told by its first two bytes and comes here converted; without them what it declares is
/// garbage.
bool isReadable(std::string_view declaration) {
  constexpr std::string_view kAttribute = "encoding";
  constexpr std::string_view kKnown[] = {"utf-8", "us-ascii", "iso-8859-1", "utf-16"};
  const std::size_t attribute = declaration.find(kAttribute);
  if (attribute == std::string_view::npos) return true;
  if (declaration.rfind(kAttribute) != attribute) return false;
  declaration.remove_prefix(attribute + kAttribute.size());
  const std::string name = lowerCase(trimmed(declaration, " \t\r\n=\"'"));
  return std::find(std::begin(kKnown), std::end(kKnown), name.substr(0, name.find_first_of("\"'"))) !=
         std::end(kKnown);
}

/// What does not begin with markup is taken for a list of the old form, which nests to any depth too.
bool beginsWithMarkup(std::string_view xml) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (xml.starts_with(kByteOrderMark)) xml.remove_prefix(kByteOrderMark.size());
  return trimmed(xml).starts_with('<');
}

bool endsInQuotes(std::string_view tag) {
  char quote = '\0';
  for (const char c : tag) {
    if (quote == '\0' && (c == '"' || c == '\'')) {
      quote = c;
    } else if (c == quote) {
      quote = '\0';
    }
  }
  return quote != '\0';
}

std::string_view elementName(std::string_view tag) {
  tag.remove_prefix(tag.starts_with("</") ? 2 : 1);
  return tag.substr(0, tag.find_first_of(" \t\r\n/>"));
}

bool isContainer(std::string_view name) {
  return name == "array" || name == "dict";
}

/// Walks over the markup. Markup that readers could take to end at different places is refused, so that none
/// sees more than this one.
class XmlCheck {
 public:
  explicit XmlCheck(std::string_view xml) : _xml(xml), _rest(xml) {}

  Error run() {
    if (_xml.find('\0') != std::string_view::npos) return malformed("it is no text");
    if (!beginsWithMarkup(_xml)) return malformed("it is no XML");
    while (_fault.empty() && skipTo("<"))
      checkMarkup();
    if (_fault.empty() && !_isOpen) fail("no property list");
    return _fault.empty() ? Error() : malformed(_fault);
  }

 private:
  void checkMarkup() {
    if (_rest.starts_with("<!--")) return skipPast("<!--", "-->");
    if (_rest.starts_with("<![CDATA[")) return skipPast("<![CDATA[", "]]>");
    if (_rest.starts_with("<?")) return checkInstruction();
    const std::string_view tag = _rest.substr(0, _rest.find('>') + 1);
    if (tag.empty() || endsInQuotes(tag)) return fail("a tag without an end");
    if (tag.starts_with("<!")) {
      checkDeclaration(tag);
    } else if (tag.starts_with("</")) {
      if (isContainer(elementName(tag)) && _depth > 0) --_depth;
    } else {
      checkElement(tag);
    }
    if (_fault.empty()) _rest.remove_prefix(tag.size());
  }

  void checkInstruction() {
    const std::string_view instruction = _rest.substr(0, _rest.find("?>"));
    if (instruction.starts_with("<?xml") && !isReadable(instruction)) return fail("an unknown encoding");
    skipPast("<?", "?>");
  }

  /// The document type is accepted. What it declares itself could multiply without end.
  void checkDeclaration(std::string_view tag) {
    if (!tag.starts_with("<!DOCTYPE") || tag.find('[') != std::string_view::npos) fail("a declaration");
  }

  void checkElement(std::string_view tag) {
    const std::string_view name = elementName(tag);
    if (!_isOpen) {
      _isOpen = name == "plist";
      if (!_isOpen) fail("no property list");
      return;
    }
    if (name == "plist") return fail("a list inside of a list");
    if (++_nodes > kMaxNodes) return fail("too many values");
    const bool isEmpty = tag.ends_with("/>");
    if (isContainer(name)) {
      if (_depth == kMaxDepth) return fail("values nested too deeply");
      if (!isEmpty) ++_depth;
    } else if (!isEmpty) {
      const std::string_view content = _rest.substr(tag.size());
      checkContent(name, content.substr(0, content.find('<')));
    }
  }

  void checkContent(std::string_view name, std::string_view text) {
    Data data;
    Date date;
    if (name == "data" && !decodeBase64(text, data)) fail("malformed data");
    if (name == "date" && !parseIso8601(std::string(trimmed(text)), date)) fail("a malformed date");
  }

  bool skipTo(std::string_view mark) {
    _rest.remove_prefix(std::min(_rest.find(mark), _rest.size()));
    return !_rest.empty();
  }

  /// An end that shares characters with the beginning ("<!--->") is one to some readers only.
  void skipPast(std::string_view begin, std::string_view end) {
    const std::size_t at = _rest.find(end, 1);
    if (at == std::string_view::npos || at < begin.size()) return fail("markup without an end");
    _rest.remove_prefix(at + end.size());
  }

  void fail(const std::string& what) {
    const auto line =
        1 + std::count(_xml.begin(), _xml.end() - static_cast<std::ptrdiff_t>(_rest.size()), '\n');
    _fault = what + " on line " + std::to_string(line);
  }

  std::string_view _xml;
  std::string_view _rest;  ///< from the markup that is looked at
  std::string _fault;
  bool _isOpen = false;  ///< the list's own element has begun
  std::size_t _depth = 0;
  std::size_t _nodes = 0;
};

}  // namespace

Error checkXml(std::string_view xml) {
  return XmlCheck(xml).run();
}

}  // namespace platform::plist
