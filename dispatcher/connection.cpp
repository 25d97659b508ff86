#include "dispatcher/connection.h"

#include <atomic>
#include <cstring>

#include "dispatch/messages.h"

namespace kvdisp12 {
namespace {

Bytes number_reply(DWORD value) {
    Bytes reply(sizeof value);
    std::memcpy(reply.data(), &value, sizeof value);
    return reply;
}

// One for each document since the process began, never 0.
DWORD next_job_id() {
    static std::atomic<DWORD> last{0};
    DWORD id = ++last;
    return id ? id : ++last;
}

struct Malformed {};

}  // namespace

// Takes the parts of a request one after the other; throws Malformed when one is missing.
struct Connection::Reader {
    std::span<const BYTE> rest;

    template <class Value>
    Value take() {
        Value value;
        if (rest.size() < sizeof value) throw Malformed();
        std::memcpy(&value, rest.data(), sizeof value);
        rest = rest.subspan(sizeof value);
        return value;
    }
    Text take_text() {
        Text text;
        while (WORD unit = take<WORD>()) text += static_cast<WCHAR>(unit);
        return text;
    }
};

Connection::~Connection() {
    if (job_) log_.line("Left job " + std::to_string(job_->id) + ": its client is gone");
}

Bytes Connection::answer(std::span<const BYTE> request) {
    Reader reader{request};
    try {
        const DWORD code = reader.take<DWORD>();
        switch (code) {
            case kv::kDispatchStartDoc:
                return number_reply(start_document(reader));
            case kv::kDispatchEndDoc:
                return number_reply(end_document(reader));
            case kv::kDispatchAbort:
                return number_reply(abort(reader));
            case kv::kDispatchJobPath:
                return job_path();
            case kv::kDispatchPrepare:
                log_.line("Prepare");
                return number_reply(1);
            default:
                log_.line("Unknown message " + std::to_string(code));
        }
    } catch (const Malformed&) {
        log_.line("Malformed message of " + std::to_string(request.size()) + " bytes");
    }
    return number_reply(0);
}

DWORD Connection::start_document(Reader& request) {
    const auto header = request.take<kv::StartDocHeader>();
    const Text name = request.take_text(), printer = request.take_text();
    const Text interface_library = request.take_text();
    if (header.format != kv::kDispatchFormat) throw Malformed();
    const DWORD own = next_job_id();
    job_ = Job{header.spooler_job_id ? header.spooler_job_id : own, name};
    log_.line("StartDoc job " + std::to_string(job_->id) + ' ' + quoted(to_utf8(name)) + " printer " +
              quoted(to_utf8(printer)) + " product " + std::to_string(header.product_family) + '.' +
              std::to_string(header.product) + " dialog " + std::to_string(header.ShowDlg) + " action " +
              std::to_string(header.KvAction));
    return own;
}

DWORD Connection::end_document(Reader& request) {
    const auto header = request.take<kv::EndDocHeader>();
    const Text path = request.take_text();
    const std::string job = "EndDoc job " + std::to_string(header.job_id);
    if (header.format != kv::kDispatchFormat) throw Malformed();
    if (!is_open(header.job_id)) {
        log_.line(job + ": not open");
        return 0;
    }
    try {
        const Text filed = outbox_.take(path, job_->name);
        log_.line(job + " filed as " + quoted(to_utf8(filed)));
        job_.reset();
        return 1;
    } catch (const OutboxError& error) {
        log_.line(job + " failed: " + error.what());
        job_.reset();
        return 0;
    }
}

DWORD Connection::abort(Reader& request) {
    const DWORD id = request.take<DWORD>();
    const bool known = is_open(id);
    log_.line("Abort job " + std::to_string(id) + (known ? "" : ": not open"));
    if (known) job_.reset();
    return known;
}

// In the temporary folder, under a name that only this process gives away.
Bytes Connection::job_path() {
    static std::atomic<unsigned> counter{0};
    WCHAR folder[MAX_PATH];
    const DWORD length = GetTempPathW(MAX_PATH, folder);
    Text path;
    if (length > 0 && length < MAX_PATH) {
        path = Text(folder, length) +
               from_utf8("~KV-" + std::to_string(GetCurrentProcessId()) + '-' + std::to_string(++counter) + ".kv");
    }
    log_.line("JobPath " + quoted(to_utf8(path)));
    Bytes reply((path.size() + 1) * sizeof(WCHAR));
    std::memcpy(reply.data(), path.c_str(), reply.size());
    return reply;
}

}  // namespace kvdisp12
