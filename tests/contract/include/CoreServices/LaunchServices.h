#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFURL.h>

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
