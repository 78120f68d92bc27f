/// What the macOS backend uses of AppKit, declared from the documented interfaces of macOS 10.13: names,
/// types, nullability, and the version that introduced or deprecated what is not in 10.4. Nothing that is not
/// used.
#pragma once

#import <Foundation/Foundation.h>
#include <sys/types.h>

NS_ASSUME_NONNULL_BEGIN

API_INTRODUCED(10.6)
@interface NSRunningApplication : NSObject
@property(readonly, getter=isTerminated) BOOL terminated;
@property(readonly, getter=isActive) BOOL active;
@property(nullable, readonly, copy) NSURL* bundleURL;
/// -1 for an application that has no process, or none any more.
@property(readonly) pid_t processIdentifier;
+ (NSArray<NSRunningApplication*>*)runningApplicationsWithBundleIdentifier:(NSString*)bundleIdentifier;
@end

NS_ASSUME_NONNULL_END
