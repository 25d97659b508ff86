// Finding and starting programs, and the mutex that one process at a time launches under.

#include "dispatch/launch.h"

#include <sys/stat.h>

#include <filesystem>

#include "dispatch/named_mutex.h"
#include "dispatch/open_security.h"
#include "dispatch/product_file.h"
#include "support/process_state.h"
#include "tests/common/scripted_dispatcher.h"
#include "tests/common/workspace.h"

namespace kv::test {
namespace {

namespace fs = std::filesystem;

struct LaunchTest : DispatchTest {
    static void put_file(const std::u16string& path) {
        const std::string host = host::host_path(path);
        fs::create_directories(fs::path(host).parent_path());
        write_file(host, "x");
    }
    static void set_location(HKEY root, const std::u16string& folder) {
        host::set_registry_string(root, u"Software\\Velmora Software\\Karvo12", u"InstallLocation", folder);
    }
    static std::u16string find(const WCHAR* name, BOOL found, const WCHAR* environment = u"Windows NT x86") {
        PathText path;
        EXPECT_EQ(FindProductFile(environment, name, path), found);
        return path.c_str();
    }
    // A program that writes its arguments to a file, one a line, and ends with a code.
    std::string make_script(const std::string& name, const std::string& last_line) {
        const std::string out = shared + "/arguments";
        const std::string path =
            write_file(shared + "/" + name, "#!/bin/sh\nprintf '%s\\n' \"$@\" > " + out + ".part\nmv " + out +
                                                ".part " + out + "\n" + last_line + "\n");
        chmod(path.c_str(), 0700);
        return path;
    }
    std::string arguments() const { return read_file(shared + "/arguments"); }
    void wait_for_arguments() const {
        for (int i = 0; i < 5000 && arguments().empty(); ++i) usleep(1000);
    }
    static std::u16string source_name(const std::u16string& executable) {
        host::machine().executable = executable;
        PathText name;
        make_source_name(name);
        return name.c_str();
    }
};

TEST_F(LaunchTest, LooksForProductFilesInTheirOrder) {
    const std::u16string drivers = u"C:\\Windows\\System32\\spool\\drivers\\W32X86\\3\\";
    EXPECT_EQ(find(u"https://x/y", TRUE), u"https://x/y");
    EXPECT_EQ(find(u"mailto:x", TRUE), u"mailto:x");
    EXPECT_EQ(find(u"", TRUE), drivers.substr(0, drivers.size() - 1));
    // Nowhere: below the driver directory, where the driver is, or else where the registry says.
    EXPECT_EQ(find(u"a.exe", FALSE), drivers + u"a.exe");
    EXPECT_EQ(find(u"a.exe", FALSE, u"Windows x64"), u"C:\\Program Files\\Karvo\\a.exe");
    fs::create_directories(host::host_path(drivers + u"a.exe"));  // a folder is no file
    set_location(HKEY_CURRENT_USER, u"C:\\User");
    put_file(u"C:\\User\\a.exe");
    EXPECT_EQ(find(u"a.exe", FALSE), drivers + u"a.exe");
    set_location(HKEY_LOCAL_MACHINE, u"");
    EXPECT_EQ(find(u"a.exe", TRUE), u"C:\\User\\a.exe");
    set_location(HKEY_LOCAL_MACHINE, u"C:\\Machine");
    put_file(u"C:\\Machine\\a.exe");
    EXPECT_EQ(find(u"a.exe", TRUE), u"C:\\Machine\\a.exe");
    fs::remove_all(host::host_path(drivers + u"a.exe"));
    put_file(drivers + u"a.exe");
    EXPECT_EQ(find(u"a.exe", TRUE), drivers + u"a.exe");
    EXPECT_EQ(find(u"a.exe", TRUE, u"Windows x64"), u"C:\\Machine\\a.exe");
    set_location(HKEY_LOCAL_MACHINE, u"C:\\Elsewhere");
    EXPECT_EQ(find(u"a.exe", TRUE, u"Windows x64"), drivers + u"a.exe");  // beside the driver
    EXPECT_EQ(find(u"C:\\Machine\\a.exe", TRUE), u"C:\\Machine\\a.exe");
    fs::remove_all(host::host_path(u"C:\\Windows\\System32"));
}

TEST_F(LaunchTest, SaysWhoStartsTheDispatcher) {
    EXPECT_EQ(source_name(u"C:\\Office 9\\my word.exe"), u"my_word!kvgraph12!CDispatcher::StartDoc");
    EXPECT_EQ(source_name(u"C:\\KVGRAPH12.EXE"), u"KVGRAPH12!CDispatcher::StartDoc");
    EXPECT_EQ(source_name(u"C:\\" + std::u16string(255, 'x')).size(), 259u);
}

TEST_F(LaunchTest, StartsTheDispatcherOfTheSession) {
    host::machine().executable = u"C:\\my app.exe";
    host::machine().session = 0;
    host::machine().user = u"SYSTEM";
    host::machine().console_session = 12;
    install(make_script("kvdisp12", ""));
    CommandLine line;
    GetDispatcherCommandLine(u"/x", line);
    EXPECT_EQ(std::u16string(line.c_str()), u"\"C:\\Program Files\\Karvo\\kvdisp12.exe\" /x");
    GetDispatcherCommandLine(u"", line);
    EXPECT_EQ(std::u16string(line.c_str()), u"C:\\Program Files\\Karvo\\kvdisp12.exe");
    host::at_virtual_time(3000, [&] {
        wait_for_arguments();
        serve({12, {}, {}});
    });
    ASSERT_TRUE(print(7, ED_ABORTDOC));
    EXPECT_EQ(arguments(),
              "/source=my_app!kvgraph12!CDispatcher::StartDoc\n/session=12\n/job=7\n/autoexit=1\n"
              "/housekeeping=minimal\n");
}

TEST_F(LaunchTest, OnlyStartsADispatcherBeforeTheDocument) {
    install(make_script("kvdisp12", ""));
    CDispatcher link(u"Dispatcher", u"Disp");
    EXPECT_TRUE(PrepareDispatcher(link, u"x!DOCUMENTEVENT_STARTDOCPRE", 1, 0xFFFFFFFF, -1));
    EXPECT_LT(virtual_time(), 100u);
    wait_for_arguments();
    EXPECT_EQ(arguments(), "/source=x!DOCUMENTEVENT_STARTDOCPRE\n/job=1\n/autoexit=1\n/housekeeping=none\n");
}

// Of the 255 units all but the source's name must stand, and 49 and the blank before them do here.
TEST_F(LaunchTest, CutsASourceNameThatIsTooLong) {
    for (const auto& [length, kept] : {std::pair{171, 171}, {172, 172}, {173, 172}, {220, 172}}) {
        install(make_script("kvdisp12", ""));
        const std::u16string name = u"DOCUMENTEVENT_STARTDOCPRE" + std::u16string(static_cast<size_t>(length), u'x');
        CDispatcher link(u"Dispatcher", u"Disp");
        EXPECT_TRUE(PrepareDispatcher(link, name.c_str(), 1, 12, -1));
        wait_for_arguments();
        EXPECT_EQ(arguments(), "/source=DOCUMENTEVENT_STARTDOCPRE" + std::string(static_cast<size_t>(kept), 'x') +
                                   "\n/session=12\n/job=1\n/autoexit=1\n/housekeeping=none\n");
        fs::remove(shared + "/arguments");
    }
}

TEST_F(LaunchTest, TriesThreeTimesToCreateAProcess) {
    install(write_file(shared + "/no-program", "x"));
    host::set_call_log(true);
    EXPECT_FALSE(print());
    const auto& log = host::call_log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "CreateProcessW"), 3);
    EXPECT_EQ(std::count(host::sleeps().begin(), host::sleeps().end(), 3000u), 2);
    EXPECT_EQ(messages(), std::vector<std::u16string>{u"PrepareDispatcher was unable to launch the dispatcher."});
    EXPECT_TRUE(temporary_files().empty());
    RunOptions loud;
    EXPECT_FALSE(RunProcess(u"C:\\missing.exe", loud, nullptr));
    EXPECT_EQ(messages().back(), u"CreateProcess: The file was not found.");
}

