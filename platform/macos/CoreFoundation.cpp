#include "platform/macos/CoreFoundation.h"

#include <vector>

#include "platform/common/PropertyListFormats.h"

namespace platform {
namespace {

using plist::Value;

/// The object as one of its own kind, which it is known to be.
template <typename Ref>
Ref as(CFTypeRef object) {
  return static_cast<Ref>(object);
}

CFIndex indexOf(std::size_t size) {
  return static_cast<CFIndex>(size);
}

CFOwner<CFDataRef> coreData(const void* bytes, std::size_t size) {
  return CFOwner(CFDataCreate(kCFAllocatorDefault, static_cast<const UInt8*>(bytes), indexOf(size)));
}

std::string_view bytesOf(CFDataRef data) {
  const void* bytes = CFDataGetBytePtr(data);
  return {static_cast<const char*>(bytes), static_cast<std::size_t>(CFDataGetLength(data))};
}

/// Makes values of objects. The first that cannot be converted ends it.
class ObjectReader {
 public:
  bool read(CFTypeRef object, Value& value) {
    if (object == nullptr || ++_nodes > plist::kMaxNodes) return false;
    const CFTypeID type = CFGetTypeID(object);
    if (type == CFStringGetTypeID()) return readText(as<CFStringRef>(object), value);
    if (type == CFBooleanGetTypeID()) return readBoolean(as<CFBooleanRef>(object), value);
    if (type == CFNumberGetTypeID()) return readNumber(as<CFNumberRef>(object), value);
    if (type == CFDateGetTypeID()) return readDate(as<CFDateRef>(object), value);
    if (type == CFDataGetTypeID()) return readData(as<CFDataRef>(object), value);
    if (type == CFArrayGetTypeID()) return readArray(as<CFArrayRef>(object), value);
    if (type == CFDictionaryGetTypeID()) return readDictionary(as<CFDictionaryRef>(object), value);
    return readThroughList(object, value);
  }

 private:
  bool readText(CFStringRef object, Value& value) {
    auto text = utf8Text(object);
    if (!text) return false;
    value = std::move(*text);
    return true;
  }

  bool readBoolean(CFBooleanRef object, Value& value) {
    value = CFBooleanGetValue(object) != 0;
    return true;
  }

  bool readNumber(CFNumberRef number, Value& value) {
    double real = 0;
    std::int64_t integer = 0;
    if (CFNumberIsFloatType(number) != 0) {
      CFNumberGetValue(number, kCFNumberFloat64Type, &real);
      value = real;
    } else if (CFNumberGetValue(number, kCFNumberSInt64Type, &integer) != 0) {
      value = integer;
    } else {
      return readThroughList(number, value);
    }
    return true;
  }

  bool readDate(CFDateRef date, Value& value) {
    value = dateOf(date);
    return true;
  }

  bool readData(CFDataRef data, Value& value) {
    const std::string_view bytes = bytesOf(data);
    value = plist::Data(bytes.begin(), bytes.end());
    return true;
  }

  bool readArray(CFArrayRef object, Value& value) {
    if (++_depth > plist::kMaxDepth) return false;
    plist::Array array;
    for (CFIndex i = 0; i < CFArrayGetCount(object); ++i) {
      if (!read(CFArrayGetValueAtIndex(object, i), array.emplace_back())) return false;
    }
    value = std::move(array);
    --_depth;
    return true;
  }

  static std::optional<std::string> readKey(CFTypeRef key) {
    if (CFGetTypeID(key) != CFStringGetTypeID()) return std::nullopt;
    return utf8Text(as<CFStringRef>(key));
  }

  bool readDictionary(CFDictionaryRef object, Value& value) {
    if (++_depth > plist::kMaxDepth) return false;
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(object));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(object, keys.data(), values.data());
    plist::Dictionary dictionary;
    for (std::size_t i = 0; i < count; ++i) {
      const auto key = readKey(keys[i]);
      if (!key || !read(values[i], dictionary[*key])) return false;
    }
    value = plist::dictionaryOrUid(std::move(dictionary));
    --_depth;
    return true;
  }

