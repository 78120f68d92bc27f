#include <cmath>
#include <cstring>

#include "platform/common/PropertyListFormats.h"

namespace platform::plist {
namespace {

constexpr std::size_t kTrailerBytes = 32;
/// Dates of the binary form count from 2001-01-01 UTC; these are the seconds from 1970 to then.
constexpr double kReferenceDate = 978'307'200;
constexpr double kFarthestDate = 1e15;  ///< seconds: what the textual form of dates can hold

/// What texts and data may take together: a shared one counts as often as it is used.
constexpr std::uint64_t kMaxContentBytes = kMaxFileBytes;

struct Layout {
  std::size_t offsetSize = 0;
  std::size_t referenceSize = 0;
  std::uint64_t objectCount = 0;
  std::uint64_t topObject = 0;
  std::uint64_t tableOffset = 0;
};

/// An object's marker byte taken apart, and what follows the marker.
struct Object {
  unsigned kind = 0;
  unsigned low = 0;
  std::string_view rest;
  std::uint64_t offset = 0;
};

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes)
    number = (number << 8) | static_cast<unsigned char>(byte);
  return number;
}

class BinaryReader {
 public:
  explicit BinaryReader(std::string_view bytes) : _bytes(bytes) {}

  Error read(Value& value) {
    if (!readLayout()) return malformed("its binary form has no valid trailer");
    Value result;
    if (readObject(_layout.topObject, 1, result)) {
      value = std::move(result);
      return {};
    }
    return malformed(_fault);
  }

 private:
  bool readLayout() {
    if (_bytes.size() < kBinaryMagic.size() + kTrailerBytes) return false;
    const std::string_view trailer = _bytes.substr(_bytes.size() - kTrailerBytes);
    const std::uint64_t limit = _bytes.size() - kTrailerBytes;
    _layout.offsetSize = static_cast<unsigned char>(trailer[6]);
    _layout.referenceSize = static_cast<unsigned char>(trailer[7]);
    _layout.objectCount = bigEndian(trailer.substr(8, 8));
    _layout.topObject = bigEndian(trailer.substr(16, 8));
    _layout.tableOffset = bigEndian(trailer.substr(24, 8));
    const auto isSize = [](std::size_t size) { return size >= 1 && size <= 8; };
    return isSize(_layout.offsetSize) && isSize(_layout.referenceSize) &&
           _layout.tableOffset >= kBinaryMagic.size() && _layout.tableOffset <= limit &&
           _layout.objectCount <= (limit - _layout.tableOffset) / _layout.offsetSize &&
           _layout.topObject < _layout.objectCount;
  }

  bool fail(const std::string& what, const Object& object) {
    _fault = what + " at offset " + std::to_string(object.offset);
    return false;
  }

  bool locate(std::uint64_t number, Object& object) {
    if (number < _layout.objectCount) {
      const std::uint64_t entry = _layout.tableOffset + number * _layout.offsetSize;
      object.offset = bigEndian(_bytes.substr(entry, _layout.offsetSize));
    }
    if (object.offset < kBinaryMagic.size() || object.offset >= _layout.tableOffset) {
      _fault = "reference to an object that is not there (" + std::to_string(number) + ")";
      return false;
    }
    const auto marker = static_cast<unsigned char>(_bytes[object.offset]);
    object.kind = marker >> 4;
    object.low = marker & 0x0F;
    object.rest = _bytes.substr(object.offset + 1, _layout.tableOffset - object.offset - 1);
    return true;
  }

  bool readObject(std::uint64_t number, std::size_t depth, Value& value) {
    Object object;
    if (!locate(number, object)) return false;
    if (++_nodes > kMaxNodes) return fail("too many values", object);
    switch (object.kind) {
      case 0x0:
        return readBoolean(object, value);
      case 0x1:
        return readInteger(object, value);
      case 0x2:
        return readReal(object, value);
      case 0x3:
        return readDate(object, value);
      case 0x4:
        return readData(object, value);
      case 0x5:
      case 0x6:
      case 0x7:
        return readText(object, value);
      case 0x8:
        return readUid(object, value);
      case 0xA:
        return readArray(object, depth, value);
      case 0xD:
        return readDictionary(object, depth, value);
      default:
        return fail("a value of an unknown type", object);
    }
  }

