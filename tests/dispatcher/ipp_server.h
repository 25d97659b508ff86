#pragma once
// A server of one queue, which misbehaves as it is told.

#include <cups/http.h>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kv::test {

class IppServer {
public:
    // What it does with a request: answers it; answers with an error; does it and closes the connection; does it and
    // never answers.
    enum class Way { Answer, Refuse, Close, Hang };
    struct Job {
        int id;
        std::string name;
        std::map<std::string, std::string> attributes;  // of the request that made it
        std::vector<std::string> documents;
        bool cancelled = false;
    };

    // Has its port at once, and answers from then on, or from start() on.
    enum class Begin { AtOnce, WhenStarted };
    explicit IppServer(Begin begin = Begin::AtOnce);
    ~IppServer();
    void start();
    IppServer(const IppServer&) = delete;
    IppServer& operator=(const IppServer&) = delete;

    // "cups:office@127.0.0.1:PORT".
    std::string destination() const;
    // What the next requests of that name are met with; refusals have that status.
    void meet(const std::string& operation, Way way, int status = 0x0506);
    std::vector<Job> jobs() const;
    // How many requests of that name there were.
    int asked(const std::string& operation) const;
    void forget_jobs();

private:
    void serve();
    void serve_client(http_t* http);

    int listening_;
    int port_ = 0;
    std::atomic<bool> ends_ = false;
    mutable std::mutex lock_;
    std::map<std::string, std::pair<Way, int>> ways_;
    std::map<std::string, int> asked_;
    std::vector<Job> jobs_;
    std::thread thread_;
};

}  // namespace kv::test
