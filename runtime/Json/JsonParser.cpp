#include <type_traits>
#include <utility>

#include "runtime/Json/JsonScanner.h"
#include "runtime/Json/JsonValue.h"

namespace foundation::json {
namespace {

/// Builds the tree with a stack of its own of the containers that are open, so that nesting costs memory, not
/// stack.
class Parser {
 public:
  Parser(const char* text, std::size_t length, std::size_t maxValues)
      : _scanner(text, length), _valuesLeft(maxValues) {}

  JsonNode parse() {
    JsonNode root = startValue();
    while (root != nullptr && !_open.empty()) {
      if (!step()) return JsonNode();
    }
    return root != nullptr && _scanner.skipSpaceToEnd() ? root : JsonNode();
  }
  [[nodiscard]] bool isTooLong() const { return _isTooLong; }

 private:
  /// A container whose end has not been read; one of the pointers is set. The tree owns it.
  struct Open {
    JsonArray* array;
    JsonObject* object;
    bool isFresh = true;  ///< nothing has been read in it yet
  };

  // A whole value, or a container that is empty so far and on top of the stack; null when no value stands
  // here.
  JsonNode startValue() {
    if (_valuesLeft == 0) {
      _isTooLong = true;
      return JsonNode();
    }
    --_valuesLeft;
    switch (_scanner.skipSpace()) {
      case '"':
        return stringValue();
      case '{':
        return startContainer<JsonObject>();
      case '[':
        return startContainer<JsonArray>();
      case 't':
        return _scanner.take("true") ? makeValue(true) : JsonNode();
      case 'f':
        return _scanner.take("false") ? makeValue(false) : JsonNode();
      case 'n':
        return _scanner.take("null") ? makeValue(JsonNull()) : JsonNode();
      default:
        return numberValue();
    }
  }

  template <typename Payload>
  static JsonNode makeValue(Payload&& payload) {
    return boost::make_shared<JsonValue>(std::forward<Payload>(payload));
  }

  JsonNode stringValue() {
    std::string text;
    return _scanner.takeString(text) ? makeValue(std::move(text)) : JsonNode();
  }

  JsonNode numberValue() {
    JsonNumber number;
    return _scanner.takeNumber(number) ? makeValue(number) : JsonNode();
  }

  template <typename Container>
  JsonNode startContainer() {
    _scanner.advance();
    auto container = boost::make_shared<Container>();
    if constexpr (std::is_same_v<Container, JsonArray>) {
      _open.push_back({container.get(), nullptr});
    } else {
      _open.push_back({nullptr, container.get()});
    }
    return makeValue(std::move(container));
  }

  // Reads on in the innermost open container: its end, or its next element or member up to where its value
  // starts.
  bool step() {
    Open& top = _open.back();
    const char next = _scanner.skipSpace();
    if (next == (top.array != nullptr ? ']' : '}')) {
      _scanner.advance();
      _open.pop_back();
      return true;
    }
    if (!std::exchange(top.isFresh, false) && !_scanner.take(",")) return false;
    return top.array != nullptr ? takeElement(*top.array) : takeMember(*top.object);
  }

  bool takeElement(JsonArray& array) {
    JsonNode value = startValue();
    if (value == nullptr) return false;
    array.append(std::move(value));
    return true;
  }

  bool takeMember(JsonObject& object) {
    std::string key;
    if (_scanner.skipSpace() != '"' || !_scanner.takeString(key)) return false;
    _scanner.skipSpace();
    if (!_scanner.take(":")) return false;
    JsonNode value = startValue();
    return value != nullptr && object.store(std::move(key), std::move(value));
  }

  JsonScanner _scanner;
  std::size_t _valuesLeft;
  bool _isTooLong = false;
  std::vector<Open> _open;
};

}  // namespace

JsonNode parse(const char* text, std::size_t length, std::size_t maxValues, bool& isTooLong) {
  Parser parser(text, length, maxValues);
  JsonNode root = parser.parse();
  isTooLong = parser.isTooLong();
  return root;
}

}  // namespace foundation::json
