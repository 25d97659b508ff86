// A dispatcher that dies, or is told by the system that nothing can be written, before and after every system call of a
// document: afterwards its job is in the outbox, once.

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "dispatcher/intake.h"
#include "dispatcher/recovery.h"
#include "tests/common/bytes.h"
#include "tests/common/workspace.h"

namespace kv::test {
namespace {

namespace fs = std::filesystem;
using namespace kvdisp12;

// A whole job of one page: magic, summary (52 bytes, pages at 48), the document's name, where the trailer begins.
std::string whole_job() {
    const std::string summary = "\x15\x34" + std::string(48, '\0') + std::string("\1\0\0\0", 4);
    const std::string name("\x17\x0Ap\0l\0a\0n\0\0\0", 12);
    return "KARV" + summary + name + std::string("\x26\x04\x04\0\0\0", 6);
}

// Whether the folder lies on another volume than the state, which lies in memory.
struct Layout {
    bool temp_elsewhere, outbox_elsewhere;
};

struct House {
    explicit House(Layout layout) {
        const std::string disk = own_folder("/dev/shm"), other = own_folder("/tmp");
        temp = (layout.temp_elsewhere ? other : disk) + "/temp";
        places.state = disk + "/state";
        places.outbox = (layout.outbox_elsewhere ? other : disk) + "/outbox";
        places.roots = {temp};
        fs::create_directory(temp);
        write_file(temp + "/~KV1.kv", whole_job());
    }
    ~House() {
        for (const std::string& folder : folders) fs::remove_all(folder);
    }
    std::string own_folder(const std::string& where) {
        std::string name = where + "/kvdisp12-test-XXXXXX";
        return folders.emplace_back(mkdtemp(name.data()));
    }
    Text job() const { return client_path(temp + "/~KV1.kv"); }

    std::vector<std::string> folders;
    std::string temp;
    Places places;
};

struct Dispatcher {
    explicit Dispatcher(const Places& places)
        : journal(places.state + "/journal.db", Journal::Access::Own, [](const std::string&) {}),
          store{places, journal, log, {}, {}} {}

    Log log{{}};
    Journal journal;
    Store store;
    Filer filer{store};
    Limits limits;
    Intake intake{store, filer, limits, 1};
    Recovery recovery{store, filer};
};

void take_document(const House& house) {
    const Folder state(house.places.state, Folder::Owner::Ours);
    Dispatcher dispatcher(house.places);
    Announcement announcement;
    announcement.name = u"plan";
    const Client client{1, Peer::User};
    const int64_t id = dispatcher.intake.announce(announcement, client);
    if (id != 0) dispatcher.intake.hand_over(id, house.job(), client);
}

// The same place from the next start on.
void recover(const House& house) {
    const Folder state(house.places.state, Folder::Owner::Ours);
    Dispatcher dispatcher(house.places);
    dispatcher.recovery.settle_interrupted();
    dispatcher.recovery.find_all();
}

std::vector<std::string> files_in(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(folder, none)) names.push_back(entry.path().filename().string());
    return names;
}

void expect_filed_once(const House& house, const std::string& when) {
    recover(house);
    const std::vector<std::string> filed = files_in(house.places.outbox);
    ASSERT_EQ(filed.size(), 1u) << when;
    EXPECT_EQ(read_file(house.places.outbox + "/" + filed[0]), whole_job()) << when;
    EXPECT_TRUE(files_in(house.temp).empty()) << when;
    EXPECT_TRUE(files_in(house.places.spool()).empty()) << when;
    Journal journal(house.places.state + "/journal.db", Journal::Access::Visit);
    EXPECT_EQ(journal.in_states({State::Filed}).size(), 1u) << when;
}

enum class Stop { Kill, DiskFull };

bool changes_a_disk(uint64_t call) {
    for (const long known : {SYS_openat, SYS_write, SYS_pwrite64, SYS_fsync, SYS_fdatasync, SYS_ftruncate, SYS_fchmod,
                             SYS_linkat, SYS_renameat2, SYS_unlinkat, SYS_mkdir, SYS_fallocate}) {
        if (call == static_cast<uint64_t>(known)) return true;
    }
    return false;
}

void answer_disk_full(pid_t child) {
#ifdef __x86_64__
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    registers.orig_rax = ~0ull;  // no call
    ptrace(PTRACE_SETREGS, child, nullptr, &registers);
    ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    waitpid(child, nullptr, 0);
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    registers.rax = static_cast<unsigned long long>(-ENOSPC);
    ptrace(PTRACE_SETREGS, child, nullptr, &registers);
#else
    ptrace(PTRACE_KILL, child, nullptr, nullptr);
#endif
}

// Has a document taken by a child that is stopped at the n-th entry or return of a system call (full disk: the n-th
// call that writes). False: it came to its end before.
bool take_interrupted(const House& house, Stop stop, int n) {
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        try {
            take_document(house);
        } catch (const std::exception&) {  // what it cannot do without has failed
        }
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    uint64_t call = 0;
    for (bool stopped = false;;) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        if (!WIFSTOPPED(status)) return stopped;
        __ptrace_syscall_info info = {};
        ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
        const bool entry = info.op == PTRACE_SYSCALL_INFO_ENTRY;
        if (entry) call = info.entry.nr;
        if (stopped || !changes_a_disk(call) || (stop == Stop::DiskFull && !entry) || --n > 0) continue;
        stopped = true;
        if (stop == Stop::DiskFull) {
            answer_disk_full(child);
            continue;
        }
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        return true;
    }
}

