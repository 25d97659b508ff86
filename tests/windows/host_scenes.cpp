// host_scenes FOLDER FONT COMPRESSION FIRST LAST: prints made-up documents with the host's build, each into a file of
// the folder named after its title.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/host/control.h"
#include "tests/scenes/scene.h"

int main(int count, char** arguments) {
    if (count != 6) return 2;
    using namespace kv;
    const std::string folder = arguments[1];
    const auto compression = static_cast<WORD>(std::strtoul(arguments[3], nullptr, 0));
    host::reset_all();
    host::set_messages_quiet(true);
    host::machine().executable = u"C:\\scenes\\print_scenes.exe";
    host::set_registry_dword(HKEY_CURRENT_USER, u"Software\\Velmora Software\\Karvo12", u"EmbedFonts", 1);
    engine::Driver driver;
    const auto font = engine::FontFile::load(arguments[2]);
    const auto last = static_cast<uint32_t>(std::atoi(arguments[5]));
    for (auto seed = static_cast<uint32_t>(std::atoi(arguments[4])); seed <= last; ++seed) {
        host::Printer to_file;
        to_file.name = u"P";
        to_file.port = u"FILE:";
        const std::string path = folder + "/Scene " + std::to_string(seed) + ".kv";
        to_file.output_descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        const HANDLE printer = host::open_printer(to_file);
        DriverDevMode mode = scenes::device_mode(compression);
        bool printed;
        {
            engine::Device device(driver, printer, &mode, u"P");
            printed = device.is_open() && scenes::print_document(device, seed, compression, font);
        }
        host::close_printer(printer);
        close(to_file.output_descriptor);
        if (!printed) {
            std::fprintf(stderr, "host_scenes: seed %u was not printed\n", seed);
            return 1;
        }
    }
    return 0;
}
