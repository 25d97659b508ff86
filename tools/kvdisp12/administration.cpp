#include "tools/kvdisp12/administration.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <stdexcept>

#include "dispatcher/journal.h"
#include "dispatcher/machine.h"
#include "dispatcher/native_path.h"
#include "dispatcher/recovery.h"
#include "dispatcher/request.h"
#include "dispatcher/safe_text.h"
#include "tools/common/values.h"
#include "tools/kvdisp12/document_text.h"
#include "tools/kvdisp12/service.h"

namespace kvdisp12 {
namespace {

using kv::cli::kDone;
constexpr int kNeedsAttention = 3;

int64_t now() {
    const auto time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

// The state folders of this user: the main one and those of further sessions, where they have a journal.
std::vector<std::string> journal_folders(const std::string& base) {
    std::vector<std::string> folders;
    std::error_code error;
    if (std::filesystem::exists(native_path(folder_in(base, "journal.db")), error)) folders.push_back(base);
    for (std::filesystem::directory_iterator entry(native_path(base), error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string path = utf8_path(entry->path());
        std::error_code none;
        const bool session = utf8_path(entry->path().filename()).starts_with("session-");
        if (session && std::filesystem::exists(entry->path() / "journal.db", none)) folders.push_back(path);
    }
    return folders;
}

std::unique_ptr<Journal> visit(const std::string& folder, Journal::Access access = Journal::Access::Look) {
    return std::make_unique<Journal>(folder_in(folder, "journal.db"), access);
}

bool matches(const Document& document, const Options& options) {
    const auto holds = [](const std::string& text, const std::string& part) {
        return kv::cli::lower_case(text).find(kv::cli::lower_case(part)) != std::string::npos;
    };
    if (!options.only_state.empty() && options.only_state != name_of(document.state)) return false;
    if (!options.only_printer.empty() && !holds(document.printer, options.only_printer)) return false;
    if (!options.only_text.empty() && !holds(document.name, options.only_text)) return false;
    return options.since == 0 || document.changed >= now() - static_cast<int64_t>(options.since * 1000);
}

int list(const Options& options) {
    std::vector<Document> documents;
    for (const std::string& folder : journal_folders(state_folder(options))) {
        for (Document& each : visit(folder)->all()) {
            if (matches(each, options)) documents.push_back(std::move(each));
        }
    }
    std::ranges::stable_sort(documents, std::greater(), &Document::announced);
    std::fputs((options.json ? json_of(documents) : table_of(documents)).c_str(), stdout);
    return kDone;
}

struct Found {
    std::unique_ptr<Journal> journal;
    std::string folder;
    Document document;
};

Found find(const Options& options) {
    for (const std::string& folder : journal_folders(state_folder(options))) {
        auto journal = visit(folder, options.command == Command::Show ? Journal::Access::Look : Journal::Access::Visit);
        if (auto document = journal->find(options.document)) return {std::move(journal), folder, std::move(*document)};
    }
    throw std::runtime_error("no document " + std::to_string(options.document));
}

int show(const Options& options) {
    const Found found = find(options);
    std::fputs((options.json ? json_of(found.document) : text_of(found.document)).c_str(), stdout);
    return kDone;
}

// A request without fields to the session's dispatcher; nothing where none answers.
std::vector<BYTE> ask(const Options& options, DWORD code) {
    constexpr DWORD kPatience = 5000;  // milliseconds
    const Text name = pipe_name(options);
    std::vector<BYTE> reply(sizeof(ServerStatus));
    if (!WaitNamedPipeW(name.c_str(), kPatience)) return {};
    const HANDLE pipe = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE) return {};
    DWORD mode = PIPE_READMODE_MESSAGE, got = 0;
    const BOOL answered =
        SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr) &&
        TransactNamedPipe(pipe, &code, sizeof code, reply.data(), static_cast<DWORD>(reply.size()), &got, nullptr);
    CloseHandle(pipe);
    reply.resize(answered ? got : 0);
    return reply;
}

// The dispatcher that runs does it, or this process where none does.
int recover(const Options& options) {
    if (!ask(options, kv::kDispatchPrepare).empty()) return kDone;
    return look_once(options);
}

constexpr State kWaiting[] = {State::Taking, State::Taken, State::Filing, State::Delivering};
bool waits(State state) { return std::ranges::find(kWaiting, state) != std::end(kWaiting); }

void change_to(State state, Found& found) {
    const State before = std::exchange(found.document.state, state);
    if (found.journal->change(found.document, before)) return;
    throw std::runtime_error("document " + std::to_string(found.document.id) + " has changed meanwhile");
}

int retry(const Options& options) {
    Found found = find(options);
    const State state = found.document.state;
    const bool filed = state == State::Filed || (state == State::Failed && !found.document.target.empty());
    if (filed && options.destination.kind != Destination::Kind::None) {
        // What was sent before is looked for by its name.
        found.document.attempts = std::max<int64_t>(found.document.attempts, 1);
        found.document.delivery_id = 0;
        change_to(State::Delivering, found);
    } else if (state == State::Failed && !filed && !found.document.source_identity.empty()) {
        change_to(State::Taking, found);
    } else if (!waits(state)) {
        throw std::runtime_error("document " + std::to_string(options.document) + " is " + name_of(state) +
                                 ": there is nothing to try again");
    }
    found.journal.reset();
    return recover(options);
}

int cancel(const Options& options) {
    Found found = find(options);
    const State state = found.document.state;
    if (!waits(state)) {
        throw std::runtime_error("document " + std::to_string(options.document) + " is " + name_of(state) +
                                 ": it can no longer be cancelled");
    }
    if (state == State::Delivering) found.document.error = "its delivery was cancelled";
    change_to(state == State::Delivering ? State::Filed : State::Cancelled, found);
    found.journal.reset();
    return recover(options);
}

// A folder that is missing has what it will get.
uint64_t free_space(const std::string& folder) {
    std::error_code error;
    const auto space = std::filesystem::space(native_path(folder), error);
    return error ? UINT64_MAX : space.available;
}

Summary summary_of(const std::string& folder, const Options& options) {
    Summary summary;
    summary.folder = folder;
    try {
        const auto journal = visit(folder);
        for (const auto& [state, count] : journal->counts()) summary.counts.emplace_back(name_of(state), count);
        for (const Document& each : journal->in_states(kWaiting)) {
            ++summary.waiting;
            summary.oldest_waiting = std::max(summary.oldest_waiting, (now() - each.announced) / 1000);
        }
        for (const Document& each : journal->last_errors(5)) {
            summary.errors.push_back(std::to_string(each.id) + ": " + each.error);
        }
        summary.free_space =
            std::min(free_space(folder), options.all ? UINT64_MAX : free_space(outbox_folder(options)));
        summary.short_of_space = summary.free_space < options.limits.free_space;
    } catch (const std::exception& error) {
        summary.fault = error.what();
    }
    return summary;
}

int status(const Options& options) {
    std::vector<std::string> folders;
    for (const std::string& base :
         options.all ? state_folders_of_all(options.state) : std::vector<std::string>{state_folder(options)}) {
        for (std::string& each : journal_folders(base)) folders.push_back(std::move(each));
    }
    Overview overview;
    const std::vector<BYTE> reply = ask(options, kDispatchStatus);
    if (reply.size() == sizeof(ServerStatus)) {
        ServerStatus status;
        std::memcpy(&status, reply.data(), sizeof status);
        overview.running = status;
    }
    for (const std::string& folder : folders) overview.summaries.push_back(summary_of(folder, options));
    std::fputs((options.json ? json_of(overview) : text_of(overview)).c_str(), stdout);
    return std::ranges::any_of(overview.summaries, needs_attention) ? kNeedsAttention : kDone;
}

}  // namespace

int administer(const Options& options) {
    switch (options.command) {
        case Command::List:
            return list(options);
        case Command::Show:
            return show(options);
        case Command::Retry:
            return retry(options);
        case Command::Cancel:
            return cancel(options);
        case Command::Recover:
            return recover(options);
        default:
            return status(options);
    }
}

}  // namespace kvdisp12
