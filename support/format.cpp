// Texts formatted as the C library formats them, into UTF-16. The library's own wide form has units of another width on
// the host.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "support/assert.h"
#include "support/text.h"

namespace kv {
namespace {

// Keeps what fits and counts everything.
class Sink {
public:
    Sink(WCHAR* target, size_t capacity) : target_(target), room_(capacity - 1) { KV_ASSERT(target && capacity > 0); }

    void put(WCHAR unit, size_t times = 1) {
        for (; times > 0; --times, ++length_) {
            if (length_ < room_) target_[length_] = unit;
        }
    }
    size_t finish() {
        target_[std::min(length_, room_)] = 0;
        return length_;
    }

private:
    WCHAR* target_;
    size_t room_;
    size_t length_ = 0;
};

// Takes arguments off the caller's list.
class Arguments {
public:
    explicit Arguments(va_list list) { va_copy(list_, list); }
    ~Arguments() { va_end(list_); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    template <class T>
    T next() {
        return va_arg(list_, T);
    }

private:
    va_list list_;
};

struct Conversion {
    char flags[8] = {};  // those that a number's digits depend on
    bool left = false, zeros = false;
    size_t width = 0;
    int precision = -1;         // -1: none given
    int halves = 0, longs = 0;  // "h" and "l"
};

bool is_digit(WCHAR unit) { return unit >= '0' && unit <= '9'; }

// A number in the format, or an argument for "*".
int read_number(const WCHAR*& at, Arguments& arguments) {
    if (*at == '*') return ++at, arguments.next<int>();
    constexpr int kLargest = 1000000;  // units: no buffer has that many
    int number = 0;
    for (; is_digit(*at); ++at) number = std::min(number * 10 + (*at - '0'), kLargest);
    return number;
}

// Everything between the "%" and the letter of the conversion.
Conversion read_conversion(const WCHAR*& at, Arguments& arguments) {
    Conversion conversion;
    for (size_t used = 0; *at; ++at) {
        if (*at == '-') {
            conversion.left = true;
        } else if (*at == '0') {
            conversion.zeros = true;
        } else if (*at == '+' || *at == ' ' || *at == '#') {
            if (used + 1 < sizeof conversion.flags) conversion.flags[used++] = static_cast<char>(*at);
        } else {
            break;
        }
    }
    const int width = read_number(at, arguments);
    conversion.left = conversion.left || width < 0;
    conversion.width = static_cast<size_t>(width < 0 ? -static_cast<long long>(width) : width);
    if (*at == '.') conversion.precision = std::max(read_number(++at, arguments), -1);
    for (; *at == 'h'; ++at) ++conversion.halves;
    for (; *at == 'l'; ++at) ++conversion.longs;
    return conversion;
}

template <class Unit>
void put_text(Sink& sink, const Conversion& conversion, const Unit* text) {
    const size_t most = conversion.precision < 0 ? static_cast<size_t>(-1) : static_cast<size_t>(conversion.precision);
    size_t length = 0;
    while (text && length < most && text[length]) ++length;
    const size_t padding = conversion.width > length ? conversion.width - length : 0;
    if (!conversion.left) sink.put(WCHAR{' '}, padding);
    for (size_t i = 0; i < length; ++i) sink.put(static_cast<WCHAR>(static_cast<std::make_unsigned_t<Unit>>(text[i])));
    if (conversion.left) sink.put(WCHAR{' '}, padding);
}

// Zeros stand between the sign or the "0x" and the digits.
void put_number(Sink& sink, const Conversion& conversion, const char* digits, bool may_pad_with_zeros) {
    Conversion rest = conversion;
    rest.precision = -1;
    const size_t length = std::strlen(digits);
    if (conversion.zeros && !conversion.left && may_pad_with_zeros && conversion.width > length) {
        size_t prefix = digits[0] == '-' || digits[0] == '+' || digits[0] == ' ' ? 1 : 0;
        if (digits[prefix] == '0' && (digits[prefix + 1] | 0x20) == 'x') prefix += 2;
        for (size_t i = 0; i < prefix; ++i) sink.put(static_cast<WCHAR>(digits[i]));
        sink.put(WCHAR{'0'}, conversion.width - length);
        digits += prefix;
        rest.width = 0;
    }
    put_text(sink, rest, digits);
}

// The C library makes the digits, without padding.
template <class Number>
void put_converted(Sink& sink, const Conversion& conversion, const char* letter, Number number) {
    constexpr int kMostDigits = 150, kLongestNumber = 310;  // behind the point, and before it: the largest double's
    char spec[24], digits[512];
    static_assert(kMostDigits + kLongestNumber + 4 < sizeof digits);
    if (conversion.precision >= 0) {
        std::snprintf(spec, sizeof spec, "%%%s.%d%s", conversion.flags, std::min(conversion.precision, kMostDigits),
                      letter);
    } else {
        std::snprintf(spec, sizeof spec, "%%%s%s", conversion.flags, letter);
    }
    KV_ASSERT(std::strlen(spec) + 1 < sizeof spec);
    std::snprintf(digits, sizeof digits, spec, number);
    put_number(sink, conversion, digits, std::is_floating_point_v<Number> || conversion.precision < 0);
}

long long next_signed(Arguments& arguments, const Conversion& conversion) {
    if (conversion.longs >= 2) return arguments.next<long long>();
    if (conversion.longs == 1) return arguments.next<long>();
    const int value = arguments.next<int>();
    return conversion.halves == 1 ? static_cast<short>(value)
           : conversion.halves    ? static_cast<signed char>(value)
                                  : value;
}

unsigned long long next_unsigned(Arguments& arguments, const Conversion& conversion) {
    if (conversion.longs >= 2) return arguments.next<unsigned long long>();
    if (conversion.longs == 1) return arguments.next<unsigned long>();
    const unsigned value = arguments.next<unsigned>();
    return conversion.halves == 1 ? static_cast<unsigned short>(value)
           : conversion.halves    ? static_cast<unsigned char>(value)
                                  : value;
}

void put_conversion(Sink& sink, const Conversion& conversion, WCHAR kind, Arguments& arguments) {
    const char letter[] = {'l', 'l', static_cast<char>(kind), 0};
    switch (kind) {
        case 'd':
        case 'i':
            return put_converted(sink, conversion, letter, next_signed(arguments, conversion));
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            return put_converted(sink, conversion, letter, next_unsigned(arguments, conversion));
        case 'e':
        case 'E':
        case 'f':
        case 'g':
        case 'G':
            return put_converted(sink, conversion, letter + 2, arguments.next<double>());
        case 'p':
            return put_converted(sink, conversion, letter + 2, arguments.next<void*>());
        case 'c': {
            const WCHAR text[] = {static_cast<WCHAR>(arguments.next<int>()), 0};
            return put_text(sink, conversion, text);
        }
        case 's':
            if (conversion.halves) return put_text(sink, conversion, arguments.next<const char*>());
            return put_text(sink, conversion, arguments.next<const WCHAR*>());
        default:
            return sink.put(kind);
    }
}

}  // namespace

size_t vformat_text(WCHAR* target, size_t capacity, const WCHAR* format, va_list list) {
    Sink sink(target, capacity);
    Arguments arguments(list);
    for (const WCHAR* at = format; *at; ++at) {
        if (*at != '%') {
            sink.put(*at);
            continue;
        }
        const Conversion conversion = read_conversion(++at, arguments);
        if (!*at) break;
        put_conversion(sink, conversion, *at, arguments);
    }
    return sink.finish();
}

size_t format_text(WCHAR* target, size_t capacity, const WCHAR* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const size_t length = vformat_text(target, capacity, format, arguments);
    va_end(arguments);
    return std::min(length, capacity - 1);
}

}  // namespace kv
