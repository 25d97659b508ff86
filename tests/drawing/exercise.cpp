#include "tests/drawing/exercise.h"

#include <cstdlib>
#include <mutex>

#include "reader/checker.h"
#include "reader/dump.h"
#include "reader/info.h"
#include "reader/join.h"
#include "reader/recover.h"

namespace kvjob::test {
std::unique_ptr<std::FILE, CloseFile> nowhere() {
    return std::unique_ptr<std::FILE, CloseFile>(std::fopen("/dev/null", "w"));
}

OpenOutput Kept::open() {
    struct File : Output {
        explicit File(std::vector<uint8_t>& target) : kept(target) {}
        void write(Bytes more) override { bytes.insert(bytes.end(), more.begin(), more.end()); }
        void finish() override { kept = std::move(bytes); }
        std::vector<uint8_t>& kept;
        std::vector<uint8_t> bytes;
    };
    return [this](const std::string& name) {
        static std::mutex mutex;  // pages come from several threads
        const std::lock_guard lock(mutex);
        return std::make_unique<File>(files[name]);
    };
}

void exercise_reading(Bytes job) {
    static const auto out = nowhere();
    check_job(job);
    expect_answer([&] { print_info(read_info(job), out.get()); });
    expect_answer([&] { dump_job(job, std::nullopt, out.get()); });
    expect_answer([&] { dump_job(job, std::set<size_t>{1}, out.get()); });
}

void exercise_saving(Bytes job) {
    const auto expect_sound = [](Bytes made) {
        if (!check_job(made, 1).empty()) std::abort();
    };
    Kept kept;
    expect_answer([&] {
        recover_job(job, *kept.open()("saved"));
        expect_sound(kept.files["saved"]);
    });
    expect_answer([&] {
        PageJoin join;
        join.add_job(job);
        join.add_job(job);
        join.write({join.pages(), 1}, *kept.open()("joined"), [](size_t, uint64_t, const std::string&) {});
        expect_sound(kept.files["joined"]);
    });
}

}  // namespace kvjob::test
