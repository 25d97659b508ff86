#include "dispatcher/machine.h"
#include "support/os_level.h"
#include "support/process_state.h"
#include "tools/kvdisp12/administration.h"
#include "tools/kvdisp12/service.h"

int main(int argc, char** argv) {
    CLI::App app;
    kvdisp12::Options options;
    kv::process_state().os_level = kv::GetOsLevel();
    kvdisp12::describe(app, options);
    return kv::cli::run(app, kvdisp12::command_line(argc, argv), [&] {
        kvdisp12::check_use(options);
        if (options.command != kvdisp12::Command::Serve) return kvdisp12::administer(options);
        const auto left = kvdisp12::leave_system_account(kvdisp12::session_of(options));
        return left ? *left : kvdisp12::serve(options);
    });
}
