#pragma once
// A printer "P" on the port FILE:, the driver loaded by the engine, and a device of Letter paper at 100 dots per
// inch without margins (850 x 1100 pixels) unless a test says otherwise.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "driver/pdevice.h"
#include "engine/device.h"
#include "platform/host/control.h"
#include "tests/common/bytes.h"

namespace kv::test {

struct Record {
    int type;
    Bytes body;
};
// The records that bytes consist of.
std::vector<Record> split_records(const Bytes& bytes);
// One line a record: type, colon, body.
std::string listing(const std::vector<Record>& records);
// The bodies of a job's trailer records of that type.
std::vector<Bytes> trailer_records(const Bytes& job, BYTE type);

class PrintTest : public testing::Test {
protected:
    void SetUp() override;
    // Expects that the driver and the engine hold nothing any more.
    void TearDown() override;

    // A setting of the printer that no application overrides.
    void set(const std::u16string& name, uint32_t value);
    void open_device(const DEVMODEW* mode = nullptr);
    void close_device() { device.reset(); }
    // Opens the device where there is none, and starts a document and its first page.
    void start_page();
    void end_page_and_document();
    // So many more pages without content.
    void print_pages(int count);
    // What the spooler was sent by the last document.
    Bytes job() const;
    // The records of the only page, from behind its page start to its page end.
    Bytes page_records() const;
    PDEVICE& pdevice();
    // Files left in the temporary folder.
    std::vector<std::string> temporary_files() const;

    HANDLE printer = nullptr;
    std::unique_ptr<engine::Driver> driver;
    std::unique_ptr<engine::Device> device;
    std::u16string port = u"FILE:";
    host::LiveObjects before{};
};

// An application's mode that says what these fields say, and one of landscape pages.
DEVMODEW mode_of(DWORD fields);
DEVMODEW landscape();
POINTFIX at(double x, double y);
LINEATTRS hairline(LONG width = 1);
LINEATTRS geometric_line(float width);

}  // namespace kv::test
