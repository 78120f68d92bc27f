/// What the macOS backend uses of Foundation, declared from the documented interfaces of macOS 10.13: names,
/// types, nullability, and the version that introduced or deprecated what is not in 10.4. Nothing that is not
/// used.
#pragma once

#include <Availability.h>
#include <TargetConditionals.h>
#include <limits.h>
#import <objc/NSObject.h>
#import <objc/objc.h>
#include <stdint.h>

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define NS_ENUM(type, name) \
  enum name : type name;    \
  enum name : type
#define NS_OPTIONS(type, name)                      \
  enum __attribute__((flag_enum)) name : type name; \
  enum __attribute__((flag_enum)) name : type
#define NS_RETURNS_INNER_POINTER __attribute__((objc_returns_inner_pointer))
#define FOUNDATION_EXPORT extern "C"
#define API_INTRODUCED(version) __attribute__((availability(macos, introduced = version)))
#define API_OUTDATED(since, until) \
  __attribute__((availability(macos, introduced = since, deprecated = until)))

NS_ASSUME_NONNULL_BEGIN

@class NSData, NSDate, NSError, NSNumber, NSString, NSURL, NSURLAuthenticationChallenge, NSURLCredential;

typedef double NSTimeInterval;

/// Codes of the Cocoa domain.
enum : NSInteger {
  NSFileNoSuchFileError = 4,
  NSFileReadNoPermissionError = 257,
  NSFileReadInvalidFileNameError = 258,
  NSFileReadNoSuchFileError = 260,
  NSFileReadTooLargeError API_INTRODUCED(10.5) = 263,
  NSFileWriteNoPermissionError = 513,
  NSFileWriteInvalidFileNameError = 514,
  NSFileWriteFileExistsError API_INTRODUCED(10.7) = 516,
  NSFileWriteOutOfSpaceError = 640,
};

@protocol NSCopying
- (id)copyWithZone:(nullable struct _NSZone*)zone;
@end

@protocol NSMutableCopying
- (id)mutableCopyWithZone:(nullable struct _NSZone*)zone;
@end

typedef struct {
  unsigned long state;
  id __unsafe_unretained _Nullable* _Nullable itemsPtr;
  unsigned long* _Nullable mutationsPtr;
  unsigned long extra[5];
} NSFastEnumerationState;

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)length;
@end

@interface NSArray<__covariant ObjectType> : NSObject <NSCopying, NSMutableCopying, NSFastEnumeration>
@property(nullable, nonatomic, readonly) ObjectType firstObject API_INTRODUCED(10.6);
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
- (void)addObject:(ObjectType)anObject;
+ (instancetype)arrayWithCapacity:(NSUInteger)numItems;
@end

@interface NSAutoreleasePool : NSObject
- (void)drain;
@end

@interface NSBundle : NSObject
/// The folder of the executable for a plain command-line program.
@property(class, readonly, strong) NSBundle* mainBundle;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
@end

@interface NSData : NSObject <NSCopying, NSMutableCopying>
@property(readonly) NSUInteger length;
/// Null for empty data.
@property(readonly) const void* bytes NS_RETURNS_INNER_POINTER;
+ (instancetype)dataWithBytes:(nullable const void*)bytes length:(NSUInteger)length;
@end

@interface NSDate : NSObject <NSCopying>
+ (instancetype)dateWithTimeIntervalSince1970:(NSTimeInterval)secs;
+ (instancetype)dateWithTimeIntervalSinceNow:(NSTimeInterval)secs;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType>
    : NSObject <NSCopying, NSMutableCopying, NSFastEnumeration>
- (nullable ObjectType)objectForKey:(KeyType)aKey;
+ (instancetype)dictionaryWithObject:(ObjectType)object forKey:(KeyType<NSCopying>)key;
@end

@interface NSMutableDictionary<KeyType, ObjectType> : NSDictionary <KeyType, ObjectType>
- (void)setObject:(ObjectType)anObject forKey:(KeyType<NSCopying>)aKey;
+ (instancetype)dictionaryWithCapacity:(NSUInteger)numItems;
@end

