#pragma once

#import <Foundation/NSObject.h>

@class NSNumber;

NS_ASSUME_NONNULL_BEGIN

@interface NSURL : NSObject <NSCopying>
+ (NSURL*)fileURLWithPath:(NSString*)path;
/// Nil for a text that is no URL (RFC 2396).
+ (nullable instancetype)URLWithString:(NSString*)URLString;
@property(nullable, readonly, copy) NSString* absoluteString;
@property(nullable, readonly, copy) NSString* scheme;
@property(nullable, readonly, copy) NSString* host;
@property(nullable, readonly, copy) NSNumber* port;
@property(nullable, readonly, copy) NSString* path;
@end

NS_ASSUME_NONNULL_END
