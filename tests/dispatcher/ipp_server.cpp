#include "tests/dispatcher/ipp_server.h"

#include <arpa/inet.h>
#include <cups/cups.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace kv::test {
namespace {

std::string text_of(ipp_attribute_t* attribute) {
    char text[1024] = "";
    ippAttributeString(attribute, text, sizeof text);
    return text;
}

void add_job(ipp_t* reply, const IppServer::Job& job) {
    const int state = job.cancelled           ? IPP_JSTATE_CANCELED
                      : job.documents.empty() ? IPP_JSTATE_HELD
                                              : IPP_JSTATE_PENDING;
    ippAddInteger(reply, IPP_TAG_JOB, IPP_TAG_INTEGER, "job-id", job.id);
    ippAddString(reply, IPP_TAG_JOB, IPP_TAG_NAME, "job-name", nullptr, job.name.c_str());
    ippAddInteger(reply, IPP_TAG_JOB, IPP_TAG_ENUM, "job-state", state);
    ippAddInteger(reply, IPP_TAG_JOB, IPP_TAG_INTEGER, "number-of-documents", static_cast<int>(job.documents.size()));
    ippAddOutOfBand(reply, IPP_TAG_JOB, IPP_TAG_NOVALUE, "time-at-processing");
    ippAddSeparator(reply);
}

// Does what a request asks for and fills in the reply; the status.
ipp_status_t act(ipp_t* request, const std::string& document, std::vector<IppServer::Job>& jobs, ipp_t* reply) {
    const auto find = [&]() -> IppServer::Job* {
        ipp_attribute_t* id = ippFindAttribute(request, "job-id", IPP_TAG_INTEGER);
        for (IppServer::Job& job : jobs) {
            if (id && job.id == ippGetInteger(id, 0)) return &job;
        }
        return nullptr;
    };
    switch (ippGetOperation(request)) {
        case IPP_OP_CREATE_JOB: {
            IppServer::Job job{static_cast<int>(jobs.size()) + 1, {}, {}, {}};
            for (ipp_attribute_t* each = ippFirstAttribute(request); each; each = ippNextAttribute(request)) {
                if (ippGetName(each)) job.attributes[ippGetName(each)] = text_of(each);
            }
            job.name = job.attributes["job-name"];
            add_job(reply, jobs.emplace_back(job));
            return IPP_STATUS_OK;
        }
        case IPP_OP_GET_JOBS:
            for (const IppServer::Job& job : jobs) add_job(reply, job);
            return IPP_STATUS_OK;
        default:
            break;
    }
    IppServer::Job* job = find();
    if (!job) return IPP_STATUS_ERROR_NOT_FOUND;
    if (ippGetOperation(request) == IPP_OP_SEND_DOCUMENT) job->documents.push_back(document);
    if (ippGetOperation(request) == IPP_OP_CANCEL_JOB) job->cancelled = true;
    add_job(reply, *job);
    return IPP_STATUS_OK;
}

// A request and what follows it; false where the client is gone.
bool read_request(http_t* http, ipp_t* request, std::string& document) {
    char resource[1024];
    http_state_t state = HTTP_STATE_WAITING;
    while ((state = httpReadRequest(http, resource, sizeof resource)) == HTTP_STATE_WAITING) usleep(100);
    if (state != HTTP_STATE_POST) return false;
    http_status_t status = HTTP_STATUS_CONTINUE;
    while ((status = httpUpdate(http)) == HTTP_STATUS_CONTINUE) {
    }
    if (status != HTTP_STATUS_OK) return false;
    if (httpGetExpect(http) == HTTP_STATUS_CONTINUE) httpWriteResponse(http, HTTP_STATUS_CONTINUE);
    constexpr int kPatience = 10000;  // milliseconds: reading a message fails where its first bytes are not there yet
    httpWait(http, kPatience);
    for (ipp_state_t read = IPP_STATE_IDLE; read != IPP_STATE_DATA;) {
        if ((read = ippRead(http, request)) == IPP_STATE_ERROR) return false;
    }
    char block[4096];
    for (ssize_t got = 0;
         httpGetState(http) == HTTP_STATE_POST_RECV && (got = httpRead2(http, block, sizeof block)) > 0;) {
        document.append(block, static_cast<size_t>(got));
    }
    return httpGetState(http) != HTTP_STATE_POST_RECV;  // the whole of it has come
}

void write_reply(http_t* http, ipp_t* reply) {
    httpClearFields(http);
    httpSetField(http, HTTP_FIELD_CONTENT_TYPE, "application/ipp");
    httpSetLength(http, ippLength(reply));
    httpWriteResponse(http, HTTP_STATUS_OK);
    ippSetState(reply, IPP_STATE_IDLE);
    for (ipp_state_t state = IPP_STATE_IDLE; state != IPP_STATE_DATA && state != IPP_STATE_ERROR;) {
        state = ippWrite(http, reply);
    }
    httpFlushWrite(http);
}

}  // namespace

