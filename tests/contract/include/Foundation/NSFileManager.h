#pragma once

#import <Foundation/NSDictionary.h>
#import <Foundation/NSPathUtilities.h>

NS_ASSUME_NONNULL_BEGIN

typedef NSString* NSFileAttributeKey;
typedef NSString* NSFileAttributeType;

FOUNDATION_EXPORT NSFileAttributeKey const NSFileType;
FOUNDATION_EXPORT NSFileAttributeType const NSFileTypeSymbolicLink;
FOUNDATION_EXPORT NSFileAttributeKey const NSFileImmutable;
FOUNDATION_EXPORT NSFileAttributeKey const NSFileCreationDate;

typedef NS_OPTIONS(NSUInteger, NSFileManagerItemReplacementOptions) {
  NSFileManagerItemReplacementUsingNewMetadataOnly API_INTRODUCED(10.6) = 1UL << 0,
};

@interface NSFileManager : NSObject
@property(class, readonly, strong) NSFileManager* defaultManager;
- (nullable NSString*)stringWithFileSystemRepresentation:(const char*)str length:(NSUInteger)len;
/// Of the item itself, also when it is a link.
- (nullable NSDictionary<NSFileAttributeKey, id>*)attributesOfItemAtPath:(NSString*)path
                                                                   error:(NSError**)error
    API_INTRODUCED(10.5);
- (BOOL)setAttributes:(NSDictionary<NSFileAttributeKey, id>*)attributes
         ofItemAtPath:(NSString*)path
                error:(NSError**)error API_INTRODUCED(10.5);
- (BOOL)copyItemAtPath:(NSString*)srcPath
                toPath:(NSString*)dstPath
                 error:(NSError**)error API_INTRODUCED(10.5);
- (nullable NSURL*)URLForDirectory:(NSSearchPathDirectory)directory
                          inDomain:(NSSearchPathDomainMask)domain
                 appropriateForURL:(nullable NSURL*)url
                            create:(BOOL)shouldCreate
                             error:(NSError**)error API_INTRODUCED(10.6);
/// Both items lie on one volume. An error whose "NSFileOriginalItemLocationKey" is an URL tells where the
/// original item is now.
- (BOOL)replaceItemAtURL:(NSURL*)originalItemURL
           withItemAtURL:(NSURL*)newItemURL
          backupItemName:(nullable NSString*)backupItemName
                 options:(NSFileManagerItemReplacementOptions)options
        resultingItemURL:(NSURL* _Nullable* _Nullable)resultingURL
                   error:(NSError**)error API_INTRODUCED(10.6);
@end

NS_ASSUME_NONNULL_END
