// The pool of a scope in Objective-C++. The sources in that language keep to what GCC knows of it, without
// @autoreleasepool and literals of objects, so that they also compile where there is no Mac.
#pragma once

#import <Foundation/Foundation.h>

namespace tidra {

/// Objects that are autoreleased on this thread while it is alive are released at its end. Only as a local variable.
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
