// fuzz_replay [--cost] TARGET PATH...: gives a fuzz target the inputs that the files and the files of the folders hold.
// --cost: also says which input took the most processor time and which the most memory, if the build counts memory.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <vector>

#include "tests/common/workspace.h"

#ifdef __has_feature
#if __has_feature(address_sanitizer)
#define KV_COUNTS_MEMORY 1
#endif
#endif
#ifdef __SANITIZE_ADDRESS__
#define KV_COUNTS_MEMORY 1
#endif
#ifdef KV_COUNTS_MEMORY
// Not every compiler comes with the header of these.
extern "C" {
size_t __sanitizer_get_allocated_size(const volatile void* block);
int __sanitizer_install_malloc_and_free_hooks(void (*taken)(const volatile void*, size_t),
                                              void (*freed)(const volatile void*));
}
#endif

#define TARGET(name) extern "C" int fuzz_##name(const uint8_t* data, size_t size);
#include "generated/fuzz_targets.h"
#undef TARGET

namespace {

using Target = int(const uint8_t* data, size_t size);
constexpr struct {
    const char* name;
    Target* run;
} kTargets[] = {
#define TARGET(name) {#name, fuzz_##name},
#include "generated/fuzz_targets.h"
#undef TARGET
};

// Bytes that are allocated, and the most of them since the last reset. What was allocated before they were counted is
// freed as well: below 0.
std::atomic<int64_t> live, peak;

void count_memory() {
#ifdef KV_COUNTS_MEMORY
    const auto taken = [](const volatile void*, size_t size) {
        const int64_t now = live += static_cast<int64_t>(size);
        for (int64_t most = peak; most < now && !peak.compare_exchange_weak(most, now);) {
        }
    };
    const auto freed = [](const volatile void* block) {
        live -= block ? static_cast<int64_t>(__sanitizer_get_allocated_size(block)) : 0;
    };
    __sanitizer_install_malloc_and_free_hooks(taken, freed);
#endif
}

double processor_seconds() {
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

struct Cost {
    double seconds = 0;
    size_t memory = 0, size = 0;
};

Cost run(Target* target, const kv::test::Bytes& input) {
    const int64_t before = live;
    peak = before;
    const double start = processor_seconds();
    target(input.data(), input.size());
    return {processor_seconds() - start, static_cast<size_t>(peak - before), input.size()};
}

void tell(size_t count, const Cost& slowest, const Cost& largest) {
    std::printf("inputs %zu seconds %.6f size %zu memory %zu size %zu\n", count, slowest.seconds, slowest.size,
                largest.memory, largest.size);
}

int replay(Target* target, const std::vector<std::string>& paths, bool with_cost) {
    if (with_cost && !paths.empty()) {
        target(nullptr, 0);  // what is made once does not count
        run(target, kv::test::read_bytes(paths.front()));
        count_memory();
    }
    Cost slowest, largest;
    for (const std::string& path : paths) {
        const Cost cost = run(target, kv::test::read_bytes(path));
        if (cost.seconds > slowest.seconds) slowest = cost;
        if (cost.memory > largest.memory) largest = cost;
    }
    if (with_cost) tell(paths.size(), slowest, largest);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const bool with_cost = argc > 1 && std::strcmp(argv[1], "--cost") == 0;
    const int first = with_cost ? 2 : 1;
    std::vector<std::string> paths;
    for (int i = first + 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            paths.emplace_back(argv[i]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    for (const auto& target : kTargets) {
        if (argc > first && std::strcmp(argv[first], target.name) == 0) return replay(target.run, paths, with_cost);
    }
    std::fputs("usage: fuzz_replay [--cost] TARGET PATH...\ntargets:", stderr);
    for (const auto& target : kTargets) std::fprintf(stderr, " %s", target.name);
    std::fputs("\n", stderr);
    return 2;
}
