/// What the macOS backend uses of CoreFoundation, declared from the documented interfaces of macOS 10.13:
/// names, types, and the version that introduced or deprecated what is not in 10.4. Nothing that is not used.
#pragma once

#include <Availability.h>
#include <MacTypes.h>
#include <TargetConditionals.h>
#include <stdbool.h>
#include <stdint.h>

#define CF_EXPORT extern "C"
#define CF_INTRODUCED(version) __attribute__((availability(macos, introduced = version)))
#define CF_OUTDATED(since, until) __attribute__((availability(macos, introduced = since, deprecated = until)))
#define CF_BRIDGED_TYPE(type) __attribute__((objc_bridge(type)))

typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef signed long CFIndex;
typedef const CF_BRIDGED_TYPE(id) void* CFTypeRef;

typedef const struct CF_BRIDGED_TYPE(NSString) __CFString* CFStringRef;
typedef const struct __CFAllocator* CFAllocatorRef;

static const CFIndex kCFNotFound = -1;

/// Null stands for it.
CF_EXPORT const CFAllocatorRef kCFAllocatorDefault;

CF_EXPORT CFTypeID CFGetTypeID(CFTypeRef cf);
/// Null is no object that it takes.
CF_EXPORT void CFRelease(CFTypeRef cf);

typedef const struct CF_BRIDGED_TYPE(NSArray) __CFArray* CFArrayRef;

CF_EXPORT CFIndex CFArrayGetCount(CFArrayRef theArray);
CF_EXPORT const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);

typedef const struct CF_BRIDGED_TYPE(NSData) __CFData* CFDataRef;

CF_EXPORT CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CF_EXPORT CFIndex CFDataGetLength(CFDataRef theData);
CF_EXPORT const UInt8* CFDataGetBytePtr(CFDataRef theData);

typedef double CFTimeInterval;
/// Seconds since 2001-01-01 00:00:00 UTC.
typedef CFTimeInterval CFAbsoluteTime;
typedef const struct CF_BRIDGED_TYPE(NSDate) __CFDate* CFDateRef;

CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;

CF_EXPORT CFTypeID CFDateGetTypeID(void);
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef theDate);

typedef struct CF_BRIDGED_TYPE(NSError) __CFError* CFErrorRef;

CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef err) CF_INTRODUCED(10.5);

typedef CFTypeRef CFPropertyListRef;

enum CFPropertyListMutabilityOptions : CFOptionFlags {
  kCFPropertyListImmutable = 0,
};
typedef enum CFPropertyListMutabilityOptions CFPropertyListMutabilityOptions;

enum CFPropertyListFormat : CFIndex {
  kCFPropertyListBinaryFormat_v1_0 = 200,
};
typedef enum CFPropertyListFormat CFPropertyListFormat;

CF_EXPORT CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                                         CFOptionFlags options, CFPropertyListFormat* format,
                                                         CFErrorRef* error) CF_INTRODUCED(10.6);
CF_EXPORT CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                             CFPropertyListFormat format, CFOptionFlags options,
                                             CFErrorRef* error) CF_INTRODUCED(10.6);

CF_EXPORT const CFStringRef kCFPreferencesAnyHost;
CF_EXPORT const CFStringRef kCFPreferencesCurrentHost;
CF_EXPORT const CFStringRef kCFPreferencesAnyUser;
CF_EXPORT const CFStringRef kCFPreferencesCurrentUser;

CF_EXPORT Boolean CFPreferencesAppSynchronize(CFStringRef applicationID);
/// Null when there is no such value.
CF_EXPORT CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef applicationID,
                                                   CFStringRef userName, CFStringRef hostName);
/// A null value removes the key.
CF_EXPORT void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID,
                                     CFStringRef userName, CFStringRef hostName);
CF_EXPORT Boolean CFPreferencesSynchronize(CFStringRef applicationID, CFStringRef userName,
                                           CFStringRef hostName);
/// Null when there are none.
CF_EXPORT CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName,
                                              CFStringRef hostName);

typedef struct __CFRunLoop* CFRunLoopRef;

CF_EXPORT CFRunLoopRef CFRunLoopGetCurrent(void);
/// Ends the innermost run after what it does at present, whatever that is.
CF_EXPORT void CFRunLoopStop(CFRunLoopRef rl);

typedef UInt32 CFStringEncoding;
enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

/// Null for bytes that are not of the encoding.
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                              CFStringEncoding encoding, Boolean isExternalRepresentation);
CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
/// kCFNotFound when the size would be beyond a CFIndex.
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);

typedef const struct CF_BRIDGED_TYPE(NSURL) __CFURL* CFURLRef;

/// Null for what is no URL.
CF_EXPORT CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* URLBytes, CFIndex length,
                                        CFStringEncoding encoding, CFURLRef baseURL);
/// A relative path is one in the current folder.
CF_EXPORT CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                           CFIndex bufLen, Boolean isDirectory);
CF_EXPORT Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                                   CFIndex maxBufLen);
