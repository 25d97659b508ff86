// load pages|records|fonts|brushes COUNT [JOB.kv]: one document with so many of them. Writes its processor seconds,
// what memory grew by at its most (KiB) and the bytes of its job, which goes into a file where one is named. load
// documents COUNT [fail]: so many documents, one behind the other; with "fail" a call fails in each third one. Writes
// what the process holds after each tenth of them: memory (KiB), open files, blocks and handles of the driver. load
// limit: a document of more than 2 GiB, and another one behind it. Exit code 1: a document was refused, or one that
// must be was not.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "driver/pdevice.h"
#include "engine/device.h"
#include "platform/host/control.h"

namespace {

using namespace kv;
namespace fs = std::filesystem;

void expect(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

// Of this program alone: what getrusage says begins with the process that started it.
long peak_kib() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        long kib = 0;
        if (word == "VmHWM:" && status >> kib) return kib;
    }
    throw std::runtime_error("the system does not tell the memory's peak");
}

size_t resident_kib() {
    size_t size = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident * static_cast<size_t>(getpagesize()) / 1024;
}

size_t entries(const std::string& folder) {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder)) ++count;
    return count;
}

// A printer whose output goes into the descriptor, and the driver.
struct Printing {
    explicit Printing(int output) {
        host::reset_all();
        host::set_messages_quiet(true);
        host::Printer to_file;
        to_file.name = u"P";
        to_file.port = u"FILE:";
        to_file.output_descriptor = output;
        printer = host::open_printer(to_file);
        driver = std::make_unique<engine::Driver>();
    }
    ~Printing() {
        driver.reset();
        host::close_printer(printer);
    }
    std::string temporary() const { return host::host_path(u"C:\\Windows\\Temp"); }

    HANDLE printer = nullptr;
    std::unique_ptr<engine::Driver> driver;
};

BOOL fill_rect(engine::Device& device, LONG at, engine::Brush& brush) {
    engine::Path path;
    const LONG x = at % 1000 * 16, y = at / 1000 % 1000 * 16;
    path.add_rect({x, y, x + 160, y + 160 + at % 7});
    return device.fill(path, nullptr, brush, FP_WINDINGMODE);
}

void draw_pages(engine::Device& device, LONG count) {
    engine::Brush blue = engine::Brush::solid(0xFF0000);
    for (LONG i = 0; i < count; ++i) {
        expect(device.start_page() && fill_rect(device, i, blue) && device.send_page(), "a page was refused");
    }
}