  bool readBoolean(const Object& object, Value& value) {
    if (object.low != 8 && object.low != 9) return fail("a value of an unknown type", object);
    value = object.low == 9;
    return true;
  }

  /// One, two and four bytes are unsigned, eight are signed, sixteen hold what needs 64 bits without a sign.
  bool readInteger(const Object& object, Value& value) {
    const std::size_t size = std::size_t{1} << object.low;
    if (object.low > 4 || object.rest.size() < size) return fail("a malformed integer", object);
    if (size < 16) {
      value = static_cast<std::int64_t>(bigEndian(object.rest.substr(0, size)));
      return true;
    }
    const std::uint64_t high = bigEndian(object.rest.substr(0, 8));
    const std::uint64_t low = bigEndian(object.rest.substr(8, 8));
    const bool isNegative = high == ~std::uint64_t{0} && (low >> 63) != 0;
    if (high != 0 && !isNegative) return fail("an integer of more than 64 bits", object);
    value = isNegative ? Value(static_cast<std::int64_t>(low)) : Value(low);
    return true;
  }

  bool readReal(const Object& object, Value& value) {
    if ((object.low != 2 && object.low != 3) || object.rest.size() < (std::size_t{1} << object.low)) {
      return fail("a malformed real", object);
    }
    if (object.low == 3) {
      value = doubleAt(object.rest);
      return true;
    }
    const auto bits = static_cast<std::uint32_t>(bigEndian(object.rest.substr(0, 4)));
    float number = 0;
    memcpy(&number, &bits, sizeof number);
    value = static_cast<double>(number);
    return true;
  }

  static double doubleAt(std::string_view bytes) {
    const std::uint64_t bits = bigEndian(bytes.substr(0, 8));
    double number = 0;
    memcpy(&number, &bits, sizeof number);
    return number;
  }

  bool readDate(const Object& object, Value& value) {
    if (object.low != 3 || object.rest.size() < 8) return fail("a malformed date", object);
    const double seconds = doubleAt(object.rest) + kReferenceDate;
    if (!(std::abs(seconds) <= kFarthestDate)) return fail("a date out of range", object);
    value = Date(Seconds(seconds));
    return true;
  }

  bool readUid(const Object& object, Value& value) {
    const std::size_t size = object.low + 1;
    if (size > 8 || object.rest.size() < size) return fail("a malformed reference number", object);
    value = Uid{bigEndian(object.rest.substr(0, size))};
    return true;
  }

  /// The number of elements of `elementBytes` each; `object.rest` is then what follows the number.
  bool readCount(Object& object, std::size_t elementBytes, std::size_t& count) {
    std::uint64_t number = object.low;
    if (object.low == 0x0F) {
      const auto marker = object.rest.empty() ? 0xFFU : static_cast<unsigned char>(object.rest[0]);
      const std::size_t size = std::size_t{1} << (marker & 0x0F);
      if ((marker >> 4) != 0x1 || size > 8 || object.rest.size() < 1 + size) {
        return fail("a malformed length", object);
      }
      number = bigEndian(object.rest.substr(1, size));
      object.rest.remove_prefix(1 + size);
    }
    if (number > object.rest.size() / elementBytes) return fail("a length beyond the end", object);
    count = static_cast<std::size_t>(number);
    return true;
  }

  bool charge(std::uint64_t bytes, const Object& object) {
    _contentBytes += bytes;
    return _contentBytes <= kMaxContentBytes || fail("too much text and data", object);
  }

  bool readData(Object object, Value& value) {
    std::size_t count = 0;
    if (!readCount(object, 1, count) || !charge(count, object)) return false;
    value = Data(object.rest.begin(), object.rest.begin() + static_cast<std::ptrdiff_t>(count));
    return true;
  }

