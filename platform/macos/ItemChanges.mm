#import "platform/macos/Foundation.h"

#include <sys/stat.h>

#include <cerrno>
#include <optional>

#include "platform/AutoreleasePool.h"
#include "platform/Path.h"
#include "platform/common/ItemChanges.h"
#include "platform/common/ItemMove.h"
#include "platform/common/ItemStatus.h"
#include "platform/common/TemporaryWriteAccess.h"

namespace platform {
namespace {

/// Sets one attribute, unless the item has that value already. `otherwise` stands for an attribute that the
/// volume does not know. The file manager would set a link's target's: a link is refused.
Error setAttribute(const std::string& path, NSString* name, id value, id otherwise) {
  @try {
    NSString* item = foundationPath(path);
    if (item == nil) return posixError(EILSEQ, path);
    NSFileManager* manager = [NSFileManager defaultManager];
    NSError* error = nil;
    NSDictionary* attributes = [manager attributesOfItemAtPath:item error:&error];
    if (attributes == nil) return posixErrorOf(error, path);
    id present = [attributes objectForKey:name];
    if ([value isEqual:present != nil ? present : otherwise]) return {};
    if ([[attributes objectForKey:NSFileType] isEqual:NSFileTypeSymbolicLink])
      return posixError(ENOTSUP, path);
    const bool done = [manager setAttributes:[NSDictionary dictionaryWithObject:value forKey:name]
                                ofItemAtPath:item
                                       error:&error];
    return done ? Error{} : posixErrorOf(error, path);
  } @catch (NSException* exception) {
    return raisedError(exception, kPosixErrorDomain, EIO);
  }
}

/// An item, to be known again wherever it has gone.
std::optional<struct stat> itemAt(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

/// Where a failed replacement says that it has left the old item; empty when it does not.
std::string placeOfOldItem(NSError* error) {
  id url = [[error userInfo] objectForKey:@"NSFileOriginalItemLocationKey"];
  return [url isKindOfClass:[NSURL class]] ? systemPath([url path]) : std::string();
}

/// After a failure `oldPlace` is where the old item may be, if not in its own place.
Error replaceItem(const std::string& destination, const std::string& replacement,
                  const std::string& backupName, std::string& oldPlace) {
  const AutoreleasePool pool;
  oldPlace = joinPath(parentFolder(destination), backupName);
  @try {
    NSURL* target = fileUrl(destination);
    NSURL* source = fileUrl(replacement);
    NSString* backup = foundationPath(backupName);
    if (target == nil || source == nil || backup == nil) return moveError(EILSEQ, replacement, destination);
    NSError* error = nil;
    if ([[NSFileManager defaultManager] replaceItemAtURL:target
                                           withItemAtURL:source
                                          backupItemName:backup
                                                 options:NSFileManagerItemReplacementUsingNewMetadataOnly
                                        resultingItemURL:nullptr
                                                   error:&error]) {
      return {};
    }
    if (auto place = placeOfOldItem(error); !place.empty()) oldPlace = place;
    return posixErrorOf(error, replacement + " -> " + destination);
  } @catch (NSException* exception) {
    return raisedError(exception, kPosixErrorDomain, EIO);
  }
}

}  // namespace

Error setImmutable(const std::string& path, bool immutable) {
  const AutoreleasePool pool;
  return setAttribute(path, NSFileImmutable, [NSNumber numberWithBool:immutable],
                      [NSNumber numberWithBool:NO]);
}

Error setCreationDate(const std::string& path, Date date) {
  const AutoreleasePool pool;
  const auto set = [&] { return setAttribute(path, NSFileCreationDate, foundationDate(date), nil); };
  Error error = set();
  if (error.code != EACCES) return error;
  const TemporaryWriteAccess access(path);
  return access.isGranted() ? set() : error;
}

/// The service gives another folder each time. It asks for an item of the volume: the destination itself need
/// not be there.
Error makeReplacementFolder(const std::string& destination, std::string& folder) {
  const AutoreleasePool pool;
  @try {
    NSURL* place = fileUrl(parentFolder(destination));
    if (place == nil) return posixError(EILSEQ, destination);
    NSError* error = nil;
    NSURL* made = [[NSFileManager defaultManager] URLForDirectory:NSItemReplacementDirectory
                                                         inDomain:NSUserDomainMask
                                                appropriateForURL:place
                                                           create:YES
                                                            error:&error];
    if (made == nil) return posixErrorOf(error, destination);
    folder = systemPath([made path]);
    return {};
  } @catch (NSException* exception) {
    return raisedError(exception, kPosixErrorDomain, EIO);
  }
}

/// A failure may mean that all is done but the backup could not be removed, or leave nothing in the item's
/// place.
Error putInPlace(const std::string& destination, const std::string& replacement,
                 const std::string& backupName) {
  const auto newItem = itemAt(replacement);
  std::string oldPlace;
  Error error = replaceItem(destination, replacement, backupName, oldPlace);
  if (!error.failed()) return {};
  if (const auto present = itemAt(destination))
    return newItem && isSameItem(*present, *newItem) ? Error{} : error;
  if (auto lost = moveOnVolume(oldPlace, destination)) error.description += "; " + lost.description;
  return error;
}

}  // namespace platform
