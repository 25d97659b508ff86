#include "dispatcher/connection.h"

#include <atomic>
#include <cstring>

#include "dispatcher/safe_text.h"

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

}  // namespace

Connection::~Connection() {
    if (!job_) return;
    try {
        intake_.give_up(job_->document, State::Failed, "its client is gone");
        log_.warning("Left job " + std::to_string(job_->id) + ": its client is gone");
    } catch (const std::exception& error) {
        log_.limited("journal", error.what());
    }
}

Bytes Connection::answer(std::span<const BYTE> bytes) {
    if (const auto request = parse_request(bytes)) {
        return std::visit([this](const auto& each) { return reply_to(each); }, *request);
    }
    log_.limited("malformed", "Malformed message of " + std::to_string(bytes.size()) + " bytes from process " +
                                  std::to_string(client_.process));
    return number_reply(0);
}

Bytes Connection::reply_to(const Announcement& announcement) {
    if (job_) {
        log_.limited("second", "StartDoc refused: job " + std::to_string(job_->id) + " is open");
        return number_reply(0);
    }
    const int64_t document = intake_.announce(announcement, client_);
    if (document == 0) return number_reply(0);
    begun_ = true;
    const DWORD own = next_job_id();
    job_ = Job{announcement.spooler_job ? announcement.spooler_job : own, document};
    return number_reply(own);
}

Bytes Connection::reply_to(const HandOver& hand_over) {
    if (!is_open(hand_over.job)) {
        log_.limited("not open", "EndDoc job " + std::to_string(hand_over.job) + ": not open");
        return number_reply(0);
    }
    const int64_t document = job_->document;
    job_.reset();
    return number_reply(intake_.hand_over(document, hand_over.path, client_) ? 1 : 0);
}

Bytes Connection::reply_to(const Withdrawal& withdrawal) {
    const bool known = is_open(withdrawal.job);
    log_.line("Abort job " + std::to_string(withdrawal.job) + (known ? "" : ": not open"));
    if (known) {
        intake_.give_up(job_->document, State::Aborted, "");
        job_.reset();
    }
    return number_reply(known ? 1 : 0);
}

// In the temporary folder, under a name that only this process gives away.
Bytes Connection::reply_to(const PathQuestion&) {
    static std::atomic<unsigned> counter{0};
    WCHAR folder[MAX_PATH];
    const DWORD length = GetTempPathW(MAX_PATH, folder);
    Text path;
    if (length > 0 && length < MAX_PATH) {
        path = Text(folder, length) +
               from_utf8("~KV-" + std::to_string(GetCurrentProcessId()) + '-' + std::to_string(++counter) + ".kv");
    }
    log_.line("JobPath " + in_quotes(path));
    Bytes reply((path.size() + 1) * sizeof(WCHAR));
    std::memcpy(reply.data(), path.c_str(), reply.size());
    return reply;
}

Bytes Connection::reply_to(const Preparation&) {
    log_.line("Prepare");
    server_.prepared();
    return number_reply(1);
}

Bytes Connection::reply_to(const StatusQuestion&) {
    const ServerStatus status = server_.status();
    Bytes reply(sizeof status);
    std::memcpy(reply.data(), &status, sizeof status);
    return reply;
}

}  // namespace kvdisp12