TEST_F(LaunchTest, WaitsForAProcess) {
    host::use_real_clock();
    host::map_file(u"C:\\tools\\my tool.exe", make_script("tool", "exit 37"));
    RunOptions options;
    options.wait = true;
    DWORD code = 0;
    ASSERT_TRUE(
        RunProcess(u"\"C:\\tools\\my tool.exe\" a \"b c\"\"d\" e\\\\f \\\"g\\\\\\\"h \"i\\\\\" \"\"", options, &code));
    EXPECT_EQ(code, 37u);
    EXPECT_EQ(arguments(), "a\nb cd\ne\\\\f\n\"g\\\"h\ni\\\n\n");
    // Without quotes the program ends at the blank that makes it one.
    ASSERT_TRUE(RunProcess(u"C:\\tools\\my tool.exe  z", options, &code));
    EXPECT_EQ(arguments(), "z\n");
    ASSERT_TRUE(LaunchDispatcher(u"/RunOnce"));  // as it waits, the process has ended

    host::use_virtual_clock(0);
    host::map_file(u"C:\\tools\\sleep.exe", "/bin/sleep");
    options.timeout = 10000;
    constexpr uint32_t kUserMessage = 0x0400;
    host::at_virtual_time(4000, [] { host::post_message(kUserMessage); });  // a message is no reason to stop waiting
    ASSERT_TRUE(RunProcess(u"C:\\tools\\sleep.exe 0.2", options, &code));
    EXPECT_EQ(code, DWORD{STILL_ACTIVE});
    EXPECT_EQ(GetTickCount(), 10000u);
    PostQuitMessage(5);
    ASSERT_TRUE(RunProcess(u"C:\\tools\\sleep.exe 0.2", options, &code));
    EXPECT_EQ(GetTickCount(), 10000u);
    MSG message;
    ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    EXPECT_TRUE(message.message == WM_QUIT && message.wParam == 5);
}

