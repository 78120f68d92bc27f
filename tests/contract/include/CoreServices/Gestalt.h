#pragma once

#include <CoreFoundation/CFBase.h>

enum {
  gestaltSystemVersionMajor = 'sys1',
  gestaltSystemVersionMinor = 'sys2',
  gestaltSystemVersionBugFix = 'sys3',
};

CF_EXPORT OSErr Gestalt(OSType selector, SInt32* response) CF_OUTDATED(10.0, 10.8);
