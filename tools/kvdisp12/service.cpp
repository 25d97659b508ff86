#include "tools/kvdisp12/service.h"

#include <cstdio>
#include <filesystem>

#include "dispatch/object_names.h"
#include "dispatcher/deliverer.h"
#include "dispatcher/machine.h"
#include "dispatcher/native_path.h"
#include "dispatcher/safe_text.h"
#include "dispatcher/server.h"
#include "dispatcher/worker.h"
#include "support/os_level.h"
#include "support/process_state.h"
#include "support/session.h"

namespace kvdisp12 {
namespace {

using kv::cli::kDone;
using kv::cli::kFailed;

std::string with_user_id(std::string folder) {
    for (size_t at = folder.find("%u"); at != std::string::npos; at = folder.find("%u", at + 1)) {
        folder.replace(at, 2, user_id());
    }
    return full_path(folder);
}

void log_start(const Options& options, const Text& pipe, Log& log) {
    log.line("Start source " + in_quotes(options.source) + " pipe " + in_quotes(pipe) + " job " +
             std::to_string(options.job) + " autoexit " + std::to_string(options.autoexit) + " housekeeping " +
             in_quotes(options.housekeeping));
}

struct OwnState {
    std::string path;
    FolderLock lock;
};

bool is_served(const Text& pipe) { return WaitNamedPipeW(pipe.c_str(), 1) || GetLastError() == ERROR_SEM_TIMEOUT; }

// The state folder, or one in it where another session's dispatcher of this user has it. Nothing when another
// dispatcher serves this session. One that is just ending is waited for.
std::optional<OwnState> take_state(const std::string& base, DWORD session, const Text& pipe) {
    constexpr int kAttempts = 60;
    constexpr DWORD kPause = 50;
    for (const std::string& folder : {base, folder_in(base, "session-" + std::to_string(session))}) {
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            if (auto lock = FolderLock::take(Folder(folder, Folder::Owner::Ours)))
                return OwnState{folder, std::move(*lock)};
            Sleep(kPause);
        }
        if (is_served(pipe)) return std::nullopt;
    }
    return std::nullopt;
}

class Service {
public:
    Service(const Options& options, Places places, Log& log)
        : options_(options),
          log_(log),
          places_(std::move(places)),
          journal_(folder_in(places_.state, "journal.db"), Journal::Access::Own,
                   [&](const std::string& why) { log.error("The journal is set aside: " + why); }),
          store_{places_, journal_, log, {}, {}},
          filer_(store_),
          intake_(store_, filer_, options_.limits, session_of(options)),
          recovery_(store_, filer_),
          housekeeping_(store_, options.keep),
          worker_(store_, filer_, recovery_, housekeeping_),
          server_(pipe_name(options), options_.limits, intake_, log) {
        store_.wake = [this] { worker_.wake(false); };
        server_.on_prepare([this] { look(); });
        server_.keep_while([this] { return worker_.has_work() || (deliverer_ && deliverer_->has_work()); });
        prepare_delivery();
    }

    bool open() {
        recovery_.settle_interrupted();
        return server_.open();
    }

    void look_once() {
        recovery_.settle_interrupted();
        recovery_.find_all();
        if (deliverer_) deliverer_->deliver_waiting(true);
        journal_.close();
    }

    [[noreturn]] void run() {
        start_threads();
        tell_ready();
        bool clean = false;
        if (options_.autoexit) {
            clean = server_.run_until_idle(std::chrono::milliseconds(static_cast<int64_t>(options_.idle * 1000)));
        } else {
            server_.run();
        }
        tell_stopping();
        worker_.stop();
        if (deliverer_) deliverer_->stop();
        log_.line(clean ? "End: idle" : "End: told to");
        journal_.close();
        end_process(kDone);
    }

private:
    // The server's threads run already and know this object: without the others the process ends, as nothing of it can
    // go before them. The next document starts another dispatcher.
    void start_threads() {
        try {
            worker_.start(options_.housekeeping != "none");
            if (deliverer_) deliverer_->start();
            at_end_of_session([this] { server_.stop(); });
        } catch (const std::exception& error) {
            log_.error(std::string("End: ") + error.what());
            std::fprintf(stderr, "kvdisp12: %s\n", error.what());
            end_process(kFailed);
        }
    }
    void look() {
        worker_.wake(true);
        if (deliverer_) deliverer_->wake(true);
    }