TEST_F(LaunchTest, TheMutexIsTheThreadsAndTheProcesss) {
    constexpr const WCHAR* kName = u"Local\\KV12_test";
    MutexProbe other(kName);
    {
        CNamedMutex mutex(kName), again(kName);
        EXPECT_FALSE(mutex.Release());
        ASSERT_TRUE(mutex.Acquire(0) && mutex.Acquire(0) && again.Acquire(0));
        EXPECT_FALSE(other.can_take());
        EXPECT_TRUE(again.Release() && mutex.Release());
        EXPECT_FALSE(other.can_take());
        EXPECT_TRUE(mutex.Release());
        EXPECT_FALSE(mutex.Release());
        EXPECT_TRUE(other.can_take());
        EXPECT_TRUE(mutex.Acquire(0) && mutex.Acquire(0));
    }
    EXPECT_TRUE(other.can_take());  // given up with its object
    other.take_and_die();
    CNamedMutex abandoned(kName);
    EXPECT_TRUE(abandoned.Acquire(0));
}

TEST_F(LaunchTest, EveryoneMayOpenTheMutex) {
    for (int level : {4, 5}) {
        process_state().os_level = level;
        OpenSecurity security;
        ASSERT_TRUE(security.attributes() && security.attributes()->bInheritHandle);
        BOOL present = FALSE, defaulted = FALSE;
        PACL list = nullptr;
        GetSecurityDescriptorSacl(security.attributes()->lpSecurityDescriptor, &present, &list, &defaulted);
        EXPECT_EQ(present != FALSE, level >= 5);
    }
}

}  // namespace
}  // namespace kv::test
