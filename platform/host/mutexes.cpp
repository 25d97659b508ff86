// Mutexes that processes share by name: a lock on a file, which the host gives up for a process that dies. The file has
// a byte while the mutex is owned, so that the next owner sees that the last one did not release it.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "platform/host/state.h"
#include "platform/host/win32/process.h"

namespace kv::host {
namespace {

// A named mutex as this process has it, whatever number of handles it has been opened through.
class NamedMutex {
public:
    explicit NamedMutex(int descriptor) : descriptor_(descriptor) {}
    ~NamedMutex() { close(descriptor_); }

    DWORD take() {
        std::lock_guard guard(lock_);
        const DWORD thread = GetCurrentThreadId();
        if (count_ > 0 && owner_ != thread) return WAIT_TIMEOUT;
        if (count_++ > 0) return WAIT_OBJECT_0;
        if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
            count_ = 0;
            return WAIT_TIMEOUT;
        }
        owner_ = thread;
        struct stat info;
        const bool abandoned = fstat(descriptor_, &info) == 0 && info.st_size > 0;
        return mark(1) && abandoned ? DWORD{WAIT_ABANDONED} : DWORD{WAIT_OBJECT_0};
    }
    BOOL give_up() {
        std::lock_guard guard(lock_);
        if (count_ == 0 || owner_ != GetCurrentThreadId()) return fail_with(ERROR_NOT_OWNER);
        if (--count_ > 0) return TRUE;
        mark(0);
        return flock(descriptor_, LOCK_UN) == 0;
    }

private:
    bool mark(off_t size) { return ftruncate(descriptor_, size) == 0; }

    std::mutex lock_;
    int descriptor_;
    DWORD owner_ = 0;
    size_t count_ = 0;
};

struct MutexHandle : Waitable {
    std::shared_ptr<NamedMutex> mutex;
    DWORD poll() override { return mutex->take(); }
};

struct Mutexes {
    std::mutex lock;
    std::map<std::string, std::weak_ptr<NamedMutex>> by_path;
};
Mutexes& mutexes() {
    static Mutexes state;
    return state;
}

// Objects of the session have its number in their file's name.
std::string path_of(const std::u16string& name) {
    const bool local = name.find(u'\\') == std::u16string::npos || name.starts_with(u"Local\\");
    return shared_path(local ? "mutex-" + std::to_string(machine().session) : "mutex", name);
}

}  // namespace
}  // namespace kv::host

using namespace kv::host;

HANDLE CreateMutexW(SECURITY_ATTRIBUTES*, BOOL initial_owner, LPCWSTR name) {
    if (should_fail(CallKind::Process, "CreateMutexW")) return fail_with<HANDLE>(ERROR_ACCESS_DENIED, nullptr);
    if (!name || !*name) return fail_with<HANDLE>(ERROR_INVALID_NAME, nullptr);
    const std::string path = path_of(name);
    if (path.empty()) return nullptr;
    auto handle = std::make_unique<MutexHandle>();
    {
        std::lock_guard guard(mutexes().lock);
        auto& known = mutexes().by_path[path];
        handle->mutex = known.lock();
        if (!handle->mutex) {
            const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
            if (descriptor < 0) return fail_with<HANDLE>(ERROR_ACCESS_DENIED, nullptr);
            handle->mutex = std::make_shared<NamedMutex>(descriptor);
            known = handle->mutex;
        }
    }
    if (initial_owner) handle->poll();
    return make_handle(std::move(handle));
}

BOOL ReleaseMutex(HANDLE handle) {
    if (should_fail(CallKind::Process, "ReleaseMutex")) return fail_with(ERROR_NOT_OWNER);
    MutexHandle* object = object_of<MutexHandle>(handle);
    return object ? object->mutex->give_up() : fail_with(ERROR_INVALID_HANDLE);
}