  bool readText(Object object, Value& value) {
    std::string text;
    if (!readString(object, text)) return false;
    value = std::move(text);
    return true;
  }

  bool readString(Object& object, std::string& text) {
    std::size_t count = 0;
    const bool isUtf16 = object.kind == 0x6;
    const std::size_t unitBytes = isUtf16 ? 2 : 1;
    if (!readCount(object, unitBytes, count)) return false;
    const std::string_view bytes = object.rest.substr(0, count * unitBytes);
    const bool valid = isUtf16 ? convertUtf16(bytes, text) : copyUtf8(bytes, object.kind == 0x5, text);
    return valid ? charge(text.size(), object) : fail("a malformed text", object);
  }

  static bool copyUtf8(std::string_view bytes, bool asciiOnly, std::string& text) {
    std::uint32_t codePoint = 0;
    for (std::string_view rest = bytes; !rest.empty();) {
      if (!takeUtf8(rest, codePoint) || (asciiOnly && codePoint > 0x7F)) return false;
    }
    text = bytes;
    return true;
  }

  static bool convertUtf16(std::string_view bytes, std::string& text) {
    const auto unitAt = [&bytes](std::size_t i) {
      return static_cast<std::uint32_t>(bigEndian(bytes.substr(i, 2)));
    };
    const auto isIn = [](std::uint32_t unit, std::uint32_t first) { return unit >> 10 == first >> 10; };
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
      std::uint32_t codePoint = unitAt(i);
      if (isIn(codePoint, 0xDC00)) return false;
      if (isIn(codePoint, 0xD800)) {
        i += 2;
        if (i >= bytes.size() || !isIn(unitAt(i), 0xDC00)) return false;
        codePoint = 0x10000 + ((codePoint & 0x3FF) << 10) + (unitAt(i) & 0x3FF);
      }
      appendUtf8(codePoint, text);
    }
    return true;
  }

  [[nodiscard]] std::uint64_t referenceAt(std::string_view references, std::size_t index) const {
    return bigEndian(references.substr(index * _layout.referenceSize, _layout.referenceSize));
  }

  bool readArray(Object object, std::size_t depth, Value& value) {
    std::size_t count = 0;
    if (!enterContainer(object, depth, _layout.referenceSize, count)) return false;
    Array array;
    for (std::size_t i = 0; i < count; ++i) {
      if (!readObject(referenceAt(object.rest, i), depth + 1, array.emplace_back())) return false;
    }
    value = std::move(array);
    return true;
  }

  /// All the keys come first, then all the values.
  bool readDictionary(Object object, std::size_t depth, Value& value) {
    std::size_t count = 0;
    if (!enterContainer(object, depth, 2 * _layout.referenceSize, count)) return false;
    Dictionary dictionary;
    for (std::size_t i = 0; i < count; ++i) {
      std::string key;
      if (!readKey(referenceAt(object.rest, i), key)) return false;
      if (!readObject(referenceAt(object.rest, count + i), depth + 1, dictionary[std::move(key)]))
        return false;
    }
    value = std::move(dictionary);
    return true;
  }

  bool enterContainer(Object& object, std::size_t depth, std::size_t elementBytes, std::size_t& count) {
    if (depth > kMaxDepth) return fail("values nested too deeply", object);
    return readCount(object, elementBytes, count);
  }

  bool readKey(std::uint64_t number, std::string& key) {
    Object object;
    if (!locate(number, object)) return false;
    if (++_nodes > kMaxNodes) return fail("too many values", object);
    if (object.kind < 0x5 || object.kind > 0x7) return fail("a key that is no text", object);
    return readString(object, key);
  }

  std::string_view _bytes;
  Layout _layout;
  std::size_t _nodes = 0;
  std::uint64_t _contentBytes = 0;
  std::string _fault;
};

}  // namespace

Error parseBinary(std::string_view bytes, Value& value) {
  return BinaryReader(bytes).read(value);
}

}  // namespace platform::plist
