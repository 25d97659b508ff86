#include "dispatcher/intake.h"

#include "dispatcher/job_facts.h"
#include "dispatcher/job_path.h"
#include "dispatcher/safe_text.h"

namespace kvdisp12 {

// Empty where a document can be taken.
std::string Intake::reason_to_refuse() const {
    const uint64_t free = Folder(store_.places.state, Folder::Owner::Ours).free_space();
    if (free >= limits_.free_space) return "";
    return std::to_string(free >> 20) + " MiB are free, " + std::to_string(limits_.free_space >> 20) + " are kept";
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
    const std::string line = "StartDoc job " + std::to_string(announcement.spooler_job) + ' ' + in_quotes(document.name) +
                             " document " + std::to_string(document.id) + " printer " + in_quotes(document.printer) +
                             " product " + std::to_string(announcement.product_family) + '.' +
                             std::to_string(announcement.product) + " dialog " + std::to_string(announcement.dialog) +
                             " action " + std::to_string(announcement.action);
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
        if (const char* fault = fault_of_job_path(path)) throw FileError(in_quotes(path) + ": " + fault);
        JobFile job = JobFile::open(path, store_.places.roots, client.system);
        into_spool(job, *document);
    } catch (const std::exception& error) {
        store_.log.error("EndDoc " + told(*document) + " failed: " + error.what(), fields_of(*document));
        if (document->state != State::Announced) return false;  // it lies where it was, and is found again
        document->state = State::Failed;
        document->error = error.what();
        store_.journal.change(*document, State::Announced);
        return false;
    }
    // From here on it is ours, whatever becomes of it.
    store_.log.line("EndDoc " + told(*document) + " taken", fields_of(*document));
    filer_.file(*document);
    return true;
}

bool Intake::take_found(JobFile& job, Document& document) {
    const Claims::Claim claim(store_.claims, document.id);
    if (!claim) return false;
    into_spool(job, document);
    store_.log.line("Found " + told(document) + " at " + in_quotes(document.source), fields_of(document));
    filer_.file(document);
    return true;
}

// After each step the job has exactly one place that counts: the spool's name where it is there, else where it came
// from.
void Intake::into_spool(JobFile& job, Document& document) {
    const JobFacts facts = read_facts(job);
    const State before = document.state;
    document.state = State::Taking;
    document.source = job.path();
    document.source_identity = job.identity();
    document.bytes = static_cast<int64_t>(job.size());
    document.pages = facts.pages;
    if (!store_.journal.change(document, before)) throw FileError("it was changed meanwhile");
    const Folder spool(store_.places.spool(), Folder::Owner::Ours);
    if (job.move_to(spool, spool_name(document)) == Moved::OtherVolume) {
        const std::string part = document.uuid + ".part";
        job.copy_to(spool, part);
        spool.move(part, spool, spool_name(document));
    }
    spool.flush();
    job.remove_source();
}

void Intake::give_up(int64_t id, State end, const std::string& why) {
    auto document = store_.journal.find(id);
    if (!document || document->state != State::Announced) return;
    document->state = end;
    document->error = why;
    store_.journal.change(*document, State::Announced);
}

}  // namespace kvdisp12
