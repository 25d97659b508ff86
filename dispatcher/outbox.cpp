#include "dispatcher/outbox.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "support/paths.h"
#include "support/text.h"

namespace kvdisp12 {
namespace {

[[noreturn]] void fail(const std::string& what, const Text& path) {
    throw OutboxError(what + ' ' + to_utf8(path) + ": error " + std::to_string(GetLastError()));
}

bool is_job(const Text& path) {
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    char magic[4] = {};
    DWORD got = 0;
    const bool read = ReadFile(file, magic, sizeof magic, &got, nullptr) && got == sizeof magic;
    CloseHandle(file);
    return read && std::memcmp(magic, "KARV", sizeof magic) == 0;
}

bool is_taken(DWORD error) { return error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS; }

// Moves to the first name, for the numbers from 1 on, that no file has.
template <class MakePath>
Text move_to_free_name(const Text& source, DWORD flags, MakePath make_path) {
    constexpr unsigned kAttempts = 1000000;
    for (unsigned number = 1; number <= kAttempts; ++number) {
        Text target = make_path(number);
        if (MoveFileExW(source.c_str(), target.c_str(), flags)) return target;
        if (!is_taken(GetLastError())) break;
    }
    fail("cannot move", source);
}

Text number_text(unsigned number) { return from_utf8(std::to_string(number)); }

bool is_device_name(TextView name) {
    const Text stem(name.substr(0, name.find(TEXT('.'))));
    for (const WCHAR* device : {TEXT("con"), TEXT("prn"), TEXT("aux"), TEXT("nul")}) {
        if (kv::same_text_ignoring_case(stem.c_str(), device)) return true;
    }
    const bool numbered = stem.size() == 4 && stem[3] >= '0' && stem[3] <= '9';
    return numbered && (kv::starts_with_ignoring_case(stem.c_str(), TEXT("com")) ||
                        kv::starts_with_ignoring_case(stem.c_str(), TEXT("lpt")));
}

}  // namespace

Text file_name_of(TextView document_name) {
    constexpr size_t kLongest = 200;  // bytes: with a number and the extension inside what file systems take
    Text name(document_name);
    for (WCHAR& unit : name) {
        if (unit < ' ' || unit == 0x7F || TextView(TEXT("\\/:*?\"<>|")).find(unit) != TextView::npos) unit = '_';
    }
    while (!name.empty() && to_utf8(name).size() > kLongest) {
        const bool pair = name.size() > 1 && (name.back() & 0xFC00) == 0xDC00;
        name.resize(name.size() - (pair ? 2 : 1));
    }
    while (!name.empty() && (name.back() == ' ' || name.back() == '.')) name.pop_back();
    if (name.empty()) return TEXT("Document");
    if (name.front() == '.' || is_device_name(name)) name.insert(name.begin(), '_');
    return name;
}

Outbox::Outbox(Text folder) : folder_(std::move(folder)) {
    while (folder_.size() > 3 && folder_.back() == '\\') folder_.pop_back();
    kv::create_folders_of(join(TEXT("x")).c_str());
    const DWORD attributes = GetFileAttributesW(folder_.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        fail("no folder", folder_);
    }
}

Text Outbox::join(TextView name) const { return folder_ + TEXT("\\") + Text(name); }

Text Outbox::take(const Text& job, const Text& document_name) const {
    if (!is_job(job)) throw OutboxError("no job file: " + to_utf8(job));
    // A move between volumes copies. Under the final name a job appears whole.
    static std::atomic<unsigned> counter{0};
    const Text process = number_text(GetCurrentProcessId());
    const Text part = move_to_free_name(job, MOVEFILE_COPY_ALLOWED, [&](unsigned) {
        return join(TEXT("~") + process + TEXT("-") + number_text(++counter) + TEXT(".part"));
    });
    const Text name = file_name_of(document_name);
    return move_to_free_name(part, 0, [&](unsigned number) {
        return join(number == 1 ? name + TEXT(".kv") : name + TEXT(" (") + number_text(number) + TEXT(").kv"));
    });
}

}  // namespace kvdisp12
