#pragma once

#include <CoreFoundation/CFBase.h>

typedef struct CF_BRIDGED_TYPE(NSError) __CFError* CFErrorRef;

CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef err) CF_INTRODUCED(10.5);
