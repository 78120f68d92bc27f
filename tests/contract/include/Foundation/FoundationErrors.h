#pragma once

#import <Foundation/NSObjCRuntime.h>

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
