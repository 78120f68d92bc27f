#pragma once

#import <Foundation/NSURLAuthenticationChallenge.h>
#import <Foundation/NSURLProtectionSpace.h>
#import <Foundation/NSURLRequest.h>
#import <Foundation/NSURLResponse.h>

@protocol NSURLDownloadDelegate;

NS_ASSUME_NONNULL_BEGIN

@interface NSURLDownload : NSObject
/// Begins at once. Copies the request; retains the delegate until the download ends or is cancelled. Messages
/// come on the calling thread, in the default mode of its run loop.
- (instancetype)initWithRequest:(NSURLRequest*)request
                       delegate:(nullable id<NSURLDownloadDelegate>)delegate API_OUTDATED(10.3, 10.11);
/// Deletes the file.
- (void)cancel;
/// Once, before or from within the delegate's decision. A name that is taken and may not be gets a number.
- (void)setDestination:(NSString*)path allowOverwrite:(BOOL)allowOverwrite;
@property BOOL deletesFileUponFailure;
@end

@protocol NSURLDownloadDelegate <NSObject>
@optional
/// `redirectResponse` is the answer that redirects, nil for a change of the URL's form. Nil ends the
/// redirection.
- (nullable NSURLRequest*)download:(NSURLDownload*)download
                   willSendRequest:(NSURLRequest*)request
                  redirectResponse:(nullable NSURLResponse*)redirectResponse;
- (BOOL)download:(NSURLDownload*)connection
    canAuthenticateAgainstProtectionSpace:(NSURLProtectionSpace*)protectionSpace;
- (void)download:(NSURLDownload*)download
    didReceiveAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge;
- (void)download:(NSURLDownload*)download
    didCancelAuthenticationChallenge:(NSURLAuthenticationChallenge*)challenge;
- (BOOL)downloadShouldUseCredentialStorage:(NSURLDownload*)download;
- (void)download:(NSURLDownload*)download didReceiveResponse:(NSURLResponse*)response;
- (void)download:(NSURLDownload*)download didReceiveDataOfLength:(NSUInteger)length;
/// Asked for a body that is encoded, by the type of the encoding ("application/gzip").
- (BOOL)download:(NSURLDownload*)download shouldDecodeSourceDataOfMIMEType:(NSString*)encodingType;
- (void)download:(NSURLDownload*)download decideDestinationWithSuggestedFilename:(NSString*)filename;
- (void)download:(NSURLDownload*)download didCreateDestination:(NSString*)path;
- (void)downloadDidFinish:(NSURLDownload*)download;
- (void)download:(NSURLDownload*)download didFailWithError:(NSError*)error;
@end

NS_ASSUME_NONNULL_END
