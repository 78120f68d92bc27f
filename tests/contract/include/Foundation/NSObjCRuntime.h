#pragma once

#import <Availability.h>
#import <TargetConditionals.h>
#import <objc/NSObject.h>
#import <objc/objc.h>

#include <limits.h>
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

typedef double NSTimeInterval;
