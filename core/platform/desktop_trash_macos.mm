// Not run on any machine but a Mac, and so far untested.
#include "core/platform/desktop_trash_macos.h"

#import <Foundation/Foundation.h>

namespace tidra {

Outcome<std::string> moveToDesktopTrash(const std::string& path) {
  @autoreleasepool {
    NSFileManager* manager = [NSFileManager defaultManager];
    NSString* text = [manager stringWithFileSystemRepresentation:path.c_str() length:path.size()];
    NSURL* landed = nil;
    NSError* error = nil;
    if ([manager trashItemAtURL:[NSURL fileURLWithPath:text] resultingItemURL:&landed error:&error]) {
      return std::string([landed fileSystemRepresentation]);
    }
    NSError* cause = error.userInfo[NSUnderlyingErrorKey];
    const bool isPosix = [cause.domain isEqualToString:NSPOSIXErrorDomain];
    return std::error_code(isPosix ? static_cast<int>(cause.code) : EIO, std::generic_category());
  }
}

}  // namespace tidra