void draw_on_page(engine::Device& device, std::string_view what, LONG count) {
    engine::Brush blue = engine::Brush::solid(0xFF0000);
    const auto sans = engine::FontFile::load("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
    expect(device.start_page(), "no page");
    for (LONG i = 0; i < count; ++i) {
        BOOL drawn = FALSE;
        if (what == "records") {
            drawn = fill_rect(device, i, blue);
        } else if (what == "brushes") {
            engine::Brush hatch = engine::Brush::hatched(3, static_cast<COLORREF>(i), 0xFFFFFF);
            drawn = fill_rect(device, i, hatch);
        } else {
            engine::Font font(sans, 0, 10 + i);
            engine::String text(font, u"font", {100, 100});
            drawn = device.text_out(text, font, nullptr, blue);
        }
        expect(drawn, "drawing was refused");
    }
    expect(device.send_page(), "the page was refused");
}

void print_one(std::string_view what, LONG count, const char* job) {
    const int output = open(job ? job : "/dev/null", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    expect(output >= 0, "the job's file cannot be made");
    const Printing printing(output);
    const long before = peak_kib();
    const std::clock_t begun = std::clock();
    {
        engine::Device device(*printing.driver, printing.printer, nullptr, u"P");
        expect(device.is_open() && device.start_document(u"Load", 1), "no document");
        what == "pages" ? draw_pages(device, count) : draw_on_page(device, what, count);
        device.end_document();
    }
    const double seconds = static_cast<double>(std::clock() - begun) / CLOCKS_PER_SEC;
    uint64_t bytes = 0;
    for (const uint32_t size : host::printer(printing.printer).write_sizes) bytes += size;
    expect(bytes > 0, "there is no job");
    std::printf("%.2f %ld %llu\n", seconds, peak_kib() - before, static_cast<unsigned long long>(bytes));
}

// False where a hook refused.
bool print_small(const Printing& printing) {
    engine::Device device(*printing.driver, printing.printer, nullptr, u"P");
    if (!device.is_open() || !device.start_document(u"Load", 1)) return false;
    engine::Brush blue = engine::Brush::solid(0xFF0000), hatch = engine::Brush::hatched(3, 0x102030, 0xFFFFFF);
    bool well = true;
    for (LONG page = 0; page < 2; ++page) {
        well &= device.start_page() && fill_rect(device, page, blue) && fill_rect(device, page + 5, hatch) &&
                device.send_page();
    }
    device.end_document();
    return well;
}

// A call of each kind in turn, further on in the document each time.
void fail_something(LONG document) {
    constexpr LONG kKinds = static_cast<LONG>(host::CallKind::Count);
    host::fail_call(static_cast<host::CallKind>(document % kKinds), static_cast<uint64_t>(1 + document / kKinds % 60));
}

void print_many(LONG count, bool failing) {
    const int output = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const Printing printing(output);
    for (LONG i = 1; i <= count; ++i) {
        const bool fails = failing && i % 3 == 0;
        if (fails) fail_something(i / 3);
        const bool printed = print_small(printing);
        expect(printed || fails, "a document was refused");
        const bool not_deleted = host::failed_functions().contains("DeleteFileW");
        host::clear_failures();
        host::printer(printing.printer).write_sizes.clear();  // the host's own notes
        if (not_deleted) {
            for (const auto& left : fs::directory_iterator(printing.temporary())) fs::remove(left);
        }
        expect(entries(printing.temporary()) == 0, "a file was left");
        if (i % std::max(count / 10, LONG{1}) != 0) continue;
        const host::LiveObjects held = host::live_objects();
        std::printf(
            "%ld %zu %zu %zu\n", static_cast<long>(i), resident_kib(), entries("/proc/self/fd"),
            held.heap_blocks + held.global_blocks + held.local_blocks + held.files + held.keys + held.other_handles);
    }
    close(output);
}

void print_too_much() {
    const int output = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const Printing printing(output);
    const size_t shown = host::messages().size();  // that there is no library of texts
    {
        engine::Device device(*printing.driver, printing.printer, nullptr, u"P");
        expect(device.is_open() && device.start_document(u"Load", 1) && device.start_page(), "no document");
        auto& document = *reinterpret_cast<PDEVICE*>(device.handle());
        document.settings.kv.Compression = 0;  // records are as long in the job
        constexpr BYTE kAnyType = 35;
        const std::vector<BYTE> body(64u << 20);
        DWORD written = 0;
        while (document.WriteRecord(kAnyType, static_cast<DWORD>(body.size()), body.data())) ++written;
        expect(written == 31, "the limit is not at 2 GiB");  // 32 times 64 MiB and their heads are more
        expect(!device.send_page(), "the page was taken all the same");
        device.end_document();
    }
    expect(host::printer(printing.printer).write_sizes.empty(), "the spooler got something of it");
    expect(entries(printing.temporary()) == 0, "the file was left");
    expect(host::messages().size() == shown + 1, "the user was not told, once");
    expect(print_small(printing) && !host::printer(printing.printer).write_sizes.empty(), "the next document failed");
    close(output);
}

}  // namespace

int main(int count, char** arguments) {
    const std::string_view what = count > 1 ? arguments[1] : "";
    const LONG number = count > 2 ? static_cast<LONG>(std::atol(arguments[2])) : 0;
    try {
        if (what == "limit") {
            print_too_much();
        } else if (what == "documents" && number > 0) {
            print_many(number, count > 3);
        } else if ((what == "pages" || what == "records" || what == "fonts" || what == "brushes") && number > 0) {
            print_one(what, number, count > 3 ? arguments[3] : nullptr);
        } else {
            return 2;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "load: %s\n", error.what());
        return 1;
    }
    return 0;
}
