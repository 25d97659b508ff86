#include "dispatcher/intake.h"

#include "dispatcher/job_facts.h"
#include "dispatcher/job_path.h"
#include "dispatcher/safe_text.h"

namespace kvdisp12 {

// Empty where a document can be taken.
std::string Intake::reason_to_refuse() const {
    const auto lack_in = [&](const Folder& folder) -> std::string {
        const uint64_t free = folder.free_space();
        if (free >= limits_.free_space) return "";
        return in_quotes(folder.path()) + ": " + std::to_string(free >> 20) + " MiB are free, " +
               std::to_string(limits_.free_space >> 20) + " are kept";
    };
    const std::string lack = lack_in(Folder(store_.places.state, Folder::Owner::Ours));
    if (!lack.empty()) return lack;
    try {
        return lack_in(Folder(store_.places.outbox, Folder::Owner::Anyone));
    } catch (const FileError&) {
        return "";  // jobs wait for it
    }
}

int64_t Intake::announce(const Announcement& announcement, const Client& client) {
    Document document;
    document.user = user_name();
    document.session = session_;
    document.process = client.process;
    document.spooler_job = announcement.spooler_job;
    document.printer = to_utf8(announcement.printer);
    document.name = to_utf8(announcement.name);
    try {
        document.error = reason_to_refuse();
        if (!document.error.empty()) document.state = State::Refused;
        store_.journal.add(document);
    } catch (const std::exception& error) {  // no folder, or a journal that cannot be written
        document.error = error.what();
        document.state = State::Refused;
    }
    const std::string line = "StartDoc job " + std::to_string(announcement.spooler_job) + ' ' +
                             in_quotes(document.name) + " document " + std::to_string(document.id) + " printer " +
                             in_quotes(document.printer) + " product " + std::to_string(announcement.product_family) +
                             '.' + std::to_string(announcement.product) + " dialog " +
                             std::to_string(announcement.dialog) + " action " + std::to_string(announcement.action);
    if (document.state == State::Refused) {
        store_.log.error(line + ": refused: " + document.error, fields_of(document));
        return 0;
    }
    store_.log.line(line, fields_of(document));
    return document.id;
}

bool Intake::hand_over(int64_t id, const Text& path, const Client& client) {
    const Claims::Claim claim(store_.claims, id);
    auto document = store_.journal.find(id);
    if (!claim || !document || document->state != State::Announced) return false;
    try {
        JobFile job = open_job(path, client, *document);
        store_.log.line("EndDoc " + told(*document), fields_of(*document));
        // From here on nothing is final but success: what fails is tried again.
        const bool taken = filer_.take(std::move(job), *document);
        if (taken) filer_.file(*document);
        return taken;
    } catch (const std::exception& error) {
        if (was_found(path, *document)) return true;
        store_.log.error("EndDoc " + told(*document) + " failed: " + error.what(), fields_of(*document));
        document->state = State::Failed;
        document->error = error.what();
        store_.journal.change(*document, State::Announced);
        return false;
    }
}

// Opens it and notes it down as taken from there.
JobFile Intake::open_job(const Text& path, const Client& client, Document& document) {
    if (const char* fault = fault_of_job_path(path)) throw FileError(in_quotes(path) + ": " + fault);
    std::lock_guard guard(store_.opening);
    JobFile job = JobFile::open(path, store_.places.roots, client.peer == Peer::System);
    document.state = State::Taking;
    note_source(job, document);
    if (!store_.journal.change(document, State::Announced)) throw FileError("the document has been cancelled");
    return job;
}

// A job that lay finished for long enough to be taken for a lost one is filed already.
bool Intake::was_found(const Text& path, Document& document) {
    if (fault_of_job_path(path)) return false;
    const auto found = store_.journal.find_by_source(native_path_of(path));
    if (!found || found->id == document.id || found->changed < document.announced) return false;
    document.state = State::Aborted;
    document.error = "found as document " + std::to_string(found->id);
    store_.journal.change(document, State::Announced);
    return true;
}

void Intake::give_up(int64_t id, State end, const std::string& why) {
    auto document = store_.journal.find(id);
    if (!document || document->state != State::Announced) return;
    document->state = end;
    document->error = why;
    store_.journal.change(*document, State::Announced);
}

}  // namespace kvdisp12
