#pragma once
// A document that benchmarks of recording draw into.

#include <benchmark/benchmark.h>

#include <memory>
#include <stdexcept>

#include "driver/pdevice.h"
#include "engine/device.h"
#include "platform/host/control.h"

namespace kv {

// A document on a printer whose output nobody keeps, with a page open.
class OpenDocument {
public:
    explicit OpenDocument(uint32_t compression) {
        host::reset_all();
        host::set_messages_quiet(true);
        host::set_registry_dword(HKEY_CURRENT_USER, u"Software\\Velmora Software\\Karvo12\\KarvoPrinters\\P",
                                 u"Compression", compression);
        driver_ = std::make_unique<engine::Driver>();
        printer_ = host::open_printer({u"P", u"NUL:", {}, {}, {}, {}, {}, {}, {}});
        device_ = std::make_unique<engine::Device>(*driver_, printer_, nullptr, u"P");
        start();
    }
    ~OpenDocument() {
        device_->end_document();
        device_.reset();
        host::close_printer(printer_);
    }
    engine::Device& device() { return *device_; }
    // A new document when the job file has become large; its bytes are counted.
    void renew() {
        constexpr DWORD kLarge = 256u << 20;
        if (position() < kLarge) return;
        bytes_ += position();
        device_->end_document();
        start();
    }
    uint64_t bytes() const { return bytes_ + position(); }

private:
    DWORD position() const { return reinterpret_cast<PDEVICE*>(device_->handle())->position; }
    void start() {
        if (!device_->start_document(u"Benchmark", 1) || !device_->start_page()) throw std::runtime_error("no page");
    }
    std::unique_ptr<engine::Driver> driver_;
    HANDLE printer_ = nullptr;
    std::unique_ptr<engine::Device> device_;
    uint64_t bytes_ = 0;
};

inline void report(benchmark::State& state, const OpenDocument& document, uint64_t items_each) {
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * items_each));
    state.SetBytesProcessed(static_cast<int64_t>(document.bytes()));
}

}  // namespace kv
