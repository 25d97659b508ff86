// Reaching the dispatcher and the messages to it: budgets on the virtual clock, bytes derived by hand.

#include "dispatch/pipe.h"
#include "dispatch/session_choice.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "tests/common/scripted_dispatcher.h"

namespace kv::test {
namespace {

const std::u16string kCannotLaunch = u"PrepareDispatcher was unable to launch the dispatcher.";
const std::u16string kCannotReach = u"CDispatcher::StartDoc could not communicate with the dispatcher.";

constexpr const WCHAR* kLaunchMutex = u"Local\\KV12_LocalMutex_LaunchDisp";

using Codes = std::vector<DWORD>;

struct ChannelTest : DispatchTest {
    // A process that holds the launch mutex.
    static std::unique_ptr<OtherProcess> launching_process() {
        return std::make_unique<OtherProcess>([](int socket) {
            HANDLE mutex = CreateMutexW(nullptr, FALSE, kLaunchMutex);
            if (WaitForSingleObject(mutex, 0) != WAIT_OBJECT_0) return;
            OtherProcess::send(socket, OtherProcess::kReady);
            pause();
        });
    }
    static size_t launches() {
        const auto& log = host::call_log();
        return static_cast<size_t>(std::count(log.begin(), log.end(), "CreateProcessW"));
    }
};

TEST_F(ChannelTest, SaysWhatTheFormatSays) {
    serve();
    open_device();
    set(u"ShowDlg", 0x0102);  // after the device was opened
    set(u"KvAction", 0xC003);
    ASSERT_TRUE(device->start_document(u"Visio-Title", 7));
    ASSERT_TRUE(device->start_page() && device->send_page());
    ASSERT_TRUE(device->end_document());
    auto messages = dispatcher->received();
    ASSERT_EQ(messages.size(), 2u);
    // Code, format, job, family and product number, ShowDlg, KvAction; then three texts.
    const std::string start =
        "01000000 0200040C 07000000 0100 0100 02010000 03C0"
        "5400 6900 7400 6C00 6500 0000"
        "5000 0000"
        "6B00 7600 7500 6900 3100 3200 2E00 6400 6C00 6C00 0000";
    EXPECT_EQ(to_hex(messages[0]), to_hex(from_hex(start)));
    const std::u16string path = text_at(messages[1], 20);
    EXPECT_TRUE(path.starts_with(u"C:\\Windows\\Temp\\~KV") && path.ends_with(u".kv"));
    Bytes end = from_hex("02000000 0200040C 07000000 01000000 01000000");
    const Bytes text = utf16(path);
    end.insert(end.end(), text.begin(), text.end());
    EXPECT_EQ(to_hex(messages[1]), to_hex(end));
    ASSERT_TRUE(DeleteFileW(path.c_str()));

    dispatcher.reset();
    serve();
    ASSERT_TRUE(device->start_document(u"", 0x01020304));
    EXPECT_TRUE(device->end_document(ED_ABORTDOC));
    messages = dispatcher->received();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(to_hex(Bytes(messages[0].begin() + 22, messages[0].begin() + 26)), "00 00 50 00 ");  // no name, then "P"
    EXPECT_EQ(to_hex(messages[1]), "03 00 00 00 04 03 02 01 ");
}

TEST_F(ChannelTest, TheDispatchersIdStandsInForTheSpoolers) {
    serve();
    ASSERT_TRUE(print(0));
    auto messages = dispatcher->received();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(to_hex(Bytes(messages[0].begin() + 8, messages[0].begin() + 12)), "00 00 00 00 ");
    EXPECT_EQ(to_hex(Bytes(messages[1].begin() + 8, messages[1].begin() + 12)), "2A 00 00 00 ");
    ASSERT_TRUE(DeleteFileW(text_at(messages[1], 20).c_str()));
    dispatcher.reset();
    serve();
    ASSERT_TRUE(print(0, ED_ABORTDOC));
    EXPECT_EQ(to_hex(dispatcher->received().at(1)), "03 00 00 00 2A 00 00 00 ");
}

// A reply may have fewer bytes than a number, not more.
TEST_F(ChannelTest, TakesRepliesUpToFourBytes) {
    const std::pair<const char*, bool> cases[] = {{"00000000", false}, {"00000001", true}, {"0000", false},
                                                  {"", false},         {"01", true},       {"0100000000", false}};
    for (const auto& [reply, accepted] : cases) {
        dispatcher.reset();
        serve({1, {{kDispatchStartDoc, from_hex(reply)}}, {}});
        EXPECT_EQ(print(7, ED_ABORTDOC), accepted) << reply;
        EXPECT_EQ(codes(), accepted ? Codes({1, 3}) : Codes({1})) << reply;
        EXPECT_TRUE(temporary_files().empty());
    }
    EXPECT_TRUE(messages().empty());
}

// When a dispatcher is there, in milliseconds: who runs is not started, who comes up behind the first look of 50 ms is
// prepared, and who starts has thirty seconds.
TEST_F(ChannelTest, FindsTheDispatcherThatRunsComesUpOrStarts) {
    const std::tuple<DWORD, size_t, Codes> cases[] = {{0, 0, {1, 3}}, {75, 0, {205, 1, 3}}, {25000, 1, {1, 3}}};
    for (const auto& [up, started, told] : cases) {
        dispatcher.reset();
        close_device();
        host::set_call_log(true);
        const size_t earlier = launches();
        const DWORD start = virtual_time();
        up ? host::at_virtual_time(up, [&] { serve(); }) : serve();
        ASSERT_TRUE(print(7, ED_ABORTDOC)) << up;
        EXPECT_EQ(launches() - earlier, started) << up;
        EXPECT_EQ(codes(), told) << up;
        EXPECT_LT(virtual_time() - start, up + (up ? 100 : 1));
    }
    EXPECT_TRUE(messages().empty());
}

TEST_F(ChannelTest, GivesUpADispatcherThatStartsTooSlowly) {
    MutexProbe other(kLaunchMutex);
    bool others_may_launch = false;
    host::set_while_message_open([&] { others_may_launch = other.can_take(); });
    host::at_virtual_time(31000, [&] { serve(); });
    open_device();
    EXPECT_FALSE(device->start_document(u"Title", 7));
    EXPECT_EQ(messages(), std::vector{kCannotLaunch});
    EXPECT_TRUE(others_may_launch);
    host::set_while_message_open({});
    EXPECT_GT(virtual_time(), 30000u);
    EXPECT_LT(virtual_time(), 31000u);
    EXPECT_TRUE(device->end_document());
    EXPECT_TRUE(temporary_files().empty());
    // The next document of the device reaches the one that came too late.
    host::advance_clock(1000);
    ASSERT_TRUE(print(7, ED_ABORTDOC));
    EXPECT_EQ(codes(), Codes({1, 3}));
}

// The settings are those from before the wait.
TEST_F(ChannelTest, KnowsWhatToSayBeforeItLooksForTheDispatcher) {
    set(u"ShowDlg", 0x0102);
    host::at_virtual_time(10000, [&] { set(u"ShowDlg", 0x0304); });
    host::at_virtual_time(25000, [&] { serve(); });
    ASSERT_TRUE(print(7, ED_ABORTDOC));
    auto received = dispatcher->received();
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(to_hex(Bytes(received[0].begin() + 16, received[0].begin() + 20)), "02 01 00 00 ");

    // Without memory for it nobody is asked. This name needs a block of its own.
    DriverDevMode settings;
    InitDefaultDevMode(u"P", settings);
    const std::u16string name(2000, u'n');
    for (uint64_t call = 1; call < 100 && !host::failed_function().starts_with("Global"); ++call) {
        host::clear_failures();
        host::fail_call(host::CallKind::Allocation, call);
        const BOOL started = CDispatcher(u"Dispatcher", u"Disp").StartDoc({printer, u"P", settings, 7, name.c_str()});
        EXPECT_EQ(started, host::calls_made(host::CallKind::Pipe) > 0);
    }
    EXPECT_EQ(host::failed_function(), "GlobalAlloc");
}

TEST_F(ChannelTest, OneProcessLaunchesAndTheOthersWait) {
    auto other = launching_process();
    host::set_call_log(true);
    host::at_virtual_time(25000, [&] { serve(); });
    ASSERT_TRUE(print(7, ED_ABORTDOC));
    EXPECT_EQ(codes(), Codes({1, 3}));
    dispatcher.reset();

    const DWORD start = virtual_time();
    EXPECT_FALSE(print());
    EXPECT_EQ(messages(), std::vector{kCannotReach});
    EXPECT_GT(virtual_time() - start, 30000u);
    EXPECT_LT(virtual_time() - start, 31200u);
    EXPECT_EQ(launches(), 0u);

    // A launching process that dies leaves the mutex to the next one.
    other->kill();
    EXPECT_FALSE(print());
    EXPECT_EQ(launches(), 1u);
    EXPECT_EQ(messages().back(), kCannotLaunch);
}

TEST_F(ChannelTest, RetriesABusyPipe) {
    serve();
    const auto* name = u"\\\\.\\pipe\\KV12_Dispatcher_00000001";
    HANDLE other_client = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(other_client, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(print());
    EXPECT_GT(virtual_time(), 30000u);
    EXPECT_LT(virtual_time(), 32000u);
    EXPECT_EQ(messages(), std::vector{kCannotLaunch});
    EXPECT_TRUE(temporary_files().empty());

    const DWORD start = virtual_time();
    EXPECT_EQ(OpenDispatcherPipe(name, 1000), nullptr);
    EXPECT_EQ(virtual_time() - start, 1040u);  // four slices of a quarter, with 10 ms of rest behind each

    host::at_virtual_time(20000, [&] {
        CloseHandle(other_client);
        for (int i = 0; i < 5000 && !WaitNamedPipeW(name, 1); ++i) usleep(1000);  // the other process notices it
    });
    EXPECT_TRUE(print(7, ED_ABORTDOC));
    EXPECT_EQ(codes(), Codes({1, 3}));
}

TEST_F(ChannelTest, AnErrorOtherThanBusyEndsATry) {
    serve();
    const auto* name = u"\\\\.\\pipe\\KV12_Dispatcher_00000001";
    host::fail_call(host::CallKind::Pipe, 2);  // behind WaitNamedPipeW, the opening
    EXPECT_EQ(OpenDispatcherPipe(name, 1000), nullptr);
    EXPECT_EQ(virtual_time(), 0u);
    HANDLE pipe = nullptr;
    // The longer loop tries again, but a budget of 0 means once.
    host::fail_call(host::CallKind::Pipe, 2);
    EXPECT_TRUE(WaitForDispatcher(u"Dispatcher", 1, 1000, &pipe));
    CloseHandle(pipe);
    dispatcher.reset();
    EXPECT_EQ(virtual_time(), 10u);
    EXPECT_FALSE(WaitForDispatcher(u"Dispatcher", 1, 0, &pipe));
    EXPECT_EQ(virtual_time(), 20u);
    EXPECT_FALSE(WaitForDispatcher(u"Dispatcher", 1, INFINITE, &pipe));
    EXPECT_GT(virtual_time(), 10000u);
    EXPECT_LT(virtual_time(), 11100u);
}

TEST_F(ChannelTest, RestsBetweenItsTriesAtAPipeThatDeniesAccess) {
    serve();
    host::machine().pipes_deny_access = true;
    host::set_call_log(true);
    HANDLE pipe = nullptr;
    EXPECT_FALSE(WaitForDispatcher(u"Dispatcher", 1, 3000, &pipe));
    const auto& log = host::call_log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "CreateFileW"), 302);  // every 10 ms, until 3000 have passed
    EXPECT_EQ(virtual_time(), 3010u);
}

TEST_F(ChannelTest, WithoutLeaveToLaunchItWaitsASecond) {
    DriverDevMode settings;
    InitDefaultDevMode(u"P", settings);
    CDispatcher link(u"Dispatcher", u"Disp");
    host::set_call_log(true);
    EXPECT_FALSE(link.StartDoc({printer, u"P", settings, 7, nullptr}, false));
    EXPECT_EQ(messages(), std::vector{kCannotReach});
    EXPECT_GT(virtual_time(), 1000u);
    EXPECT_LT(virtual_time(), 1100u);
    EXPECT_EQ(launches(), 0u);
    EXPECT_EQ(SendDispatch(kDispatchPrepare, {}, {}, link), kDispatchNotConnected);
    EXPECT_EQ(messages().back(), u"SendDispatch failed.");
    EXPECT_TRUE(link.EndDoc(u"C:\\x.kv"));  // no job is open
    serve();
    EXPECT_TRUE(link.StartDoc({printer, u"P", settings, 7, nullptr}, false));
    EXPECT_EQ(to_hex(dispatcher->received().at(0)).substr(22 * 3, 12), "00 00 50 00 ");  // an absent name is empty
}

TEST_F(ChannelTest, NamesAreThoseOfTheProduct) {
    auto pipe = [](const WCHAR* server, const WCHAR* name, DWORD session) {
        ObjectName text;
        MakePipeName(server, name, session, text);
        return std::u16string(text.c_str());
    };
    EXPECT_EQ(pipe(nullptr, u"Dispatcher", 1), u"\\\\.\\pipe\\KV12_Dispatcher_00000001");
    EXPECT_EQ(pipe(u"srv", u"X", 0xABCDEF), u"\\\\srv\\pipe\\KV12_X_00ABCDEF");
    EXPECT_EQ(pipe(nullptr, u"X", kNoSessionSuffix), u"\\\\.\\pipe\\KV12_X");
    host::machine().session = 18;
    EXPECT_EQ(pipe(nullptr, u"X", kOwnSession), u"\\\\.\\pipe\\KV12_X_00000012");
    host::machine().session_query_fails = true;
    EXPECT_EQ(pipe(nullptr, u"X", kOwnSession), u"\\\\.\\pipe\\KV12_X");
    WCHAR unique[32];
    format_text(unique, 32, u"%08X_FFFFF000", GetCurrentThreadId());
    const std::tuple<ObjectScope, const WCHAR*, std::u16string> objects[] = {
        {ObjectScope::Local, u"LaunchDisp", u"Local\\KV12_LocalMutex_LaunchDisp"},
        {ObjectScope::Global, u"N", u"Global\\KV12_GlobalMutex_N"},
        {ObjectScope::Local, nullptr, u"Local\\KV12_LocalMutex_" + std::u16string(unique)}};
    for (const auto& [scope, name, expected] : objects) {
        ObjectName text;
        MakeObjectName(scope, u"Mutex", name, text);
        EXPECT_EQ(std::u16string(text.c_str()), expected);
    }
}

TEST_F(ChannelTest, ChoosesTheUsersSession) {
    struct {
        int level;
        uint32_t session;
        const char16_t* user;
        bool remote, query_fails;
        DWORD chosen;
    } cases[] = {
        {7, 4, u"SYSTEM", false, false, 4},                                        // not in session 0
        {7, 0, u"System", false, false, 5},                                        // the console's
        {7, 0, u"ann", false, false, 2},                                           // the lowest of the user's
        {7, 0, u"ANN", true, false, 2},          {7, 0, u"bob", false, false, 5},  // logged on nowhere
        {7, 0, u"bob", true, false, 0},          {7, 0, u"SYSTEM", true, false, 0},
        {4, 0, u"ann", false, false, 0},  // before session 0 was isolated
        {7, 0, u"ann", false, true, 0xFFFFFFFF},
    };
    for (const auto& test : cases) {
        process_state().os_level = test.level;
        auto& machine = host::machine();
        machine.session = test.session;
        machine.console_session = 5;
        machine.user = test.user;
        machine.remote_session = test.remote;
        machine.session_query_fails = test.query_fails;
        machine.session_users = {{0, u""}, {2, u"Ann"}, {3, u"ann"}, {5, u"SYSTEM"}};
        EXPECT_EQ(choose_session(), test.chosen) << &test - cases;
    }
}

}  // namespace
}  // namespace kv::test
