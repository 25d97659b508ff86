// Command lines: what the programs make of their words, and what they say of those that they cannot take.

#include "tools/kvdisp12/options.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/common/pdf_text.h"
#include "tests/common/workspace.h"
#include "tools/common/page_list.h"
#include "tools/common/values.h"
#include "tools/kvjob/options.h"
#include "tools/kvprint/options.h"

namespace kv::cli {
namespace {

using Words = std::vector<std::string>;

template <class Options>
Options parsed(void (*describe)(CLI::App&, Options&), const Words& words) {
    CLI::App app;
    Options options;
    describe(app, options);
    parse(app, words);
    return options;
}

TEST(Options, OfThePrintHost) {
    const kvprint::Options options = parsed(
        kvprint::describe, {"--set", "Resolution=300", "-o", "old.kv", "[a,b].pdf", "--output=b.kv", "--pages", "7,2-3",
                            "--set=Compression=0xF9", "--data", "Case=a=b", "--quiet", "--list-text", "-"});
    EXPECT_EQ(options.inputs, (Words{"[a,b].pdf"}));
    EXPECT_EQ(options.output, "b.kv");
    EXPECT_EQ(options.text_list, "-");
    EXPECT_TRUE(options.quiet);
    EXPECT_EQ(options.pages(9), (std::vector<size_t>{7, 2, 3}));
    EXPECT_EQ(options.settings,
              (std::vector<std::pair<std::string, uint32_t>>{{"Resolution", 300}, {"Compression", 0xF9}}));
    EXPECT_EQ(options.data, (std::vector<Pair>{{"Case", "a=b"}}));
    EXPECT_EQ(parsed(kvprint::describe, {"--quiet", "--", "--quiet"}).inputs, (Words{"--quiet"}));
    for (const auto& [word, levels] :
         {std::pair("--trace", "info"), {"--trace=fonts:error,record", "fonts:error,record"}}) {
        const kvprint::Options traced = parsed(kvprint::describe, {word, "a.pdf"});
        EXPECT_EQ(traced.inputs[0] + " " + traced.trace, std::string("a.pdf ") + levels);
    }
    EXPECT_FALSE(parsed(kvprint::describe, {"a.pdf"}).pages);
}

TEST(Options, OfTheReader) {
    const kvjob::Options drawn =
        parsed(kvjob::describe, {"render", "text", "-r", "72.5", "--memory", "64M", "-j", "3", "-o", "p-%d.svg"});
    EXPECT_EQ(drawn.render.memory, 64u << 20);
    EXPECT_EQ(drawn.command + " " + drawn.jobs[0] + " " + drawn.render.output, "render text p-%d.svg");
    EXPECT_EQ(drawn.render.format, kvjob::RenderOptions::Format::Svg);
    EXPECT_EQ(drawn.render.threads, 3u);
    EXPECT_EQ(drawn.render.dots_per_inch, 72.5);
    EXPECT_EQ(parsed(kvjob::describe, {"render", "--format", "pdf", "-o", "-", "a"}).render.format,
              kvjob::RenderOptions::Format::Pdf);
    EXPECT_EQ(parsed(kvjob::describe, {"dump", "--json", "--page", "2", "a.kv"}).pages(3), (std::vector<size_t>{2}));
}

TEST(Options, OfTheDispatcher) {
    const kvdisp12::Options options =
        parsed(kvdisp12::describe, {"/SOURCE=a/b=c", "/session=-1", "--outbox", "/jobs", "/Job=7", "/autoexit=1",
                                    "/later=2", "--idle", "500ms", "/housekeeping=none", "/runOnce"});
    EXPECT_EQ(options.source + " " + options.housekeeping + " " + options.outbox, "a/b=c none /jobs");
    EXPECT_TRUE(options.has_session && options.session == 0xFFFFFFFF && options.job == 7);
    EXPECT_TRUE(options.autoexit && options.runonce);
    EXPECT_EQ(options.idle, 0.5);
    EXPECT_FALSE(parsed(kvdisp12::describe, {"/autoexit=0"}).autoexit);
    EXPECT_EQ(parsed(kvdisp12::describe, {"--keep", "30d"}).keep.milliseconds, 2'592'000'000);
    EXPECT_EQ(parsed(kvdisp12::describe, {"--keep", "200"}).keep.count, 200);
    EXPECT_EQ(parsed(kvdisp12::describe, {"--keep", "1k"}).keep.bytes, 1024);
    EXPECT_EQ(parsed(kvdisp12::describe, {"--deliver", "pdf:a", "--deliver", "cups:b"}).destination.queue, "b");
}

TEST(PageLists, OrderAndEnds) {
    // pages: of a document of 6; beyond: how many items are said to be.
    const std::tuple<const char*, std::vector<size_t>, size_t> cases[] = {
        {"2", {2}, 0},
        {"1-3,5", {1, 2, 3, 5}, 0},
        {" 3 , 1 - 2,3", {3, 1, 2, 3}, 0},
        {"5-", {5, 6}, 0},
        {"-2", {1, 2}, 0},
        {"3-1", {3, 2, 1}, 0},
        {"last,R2,r6", {6, 5, 1}, 0},
        {"last-5,r2-last", {6, 5, 5, 6}, 0},
        {"odd,EVEN", {1, 3, 5, 2, 4, 6}, 0},
        {"reverse", {6, 5, 4, 3, 2, 1}, 0},
        {"4-r3", {4}, 0},
        {"5-r3", {}, 0},
        {"5-9,7,8-7", {5, 6}, 3},
        {"8-5", {6, 5}, 1},
        {"7-", {}, 1},
        {"r7,r9-2", {1, 2}, 2},
        {"1-1000000000", {1, 2, 3, 4, 5, 6}, 1},
    };
    for (const auto& [text, pages, beyond] : cases) {
        std::vector<std::string> lines;
        EXPECT_EQ(PageList(text, "--pages").of(6, lines), pages) << text;
        EXPECT_EQ(lines.size(), beyond) << text;
    }
    std::vector<std::string> lines;
    EXPECT_TRUE(PageList("even,2", "--pages").of(1, lines).empty());
    EXPECT_EQ(lines, (std::vector<std::string>{"--pages 2: the document has 1 page"}));
}

TEST(Values, UnitsAndRanges) {
    EXPECT_EQ(parse_seconds("1.5", ""), 1.5);
    EXPECT_EQ(parse_seconds("2Min", ""), 120);
    EXPECT_EQ(parse_seconds("250ms", ""), 0.25);
    EXPECT_EQ(parse_bytes("1.5k", ""), 1536u);
    EXPECT_EQ(parse_bytes("3MiB", ""), 3145728u);
    EXPECT_EQ(parse_bytes("2G", ""), 2147483648u);
    const std::pair<std::function<void()>, const char*> faults[] = {
        {[] { parse_seconds("10x", "-t"); }, "-t: no such unit: 10x (ms, s, min, h)"},
        {[] { parse_seconds("-1", "-t"); }, "-t: not a number: -1"},
        {[] { parse_seconds("", "-t"); }, "-t: not a number: "},
        {[] { parse_seconds("300h", "-t"); }, "-t: too long: 300h"},
        {[] { parse_bytes("10000000G", "-m"); }, "-m: too large: 10000000G"},
        {[] { parse_whole("99999999999999999999", "-n", 1, 5); }, "-n: from 1 to 5, not 99999999999999999999"},
        {[] { parse_whole("0x", "-n", 0, 5); }, "-n: not a whole number: 0x"},
        {[] { parse_real("nan", "-r", 1, 9600); }, "-r: from 1 to 9600, not nan"},
    };
    for (const auto& [call, message] : faults) {
        try {
            call();
            ADD_FAILURE() << "accepted: " << message;
        } catch (const UsageError& error) {
            EXPECT_STREQ(error.what(), message);
        }
    }
}

// Each is one line on standard error, and the exit code 2.
TEST(Programs, TellUsageFaults) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"kvprint", "", "INPUT.pdf is required; see kvprint --help"},
        {"kvprint", "a.pdf --pags 1", "no such option: --pags; nearest: --pages; see kvprint --help"},
        {"kvprint", "a.pdf --xyzzy=1", "no such option: --xyzzy; see kvprint --help"},
        {"kvprint", "a.pdf b.pdf -o c.kv",
         "--output: several inputs need %s in the name, unlike c.kv; see kvprint --help"},
        {"kvprint", "a.pdf -o - --json", "--output: standard output is what --json writes to; see kvprint --help"},
        {"kvprint", "a.pdf b/a.x -o %s.kv", "--output: two inputs would be written to a.kv; see kvprint --help"},
        {"kvprint", "a.pdf -o", "--output needs a value; see kvprint --help"},
        {"kvprint", "--pages= a.pdf", "--pages needs a value; see kvprint --help"},
        {"kvprint", "a.pdf --pages 2,0", "--pages: from 1 to 1000000000, not 0; see kvprint --help"},
        {"kvprint", "a.pdf --pages 1,,2",
         "--pages: no pages: \"\" (write 1-3,7, 5-, last, r2, odd, even or reverse); see kvprint --help"},
        {"kvprint", "a.pdf --set Resolution", "--set: expected NAME=VALUE, not Resolution; see kvprint --help"},
        {"kvprint", "a.pdf --set jpegqualty=9",
         "--set: no such setting: jpegqualty; nearest: JpegQuality; see kvprint --help"},
        {"kvprint", "a.pdf --set JpegQuality=101", "--set JpegQuality: from 0 to 100, not 101; see kvprint --help"},
        {"kvprint", "a.pdf --set BitDepth=20",
         "--set BitDepth: from 16 to 32 in steps of 8, not 20; see kvprint --help"},
        {"kvprint", "a.pdf --trace=loud", "--trace: no such component or level: loud; see kvprint --help"},
        {"kvjob", "", "a command is required; see kvjob --help"},
        {"kvjob", "chekc job", "no such command: chekc; nearest: check; see kvjob --help"},
        {"kvjob", "check", "JOB.kv is required; see kvjob check --help"},
        {"kvjob", "recover --json job", "no such option: --json; see kvjob recover --help"},
        {"kvjob", "dump --page 0 job", "--pages: from 1 to 1000000000, not 0; see kvjob dump --help"},
        {"kvjob", "recover job", "--output is required; see kvjob recover --help"},
        {"kvjob", "render job -o page.gif",
         "--output: neither .png nor .svg nor .pdf, and no --format: page.gif; see kvjob render --help"},
        {"kvjob", "--json info job", "--json comes after the command; see kvjob info --help"},
        {"kvdisp12", "--lgo x", "no such option: --lgo; nearest: --log; see kvdisp12 --help"},
        {"kvdisp12", "/job=x", "/job: not a number: x; see kvdisp12 --help"},
        {"kvdisp12", "job", "unexpected: job; see kvdisp12 --help"},
        {"kvdisp12", "--list --config /nowhere/a", "/nowhere/a was not readable (missing?); see kvdisp12 --help"},
        {"kvdisp12", "--list --status", "--status: one command at a time; see kvdisp12 --help"},
        {"kvdisp12", "--json", "--json is of --list, --show and --status; see kvdisp12 --help"},
        {"kvdisp12", "--list --all", "--all is of --status; see kvdisp12 --help"},
        {"kvdisp12", "--status --since 1h", "--only, --printer, --text and --since are of --list; see kvdisp12 --help"},
        {"fidelity", "a.pdf page.png", "no %d in the pictures' name: page.png; see fidelity --help"},
    };
    const test::Workspace workspace;
    for (const auto& [program, arguments, line] : cases) {
        const test::ProgramRun ended = test::run(workspace, program, arguments);
        EXPECT_EQ(ended.exit_code, kUsageFault) << program << ' ' << arguments;
        EXPECT_EQ(ended.errors, std::string(program) + ": " + line + "\n");
        EXPECT_EQ(ended.output, "");
    }
}

