#include "dispatcher/host/system_journal.h"

#include <sys/uio.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

namespace kvdisp12 {
namespace {

class SystemJournal : public LogSink {
public:
    void write(Level level, const std::string& text, const Fields& fields) override {
        // As syslog numbers them: errors, warnings, information.
        const char* priority = level == Level::Error ? "3" : level == Level::Warning ? "4" : "6";
        std::vector<std::string> lines = {"MESSAGE=" + text, std::string("PRIORITY=") + priority,
                                          "SYSLOG_IDENTIFIER=kvdisp12"};
        for (const auto& [name, value] : fields) lines.push_back(name + '=' + value);
        std::vector<iovec> parts;
        for (std::string& line : lines) parts.push_back({line.data(), line.size()});
        sd_journal_sendv(parts.data(), static_cast<int>(parts.size()));
    }
};

}  // namespace

std::unique_ptr<LogSink> system_journal() {
    if (access("/run/systemd/journal/socket", W_OK) != 0) return nullptr;
    return std::make_unique<SystemJournal>();
}

}  // namespace kvdisp12
