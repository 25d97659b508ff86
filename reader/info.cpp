#include "reader/info.h"

#include <array>
#include <map>

#include "reader/bodies.h"
#include "reader/index.h"
#include "reader/picture.h"
#include "reader/text_bodies.h"

namespace kvjob {
namespace {

struct TypeCount {
    uint64_t records = 0, bytes = 0;
};

struct Names {
    std::string document, application;
    std::vector<Tray> trays;
    std::vector<std::pair<std::string, std::string>> attached;
};

void take_name(const Record& record, Names& names) {
    try {
        if (record.type == 23) names.document = read_string(record.payload);
        if (record.type == 24) names.application = read_string(record.payload);
        if (record.type == 37) names.trays.push_back(read_tray(record.payload));
        if (record.type == 40) {
            auto pairs = read_attached(record.payload);
            names.attached.insert(names.attached.end(), pairs.begin(), pairs.end());
        }
    } catch (const BodyFault& fault) {
        throw Fault(record.offset, fault.what());
    }
}

// What fonts and images the records hold.
struct Contents {
    size_t fonts = 0, fonts_with_files = 0, files = 0, file_bytes = 0;
    std::map<std::string, size_t> images;  // by encoding and depth
};

void take_contents(const Record& record, Contents& contents, std::vector<uint8_t>& buffer) {
    const TypeInfo& info = type_info(record.type);
    try {
        if (info.body == Body::Font) {
            ++contents.fonts;
            contents.fonts_with_files += read_font(body_of(record, buffer)).file ? 1 : 0;
        } else if (info.body == Body::FontFile) {
            ++contents.files;
            contents.file_bytes += record.inflated_length;
        } else if (info.marks) {
            const Picture picture = Picture::of(record, read_image(record.type, body_of(record, buffer)));
            ++contents.images[std::to_string(picture.depth()) + " bits, " + picture.encoding()];
        }
    } catch (const BodyFault& fault) {
        throw Fault(record.offset, fault.what());
    }
}

void print_contents(const Contents& contents, std::FILE* out) {
    if (contents.fonts > 0) {
        std::fprintf(out, "fonts: %zu, %zu of them by %zu embedded files of %zu bytes\n", contents.fonts,
                     contents.fonts_with_files, contents.files, contents.file_bytes);
    }
    for (const auto& [kind, count] : contents.images) std::fprintf(out, "images of %s: %zu\n", kind.c_str(), count);
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

void print_info(Bytes file, std::FILE* out) {
    const Summary summary = find_summary(file);
    std::array<TypeCount, 256> counts{};
    Names names;
    Contents contents;
    std::vector<uint8_t> buffer;
    for (uint64_t at = kMagicSize; at < file.size();) {
        const Record record = read_record(file, at);
        const uint64_t end = record.end(file.data());
        ++counts[record.type].records;
        counts[record.type].bytes += end - at;
        take_name(record, names);
        take_contents(record, contents, buffer);
        at = end;
    }
    if (!names.document.empty()) std::fprintf(out, "document: %s\n", names.document.c_str());
    if (!names.application.empty()) std::fprintf(out, "application: %s\n", names.application.c_str());
    for (const auto& [name, value] : names.attached) std::fprintf(out, "data: %s=%s\n", name.c_str(), value.c_str());
    for (const Tray& tray : names.trays) std::fprintf(out, "tray %d: %s\n", tray.number, tray.name.c_str());
    std::fprintf(out, "resolution: %d dots per inch\n", summary.resolution);
    std::fprintf(out, "size: %zu bytes\n", file.size());
    std::fprintf(out, "pages: %zu\n", summary.pages.size());
    print_pages(summary, out);
    print_contents(contents, out);
    std::fprintf(out, "records:\n");
    for (size_t type = 0; type < counts.size(); ++type) {
        if (counts[type].records == 0) continue;
        const TypeInfo& info = type_info(static_cast<uint8_t>(type));
        std::fprintf(out, "  %3zu %s%s: %llu, %llu bytes\n", type, info.name, info.wide ? ", 32-bit" : "",
                     static_cast<unsigned long long>(counts[type].records),
                     static_cast<unsigned long long>(counts[type].bytes));
    }
}

}  // namespace kvjob
