#pragma once
// A printer "P" on the port FILE:, the driver loaded by the engine, and a device of Letter paper at 100 dots per
// inch without margins (850 x 1100 pixels) unless a test says otherwise.

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "driver/pdevice.h"
#include "engine/device.h"
#include "platform/host/control.h"

namespace kv::test {

using Bytes = std::vector<BYTE>;

// Of hexadecimal digits; blanks count for nothing.
Bytes from_hex(const std::string& digits);
std::string to_hex(const Bytes& bytes);
// Job file content built by hand, little-endian.
class BytesBuilder {
public:
    BytesBuilder& u8(std::initializer_list<int> values);
    BytesBuilder& u16(std::initializer_list<int> values);
    BytesBuilder& u32(std::initializer_list<int64_t> values);
    Bytes bytes;
};

// The payloads of a job's trailer records of that type.
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

POINTFIX at(double x, double y);
LINEATTRS hairline(LONG width = 1);
LINEATTRS geometric_line(float width);

}  // namespace kv::test
