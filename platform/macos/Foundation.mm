#import "platform/macos/Foundation.h"

#include <cerrno>

#include "platform/Printable.h"

namespace platform {
namespace {

/// "NSFileWriteVolumeReadOnlyError", which not every Foundation declares.
constexpr NSInteger kWriteVolumeReadOnlyError = 642;

/// The errno value that is nearest to a code of the Cocoa domain.
int numberOfCocoaCode(NSInteger code) {
  switch (code) {
    case NSFileNoSuchFileError:
    case NSFileReadNoSuchFileError:
      return ENOENT;
    case NSFileReadNoPermissionError:
    case NSFileWriteNoPermissionError:
      return EACCES;
    case NSFileWriteFileExistsError:
      return EEXIST;
    case NSFileWriteOutOfSpaceError:
      return ENOSPC;
    case kWriteVolumeReadOnlyError:
      return EROFS;
    case NSFileReadInvalidFileNameError:
    case NSFileWriteInvalidFileNameError:
      return EINVAL;
    case NSFileReadTooLargeError:
      return EFBIG;
    default:
      return EIO;
  }
}

int numberOf(NSError* error) {
  for (NSError* each = error; each != nil; each = [[each userInfo] objectForKey:NSUnderlyingErrorKey]) {
    if ([[each domain] isEqualToString:NSPOSIXErrorDomain] && [each code] != 0)
      return static_cast<int>([each code]);
  }
  return error != nil ? numberOfCocoaCode([error code]) : EIO;
}

}  // namespace

NSString* foundationText(std::string_view text) {
  return [[[NSString alloc] initWithBytes:text.data() length:text.size()
                                 encoding:NSUTF8StringEncoding] autorelease];
}

std::string utf8Text(NSString* text) {
  const char* bytes = [text UTF8String];
  return bytes != nullptr ? std::string(bytes, [text lengthOfBytesUsingEncoding:NSUTF8StringEncoding])
                          : std::string();
}

NSString* foundationPath(const std::string& path) {
  return [[NSFileManager defaultManager] stringWithFileSystemRepresentation:path.data() length:path.size()];
}

NSURL* fileUrl(const std::string& path) {
  NSString* text = foundationPath(path);
  return text != nil ? [NSURL fileURLWithPath:text] : nil;
}

std::string systemPath(NSString* path) {
  return [path length] > 0 ? std::string([path fileSystemRepresentation]) : std::string();
}

NSDate* foundationDate(Date date) {
  return [NSDate dateWithTimeIntervalSince1970:date.time_since_epoch().count()];
}

Error posixErrorOf(NSError* error, std::string_view path) {
  return posixError(numberOf(error), path);
}

Error raisedError(NSException* exception, std::string_view domain, std::int64_t code) {
  return {domain, code, onOneLine(utf8Text([exception name]) + ": " + utf8Text([exception reason]))};
}

}  // namespace platform
