#include <algorithm>

#include "dispatcher/host/descriptor.h"
#include "dispatcher/host/ipp.h"
#include "dispatcher/host/targets.h"
#include "dispatcher/host/work_folder.h"
#include "dispatcher/job_facts.h"
#include "dispatcher/safe_text.h"

namespace kvdisp12 {
namespace {

// A job that CUPS has: whether it got its document, or still waits for it. One that ended without was given up there.
// Unknown: CUPS has none.
struct QueuedJob {
    int id = 0;
    enum class Has { Document, Nothing, Ended, Unknown } has = Has::Unknown;
};

int number(ipp_attribute_t* attribute) { return attribute ? ippGetInteger(attribute, 0) : 0; }

// One of a reply's jobs, read attribute by attribute up to the next one.
class JobReader {
public:
    void take(ipp_attribute_t* attribute) {
        const std::string name = ippGetName(attribute);
        if (name == "job-id") id_ = number(attribute);
        if (name == "job-state") state_ = number(attribute);
        if (name == "number-of-documents") documents_ = number(attribute);
        if (name == "time-at-processing" && ippGetValueTag(attribute) == IPP_TAG_INTEGER) processed_ = true;
        const char* text = name == "job-name" ? ippGetString(attribute, 0, nullptr) : nullptr;
        if (text) name_ = text;
    }
    // Unknown where it is another job.
    QueuedJob job(const std::string& name) const {
        using Has = QueuedJob::Has;
        if (name_ != name || id_ == 0) return {};
        if (documents_ > 0 || processed_) return QueuedJob{id_, Has::Document};
        switch (state_) {
            case IPP_JSTATE_PENDING:
            case IPP_JSTATE_HELD:
                return QueuedJob{id_, Has::Nothing};
            case IPP_JSTATE_CANCELED:
            case IPP_JSTATE_ABORTED:
                return QueuedJob{id_, Has::Ended};
            default:
                return QueuedJob{id_, Has::Document};
        }
    }

private:
    std::string name_;
    int id_ = 0, state_ = 0, documents_ = 0;
    bool processed_ = false;
};

// Of the jobs in a reply, the one of that name that got furthest.
QueuedJob job_in(const IppMessage& reply, const std::string& name) {
    QueuedJob best;
    JobReader reader;
    const auto finish = [&] {
        const QueuedJob job = reader.job(name);
        if (job.has < best.has) best = job;
        reader = {};
    };
    for (ipp_attribute_t* each = ippFirstAttribute(reply.get()); each; each = ippNextAttribute(reply.get())) {
        if (ippGetGroupTag(each) == IPP_TAG_JOB && ippGetName(each)) {
            reader.take(each);
        } else {
            finish();  // what stands between two jobs
        }
    }
    finish();
    return best;
}

void ask_for_job_attributes(const IppMessage& request) {
    const char* const wanted[] = {"job-id", "job-name", "job-state", "number-of-documents", "time-at-processing"};
    ippAddStrings(request.get(), IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                  static_cast<int>(std::size(wanted)), nullptr, wanted);
}

void add_job_id(const IppMessage& request, int64_t id) {
    ippAddInteger(request.get(), IPP_TAG_OPERATION, IPP_TAG_INTEGER, "job-id", static_cast<int>(id));
}

// As IPP's keywords are written: "Tray 2" is tray-2.
std::string keyword_of(const Text& text) {
    std::string keyword;
    for (const char each : to_utf8(text)) {
        const bool plain = (each >= 'a' && each <= 'z') || (each >= '0' && each <= '9');
        const bool capital = each >= 'A' && each <= 'Z';
        keyword += plain ? each : capital ? static_cast<char>(each - 'A' + 'a') : '-';
    }
    return keyword;
}

void add_media(const IppMessage& request, const JobTicket& ticket) {
    if (ticket.width <= 0 || ticket.height <= 0) return;
    if (ticket.tray.empty()) {
        const pwg_media_t* media = pwgMediaForSize(ticket.width, ticket.height);
        if (media) ippAddString(request.get(), IPP_TAG_JOB, IPP_TAG_KEYWORD, "media", nullptr, media->pwg);
        return;
    }
    const IppMessage size(ippNew()), media(ippNew());
    ippAddInteger(size.get(), IPP_TAG_ZERO, IPP_TAG_INTEGER, "x-dimension", ticket.width);
    ippAddInteger(size.get(), IPP_TAG_ZERO, IPP_TAG_INTEGER, "y-dimension", ticket.height);
    ippAddCollection(media.get(), IPP_TAG_ZERO, "media-size", size.get());
    ippAddString(media.get(), IPP_TAG_ZERO, IPP_TAG_KEYWORD, "media-source", nullptr, keyword_of(ticket.tray).c_str());
    ippAddCollection(request.get(), IPP_TAG_JOB, "media-col", media.get());
}

// Copies and sides are told by what the application attached, under IPP's names.
void add_ticket(const IppMessage& request, const JobTicket& ticket) {
    add_media(request, ticket);
    const auto attached = [&](const WCHAR* name) {
        const auto found = ticket.attached.find(name);
        return found == ticket.attached.end() ? "" : to_utf8(found->second);
    };
    const std::string copies = attached(TEXT("copies")), sides = attached(TEXT("sides"));
    const bool counts = !copies.empty() && copies.size() <= 4 &&
                        std::ranges::all_of(copies, [](char each) { return each >= '0' && each <= '9'; });
    if (counts && std::stoi(copies) > 0) {
        ippAddInteger(request.get(), IPP_TAG_JOB, IPP_TAG_INTEGER, "copies", std::stoi(copies));
    }
    for (const char* known : {"one-sided", "two-sided-long-edge", "two-sided-short-edge"}) {
        if (sides == known) ippAddString(request.get(), IPP_TAG_JOB, IPP_TAG_KEYWORD, "sides", nullptr, known);
    }
}

// Another try with the same document comes to the same.
bool is_final(const IppError& error) {
    if (error.operation != IPP_OP_CREATE_JOB && error.operation != IPP_OP_SEND_DOCUMENT) return false;
    switch (error.status) {
        case IPP_STATUS_ERROR_BAD_REQUEST:
        case IPP_STATUS_ERROR_REQUEST_ENTITY:
        case IPP_STATUS_ERROR_REQUEST_VALUE:
        case IPP_STATUS_ERROR_DOCUMENT_FORMAT_NOT_SUPPORTED:
        case IPP_STATUS_ERROR_DOCUMENT_FORMAT_ERROR:
        case IPP_STATUS_ERROR_ATTRIBUTES_OR_VALUES:
            return true;
        default:
            return false;
    }
}

// Hands one document to a queue. The queue knows it by the job's name, so that one which was sent, or half sent, before
// is found there.
class Handing {
public:
    Handing(const Attempt& attempt, const std::string& queue, const std::string& host)
        : attempt_(attempt), queue_(queue, host, attempt), name_("karvo-" + attempt.document.uuid) {}

