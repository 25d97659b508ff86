#include "settings/job_name.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/host/control.h"
#include "support/process_state.h"

namespace kv {
namespace {

using Text = std::basic_string<WCHAR>;
const Text kJobNames = TEXT("Software\\Velmora Software\\Karvo12\\KarvoPrinters\\,,server,P\\JobNames");
constexpr const WCHAR* kPrinter = TEXT("\\\\server\\P");

struct JobNameTest : testing::Test {
    void SetUp() override {
        host::reset_all();
        host::set_messages_quiet(true);
        process_state().os_level = 11;
        process_state().processor = PROCESSOR_ARCHITECTURE_AMD64;
        // Each place that an extension's program can stand in.
        const Text choices = TEXT("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\");
        host::set_registry_string(HKEY_CURRENT_USER, choices + TEXT(".docx\\UserChoice"), TEXT("ProgId"), TEXT("Word"));
        host::set_registry_string(HKEY_LOCAL_MACHINE, choices + TEXT(".xlsx\\UserChoice"), TEXT("ProgId"), TEXT("X"));
        host::set_registry_string(HKEY_CURRENT_USER, TEXT("Software\\Classes\\.txt"), TEXT(""), TEXT("txtfile"));
        host::set_registry_string(HKEY_LOCAL_MACHINE, TEXT("Software\\Classes\\.vsd"), TEXT(""), TEXT("Visio"));
        host::set_registry_string(HKEY_LOCAL_MACHINE, TEXT("Software\\Classes\\.com"), TEXT(""), TEXT("comfile"));
        host::set_registry_string(HKEY_CURRENT_USER, TEXT("Software\\Classes\\.none"), TEXT(""), TEXT(""));
    }
    static Text cleaned(const WCHAR* title, bool strip_scheme = false, bool strip_extension = true) {
        PathText name(title);
        CleanJobName(name, strip_scheme, strip_extension);
        return name.c_str();
    }
};

TEST_F(JobNameTest, MatchesWildcards) {
    struct {
        const WCHAR *pattern, *text;
        bool matches;
    } cases[] = {
        {TEXT(""), TEXT("a"), false},
        {TEXT("a"), TEXT(""), false},
        {TEXT("*"), TEXT(""), false},
        {TEXT("AbC"), TEXT("aBc"), true},
        {TEXT("\u00C4?"), TEXT("\u00E4x"), true},
        {TEXT("ab"), TEXT("abc"), false},
        {TEXT("abc"), TEXT("ab"), false},
        {TEXT("?"), TEXT("a"), true},
        {TEXT("a?"), TEXT("a"), false},
        {TEXT("*"), TEXT("a"), true},
        {TEXT("a***"), TEXT("ab"), true},
        {TEXT("a*"), TEXT("a"), false},  // no text is left for the star
        {TEXT("*b"), TEXT("b"), true},   // but in front of a run it may take nothing
        {TEXT("*bab"), TEXT("abbabab"), true},
        {TEXT("*bab"), TEXT("babx"), false},
        {TEXT("ab*ba"), TEXT("aba"), false},  // the run must be in what the star leaves
        {TEXT("*a?c"), TEXT("aacabc"), true},
        {TEXT("*?"), TEXT("ab"), true},
        {TEXT("?*"), TEXT("a"), false},
        {TEXT("*a*"), TEXT("xxa"), false},
        {TEXT("*a*"), TEXT("xaa"), true},
        {TEXT("*aab*c?"), TEXT("aaaab-c-cd"), true},
        {TEXT("*-?-*-"), TEXT("--a-b--c-d-"), true},
        {TEXT("*-?-*!"), TEXT("--a-b--c-d-"), false},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(WildcardMatch(test.pattern, test.text), test.matches)
            << testing::PrintToString(Text(test.pattern)) << testing::PrintToString(Text(test.text));
    }
    // The time is that of pattern times text, not one that grows with the number of ways to match.
    Text many(250, 'a'), pattern;
    for (int i = 0; i < 40; ++i) pattern += TEXT("*a");
    EXPECT_FALSE(WildcardMatch((pattern + TEXT("b")).c_str(), many.c_str()));
}

TEST_F(JobNameTest, CleansTitles) {
    struct {
        const WCHAR *title, *name;
    } cases[] = {
        {TEXT("Microsoft Word - report.docx"), TEXT("report")},
        {TEXT("microsoft word - a - b.docx"), TEXT("a - b")},
        {TEXT("Microsoft Word - report.odt"), TEXT("report.odt")},
        {TEXT("Microsoft Word - "), TEXT("Microsoft Word - ")},
        {TEXT("Microsoft - x"), TEXT("Microsoft - x")},  // the star needs a name between the two blanks
        {TEXT("Visio-plan.vsd"), TEXT("plan")},
        {TEXT("Visio-"), TEXT("Visio-")},
        {TEXT("to do.TXT - notepad"), TEXT("to do")},
        {TEXT("Lotus Organizer - [June.none]"), TEXT("June.none")},
        {TEXT("Lotus Organizer - June"), TEXT("Lotus Organizer - June")},
        {TEXT("C:\\a.b\\c.d.xlsx"), TEXT("c.d")},
        {TEXT("C:\\a.txt\\c"), TEXT("c")},
        {TEXT("C:\\folder\\"), TEXT("C:\\folder\\")},
        {TEXT("Visio-C:\\x\\plan.vsd"), TEXT("plan")},
        {TEXT("FILE://server/share/note.txt"), TEXT("note")},
        {TEXT("file:///C:/notes/"), TEXT("file://\\C:\\notes\\")},
        {TEXT("https://host/page.txt"), TEXT("https://host/page.txt")},
        {TEXT("HTTP://example.com/"), TEXT("HTTP://example.com")},
        {TEXT("ftp://host/Microsoft x - y.docx"), TEXT("ftp://host/Microsoft x - y.docx")},
        {TEXT("http://host\\a.txt"), TEXT("a.txt")},
        {TEXT("no extension"), TEXT("no extension")},
        {TEXT(".docx"), TEXT("")},
        {TEXT(""), TEXT("")},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(cleaned(test.title), Text(test.name)) << testing::PrintToString(Text(test.title));
    }
    EXPECT_EQ(cleaned(TEXT("https://host/a//b/"), true), TEXT("host/a//b"));
    EXPECT_EQ(cleaned(TEXT("x//y"), true), TEXT("x//y"));  // no address
    EXPECT_EQ(cleaned(TEXT("C:\\a.docx"), false, false), TEXT("a.docx"));
}

TEST_F(JobNameTest, TakesThePreparedNameOnce) {
    host::machine().session = 0xAB;
    host::set_registry_string(HKEY_CURRENT_USER, kJobNames, TEXT("000000AB"), TEXT("C:\\mail\\Visio-letter.txt"));
    host::set_registry_string(HKEY_CURRENT_USER, kJobNames, TEXT("000000AC"), TEXT("another session's"));
    PathText name;
    EXPECT_TRUE(GetJobName(kPrinter, nullptr, 1, TEXT("title"), name));
    EXPECT_EQ(Text(name.c_str()), TEXT("letter"));
    EXPECT_FALSE(host::registry_value_exists(HKEY_CURRENT_USER, kJobNames, TEXT("000000AB")));
    EXPECT_TRUE(host::registry_value_exists(HKEY_CURRENT_USER, kJobNames, TEXT("000000AC")));
    EXPECT_TRUE(GetJobName(kPrinter, nullptr, 1, TEXT("Visio-title"), name));
    EXPECT_EQ(Text(name.c_str()), TEXT("title"));
    // A name without text behind its folder is taken all the same, but does not count.
    host::set_registry_string(HKEY_CURRENT_USER, kJobNames, TEXT("000000AB"), TEXT("C:\\mail\\"));
    EXPECT_TRUE(GetJobName(kPrinter, nullptr, 1, TEXT("title"), name));
    EXPECT_EQ(Text(name.c_str()), TEXT("title"));
    EXPECT_FALSE(host::registry_value_exists(HKEY_CURRENT_USER, kJobNames, TEXT("000000AB")));
}

TEST_F(JobNameTest, AsksTheSpoolerLast) {
    host::Printer printer;
    printer.jobs[5] = TEXT("Microsoft Excel - table.xlsx");
    printer.jobs[6] = TEXT("");
    HANDLE handle = host::open_printer(printer);
    PathText name;
    EXPECT_TRUE(GetJobName(kPrinter, handle, 5, nullptr, name));
    EXPECT_EQ(Text(name.c_str()), TEXT("table"));
    EXPECT_TRUE(GetJobName(kPrinter, handle, 5, TEXT("own"), name));
    EXPECT_EQ(Text(name.c_str()), TEXT("own"));
    EXPECT_FALSE(GetJobName(kPrinter, handle, 6, TEXT(""), name));
    EXPECT_FALSE(GetJobName(TEXT(""), handle, 7, nullptr, name));  // no such job
    host::close_printer(handle);
    EXPECT_TRUE(host::registry_key_exists(HKEY_CURRENT_USER, kJobNames.substr(0, kJobNames.rfind('\\')).c_str()));
    EXPECT_FALSE(host::registry_key_exists(HKEY_CURRENT_USER, kJobNames.c_str()));
    const Text long_title(300, 'x');
    EXPECT_TRUE(GetJobName(nullptr, nullptr, 0, long_title.c_str(), name));
    EXPECT_EQ(name.length(), 259u);
}

// A failing call costs at most what it was asked for.
TEST_F(JobNameTest, GetsANameThroughEachFailingCall) {
    host::Printer printer;
    printer.jobs[5] = TEXT("spooled");
    HANDLE handle = host::open_printer(printer);
    const auto before = host::live_objects();
    using host::CallKind;
    for (auto kind : {CallKind::Allocation, CallKind::Registry, CallKind::Spooler, CallKind::Process}) {
        uint64_t n = 1;
        for (bool reached = true; reached; ++n) {
            host::set_registry_string(HKEY_CURRENT_USER, kJobNames, TEXT("00000001"), TEXT("prepared.txt"));
            PathText first, second;
            host::clear_failures();
            host::fail_call(kind, n);
            GetJobName(kPrinter, handle, 5, TEXT("a.txt"), first);
            GetJobName(kPrinter, handle, 5, nullptr, second);
            reached = host::calls_made(kind) >= n;
            const Text names[] = {first.c_str(), second.c_str()};
            if (reached) {
                EXPECT_TRUE(names[0].starts_with(TEXT("prepared")) || names[0].starts_with(TEXT("a")) ||
                            names[0].empty());
            } else {
                EXPECT_TRUE(names[0] == TEXT("prepared") && names[1] == TEXT("spooled"));
            }
        }
        EXPECT_GT(n, 2u);
        EXPECT_TRUE(before == host::live_objects());
    }
    host::close_printer(handle);
}

}  // namespace
}  // namespace kv
