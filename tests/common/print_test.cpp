#include "tests/common/print_test.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "support/process_state.h"

namespace kv::test {
namespace {
const std::u16string kPrinterKey = u"Software\\Velmora Software\\Karvo12\\KarvoPrinters\\P";
}

Bytes from_hex(const std::string& digits) {
    Bytes bytes;
    std::string pair;
    for (char digit : digits) {
        if (digit == ' ' || digit == '\n') continue;
        pair += digit;
        if (pair.size() < 2) continue;
        bytes.push_back(static_cast<BYTE>(std::stoi(pair, nullptr, 16)));
        pair.clear();
    }
    return bytes;
}

std::string to_hex(const Bytes& bytes) {
    std::string text;
    char pair[4];
    for (BYTE byte : bytes) {
        std::snprintf(pair, sizeof pair, "%02X ", byte);
        text += pair;
    }
    return text;
}

BytesBuilder& BytesBuilder::u8(std::initializer_list<int> values) {
    for (int value : values) bytes.push_back(static_cast<BYTE>(value));
    return *this;
}
BytesBuilder& BytesBuilder::u16(std::initializer_list<int> values) {
    for (int value : values) u8({value & 0xFF, value >> 8 & 0xFF});
    return *this;
}
BytesBuilder& BytesBuilder::u32(std::initializer_list<int64_t> values) {
    for (int64_t value : values) u16({static_cast<int>(value & 0xFFFF), static_cast<int>(value >> 16 & 0xFFFF)});
    return *this;
}

std::vector<Bytes> trailer_records(const Bytes& job, BYTE type) {
    std::vector<Bytes> found;
    size_t at = job[job.size() - 4] | job[job.size() - 3] << 8 | job[job.size() - 2] << 16;
    while (at < job.size()) {
        size_t length = job[at + 1], head = 2;
        if (length == 0xFE) length = job[at + 2] | job[at + 3] << 8, head = 4;
        if (length == 0xFF) length = job[at + 3] | job[at + 4] << 8 | job[at + 5] << 16, head = 7;
        if (job[at] == type) found.emplace_back(job.begin() + at + head, job.begin() + at + head + length);
        at += head + length;
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
    printer = host::open_printer({u"P", port, {}, {}, {}, {}, {}, {}, {}});
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
    WCHAR folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(host::host_path(folder), error)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
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
