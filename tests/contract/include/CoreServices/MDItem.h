#pragma once

#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>

typedef struct CF_BRIDGED_TYPE(id) __MDItem* MDItemRef;

CF_EXPORT const CFStringRef kMDItemLastUsedDate;
CF_EXPORT const CFStringRef kMDItemFSCreationDate;

/// Null for what the index cannot have.
CF_EXPORT MDItemRef MDItemCreateWithURL(CFAllocatorRef allocator, CFURLRef url) CF_INTRODUCED(10.6);
/// Null for an attribute that the item does not have.
CF_EXPORT CFTypeRef MDItemCopyAttribute(MDItemRef item, CFStringRef name);