    void prepare_delivery() {
        Destination destination = options_.destination;
        if (!destination.folder.empty()) destination.folder = with_user_id(destination.folder);
        if (auto target = make_target(destination)) {
            const std::chrono::seconds patience(static_cast<int64_t>(options_.delivery_time));
            deliverer_ = std::make_unique<Deliverer>(store_, std::move(target), patience);
        } else if (journal_.next_in_state(State::Delivering, 0)) {
            log_.warning("Documents wait to be delivered, and --deliver says nowhere to");
        }
    }

    const Options& options_;
    Log& log_;
    Places places_;
    Journal journal_;
    Store store_;
    Filer filer_;
    Intake intake_;
    Recovery recovery_;
    Housekeeping housekeeping_;
    Worker worker_;
    Server server_;
    std::unique_ptr<Deliverer> deliverer_;
};

Places places_of(const Options& options, const std::string& state) {
    Places places{state, outbox_folder(options), temporary_folders()};
    for (const std::string& folder : options.accept) places.roots.push_back(full_path(folder));
    return places;
}

// One that cannot be had now costs time: jobs wait for it.
void check_outbox(const std::string& path, Log& log) {
    std::error_code none;
    if (std::filesystem::exists(native_path(path), none) && !std::filesystem::is_directory(native_path(path), none)) {
        throw FileError(in_quotes(path) + ": it is no folder");
    }
    try {
        const Folder outbox(path, Folder::Owner::Anyone);
    } catch (const FileError& error) {
        log.error(std::string("Jobs wait for the outbox: ") + error.what());
    }
}

std::vector<std::unique_ptr<LogSink>> sinks_of(const Options& options) {
    const std::string named = options.log.empty() ? "" : full_path(options.log);
    std::error_code none;
    const auto kind = std::filesystem::status(native_path(named), none).type();
    // Opening a pipe waits for its other end.
    for (const auto bad : {std::filesystem::file_type::directory, std::filesystem::file_type::fifo,
                           std::filesystem::file_type::socket}) {
        if (!named.empty() && kind == bad) throw std::runtime_error("--log: " + in_quotes(named) + ": it is no file");
    }
    return log_sinks(named, folder_in(state_folder(options), "kvdisp12.log"));
}

int serve(const Options& options, Log& log) {
    const std::string base = state_folder(options);
    const Folder state(base, Folder::Owner::Ours);  // before the first line of a log that lies in it
    log_start(options, pipe_name(options), log);
    check_outbox(outbox_folder(options), log);
    if (options.runonce) return kDone;
    const auto own = take_state(base, session_of(options), pipe_name(options));
    if (own) {
        std::filesystem::current_path(native_path(own->path));
        Service service(options, places_of(options, own->path), log);
        if (service.open()) service.run();
    }
    const char* why = is_served(pipe_name(options)) ? "another dispatcher serves the session"
                                                    : "the pipe or the state of the session cannot be had";
    log.line(std::string("End: ") + why);
    std::fprintf(stderr, "kvdisp12: %s\n", why);
    return kFailed;
}

}  // namespace

Text pipe_name(const Options& options) {
    kv::ObjectName name;
    kv::MakePipeName(nullptr, TEXT("Dispatcher"), options.has_session ? options.session : kv::kOwnSession, name);
    return name.c_str();
}

DWORD session_of(const Options& options) {
    const bool named = options.has_session && options.session != kv::kOwnSession;
    return named ? options.session : kv::current_session();
}

std::string state_folder(const Options& options) {
    return options.state.empty() ? default_folder() : with_user_id(options.state);
}

std::string outbox_folder(const Options& options) {
    const std::string named = options.outbox.empty() ? registered_outbox() : options.outbox;
    return named.empty() ? folder_in(state_folder(options), "outbox") : with_user_id(named);
}

int look_once(const Options& options) {
    join_machine(false);
    Log log(sinks_of(options));
    const std::string base = state_folder(options);
    const auto lock = FolderLock::take(Folder(base, Folder::Owner::Ours));
    if (!lock) throw std::runtime_error("another dispatcher has the state in " + base);
    Service(options, places_of(options, base), log).look_once();
    return kDone;
}

int serve(const Options& options) {
    join_machine(true);
    Log log(sinks_of(options));
    try {
        return serve(options, log);
    } catch (const std::exception& error) {
        log.error(std::string("End: ") + error.what());  // started by the driver, there is no one else to tell
        throw;
    }
}

}  // namespace kvdisp12
