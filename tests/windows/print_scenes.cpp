// print_scenes FONT COMPRESSION FIRST LAST [GATE]: prints made-up documents with the DLL; its dispatcher gets the jobs.
// With a gate it says "ready" and waits until a file of that name exists.

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tests/scenes/scene.h"

namespace {

void wait_at(const char* gate) {
    std::puts("ready");
    std::fflush(stdout);
    while (!std::filesystem::exists(gate)) Sleep(1);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 5 && count != 6) return 2;
    using namespace kv;
    const auto compression = static_cast<WORD>(std::strtoul(arguments[2], nullptr, 0));
    engine::Driver driver;
    const auto font = engine::FontFile::load(arguments[1]);
    if (count == 6) wait_at(arguments[5]);
    const auto last = static_cast<uint32_t>(std::atoi(arguments[4]));
    for (auto seed = static_cast<uint32_t>(std::atoi(arguments[3])); seed <= last; ++seed) {
        DriverDevMode mode = scenes::device_mode(compression);
        engine::Device device(driver, nullptr, &mode, TEXT("P"));
        if (!device.is_open() || !scenes::print_document(device, seed, compression, font)) {
            std::fprintf(stderr, "print_scenes: seed %u was not printed\n", seed);
            return 1;
        }
    }
    return 0;
}
