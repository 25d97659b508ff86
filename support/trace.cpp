#include "support/trace.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string_view>

#include "platform/trace_sink.h"
#include "support/last_error.h"
#include "support/paths.h"
#include "support/reg_key.h"

namespace kv {

std::array<TraceLevel, kTraceComponents> trace_levels = {};

namespace {

constexpr std::array<std::string_view, kTraceComponents> kComponents = {"driver",   "record",   "fonts",  "image",
                                                                        "dispatch", "settings", "support"};
constexpr std::array<std::string_view, 5> kLevels = {"off", "error", "warning", "info", "record"};
constexpr size_t kLongestLine = 512;  // bytes, with the line feed: a path, and what is said of it; longer ones are cut

DWORD trace_start = 0;

template <size_t N>
size_t index_of(const std::array<std::string_view, N>& words, std::string_view word) {
    return static_cast<size_t>(std::find(words.begin(), words.end(), word) - words.begin());
}

// False for unknown words.
bool apply(std::string_view entry) {
    const size_t colon = entry.find(':');
    const bool for_all = colon == std::string_view::npos;
    const size_t level = index_of(kLevels, for_all ? entry : entry.substr(colon + 1));
    const size_t component = for_all ? 0 : index_of(kComponents, entry.substr(0, colon));
    if (level == kLevels.size() || component == kTraceComponents) return false;
    if (for_all) {
        trace_levels.fill(static_cast<TraceLevel>(level));
    } else {
        trace_levels[component] = static_cast<TraceLevel>(level);
    }
    return true;
}

bool add_entries(std::string_view text) {
    bool known = true;
    while (!text.empty()) {
        const size_t comma = std::min(text.find(','), text.size());
        known &= apply(text.substr(0, comma));
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return known;
}

// The value is plain ASCII; anything else matches no word.
void add_registry_entries(HKEY root) {
    CRegKey key;
    PathText value;
    if (!open_product_key(key, root) || !key.read_path(TEXT("Trace"), value)) return;
    std::array<char, 260> text = {};
    for (size_t i = 0; i < value.length() && i + 1 < text.size(); ++i) {
        text[i] = value.c_str()[i] < 0x80 ? static_cast<char>(value.c_str()[i]) : '?';
    }
    add_entries(text.data());
}

bool any_traced() {
    return std::any_of(trace_levels.begin(), trace_levels.end(), [](TraceLevel l) { return l != TraceLevel::Off; });
}

// A line as it grows, cut where it is full.
class Line {
public:
    Line(TraceComponent component, TraceLevel level, const char* function) {
        const DWORD elapsed = GetTickCount() - trace_start;
        add("%u.%03u %u %s %s %s: ", static_cast<unsigned>(elapsed / 1000), static_cast<unsigned>(elapsed % 1000),
            static_cast<unsigned>(GetCurrentThreadId()), kComponents[static_cast<size_t>(component)].data(),
            kLevels[static_cast<size_t>(level)].data(), function);
    }
#ifdef __GNUC__
    __attribute__((format(printf, 2, 3)))
#endif
    void
    add(const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        add_list(format, arguments);
        va_end(arguments);
    }
    void add_list(const char* format, va_list arguments) {
        const int length = std::vsnprintf(bytes_.data() + end_, kRoom - end_, format, arguments);
        end_ = std::min(end_ + static_cast<size_t>(std::max(length, 0)), kRoom - 1);
    }
    void write() {
        bytes_[end_] = '\n';
        write_trace_line(bytes_.data(), end_ + 1);
    }

private:
    static constexpr size_t kRoom = kLongestLine - 1;  // the line feed takes the terminating 0's place
    std::array<char, kLongestLine> bytes_;
    size_t end_ = 0;
};

}  // namespace

bool set_trace_levels(const char* text) {
    trace_levels.fill(TraceLevel::Off);
    return add_entries(text);
}

void start_trace() {
    trace_levels.fill(TraceLevel::Off);
    trace_start = GetTickCount();
    add_registry_entries(HKEY_LOCAL_MACHINE);
    add_registry_entries(HKEY_CURRENT_USER);
    if (const char* text = trace_environment()) add_entries(text);
    if (!any_traced()) return;
    PathText folder;
    open_trace_sink(GetTempFolder(folder) ? folder.c_str() : nullptr);
}

void stop_trace() {
    trace_levels.fill(TraceLevel::Off);
    close_trace_sink();
}

TraceText::TraceText(const WCHAR* text) {
    const KeepLastError keep;
    constexpr int kMostUnits = 128, kMostBytes = 3;  // of a text, and of a unit
    static_assert(kMostUnits * kMostBytes < sizeof bytes_);
    int units = 0;
    while (text && text[units] && units < kMostUnits) ++units;
    if (units > 0) {
        WideCharToMultiByte(CP_UTF8, 0, text, units, bytes_.data(), static_cast<int>(bytes_.size() - 1), nullptr,
                            nullptr);
    }
}

void trace_line(TraceComponent component, TraceLevel level, const char* function, const char* format, ...) {
    const KeepLastError keep;
    Line line(component, level, function);
    va_list arguments;
    va_start(arguments, format);
    line.add_list(format, arguments);
    va_end(arguments);
    line.write();
}

BOOL trace_failure(TraceComponent component, const char* function, const char* format, ...) {
    const KeepLastError keep;
    Line line(component, TraceLevel::Error, function);
    va_list arguments;
    va_start(arguments, format);
    line.add_list(format, arguments);
    va_end(arguments);
    line.add(", last error %u", static_cast<unsigned>(keep.error()));
    line.write();
    return FALSE;
}

}  // namespace kv
