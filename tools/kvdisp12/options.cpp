#include "tools/kvdisp12/options.h"

#include <algorithm>
#include <charconv>

#include "dispatcher/journal.h"
#include "dispatcher/machine.h"
#include "tools/common/values.h"

namespace kvdisp12 {
namespace {

using kv::cli::add_value;
using kv::cli::UsageError;

// As the driver writes it: with a sign.
int parse_number(const std::string& text, const std::string& what) {
    int value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || stop != text.data() + text.size()) throw UsageError(what + ": not a number: " + text);
    return value;
}

void take_driver_option(const std::string& word, Options& options) {
    if (!word.starts_with("/")) throw UsageError("unexpected: " + word);
    const size_t equals = std::min(word.find('='), word.size());
    const std::string name = kv::cli::lower_case(word.substr(1, equals - 1));
    const std::string value = equals < word.size() ? word.substr(equals + 1) : "";
    if (name == "source") {
        options.source = value;
    } else if (name == "session") {
        options.session = static_cast<DWORD>(parse_number(value, "/session"));
        options.has_session = true;
    } else if (name == "job") {
        options.job = parse_number(value, "/job");
    } else if (name == "autoexit") {
        options.autoexit = value == "1";
    } else if (name == "housekeeping") {
        options.housekeeping = value;
    } else if (name == "runonce") {
        options.runonce = true;
    }
}

void describe_limits(CLI::App& app, Limits& limits) {
    constexpr uint64_t kMostClients = 250;  // the system has no more instances of a pipe
    add_value(
        app, "--max-clients", "N",
        [&](const std::string& text) {
            limits.clients = static_cast<unsigned>(kv::cli::parse_whole(text, "--max-clients", 5, kMostClients));
        },
        "clients at once; further ones wait (default: 64)");
    add_value(
        app, "--max-clients-per-process", "N",
        [&](const std::string& text) {
            limits.clients_of_process =
                static_cast<unsigned>(kv::cli::parse_whole(text, "--max-clients-per-process", 1, kMostClients));
        },
        "clients of one process at once; further ones wait (default: 16)");
    add_value(
        app, "--first-document", "TIME",
        [&](const std::string& text) {
            const double seconds = kv::cli::parse_seconds(text, "--first-document");
            if (seconds < 0.01) throw UsageError("--first-document: at least 10 ms");  // nobody could print
            limits.first_document = std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000));
        },
        "how long a client may take to announce its document (default: 30 seconds)");
    add_value(
        app, "--min-free", "SIZE",
        [&](const std::string& text) { limits.free_space = kv::cli::parse_bytes(text, "--min-free"); },
        "free space below which documents are refused (default: 256M)");
}

// "30d", "200", "10G".
Keep parse_keep(const std::string& text) {
    constexpr uint64_t kMostDays = 36500, kMostJobs = 1'000'000'000;
    constexpr int64_t kDay = 24 * 3600 * 1000;  // milliseconds
    Keep keep;
    if (text.ends_with('d')) {
        const std::string days = text.substr(0, text.size() - 1);
        keep.milliseconds = static_cast<int64_t>(kv::cli::parse_whole(days, "--keep", 0, kMostDays)) * kDay;
    } else if (text.find_first_not_of("0123456789") == std::string::npos) {
        keep.count = static_cast<int64_t>(kv::cli::parse_whole(text, "--keep", 0, kMostJobs));
    } else {
        keep.bytes = static_cast<int64_t>(kv::cli::parse_bytes(text, "--keep"));
    }
    return keep;
}

void describe_delivery(CLI::App& app, Options& options) {
    add_value(
        app, "--deliver", "WHERE",
        [&](const std::string& text) {
            try {
                options.destination = parse_destination(text);
            } catch (const std::invalid_argument& error) {
                throw UsageError(std::string("--deliver: ") + error.what());
            }
        },
        "where filed jobs go next: pdf:DIR (as PDF files into a folder; %u as above), cups:QUEUE[@HOST[:PORT]] (to a "
        "queue of CUPS), command:PROGRAM ARGUMENTS (to a program, by its full path, without a shell)");
    add_value(
        app, "--deliver-time", "TIME",
        [&](const std::string& text) {
            options.delivery_time = kv::cli::parse_seconds(text, "--deliver-time");
            if (options.delivery_time < 1) throw UsageError("--deliver-time: at least a second");
        },
        "how long the drawing of a job, the program or an answer of CUPS may take (default: 10min)");
    add_value(
        app, "--keep", "HOW MANY", [&](const std::string& text) { options.keep = parse_keep(text); },
        "delivered jobs that stay in the outbox: of the last days (30d), the latest ones (200), or as many as have "
        "room (10G); others are removed (default: all stay)");
}

