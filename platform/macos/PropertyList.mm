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
  if (error == nil) return "the system does not tell why";
  // The reader's own words, with the line; the description made for people only says that the form is wrong.
  NSString* reason = [[error userInfo] objectForKey:@"NSDebugDescription"];
  return onOneLine(trimmed(utf8Text(reason != nil ? reason : [error localizedDescription]), " ."));
}

std::string reasonOf(NSException* exception) {
  return raisedError(exception, kCocoaErrorDomain, 0).description;
}

/// The check reads UTF-8. Foundation tells UTF-16 by the mark of its byte order, whatever the text declares.
Error checkText(const std::string& bytes) {
  if (!bytes.starts_with("\xFF\xFE") && !bytes.starts_with("\xFE\xFF")) return checkXml(bytes);
  NSString* text = [[[NSString alloc] initWithBytes:bytes.data()
                                             length:bytes.size()
                                           encoding:NSUTF16StringEncoding] autorelease];
  return checkXml(utf8Text(text));
}

/// Foundation's objects do not tell all that a list can hold (a large number, a reference number). Their
/// binary form does.
Error parseWithFoundation(const std::string& bytes, Value& value) {
  NSPropertyListFormat format = NSPropertyListXMLFormat_v1_0;
  NSError* error = nil;
  id object = [NSPropertyListSerialization propertyListWithData:[NSData dataWithBytes:bytes.data()
                                                                               length:bytes.size()]
                                                        options:NSPropertyListImmutable
                                                         format:&format
                                                          error:&error];
  if (object == nil) return malformed(reasonOf(error));
  if (format != NSPropertyListXMLFormat_v1_0) return malformed("it is of neither form");
  NSData* binary = [NSPropertyListSerialization dataWithPropertyList:object
                                                              format:NSPropertyListBinaryFormat_v1_0
                                                             options:0
                                                               error:&error];
  if (binary == nil) return malformed(reasonOf(error));
  // Where it lies in that form says nothing about the list.
  const bool isRead = !parseBinary(bytesOf(binary), value).failed();
  return isRead ? Error() : malformed("it holds half a character, or an integer of more than 64 bits");
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
