// Any bytes as a collection: each member leaves the bytes as the split left them.

#include "fonts/full_name_reader.h"
#include "fonts/ttc.h"
#include "tests/fuzz/fuzz_input.h"

namespace kv {
namespace {

void split(const BYTE* data, size_t size) {
    const auto bytes = exact_copy(data, size);
    CTtc fonts;
    fonts.set_data(bytes.get(), static_cast<DWORD>(size));
    const auto after_split = exact_copy(bytes.get(), size);
    // Enough members: damaged collections have thousands of the same.
    int left = 32;
    for (CTtf* member = fonts.first_member(); member && left > 0; member = fonts.next_member(), --left) {
        member->ParseFont();
        member->CharToGlyph(0x41);
        member->SetByteOrder(ByteOrder::File);
        require(std::equal(bytes.get(), bytes.get() + size, after_split.get()));
    }
    left = 32;
    for (CTtf* member = fonts.first_member(); member && left > 0; member = fonts.next_member(), --left) {
        CTtfFullNameReader names;
        require(names.SetFontData(member->image().data(), static_cast<DWORD>(member->image().size()), FALSE,
                                  member->member_offset()));
        names.ParseFont();
        names.SetByteOrder(ByteOrder::File);
    }
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    kv::host::set_messages_quiet(true);
    kv::split(data, size);
    return 0;
}
