#pragma once
// Documents made up from a seed that call every drawing hook in every way that the engine has, the same on every
// system: what two builds of the driver make of them can be compared byte by byte.

#include <memory>

#include "engine/device.h"

namespace kv::scenes {

// Letter paper at 300 dots per inch with margins, everything said by the application.
DriverDevMode device_mode(WORD compression);

// "Scene" and the seed.
engine::WideString title_of(uint32_t seed);

// Pages of random drawing; false when a hook refuses a call. The font's text is left out when there is none.
bool print_document(engine::Device& device, uint32_t seed, WORD compression,
                    const std::shared_ptr<engine::FontFile>& font);

}  // namespace kv::scenes
