// GoogleMock's matchers under their short names, for every test.
#pragma once

#include <gmock/gmock.h>

#include "tests/support/tables.h"

namespace tidra {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

}  // namespace tidra
