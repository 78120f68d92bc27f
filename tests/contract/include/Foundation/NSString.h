#pragma once

#import <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

typedef NSUInteger NSStringEncoding;
enum : NSUInteger { NSUTF8StringEncoding = 4, NSUTF16StringEncoding = 10 };

@interface NSString : NSObject <NSCopying, NSMutableCopying>
@property(readonly) NSUInteger length;
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)len
                              encoding:(NSStringEncoding)encoding;
@property(nullable, readonly) const char* UTF8String NS_RETURNS_INNER_POINTER;
- (NSUInteger)lengthOfBytesUsingEncoding:(NSStringEncoding)enc;
- (BOOL)isEqualToString:(NSString*)aString;
@end

@interface NSString (NSStringPathExtensions)
/// Raises NSInvalidArgumentException for a text that has no form in the file system.
@property(readonly) const char* fileSystemRepresentation NS_RETURNS_INNER_POINTER;
@end

NS_ASSUME_NONNULL_END
