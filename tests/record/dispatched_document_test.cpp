// Documents that a dispatcher takes: what it hears of each, and what becomes of the job file.

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "support/paths.h"
#include "support/process_state.h"
#include "tests/common/fault_test.h"
#include "tests/common/scripted_dispatcher.h"

namespace kv::test {
namespace {

struct DispatchedDocument : DispatchTest {
    static Bytes content(const std::u16string& path) {
        std::ifstream in(host::host_path(path), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    // Of a document; a dispatcher that is slow to take the next connection is told beforehand.
    std::vector<DWORD> codes() {
        std::vector<DWORD> all = DispatchTest::codes();
        std::erase(all, DWORD{kDispatchPrepare});
        return all;
    }
    // The job that the last message hands over, checked and taken away.
    Bytes take_job() {
        const auto received = dispatcher->received();
        if (received.empty() || received.back()[0] != kDispatchEndDoc) return {};
        const std::u16string path = text_at(received.back(), 20);
        Bytes job_file = content(path);
        EXPECT_EQ(faults_of(job_file), "");
        EXPECT_TRUE(DeleteFileW(path.c_str()));
        return job_file;
    }
    void remove_temporary_files() {
        for (const std::string& name : temporary_files()) {
            std::filesystem::remove(host::host_path(u"C:\\Windows\\Temp") + "/" + name);
        }
    }
};

TEST_F(DispatchedDocument, IsTheSameAsTheSpoolersCopy) {
    serve();
    host::printer(printer).port = u"file:";
    ASSERT_TRUE(print());
    EXPECT_FALSE(job().empty());
    EXPECT_EQ(take_job(), job());
    EXPECT_TRUE(temporary_files().empty());
}

TEST_F(DispatchedDocument, IsWithdrawnWhenItIsNotKept) {
    serve();
    const std::vector<DWORD> withdrawn = {1, 3};
    EXPECT_TRUE(print(7, ED_ABORTDOC));
    EXPECT_EQ(codes(), withdrawn) << "aborted";

    ASSERT_TRUE(device->start_document(u"Title", 7));
    EXPECT_EQ(temporary_files().size(), 1u);
    EXPECT_TRUE(device->end_document());
    EXPECT_EQ(codes(), withdrawn) << "without pages";

    ASSERT_TRUE(device->start_document(u"Title", 7) && device->start_page());
    pdevice().SetFailed();
    EXPECT_TRUE(device->end_document());
    EXPECT_EQ(codes(), withdrawn) << "failed";

    for (const char16_t* null_port : {u"NUL:", u"nul"}) {
        pdevice().port_name.assign(null_port);
        ASSERT_TRUE(print());
        EXPECT_EQ(codes(), withdrawn) << "printed to the null port";
    }
    pdevice().port_name.assign(u"KARVO:");

    host::fail_call(host::CallKind::File, 1);
    EXPECT_FALSE(device->start_document(u"Title", 7));
    EXPECT_EQ(codes(), withdrawn) << "without a job file";
    EXPECT_TRUE(device->end_document());

    ASSERT_TRUE(device->start_document(u"Title", 7) && device->start_page());
    close_device();
    EXPECT_EQ(codes(), withdrawn) << "its device was closed";
    EXPECT_TRUE(temporary_files().empty());
}

// A small job reaches the disk only when the file is closed.
TEST_F(DispatchedDocument, IsWithdrawnWhenTheDiskIsFull) {
    serve();
    open_device();
    ASSERT_TRUE(device->start_document(u"Title", 7) && device->start_page() && device->send_page());
    for (const char16_t* where : {u"KARVO:", u"FILE:"}) {
        pdevice().port_name.assign(where);
        host::fail_call(host::CallKind::File, 1);
        EXPECT_TRUE(device->end_document());
        EXPECT_EQ(host::failed_function(), "WriteFile");
        EXPECT_EQ(codes(), (std::vector<DWORD>{1, 3}));
        EXPECT_TRUE(temporary_files().empty() && job().empty());
        ASSERT_TRUE(device->start_document(u"Title", 7) && device->start_page() && device->send_page());
    }
    EXPECT_TRUE(device->end_document(ED_ABORTDOC));
    EXPECT_EQ(messages().size(), 2u) << "one a document";
}

// An exception at the start or the end of a document.
TEST_F(DispatchedDocument, IsWithdrawnWhenAHookFaults) {
    serve();
    set(u"Compression", 0x11);
    open_device();
    auto* const nowhere = reinterpret_cast<File*>(16);
    for (bool at_start : {true, false, true}) {
        SCOPED_TRACE(at_start);
        BOOL answer;
        if (at_start) {
            pdevice().job.reset(nowhere);  // of an earlier document
            answer = device->start_document(u"Title", 7);
        } else {
            ASSERT_TRUE(device->start_document(u"Title", 7) && device->start_page() && device->send_page());
            pdevice().trays.reset(reinterpret_cast<CGlobalObj*>(16));
            answer = device->end_document();
        }
        EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
        EXPECT_EQ(answer, !at_start);
        EXPECT_EQ(pdevice().failed, at_start ? 1u : 0u);
        EXPECT_FALSE(pdevice().document_open || pdevice().job || pdevice().job_id);
        EXPECT_EQ(pdevice().settings.kv.Compression, 0x11);
        EXPECT_EQ(codes(), (std::vector<DWORD>{1, 3}));
        EXPECT_TRUE(temporary_files().empty());
    }
    EXPECT_TRUE(print());
    EXPECT_FALSE(take_job().empty());
}

TEST_F(DispatchedDocument, DoesNotStartWhenItIsRefused) {
    serve({1, {{kDispatchStartDoc, {0, 0, 0, 0}}}, {}});
    EXPECT_FALSE(print());
    EXPECT_EQ(codes(), std::vector<DWORD>{1});
    EXPECT_TRUE(temporary_files().empty());
    // Another dispatcher takes the next one.
    dispatcher.reset();
    serve();
    EXPECT_TRUE(print());
    EXPECT_FALSE(take_job().empty());
}

TEST_F(DispatchedDocument, StaysWhereItIsWhenTheDispatcherDies) {
    for (DWORD deadly : {DWORD{kDispatchStartDoc}, DWORD{kDispatchEndDoc}}) {
        dispatcher.reset();
        serve({1, {}, {deadly}});
        const bool starts = deadly != kDispatchStartDoc;
        EXPECT_EQ(print(), starts);
        EXPECT_EQ(temporary_files().size(), starts ? 1u : 0u);
    }
    remove_temporary_files();
    for (bool aborted : {false, true}) {
        dispatcher.reset();
        serve();
        ASSERT_TRUE(device->start_document(u"Title", 7) && device->start_page() && device->send_page());
        dispatcher->kill();
        EXPECT_TRUE(device->end_document(aborted ? FLONG{ED_ABORTDOC} : 0));
        EXPECT_EQ(temporary_files().size(), aborted ? 0u : 1u);
        EXPECT_FALSE(pdevice().dispatcher->has_job());
        remove_temporary_files();
    }
    // The device has forgotten the dead one's connection.
    dispatcher.reset();
    serve();
    EXPECT_TRUE(print());
    EXPECT_FALSE(take_job().empty());
    EXPECT_TRUE(messages().empty());
}

TEST_F(DispatchedDocument, MovesWithAReset) {
    serve();
    open_device();
    ASSERT_TRUE(device->start_document(u"Title", 7) && device->start_page() && device->send_page());
    ASSERT_TRUE(device->reset(landscape()));
    ASSERT_TRUE(device->start_page());
    end_page_and_document();
    EXPECT_EQ(trailer_records(take_job(), 21).at(0).size(), 52u + 2 * 28);
    // A device that the document is moved to gives up its own.
    engine::Device other(*driver, printer, nullptr, u"P");
    ASSERT_TRUE(other.start_document(u"Other", 8));
    ASSERT_TRUE(DrvResetPDEV(device->handle(), other.handle()));
    EXPECT_EQ(codes(), (std::vector<DWORD>{1, 3}));
    EXPECT_TRUE(temporary_files().empty());
}

TEST_F(DispatchedDocument, LiesWhereTheDispatcherSaysOnOldSystems) {
    const std::u16string path = u"C:\\Windows\\Temp\\given.kv";
    struct {
        int level;
        Bytes reply;
        bool asked, used;
    } cases[] = {{4, utf16(path), true, true},
                 {4, utf16(u""), true, false},
                 {4, {}, true, false},
                 {4, Bytes(521, 'x'), true, false},  // one byte too long
                 {5, utf16(path), false, false}};
    host::machine().administrator = true;  // else the temporary folder is another one there
    for (const auto& test : cases) {
        process_state().os_level = test.level;
        dispatcher.reset();
        serve({1, {{kDispatchJobPath, test.reply}}, {}});
        close_device();
        ASSERT_TRUE(print());
        const auto received = dispatcher->received();
        ASSERT_EQ(received.size(), test.asked ? 3u : 2u);
        if (test.asked) {
            EXPECT_EQ(to_hex(received[1]), "C8 00 00 00 ");
        }
        EXPECT_EQ(text_at(received.back(), 20) == path, test.used);
        EXPECT_EQ(temporary_files().size(), 1u);
        remove_temporary_files();
    }
    // A path of 260 units has no room for its terminator and is cut.
    PathText cut;
    dispatcher.reset();
    serve({1, {{kDispatchJobPath, Bytes(520, 'y')}}, {}});
    ASSERT_TRUE(device->start_document(u"Title", 7));
    EXPECT_TRUE(pdevice().dispatcher->GetJobPath(cut));
    EXPECT_EQ(cut.length(), 259u);
}

// Without the dispatcher's program there is nothing to wait for, except in a stress test; with it, not even there.
TEST_F(DispatchedDocument, OnlyAMissingDispatcherSlowsAStressTest) {
    host::machine().executable = u"C:\\printdrvstress.exe";
    serve();
    EXPECT_TRUE(print(7, ED_ABORTDOC));
    EXPECT_TRUE(host::sleeps().empty());
    close_device();
    dispatcher.reset();
    install("/nowhere");
    EXPECT_TRUE(print(7, ED_ABORTDOC));
    EXPECT_EQ(host::sleeps().size(), 20u);
    EXPECT_TRUE(messages().empty());
}

// Whatever call fails: a document that started is handed over whole or withdrawn, one that did not is gone, and nothing
// is held. The job of a failed hand-over stays.
TEST_F(DispatchedDocument, SurvivesEachFailingCall) {
    constexpr uint64_t kMostCalls = 2000;
    int failed_calls = 0;
    serve();
    for (int kind = 0; kind < static_cast<int>(host::CallKind::Count); ++kind) {
        for (uint64_t call = 1;; ++call) {
            ASSERT_LT(call, kMostCalls);
            host::use_virtual_clock(0);
            host::fail_call(static_cast<host::CallKind>(kind), call);
            open_device();
            const bool started = device->is_open() && print();
            const bool found = device->is_open() && pdevice().dispatcher;
            close_device();
            const std::string failed = host::failed_function();
            host::clear_failures();
            SCOPED_TRACE("call " + std::to_string(call) + ", " + failed);
            const auto received = dispatcher->received();
            const auto files = temporary_files();
            const bool accepted = std::ranges::any_of(received, [](const Bytes& message) { return message[0] == 1; });
            const bool handed_over = !received.empty() && received.back()[0] == kDispatchEndDoc;
            const bool withdrawn = !received.empty() && received.back()[0] == kDispatchAbort;
            // Where the dispatcher's program was not found, the document is recorded without it.
            const bool looked_up = failed.starts_with("Reg") || failed.starts_with("Get");
            EXPECT_EQ(started && found, started && accepted);
            EXPECT_TRUE(!started || found || looked_up);
            EXPECT_TRUE(started || !handed_over);
            if (handed_over) {
                const std::u16string path = text_at(received.back(), 20);
                EXPECT_EQ(faults_of(content(path)), "");
                EXPECT_TRUE(DeleteFileW(path.c_str()));
            } else if (failed != "DeleteFileW") {
                // Sending or asking for the hand-over failed, and with it perhaps the withdrawal.
                const bool hand_over_failed = started && failed == "TransactNamedPipe";
                EXPECT_LE(files.size(), hand_over_failed ? 1u : 0u);
                EXPECT_TRUE(withdrawn || !accepted || !started || hand_over_failed);
            }
            EXPECT_EQ(host::live_objects(), before);
            remove_temporary_files();
            if (failed.empty()) {
                EXPECT_TRUE(handed_over);
                EXPECT_GT(call, 1u);
                break;
            }
            if (HasFailure()) return;
            ++failed_calls;
        }
    }
    RecordProperty("failed_calls", failed_calls);  // for whoever counts (campaign/faults)
}

}  // namespace
}  // namespace kv::test
