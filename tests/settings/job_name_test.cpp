#include "settings/job_name.h"

#include "tests/common/host_test.h"

namespace kv::test {
namespace {

using Text = std::u16string;
const Text kJobNames = u"Software\\Velmora Software\\Karvo12\\KarvoPrinters\\,,server,P\\JobNames";
constexpr const WCHAR* kPrinter = u"\\\\server\\P";

struct JobNameTest : HostTest {
    void SetUp() override {
        HostTest::SetUp();
        // Each place that an extension's program can stand in.
        const Text choices = u"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\FileExts\\";
        host::set_registry_string(HKEY_CURRENT_USER, choices + u".docx\\UserChoice", u"ProgId", u"Word");
        host::set_registry_string(HKEY_LOCAL_MACHINE, choices + u".xlsx\\UserChoice", u"ProgId", u"X");
        const std::tuple<HKEY, Text, Text> classes[] = {{HKEY_CURRENT_USER, u".txt", u"txtfile"},
                                                        {HKEY_LOCAL_MACHINE, u".vsd", u"Visio"},
                                                        {HKEY_LOCAL_MACHINE, u".com", u"comfile"},
                                                        {HKEY_CURRENT_USER, u".none", u""}};
        for (const auto& [root, extension, program] : classes) {
            host::set_registry_string(root, u"Software\\Classes\\" + extension, u"", program);
        }
        before = host::live_objects();
    }
    static Text cleaned(const WCHAR* title, bool strip_scheme = false, bool strip_extension = true) {
        PathText name(title);
        CleanJobName(name, strip_scheme, strip_extension);
        return name.c_str();
    }
};

TEST_F(JobNameTest, MatchesWildcards) {
    const std::tuple<const WCHAR*, const WCHAR*, bool> cases[] = {
        {u"", u"a", false},
        {u"a", u"", false},
        {u"*", u"", false},
        {u"AbC", u"aBc", true},
        {u"\u00C4?", u"\u00E4x", true},
        {u"ab", u"abc", false},
        {u"abc", u"ab", false},
        {u"?", u"a", true},
        {u"a?", u"a", false},
        {u"*", u"a", true},
        {u"a***", u"ab", true},
        {u"a*", u"a", false},  // no text is left for the star
        {u"*b", u"b", true},   // but in front of a run it may take nothing
        {u"*bab", u"abbabab", true},
        {u"*bab", u"babx", false},
        {u"ab*ba", u"aba", false},  // the run must be in what the star leaves
        {u"*a?c", u"aacabc", true},
        {u"*?", u"ab", true},
        {u"?*", u"a", false},
        {u"*a*", u"xxa", false},
        {u"*a*", u"xaa", true},
        {u"*aab*c?", u"aaaab-c-cd", true},
        {u"*-?-*-", u"--a-b--c-d-", true},
        {u"*-?-*!", u"--a-b--c-d-", false},
    };
    for (const auto& [pattern, text, matches] : cases) {
        EXPECT_EQ(WildcardMatch(pattern, text), matches)
            << testing::PrintToString(Text(pattern)) << testing::PrintToString(Text(text));
    }
    // The time is that of pattern times text, not one that grows with the number of ways to match.
    const Text many(250, 'a');
    Text pattern;
    for (int i = 0; i < 40; ++i) pattern += u"*a";
    EXPECT_FALSE(WildcardMatch((pattern + u"b").c_str(), many.c_str()));
}

TEST_F(JobNameTest, CleansTitles) {
    const std::pair<const WCHAR*, const WCHAR*> cases[] = {
        {u"Microsoft Word - report.docx", u"report"},
        {u"microsoft word - a - b.docx", u"a - b"},
        {u"Microsoft Word - report.odt", u"report.odt"},
        {u"Microsoft Word - ", u"Microsoft Word - "},
        {u"Microsoft - x", u"Microsoft - x"},  // the star needs a name between the two blanks
        {u"Visio-plan.vsd", u"plan"},
        {u"Visio-", u"Visio-"},
        {u"to do.TXT - notepad", u"to do"},
        {u"Lotus Organizer - [June.none]", u"June.none"},
        {u"Lotus Organizer - June", u"Lotus Organizer - June"},
        {u"C:\\a.b\\c.d.xlsx", u"c.d"},
        {u"C:\\a.txt\\c", u"c"},
        {u"C:\\folder\\", u"C:\\folder\\"},
        {u"Visio-C:\\x\\plan.vsd", u"plan"},
        {u"FILE://server/share/note.txt", u"note"},
        {u"file:///C:/notes/", u"file://\\C:\\notes\\"},
        {u"https://host/page.txt", u"https://host/page.txt"},
        {u"HTTP://example.com/", u"HTTP://example.com"},
        {u"ftp://host/Microsoft x - y.docx", u"ftp://host/Microsoft x - y.docx"},
        {u"http://host\\a.txt", u"a.txt"},
        {u"no extension", u"no extension"},
        {u".docx", u""},
        {u"", u""},
    };
    for (const auto& [title, name] : cases) {
        EXPECT_EQ(cleaned(title), Text(name)) << testing::PrintToString(Text(title));
    }
    EXPECT_EQ(cleaned(u"https://host/a//b/", true), u"host/a//b");
    EXPECT_EQ(cleaned(u"x//y", true), u"x//y");  // no address
    EXPECT_EQ(cleaned(u"C:\\a.docx", false, false), u"a.docx");
}

// The name found, or "(none)".
Text name_of(const WCHAR* title, HANDLE handle = nullptr, DWORD job = 1, const WCHAR* printer = kPrinter) {
    PathText name;
    return GetJobName(printer, handle, job, title, name) ? name.c_str() : u"(none)";
}

TEST_F(JobNameTest, TakesThePreparedNameOnce) {
    host::machine().session = 0xAB;
    host::set_registry_string(HKEY_CURRENT_USER, kJobNames, u"000000AC", u"another session's");
    const Text cases[][2] = {{u"C:\\mail\\Visio-letter.txt", u"letter"},
                             // A name without text behind its folder is taken all the same, but does not count.
                             {u"C:\\mail\\", u"title"}};
    for (const auto& [prepared, name] : cases) {
        host::set_registry_string(HKEY_CURRENT_USER, kJobNames, u"000000AB", prepared);
        EXPECT_EQ(name_of(u"Visio-title"), name);
        EXPECT_FALSE(host::registry_value_exists(HKEY_CURRENT_USER, kJobNames, u"000000AB"));
        EXPECT_EQ(name_of(u"Visio-title"), u"title");
    }
    EXPECT_TRUE(host::registry_value_exists(HKEY_CURRENT_USER, kJobNames, u"000000AC"));
}

TEST_F(JobNameTest, AsksTheSpoolerLast) {
    host::Printer printer;
    printer.jobs = {{5, u"Microsoft Excel - table.xlsx"}, {6, u""}};
    HANDLE handle = host::open_printer(printer);
    EXPECT_EQ(name_of(nullptr, handle, 5), u"table");
    EXPECT_EQ(name_of(u"own", handle, 5), u"own");
    EXPECT_EQ(name_of(u"", handle, 6), u"(none)");
    EXPECT_EQ(name_of(nullptr, handle, 7, u""), u"(none)");  // no such job
    host::close_printer(handle);
    EXPECT_TRUE(host::registry_key_exists(HKEY_CURRENT_USER, kJobNames.substr(0, kJobNames.rfind('\\'))));
    EXPECT_FALSE(host::registry_key_exists(HKEY_CURRENT_USER, kJobNames));
    EXPECT_EQ(name_of(Text(300, 'x').c_str(), nullptr, 0, nullptr), Text(259, 'x'));
}

// A failing call costs at most what it was asked for.
TEST_F(JobNameTest, GetsANameThroughEachFailingCall) {
    host::Printer printer;
    printer.jobs[5] = u"spooled";
    host::set_registry_string(HKEY_CURRENT_USER, kJobNames, u"00000001", u"prepared.txt");
    HANDLE handle = host::open_printer(printer);
    before = host::live_objects();
    using enum host::CallKind;
    fail_each_call({Allocation, Registry, Spooler, Process}, [&](const Failed& failed) {
        const Text first = name_of(u"a.txt", handle, 5), second = name_of(nullptr, handle, 5);
        if (failed().empty()) {
            EXPECT_TRUE(first == u"prepared" && second == u"spooled");
        } else {
            EXPECT_TRUE(first.starts_with(u"prepared") || first.starts_with(u"a") || first == u"(none)");
        }
        host::set_registry_string(HKEY_CURRENT_USER, kJobNames, u"00000001", u"prepared.txt");
    });
    EXPECT_TRUE(shown().empty());
    host::close_printer(handle);
    before = host::live_objects();
}

}  // namespace
}  // namespace kv::test
