// Collections: splitting them into readers and searching them for a face.

#include "fonts/ttc.h"

#include "fonts/font_names.h"
#include "tests/common/workspace.h"
#include "tests/fonts/reader_test.h"

namespace kv {
namespace {

using namespace test;

using TtcTest = HostTest;

int count_members(CTtc& fonts) {
    int members = 0;
    for (CTtf* member = fonts.first_member(); member; member = fonts.next_member()) ++members;
    return members;
}
std::u16string family_of(const CTtf& font) { return wide(font.family().wide.text); }

// The first two members share 'name' and 'maxp', which lie before their directories; the third has a name of its own.
Bytes sample() {
    const Tables shared = {{"maxp", maxp_table(3)}, {"name", name_table({windows_name(1, u"Shared")})}};
    return collection(shared, {{{"cmap", windows_cmap()}}, {{"cmap", windows_cmap(0)}}});
}

TEST_F(TtcTest, SplitsIntoReadersThatShareTables) {
    Bytes file = sample();
    const Bytes original = file;
    CTtc fonts;
    ASSERT_TRUE(fonts.set_data(file.data(), size_of(file)));
    EXPECT_TRUE(std::equal(file.begin(), file.begin() + 20, original.begin())) << "the header stays in file order";
    const Bytes split = file;
    EXPECT_NE(split, original) << "the directories are rewritten";
    int members = 0;
    for (CTtf* member = fonts.first_member(); member; member = fonts.next_member(), ++members) {
        EXPECT_EQ(member->member_offset(), static_cast<DWORD>(member->image().data() - file.data()));
        EXPECT_EQ(member->image().size(), file.size() - member->member_offset());
        ASSERT_TRUE(member->ParseFont()) << members;
        EXPECT_EQ(family_of(*member), u"Shared");
        EXPECT_EQ(member->results().windows.encoding, members == 0 ? 1 : 0);
        EXPECT_LT(member->results().name->location, member->image().data()) << "a table before the member";
        member->SetByteOrder(ByteOrder::File);
        EXPECT_EQ(file, split) << "member " << members;
        // Another reader of the same view.
        CTtf second;
        ASSERT_TRUE(second.SetFontData(member->image().data(), static_cast<DWORD>(member->image().size()), FALSE,
                                       member->member_offset()));
        ASSERT_TRUE(second.ParseFont());
        EXPECT_EQ(family_of(second), u"Shared");
        second.SetByteOrder(ByteOrder::File);
        EXPECT_EQ(file, split);
    }
    EXPECT_EQ(members, 2);
    EXPECT_TRUE(fonts.first_member());
}

TEST_F(TtcTest, RefusesDamagedHeaders) {
    const auto members_of = [](Bytes file) {
        CTtc fonts;
        EXPECT_TRUE(fonts.set_data(file.data(), size_of(file))) << "whatever becomes of the split";
        return count_members(fonts);
    };
    const Bytes sound = sample();
    EXPECT_EQ(members_of(sound), 2);
    for (DWORD bad : {0u, size_of(sound), 0xFFFFFFFFu}) {
        Bytes file = sound;
        const Bytes offset = Big().u32({bad}).bytes;
        std::copy(offset.begin(), offset.end(), file.begin() + 16);
        const Bytes header(file.begin(), file.begin() + 20);
        EXPECT_EQ(members_of(file), 0) << bad;
        EXPECT_EQ(Bytes(file.begin(), file.begin() + 20), header);
    }
    EXPECT_EQ(members_of(Big().text("ttcf").u32({0x10000, 0}).bytes), 0);
    EXPECT_EQ(members_of(Big().text("ttcf").u32({0x10000, 1}).bytes), 0) << "no offset";
    EXPECT_EQ(members_of(ascii("ttcf")), 0);
    EXPECT_EQ(members_of(font({{"name", name_table({})}})), 0) << "no collection";
    CTtc fonts;
    EXPECT_FALSE(fonts.set_data(nullptr, 5));
    Bytes none = Big().text("ttcf").u32({0x10000, 0}).bytes;
    ASSERT_TRUE(fonts.set_data(none.data(), size_of(none)));
    EXPECT_TRUE(fonts.Split()) << "without members, but sound";
    EXPECT_TRUE(host::messages().empty());
}

TEST_F(TtcTest, LoadsFilesAndReportsMemoryThatIsOut) {
    const Bytes file = sample();
    const WCHAR* path = TEXT("C:\\Windows\\Temp\\a.ttc");
    write_file(host::host_path(path), file);
    CTtc fonts;
    ASSERT_TRUE(fonts.load_from_file(path));
    EXPECT_EQ(count_members(fonts), 2);
    EXPECT_FALSE(fonts.load_from_file(TEXT("C:\\Windows\\Temp\\none.ttc")));
    EXPECT_FALSE(fonts.first_member()) << "the former members are gone";
    DeleteFileW(path);

    Bytes bytes = file;
    host::fail_call(host::CallKind::Allocation, 1);
    EXPECT_TRUE(fonts.set_data(bytes.data(), size_of(bytes)));
    EXPECT_FALSE(fonts.first_member());
    EXPECT_EQ(bytes, file);
    EXPECT_EQ(shown(), std::vector<std::u16string>{u"Out of memory (CTtc::Split)."});
}

TEST_F(TtcTest, FindsTheMemberOfAFace) {
    host::machine().ansi_code_page = 1251;
    const Bytes file = collection(
        {}, {{{"name", name_table({windows_name(4, u"One"), windows_name(1, u"Zero")})}},
             {{"maxp", maxp_table(1)}},
             {{"name", name_table({{0, 3, 0, 1, big_utf16(u"One")}, mac_name(1, ascii("\xCF\xF0"), 32, 7)})}},
             {{"name",
               name_table({windows_name(1, u"\x41F\x440"), {2, 0, 0, 1, ascii("Two")}, windows_name(1, u"One")})}}});
    const std::pair<const WCHAR*, LONG> faces[] = {
        {TEXT("Zero"), 0}, {TEXT("One"), 2},    // the first one's is a full name
        {TEXT("@One"), 2}, {u"\x41F\x440", 2},  // in the system's code page
        {TEXT("one"), -1}, {TEXT("Two"), -1},   // neither platform
        {TEXT("On"), -1},  {TEXT(""), -1},     {TEXT("@"), -1}, {nullptr, -1}};
    for (const auto& [face, member] : faces) {
        EXPECT_EQ(find_collection_member(file.data(), size_of(file), face), member) << member;
    }
    EXPECT_EQ(find_collection_member(nullptr, 50, TEXT("One")), -1);
    EXPECT_EQ(find_collection_member(file.data(), 15, TEXT("Zero")), -1);
    const Bytes single = font({{"name", name_table({windows_name(1, u"Zero")})}});
    EXPECT_EQ(find_collection_member(single.data(), size_of(single), TEXT("Zero")), -1);
}

// Parses every member as the font cache does; each leaves the bytes as it found them.
TEST_F(TtcTest, RestoresDamagedCollections) {
    const Bytes sound = sample();
    std::mt19937 random(3);
    for (int round = 0; round < 6000; ++round) {
        Bytes file = damaged(sound, random, 6, sound.size());
        std::copy_n("ttcf", std::min<size_t>(4, file.size()), file.begin());
        CTtc fonts;
        ASSERT_TRUE(fonts.set_data(file.data(), size_of(file)));
        const Bytes split = file;
        for (CTtf* member = fonts.first_member(); member; member = fonts.next_member()) {
            member->ParseFont();
            member->SetByteOrder(ByteOrder::File);
            ASSERT_EQ(file, split) << "round " << round;
        }
    }
}

TEST_F(TtcTest, RewritesEachDirectoryOnce) {
    // Twice the same member, and one whose directory would be the header.
    const Bytes table = name_table({windows_name(1, u"Fam")});
    Big file;
    file.text("ttcf").u32({0x10000, 3, 24, 24, 4});
    file.add(directory({{"name", 52, static_cast<int64_t>(table.size())}})).add(table);
    CTtc fonts;
    ASSERT_TRUE(fonts.set_data(file.bytes.data(), size_of(file.bytes)));
    ASSERT_EQ(count_members(fonts), 3);
    for (CTtf* member : {fonts.first_member(), fonts.next_member()}) {
        EXPECT_TRUE(member->ParseFont());
        EXPECT_EQ(family_of(*member), u"Fam");
        member->SetByteOrder(ByteOrder::File);
    }
    EXPECT_EQ(file.bytes[11], 3) << "the header is no directory";
}

// Each would take hours if its cost grew with the square of its size.
TEST_F(TtcTest, FinishesOnCollectionsMadeToTakeForever) {
    Big file;
    file.text("ttcf").u32({0x10000, 100000});
    for (int i = 0; i < 100000; ++i) file.u32({400012});
    std::vector<Entry> entries(0xFFFE, Entry{"abcd", 0, 0});
    Big names;
    names.u16({0, 0xFFFF, 0});
    for (int i = 0; i < 0xFFFF; ++i) names.u16({3, 1, 0x409, 1, 6, 0});
    entries.push_back({"name", 400012 + 12 + 16 * 0xFFFF, size_of(names.bytes)});
    file.add(directory(entries)).add(names.bytes);
    EXPECT_EQ(find_collection_member(file.bytes.data(), size_of(file.bytes), TEXT("Fam")), -1);
    CTtc fonts;
    ASSERT_TRUE(fonts.set_data(file.bytes.data(), size_of(file.bytes)));
    EXPECT_FALSE(fonts.first_member()) << "no sound collection has so many members";
    file.bytes[9] = 0;
    file.bytes[10] = 0x10;
    file.bytes[11] = 0;
    ASSERT_TRUE(fonts.set_data(file.bytes.data(), size_of(file.bytes)));
    EXPECT_EQ(count_members(fonts), 4096);
}

}  // namespace
}  // namespace kv
