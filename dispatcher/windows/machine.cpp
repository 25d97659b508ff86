#include "dispatcher/machine.h"

namespace kvdisp12 {
namespace {

struct TaskMemory {
    PWSTR text = nullptr;
    ~TaskMemory() { CoTaskMemFree(text); }
};

}  // namespace

void join_machine() {}

// The program's main function is given its arguments in the system's code page, which loses characters.
std::vector<std::string> command_line(int, char**) {
    int count = 0;
    WCHAR** texts = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) arguments.push_back(to_utf8(texts[i]));
    LocalFree(texts);
    return arguments;
}

std::string default_folder() {
    TaskMemory base;
    if (FAILED(SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &base.text))) return to_utf8(system_path("."));
    const Text folder = Text(base.text) + TEXT("\\karvo");
    CreateDirectoryW(folder.c_str(), nullptr);
    return to_utf8(folder);
}

Text system_path(const std::string& path) {
    const Text relative = from_utf8(path);
    Text absolute(GetFullPathNameW(relative.c_str(), 0, nullptr, nullptr), 0);
    absolute.resize(GetFullPathNameW(relative.c_str(), static_cast<DWORD>(absolute.size()), absolute.data(), nullptr));
    return absolute;
}

}  // namespace kvdisp12
