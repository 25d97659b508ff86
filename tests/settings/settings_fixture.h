#pragma once
// A machine whose default paper is A4 and whose units are millimetres, and what tests put into its registry.

#include <vector>

#include "settings/device_mode.h"
#include "support/process_state.h"
#include "tests/common/host_test.h"

namespace kv::test {

using Text = std::u16string;
inline const Text kProduct = u"Software\\Velmora Software\\Karvo12";
inline const Text kPrinter = kProduct + u"\\KarvoPrinters\\P";
// Of the machine, in the view that programs of both widths have of a printer's key.
inline const Text kPrinter32 = u"Software\\WOW6432Node\\Velmora Software\\Karvo12\\KarvoPrinters\\P";

class SettingsTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        process_state().default_paper = DMPAPER_A4;
        process_state().default_units = process_state().private_units = 2;
    }
    static void custom_paper(const Text& name, uint32_t id, uint32_t width, uint32_t height, uint32_t units) {
        const Text key = kProduct + u"\\CustomPapers\\" + name;
        const std::pair<const WCHAR*, uint32_t> values[] = {{u"ID", id}, {u"Units", units}};
        host::set_registry_dword(HKEY_CURRENT_USER, key, u"Width", width);
        host::set_registry_dword(HKEY_CURRENT_USER, key, u"Height", height);
        for (const auto& [value, number] : values) {
            if (number) host::set_registry_dword(HKEY_CURRENT_USER, key, value, number);
        }
    }
    static DriverDevMode defaults() {
        DriverDevMode mode;
        InitDefaultDevMode(u"P", mode);
        return mode;
    }
    static std::vector<uint8_t> bytes(const DriverDevMode& mode) {
        auto* data = reinterpret_cast<const uint8_t*>(&mode);
        return {data, data + sizeof mode};
    }
};

}  // namespace kv::test
