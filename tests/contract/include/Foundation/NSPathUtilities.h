#pragma once

#import <Foundation/NSArray.h>

NS_ASSUME_NONNULL_BEGIN

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

NS_ASSUME_NONNULL_END
