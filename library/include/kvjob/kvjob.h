#pragma once
// libkvjob: Karvo job files read, checked and drawn. The format is described in docs/job-format.md.
//
// A job may be damaged or made to do harm: every function either does what it says or throws. Errors are karvo::Error
// where the job is at fault, std::runtime_error where the system is (files, memory), and whatever a caller's own
// function throws, which passes through. Files of up to 64 MiB are held in memory, larger ones in a nameless temporary
// copy ($TMPDIR, /var/tmp), so that nothing of a job changes or vanishes while it is open. Beside that a job takes what
// its largest record does once it is inflated, within Limits, and the list of its pages and definitions. A Job and what
// comes from it are for one thread at a time; several threads open the file each.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#define KARVO_API __attribute__((visibility("default")))

namespace karvo {

using Bytes = std::span<const uint8_t>;

// What is wrong with a job, and where in the file.
struct KARVO_API Error : std::runtime_error {
    Error(uint64_t at, const std::string& message) : std::runtime_error(message), offset(at) {}
    uint64_t offset;
};
struct Finding {
    uint64_t offset, bytes;  // bytes: how many are lost, by recover
    std::string message;
};
// Gets what was left out because it is damaged; not set: nobody is told.
using Report = std::function<void(uint64_t offset, const std::string& message)>;
// Gets a file's bytes in their order.
using Sink = std::function<void(Bytes)>;

// Device pixels; right and bottom are exclusive.
struct Rect {
    int32_t left, top, right, bottom;
};
struct Page {
    uint64_t offset;        // of the page's start record
    int32_t width, height;  // of the paper, device pixels
    Rect printable;         // on the paper; coordinates of records count from its corner
    bool landscape;
    uint16_t paper;  // size code of a Windows device mode
};
struct Document {
    std::string title, application;                             // UTF-8, may be empty
    std::vector<std::pair<std::string, std::string>> attached;  // names and values that came with the document
    uint16_t resolution;                                        // dots per inch
    std::vector<Page> pages;
};

struct Record {
    uint64_t offset;
    uint8_t type;
    const char* name;  // of the type, for people
    bool compressed;
    Bytes payload;    // as it stands in the file
    uint32_t length;  // of the body: what a compressed payload claims to inflate to
};

// Records one after another, each read when the iterator comes to it: for (const Record& record : job.records()). An
// increment throws Error where the framing ends.
class KARVO_API Records {
public:
    class KARVO_API Iterator {
    public:
        using value_type = Record;
        using difference_type = std::ptrdiff_t;

        Iterator() = default;
        const Record& operator*() const { return record_; }
        const Record* operator->() const { return &record_; }
        Iterator& operator++();
        void operator++(int) { ++*this; }
        friend bool operator==(const Iterator& a, const Iterator& b) { return a.at_ == b.at_; }

    private:
        friend class Records;
        Iterator(Bytes file, uint64_t at, uint64_t end);
        void read();
        Bytes file_;
        uint64_t at_ = 0, end_ = 0;
        Record record_ = {};
    };
    Iterator begin() const { return {file_, first_, end_}; }
    Iterator end() const { return {file_, end_, end_}; }

private:
    friend class Job;
    Records(Bytes file, uint64_t first, uint64_t end) : file_(file), first_(first), end_(end) {}
    Bytes file_;
    uint64_t first_, end_;
};

struct Font {
    uint32_t id;
    std::string face;    // empty where the file says it
    int32_t height;      // of the em, device pixels
    int32_t weight;      // 400 is regular, 700 bold
    int32_t escapement;  // tenths of a degree, counter-clockwise
    bool italic;
    std::optional<uint32_t> file;  // identifier of the font file that the job carries
};
struct Image {
    uint64_t offset;        // of its record
    uint32_t page;          // from 1; 0 before the first one
    const char* kind;       // "image", "mask" or "pattern"
    const char* encoding;   // for people
    int32_t width, height;  // pixels
    int bits;               // a pixel
    Bytes jpeg;             // the stream where it is one; good during the call
    // Calls take for every row from the top: 0xAARRGGBB pixels.
    std::function<void(const std::function<void(std::span<const uint32_t>)>& take)> read;
};

// What a job that is made to do harm may cost. What exceeds it is damage like any other.
struct Limits {
    uint64_t memory = 256 << 20;  // bytes: what a record may inflate to, a path take, and the patterns of a page
};
struct DrawOptions {
    double dots_per_inch = 150;
    uint64_t memory = 256 << 20;  // bytes that the canvas may take; a larger page is drawn in bands
    Report report = {};
};
struct PdfOptions {
    std::vector<size_t> pages = {};  // from 0, in this order; none: all
    double dots_per_inch = 300;      // of what must be pixels
    uint64_t memory = 256 << 20;     // bytes: of such a page of pixels, a page's pictures, and as in Limits
    Report report = {};
    std::string title = {};  // UTF-8; empty: the document's
};

class KARVO_API Job {
public:
    // A file, or "-" for standard input. Throws Error for what does not begin as a job does.
    static Job open(const std::string& path);
    static Job open(const std::string& path, const Limits& limits);
    // Bytes that stay the caller's, and as they are, as long as the job is there: of a file that is mapped into memory
    // and cut short by somebody the system raises SIGBUS.
    static Job of(Bytes bytes);
    static Job of(Bytes bytes, const Limits& limits);
    Job(Job&& other) noexcept;
    Job& operator=(Job&& other) noexcept;
    ~Job();

    // Every fault, in file order; none for a sound job.
    std::vector<Finding> check(size_t most = 100) const;
    // Writes a sound job of what is left of a damaged one, and tells what is lost.
    std::vector<Finding> recover(const Sink& sink) const;

    // Of a whole job: throws Error where the trailer is missing or damaged.
    const Document& document() const;

    // All records, or those between a page's start and end.
    Records records() const;
    Records records(size_t page) const;
    // The body of a record, inflated where it is compressed; good until the next call.
    Bytes body(const Record& record) const;

    // Text in reading order, UTF-8, a line a line.
    std::string text(size_t page, const Report& report = {}) const;
    std::vector<Font> fonts(const Report& report = {}) const;
    std::vector<uint8_t> font_file(uint32_t id) const;
    void for_each_image(const std::function<void(const Image&)>& visit, const Report& report = {}) const;

    // A drawn page's width and height in pixels.
    std::pair<int, int> size(size_t page, double dots_per_inch) const;
    // Calls sink for every row from the top: 0x??RRGGBB pixels.
    void draw(size_t page, const DrawOptions& options,
              const std::function<void(std::span<const uint32_t>)>& sink) const;
    void write_pdf(const PdfOptions& options, const Sink& sink) const;

private:
    struct State;
    explicit Job(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

}  // namespace karvo
