#pragma once

#import <Foundation/NSData.h>
#import <Foundation/NSRunLoop.h>
#import <Foundation/NSURLAuthenticationChallenge.h>
#import <Foundation/NSURLProtectionSpace.h>
#import <Foundation/NSURLRequest.h>
#import <Foundation/NSURLResponse.h>

NS_ASSUME_NONNULL_BEGIN

@interface NSURLConnection : NSObject
/// Copies the request; retains the delegate until the connection ends or is cancelled.
- (nullable instancetype)initWithRequest:(NSURLRequest*)request
                                delegate:(nullable id)delegate
                        startImmediately:(BOOL)startImmediately API_OUTDATED(10.5, 10.11);
- (void)start API_INTRODUCED(10.5);
/// No message reaches the delegate from then on.
- (void)cancel;
/// In place of the default mode, before the start.
- (void)scheduleInRunLoop:(NSRunLoop*)aRunLoop forMode:(NSRunLoopMode)mode API_INTRODUCED(10.5);
@end

@protocol NSURLConnectionDelegate <NSObject>
@optional
- (void)connection:(NSURLConnection*)connection didFailWithError:(NSError*)error;
- (BOOL)connection:(NSURLConnection*)connection
    canAuthenticateAgainstProtectionSpace:(NSURLProtectionSpace*)protectionSpace API_OUTDATED(10.6, 10.10);
- (void)connection:(NSURLConnection*)connection
    didReceiveAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge API_OUTDATED(10.2, 10.10);
@end

@protocol NSURLConnectionDataDelegate <NSURLConnectionDelegate>
@optional
/// `response` is the answer that redirects, nil for a change of the URL's form. Nil ends the redirection.
- (nullable NSURLRequest*)connection:(NSURLConnection*)connection
                     willSendRequest:(NSURLRequest*)request
                    redirectResponse:(nullable NSURLResponse*)response;
- (void)connection:(NSURLConnection*)connection didReceiveResponse:(NSURLResponse*)response;
- (void)connection:(NSURLConnection*)connection didReceiveData:(NSData*)data;
- (void)connectionDidFinishLoading:(NSURLConnection*)connection;
@end

NS_ASSUME_NONNULL_END
