// Any bytes as a collection that is searched for a face. The first byte says how many units of a face name follow.

#include "fonts/font_names.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kv;
    host::set_messages_quiet(true);
    const size_t units = size ? data[0] % 32u : 0;
    if (size < 2 + 2 * units) return 0;
    WCHAR face[33] = {};
    for (size_t i = 0; i < units; ++i) face[i] = static_cast<WCHAR>(data[1 + 2 * i] << 8 | data[2 + 2 * i]);
    data += 1 + 2 * units;
    size -= 1 + 2 * units;
    const auto copy = exact_copy(data, size);
    const LONG member = find_collection_member(copy.get(), static_cast<DWORD>(size), face);
    require(member >= -1 && (member < 0 || 12 + 4 * (size_t(member) + 1) <= size));
    return 0;
}
