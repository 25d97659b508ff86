#pragma once
// Makes one job of pages of others: chosen, in another order, of several jobs.

#include <functional>
#include <list>

#include "reader/index.h"
#include "reader/job_map.h"
#include "reader/job_writer.h"

namespace kvjob {

class PageJoin {
public:
    // A record that is left out: the job, counted from 0, the record's offset in it, and why.
    using Report = std::function<void(size_t job, uint64_t offset, const std::string& what)>;

    // memory: bytes that a record's body may inflate to.
    explicit PageJoin(uint64_t memory = kRecordMemory) : memory_(memory) {}
    // Another job, whose pages come behind those of the jobs before it. The bytes stay the caller's. Throws Fault for a
    // job that is not whole.
    void add_job(Bytes file);
    size_t pages() const { return places_.size(); }

    // The pages of these numbers, from 1, in this order; a page may come twice. Records keep their bytes but for the
    // identifiers of definitions; definitions come with the first page that needs them. Names, attached data and trays
    // are those of the jobs that give pages: a name that only one job can have is the first one's. Throws
    // std::runtime_error for no page at all, for pages of different resolutions or of none, and for a job beyond 2 GiB,
    // and what the output throws.
    void write(const std::vector<size_t>& numbers, Output& out, const Report& report);

private:
    struct Job {
        JobMap map;
        Summary summary;
        RecordSource source;
        bool used = false;
    };
    struct Place {
        size_t job, page;  // from 0
    };

    void choose(const std::vector<size_t>& numbers);
    void copy_page(const Place& place, JobWriter& writer, const Report& report);
    void copy_names(JobWriter& writer, const Report& report);

    uint64_t memory_;
    std::list<Job> jobs_;  // the sources refer to the maps
    std::vector<Job*> numbered_;
    std::vector<Place> places_;    // of all pages
    std::vector<Place> chosen_;    // in the order of the new job
    std::vector<uint16_t> trays_;  // that the chosen pages name
};

}  // namespace kvjob
