#pragma once

#import <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

FOUNDATION_EXPORT NSString* const NSURLAuthenticationMethodClientCertificate API_INTRODUCED(10.6);
FOUNDATION_EXPORT NSString* const NSURLAuthenticationMethodServerTrust API_INTRODUCED(10.6);

@interface NSURLProtectionSpace : NSObject <NSCopying>
@property(nullable, readonly, copy) NSString* realm;
- (BOOL)isProxy;
@property(readonly, copy) NSString* host;
@property(readonly) NSInteger port;
@property(nullable, readonly, copy) NSString* protocol;
@property(readonly, copy) NSString* authenticationMethod;
@end

NS_ASSUME_NONNULL_END
