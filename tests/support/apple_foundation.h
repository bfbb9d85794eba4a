// What Tidra uses of Apple's Foundation and GNUstep's lacks, as Apple documents it. Only to compile with.
#pragma once

#import <Foundation/Foundation.h>

@interface NSURL (LackingInGNUstep)
- (NSDictionary*)resourceValuesForKeys:(NSArray*)keys error:(NSError**)error;
@end

@interface NSFileManager (LackingInGNUstep)
- (BOOL)trashItemAtURL:(NSURL*)url resultingItemURL:(NSURL**)trashed error:(NSError**)error;
@end

extern NSString* const NSURLVolumeAvailableCapacityForImportantUsageKey;
