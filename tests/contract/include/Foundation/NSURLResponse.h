#pragma once

#import <Foundation/NSDictionary.h>

NS_ASSUME_NONNULL_BEGIN

#define NSURLResponseUnknownLength ((long long)-1)

@interface NSURLResponse : NSObject <NSCopying>
@property(nullable, readonly, copy) NSURL* URL;
@property(nullable, readonly, copy) NSString* MIMEType;
@property(readonly) long long expectedContentLength;
@property(nullable, readonly, copy) NSString* textEncodingName;
@property(nullable, readonly, copy) NSString* suggestedFilename;
@end

@interface NSHTTPURLResponse : NSURLResponse
@property(readonly) NSInteger statusCode;
@property(readonly, copy) NSDictionary* allHeaderFields;
@end

NS_ASSUME_NONNULL_END
