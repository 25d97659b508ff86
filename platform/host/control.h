#pragma once
// The tests' and tools' hand on the host platform: what the simulated machine looks like, injected
// failures, a log of calls, and what would otherwise be seen only by the user (messages, printed bytes).
//
// Everything is process-wide; reset_all() puts it back to a plain Windows 10 machine with an empty
// registry and one user, and is meant to be called before each test.

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/win32.h"

namespace kv::host {

void reset_all();

// Failures ------------------------------------------------------------------------------------------

enum class CallKind { Allocation, File, Registry, Spooler, Pipe, Process, Engine, Count };

// The n-th call of the kind from now on (1 = the next) fails with its documented error, once.
void fail_call(CallKind kind, uint64_t n);
// Then so does the n-th call of any kind behind it, once: a failure while the first one is cleaned up after.
void fail_another_call(uint64_t n);
// The n-th call of the kind from now on fails, and all calls of the kind behind it.
void fail_calls_from(CallKind kind, uint64_t n);
// Every call of a function fails from now on.
void fail_function(const std::string& name);
void clear_failures();
// The function whose call failed last since the last fail_*() or clear_failures(); empty while none has.
const std::string& failed_function();
// All of them.
const std::set<std::string>& failed_functions();
// Calls of the kind since the last reset or clear_failures().
uint64_t calls_made(CallKind kind);
// Every host function that can fail asks this first: TRUE when this call is the one to fail.
bool should_fail(CallKind kind, const char* function);
// Names of the functions asked about, oldest first; kept only while the log is on.
void set_call_log(bool on);
const std::vector<std::string>& call_log();

// Leaks: what callers hold at this moment.
struct LiveObjects {
    size_t heap_blocks, global_blocks, local_blocks, files, keys, other_handles;
    bool operator==(const LiveObjects&) const = default;
};
LiveObjects live_objects();

// Files ---------------------------------------------------------------------------------------------

// "C:\x" maps to <root>/x, "Z:\x" to /x. The default root is a private folder under the host's
// temporary folder, removed when the process ends.
void set_drive_root(const std::string& host_folder);
std::string host_path(const std::u16string& win32_path);
// The Win32 path ("Z:\...") of an absolute host path.
std::u16string win32_path(const std::string& host_path);
const std::vector<std::u16string>& files_deleted_at_restart();
// A path of the machine that stands for a file of the host, such as a program that lies elsewhere.
void map_file(const std::u16string& win32_path, const std::string& host_file);
// The user's own folder for the product's data, made when missing: "karvo" below $XDG_DATA_HOME or ~/.local/share.
std::string user_data_folder();
// From here on "C:" is a drive that all processes of the user share and that stays, below user_data_folder().
void use_user_drive();

// Other processes -----------------------------------------------------------------------------------

// Where the objects lie that processes share by name (pipes, mutexes): the user's alone, else nothing is shared. By
// default "karvo" below $XDG_RUNTIME_DIR, or "karvo-<user id>" below the temporary folder. A process that
// CreateProcessW starts shares this folder, the drive and the session with its parent.
void set_shared_folder(const std::string& host_folder);
std::string shared_folder();
// The session of the process that started this one, or 1.
uint32_t inherited_session();

// Time ----------------------------------------------------------------------------------------------

// With the virtual clock, sleeping advances the clock and returns at once.
void use_virtual_clock(uint32_t start_tick);
void use_real_clock();
void advance_clock(uint32_t milliseconds);
const std::vector<uint32_t>& sleeps();
// Called by whoever lets that time go by, in the order of time.
void at_virtual_time(uint32_t milliseconds_from_now, std::function<void()> call);

// The machine ---------------------------------------------------------------------------------------

struct Machine {
    uint32_t major = 10, minor = 0, build = 19045;
    uint32_t platform = 2;       // VER_PLATFORM_WIN32_NT
    uint8_t product_type = 1;    // VER_NT_WORKSTATION
    uint16_t architecture = 9;   // PROCESSOR_ARCHITECTURE_AMD64
    bool version_fails = false;  // GetVersionExW fails
    // Sizes of blocks, bytes, that HeapAlloc and GlobalAlloc have no memory for.
    std::set<size_t> refused_blocks;
    std::u16string paper_size = u"9";
    std::u16string default_language = u"0409";
    std::u16string language_name = u"English";
    uint32_t ansi_code_page = 1252;
    bool dbcs = false, remote_session = false;
    uint32_t gdi_objects = 0;
    uint32_t integrity = 0x2000;  // medium
    bool administrator = false;
    std::u16string user = u"user";
    uint32_t session = inherited_session(), console_session = 1;
    bool session_query_fails = false;
    bool visible_window_station = true;
    bool pipes_deny_access = false;  // there, but nobody may open them
    std::map<uint32_t, std::u16string> session_users = {{1, u"user"}};
    bool has_local_app_data_low = true;
    std::u16string temp_folder = u"C:\\Windows\\Temp\\";
    std::u16string executable = u"C:\\Program Files\\Host\\host.exe";
    std::u16string driver = u"C:\\Windows\\System32\\spool\\drivers\\W32X86\\3\\kvgraph12.dll";
};
Machine& machine();

// Modules that LoadLibraryW finds, by full path or by name, compared without regard to case.
struct Module {
    std::u16string path;
    uint16_t language = 0x0409;
    std::map<uint32_t, std::u16string> strings;
    std::map<uint32_t, std::vector<uint8_t>> data;  // RT_RCDATA
    uint32_t version_high = 0x000C0004, version_low = 0;
    std::map<std::string, FARPROC> functions;
    bool run_as_code = false;  // was ever loaded otherwise than as data
};
// The driver's own module is registered by reset_all() with the string table of resources/.
HMODULE driver_module();
Module& driver_resources();
HMODULE register_module(Module module);
Module& module_of(HMODULE handle);

// Printers ------------------------------------------------------------------------------------------

struct Printer {
    std::u16string name, port;
    std::vector<uint8_t> devmode2, devmode8, devmode9;  // empty: the spooler holds none
    std::map<uint32_t, std::u16string> jobs;            // job id to document name
    std::vector<uint32_t> write_sizes;
    int output_descriptor = -1;  // where what is written goes, open for writing; -1: to `output`
    std::vector<uint8_t> output;
    std::string write_error = {};  // why the first write that failed did; the driver goes on behind it
};
HANDLE open_printer(Printer printer);
Printer& printer(HANDLE handle);
void close_printer(HANDLE handle);

// Registry ------------------------------------------------------------------------------------------

// One text file holds all roots: a line [ROOT\path] a key, then "name"=dword:xxxxxxxx, "name"="text" or
// "name"=hex(type):.. a value, with \\ and \" for a backslash and a quote. False: the message says why.
// The program has 64 bits: what the 32-bit view of HKEY_LOCAL_MACHINE\Software holds lies below its WOW6432Node.
bool load_registry(const std::string& host_file, std::string& message);
bool save_registry(const std::string& host_file, std::string& message);
void set_registry_string(HKEY root, const std::u16string& path, const std::u16string& name, const std::u16string& text);
void set_registry_dword(HKEY root, const std::u16string& path, const std::u16string& name, uint32_t value);
bool registry_key_exists(HKEY root, const std::u16string& path);
bool registry_value_exists(HKEY root, const std::u16string& path, const std::u16string& name);

// Called with each line of the driver's trace in place of standard error; empty: standard error again.
void set_trace_listener(std::function<void(const std::string&)> call);

// Messages shown to the user, oldest first. They also go to standard error unless quiet.
struct Message {
    std::u16string text, caption;
    uint32_t flags;
};
const std::vector<Message>& messages();
void set_messages_quiet(bool quiet);
// Called while a message is open.
void set_while_message_open(std::function<void()> call);
// Puts a message of the window system (WM_*) into the queue of PeekMessageW.
void post_message(uint32_t message);

}  // namespace kv::host
