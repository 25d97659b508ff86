#include "tests/fuzz/common/print_run.h"

#include <cstdio>
#include <filesystem>

#include "reader/checker.h"
#include "support/process_state.h"

namespace kv {
namespace {

HANDLE open_printer() {
    host::Printer printer;
    printer.name = u"P";
    printer.port = u"FILE:";
    return host::open_printer(printer);
}

// Files in the temporary folder, which are removed.
size_t clear_folder() {
    WCHAR folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    size_t count = 0;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(host::host_path(folder), none)) {
        count += std::filesystem::remove(entry.path(), none);
    }
    return count;
}

}  // namespace

engine::Driver& PrintRun::driver() {
    static engine::Driver& loaded = []() -> engine::Driver& {
        host::reset_all();
        host::set_messages_quiet(true);
        static engine::Driver driver;
        process_state().default_paper = DMPAPER_LETTER;
        process_state().default_units = 1;
        return driver;
    }();
    return loaded;
}

PrintRun::PrintRun(const DEVMODEW* mode) {
    driver();
    before_ = host::live_objects();
    printer_ = open_printer();
    device_.emplace(driver(), printer_, mode, TEXT("P"));
}

PrintRun::~PrintRun() {
    host::clear_failures();
    device_.reset();
    host::close_printer(printer_);
    require(host::live_objects() == before_);
    require(engine::live_handles() == engine::LiveHandles{});
    require(clear_folder() == 0 || failing_);  // a file that could not be deleted stays
}

void PrintRun::start_document(const std::basic_string<WCHAR>& name, DWORD job) {
    host::printer(printer_).output.clear();
    device_->start_document(name, job);
}

void PrintRun::end_document(FLONG flags) {
    device_->end_document(flags);
    const std::vector<uint8_t>& job = host::printer(printer_).output;
    if (failing_ || damaged_ || job.empty()) return;
    const std::vector<kvjob::Finding> faults = kvjob::check_job(job, 1);
    if (!faults.empty())
        std::fprintf(stderr, "0x%llX: %s\n", static_cast<unsigned long long>(faults[0].offset),
                     faults[0].message.c_str());
    require(faults.empty());
}

void PrintRun::fail_call(FuzzInput& in) {
    const auto kind = static_cast<host::CallKind>(in.u8() % static_cast<DWORD>(host::CallKind::Count));
    host::fail_call(kind, 1 + in.u8() % 64);
    failing_ = true;
}

}  // namespace kv
