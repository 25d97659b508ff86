// Any messages to the dispatcher's pipe: taken apart, and answered one after the other as one client's conversation.

#include <filesystem>

#include "dispatcher/connection.h"
#include "tests/common/workspace.h"
#include "tests/fuzz/fuzz_input.h"

namespace kvdisp12 {
namespace {

// A dispatcher's parts in memory, with folders of their own.
struct House {
    House() : places{folder.path("state"), folder.path("outbox"), {folder.path("temp")}} {
        for (const std::string& name : {places.state, places.outbox, places.roots[0]}) {
            std::filesystem::create_directory(name);
        }
        journal.emplace(places.state + "/journal.db", Journal::Access::Own, [](const std::string&) {});
        store.reset(new Store{places, *journal, log, {}, {}});
        filer.emplace(*store);
        intake.emplace(*store, *filer, limits, 1);
    }
    kv::test::Workspace folder;
    Places places;
    std::optional<Journal> journal;
    Log log{{}};
    Limits limits;
    std::unique_ptr<Store> store;
    std::optional<Filer> filer;
    std::optional<Intake> intake;
};

std::unique_ptr<House>& house() {
    static std::unique_ptr<House> current;
    constexpr int kDocuments = 2000;  // then the journal begins anew, so that no input is slowed down by those before
    static int used = 0;
    if (!current || ++used % kDocuments == 0) {
        current.reset();
        current = std::make_unique<House>();
    }
    return current;
}

// The first byte: how the message begins, so that most are of a known code.
std::vector<BYTE> take_message(kv::FuzzInput& in) {
    static constexpr DWORD kCodes[] = {1, 1, 2, 2, 3, 200, 205, 300};
    const DWORD kind = in.u8();
    std::vector<BYTE> message;
    const auto put = [&](DWORD value) {
        for (int shift : {0, 8, 16, 24}) message.push_back(static_cast<BYTE>(value >> shift));
    };
    if (kind < 0xE0) {
        put(kCodes[kind % 8]);
        if (kind % 8 < 4) put(kv::kDispatchFormat);
    }
    const std::vector<BYTE> rest = in.bytes(in.u8() * (kind % 3 == 2 ? 4 : 1));
    message.insert(message.end(), rest.begin(), rest.end());
    return message;
}

void run(kv::FuzzInput& in) {
    House& own = *house();
    const Client client = {GetCurrentProcessId(), in.u8() % 4 ? Peer::User : Peer::System};
    const Connection::Server server = {[] {}, [] { return ServerStatus{1, 1, 1}; }};
    Connection connection(*own.intake, own.log, client, server);
    for (int left = 8; left > 0 && !in.empty(); --left) {
        const std::vector<BYTE> message = take_message(in);
        const auto block = kv::exact_copy(message.data(), message.size());
        const auto request = parse_request({block.get(), message.size()});
        const Bytes reply = connection.answer({block.get(), message.size()});
        kv::require(reply.size() >= sizeof(DWORD));
        kv::require(request || reply == Bytes(sizeof(DWORD), 0));
    }
}

}  // namespace
}  // namespace kvdisp12

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::host::set_messages_quiet(true);
    kv::FuzzInput in(data, size);
    kvdisp12::run(in);
    return 0;
}
