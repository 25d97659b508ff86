// Installs the product in the spooler and removes it again: what the installer and an administrator's script call.

#include <cstdio>
#include <filesystem>

#include "support/reg_key.h"
#include "tools/common/command_line.h"
#include "tools/kvsetup/spooler.h"
#include "tools/kvsetup/system_error.h"

namespace kvsetup {
namespace {

struct Options {
    std::string package, printer = "Karvo", port, location;
};

Text to_wide(const std::string& text) {
    const int bytes = static_cast<int>(text.size());
    Text wide(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, text.c_str(), bytes, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), bytes, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

// Before anything is loaded by a name alone; every system since 2011 has the function.
void search_the_system_folder_alone() {
    using SetDirectories = BOOL(WINAPI*)(DWORD);
    auto set = reinterpret_cast<SetDirectories>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetDefaultDllDirectories")));
    if (set) set(LOAD_LIBRARY_SEARCH_SYSTEM32);
}

Text absolute(const std::string& folder) { return std::filesystem::absolute(to_wide(folder)).wstring(); }
Text port_of(const Options& options) { return options.port.empty() ? Text(kPortName) : to_wide(options.port); }

void say(const std::string& line) { std::printf("%s\n", line.c_str()); }

// Where the driver looks for the dispatcher; of the machine, so that no user can name another.
void register_location(const Text& location) {
    kv::CRegKey key;
    if (!kv::create_product_key(key, HKEY_LOCAL_MACHINE) || !key.write_string(L"InstallLocation", location.c_str())) {
        throw system_error("the folder of the product is not registered", GetLastError());
    }
}

int install(const Options& options) {
    const Text package = absolute(options.package);
    for (const Environment& environment : environments_of(package)) {
        install_driver(package, environment);
        say("driver installed for " + to_utf8(environment.name));
    }
    if (!options.location.empty()) register_location(absolute(options.location));
    add_port(port_of(options));
    add_printer(to_wide(options.printer), port_of(options));
    say("printer " + options.printer + " is there");
    return kv::cli::kDone;
}

int remove(const Options& options) {
    std::vector<std::string> warnings;
    for (const Text& printer : remove_printers()) say("printer " + to_utf8(printer) + " removed");
    remove_driver(warnings);
    remove_port(port_of(options));
    // The settings of other users stay in their own registries, which are not at hand.
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        for (REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
            HKEY software = nullptr;
            if (RegOpenKeyExW(root, L"Software", 0, KEY_ALL_ACCESS | view, &software) != ERROR_SUCCESS) continue;
            RegDeleteTreeW(software, L"Velmora Software\\Karvo12");
            RegDeleteKeyW(software, L"Velmora Software");  // when nothing else is in it
            RegCloseKey(software);
        }
    }
    for (const std::string& warning : warnings) say("warning: " + warning);
    return kv::cli::kDone;
}

void describe(CLI::App& app, Options& options, std::function<int(const Options&)>& action) {
    kv::cli::introduce(app, "kvsetup", "Installs the Karvo printer and its driver, or removes them.", "");
    using kv::cli::add_value;
    CLI::App* installing =
        app.add_subcommand("install", "installs the driver, the port and the printer, or repairs them");
    add_value(*installing, "--package", "DIR", options.package, "the folder with karvo.inf and the driver's files")
        ->required();
    add_value(*installing, "--location", "DIR", options.location, "the folder of the dispatcher, kvdisp12.exe");
    add_value(*installing, "--printer", "NAME", options.printer, "the printer's name (default: Karvo)");
    CLI::App* removing =
        app.add_subcommand("remove", "removes all printers of the driver, the driver, the port and settings");
    for (CLI::App* command : {installing, removing}) {
        add_value(*command, "--port", "NAME", options.port, "the local port (default: \\\\.\\NUL)");
    }
    installing->callback([&action] { action = install; });
    removing->callback([&action] { action = remove; });
    app.require_subcommand(1);
}

}  // namespace
}  // namespace kvsetup

int wmain(int count, wchar_t** words) {
    kvsetup::search_the_system_folder_alone();
    CLI::App app;
    kvsetup::Options options;
    std::function<int(const kvsetup::Options&)> action;
    kvsetup::describe(app, options, action);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) arguments.push_back(kvsetup::to_utf8(words[i]));
    return kv::cli::run(app, arguments, [&] { return action(options); });
}
