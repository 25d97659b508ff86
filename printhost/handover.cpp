#include "printhost/handover.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "platform/host/control.h"
#include "platform/host/leftovers.h"
#include "printhost/output.h"
#include "printhost/whole_job.h"

namespace kvprint {
namespace {

namespace fs = std::filesystem;
namespace host = kv::host;

const std::u16string kProductFolder = u"C:\\Program Files\\Karvo";

void install_dispatcher() {
    const fs::path program = fs::read_symlink("/proc/self/exe").parent_path() / "kvdisp12";
    if (!fs::is_regular_file(program)) {
        throw OutputFault("no dispatcher: " + program.string() + " is missing (-o JOB.kv does without)");
    }
    host::map_file(kProductFolder + u"\\kvdisp12.exe", program.string());
    host::set_registry_string(HKEY_LOCAL_MACHINE, u"Software\\Velmora Software\\Karvo12", u"InstallLocation",
                              kProductFolder);
}

// A print that ended between its last page and the handover: its job waits for the dispatcher.
bool holds_whole_job(const std::string& folder) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const int descriptor = open(entry->path().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
        const bool whole = descriptor >= 0 && is_whole_job(descriptor);
        if (descriptor >= 0) close(descriptor);
        if (whole) return true;
    }
    return false;
}

}  // namespace

Handover::Handover() {
    host::use_user_drive();
    install_dispatcher();
    host::machine().executable = kProductFolder + u"\\kvprint.exe";
    // Documents of this kind are known here, so that a job's name needs no extension.
    host::set_registry_string(HKEY_CURRENT_USER, u"Software\\Classes\\.pdf", u"", u"KarvoPrintable");
    constexpr const char* kPrefix = "kvprint-";
    const std::string parent = host::host_path(u"C:\\Windows\\Temp");
    host::clear_leftovers(parent, kPrefix, holds_whole_job);
    folder_ = host::make_own_folder(parent, kPrefix);
    if (folder_.empty()) throw OutputFault("cannot make a folder in " + parent + ": " + std::strerror(errno));
    const std::string name = fs::path(folder_).filename().string();
    host::machine().temp_folder = u"C:\\Windows\\Temp\\" + std::u16string(name.begin(), name.end()) + u"\\";
}

Handover::~Handover() {
    std::error_code ignored;
    fs::remove(folder_, ignored);
}

void Handover::finish() const {
    for (const auto& entry : fs::directory_iterator(folder_)) {
        // Under a name that no later process takes for something left behind.
        const fs::path kept = fs::path(folder_).parent_path() / ("kept-" + fs::path(folder_).filename().string());
        host::keep_at_signal(folder_);
        fs::rename(folder_, kept);
        throw OutputFault("the dispatcher did not take the job, which is now " +
                          (kept / entry.path().filename()).string());
    }
}

}  // namespace kvprint