TEST(Programs, AnswerVersionAndHelp) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"kvprint", "--version", "kvprint " KV_VERSION " (build "},
        {"kvjob", "--version", "\nlibraries: cairo "},
        {"kvdisp12", "--version", "kvdisp12 " KV_VERSION " (build "},
        {"fidelity", "--version", "\nlibraries: MuPDF "},
        {"kvprint", "--set x=1 -h", "usage: kvprint [options] INPUT.pdf\n"},
        {"kvjob", "render --help", "usage: kvjob render [options] JOB.kv\n"},
        {"kvjob", "dump --help", "Examples:\n  kvjob dump "},
        {"kvdisp12", "--help", "\nExamples:\n  kvdisp12 "},
    };
    const test::Workspace workspace;
    for (const auto& [program, arguments, text] : cases) {
        const test::ProgramRun ended = test::run(workspace, program, arguments);
        EXPECT_EQ(ended.exit_code, kDone) << program << ' ' << arguments;
        EXPECT_NE(ended.output.find(text), std::string::npos) << program << ' ' << arguments << ": " << ended.output;
        EXPECT_EQ(ended.errors, "");
    }
    EXPECT_EQ(test::run(workspace, "kvjob", "--help >/dev/full 2>&1; exit $?").exit_code, kFailed);
}