typedef NSString* NSErrorDomain;
typedef NSString* NSErrorUserInfoKey;

FOUNDATION_EXPORT NSErrorDomain const NSPOSIXErrorDomain;
FOUNDATION_EXPORT NSErrorDomain const NSOSStatusErrorDomain;
FOUNDATION_EXPORT NSErrorDomain const NSURLErrorDomain;
FOUNDATION_EXPORT NSErrorUserInfoKey const NSUnderlyingErrorKey;

@interface NSError : NSObject <NSCopying>
@property(readonly, copy) NSErrorDomain domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSDictionary<NSErrorUserInfoKey, id>* userInfo;
@property(readonly, copy) NSString* localizedDescription;
@end

typedef NSString* NSExceptionName;

@interface NSException : NSObject <NSCopying>
@property(readonly, copy) NSExceptionName name;
@property(nullable, readonly, copy) NSString* reason;
@end

@interface NSFileHandle : NSObject
@property(class, readonly, strong) NSFileHandle* fileHandleWithNullDevice;
@end

typedef NS_ENUM(NSUInteger, NSSearchPathDirectory) {
  NSApplicationDirectory = 1,
  NSLibraryDirectory = 5,
  NSDesktopDirectory = 12,
  NSItemReplacementDirectory API_INTRODUCED(10.6) = 99,
};

typedef NS_OPTIONS(NSUInteger, NSSearchPathDomainMask) {
  NSUserDomainMask = 1,
  NSLocalDomainMask = 2,
};

FOUNDATION_EXPORT NSString* NSHomeDirectory(void);
FOUNDATION_EXPORT NSArray<NSString*>* NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory directory,
                                                                          NSSearchPathDomainMask domainMask,
                                                                          BOOL expandTilde);

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

typedef NSString* NSRunLoopMode;

FOUNDATION_EXPORT NSRunLoopMode const NSDefaultRunLoopMode;

@interface NSRunLoop : NSObject
@property(class, readonly, strong) NSRunLoop* currentRunLoop;
/// Returns after the first input source; a timer is none. NO at once when there is neither.
- (BOOL)runMode:(NSRunLoopMode)mode beforeDate:(NSDate*)limitDate;
@end

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

@interface NSTask : NSObject
@property(nullable, copy) NSArray<NSString*>* arguments;
@property(nullable, copy) NSDictionary<NSString*, NSString*>* environment;
/// An NSFileHandle or an NSPipe; null: this process's own.
@property(nullable, retain) id standardInput;
@property(nullable, retain) id standardOutput;
@property(nullable, retain) id standardError;
@property(readonly) int processIdentifier;
@property(readonly, getter=isRunning) BOOL running;
/// Raises NSInvalidArgumentException while the task runs.
@property(readonly) int terminationStatus;
@end

@interface NSTask (NSDeprecated)
@property(nullable, copy) NSString* launchPath;
@property(copy) NSString* currentDirectoryPath;
/// Raises NSInvalidArgumentException when the task cannot be started, or was before.
- (void)launch;
@end

@interface NSTimer : NSObject
/// In the default mode of the calling thread's run loop, which retains it, as it retains its target, until it
/// is invalidated; one that does not repeat is when it fires.
+ (NSTimer*)scheduledTimerWithTimeInterval:(NSTimeInterval)ti
                                    target:(id)aTarget
                                  selector:(SEL)aSelector
                                  userInfo:(nullable id)userInfo
                                   repeats:(BOOL)yesOrNo;
- (void)invalidate;
@end

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

@protocol NSURLDownloadDelegate;

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

@interface NSValue : NSObject <NSCopying>
@end

@interface NSNumber : NSValue
@property(readonly) unsigned long long unsignedLongLongValue;
+ (NSNumber*)numberWithBool:(BOOL)value;
@end

NS_ASSUME_NONNULL_END
