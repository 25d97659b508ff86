#include "dispatcher/job_path.h"

#include "support/text.h"

namespace kvdisp12 {
namespace {

bool is_letter(WCHAR unit) { return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z'); }

// Windows takes dots and blanks from a part's end, so that it would mean another file than it says.
bool is_plain_part(TextView part) {
    if (part.empty() || part.back() == '.' || part.back() == ' ') return false;
    for (const WCHAR unit : part) {
        if (unit < ' ' || TextView(TEXT("/:*?\"<>|")).find(unit) != TextView::npos) return false;
    }
    return true;
}

bool is_job_name(TextView name) {
    const Text text(name);
    return kv::starts_with_ignoring_case(text.c_str(), TEXT("~KV")) && text.size() > 6 &&
           kv::same_text_ignoring_case(text.c_str() + text.size() - 3, TEXT(".kv"));
}

}  // namespace

const char* fault_of_job_path(TextView path) {
    constexpr size_t kMostUnits = 259, kDrive = 3;
    if (path.size() > kMostUnits) return "too long";
    if (path.size() < kDrive || !is_letter(path[0]) || path[1] != ':' || path[2] != '\\') return "not on a drive";
    TextView rest = path.substr(kDrive);
    for (;;) {
        const size_t end = rest.find(TEXT('\\'));
        if (!is_plain_part(rest.substr(0, end))) return "not a plain path";
        if (end == TextView::npos) break;
        rest = rest.substr(end + 1);
    }
    return is_job_name(rest) ? nullptr : "not a job's name";
}

}  // namespace kvdisp12
