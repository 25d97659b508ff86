#include "dispatcher/recovery.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "dispatcher/job_facts.h"
#include "dispatcher/job_path.h"
#include "dispatcher/native_path.h"
#include "dispatcher/safe_text.h"

namespace kvdisp12 {
namespace {

namespace fs = std::filesystem;

constexpr int kFoldersDown = 1;  // below a temporary folder: a program's own

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
    const Folder spool(store_.places.spool(), Folder::Owner::Ours);
    for (Document& document : store_.journal.in_states({State::Announced, State::Taking})) {
        if (document.state == State::Taking || spool.has(spool_name(document))) {
            settle_taking(document, spool);
            continue;
        }
        document.state = State::Failed;
        document.error = "the dispatcher ended before the document did";
        store_.journal.change(document, State::Announced);
    }
}

// The job is in the spool, and may have its old name as well; or only that, and is found there.
void Recovery::settle_taking(Document& document, const Folder& spool) {
    const Claims::Claim claim(store_.claims, document.id);
    if (!claim || !spool.has(spool_name(document))) return;
    if (const auto source = JobFile::open_again(document.source, store_.places.roots, document.source_identity)) {
        source->remove_source();
    }
    const State before = document.state;
    document.state = State::Taken;
    store_.journal.change(document, before);
}

void Recovery::find_all() {
    find_in_spool();
    clear_parts();
    filer_.file_waiting(true);
    const bool clients = !store_.journal.in_states({State::Announced}).empty();
    for (const std::string& root : store_.places.roots) find_in_folder(root, kFoldersDown, clients);
}

// Jobs that the journal does not know, for it was set aside.
void Recovery::find_in_spool() {
    const Folder spool(store_.places.spool(), Folder::Owner::Ours);
    for (const std::string& name : spool.names()) {
        if (!name.ends_with(".kv")) continue;
        Document document;
        document.uuid = name.substr(0, name.size() - 3);
        if (store_.journal.find_by_uuid(document.uuid)) continue;
        try {
            const JobFile job = JobFile::open(spool, name);
            const JobFacts facts = read_facts(job);
            document.state = State::Taken;
            document.user = user_name();
            document.name = to_utf8(facts.name);
            document.pages = facts.pages;
            document.bytes = static_cast<int64_t>(job.size());
            store_.journal.add(document);
            store_.log.line("Found " + told(document) + " in the spool", fields_of(document));
        } catch (const FileError& error) {
            store_.log.limited("spool", error.what());
        }
    }
}

// Copies that were not finished: what they were made of is still there. A copy whose document is not under way is kept
// where its document is not known.
void Recovery::clear_parts() {
    const Folder outbox(store_.places.outbox, Folder::Owner::Anyone), spool(store_.places.spool(), Folder::Owner::Ours);
    for (const Folder* folder : {&outbox, &spool}) {
        for (const std::string& name : folder->names()) {
            const size_t start = name.starts_with('~') ? 1 : 0;
            if (!name.ends_with(".part")) continue;
            const auto document = store_.journal.find_by_uuid(name.substr(start, name.size() - start - 5));
            if (!document) continue;
            const Claims::Claim claim(store_.claims, document->id);
            if (claim) folder->remove(name);
        }
    }
}

void Recovery::find_in_folder(const std::string& folder, int depth, bool clients) {
    std::error_code error;
    for (fs::directory_iterator entry(native_path(folder), error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code ignored;
        const fs::file_status status = entry->symlink_status(ignored);
        const std::string path = utf8_path(entry->path());
        if (fs::is_directory(status) && depth > 0) find_in_folder(path, depth - 1, clients);
        if (!fs::is_regular_file(status) || (clients && is_fresh(*entry))) continue;
        if (!fault_of_job_path(client_path(path))) take(path);
    }
}

void Recovery::take(const std::string& path) {
    try {
        JobFile job = JobFile::open(client_path(path), store_.places.roots, false);
        const JobFacts facts = read_facts(job);
        if (!facts.whole && !is_old(job)) return;
        auto known = store_.journal.find_by_source(job.path());
        const bool same = known && known->source_identity == job.identity() && known->state == State::Taking;
        Document document = same ? *known : Document();
        if (!same) {
            document.user = user_name();
            document.name = to_utf8(facts.name);
            store_.journal.add(document);
        }
        if (facts.whole) {
            intake_.take_found(job, document);
        } else {
            set_damaged_aside(job, document);
        }
    } catch (const FileError&) {
        // Another user's, in use, or no job: nothing of ours.
    }
}

void Recovery::set_damaged_aside(JobFile& job, Document& document) {
    const Folder damaged(store_.places.damaged(), Folder::Owner::Ours);
    const State before = document.state;
    document.source = job.path();
    document.bytes = static_cast<int64_t>(job.size());
    if (job.move_to(damaged, spool_name(document)) == Moved::OtherVolume) {
        job.copy_to(damaged, document.uuid + ".part");
        damaged.move(document.uuid + ".part", damaged, spool_name(document));
    }
    damaged.flush();
    job.remove_source();
    const std::string recovered = document.uuid + "-recovered.kv";
    const bool saved = recover_job(damaged.path_of(spool_name(document)), damaged.path_of(recovered));
    document.state = State::Damaged;
    document.target = saved ? recovered : spool_name(document);
    document.error = "the recording was cut off";
    store_.journal.change(document, before);
    store_.log.error("Damaged " + told(document) + ", kept as " + in_quotes(damaged.path_of(document.target)),
                     fields_of(document));
}

}  // namespace kvdisp12
