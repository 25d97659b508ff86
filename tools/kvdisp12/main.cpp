#include <cstdio>

#include "dispatch/object_names.h"
#include "dispatcher/machine.h"
#include "dispatcher/server.h"
#include "support/os_level.h"
#include "support/process_state.h"
#include "tools/kvdisp12/options.h"

namespace kvdisp12 {
namespace {

using kv::cli::kDone;
using kv::cli::kFailed;

Text pipe_name(const Options& options) {
    kv::ObjectName name;
    kv::MakePipeName(nullptr, TEXT("Dispatcher"), options.has_session ? options.session : kv::kOwnSession, name);
    return name.c_str();
}

void log_start(const Options& options, const Text& pipe, Log& log) {
    log.line("Start source " + quoted(options.source) + " pipe " + quoted(to_utf8(pipe)) + " job " +
             std::to_string(options.job) + " autoexit " + std::to_string(options.autoexit) + " housekeeping " +
             quoted(options.housekeeping));
}

int serve(const Options& options, const std::string& folder, Log& log) {
    const Text pipe = pipe_name(options);
    log_start(options, pipe, log);
    const Outbox outbox(system_path(options.outbox.empty() ? folder + "/outbox" : options.outbox));
    if (options.runonce) return kDone;
    Server server(pipe, outbox, log);
    if (!server.open()) {
        log.line("End: another dispatcher serves the session");
        return kFailed;
    }
    if (options.autoexit) {
        server.run_until_idle(std::chrono::milliseconds(static_cast<long>(options.idle * 1000)));
    } else {
        server.run();
    }
    log.line("End: idle");
    return kDone;
}

int start(const Options& options) {
    join_machine();
    kv::process_state().os_level = kv::GetOsLevel();
    const std::string folder = default_folder();
    Log log(options.log.empty() ? folder + "/kvdisp12.log" : options.log);
    try {
        return serve(options, folder, log);
    } catch (const std::exception& error) {
        log.line(std::string("End: ") + error.what());  // started by the driver, there is no one else to tell
        throw;
    }
}

}  // namespace
}  // namespace kvdisp12

int main(int argc, char** argv) {
    CLI::App app;
    kvdisp12::Options options;
    kvdisp12::describe(app, options);
    return kv::cli::run(app, kvdisp12::command_line(argc, argv), [&] { return kvdisp12::start(options); });
}
