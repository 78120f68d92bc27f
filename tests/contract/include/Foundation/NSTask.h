#pragma once

#import <Foundation/NSDictionary.h>

NS_ASSUME_NONNULL_BEGIN

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

NS_ASSUME_NONNULL_END