// Whatever a program is started with, a job is the same.
TEST(Programs, SurviveTheirSurroundings) {
    const test::Workspace workspace;
    test::PdfText pdf;
    pdf.pages = {"0 0 1 rg 20 20 100 50.5 re f"};
    workspace.write("a.pdf", pdf.text());
    workspace.write("b.pdf", pdf.text());
    ASSERT_EQ(test::run(workspace, "kvprint", "a.pdf b.pdf none.pdf -o %s.kv; exit $?").exit_code, kFailed);
    const std::string job = workspace.read("a.kv");
    ASSERT_EQ(test::run(workspace, "kvjob", "check a.kv b.kv").exit_code, kDone);
    // What the shell does before, what it redirects, the exit code.
    const std::tuple<const char*, const char*, int> cases[] = {
        {"", "<&-", kDone},
        {"", "<&- >&-", kFailed},  // its closing line cannot be said
        {"", "<&- >&- 2>&-", kFailed},
        {"", ">/dev/full", kFailed},
        {"", "--quiet >&- 2>&-", kDone},  // it has nothing to say
        {"env -i ", "", kDone},
        {"env -i HOME=/none ", "", kDone},
        {"LC_ALL=tr_TR.UTF-8 ", "", kDone},
        {"LC_ALL=no/such@locale LANG=de_DE ", "", kDone},
    };
    for (const auto& [before, redirected, code] : cases) {
        std::filesystem::remove(workspace.path("a.kv"));
        const std::string words = std::string("a.pdf -o a.kv ") + redirected + "; exit $?";
        EXPECT_EQ(test::run(workspace, "kvprint", words, before).exit_code, code) << before << redirected;
        EXPECT_EQ(workspace.read("a.kv"), job) << before << redirected;
        EXPECT_EQ(test::run(workspace, "kvjob", "info a.kv >said; exit $?", before).exit_code, kDone) << before;
    }
    const test::ProgramRun without = test::run(workspace, "kvprint", "a.pdf -o c.kv; exit $?", "TMPDIR=/none ");
    EXPECT_EQ(without.exit_code, kFailed);
    EXPECT_EQ(without.errors,
              "kvprint: a.pdf: no folder for temporary files: TMPDIR is /none, No such file or directory\n");
}

}  // namespace
}  // namespace kv::cli
