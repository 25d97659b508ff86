#include "printhost/trace_listener.h"

#include <cstdio>
#include <cstdlib>

#include "platform/host/control.h"

namespace kvprint {
namespace {

bool environment_asks() {
    const char* wanted = std::getenv("KV_TRACE");
    return wanted && *wanted;
}

}  // namespace

TraceListener::TraceListener(const std::string& wanted) : shows_(!wanted.empty() || environment_asks()) {
    kv::host::set_trace_listener([this](const std::string& line) { take(line); });
}

TraceListener::~TraceListener() { kv::host::set_trace_listener({}); }

// A line is: seconds, thread, component, level, function and colon, text.
void TraceListener::take(const std::string& line) {
    static const std::string kRecordError = " record error ", kFailed = ": the document failed";
    if (shows_) std::fprintf(stderr, "%s\n", line.c_str());
    if (line.find(" record error close_job: nobody takes the job") != std::string::npos) lost_job_ = true;
    const size_t start = line.find(kRecordError), failed = line.find(kFailed);
    if (!failure_.empty() || start == std::string::npos || failed == std::string::npos || failed < start) return;
    const size_t function = start + kRecordError.size();
    failure_ = " (" + line.substr(function, failed - function) + " failed" + line.substr(failed + kFailed.size()) + ")";
}

}  // namespace kvprint
