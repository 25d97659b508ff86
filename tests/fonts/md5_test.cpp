#include "fonts/md5.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/common/bytes.h"

namespace kv {
namespace {

std::string hex(const Md5Digest& digest) { return test::to_hex({digest.begin(), digest.end()}); }
std::span<const BYTE> bytes_of(const std::string& text) {
    return {reinterpret_cast<const BYTE*>(text.data()), text.size()};
}

// The test suite of RFC 1321, appendix A.5.
TEST(Md5, GivesTheDigestsOfTheRfc) {
    const std::pair<const char*, const char*> suite[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    Md5 sum;  // used again and again
    for (const auto& [text, digest] : suite) {
        const std::string expected = test::to_hex(test::from_hex(digest));
        EXPECT_EQ(hex(md5(bytes_of(text))), expected) << text;
        sum.update(bytes_of(text));
        EXPECT_EQ(hex(sum.finish()), expected) << text;
    }
}

TEST(Md5, DoesNotDependOnThePieces) {
    const std::string text(200, 'x');
    for (size_t length : {55u, 56u, 63u, 64u, 65u, 119u, 120u, 128u, 200u}) {
        const auto whole = bytes_of(text).first(length);
        for (size_t piece : {1u, 7u, 63u, 64u, 65u}) {
            Md5 sum;
            for (size_t at = 0; at < length; at += piece) sum.update(whole.subspan(at, std::min(piece, length - at)));
            EXPECT_EQ(sum.finish(), md5(whole)) << length << " in pieces of " << piece;
        }
    }
}

}  // namespace
}  // namespace kv
