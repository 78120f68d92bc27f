#pragma once

#import <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

typedef NS_OPTIONS(NSUInteger, NSPropertyListMutabilityOptions) {
  NSPropertyListImmutable = 0,
};

typedef NS_ENUM(NSUInteger, NSPropertyListFormat) {
  NSPropertyListXMLFormat_v1_0 = 100,
  NSPropertyListBinaryFormat_v1_0 = 200,
};

typedef NSPropertyListMutabilityOptions NSPropertyListReadOptions;
typedef NSUInteger NSPropertyListWriteOptions;

@interface NSPropertyListSerialization : NSObject
+ (nullable NSData*)dataWithPropertyList:(id)plist
                                  format:(NSPropertyListFormat)format
                                 options:(NSPropertyListWriteOptions)opt
                                   error:(NSError* _Nullable* _Nullable)error API_INTRODUCED(10.6);
/// `format` is set to the form that was found, which can be the old one of texts (1).
+ (nullable id)propertyListWithData:(NSData*)data
                            options:(NSPropertyListReadOptions)opt
                             format:(nullable NSPropertyListFormat*)format
                              error:(NSError* _Nullable* _Nullable)error API_INTRODUCED(10.6);
@end

NS_ASSUME_NONNULL_END
