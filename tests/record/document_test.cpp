// Whole documents: the container, pages, the trailer and what becomes of the job file.

#include <filesystem>
#include <fstream>
#include <set>

#include "tests/common/fault_test.h"

namespace kv::test {
namespace {

// Magic, document header and start. The header's last byte is the driver's string 10060.
const char* kStart = "4B415256 01 08 0E0000C0 040C 00 0C 02 00";

struct DocumentTest : PrintTest {
    // A summary of small pages: flags 1, the largest record, resolution 100.
    static BytesBuilder summary(int pages, int largest) {
        BytesBuilder out;
        const int length = 52 + 28 * pages;
        out.u8({21, length}).u16({5}).u32({1, largest, 0, 0, 0, 0, 0}).u16({100});
        return out;
    }
};

TEST_F(DocumentTest, OneEmptyPage) {
    start_page();
    end_page_and_document();
    Bytes expected = from_hex(std::string(kStart) + "05 00 06 00 03 00 00 00");
    // An empty page's bounds join the portrait ones as nothing; no landscape page: the empty rectangle.
    BytesBuilder trailer = summary(1, 80);
    trailer.u16({0, 0, 0, 0}).u16({0x7FFF, 0x7FFF, 0x8000, 0x8000}).u32({1});
    trailer.u32({16}).u16({1}).u8({1, 0}).u16({850, 1100, 0, 0, 850, 1100}).u16({0x7FFF, 0x7FFF, 0x8000, 0x8000});
    trailer.u8({23, 12}).u16({'T', 'i', 't', 'l', 'e', 0}).u8({24, 10}).u16({'h', 'o', 's', 't', 0});
    trailer.u8({38, 4}).u32({24});
    expected.insert(expected.end(), trailer.bytes.begin(), trailer.bytes.end());
    EXPECT_EQ(to_hex(job()), to_hex(expected));
}

TEST_F(DocumentTest, StartsAreIgnoredWhereThereIsNothingToStart) {
    open_device();
    auto* surface = device->surface();
    EXPECT_TRUE(DrvStartDoc(surface, nullptr, 0));
    EXPECT_TRUE(temporary_files().empty());
    EXPECT_TRUE(device->start_document(u"A", 1));
    auto names = temporary_files();
    ASSERT_EQ(names.size(), 1u);
    EXPECT_TRUE(names[0].ends_with(".kv"));
    EXPECT_TRUE(device->start_document(u"B", 2));
    EXPECT_EQ(temporary_files(), names);
    EXPECT_TRUE(device->end_document());
}

TEST_F(DocumentTest, IndexesPagesAcrossBlocks) {
    open_device();
    ASSERT_TRUE(device->start_document(u"", 1));
    print_pages(250);
    ASSERT_TRUE(device->end_document());
    auto summary_records = trailer_records(job(), 21);
    ASSERT_EQ(summary_records.size(), 1u);
    const Bytes& body = summary_records[0];
    ASSERT_EQ(body.size(), 52u + 28 * 250);
    for (size_t page = 0; page < 250; ++page) {
        const BYTE* entry = &body[52 + 28 * page];
        EXPECT_EQ(entry[0] | entry[1] << 8, 16 + 4 * static_cast<int>(page));
    }
    EXPECT_TRUE(trailer_records(job(), 23).empty());  // a document without a name
}

TEST_F(DocumentTest, WideCoordinatesTakeTheOtherIndex) {
    DEVMODEW mode = mode_of(DM_PAPERSIZE | DM_PAPERWIDTH | DM_PAPERLENGTH);
    mode.dmPaperSize = 256;
    mode.dmPaperWidth = 1000;
    mode.dmPaperLength = 10000;  // a metre: 47244 pixels
    set(u"Resolution", 1200);
    open_device(&mode);
    start_page();
    end_page_and_document();
    auto follows = trailer_records(job(), 21), index = trailer_records(job(), 55);
    ASSERT_EQ(follows.size(), 1u);
    ASSERT_EQ(index.size(), 1u);
    Bytes expected(58);
    expected[0] = 2;
    EXPECT_EQ(to_hex(follows[0]), to_hex(expected));
    BytesBuilder body;
    body.u16({5}).u32({1, 116, 0, 0, 0, 0, 0}).u16({1200}).u32({0, 0, 0, 0});
    body.u32({0x7FFFFFFF, 0x7FFFFFFF, 0x80000000, 0x80000000}).u32({1});
    body.u32({16}).u16({256}).u8({1, 0}).u32({4724, 47244, 0, 0, 4724, 47244});
    body.u32({0x7FFFFFFF, 0x7FFFFFFF, 0x80000000, 0x80000000});
    EXPECT_EQ(to_hex(index[0]), to_hex(body.bytes));
}

TEST_F(DocumentTest, NamesPaperTraysOnce) {
    const std::u16string trays = u"Software\\Velmora Software\\Karvo12\\KarvoPrinters\\P\\PaperTrays";
    host::set_registry_string(HKEY_CURRENT_USER, trays, u"300", u"Blue");
    DEVMODEW mode = mode_of(DM_DEFAULTSOURCE);
    mode.dmDefaultSource = 300;
    open_device(&mode);
    ASSERT_TRUE(device->start_document(u"", 1));
    print_pages(2);
    ASSERT_TRUE(device->end_document());
    const Bytes all = job();
    EXPECT_EQ(to_hex(Bytes(all.begin() + 16, all.begin() + 30)), "2C 03 80 2C 01 06 00 2C 03 80 2C 01 06 00 ");
    const Bytes body = trailer_records(all, 21).at(0);
    EXPECT_EQ(body[2], 0x05);       // document flags: small, names a tray
    EXPECT_EQ(body[52 + 7], 0x04);  // page flags
    auto names = trailer_records(all, 37);
    ASSERT_EQ(names.size(), 1u);
    BytesBuilder expected;
    expected.u32({0}).u16({300, 'B', 'l', 'u', 'e', 0});
    EXPECT_EQ(to_hex(names[0]), to_hex(expected.bytes));
}

TEST_F(DocumentTest, GoesToTheSpoolerInPieces) {
    host::printer(printer).port = u"file:";
    open_device();
    ASSERT_TRUE(device->start_document(u"", 1));
    while (pdevice().position < 50000) print_pages(1);
    ASSERT_TRUE(device->end_document());
    const auto& sizes = host::printer(printer).write_sizes;
    ASSERT_GE(sizes.size(), 2u);
    for (size_t i = 0; i + 1 < sizes.size(); ++i) EXPECT_EQ(sizes[i], 32768u);
    EXPECT_EQ(sizes.back(), job().size() % 32768);
}

TEST_F(DocumentTest, SendsADocumentWithoutPagesToItsPort) {
    open_device();
    ASSERT_TRUE(device->start_document(u"A", 1));
    ASSERT_TRUE(device->end_document());
    BytesBuilder trailer = summary(0, 52);
    trailer.u16({0x7FFF, 0x7FFF, 0x8000, 0x8000}).u16({0x7FFF, 0x7FFF, 0x8000, 0x8000}).u32({0});
    trailer.u8({23, 4}).u16({'A', 0}).u8({24, 10}).u16({'h', 'o', 's', 't', 0}).u8({38, 4}).u32({20});
    EXPECT_EQ(to_hex(job()), to_hex(from_hex(std::string(kStart) + "03 00 00 00" + to_hex(trailer.bytes))));
}

TEST_F(DocumentTest, KeepsNothingOfDocumentsThatFail) {
    open_device();
    ASSERT_TRUE(device->start_document(u"B", 2));
    print_pages(1);
    EXPECT_TRUE(device->end_document(ED_ABORTDOC));
    EXPECT_TRUE(job().empty());
    start_page();
    end_page_and_document();
    EXPECT_FALSE(job().empty());
}

// It says why, with no other call's error, and does not stand in the way of the next one.
TEST_F(DocumentTest, OneThatDoesNotStartIsOver) {
    open_device();
    std::set<std::string> failing;
    for (host::CallKind kind : {host::CallKind::File, host::CallKind::Allocation}) {
        for (uint64_t call = 1;; ++call) {
            host::fail_call(kind, call);
            SetLastError(ERROR_ALREADY_EXISTS);
            const BOOL started = device->start_document(u"C", 3);
            const DWORD error = GetLastError();
            const std::string failed = host::failed_function();
            host::clear_failures();
            SCOPED_TRACE(failed + ", call " + std::to_string(call));
            if (!started) {
                failing.insert(failed);
                EXPECT_TRUE(pdevice().failed && !pdevice().document_open);
                EXPECT_EQ(pdevice().cause.error, error);  // what failed first, kept beyond the cleaning up
                EXPECT_EQ(error, failed == "GetTempPathW"       ? DWORD{ERROR_PATH_NOT_FOUND}
                                 : kind == host::CallKind::File ? DWORD{ERROR_ACCESS_DENIED}
                                                                : DWORD{ERROR_NOT_ENOUGH_MEMORY});
                EXPECT_TRUE(temporary_files().empty());
                ASSERT_TRUE(device->start_document(u"C", 3));
            }
            print_pages(1);
            EXPECT_TRUE(device->end_document());
            EXPECT_FALSE(job().empty());
            host::printer(printer).output.clear();
            if (failed.empty()) break;
        }
    }
    EXPECT_EQ(failing,
              (std::set<std::string>{"CreateFileW", "GetTempFileNameW", "GetTempPathW", "HeapAlloc", "MoveFileExW"}));
}

TEST_F(DocumentTest, LiesInATemporaryFolderThatIsMadeWhereItIsMissing) {
    const std::string folder = host::host_path(u"C:\\Windows\\Temp");
    std::filesystem::remove(folder);
    start_page();
    EXPECT_EQ(temporary_files().size(), 1u);
    end_page_and_document();
    std::filesystem::remove(folder);
    std::ofstream(folder) << "no folder";
    EXPECT_FALSE(device->start_document(u"A", 1));
    const auto& shown = host::messages();
    ASSERT_FALSE(shown.empty());
    EXPECT_TRUE(shown.back().text.starts_with(u"Could not create the file C:\\Windows\\Temp")) << shown.size();
    std::filesystem::remove(folder);
    std::filesystem::create_directory(folder);
}

// S: start of the document, s: of a page, e: its end, E: the document's. Records by their types.
TEST_F(DocumentTest, HooksOutOfOrderHarmNothing) {
    struct {
        const char *calls, *answers, *types;
    } cases[] = {
        {"sSsE", "0111", "1 2 5 6 3 0"},              // a page without a document; one that the document ends
        {"eSeseeE", "0101101", "1 2 5 6 3 0"},        // ends without a page
        {"SssseE", "111111", "1 2 5 6 5 6 5 6 3 0"},  // pages that the next one ends
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.calls);
        if (!device) open_device();
        std::string answers;
        for (const char* call = test.calls; *call; ++call) {
            const BOOL answer = *call == 'S'   ? device->start_document(u"A", 1)
                                : *call == 's' ? device->start_page()
                                : *call == 'e' ? device->send_page()
                                               : device->end_document();
            answers += answer ? '1' : '0';
        }
        EXPECT_EQ(answers, test.answers);
        const Bytes all = job();
        std::string types;
        for (const Record& record : split_records(Bytes(all.begin() + 4, all.end()))) {
            types += std::to_string(record.type) + " ";
        }
        EXPECT_TRUE(types.starts_with(test.types)) << types;
        EXPECT_EQ(faults_of(all), "");
        host::printer(printer).output.clear();
    }
}

// The last bytes of a job reach the disk before the copy: where they do not, there is no job. A piece that cannot be
// read leaves a gap, and no other piece is missing.
TEST_F(DocumentTest, IsSentWholeOrWithTheGapThatCannotBeHelped) {
    const Bytes data(70000, 0xAB);
    size_t messages = 0;
    auto end_with_failing_call = [&](uint64_t call) {
        start_page();
        EXPECT_TRUE(pdevice().WriteRecord(14, static_cast<DWORD>(data.size()), data.data()));
        ASSERT_TRUE(device->send_page());
        host::printer(printer).output.clear();
        messages = host::messages().size();
        host::fail_call(host::CallKind::File, call);
        EXPECT_TRUE(device->end_document());
        EXPECT_TRUE(temporary_files().empty());
        messages = host::messages().size() - messages;
    };
    end_with_failing_call(1000);
    const size_t whole = job().size();
    for (const std::string& function : {std::string("WriteFile"), std::string("ReadFile")}) {
        for (uint64_t call = 1; host::failed_function() != function; ++call) end_with_failing_call(call);
        EXPECT_EQ(job().size(), function == "ReadFile" ? whole - 32768 : 0) << function;
        EXPECT_EQ(messages, 1u) << function;
    }
    host::fail_function("ReadFile");
    end_with_failing_call(1000);
    EXPECT_TRUE(job().empty());
    EXPECT_EQ(messages, 1u) << "three pieces";
}

TEST_F(DocumentTest, WritesNothingAfterAFailure) {
    start_page();
    ASSERT_TRUE(device->send_page());
    ASSERT_TRUE(device->start_page());
    const DWORD position = pdevice().position;
    pdevice().SetFailed();
    EXPECT_FALSE(device->send_page());
    EXPECT_FALSE(device->start_page());
    EXPECT_FALSE(pdevice().WriteEmptyRecord(10));
    EXPECT_EQ(pdevice().position, position);
    EXPECT_TRUE(device->end_document());
    EXPECT_TRUE(job().empty());
}

TEST_F(DocumentTest, AnUnfinishedDocumentGoesWithItsDevice) {
    start_page();
    EXPECT_EQ(temporary_files().size(), 1u);
    close_device();
    EXPECT_TRUE(temporary_files().empty());
}

TEST_F(DocumentTest, AResetMovesTheDocumentToTheNewDevice) {
    start_page();
    ASSERT_TRUE(device->send_page());
    ASSERT_TRUE(device->reset(landscape()));
    ASSERT_TRUE(device->start_page());
    end_page_and_document();
    const Bytes body = trailer_records(job(), 21).at(0);
    ASSERT_EQ(body.size(), 52u + 2 * 28);
    BytesBuilder second;
    second.u32({20}).u16({1}).u8({2, 0}).u16({1100, 850, 0, 0, 1100, 850});
    EXPECT_EQ(to_hex(Bytes(body.begin() + 80, body.begin() + 100)), to_hex(second.bytes));
}

TEST_F(DocumentTest, AStressTestIsSlowedDown) {
    host::machine().executable = u"C:\\printdrvstress.exe";
    host::use_virtual_clock(1000);
    start_page();
    EXPECT_EQ(host::sleeps().size(), 20u);  // 10 s in steps of 500 ms
    ASSERT_TRUE(device->end_document(ED_ABORTDOC));
    host::machine().gdi_objects = 7500;  // (2500 / 1000 + 3) * 5 s
    ASSERT_TRUE(device->start_document(u"", 1));
    EXPECT_EQ(host::sleeps().size(), 70u);
    ASSERT_TRUE(device->end_document(ED_ABORTDOC));
}

}  // namespace
}  // namespace kv::test
