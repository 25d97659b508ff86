#pragma once
// Files and folders that are to go with the process: removed when it is told to end, and when it was killed, by the
// next process that looks.

#include <cstdint>
#include <functional>
#include <string>

namespace kv::host {

// A name that tells whose it is: prefix, process id and start time.
std::string name_of_own(const std::string& prefix);
// Makes such a folder in the parent, the user's alone, and locks it; it is removed with the process. Empty: errno says
// why.
std::string make_own_folder(const std::string& parent, const std::string& prefix);
// Removes what processes that are gone have left in the parent under that prefix, the user's own only. What is locked
// belongs to a process that cannot be seen from here; what keeps() says of a path stays.
void clear_leftovers(const std::string& parent, const std::string& prefix,
                     const std::function<bool(const std::string& path)>& keeps = nullptr);

// To be removed, with all that lies in it, when a signal ends the process; until it is kept.
void remove_at_signal(const std::string& path);
void keep_at_signal(const std::string& path);

// From here on SIGINT, SIGTERM, SIGHUP, SIGXFSZ and SIGPIPE from outside remove what is to go and end the process with
// 128 and their number, unless the process was started with them ignored. A write beyond the file size limit, or to a
// pipe that nobody reads, fails instead. To be called before there is another thread.
void end_cleanly_at_signals();

}  // namespace kv::host