struct InterruptedTest : ::testing::TestWithParam<Layout> {
    void interrupt_everywhere(Stop stop) {
        int n = 1;
        for (bool interrupted = true; interrupted; ++n) {
            House house(GetParam());
            interrupted = take_interrupted(house, stop, n);
            expect_filed_once(house, "interruption " + std::to_string(n));
            if (HasFatalFailure()) return;
        }
        EXPECT_GT(n, 20);
    }
};

TEST_P(InterruptedTest, DeathLosesNothing) { interrupt_everywhere(Stop::Kill); }
TEST_P(InterruptedTest, AFullDiskLosesNothing) { interrupt_everywhere(Stop::DiskFull); }

INSTANTIATE_TEST_SUITE_P(Volumes, InterruptedTest,
                         ::testing::Values(Layout{false, false}, Layout{false, true}, Layout{true, false}));

TEST(FoundAgainTest, WithoutItsJournal) {
    House house({false, true});
    const Folder spool(house.places.spool(), Folder::Owner::Ours);
    const std::string uuid = "01234567-89ab-4cde-8f01-23456789abc";
    write_file(house.places.spool() + "/" + uuid + "0.kv", whole_job());
    fs::create_directory(house.places.outbox);
    write_file(house.places.outbox + "/~" + uuid + "1.part", whole_job());
    write_file(house.places.outbox + "/~" + uuid + "2.part", "KARV");  // not whole: its job is where it was
    write_file(house.places.outbox + "/~other.part", whole_job());     // not ours
    write_file(house.places.state + "/journal.db",
               "no journal at all, but a file of more than a hundred bytes, so that "
               "a database's head could be in it");
    recover(house);
    std::vector<std::string> filed = files_in(house.places.outbox);
    std::ranges::sort(filed);
    EXPECT_EQ(filed, (std::vector<std::string>{"plan (2).kv", "plan (3).kv", "plan.kv", "~" + uuid + "2.part",
                                               "~other.part"}));
    const std::vector<std::string> kept = files_in(house.places.state);
    EXPECT_EQ(std::ranges::count_if(kept, [](auto& name) { return name.starts_with("journal.db.aside-"); }), 1);
}

// Recordings that were cut off: old by their time, also where the clock has been set back since.
TEST(FoundAgainTest, CutOffRecordingsAreSetAside) {
    House house({false, false});
    const std::string cut = "KARV" + whole_job().substr(4, 20);
    const auto now = fs::file_time_type::clock::now();
    const std::pair<std::string, std::chrono::hours> cases[] = {
        {"~KVold.kv", std::chrono::hours(-2)}, {"~KVlater.kv", std::chrono::hours(2)}, {"~KVnew.kv", {}}};
    for (const auto& [name, age] : cases) {
        write_file(house.temp + "/" + name, cut);
        fs::last_write_time(house.temp + "/" + name, now + age);
    }
    recover(house);
    EXPECT_EQ(files_in(house.temp), std::vector<std::string>{"~KVnew.kv"});
    EXPECT_EQ(files_in(house.places.outbox), std::vector<std::string>{"plan.kv"});
    Journal journal(house.places.state + "/journal.db", Journal::Access::Visit);
    EXPECT_EQ(journal.in_states({State::Damaged}).size(), 2u);
    EXPECT_GE(files_in(house.places.damaged()).size(), 2u);
}

}  // namespace
}  // namespace kv::test
