#pragma once
// What the tests of the escapes share: the structures that applications send, a small path, a device to send them to.

#include <string>

#include "tests/common/fault_test.h"

namespace kv::test {

inline Bytes word(int value) { return BytesBuilder().u16({value}).bytes; }
inline Bytes dword(int64_t value) { return BytesBuilder().u32({value}).bytes; }

struct Pen {
    int style, width;
    int64_t colour;
};
struct Fill {
    int style;
    int64_t colour;
    int hatch;
};
constexpr Pen kNoPen = {PS_NULL, 0, 0};
constexpr Fill kNoFill = {BS_NULL, 0, 0};

inline Bytes path_info(int render_mode, int fill_mode, const Pen& pen, const Fill& fill, bool of_64_bits = false) {
    BytesBuilder info;
    info.u16({render_mode}).u8({fill_mode, 0}).u32({pen.style, pen.width, 0, pen.colour});
    if (of_64_bits) info.u32({BS_SOLID});  // padding
    info.u32({fill.style, fill.colour, fill.hatch});
    if (of_64_bits) info.u32({0});
    return info.bytes;
}

// An open figure of three points.
struct Corner : engine::Path {
    explicit Corner(int x = 10) {
        move_to(at(x, 10));
        line_to(at(x + 10, 10));
        line_to(at(x + 10, 30));
    }
};
// Its points, and a path record's body up to them with the flags of its only entry.
inline const char* const kPoints = "0A00 0A00 1400 0A00 1400 1E00";
inline std::string body(const char* entry_flags) { return std::string("10 00 01 ") + entry_flags + " 03 " + kPoints; }

struct EscapeTest : FaultTest {
    ULONG escape(ULONG code, const Bytes& in = {}) { return device->escape(code, in); }
    BOOL stroke(engine::Path& path, engine::Clip* clip = nullptr) {
        engine::Brush black = engine::Brush::solid(0);
        return device->stroke(path, clip, nullptr, black, hairline());
    }
    void capture(int x = 10) {
        Corner corner(x);
        EXPECT_EQ(escape(BEGIN_PATH), 1u);
        EXPECT_TRUE(stroke(corner));
    }
    void expect_page(const std::string& hex) {
        end_page_and_document();
        EXPECT_EQ(to_hex(page_records()), to_hex(from_hex(hex)));
        EXPECT_EQ(faults_of(job()), "");
    }
};

}  // namespace kv::test
