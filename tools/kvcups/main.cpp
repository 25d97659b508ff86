// A step of a delivery to CUPS, for the dispatcher, which need not hold CUPS' library all the time that way: it asks
// for a job by its name, makes one, sends its document, or cancels it. The queue, its host (empty: this user's) and the
// job's name are its arguments; the document comes on its standard input; the rest is in its environment, which nobody
// else can read: KARVO_USER, KARVO_NAME, KARVO_QUEUE_ID, KARVO_PATIENCE (seconds for an answer), and of the ticket
// KARVO_WIDTH, KARVO_HEIGHT (hundredths of a millimetre), KARVO_TRAY, KARVO_COPIES, KARVO_SIDES.

#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "tools/kvcups/ipp.h"

namespace kvcups {
namespace {

// Exit codes. Refused: another try comes to the same.
constexpr int kDone = 0, kFailed = 1, kUsage = 2, kRefused = 4;

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

void add_job_id(const IppMessage& request, int id) {
    ippAddInteger(request.get(), IPP_TAG_OPERATION, IPP_TAG_INTEGER, "job-id", id);
}

// As IPP's keywords are written: "Tray 2" is tray-2.
std::string keyword_of(const std::string& text) {
    std::string keyword;
    for (const char each : text) {
        const bool plain = (each >= 'a' && each <= 'z') || (each >= '0' && each <= '9');
        const bool capital = each >= 'A' && each <= 'Z';
        keyword += plain ? each : capital ? static_cast<char>(each - 'A' + 'a') : '-';
    }
    return keyword;
}

std::string told(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}
// 0 for what is no number.
int number_told(const char* name) {
    const std::string text = told(name);
    int value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && stop == text.data() + text.size() ? value : 0;
}

void add_media(const IppMessage& request) {
    const int width = number_told("KARVO_WIDTH"), height = number_told("KARVO_HEIGHT");
    const std::string tray = told("KARVO_TRAY");
    if (width <= 0 || height <= 0) return;
    if (tray.empty()) {
        const pwg_media_t* media = pwgMediaForSize(width, height);
        if (media) ippAddString(request.get(), IPP_TAG_JOB, IPP_TAG_KEYWORD, "media", nullptr, media->pwg);
        return;
    }
    const IppMessage size(ippNew()), media(ippNew());
    ippAddInteger(size.get(), IPP_TAG_ZERO, IPP_TAG_INTEGER, "x-dimension", width);
    ippAddInteger(size.get(), IPP_TAG_ZERO, IPP_TAG_INTEGER, "y-dimension", height);
    ippAddCollection(media.get(), IPP_TAG_ZERO, "media-size", size.get());
    ippAddString(media.get(), IPP_TAG_ZERO, IPP_TAG_KEYWORD, "media-source", nullptr, keyword_of(tray).c_str());
    ippAddCollection(request.get(), IPP_TAG_JOB, "media-col", media.get());
}

void add_ticket(const IppMessage& request) {
    constexpr int kMostCopies = 9999;
    add_media(request);
    const int copies = number_told("KARVO_COPIES");
    if (copies > 0 && copies <= kMostCopies) {
        ippAddInteger(request.get(), IPP_TAG_JOB, IPP_TAG_INTEGER, "copies", copies);
    }
    for (const char* known : {"one-sided", "two-sided-long-edge", "two-sided-short-edge"}) {
        if (told("KARVO_SIDES") == known) {
            ippAddString(request.get(), IPP_TAG_JOB, IPP_TAG_KEYWORD, "sides", nullptr, known);
        }
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

// Of the jobs that CUPS has, the one of that name; `id`: where its number is known, else 0.
QueuedJob find(IppQueue& queue, const std::string& name, int id) {
    if (id != 0) {
        IppMessage request = queue.request(IPP_OP_GET_JOB_ATTRIBUTES);
        add_job_id(request, id);
        ask_for_job_attributes(request);
        try {
            const QueuedJob job = job_in(queue.ask(std::move(request)), name);
            if (job.has != QueuedJob::Has::Unknown) return job;
        } catch (const IppError& error) {
            if (error.status != IPP_STATUS_ERROR_NOT_FOUND) throw;
        }
    }
    IppMessage request = queue.request(IPP_OP_GET_JOBS);
    ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "which-jobs", nullptr, "all");
    ask_for_job_attributes(request);
    return job_in(queue.ask(std::move(request)), name);
}

int create(IppQueue& queue, const std::string& name) {
    IppMessage request = queue.request(IPP_OP_CREATE_JOB);
    ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_NAME, "job-name", nullptr, name.c_str());
    add_ticket(request);
    const IppMessage reply = queue.ask(std::move(request));
    const int id = number(ippFindAttribute(reply.get(), "job-id", IPP_TAG_INTEGER));
    if (id <= 0) throw IppError(IPP_OP_CREATE_JOB, IPP_STATUS_ERROR_INTERNAL, "Create-Job: the reply has no job");
    return id;
}

// What it cannot get a document for is not left there.
void cancel(IppQueue& queue, int id) {
    IppMessage request = queue.request(IPP_OP_CANCEL_JOB);
    add_job_id(request, id);
    try {
        queue.ask(std::move(request));
    } catch (const IppError&) {  // CUPS gives up on it by itself
    }
}

void send(IppQueue& queue, int id) {
    IppMessage request = queue.request(IPP_OP_SEND_DOCUMENT);
    add_job_id(request, id);
    ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_NAME, "document-name", nullptr, told("KARVO_NAME").c_str());
    ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_MIMETYPE, "document-format", nullptr, "application/pdf");
    ippAddBoolean(request.get(), IPP_TAG_OPERATION, "last-document", 1);
    try {
        queue.ask(std::move(request), STDIN_FILENO);
    } catch (const IppError& error) {
        if (is_final(error)) cancel(queue, id);
        throw;
    }
}

// Its exit code.
int take_step(const std::string& step, const std::string& queue_name, const std::string& host,
              const std::string& name) {
    const int id = number_told("KARVO_QUEUE_ID");
    IppQueue queue(queue_name, host, told("KARVO_USER"), number_told("KARVO_PATIENCE"));
    if (step == "find") {
        constexpr const char* kHas[] = {"document", "nothing", "ended", "unknown"};
        const QueuedJob job = find(queue, name, id);
        std::printf("%d %s\n", job.id, kHas[static_cast<int>(job.has)]);
    } else if (step == "create") {
        std::printf("%d\n", create(queue, name));
    } else if (step == "send") {
        send(queue, id);
    } else if (step == "cancel") {
        cancel(queue, id);
    } else {
        return kUsage;
    }
    return std::fflush(stdout) == 0 ? kDone : kFailed;
}

}  // namespace
}  // namespace kvcups

int main(int count, char** words) {
    using namespace kvcups;
    if (count != 5) {
        std::fputs("kvcups STEP QUEUE HOST NAME: a part of kvdisp12, which starts it\n", stderr);
        return kUsage;
    }
    try {
        return take_step(words[1], words[2], words[3], words[4]);
    } catch (const IppError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return is_final(error) ? kRefused : kFailed;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return kFailed;
    }
}
