// Any texts and paths through the functions that copy, compare, convert, cut and clean them.

#include <cstring>

#include "dispatcher/safe_text.h"
#include "settings/job_name.h"
#include "settings/outbox.h"
#include "support/paths.h"
#include "tests/fuzz/fuzz_input.h"
#include "ui/settings_model.h"

namespace kv {
namespace {

using WideText = std::basic_string<WCHAR>;

// In a block of its own, so that a step behind the terminator is seen.
std::unique_ptr<WCHAR[]> block_of(const WideText& text) {
    std::unique_ptr<WCHAR[]> block(new WCHAR[text.size() + 1]);
    std::copy_n(text.c_str(), text.size() + 1, block.get());
    return block;
}

void check_copies(const WCHAR* a, const WCHAR* b, size_t capacity) {
    const std::unique_ptr<WCHAR[]> room(new WCHAR[capacity]);
    const size_t copied = copy_text(room.get(), capacity, a);
    require(copied < capacity && room[copied] == 0 && starts_with(a, room.get()));
    append_text(room.get(), capacity, b);
    require(text_length(room.get()) < capacity);
    format_text(room.get(), capacity, TEXT("%s-%5d,%x %hs"), b, static_cast<int>(capacity), 0x7Fu, "plain");
    require(text_length(room.get()) < capacity);
}

void check_order(const WCHAR* a, const WCHAR* b) {
    const int order = compare_text_ignoring_case(a, b), back = compare_text_ignoring_case(b, a);
    require((order < 0) == (back > 0) && (order == 0) == (back == 0));
    require(same_text_ignoring_case(a, b) == (order == 0));
    if (*b && starts_with(a, b)) require(starts_with_ignoring_case(a, b) && find_text(a, b) == a);
}

void check_conversions(const WCHAR* text, size_t capacity, UINT code_page) {
    const std::unique_ptr<char[]> narrow(new char[capacity]);
    const size_t bytes = to_ansi(narrow.get(), capacity, text, code_page);
    require(bytes < capacity && narrow[bytes] == 0);
    const std::unique_ptr<WCHAR[]> wide(new WCHAR[capacity]);
    require(to_wide(wide.get(), capacity, narrow.get(), code_page) < capacity);
    const std::unique_ptr<char[]> copy(new char[capacity]);
    require(copy_ansi(copy.get(), capacity, narrow.get(), bytes) <= bytes);
}

void check_paths(const WCHAR* path, const WCHAR* name) {
    PathText folder, joined;
    GetFolder(path, folder);
    require(starts_with(path, folder.c_str()) || text_length(path) >= kPathCapacity);
    const WCHAR* part = GetFileNamePart(path);
    require(!find_last(part, '\\') && FindExtension(path) >= part);
    JoinPath(path, name, joined);
    require(joined.length() < kPathCapacity);
    is_full_path(path);
}

void check_names(const WCHAR* title, const WCHAR* pattern, DWORD options) {
    PathText name(title);
    CleanJobName(name, options & 1, options & 2);
    require(name.length() < kPathCapacity);
    WildcardMatch(pattern, title);
    LONG value = 0;
    if (parse_length(title, static_cast<WORD>(1 + (options & 1)), value)) require(value > 0);
    if (parse_number_in(title, {-5, 70000}, value)) require(value >= -5 && value <= 70000);
}

// A file's name holds nothing that leads out of its folder, and a line of the log stays one.
void check_safe_texts(const WideText& text) {
    const std::string name = kvdisp12::to_utf8(kvdisp12::file_name_of(text));
    require(!name.empty() && name.size() <= 200 && name != "." && name != ".." && name.front() != '-');
    require(name.find('/') == std::string::npos && name.find('\\') == std::string::npos);
    for (const std::string& line : {kvdisp12::in_quotes(text), kvdisp12::without_controls(name)}) {
        require(line.find('\n') == std::string::npos && line.find('\0') == std::string::npos);
    }
}

void run(FuzzInput& in) {
    static constexpr UINT kCodePages[] = {CP_ACP, 437, 932, 936, 949, 950, 1250, 1252, 1361, 65001, 20127, 42};
    const size_t capacity = 1 + in.u8();
    const UINT code_page = in.pick(kCodePages);
    const DWORD options = in.u8();
    const WideText first = in.text(), second = in.text();
    const auto a = block_of(first), b = block_of(second);
    check_copies(a.get(), b.get(), capacity);
    check_order(a.get(), b.get());
    check_conversions(a.get(), capacity, code_page);
    check_paths(a.get(), b.get());
    check_names(a.get(), b.get(), options);
    check_safe_texts(first);
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::host::set_messages_quiet(true);
    kv::FuzzInput in(data, size);
    kv::run(in);
    return 0;
}
