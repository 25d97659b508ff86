#pragma once

#include "tests/common/host_test.h"

namespace kv::test {

using ReaderTest = HostTest;

}  // namespace kv::test
