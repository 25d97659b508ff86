#include "dispatcher/request.h"

#include <cstring>

#include "dispatcher/limits.h"

namespace kvdisp12 {
namespace {

struct Malformed {};

// Takes the parts of a request one after the other; throws Malformed when one is missing.
struct Reader {
    std::span<const BYTE> rest;

    template <class Value>
    Value take() {
        Value value;
        if (rest.size() < sizeof value) throw Malformed();
        std::memcpy(&value, rest.data(), sizeof value);
        rest = rest.subspan(sizeof value);
        return value;
    }
    Text take_text() {
        Text text;
        while (WORD unit = take<WORD>()) {
            if (text.size() + 1 >= kMostText) throw Malformed();
            text += static_cast<WCHAR>(unit);
        }
        return text;
    }
};

void require(bool holds) {
    if (!holds) throw Malformed();
}

Announcement take_announcement(Reader& reader) {
    const auto header = reader.take<kv::StartDocHeader>();
    require(header.format == kv::kDispatchFormat && header.product_family == kv::kProductFamily);
    Announcement announcement = {header.spooler_job_id, header.product_family, header.product,    header.ShowDlg,
                                 header.KvAction,       reader.take_text(),    reader.take_text()};
    reader.take_text();  // the library of the user interface, which this dispatcher does not need
    return announcement;
}

HandOver take_hand_over(Reader& reader) {
    const auto header = reader.take<kv::EndDocHeader>();
    require(header.format == kv::kDispatchFormat && header.one == 1 && header.another_one == 1);
    return {header.job_id, reader.take_text()};
}

Request take_request(Reader& reader) {
    switch (reader.take<DWORD>()) {
        case kv::kDispatchStartDoc:
            return take_announcement(reader);
        case kv::kDispatchEndDoc:
            return take_hand_over(reader);
        case kv::kDispatchAbort:
            return Withdrawal{reader.take<DWORD>()};
        case kv::kDispatchJobPath:
            return PathQuestion{};
        case kv::kDispatchPrepare:
            return Preparation{};
        case kDispatchStatus:
            return StatusQuestion{};
        default:
            throw Malformed();
    }
}

}  // namespace

std::optional<Request> parse_request(std::span<const BYTE> bytes) {
    Reader reader{bytes};
    try {
        Request request = take_request(reader);
        require(reader.rest.empty());
        return request;
    } catch (const Malformed&) {
        return std::nullopt;
    }
}

}  // namespace kvdisp12