void set_command(Command command, const std::string& name, Options& options) {
    if (options.command != Command::Serve) throw UsageError(name + ": one command at a time");
    options.command = command;
}

void add_command(CLI::App& app, const std::string& name, Command command, Options& options, const std::string& help) {
    app.add_flag_callback(
        name, [&options, command, name] { set_command(command, name, options); }, help);
}

void add_document_command(CLI::App& app, const std::string& name, Command command, Options& options,
                          const std::string& help) {
    add_value(
        app, name, "ID",
        [&options, name, command](const std::string& text) {
            set_command(command, name, options);
            options.document = static_cast<int64_t>(kv::cli::parse_whole(text, name, 1, INT64_MAX));
        },
        help);
}

void describe_administration(CLI::App& app, Options& options) {
    add_command(app, "--list", Command::List, options, "lists documents, the latest first");
    add_value(
        app, "--only", "STATE",
        [&](const std::string& text) {
            if (!state_named(text)) throw UsageError("--only: no such state: " + text);
            options.only_state = text;
        },
        "of --list: documents in this state: announced, taking, taken, filing, filed, delivering, "
        "delivered, failed, refused, aborted, cancelled, damaged");
    add_value(app, "--printer", "TEXT", options.only_printer,
              "of --list: documents whose printer's name has this text");
    add_value(app, "--text", "TEXT", options.only_text, "of --list: documents whose name has this text");
    add_value(
        app, "--since", "TIME",
        [&](const std::string& text) { options.since = kv::cli::parse_seconds(text, "--since"); },
        "of --list: documents of the last 30min, 24h");
    add_document_command(app, "--show", Command::Show, options, "all that is known of a document");
    add_document_command(app, "--retry", Command::Retry, options,
                         "has a document that waits, or was given up, tried again now");
    add_document_command(app, "--cancel", Command::Cancel, options,
                         "discards a document that is not filed yet; one that is filed is not delivered");
    add_command(app, "--recover", Command::Recover, options,
                "looks now for jobs that were handed over or recorded and not filed");
    add_command(app, "--status", Command::Status, options,
                "what runs, how many documents of each state there are, what waits, free space, last errors");
    app.add_flag("--all", options.all, "of --status: of all users (for an administrator)");
    app.add_flag("--json", options.json, "of --list, --show and --status: as JSON");
}

}  // namespace

void describe(CLI::App& app, Options& options) {
    kv::cli::introduce(app, "kvdisp12",
                       "Takes the jobs of the Karvo driver, files them under their names and delivers them.", "",
                       "--status: something needs attention");
    add_value(
        app, "/name=value", "", [&](const std::string& word) { take_driver_option(word, options); },
        "what the driver says: /session=N (the session to serve), /autoexit=1 (ends when idle), /runonce (ends at "
        "once), /source=TEXT /job=N /housekeeping=none|minimal (who started it, and for what)")
        ->allow_extra_args();
    add_value(app, "--outbox", "DIR", options.outbox,
              "where jobs go (default: what the registry of Windows names, or outbox in the state folder); %u stands "
              "for the user's id");
    add_value(app, "--state", "DIR", options.state,
              "where the journal and jobs that wait lie (default: karvo in the user's data directory); %u as above");
    add_value(
        app, "--accept", "DIR", [&](const std::string& text) { options.accept.push_back(text); },
        "takes jobs from this folder as well as from the temporary folders; several times for several");
    add_value(app, "--log", "FILE", options.log,
              "gets one line a message (default: the system's journal, or kvdisp12.log in the state folder)");
    describe_limits(app, options.limits);
    describe_delivery(app, options);
    add_value(
        app, "--idle", "TIME", [&](const std::string& text) { options.idle = kv::cli::parse_seconds(text, "--idle"); },
        "how long /autoexit=1 waits for another client: 10 (seconds, the default), 500ms, 2min");
    describe_administration(app, options);
    app.set_config("--config", settings_file(), "settings: lines of name = value, the names without their dashes")
        ->option_text("FILE");
    kv::cli::add_examples(app, {"kvdisp12 --outbox jobs --log jobs.log", "kvdisp12 /autoexit=1 --idle 1min",
                                "kvdisp12 --list --since 24h --only failed"});
}

void check_use(const Options& options) {
    const bool lists = options.command == Command::List, status = options.command == Command::Status;
    const bool chooses =
        !options.only_state.empty() || !options.only_printer.empty() || !options.only_text.empty() || options.since > 0;
    if (chooses && !lists) throw UsageError("--only, --printer, --text and --since are of --list");
    if (options.all && !status) throw UsageError("--all is of --status");
    if (options.json && !lists && !status && options.command != Command::Show) {
        throw UsageError("--json is of --list, --show and --status");
    }
}

}  // namespace kvdisp12
