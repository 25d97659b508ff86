#pragma once
// A dispatcher's parts that file and deliver, in the test's own process.

#include "dispatcher/deliverer.h"
#include "dispatcher/job_facts.h"
#include "tests/common/job_builder.h"
#include "tests/dispatcher/house.h"

namespace kv::test {

// One empty page.
inline std::string drawable_job() {
    kvjob::test::JobBuilder job;
    job.start_page().end_page();
    const Bytes bytes = job.finish({{23, from_hex("70006C0061006E000000")}});
    return std::string(bytes.begin(), bytes.end());
}

// A dispatcher that files and delivers.
struct Delivering : Dispatcher {
    Delivering(const House& house, const std::string& destination, std::vector<std::string>* lines = nullptr,
               std::chrono::seconds patience = std::chrono::seconds(20))
        : Dispatcher(house.places, lines), deliverer(store, make_target(parse_destination(destination)), patience) {}

    // As a dispatcher does from its start on.
    void work() {
        recovery.settle_interrupted();
        recovery.find_all();
        deliverer.deliver_waiting(true);
    }
    Document first() { return journal.find(1).value(); }

    Deliverer deliverer;
};

}  // namespace kv::test
