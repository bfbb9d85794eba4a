#include "core/scan/scan_roots.h"

#include <gtest/gtest.h>

#include "tests/support/tables.h"

namespace tidra {
namespace {

const TidraPathResolver resolver{"/home/u", {}};

TEST(ScanRoots, OfTheSetting) {
  using enum TidraScanDefaultLocation;
  const auto resolve = [](TidraScanDefaultLocation location, std::string_view custom) {
    return TidraScanRootResolver::resolve(location, custom, resolver);
  };
  EXPECT_EQ(resolve(home, "/ignored").path, "/home/u");
  EXPECT_EQ(resolve(entireMac, "/ignored"), (ScanRoot{"/", "Entire Mac"}));
  EXPECT_EQ(resolve(custom, " \n\t").path, "/home/u");
  EXPECT_EQ(resolve(custom, "  ~/code/./x/../y/ \r\n"), (ScanRoot{"/home/u/code/y", "/home/u/code/y"}));
  EXPECT_EQ(resolve(custom, "/srv//x"), (ScanRoot{"/srv/x", "/srv/x"}));
}

TEST(ScanRoots, OfALabelInTheHistory) {
  for (const auto& [display, path] :
       rowsOf("~ => /home/u | ~/ => /home/u | ~// => /home/u | ~//code// => /home/u/code | Entire Mac => / | / => / | "
              "All user-accessible paths => /Users | /srv/x => /srv/x | => /home/u | something else => /home/u"))
    EXPECT_EQ(TidraScanRootResolver::fromDisplay(display, resolver), path) << display;
}

}  // namespace
}  // namespace tidra
