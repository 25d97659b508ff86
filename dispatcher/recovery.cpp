#include "dispatcher/recovery.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "dispatcher/job_facts.h"
#include "dispatcher/job_path.h"
#include "dispatcher/machine.h"
#include "dispatcher/native_path.h"
#include "dispatcher/safe_text.h"

namespace kvdisp12 {
namespace {

namespace fs = std::filesystem;

constexpr int kFoldersDown = 1;  // below a temporary folder: a program's own
constexpr std::string_view kJobEnd = ".kv", kPartEnd = ".part";

bool is_uuid(const std::string& text) {
    constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    return text.size() == kForm.size() && std::equal(text.begin(), text.end(), kForm.begin(), [](char c, char form) {
               return form == '-' ? c == '-' : (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
           });
}

// The clock may have been set back or forward since a file changed: what has changed long after now is old as well.
bool is_old(const JobFile& job) {
    constexpr int64_t kHour = 3600;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::llabs(std::chrono::duration_cast<std::chrono::seconds>(now).count() - job.changed()) >= kHour;
}

// Its client may be just about to hand it over.
bool is_fresh(const fs::directory_entry& entry) {
    std::error_code error;
    const auto age = fs::file_time_type::clock::now() - entry.last_write_time(error);
    return !error && std::chrono::abs(age) < std::chrono::minutes(1);
}

}  // namespace

void Recovery::settle_interrupted() {
    for (Document& document : store_.journal.in_states({State::Announced})) {
        document.state = State::Failed;
        document.error = "the dispatcher ended before the document did";
        store_.journal.change(document, State::Announced);
    }
}

void Recovery::find_all() {
    adopt_sessions();
    find_in_spool();
    clear_parts(Folder(store_.places.spool(), Folder::Owner::Ours));
    filer_.file_waiting(true);
    for (const std::string& root : store_.places.roots) find_in_folder(root, kFoldersDown);
    try {
        clear_parts(Folder(store_.places.outbox, Folder::Owner::Anyone));
    } catch (const FileError& error) {
        store_.log.limited("outbox", error.what());
    }
}

// What the dispatchers of further sessions of this user left, whose numbers may not come again. Now and then, for it
// costs opening their journals.
void Recovery::adopt_sessions() {
    constexpr auto kPause = std::chrono::minutes(9);
    const auto now = Filer::Clock::now();
    if (adopted_ && now - *adopted_ < kPause) return;
    adopted_ = now;
    for (const std::string& name : Folder(store_.places.state, Folder::Owner::Ours).names()) {
        if (!name.starts_with("session-")) continue;
        try {
            adopt(folder_in(store_.places.state, name));
        } catch (const std::exception& error) {
            store_.log.limited("session", "Jobs of another session: " + std::string(error.what()));
        }
    }
}

void Recovery::adopt(const std::string& state) {
    const auto lock = FolderLock::take(Folder(state, Folder::Owner::Ours));
    if (!lock) return;  // its dispatcher runs
    const Places places{state, store_.places.outbox, {}};
    const Folder theirs(places.spool(), Folder::Owner::Ours), spool(store_.places.spool(), Folder::Owner::Ours);
    {
        Journal journal(folder_in(state, "journal.db"), Journal::Access::Own,
                        [&](const std::string& why) { store_.log.error("The journal is set aside: " + why); });
        for (const Document& each :
             journal.in_states({State::Taking, State::Taken, State::Filing, State::Delivering})) {
            adopt(journal, each, theirs);
        }
    }
    for (const std::string& name : theirs.names()) {
        if (name.ends_with(kJobEnd)) theirs.move(name, spool, name);
    }
}

// First its job, so that a document of ours is never without; where we die then it is found in the spool.
void Recovery::adopt(Journal& journal, Document document, const Folder& theirs) {
    const Folder spool(store_.places.spool(), Folder::Owner::Ours);
    const int64_t their_id = document.id;
    if (theirs.has(spool_name(document))) theirs.move(spool_name(document), spool, spool_name(document));
    if (!store_.journal.find_by_uuid(document.uuid)) {
        // It may have been brought further than we know.
        if (document.state == State::Delivering) document.attempts = std::max<int64_t>(document.attempts, 1);
        store_.journal.add(document);
        store_.log.line("Found " + told(document) + " of another session", fields_of(document));
        if (document.state == State::Delivering && store_.deliver) store_.deliver();
    }
    journal.remove(their_id);
}

// Jobs that the journal does not know, for it was set aside.
void Recovery::find_in_spool() {
    const Folder spool(store_.places.spool(), Folder::Owner::Ours);
    for (const std::string& name : spool.names()) {
        if (!name.ends_with(kJobEnd)) continue;
        Document document;
        document.uuid = name.substr(0, name.size() - kJobEnd.size());
        if (store_.journal.find_by_uuid(document.uuid)) continue;
        try {
            const JobFile job = JobFile::open(spool, name);
            const JobFacts facts = note_source(job, document);
            document.state = State::Taken;
            document.user = user_name();
            document.name = to_utf8(facts.name);
            store_.journal.add(document);
            store_.log.line("Found " + told(document) + " in the spool", fields_of(document));
        } catch (const FileError& error) {
            store_.log.limited("spool", error.what());
        }
    }
}

// Copies that were not finished, or not removed: what they were made of is still there, or has arrived.
void Recovery::clear_parts(const Folder& folder) {
    for (const std::string& name : folder.names()) {
        if (!name.ends_with(kPartEnd)) continue;
        const size_t start = name.starts_with('~') ? 1 : 0;
        const std::string uuid = name.substr(start, name.size() - start - kPartEnd.size());
        try {
            const auto document = store_.journal.find_by_uuid(uuid);
            if (!document) {
                take_part(folder, name, uuid);
            } else if (const Claims::Claim claim(store_.claims, document->id); claim) {
                folder.remove(name);
            }
        } catch (const FileError& error) {
            store_.log.limited("parts", error.what());
        }
    }
}

// A copy whose document the journal does not know, for it was set aside: whole, it may be all that there is of it.
void Recovery::take_part(const Folder& folder, const std::string& name, const std::string& uuid) {
    if (!is_uuid(uuid)) return;  // not ours
    if (!read_facts(JobFile::open(folder, name)).whole) return;
    const Folder spool(store_.places.spool(), Folder::Owner::Ours);
    if (folder.move(name, spool, uuid + kJobEnd.data()) == Moved::OtherVolume) {
        JobFile::open(folder, name).copy_to(spool, uuid + kPartEnd.data());
        spool.move(uuid + kPartEnd.data(), spool, uuid + kJobEnd.data());
        folder.remove(name);
    }
    find_in_spool();
    filer_.file_waiting(true);
}

void Recovery::find_in_folder(const std::string& folder, int depth) {
    std::error_code error;
    for (fs::directory_iterator entry(native_path(folder), error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code ignored;
        const fs::file_status status = entry->symlink_status(ignored);
        const std::string path = utf8_path(entry->path());
        if (fs::is_directory(status) && depth > 0) find_in_folder(path, depth - 1);
        if (!fs::is_regular_file(status) || fault_of_job_path(client_path(path))) continue;
        if (is_fresh(*entry) && !store_.journal.in_states({State::Announced}).empty()) continue;
        take(path);
    }
}

void Recovery::take(const std::string& path) {
    try {
        std::unique_lock guard(store_.opening);
        if (is_known(path)) return;
        JobFile job = JobFile::open(client_path(path), store_.places.roots, false);
        Document document;
        const JobFacts facts = note_source(job, document);
        if (!facts.whole && !is_old(job)) return;
        document.state = facts.whole ? State::Taking : State::Damaged;
        document.user = user_name();
        document.name = to_utf8(facts.name);
        const auto before = store_.journal.find_by_source(document.source);
        const bool again = before && before->state == State::Damaged && before->source_identity == job.identity();
        if (again) {
            document = *before;
        } else {
            store_.journal.add(document);
        }
        guard.unlock();
        const Claims::Claim claim(store_.claims, document.id);
        if (!facts.whole) return set_damaged_aside(job, document);
        store_.log.line("Found " + told(document) + " at " + in_quotes(path), fields_of(document));
        if (claim && filer_.take(std::move(job), document)) filer_.file(document);
    } catch (const FileError&) {
        // Another user's, in use, or no job: nothing of ours.
    }
}

// Whether the job there has been taken, or is about to be. One that has been is there because its name could not be
// removed, or because its client has moved it since: a dispatcher that died gave no answer.
bool Recovery::is_known(const std::string& path) {
    const auto job = JobFile::open_again(path, store_.places.roots);
    const auto known = job ? store_.journal.find_by_source_identity(job->identity()) : std::nullopt;
    if (!known || known->state == State::Damaged || known->state == State::Failed) return false;
    if (known->state != State::Taking) job->remove_source();
    return true;
}

void Recovery::set_damaged_aside(const JobFile& job, Document& document) {
    const Folder damaged(store_.places.damaged(), Folder::Owner::Ours);
    const std::string name = spool_name(document), part = document.uuid + kPartEnd.data();
    if (job.move_to(damaged, name) == Moved::OtherVolume) {
        job.copy_to(damaged, part);
        damaged.move(part, damaged, name);
    }
    damaged.flush();
    job.remove_source();
    const std::string recovered = document.uuid + "-recovered.kv";
    const bool saved = recover_job(damaged.path_of(name), damaged.path_of(recovered));
    document.target = saved ? recovered : name;
    document.error = "the recording was cut off";
    store_.journal.change(document, State::Damaged);
    store_.log.error("Damaged " + told(document) + ", kept as " + in_quotes(damaged.path_of(document.target)),
                     fields_of(document));
}

}  // namespace kvdisp12
