// Any bytes as a font whose names are read where they stand.

#include "fonts/font_names.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kv;
    if (size == 0) return 0;
    host::set_messages_quiet(true);
    const auto copy = exact_copy(data, size);
    FontNames found;
    if (!ReadFontNames(copy.get(), static_cast<DWORD>(size), found)) return 0;
    // A name that exists in one form exists in the other, unless the system lacks its code page.
    for (const NamePair* pair : {&found.names.family, &found.names.full, &found.names.postscript}) {
        const bool has_wide = !pair->wide.text.empty(), has_ansi = !pair->ansi.text.empty();
        require(has_wide == has_ansi);
    }
    return 0;
}
