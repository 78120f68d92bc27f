#pragma once

#import <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSUInteger, NSURLRequestCachePolicy) {
  NSURLRequestUseProtocolCachePolicy = 0,
  NSURLRequestReloadIgnoringCacheData = 1,
};

@interface NSURLRequest : NSObject <NSCopying, NSMutableCopying>
@property(nullable, readonly, copy) NSURL* URL;
@end

@interface NSMutableURLRequest : NSURLRequest
@property(nullable, copy) NSURL* URL;
@property NSURLRequestCachePolicy cachePolicy;
/// The longest time without activity, in seconds.
@property NSTimeInterval timeoutInterval;
@end

@interface NSMutableURLRequest (NSMutableHTTPURLRequest)
@property BOOL HTTPShouldHandleCookies;
- (void)setValue:(nullable NSString*)value forHTTPHeaderField:(NSString*)field;
@end

NS_ASSUME_NONNULL_END
