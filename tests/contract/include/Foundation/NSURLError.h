#pragma once

#import <Foundation/NSError.h>

FOUNDATION_EXPORT NSErrorDomain _Nonnull const NSURLErrorDomain;
