// The record stream: framing, compression, and the primitives that the recorders write with.

#include <zlib.h>

#include <algorithm>

#include "record/record_types.h"
#include "tests/common/print_test.h"

namespace kv::test {
namespace {

constexpr BYTE kType = kRecordRectFill16;  // without attributes that matter here
constexpr int kCompressed = 0x10;

struct RecordStreamTest : PrintTest {
    static Bytes payload(size_t length) {
        Bytes bytes(length);
        for (size_t i = 0; i < length; ++i) bytes[i] = static_cast<BYTE>(i * 7 + i / 256);
        return bytes;
    }
    // What write() puts behind the page start.
    template <class Write>
    Bytes written(Write write) {
        host::printer(printer).output.clear();
        start_page();
        write(pdevice());
        end_page_and_document();
        return page_records();
    }
};

TEST_F(RecordStreamTest, FramesByLength) {
    struct {
        size_t length;
        const char* header;
    } cases[] = {{0, "0E 00"},        {1, "0E 01"},          {253, "0E FD"},
                 {254, "0E FE FE00"}, {65535, "0E FE FFFF"}, {65536, "0E FF 00 00000100"}};
    for (const auto& test : cases) {
        const Bytes data = payload(test.length);
        const Bytes record = written([&](PDEVICE& out) {
            EXPECT_TRUE(out.WriteRecord(kType, static_cast<DWORD>(data.size()), data.data()));
            EXPECT_EQ(out.statistics.largest_record, std::max<size_t>(test.length, 8));  // 8: the header record
        });
        Bytes expected = from_hex(test.header);
        expected.insert(expected.end(), data.begin(), data.end());
        EXPECT_EQ(record, expected) << test.length;
    }
}

TEST_F(RecordStreamTest, CompressesLongRecordsOnly) {
    set(u"Compression", kCompressed);
    for (size_t length : {253u, 254u, 300u, 100000u, 3000000u}) {
        const Bytes data = payload(length);
        const Bytes record = written([&](PDEVICE& out) {
            EXPECT_TRUE(out.WriteRecord(kType, static_cast<DWORD>(length), data.data()));
            EXPECT_EQ(out.statistics.largest_record, length < 254 ? length : 8u);
        });
        if (length < 254) {
            EXPECT_EQ(record.size(), length + 2);
            continue;
        }
        ASSERT_GT(record.size(), 11u);
        EXPECT_EQ(to_hex(Bytes(record.begin(), record.begin() + 3)), "0E FF 02 ");
        BytesBuilder lengths;
        lengths.u32({static_cast<int64_t>(record.size() - 11), static_cast<int64_t>(length)});
        EXPECT_EQ(Bytes(record.begin() + 3, record.begin() + 11), lengths.bytes);
        Bytes inflated(length + 1);
        z_stream stream = {};
        ASSERT_EQ(inflateInit2(&stream, -15), Z_OK);
        stream.next_in = const_cast<BYTE*>(record.data()) + 11;
        stream.avail_in = static_cast<uInt>(record.size() - 11);
        stream.next_out = inflated.data();
        stream.avail_out = static_cast<uInt>(inflated.size());
        EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
        EXPECT_EQ(stream.avail_in, 0u);
        EXPECT_EQ(stream.total_out, length);
        inflateEnd(&stream);
        inflated.pop_back();
        EXPECT_EQ(inflated, data);
    }
    // Where the recorder does not allow it, a record stays plain.
    const Bytes data = payload(300);
    const Bytes plain = written([&](PDEVICE& out) {
        EXPECT_TRUE(out.BeginRecord(kType, 300, FALSE) && out.WriteBytes(data.data(), 300) && out.EndRecord());
    });
    EXPECT_EQ(to_hex(Bytes(plain.begin(), plain.begin() + 4)), "0E FE 2C 01 ");
}

TEST_F(RecordStreamTest, PatchesTheLengthOfSizedRecords) {
    const Bytes records = written([](PDEVICE& out) {
        DWORD at = 0;
        EXPECT_TRUE(out.BeginSizedRecord(kType, 0, &at) && out.WriteBytes("abc", 3) && out.PatchU32(at, 3));
        EXPECT_TRUE(out.BeginSizedRecord(kType, 2, &at) && out.PatchU32(at + 4, 0x01020304));
        EXPECT_EQ(out.statistics.largest_record, 8u);
    });
    EXPECT_EQ(to_hex(records), to_hex(from_hex("0E FF 00 03000000 616263  0E FF 02 00000000 04030201")));
}

// A seek would end the buffering of the file: nothing needs one but a record that is longer than what is held back.
TEST_F(RecordStreamTest, PatchesInMemoryWhatIsStillThere) {
    set(u"Compression", kCompressed);
    uint32_t noise = 1;
    Bytes hard(400000);
    for (BYTE& byte : hard) byte = static_cast<BYTE>((noise = noise * 1664525 + 1013904223) >> 24);
    for (size_t length : {size_t{30000}, hard.size()}) {
        host::set_call_log(true);
        size_t seeks = 0, writes = 0;
        written([&](PDEVICE& out) {
            for (size_t done = 0; done < hard.size(); done += length) {
                DWORD at = 0;
                EXPECT_TRUE(out.BeginSizedRecord(kRecordBitmap16, 0, &at) && out.WriteBytes(hard.data(), 30000) &&
                            out.PatchU32(at, 30000));
                EXPECT_TRUE(out.WriteRecord(kType, static_cast<DWORD>(length), hard.data()));
            }
            for (const std::string& call : host::call_log()) {
                seeks += call == "SetFilePointer";
                writes += call == "WriteFile";
            }
        });
        host::set_call_log(false);
        EXPECT_EQ(seeks > 0, length == hard.size()) << seeks;
        EXPECT_GT(writes, 0u);
    }
}

TEST_F(RecordStreamTest, ToldWhenAJobHasNoRoom) {
    start_page();
    pdevice().position = 0x7FFFFFFF - 5;
    EXPECT_TRUE(pdevice().WriteRecord(kType, 3, "abc"));
    EXPECT_FALSE(pdevice().WriteBytes("d", 1));
    EXPECT_EQ(GetLastError(), 223u);
    device->end_document();
    EXPECT_TRUE(job().empty());
    ASSERT_FALSE(host::messages().empty());
    EXPECT_TRUE(host::messages().back().text.starts_with(u"Could not write to the file C:\\"));
}

TEST_F(RecordStreamTest, WritesTextsAndBits) {
    const Bytes data = payload(2500);
    const Bytes records = written([&](PDEVICE& out) {
        EXPECT_TRUE(out.WriteStringRecord(kRecordApplicationName, "a\xE9"));
        EXPECT_TRUE(out.BeginRecord(kType, 2500, FALSE) && out.WriteBits(data.data(), 2500));
        EXPECT_TRUE(out.WriteBits(data.data(), 0) && out.WriteBytes(nullptr, 0));
        EXPECT_TRUE(out.WriteEmptyRecord(kRecordClipReset));
    });
    const Bytes head = from_hex("18 06 6100 E900 0000 0E FE C409");
    ASSERT_EQ(records.size(), head.size() + 2500 + 2);
    EXPECT_EQ(Bytes(records.begin(), records.begin() + 12), head);
    EXPECT_TRUE(std::equal(data.begin(), data.end(), records.begin() + 12));
    EXPECT_EQ(to_hex(Bytes(records.end() - 2, records.end())), "0A 00 ");
}

TEST_F(RecordStreamTest, MarksThePageOfRecordsThatLeaveMarks) {
    start_page();
    BYTE& flags = pdevice().pages.current()->flags;
    for (int type = 0; type < 256; ++type) {
        flags = 0;
        DWORD at = 0;
        ASSERT_TRUE(pdevice().BeginSizedRecord(static_cast<BYTE>(type), 0, &at));
        static constexpr int kMarks[] = {18, 27, 31, 41, 42, 52, 53, 59, 60, 61, 62};
        const bool marks = std::find(std::begin(kMarks), std::end(kMarks), type) != std::end(kMarks);
        EXPECT_EQ(flags, marks ? 0x08 : 0) << type;
    }
    device->end_document(ED_ABORTDOC);
}

TEST_F(RecordStreamTest, RefusesEverythingAfterAFailure) {
    start_page();
    EXPECT_FALSE(pdevice().WriteBytes(nullptr, 5));
    EXPECT_TRUE(pdevice().failed);
    device->end_document();
    start_page();
    EXPECT_FALSE(pdevice().WriteBits(nullptr, 5));
    EXPECT_TRUE(pdevice().failed);
    const DWORD position = pdevice().position;
    DWORD at = 0;
    EXPECT_FALSE(pdevice().WriteBytes("", 0) || pdevice().WriteBits("x", 1) || pdevice().WriteEmptyRecord(10) ||
                 pdevice().WriteRecord(kType, 1, "x") || pdevice().BeginSizedRecord(kType, 0, &at) ||
                 pdevice().PatchU32(4, 0));
    EXPECT_EQ(pdevice().position, position);
    device->end_document();
    EXPECT_TRUE(job().empty());
}

// A failed write in the middle of a compressed record leaves nothing open for the next document.
TEST_F(RecordStreamTest, EndsCompressionWithItsDocument) {
    set(u"Compression", kCompressed);
    start_page();
    PDEVICE& out = pdevice();
    EXPECT_TRUE(out.BeginRecord(kType, 1000, TRUE) && out.WriteBytes("x", 1));
    out.SetFailed();
    EXPECT_FALSE(out.EndRecord());
    device->end_document();
    start_page();
    EXPECT_TRUE(out.BeginRecord(kType, 1000, TRUE) && out.WriteBytes("x", 1));
    device->end_document(ED_ABORTDOC);  // with the record open
    const Bytes record = written([](PDEVICE& next) { EXPECT_TRUE(next.WriteRecord(kType, 1, "y")); });
    EXPECT_EQ(to_hex(record), "0E 01 79 ");
}

}  // namespace
}  // namespace kv::test
