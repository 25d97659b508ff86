#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tools/kvjob/checker.h"
#include "tools/kvjob/dump.h"
#include "tools/kvjob/info.h"
#include "tools/kvjob/job_file.h"

namespace {

enum : int { kDone = 0, kFaulty = 1, kUsage = 2 };

constexpr const char* kUsageText =
    "usage: kvjob info JOB.kv                         what the job holds\n"
    "       kvjob check JOB.kv                        every fault with its file offset\n"
    "       kvjob dump [--json] [--page N] JOB.kv     the records\n";

struct UsageError {
    std::string message;
};

struct Arguments {
    std::string command, path;
    kvjob::DumpOptions dump;
};

Arguments parse(const std::vector<std::string>& arguments) {
    Arguments parsed;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (parsed.command.empty()) {
            parsed.command = argument;
        } else if (argument == "--json" && parsed.command == "dump") {
            parsed.dump.json = true;
        } else if (argument == "--page" && parsed.command == "dump") {
            char* end = nullptr;
            const unsigned long page = ++i < arguments.size() ? std::strtoul(arguments[i].c_str(), &end, 10) : 0;
            if (page == 0 || page > UINT32_MAX || *end) throw UsageError{"--page needs a number from 1"};
            parsed.dump.page = static_cast<uint32_t>(page);
        } else if (argument.starts_with("-") || !parsed.path.empty()) {
            throw UsageError{"unexpected: " + argument};
        } else {
            parsed.path = argument;
        }
    }
    const bool known = parsed.command == "info" || parsed.command == "check" || parsed.command == "dump";
    if (!known) throw UsageError{parsed.command.empty() ? "no command" : "no such command: " + parsed.command};
    if (parsed.path.empty()) throw UsageError{"no job file"};
    return parsed;
}

int run_check(const Arguments& arguments, kvjob::Bytes file) {
    const auto findings = kvjob::check_job(file);
    for (const kvjob::Finding& finding : findings) {
        std::fprintf(stderr, "%s: 0x%llX: %s\n", arguments.path.c_str(),
                     static_cast<unsigned long long>(finding.offset), finding.message.c_str());
    }
    if (findings.empty()) std::printf("%s: sound\n", arguments.path.c_str());
    return findings.empty() ? kDone : kFaulty;
}

int run(const Arguments& arguments) {
    const kvjob::JobFile file(arguments.path);
    if (arguments.command == "check") return run_check(arguments, file.bytes());
    if (arguments.command == "info") {
        kvjob::print_info(file.bytes(), stdout);
    } else {
        kvjob::dump_job(file.bytes(), arguments.dump, stdout);
    }
    return kDone;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    try {
        arguments = parse({argv + 1, argv + argc});
    } catch (const UsageError& error) {
        std::fprintf(stderr, "kvjob: %s\n%s", error.message.c_str(), kUsageText);
        return kUsage;
    }
    try {
        return run(arguments);
    } catch (const kvjob::Fault& fault) {
        std::fprintf(stderr, "%s: 0x%llX: %s\n", arguments.path.c_str(), static_cast<unsigned long long>(fault.offset),
                     fault.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kvjob: %s: %s\n", arguments.path.c_str(), error.what());
    }
    return kFaulty;
}
