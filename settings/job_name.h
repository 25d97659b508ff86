#pragma once
// The name of a job: what applications call a document, without their own names, addresses and folders.

#include "support/text.h"

namespace kv {

// The job name that is prepared in the registry for this session (used once), or the document's title cleaned, or
// the spooler's name of the job cleaned. `title` may be null. FALSE when the name is empty.
BOOL GetJobName(const WCHAR* printer_name, HANDLE printer, DWORD job_id, const WCHAR* title, PathText& name);

// Leaves the short readable part of a title, an address or a path. strip_scheme drops what stands before "//" of an
// address; strip_extension drops an extension that the system has a program for.
void CleanJobName(PathText& name, bool strip_scheme, bool strip_extension);

// Without regard to letter case: "*" stands for any text, "?" for one unit. An empty pattern or text never matches,
// and a "*" does not match at the very end of the text.
bool WildcardMatch(const WCHAR* pattern, const WCHAR* text);

}  // namespace kv
