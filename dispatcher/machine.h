#pragma once
// What differs between the systems that the dispatcher runs on, beside files.h.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dispatcher/log.h"
#include "dispatcher/text.h"

namespace kvdisp12 {

// Makes this process part of the user's machine: the paths that clients name mean the same files here. Files that it
// makes are this user's alone. serves: it is told of its end by at_end_of_session(), and not ended. To be called before
// there is another thread.
void join_machine(bool serves);
// Calls that, from another thread, when the process is told to end or the user's session ends.
void at_end_of_session(std::function<void()> call);
// Tells what started this process, where it wants to know, that clients can come, or that the end has begun.
void tell_ready();
void tell_stopping();
// Ends the process without regard to threads that still wait for clients.
[[noreturn]] void end_process(int exit_code);
// Where this process runs as the system itself: starts the program with the same arguments as that session's user, and
// gives the exit code to end with. Nothing where it runs as a user.
std::optional<int> leave_system_account(DWORD session);

// The arguments of this process without its name, in UTF-8.
std::vector<std::string> command_line(int argc, char** argv);
// The folder of the state, the outbox and the log where no other is given; it exists.
std::string default_folder();
// The outbox that the registry of Windows names; empty where it names none.
std::string registered_outbox();
// The state folders of all users, for an administrator: those that `pattern` gives, with %u in it, or the defaults'.
std::vector<std::string> state_folders_of_all(const std::string& pattern);
// The file of settings where no other is given: this user's, or else the machine's.
std::string settings_file();
// What stands for %u in a folder's name: the user's id, as the system writes it.
std::string user_id();
std::string user_name();
// A full path of a path of the command line.
std::string full_path(const std::string& path);
// Where applications' jobs are made: the temporary folders of this user and the system's.
std::vector<std::string> temporary_folders();
// The path by which a client would name a file of the system, and the file's that a client names.
Text client_path(const std::string& native);
std::string native_path_of(TextView client_path);

// Where the log goes: to the file that was named; or else to the system's journal where one runs, or to the default
// file. On Windows errors go into the event log as well.
std::vector<std::unique_ptr<LogSink>> log_sinks(const std::string& named_file, const std::string& default_file);

// Who is at the other end of a pipe. The system's own processes print for many users' programs.
enum class Peer { Stranger, User, System };
struct Client {
    DWORD process = 0;
    Peer peer = Peer::Stranger;
};
// 0 where that cannot be told.
DWORD process_of_client(HANDLE pipe);
// To be asked when a message of the client has been read, not before.
Peer peer_of(HANDLE pipe);
// Who may open the pipe; null where the system looks after that.
SECURITY_ATTRIBUTES* pipe_security();

// The job that can be had of a damaged one, written by another program; false where there is none.
bool recover_job(const std::string& damaged, const std::string& recovered);

}  // namespace kvdisp12
