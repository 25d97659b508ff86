#pragma once
// Debian's cupsd with folders, a port and a queue of the test's own; it keeps the documents that it was sent. As root
// it runs as the user lp.

#include <arpa/inet.h>
#include <cups/cups.h>
#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/common/workspace.h"

namespace kv::test {

class CupsServer {
public:
    static constexpr const char* kProgram = "/usr/sbin/cupsd";
    static bool is_installed() { return access(kProgram, X_OK) == 0; }

    CupsServer() : port_(free_port()) {
        std::string name = "/tmp/kvdisp12-cups-XXXXXX";
        folder_ = mkdtemp(name.data());
        for (const char* each : {"spool", "cache", "state", "temp"}) std::filesystem::create_directory(path(each));
        write_file(path("cupsd.conf"), "Listen 127.0.0.1:" + std::to_string(port_) +
                                           "\nBrowsing Off\nWebInterface No\nPreserveJobFiles Yes\n<Location />\n"
                                           "Order allow,deny\nAllow from 127.0.0.1\n</Location>\n"
                                           "<Policy default>\n<Limit All>\nOrder deny,allow\n</Limit>\n</Policy>\n");
        const std::string user = passwd_name();
        std::string files = "DataDir /usr/share/cups\nServerBin /usr/lib/cups\nUser " + user + '\n';
        for (const auto& [setting, place] : {std::pair("ServerRoot", ""),
                                             {"RequestRoot", "spool"},
                                             {"CacheDir", "cache"},
                                             {"StateDir", "state"},
                                             {"TempDir", "temp"},
                                             {"AccessLog", "access.log"},
                                             {"ErrorLog", "error.log"},
                                             {"PageLog", "page.log"}}) {
            files += std::string(setting) + ' ' + path(place) + '\n';
        }
        write_file(path("cups-files.conf"), files);
        write_file(path("printers.conf"),
                   "<Printer office>\nDeviceURI file:///dev/null\nState Idle\nAccepting Yes\n</Printer>\n");
        start();
    }
    ~CupsServer() {
        stop();
        std::filesystem::remove_all(folder_);
    }
    CupsServer(const CupsServer&) = delete;
    CupsServer& operator=(const CupsServer&) = delete;

    std::string destination() const { return "cups:office@127.0.0.1:" + std::to_string(port_); }
    void start() {
        process_ = fork();
        if (process_ == 0) become();
        for (http_t* http = nullptr; !http; usleep(2000)) {
            http = httpConnect2("127.0.0.1", port_, nullptr, AF_INET, HTTP_ENCRYPTION_IF_REQUESTED, 1, 100, nullptr);
            httpClose(http);
            if (http || waitpid(process_, nullptr, WNOHANG) != 0) break;
        }
    }
    void stop() const {
        signal_it(SIGTERM);
        waitpid(process_, nullptr, 0);
    }
    void signal_it(int number) const { kill(process_, number); }
    // The documents that it was sent.
    std::vector<std::string> documents() const {
        std::vector<std::string> contents;
        for (const auto& entry : std::filesystem::directory_iterator(path("spool"))) {
            if (entry.path().filename().string().starts_with("d")) contents.push_back(read_file(entry.path().string()));
        }
        return contents;
    }

private:
    std::string path(const std::string& name) const { return folder_ + '/' + name; }
    static std::string passwd_name() {
        const passwd* user = getpwuid(geteuid());
        return geteuid() == 0 || !user ? "lp" : user->pw_name;
    }
    static int free_port() {
        const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        bind(probe, reinterpret_cast<sockaddr*>(&address), size);
        getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size);
        close(probe);
        return ntohs(address.sin_port);
    }
    [[noreturn]] void become() const {
        const passwd* user = getpwnam(passwd_name().c_str());
        if (geteuid() == 0 && user) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
                if (chown(entry.path().c_str(), user->pw_uid, user->pw_gid) != 0) _exit(1);
            }
            if (chown(folder_.c_str(), user->pw_uid, user->pw_gid) != 0 || setgroups(0, nullptr) != 0 ||
                setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0) {
                _exit(1);
            }
        }
        execl(kProgram, kProgram, "-f", "-c", path("cupsd.conf").c_str(), "-s", path("cups-files.conf").c_str(),
              nullptr);
        _exit(1);
    }

    std::string folder_;
    const int port_;
    pid_t process_ = -1;
};

}  // namespace kv::test
