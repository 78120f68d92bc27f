#pragma once

#import <Foundation/NSObject.h>

NS_ASSUME_NONNULL_BEGIN

@interface NSTimer : NSObject
/// In the default mode of the calling thread's run loop, which retains it, as it retains its target, until it
/// is invalidated; one that does not repeat is when it fires.
+ (NSTimer*)scheduledTimerWithTimeInterval:(NSTimeInterval)ti
                                    target:(id)aTarget
                                  selector:(SEL)aSelector
                                  userInfo:(nullable id)userInfo
                                   repeats:(BOOL)yesOrNo;
- (void)invalidate;
@end

NS_ASSUME_NONNULL_END
