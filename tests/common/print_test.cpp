#include "tests/common/print_test.h"

#include <algorithm>
#include <filesystem>
#include <span>

#include "support/process_state.h"

namespace kv::test {
namespace {
const std::u16string kPrinterKey = u"Software\\Velmora Software\\Karvo12\\KarvoPrinters\\P";
}

std::vector<Record> split_records(const Bytes& bytes) {
    std::vector<Record> records;
    for (size_t at = 0; at + 1 < bytes.size();) {
        size_t length = bytes[at + 1], head = 2;
        if (length == 0xFE) length = bytes[at + 2] | bytes[at + 3] << 8, head = 4;
        if (length == 0xFF) length = bytes[at + 3] | bytes[at + 4] << 8 | bytes[at + 5] << 16, head = 7;
        const auto body = std::span(bytes).subspan(at + head, length);
        records.push_back({bytes[at], Bytes(body.begin(), body.end())});
        at += head + length;
    }
    return records;
}

std::string listing(const std::vector<Record>& records) {
    std::string text;
    for (const Record& record : records) text += std::to_string(record.type) + ": " + to_hex(record.body) + "\n";
    return text;
}

std::vector<Bytes> trailer_records(const Bytes& job, BYTE type) {
    const size_t start = job[job.size() - 4] | job[job.size() - 3] << 8 | job[job.size() - 2] << 16;
    std::vector<Bytes> found;
    for (const Record& record : split_records(Bytes(job.begin() + static_cast<ptrdiff_t>(start), job.end()))) {
        if (record.type == type) found.push_back(record.body);
    }
    return found;
}

void PrintTest::SetUp() {
    host::reset_all();
    host::set_messages_quiet(true);
    set(u"Resolution", 100);
    set(u"Compression", 0);
    for (auto margin : {u"MarginLeft", u"MarginTop", u"MarginRight", u"MarginBottom"}) set(margin, 0);
    driver = std::make_unique<engine::Driver>();
    process_state().default_paper = DMPAPER_LETTER;
    process_state().default_units = 1;
    host::Printer named;
    named.name = u"P";
    named.port = port;
    printer = host::open_printer(named);
    before = host::live_objects();
}

void PrintTest::TearDown() {
    host::clear_failures();
    device.reset();
    EXPECT_EQ(host::live_objects(), before);
    EXPECT_EQ(engine::live_handles(), (engine::LiveHandles{}));
    EXPECT_TRUE(temporary_files().empty());
    driver.reset();
}

void PrintTest::set(const std::u16string& name, uint32_t value) {
    host::set_registry_dword(HKEY_CURRENT_USER, kPrinterKey, name, value);
}

void PrintTest::open_device(const DEVMODEW* mode) {
    device = std::make_unique<engine::Device>(*driver, printer, mode, u"P");
}

void PrintTest::start_page() {
    if (!device) open_device();
    ASSERT_TRUE(device->is_open());
    ASSERT_TRUE(device->start_document(u"Title", 7));
    ASSERT_TRUE(device->start_page());
}

void PrintTest::end_page_and_document() {
    ASSERT_TRUE(device->send_page());
    ASSERT_TRUE(device->end_document());
}

void PrintTest::print_pages(int count) {
    for (int page = 0; page < count; ++page) ASSERT_TRUE(device->start_page() && device->send_page());
}

Bytes PrintTest::job() const { return host::printer(printer).output; }

Bytes PrintTest::page_records() const {
    constexpr size_t kPageStart = 18;  // behind the magic, the header, the document start and the page start
    const Bytes all = job();
    const Bytes end = {6, 0, 3, 0, 0, 0};  // page end, document end, end of stream
    auto found = std::search(all.begin(), all.end(), end.begin(), end.end());
    if (found == all.end()) return {};
    return Bytes(all.begin() + kPageStart, found);
}

PDEVICE& PrintTest::pdevice() { return *reinterpret_cast<PDEVICE*>(device->handle()); }

std::vector<std::string> PrintTest::temporary_files() const {
    std::vector<std::string> names;
    std::error_code error;
    // Not asked of the system, whose call a test may have failing.
    for (const auto& entry : std::filesystem::directory_iterator(host::host_path(host::machine().temp_folder), error)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

DEVMODEW mode_of(DWORD fields) {
    DEVMODEW mode = {};
    mode.dmSize = sizeof mode;
    mode.dmSpecVersion = 0x0401;
    mode.dmFields = fields;
    return mode;
}
DEVMODEW landscape() {
    DEVMODEW mode = mode_of(DM_ORIENTATION);
    mode.dmOrientation = DMORIENT_LANDSCAPE;
    return mode;
}

POINTFIX at(double x, double y) { return {engine::to_fix(x), engine::to_fix(y)}; }

LINEATTRS hairline(LONG width) {
    LINEATTRS line = {};
    line.elWidth.l = width;
    return line;
}

LINEATTRS geometric_line(float width) {
    LINEATTRS line = {};
    line.fl = LA_GEOMETRIC;
    line.elWidth.e = width;
    line.eMiterLimit = 10.0f;
    return line;
}

}  // namespace kv::test
