// A scoped autorelease pool. Objective-C++ sources use only what GCC supports, without @autoreleasepool and object
// literals, so that they also compile on Linux.
#pragma once

#import <Foundation/Foundation.h>

namespace tidra {

/// Releases objects autoreleased on this thread during its lifetime. Use as a local variable only.
class AutoreleasePool {
 public:
  AutoreleasePool() : pool_([[NSAutoreleasePool alloc] init]) {}
  ~AutoreleasePool() { [pool_ drain]; }
  AutoreleasePool(const AutoreleasePool&) = delete;
  AutoreleasePool& operator=(const AutoreleasePool&) = delete;

 private:
  NSAutoreleasePool* pool_;
};

}  // namespace tidra
