#pragma once
// The folder into which the dispatcher files jobs, where the registry names one: the user's product key, or else the
// machine's. The dispatcher reads it when it starts.

#include "support/text.h"

namespace kv {

// Empty where none is named.
void read_outbox(PathText& folder);
// Names it for the user; an empty text takes the user's away. FALSE for what is no full path, and when the registry
// fails.
BOOL write_outbox(const WCHAR* folder);
// "C:\folder" or "\\server\share": nothing that depends on where a process runs.
bool is_full_path(const WCHAR* path);

}  // namespace kv
