#pragma once
// The system's property sheets, and what the common host of printers' sheets asks of a driver.

#include "platform/win32.h"

// clang-format off
#include <prsht.h>
#include <winddiui.h>
// clang-format on
