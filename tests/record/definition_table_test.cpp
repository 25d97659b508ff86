// The definitions of a job: found by content, and by the name of a use before, which may be another job's.

#include "record/definition_table.h"

#include "support/little_endian.h"
#include "tests/common/bytes.h"
#include "tests/common/host_test.h"

namespace kv::test {
namespace {

struct DefinitionTableTest : HostTest {
    // As long as a hatch, and as a font's definition.
    static Bytes content(DWORD number, size_t size = 16) {
        Bytes bytes(size);
        store_u32(bytes.data() + size / 2, number);
        return bytes;
    }
    static DWORD id_of(DWORD number) { return 0x20000000 | number * 22; }
};

TEST_F(DefinitionTableTest, FindsOneAmongMany) {
    constexpr DWORD kMany = 5000;
    DefinitionTable table;
    EXPECT_EQ(table.find(content(1), 5), 0u);
    for (DWORD i = 1; i <= kMany; ++i) {
        if (i == 257) host::fail_call(host::CallKind::Allocation, 1);  // it goes on without more room
        EXPECT_NE(table.add(content(i), id_of(i)), nullptr);
    }
    EXPECT_EQ(host::failed_function(), "HeapAlloc");
    for (DWORD i = 1; i <= kMany; ++i) {
        for (DWORD named : {DWORD{0}, id_of(i), id_of(1)}) EXPECT_EQ(table.find(content(i), named), id_of(i));
    }
    EXPECT_EQ(table.find(content(kMany + 1), id_of(1)), 0u);
    EXPECT_EQ(table.find(content(1, 15)) | table.find(content(1, 17)) | table.find({}), 0u);
    EXPECT_TRUE(host::messages().empty());
    table.clear();
    EXPECT_FALSE(table.any());
    EXPECT_EQ(table.find(content(1), id_of(1)), 0u);
}

TEST_F(DefinitionTableTest, KeepsIdentifiersInPlaceAndMovesWhole) {
    DefinitionTable table, moved;
    DWORD* later = table.add(content(1, 96), 0);
    for (DWORD i = 2; i < 1000; ++i) table.add(content(i, 96), id_of(i));
    *later = 7;
    moved = std::move(table);
    EXPECT_EQ(moved.find(content(1, 96)), 7u);
    EXPECT_EQ(moved.find(content(999, 96)), id_of(999));
    EXPECT_FALSE(table.any());  // NOLINT(bugprone-use-after-move): what is left is empty
}

// What there is no memory for is not known, and nothing else is harmed.
TEST_F(DefinitionTableTest, GoesWithoutWhatHasNoRoom) {
    for (uint64_t call : {1u, 2u}) {  // the buckets, and the definition
        DefinitionTable table;
        host::fail_call(host::CallKind::Allocation, call);
        EXPECT_EQ(table.add(content(1), 1), nullptr);
        EXPECT_EQ(table.find(content(1), 1), 0u);
        EXPECT_NE(table.add(content(2), 2), nullptr);
        EXPECT_EQ(table.find(content(2)), 2u);
    }
}

}  // namespace
}  // namespace kv::test