IppServer::IppServer(Begin begin) : listening_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listening_, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listening_, 8) != 0 ||
        getsockname(listening_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::runtime_error("no port for the queue's server");
    }
    port_ = ntohs(address.sin_port);
    if (begin == Begin::AtOnce) start();
}

void IppServer::start() { thread_ = std::thread(&IppServer::serve, this); }

IppServer::~IppServer() {
    ends_ = true;
    if (thread_.joinable()) thread_.join();
    close(listening_);
}

std::string IppServer::destination() const { return "cups:office@127.0.0.1:" + std::to_string(port_); }

void IppServer::meet(const std::string& operation, Way way, int status) {
    std::lock_guard guard(lock_);
    ways_[operation] = {way, status};
}
std::vector<IppServer::Job> IppServer::jobs() const {
    std::lock_guard guard(lock_);
    return jobs_;
}
int IppServer::asked(const std::string& operation) const {
    std::lock_guard guard(lock_);
    const auto known = asked_.find(operation);
    return known == asked_.end() ? 0 : known->second;
}
void IppServer::forget_jobs() {
    std::lock_guard guard(lock_);
    jobs_.clear();
}

void IppServer::serve() {
    std::vector<std::thread> clients;
    while (!ends_) {
        pollfd watched = {listening_, POLLIN, 0};
        if (poll(&watched, 1, 5) != 1) continue;
        if (http_t* http = httpAcceptConnection(listening_, 1)) {
            clients.emplace_back(&IppServer::serve_client, this, http);
        }
    }
    for (std::thread& client : clients) client.join();
}

void IppServer::serve_client(http_t* http) {
    httpSetTimeout(
        http, 0.01, [](http_t*, void* self) { return static_cast<IppServer*>(self)->ends_ ? 0 : 1; }, this);
    for (Way way = Way::Answer; way == Way::Answer || way == Way::Refuse;) {
        ipp_t* request = ippNew();
        std::string document;
        if (!read_request(http, request, document)) {
            ippDelete(request);
            break;
        }
        ipp_t* reply = ippNewResponse(request);
        {
            std::lock_guard guard(lock_);
            const std::string operation = ippOpString(ippGetOperation(request));
            ++asked_[operation];
            int status = 0;
            way = Way::Answer;
            if (const auto known = ways_.find(operation); known != ways_.end()) std::tie(way, status) = known->second;
            if (way != Way::Refuse) status = act(request, document, jobs_, reply);
            ippSetStatusCode(reply, static_cast<ipp_status_t>(status));
        }
        if (way == Way::Answer || way == Way::Refuse) write_reply(http, reply);
        while (way == Way::Hang && !ends_) usleep(1000);
        ippDelete(request);
        ippDelete(reply);
    }
    httpClose(http);
}

}  // namespace kv::test
