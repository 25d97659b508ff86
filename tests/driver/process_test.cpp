// What the DLL sets up when a process loads it.

#include "driver/process.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/host/control.h"
#include "support/process_state.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

namespace kv {
namespace {

const std::u16string kFolder = u"C:\\Windows\\System32\\spool\\drivers\\W32X86\\3";
const std::u16string kProductKey = u"Software\\Velmora Software\\Karvo12";

class ProcessTest : public testing::Test {
protected:
    void SetUp() override {
        host::reset_all();
        host::set_messages_quiet(true);
        std::filesystem::create_directories(host::host_path(kFolder));
        before_ = host::live_objects();
    }
    void TearDown() override {
        host::clear_failures();
        EXPECT_EQ(host::live_objects(), before_);
        for (const char* folder : {"Windows/Temp", "Windows/System32/spool/drivers/W32X86/3"}) {
            for (const auto& file : std::filesystem::directory_iterator(host::host_path(u"C:") + "/" + folder)) {
                std::filesystem::remove(file);
            }
        }
    }

    static BOOL attach() { return DllMain(host::driver_module(), DLL_PROCESS_ATTACH, nullptr); }
    static void detach() { EXPECT_TRUE(DllMain(host::driver_module(), DLL_PROCESS_DETACH, nullptr)); }
    static void put_file(const std::u16string& path) { std::ofstream(host::host_path(path)) << "library"; }
    static HMODULE put_library(const std::u16string& path, uint32_t version_low) {
        put_file(path);
        host::Module library;
        library.path = path;
        library.language = 0x0407;
        library.strings = {{10060, u"290"}, {12149, u"Karvo"}};  // 290 is 0x122
        library.version_low = version_low;
        return host::register_module(library);
    }

    host::LiveObjects before_{};
};

TEST_F(ProcessTest, ReadsTheLocaleAndTheProcessor) {
    struct {
        std::u16string paper;
        WORD default_paper, default_units;
    } papers[] = {{u"1", DMPAPER_LETTER, 1}, {u"9", DMPAPER_A4, 2}, {u"5", DMPAPER_A4, 2}, {u"", DMPAPER_LETTER, 1}};
    for (const auto& test : papers) {  // the last one cannot be read
        host::machine().paper_size = test.paper;
        ProcessState state;
        read_system(state);
        EXPECT_EQ(state.default_paper, test.default_paper);
        EXPECT_EQ(state.default_units, test.default_units);
        EXPECT_EQ(state.default_language, 0x0409);
        EXPECT_TRUE(state.clipboard_file && state.clipboard_note && state.clipboard_metadata);
    }
    struct {
        uint16_t processor;
        std::u16string environment;
    } processors[] = {{0, u"Windows NT x86"}, {9, u"Windows x64"}, {12, u"Windows ARM64"}};
    for (const auto& test : processors) {
        host::machine().architecture = test.processor;
        ProcessState state;
        read_system(state);
        EXPECT_EQ(state.print_environment, test.environment);
    }
}

TEST_F(ProcessTest, FallsBackToItsOwnTexts) {
    const ProcessState& state = process_state();
    ASSERT_TRUE(attach());
    EXPECT_EQ(state.resource_module, host::driver_module());
    EXPECT_EQ(state.header_byte, 12);
    EXPECT_EQ(state.dispatcher_name.c_str(), std::u16string(u"Karvo Dispatcher"));
    ASSERT_EQ(host::messages().size(), 1u);
    EXPECT_EQ(host::messages()[0].text, u"Could not find resource DLL kvres1232.dll.");
    detach();
    EXPECT_EQ(state.resource_module, nullptr);

    put_file(kFolder + u"\\kvres1232.dll");  // no library at all
    ASSERT_TRUE(attach());
    EXPECT_EQ(state.resource_module, host::driver_module());
    EXPECT_EQ(host::messages().back().text, u"Could not load resource DLL " + kFolder + u"\\kvres1232.dll.");
    detach();

    host::driver_resources().strings.erase(12149);
    EXPECT_FALSE(attach());
}

TEST_F(ProcessTest, TakesTheLibraryOfItsOwnVersion) {
    const HMODULE library = put_library(kFolder + u"\\kvres1232.dll", 0);
    ASSERT_TRUE(attach());
    EXPECT_EQ(process_state().resource_module, library);
    EXPECT_EQ(process_state().resource_language, 0x0407);
    EXPECT_EQ(process_state().header_byte, 0x22);
    EXPECT_TRUE(host::messages().empty());
    detach();
    EXPECT_FALSE(FreeLibrary(library)) << "it was let go";
}

TEST_F(ProcessTest, CopiesTheLibraryOfAnotherVersion) {
    const HMODULE library = put_library(kFolder + u"\\kvres1232.dll", 1);
    ASSERT_TRUE(attach());
    EXPECT_NE(process_state().resource_module, library);
    EXPECT_FALSE(FreeLibrary(library));
    EXPECT_EQ(process_state().header_byte, 0x22);
    const auto& doomed = host::files_deleted_at_restart();
    ASSERT_EQ(doomed.size(), 1u);
    EXPECT_TRUE(doomed[0].starts_with(u"C:\\Windows\\Temp\\~KV"));
    detach();
}

TEST_F(ProcessTest, PrefersTheLibraryThatTheRegistryNames) {
    put_library(kFolder + u"\\kvres1232.dll", 0);
    const HMODULE named = put_library(u"C:\\Windows\\Temp\\german.dll", 0);
    host::set_registry_string(HKEY_CURRENT_USER, kProductKey, u"ResourceLibrary0409", u"C:\\Windows\\Temp\\german.dll");
    ASSERT_TRUE(attach());
    EXPECT_EQ(process_state().resource_module, named);
    detach();
}

TEST_F(ProcessTest, CombinesTheMachinesAndTheUsersSettings) {
    host::set_registry_dword(HKEY_LOCAL_MACHINE, kProductKey, u"Compatibility", 0x11);
    host::set_registry_dword(HKEY_CURRENT_USER, kProductKey, u"Compatibility", 0x12);
    ASSERT_TRUE(attach());
    EXPECT_EQ(process_state().compatibility, 0x13u);
    detach();
}

// The driver loads with its own texts whatever else fails, and holds nothing once it is let go.
TEST_F(ProcessTest, SurvivesEachFailingCall) {
    put_library(kFolder + u"\\kvres1232.dll", 1);
    for (int kind = 0; kind < static_cast<int>(host::CallKind::Count); ++kind) {
        for (uint64_t call = 1;; ++call) {
            host::fail_call(static_cast<host::CallKind>(kind), call);
            EXPECT_TRUE(attach()) << host::failed_function();
            const bool reached = !host::failed_function().empty();
            host::clear_failures();
            detach();
            EXPECT_EQ(host::live_objects(), before_);
            if (!reached) break;
        }
    }
}

}  // namespace
}  // namespace kv
