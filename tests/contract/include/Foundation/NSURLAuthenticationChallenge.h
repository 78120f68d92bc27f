#pragma once

#import <Foundation/NSObject.h>

@class NSURLAuthenticationChallenge, NSURLCredential;

NS_ASSUME_NONNULL_BEGIN

@protocol NSURLAuthenticationChallengeSender <NSObject>
- (void)useCredential:(NSURLCredential*)credential
    forAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge;
- (void)continueWithoutCredentialForAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge;
@end

@interface NSURLAuthenticationChallenge : NSObject
/// From the URL or the credential storage; after a failure the one that failed.
@property(nullable, readonly, copy) NSURLCredential* proposedCredential;
@property(readonly) NSInteger previousFailureCount;
@property(nullable, readonly, retain) id<NSURLAuthenticationChallengeSender> sender;
@end

NS_ASSUME_NONNULL_END
