// What the DLL sets up when a process loads it.

#include "driver/process.h"

#include <filesystem>

#include "support/paths.h"
#include "support/process_state.h"
#include "support/product.h"
#include "tests/common/host_test.h"
#include "tests/common/workspace.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

namespace kv::test {
namespace {

const std::u16string kFolder = u"C:\\Windows\\System32\\spool\\drivers\\W32X86\\3";
const std::u16string kProductKey = u"Software\\Velmora Software\\Karvo12";

class ProcessTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        std::filesystem::create_directories(host::host_path(kFolder));
    }
    void TearDown() override {
        HostTest::TearDown();
        for (const std::u16string& folder : {std::u16string(u"C:\\Windows\\Temp"), kFolder}) {
            for (const auto& file : std::filesystem::directory_iterator(host::host_path(folder))) {
                std::filesystem::remove(file);
            }
        }
    }

    static BOOL attach() { return DllMain(host::driver_module(), DLL_PROCESS_ATTACH, nullptr); }
    static void detach() { EXPECT_TRUE(DllMain(host::driver_module(), DLL_PROCESS_DETACH, nullptr)); }
    static HMODULE put_library(const std::u16string& path, uint32_t version_low) {
        write_file(host::host_path(path), "library");
        host::Module library;
        library.path = path;
        library.language = 0x0407;
        library.strings = {{10060, u"290"}, {12149, u"Karvo"}};  // 290 is 0x122
        library.version_low = version_low;
        return host::register_module(library);
    }
    static inline const std::u16string kLibrary = kFolder + u"\\kvres1232.dll";
};

TEST_F(ProcessTest, ReadsTheLocaleAndTheProcessor) {
    const std::tuple<std::u16string, WORD, WORD, WORD> papers[] = {{u"1", DMPAPER_LETTER, 1, 1},
                                                                   {u"9", DMPAPER_A4, 2, 2},
                                                                   {u"8", DMPAPER_A4, 2, 2},
                                                                   {u"5", DMPAPER_A4, 2, 1},
                                                                   // cannot be read
                                                                   {u"", DMPAPER_LETTER, 1, 1}};
    for (const auto& [paper, default_paper, units, private_units] : papers) {
        host::machine().paper_size = paper;
        ProcessState state;
        read_system(state);
        EXPECT_TRUE(state.default_paper == default_paper && state.default_units == units);
        EXPECT_EQ(state.private_units, private_units);
        EXPECT_EQ(state.default_language, 0x0409);
        EXPECT_TRUE(state.clipboard_file && state.clipboard_note && state.clipboard_metadata);
    }
    const std::pair<uint16_t, std::u16string> processors[] = {
        {0, u"Windows NT x86"}, {9, u"Windows x64"}, {12, u"Windows ARM64"}};
    for (const auto& [processor, environment] : processors) {
        host::machine().architecture = processor;
        ProcessState state;
        read_system(state);
        EXPECT_EQ(state.print_environment, environment);
    }
}

TEST_F(ProcessTest, FallsBackToItsOwnTexts) {
    const ProcessState& state = process_state();
    ASSERT_TRUE(attach());
    EXPECT_EQ(state.resource_module, host::driver_module());
    EXPECT_EQ(state.header_byte, 12);
    EXPECT_EQ(state.dispatcher_name.c_str(), std::u16string(u"Karvo Dispatcher"));
    EXPECT_EQ(shown(), std::vector<std::u16string>{u"Could not find resource DLL kvres1232.dll."});
    detach();
    EXPECT_EQ(state.resource_module, nullptr);

    write_file(host::host_path(kLibrary), "");  // no library at all
    ASSERT_TRUE(attach());
    EXPECT_EQ(state.resource_module, host::driver_module());
    EXPECT_EQ(shown().back(), u"Could not load resource DLL " + kLibrary + u".");
    detach();

    host::driver_resources().strings.erase(12149);
    EXPECT_FALSE(attach());
}

TEST_F(ProcessTest, TakesTheLibraryOfItsOwnVersion) {
    const HMODULE library = put_library(kLibrary, 0);
    for (uint32_t major : {10u, 5u}) {  // Windows 10 and XP
        host::machine().major = major;
        ASSERT_TRUE(attach());
        EXPECT_EQ(process_state().resource_module, library) << major;
        EXPECT_EQ(process_state().resource_language, 0x0407);
        EXPECT_EQ(process_state().header_byte, 0x22);
        EXPECT_TRUE(shown().empty());
        detach();
        EXPECT_FALSE(FreeLibrary(library)) << "it was let go";
    }
    EXPECT_FALSE(host::module_of(library).run_as_code);
}

TEST_F(ProcessTest, CopiesTheLibraryOfAnotherVersion) {
    const HMODULE library = put_library(kLibrary, 1);
    ASSERT_TRUE(attach());
    EXPECT_NE(process_state().resource_module, library);
    EXPECT_FALSE(FreeLibrary(library));
    EXPECT_EQ(process_state().header_byte, 0x22);
    const auto& doomed = host::files_deleted_at_restart();
    ASSERT_EQ(doomed.size(), 1u);
    EXPECT_TRUE(doomed[0].starts_with(u"C:\\Windows\\Temp\\~KV") && FileExists(doomed[0].c_str()));
    detach();
    EXPECT_FALSE(FileExists(doomed[0].c_str()));
}

TEST_F(ProcessTest, PrefersTheLibraryThatTheRegistryNames) {
    const HMODULE own = put_library(kLibrary, 0), beside = put_library(kFolder + u"\\german.dll", 0),
                  elsewhere = put_library(u"C:\\Windows\\Temp\\german.dll", 0);
    const std::tuple<const WCHAR*, const WCHAR*, HMODULE> cases[] = {
        // what the user and the machine name
        {u"C:\\Windows\\Temp\\german.dll", u"german.dll", elsewhere},
        {u"german.dll", u"", beside},
        {u"C:\\gone.dll", u"german.dll", beside},
        {u"gone.dll", u"C:\\gone.dll", own}};
    for (const auto& [user, machine, taken] : cases) {
        host::set_registry_string(HKEY_CURRENT_USER, kProductKey, u"ResourceLibrary0409", user);
        host::set_registry_string(HKEY_LOCAL_MACHINE, kProductKey, u"ResourceLibrary0409", machine);
        ASSERT_TRUE(attach());
        EXPECT_EQ(process_state().resource_module, taken);
        detach();
    }
    EXPECT_TRUE(shown().empty());
    for (HMODULE library : {own, beside, elsewhere}) EXPECT_FALSE(host::module_of(library).run_as_code);
}

TEST_F(ProcessTest, SaysNothingWhenSilent) {
    host::set_registry_dword(HKEY_CURRENT_USER, kProductKey, u"Silent", 1);
    ASSERT_TRUE(attach());
    EXPECT_EQ(process_state().resource_module, host::driver_module());
    EXPECT_TRUE(shown().empty());
    detach();
    process_state().silent = 0;
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
    put_library(kLibrary, 1);
    using enum host::CallKind;
    fail_each_call({Allocation, File, Registry, Process}, [](const Failed& failed) {
        const BOOL attached = attach();
        EXPECT_TRUE(attached) << failed();
        failed();
        detach();
    });
}

}  // namespace
}  // namespace kv::test
