#pragma once
// One input's printing: a printer on the port FILE:, the driver that is loaded once, a device. At its end nothing is
// held, no file is left, and what reached the spooler while no call was made to fail is a sound job.

#include <optional>

#include "engine/device.h"
#include "tests/fuzz/fuzz_input.h"

namespace kv {

class PrintRun {
public:
    // mode: the application's, or null.
    explicit PrintRun(const DEVMODEW* mode);
    ~PrintRun();
    PrintRun(const PrintRun&) = delete;
    PrintRun& operator=(const PrintRun&) = delete;

    static engine::Driver& driver();
    engine::Device& device() { return *device_; }
    bool is_open() const { return device_->is_open(); }
    void start_document(const std::basic_string<WCHAR>& name, DWORD job);
    void end_document(FLONG flags);
    // What is drawn is nothing that an engine draws: the job need not be sound.
    void expect_damage() { damaged_ = true; }
    // The n-th call of a kind from now on.
    void fail_call(FuzzInput& in);

private:
    host::LiveObjects before_;
    HANDLE printer_;
    std::optional<engine::Device> device_;
    bool failing_ = false, damaged_ = false;
};

}  // namespace kv
