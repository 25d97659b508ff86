#pragma once
// Readers of fonts that tests build.

#include <random>

#include "fonts/ttf.h"
#include "tests/common/host_test.h"
#include "tests/fonts/font_builder.h"

namespace kv::test {

inline DWORD size_of(const Bytes& bytes) { return static_cast<DWORD>(bytes.size()); }
inline std::u16string wide(const NameText& text) { return text.wide() ? text.wide() : u"(none)"; }
inline std::string narrow(const NameText& text) { return text.ansi() ? text.ansi() : "(none)"; }

// A font that is parsed. At the end the way back to file order has restored the file.
template <class Reader = CTtf>
class Parsed {
public:
    explicit Parsed(Bytes file, BOOL parses = TRUE) : file_(std::move(file)) {
        EXPECT_TRUE(reader.LoadFromMemory(file_.data(), size_of(file_)));
        EXPECT_EQ(reader.ParseFont(), parses);
    }
    ~Parsed() { expect_restored(); }
    Reader* operator->() { return &reader; }
    const TtfResults& found() const { return reader.results(); }
    Bytes image() const { return {reader.image().begin(), reader.image().end()}; }
    Bytes image(size_t offset, size_t size) const {
        const auto part = reader.image().subspan(offset, size);
        return {part.begin(), part.end()};
    }
    void expect_restored() {
        reader.SetByteOrder(ByteOrder::File);
        EXPECT_EQ(image(), file_);
    }
    Reader reader;

private:
    Bytes file_;
};

// Up to that many bytes are changed, half of them among the first `head`, which decide what is read; every fourth time
// the end is cut off.
inline Bytes damaged(Bytes file, std::mt19937& random, unsigned most, size_t head) {
    for (auto changes = random() % most + 1; changes > 0; --changes) {
        const size_t at = random() % (random() % 2 ? file.size() : head);
        file[at] = static_cast<BYTE>(random() % 2 ? random() : random() % 8);
    }
    if (random() % 4 == 0) file.resize(random() % file.size() + 1);
    file.shrink_to_fit();
    return file;
}

}  // namespace kv::test