    Outcome deliver() {
        const bool may_be_there = attempt_.document.delivery_id != 0 || attempt_.repeated;
        const QueuedJob earlier = may_be_there ? find_earlier() : QueuedJob{};
        if (earlier.has == QueuedJob::Has::Document) return {Outcome::Kind::Done};
        if (earlier.has == QueuedJob::Has::Unknown && attempt_.document.delivery_id != 0) {
            return {Outcome::Kind::Never, "CUPS no longer knows its job " +
                                              std::to_string(attempt_.document.delivery_id) +
                                              ": whether it was printed cannot be told; --retry sends it again"};
        }
        const WorkFolder work(attempt_.places, attempt_.document.uuid);
        const Descriptor file(Folder(work.path(), Folder::Owner::Ours).make_file("document.pdf"));
        const Outcome drawn = draw_pdf(attempt_, file.get());
        if (drawn.kind != Outcome::Kind::Done) return drawn;
        const int id = earlier.has == QueuedJob::Has::Nothing ? earlier.id : create();
        attempt_.document.delivery_id = id;
        if (!attempt_.note()) {
            cancel(id);
            return {Outcome::Kind::Again, "its delivery was cancelled"};
        }
        send(id, file.get());
        return drawn;
    }

private:
    QueuedJob find_earlier() {
        if (attempt_.document.delivery_id != 0) {
            IppMessage request = queue_.request(IPP_OP_GET_JOB_ATTRIBUTES);
            add_job_id(request, attempt_.document.delivery_id);
            ask_for_job_attributes(request);
            try {
                const QueuedJob job = job_in(queue_.ask(std::move(request)), name_);
                if (job.has != QueuedJob::Has::Unknown) return job;
            } catch (const IppError& error) {
                if (error.status != IPP_STATUS_ERROR_NOT_FOUND) throw;
            }
        }
        IppMessage request = queue_.request(IPP_OP_GET_JOBS);
        ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "which-jobs", nullptr, "all");
        ask_for_job_attributes(request);
        return job_in(queue_.ask(std::move(request)), name_);
    }

    int create() {
        IppMessage request = queue_.request(IPP_OP_CREATE_JOB);
        ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_NAME, "job-name", nullptr, name_.c_str());
        add_ticket(request, read_ticket(attempt_.job));
        const IppMessage reply = queue_.ask(std::move(request));
        const int id = number(ippFindAttribute(reply.get(), "job-id", IPP_TAG_INTEGER));
        if (id <= 0) throw IppError(IPP_OP_CREATE_JOB, IPP_STATUS_ERROR_INTERNAL, "Create-Job: the reply has no job");
        return id;
    }

    void send(int id, int file) {
        IppMessage request = queue_.request(IPP_OP_SEND_DOCUMENT);
        add_job_id(request, id);
        const std::string title = without_controls(attempt_.document.name);
        ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_NAME, "document-name", nullptr, title.c_str());
        ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_MIMETYPE, "document-format", nullptr, "application/pdf");
        ippAddBoolean(request.get(), IPP_TAG_OPERATION, "last-document", 1);
        try {
            queue_.ask(std::move(request), file);
        } catch (const IppError& error) {
            if (is_final(error)) cancel(id);
            throw;
        }
    }

    // What it cannot get a document for is not left there.
    void cancel(int id) {
        IppMessage request = queue_.request(IPP_OP_CANCEL_JOB);
        add_job_id(request, id);
        try {
            queue_.ask(std::move(request));
        } catch (const IppError&) {  // CUPS gives up on it by itself
        }
    }

    const Attempt& attempt_;
    IppQueue queue_;
    const std::string name_;
};

class CupsTarget : public Target {
public:
    CupsTarget(std::string queue, std::string host) : queue_(std::move(queue)), host_(std::move(host)) {}

    Outcome deliver(const Attempt& attempt) override {
        try {
            return Handing(attempt, queue_, host_).deliver();
        } catch (const IppError& error) {
            if (attempt.stop.stop_requested()) return {Outcome::Kind::Stopped};
            return {is_final(error) ? Outcome::Kind::Never : Outcome::Kind::Down, error.what()};
        }
    }

private:
    const std::string queue_, host_;
};

}  // namespace

std::unique_ptr<Target> make_cups_target(const std::string& queue, const std::string& host) {
    return std::make_unique<CupsTarget>(queue, host);
}

}  // namespace kvdisp12
