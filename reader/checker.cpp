#include "reader/checker.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "reader/content_checker.h"
#include "reader/summary_checker.h"

namespace kvjob {
namespace {

// The walk finds out what is wrong with a trailer that cannot be read.
std::vector<IndexedPage> announced_pages(Bytes file) {
    try {
        return find_summary(file).pages;
    } catch (const Fault&) {
        return {};
    }
}

class Checker {
public:
    Checker(Bytes file, size_t limit, uint64_t memory)
        : file_(file), limit_(limit), bodies_(memory), content_(announced_pages(file)) {}

    std::vector<Finding> run() {
        try {
            check_stream();
        } catch (const Fault& fault) {
            report(fault.offset, fault.what());
        }
        std::stable_sort(findings_.begin(), findings_.end(),
                         [](const Finding& a, const Finding& b) { return a.offset < b.offset; });
        return std::move(findings_);
    }

private:
    enum class Stage { Header, Start, Pages, EndOfStream, Summary, Index, Names, Done };

    void report(uint64_t offset, const std::string& message) {
        if (findings_.size() < limit_) findings_.push_back({offset, message});
    }

    void check_stream() {
        expect_magic(file_);
        uint64_t at = kMagicSize;
        while (at < file_.size() && stage_ != Stage::Done) {
            const Record record = read_record(file_, at);
            check_framing(record);
            check_place(record);
            check_body(record);
            at = record.end(file_.data());
        }
        if (stage_ != Stage::Done) throw Fault(at, "the job ends without its trailer");
        if (at < file_.size()) throw Fault(at, "bytes after the trailer position");
    }

    void check_framing(const Record& record) {
        const TypeInfo& info = type_info(record.type);
        const size_t length = record.payload.size();
        const bool shorter_fits = (record.framing == Framing::Medium && length < 254) ||
                                  (record.framing == Framing::Long && length <= 0xFFFF && !info.sized);
        if (shorter_fits) report(record.offset, "length in a longer form than it needs");
        if (record.compressed() && record.inflated_length < 254) report(record.offset, "too short to be compressed");
        if (record.compressed() && in_trailer()) report(record.offset, "compressed record in the trailer");
        // Images count in ways of their own.
        if (!record.compressed() && !info.marks && stage_ < Stage::Names) {
            largest_record_ = std::max(largest_record_, static_cast<uint32_t>(length));
        }
    }

    bool in_trailer() const { return stage_ >= Stage::Summary; }

    // The order of records.
    void check_place(const Record& record) {
        const TypeInfo& info = type_info(record.type);
        if (info.body == Body::Unknown) throw Fault(record.offset, "record of type " + std::to_string(record.type));
        const Stage before = stage_;
        if (!advance(record, info)) {
            report(record.offset, std::string(info.name) + " in the wrong place");
            stage_ = before;
        }
    }

    bool advance(const Record& record, const TypeInfo& info) {
        switch (stage_) {
            case Stage::Header:
                stage_ = Stage::Start;
                return record.type == 1;
            case Stage::Start:
                stage_ = Stage::Pages;
                return record.type == 2;
            case Stage::Pages:
                return advance_in_pages(record, info);
            case Stage::EndOfStream:
                stage_ = Stage::Summary;
                return record.type == 0;
            case Stage::Summary:
                trailer_ = record.offset;
                stage_ = announces_index(record.payload) ? Stage::Index : Stage::Names;
                return record.type == 21;
            case Stage::Index:
                stage_ = Stage::Names;
                return record.type == 55;
            case Stage::Names:
                return advance_in_names(record);
            case Stage::Done:
                break;
        }
        return false;
    }

    bool advance_in_pages(const Record& record, const TypeInfo& info) {
        switch (record.type) {
            case 5:
            case 44:
                if (page_open_) return false;
                page_open_ = true;
                content_.start_page(record.offset);
                return true;
            case 6:
                return std::exchange(page_open_, false);
            case 3:
                stage_ = Stage::EndOfStream;
                return !page_open_;
            default: {
                const bool definition =
                    info.body == Body::Brush || info.body == Body::Font || info.body == Body::FontFile;
                return definition || (info.in_page && page_open_);
            }
        }
    }

    // Name, application, attached data, trays, position: each kind not before the one ahead of it.
    bool advance_in_names(const Record& record) {
        constexpr uint8_t kOrder[] = {23, 24, 40, 37, 38};
        const auto* found = std::find(std::begin(kOrder), std::end(kOrder), record.type);
        if (found == std::end(kOrder)) return false;
        const auto rank = static_cast<int>(found - std::begin(kOrder));
        const bool repeats = record.type == 40 || record.type == 37;
        const bool ordered = rank > name_rank_ || (repeats && rank == name_rank_);
        name_rank_ = std::max(name_rank_, rank);
        if (record.type == 38) stage_ = Stage::Done;
        return ordered;
    }

    void check_body(const Record& record) {
        try {
            const Bytes body = bodies_(record);
            const TypeInfo& info = type_info(record.type);
            if (info.in_page || info.body == Body::PageStartData || info.body == Body::Brush ||
                info.body == Body::Font || info.body == Body::FontFile) {
                content_.check(record, body);
            } else {
                check_document_body(record, info, body);
            }
        } catch (const BodyFault& fault) {
            report(record.offset, std::string(type_info(record.type).name) + ": " + fault.what());
        }
    }

    void check_document_body(const Record& record, const TypeInfo& info, Bytes body) {
        switch (info.body) {
            case Body::Header:
                check_header(body);
                break;
            case Body::Summary:
                if (!announces_index(body)) compare(record, read_summary(body, false));
                break;
            case Body::Index:
                compare(record, read_summary(body, true));
                break;
            case Body::String:
                if (read_string(body).empty()) throw BodyFault("empty text");
                break;
            case Body::Tray:
                if (!content_.found().names_tray) throw BodyFault("no page names a tray");
                if (!trays_.insert(read_tray(body).number).second) throw BodyFault("the tray has a name already");
                break;
            case Body::Attached:
                read_attached(body);
                break;
            case Body::TrailerPosition:
                if (body.size() != 4 || Reader(body).u32() != trailer_) throw BodyFault("is not that of the summary");
                break;
            default:
                Reader(body).expect_end();
        }
    }

    void check_header(Bytes body) {
        Reader in(body);
        const bool known = in.u32() == 0xC000000E && in.u16() == 0x0C04 && in.u8() == 0;
        in.u8();
        in.expect_end();
        if (!known) throw BodyFault("of another format");
    }

    void compare(const Record& record, const Summary& summary) {
        const uint32_t largest = std::max(largest_record_, content_.found().largest_image);
        const Expected expected = {content_.found(), trailer_, largest, !content_.found().uncounted_images};
        check_summary(summary, expected,
                      [&](const std::string& message) { report(record.offset, "summary: " + message); });
    }

    Bytes file_;
    size_t limit_;
    std::vector<Finding> findings_;
    BodyReader bodies_;

    Stage stage_ = Stage::Header;
    bool page_open_ = false;
    int name_rank_ = -1;
    uint64_t trailer_ = 0;
    ContentChecker content_;
    std::unordered_set<uint16_t> trays_;
    uint32_t largest_record_ = 0;
};

}  // namespace

std::vector<Finding> check_job(Bytes file, size_t limit, uint64_t memory) { return Checker(file, limit, memory).run(); }

}  // namespace kvjob