  /// What has no public kind (a whole number of more than 63 bits, a reference number) has a form in a list.
  bool readThroughList(CFTypeRef object, Value& value) {
    const CFOwner list(
        CFPropertyListCreateData(kCFAllocatorDefault, object, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    return list && !plist::parse(std::string(bytesOf(list.get())), value).failed();
  }

  std::size_t _nodes = 0;
  std::size_t _depth = 0;
};

CFOwner<CFTypeRef> coreNumber(CFNumberType type, const void* number) {
  return CFOwner(CFNumberCreate(kCFAllocatorDefault, type, number));
}

/// There is no kind of number for it but the one that a list is read into.
CFOwner<CFTypeRef> coreLargeNumber(std::uint64_t number) {
  const std::string xml = plist::toXml(number);
  const auto list = coreData(xml.data(), xml.size());
  if (!list) return {};
  return CFOwner(CFPropertyListCreateWithData(kCFAllocatorDefault, list.get(), kCFPropertyListImmutable,
                                              nullptr, nullptr));
}

CFOwner<CFTypeRef> coreDate(Date date) {
  const double seconds = date.time_since_epoch().count() - kCFAbsoluteTimeIntervalSince1970;
  return CFOwner(CFDateCreate(kCFAllocatorDefault, seconds));
}

CFOwner<CFTypeRef> coreArray(const plist::Array& array) {
  CFOwner object(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  for (const Value& element : array) {
    const auto each = coreValue(element);
    if (!object || !each) return {};
    CFArrayAppendValue(object.get(), each.get());
  }
  return object;
}

CFOwner<CFTypeRef> coreDictionary(const plist::Dictionary& dictionary) {
  CFOwner object(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                           &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, value] : dictionary) {
    const auto name = coreText(plist::xmlText(key));
    const auto each = coreValue(value);
    if (!object || !name || !each) return {};
    CFDictionarySetValue(object.get(), name.get(), each.get());
  }
  return object;
}

}  // namespace

CFOwner<CFStringRef> coreText(std::string_view text) {
  const void* bytes = text.data();
  return CFOwner(CFStringCreateWithBytes(kCFAllocatorDefault, static_cast<const UInt8*>(bytes),
                                         indexOf(text.size()), kCFStringEncodingUTF8, false));
}

std::optional<std::string> utf8Text(CFStringRef text) {
  if (text == nullptr) return std::nullopt;
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8);
  if (size == kCFNotFound) return std::nullopt;
  std::string bytes(static_cast<std::size_t>(size) + 1, '\0');
  if (CFStringGetCString(text, bytes.data(), indexOf(bytes.size()), kCFStringEncodingUTF8) == 0)
    return std::nullopt;
  return bytes.c_str();
}

Date dateOf(CFDateRef date) {
  return Date(Seconds(CFDateGetAbsoluteTime(date) + kCFAbsoluteTimeIntervalSince1970));
}

CFOwner<CFPropertyListRef> coreValue(const Value& value) {
  if (const auto* flag = value.as<bool>())
    return CFOwner<CFTypeRef>::of(*flag ? kCFBooleanTrue : kCFBooleanFalse);
  if (const auto* number = value.as<std::int64_t>()) return coreNumber(kCFNumberSInt64Type, number);
  if (const auto* number = value.as<std::uint64_t>()) return coreLargeNumber(*number);
  if (const auto* number = value.as<double>()) return coreNumber(kCFNumberFloat64Type, number);
  if (const auto* text = value.as<std::string>()) return coreText(plist::xmlText(*text));
  if (const auto* date = value.as<Date>()) return coreDate(*date);
  if (const auto* data = value.as<plist::Data>()) return coreData(data->data(), data->size());
  if (const auto* uid = value.as<plist::Uid>()) return coreDictionary({{plist::kUidKey, uid->number}});
  if (const auto* array = value.as<plist::Array>()) return coreArray(*array);
  return coreDictionary(*value.as<plist::Dictionary>());
}

std::optional<Value> valueOf(CFPropertyListRef object) {
  Value value;
  return ObjectReader().read(object, value) ? std::optional(std::move(value)) : std::nullopt;
}

}  // namespace platform
