#include "support/time_text.h"

#include "support/assert.h"

namespace kv {

TimeText time_text(const SYSTEMTIME& time) {
    static constexpr const WCHAR* kDays[] = {TEXT("Sun"), TEXT("Mon"), TEXT("Tue"), TEXT("Wed"),
                                             TEXT("Thu"), TEXT("Fri"), TEXT("Sat")};
    static constexpr const WCHAR* kMonths[] = {TEXT("Jan"), TEXT("Feb"), TEXT("Mar"), TEXT("Apr"),
                                               TEXT("May"), TEXT("Jun"), TEXT("Jul"), TEXT("Aug"),
                                               TEXT("Sep"), TEXT("Oct"), TEXT("Nov"), TEXT("Dec")};
    const unsigned hour = time.wHour % 12u == 0 ? 12u : time.wHour % 12u;
    TimeText text;
    format_text(text.data(), text.capacity(), TEXT("%s %s %u, %u %u:%02u:%02u%s"), kDays[time.wDayOfWeek % 7],
                kMonths[(time.wMonth + 11) % 12], unsigned{time.wDay}, unsigned{time.wYear}, hour,
                unsigned{time.wMinute}, unsigned{time.wSecond}, time.wHour < 12 ? TEXT("am") : TEXT("pm"));
    KV_ASSERT(text.length() + 1 < text.capacity());
    return text;
}

TimeText current_time_text() {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    return time_text(now);
}

}  // namespace kv
