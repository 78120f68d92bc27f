#include "platform/PropertyList.h"

#include "platform/AutoreleasePool.h"
#include "platform/Printable.h"
#include "platform/Text.h"
#include "platform/common/PropertyListFormats.h"
#import "platform/macos/Foundation.h"
#include "platform/macos/PropertyListXmlCheck.h"

/// Lists in the XML form, read through Foundation. The binary form is read by the common reader, as
/// Foundation's would follow any depth and any number of shared references.
namespace platform::plist {
namespace {

std::string_view bytesOf(NSData* data) {
  return {static_cast<const char*>([data bytes]), [data length]};
}

std::string reasonOf(NSError* error) {
  // The reader's own words, with the line; the description made for people only says that the form is wrong.
  NSString* reason = [[error userInfo] objectForKey:@"NSDebugDescription"];
  return onOneLine(trimmed(utf8Text(reason != nil ? reason : [error localizedDescription]), " ."));
}

std::string reasonOf(NSException* exception) {
  return raisedError(exception, kCocoaErrorDomain, 0).description;
}

/// Booleans are numbers too. Their class is private, so it is taken from one.
bool isBoolean(NSNumber* number) {
  return [number isKindOfClass:[[NSNumber numberWithBool:YES] class]];
}

bool isReal(NSNumber* number) {
  const std::string_view type = [number objCType];
  return type == @encode(double) || type == @encode(float);
}

/// Makes values of Foundation's objects. The nesting is that of a list within the limits.
class ObjectReader {
 public:
  Error read(id object, Value& value) {
    Value result;
    if (!readObject(object, result)) return malformed(_fault);
    value = std::move(result);
    return {};
  }

 private:
  bool fail(const char* what) {
    _fault = what;
    return false;
  }

  bool readObject(id object, Value& value) {
    if ([object isKindOfClass:[NSString class]]) return readText(object, value);
    if ([object isKindOfClass:[NSNumber class]]) return readNumber(object, value);
    if ([object isKindOfClass:[NSDate class]]) return readDate(object, value);
    if ([object isKindOfClass:[NSData class]]) return readData(object, value);
    if ([object isKindOfClass:[NSArray class]]) return readArray(object, value);
    if ([object isKindOfClass:[NSDictionary class]]) return readDictionary(object, value);
    return readUid(object, value);
  }

  bool readString(NSString* object, std::string& text) {
    text = utf8Text(object);
    return !text.empty() || [object length] == 0 || fail("a text with half a character");
  }

  bool readText(NSString* object, Value& value) {
    std::string text;
    if (!readString(object, text)) return false;
    value = std::move(text);
    return true;
  }

  bool readNumber(NSNumber* number, Value& value) {
    if (isBoolean(number)) {
      value = [number boolValue] != NO;
    } else if (isReal(number)) {
      value = [number doubleValue];
    } else {
      return readInteger(number, value);
    }
    return true;
  }

  /// With a sign when it fits so. The number does not tell, but it equals only what it was cut down to whole.
  bool readInteger(NSNumber* number, Value& value) {
    const long long integer = [number longLongValue];
    const unsigned long long natural = [number unsignedLongLongValue];
    if ([number isEqualToNumber:[NSNumber numberWithLongLong:integer]]) {
      value = static_cast<std::int64_t>(integer);
      return true;
    }
    value = static_cast<std::uint64_t>(natural);
    return [number isEqualToNumber:[NSNumber numberWithUnsignedLongLong:natural]] ||
           fail("an integer of more than 64 bits");
  }

  bool readDate(NSDate* date, Value& value) {
    value = dateOf(date);
    return true;
  }

  bool readData(NSData* data, Value& value) {
    const std::string_view bytes = bytesOf(data);
    value = Data(bytes.begin(), bytes.end());
    return true;
  }

  bool readArray(NSArray* object, Value& value) {
    Array array;
    array.reserve([object count]);
    for (id element in object) {
      if (!readObject(element, array.emplace_back())) return false;
    }
    value = std::move(array);
    return true;
  }

  bool readDictionary(NSDictionary* object, Value& value) {
    Dictionary dictionary;
    for (NSString* key in object) {
      std::string name;
      if (!readString(key, name)) return false;
      if (!readObject([object objectForKey:key], dictionary[std::move(name)])) return false;
    }
    value = dictionaryOrUid(std::move(dictionary));
    return true;
  }

  /// A reference number is of a class of the system's own that tells nothing. Its binary form does.
  bool readUid(id object, Value& value) {
    NSData* binary = [NSPropertyListSerialization dataWithPropertyList:object
                                                                format:NSPropertyListBinaryFormat_v1_0
                                                               options:0
                                                                 error:nullptr];
    const bool isUid = binary != nil && !parseBinary(bytesOf(binary), value).failed();
    return (isUid && value.as<Uid>() != nullptr) || fail("a value of an unknown type");
  }

  std::string _fault;
};

/// The check reads UTF-8. Foundation tells UTF-16 by the mark of its byte order, whatever the text declares.
Error checkText(const std::string& bytes) {
  if (!bytes.starts_with("\xFF\xFE") && !bytes.starts_with("\xFE\xFF")) return checkXml(bytes);
  NSString* text = [[[NSString alloc] initWithBytes:bytes.data()
                                             length:bytes.size()
                                           encoding:NSUTF16StringEncoding] autorelease];
  return checkXml(utf8Text(text));
}

Error parseWithFoundation(const std::string& bytes, Value& value) {
  NSPropertyListFormat format = NSPropertyListXMLFormat_v1_0;
  NSError* error = nil;
  id object = [NSPropertyListSerialization propertyListWithData:[NSData dataWithBytes:bytes.data()
                                                                               length:bytes.size()]
                                                        options:NSPropertyListImmutable
                                                         format:&format
                                                          error:&error];
  if (object == nil) return malformed(error != nil ? reasonOf(error) : "it holds no value");
  if (format != NSPropertyListXMLFormat_v1_0) return malformed("it is of neither form");
  return ObjectReader().read(object, value);
}

}  // namespace

Error parseXml(const std::string& bytes, Value& value) {
  const AutoreleasePool pool;
  @try {
    if (auto error = checkText(bytes)) return error;
    return parseWithFoundation(bytes, value);
  } @catch (NSException* exception) {
    return malformed(reasonOf(exception));
  }
}

}  // namespace platform::plist
