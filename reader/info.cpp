#include "reader/info.h"

#include <algorithm>
#include <array>

#include "reader/picture.h"
#include "reader/text_bodies.h"

namespace kvjob {
namespace {

void take_name(const Record& record, JobInfo& info) {
    if (record.type == 23) info.document = read_string(record.payload);
    if (record.type == 24) info.application = read_string(record.payload);
    if (record.type == 37) info.trays.push_back(read_tray(record.payload));
    if (record.type == 40) {
        auto pairs = read_attached(record.payload);
        info.attached.insert(info.attached.end(), pairs.begin(), pairs.end());
    }
}

void take_contents(const Record& record, JobInfo& info, BodyReader& bodies) {
    const TypeInfo& type = type_info(record.type);
    if (type.body == Body::Font) {
        ++info.fonts;
        info.fonts_with_files += read_font(bodies(record)).file ? 1 : 0;
    } else if (type.body == Body::FontFile) {
        ++info.files;
        info.file_bytes += record.inflated_length;
    } else if (type.marks) {
        const Picture picture = Picture::of(record, read_image(record.type, bodies(record)));
        ++info.images[{picture.depth(), picture.encoding()}];
    }
}

double millimetres(int32_t pixels, uint16_t resolution) { return resolution ? pixels * 25.4 / resolution : 0; }

void print_pages(const Summary& summary, std::FILE* out) {
    size_t first = 0;
    while (first < summary.pages.size()) {  // like pages in one line
        const IndexedPage& page = summary.pages[first];
        size_t last = first;
        while (last + 1 < summary.pages.size() && summary.pages[last + 1].width == page.width &&
               summary.pages[last + 1].height == page.height) {
            ++last;
        }
        std::fprintf(out, first == last ? "  page %zu" : "  pages %zu-%zu", first + 1, last + 1);
        std::fprintf(out, ": %d x %d pixels, %.1f x %.1f mm\n", page.width, page.height,
                     millimetres(page.width, summary.resolution), millimetres(page.height, summary.resolution));
        first = last + 1;
    }
}

}  // namespace

JobInfo read_info(Bytes file, uint64_t memory) {
    JobInfo info;
    info.bytes = file.size();
    info.summary = find_summary(file);
    std::array<TypeCount, 256> counts{};
    BodyReader bodies(memory);
    for (uint64_t at = kMagicSize; at < file.size();) {
        const Record record = read_record(file, at);
        const uint64_t end = record.end(file.data());
        counts[record.type].type = record.type;
        ++counts[record.type].records;
        counts[record.type].bytes += end - at;
        try {
            take_name(record, info);
            take_contents(record, info, bodies);
        } catch (const BodyFault& fault) {
            throw Fault(record.offset, fault.what());
        }
        at = end;
    }
    std::ranges::copy_if(counts, std::back_inserter(info.types), [](const TypeCount& c) { return c.records > 0; });
    return info;
}

void print_info(const JobInfo& info, std::FILE* out) {
    if (!info.document.empty()) std::fprintf(out, "document: %s\n", info.document.c_str());
    if (!info.application.empty()) std::fprintf(out, "application: %s\n", info.application.c_str());
    for (const auto& [name, value] : info.attached) std::fprintf(out, "data: %s=%s\n", name.c_str(), value.c_str());
    for (const Tray& tray : info.trays) std::fprintf(out, "tray %d: %s\n", tray.number, tray.name.c_str());
    std::fprintf(out, "resolution: %d dots per inch\n", info.summary.resolution);
    std::fprintf(out, "size: %llu bytes\n", static_cast<unsigned long long>(info.bytes));
    std::fprintf(out, "pages: %zu\n", info.summary.pages.size());
    print_pages(info.summary, out);
    if (info.fonts > 0) {
        std::fprintf(out, "fonts: %zu, %zu of them by %zu embedded files of %zu bytes\n", info.fonts,
                     info.fonts_with_files, info.files, info.file_bytes);
    }
    for (const auto& [kind, count] : info.images) {
        std::fprintf(out, "images of %d bits, %s: %zu\n", kind.first, kind.second.c_str(), count);
    }
    std::fprintf(out, "records:\n");
    for (const TypeCount& count : info.types) {
        const TypeInfo& type = type_info(count.type);
        std::fprintf(out, "  %3d %s%s: %llu, %llu bytes\n", count.type, type.name, type.wide ? ", 32-bit" : "",
                     static_cast<unsigned long long>(count.records), static_cast<unsigned long long>(count.bytes));
    }
}

}  // namespace kvjob
