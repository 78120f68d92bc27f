/// What the macOS backend uses of CoreServices, declared from the documented interfaces of macOS 10.13:
/// names, types, and the version that introduced or deprecated what is not in 10.4. Nothing that is not used.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

enum {
  gestaltSystemVersionMajor = 'sys1',
  gestaltSystemVersionMinor = 'sys2',
  gestaltSystemVersionBugFix = 'sys3',
};

CF_EXPORT OSErr Gestalt(OSType selector, SInt32* response) CF_OUTDATED(10.0, 10.8);

typedef struct FSRef FSRef;

typedef OptionBits LSRolesMask;
enum : LSRolesMask { kLSRolesAll = 0xFFFFFFFF };
enum : OSType { kLSUnknownCreator = 0 };
enum : OSStatus { kLSApplicationNotFoundErr = -10814 };

/// Null when there are none.
CF_EXPORT CFArrayRef LSCopyApplicationURLsForURL(CFURLRef inURL, LSRolesMask inRoleMask) CF_INTRODUCED(10.3);
CF_EXPORT CFURLRef LSCopyDefaultApplicationURLForURL(CFURLRef inURL, LSRolesMask inRoleMask,
                                                     CFErrorRef* outError) CF_INTRODUCED(10.10);
CF_EXPORT CFArrayRef LSCopyApplicationURLsForBundleIdentifier(CFStringRef inBundleIdentifier,
                                                              CFErrorRef* outError) CF_INTRODUCED(10.10);
CF_EXPORT OSStatus LSFindApplicationForInfo(OSType inCreator, CFStringRef inBundleID, CFStringRef inName,
                                            FSRef* outAppRef, CFURLRef* outAppURL) CF_OUTDATED(10.0, 10.10);
CF_EXPORT OSStatus LSRegisterURL(CFURLRef inURL, Boolean inUpdate) CF_INTRODUCED(10.3);

typedef struct CF_BRIDGED_TYPE(id) __MDItem* MDItemRef;

CF_EXPORT const CFStringRef kMDItemLastUsedDate;
CF_EXPORT const CFStringRef kMDItemFSCreationDate;

/// Null for what the index cannot have.
CF_EXPORT MDItemRef MDItemCreateWithURL(CFAllocatorRef allocator, CFURLRef url) CF_INTRODUCED(10.6);
/// Null for an attribute that the item does not have.
CF_EXPORT CFTypeRef MDItemCopyAttribute(MDItemRef item, CFStringRef name);
