#include "platform/trace_sink.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "platform/host/control.h"

namespace kv {
namespace {

std::function<void(const std::string&)>& listener() {
    static std::function<void(const std::string&)> one;
    return one;
}

}  // namespace

namespace host {

void set_trace_listener(std::function<void(const std::string&)> call) { listener() = std::move(call); }

}  // namespace host

const char* trace_environment() { return std::getenv("KV_TRACE"); }
void open_trace_sink(const WCHAR*) {}
void close_trace_sink() {}

// A listener is only ever told whole lines, without the line feed.
void write_trace_line(const char* line, size_t length) {
    if (listener()) {
        listener()({line, length - 1});
    } else if (write(STDERR_FILENO, line, length) < 0) {
        return;  // nobody reads it
    }
}

}  // namespace kv
