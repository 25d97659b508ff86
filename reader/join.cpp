#include "reader/join.h"

#include <algorithm>
#include <stdexcept>

namespace kvjob {
namespace {

constexpr uint8_t kTrayPage = 44;

// The byte that the build of the writer chose, from a job whose header is sound.
uint8_t build_of(Bytes file) {
    constexpr size_t kBuild = 7;
    const Record header = read_record(file, kMagicSize);
    return header.payload.size() > kBuild ? header.payload[kBuild] : uint8_t{0};
}

std::optional<uint16_t> tray_of(const Record& start) {
    return start.type == kTrayPage ? read_page_start_data(start.payload).tray : std::nullopt;
}

}  // namespace

void PageJoin::add_job(Bytes file) {
    const JobMap map(file, memory_);
    if (map.broken()) throw *map.broken();
    Job& job = jobs_.emplace_back(Job{map, find_summary(file), {}, false});
    if (job.summary.pages.size() != map.pages().size()) {
        jobs_.pop_back();
        throw Fault(file.size(), "the index tells of other pages than there are");
    }
    job.source.find = [&found = job.map](Body kind, uint32_t id) {
        return kind == Body::Brush ? found.brush(id) : kind == Body::Font ? found.font(id) : found.font_file(id);
    };
    for (size_t page = 0; page < map.pages().size(); ++page) places_.push_back({numbered_.size(), page});
    numbered_.push_back(&job);
}

void PageJoin::choose(const std::vector<size_t>& numbers) {
    for (const size_t number : numbers) {
        if (number >= 1 && number <= places_.size()) chosen_.push_back(places_[number - 1]);
    }
    if (chosen_.empty()) throw std::runtime_error("no page is left");
    const uint16_t resolution = numbered_[chosen_[0].job]->summary.resolution;
    if (resolution == 0) throw std::runtime_error("the job of the first page does not tell its resolution");
    for (const Place& place : chosen_) {
        Job& job = *numbered_[place.job];
        job.used = true;
        if (job.summary.resolution == resolution) continue;
        throw std::runtime_error("a job has one resolution; these pages have " + std::to_string(resolution) + " and " +
                                 std::to_string(job.summary.resolution) + " dots per inch");
    }
}

void PageJoin::copy_page(const Place& place, JobWriter& writer, const Report& report) {
    Job& job = *numbered_[place.job];
    std::vector<uint8_t> buffer;
    const Record start = read_record(job.map.file(), job.map.pages()[place.page]);
    std::optional<uint16_t> tray;
    try {
        tray = tray_of(start);
    } catch (const BodyFault& fault) {
        report(place.job, start.offset, fault.what());
    }
    writer.start_page(tray);
    if (tray) trays_.push_back(*tray);
    job.map.for_each_record(place.page, [&](const Record& record) {
        std::optional<std::string> refusal;
        try {
            refusal = writer.add(record, job.map.body(record, buffer), job.source);
        } catch (const BodyFault& fault) {
            refusal = fault.what();
        }
        if (refusal) report(place.job, record.offset, std::string(type_info(record.type).name) + ": " + *refusal);
    });
    writer.end_page();
}

// What stands behind the summary.
void PageJoin::copy_names(JobWriter& writer, const Report& report) {
    for (size_t i = 0; i < numbered_.size(); ++i) {
        if (!numbered_[i]->used) continue;
        const Bytes file = numbered_[i]->map.file();
        for (uint64_t at = summary_position(file); at < file.size();) {
            const Record record = read_record(file, at);
            at = record.end(file.data());
            const Body kind = type_info(record.type).body;
            if (kind != Body::String && kind != Body::Attached && kind != Body::Tray) continue;
            try {
                if (kind == Body::String) read_string(record.payload);
                if (kind == Body::Attached) read_attached(record.payload);
                if (kind == Body::Tray && std::ranges::count(trays_, read_tray(record.payload).number) == 0) continue;
                writer.add_name(record.type, record.payload);
            } catch (const BodyFault& fault) {
                report(i, record.offset, fault.what());
            }
        }
    }
}

void PageJoin::write(const std::vector<size_t>& numbers, Output& out, const Report& report) {
    choose(numbers);
    const Job& first = *numbered_[chosen_[0].job];
    JobWriter writer(out, build_of(first.map.file()), memory_);
    std::vector<IndexedPage> entries;
    uint32_t largest = 0;
    for (const Place& place : chosen_) {
        copy_page(place, writer, report);
        const Summary& summary = numbered_[place.job]->summary;
        entries.push_back(summary.pages[place.page]);
        largest = std::max(largest, summary.largest_record);
    }
    copy_names(writer, report);
    writer.finish(std::move(entries), first.summary.resolution, largest);
}

}  // namespace kvjob
