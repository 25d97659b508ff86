#include "support/file.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "support/memory.h"
#include "support/paths.h"
#include "support/process_state.h"
#include "tests/common/host_test.h"
#include "tests/common/workspace.h"

namespace kv::test {
namespace {

using Text = std::u16string;
constexpr const WCHAR* kPath = u"C:\\Windows\\Temp\\a.kv";

struct FileTest : HostTest {
    void TearDown() override {
        HostTest::TearDown();
        DeleteFileW(kPath);
    }
};

std::string content(const WCHAR* path) { return read_file(host::host_path(path)); }
size_t size_on_disk(const WCHAR* path) { return std::filesystem::file_size(host::host_path(path)); }

TEST_F(FileTest, BuffersUpTo32768BytesAndCountsThemInTheSize) {
    File* file = NewFile(kPath, 0x1001);
    ASSERT_TRUE(file);
    std::string data(40000, 'x');
    data[32767] = 'y';
    data[39999] = 'z';
    EXPECT_TRUE(file->Write(data.data(), 40000));
    EXPECT_EQ(size_on_disk(kPath), 32768u);
    EXPECT_EQ(file->GetSize(), 40000);
    EXPECT_TRUE(file->Write("", 0));
    EXPECT_TRUE(file->Close());
    EXPECT_EQ(content(kPath), data);
    EXPECT_TRUE(file->CloseAndDelete(FALSE));
    EXPECT_FALSE(FileExists(kPath));
    destroy_object(file);
}

TEST_F(FileTest, WritesLargePiecesStraightAndKeepsTheOrder) {
    for (DWORD first : {0u, 1u, 32767u, 32768u}) {
        for (DWORD second : {1u, 32767u, 32768u, 65536u, 100000u}) {
            File* file = NewFile(kPath, 0x1001);
            std::string a(first, 'a'), b(second, 'b');
            EXPECT_TRUE(file->Write(a.data(), first) && file->Write(b.data(), second));
            LONG position = 0;
            EXPECT_TRUE(file->GetPosition(&position));
            EXPECT_EQ(position, static_cast<LONG>(first + second));
            file->Close();
            EXPECT_EQ(content(kPath), a + b);
            destroy_object(file);
        }
    }
}

TEST_F(FileTest, PatchesThroughThePositionStack) {
    File* file = NewFile(kPath, 0x1001);
    EXPECT_TRUE(file->Write("0123456789", 10));
    EXPECT_FALSE(file->Seek(-1));
    EXPECT_TRUE(file->Seek(10));  // where it is: still buffered
    EXPECT_EQ(size_on_disk(kPath), 0u);
    EXPECT_TRUE(file->push_position() && file->Seek(2) && file->Write("AB", 2) && file->pop_position());
    EXPECT_FALSE(file->pop_position());
    EXPECT_TRUE(file->Write("end", 3));
    EXPECT_EQ(content(kPath), "01AB456789end");
    EXPECT_TRUE(file->Seek(4) && file->SetEndOfFile());
    EXPECT_EQ(content(kPath), "01AB");
    destroy_object(file);
    file = NewFile(kPath, 0x1001);
    EXPECT_TRUE(file->Write("kept", 4));
    destroy_object(file);
    EXPECT_EQ(content(kPath), "kept");
}

TEST_F(FileTest, CreatesMissingFoldersAndDeletesReadOnlyFiles) {
    const WCHAR* deep = u"C:\\new\\folder\\b.kv";
    File* file = NewFile(deep, 0x1001);
    ASSERT_TRUE(file);
    SetFileAttributesW(deep, FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(file->CloseAndDelete(FALSE));
    EXPECT_FALSE(FileExists(deep));
    destroy_object(file);
    EXPECT_TRUE(host::messages().empty());
}

// One failure is one message, and names what failed.
TEST_F(FileTest, NamesWhatRanOutOfMemory) {
    EXPECT_FALSE(NewFile(u"C:\\Windows", 0x1001));
    host::fail_call(host::CallKind::Allocation, 1);
    EXPECT_FALSE(NewFile(kPath, 0x1001));
    File* file = NewFile(kPath, 0x1001);
    ASSERT_TRUE(file);
    HANDLE other =
        CreateFileW(u"C:\\Windows\\Temp\\b", GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    host::fail_call(host::CallKind::Allocation, 1);
    EXPECT_FALSE(file->CopyFromFile(other, 0, -1, FALSE));
    EXPECT_EQ(shown(), (std::vector<Text>{u"An error of type 12140 occurred.", u"Out of memory (NewFile).",
                                          u"Out of memory (File::CopyFromFile)."}));
    CloseHandle(other);
    EXPECT_TRUE(file->CloseAndDelete(FALSE));
    destroy_object(file);
}

template <class Char>
BOOL print(File& file, const Char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const BOOL printed = file.printfV(format, arguments);
    va_end(arguments);
    return printed;
}

TEST_F(FileTest, PrintsTextsOfEverySize) {
    File* file = NewFile(kPath, 0x1001);
    EXPECT_TRUE(print(*file, "%d %s", 12, "ab") && print(*file, u"<%s>", u"c") && file->Flush());
    EXPECT_EQ(content(kPath), std::string("12 ab<\0c\0>\0", 11));
    // Around the ends of the buffer on the stack, the first blocks and the last one.
    for (int length : {0, 514, 515, 516, 4095, 4096, 8191, 8192, 102399, 102400, 204799, 204800}) {
        EXPECT_TRUE(file->Seek(0) && file->SetEndOfFile());
        const std::string text(static_cast<size_t>(length), 'x');
        EXPECT_EQ(print(*file, "%s", text.c_str()), length < 204800) << length;
        EXPECT_TRUE(file->Flush());
        EXPECT_EQ(content(kPath), length < 204800 ? text : "");

        EXPECT_TRUE(file->Seek(0) && file->SetEndOfFile());
        const std::u16string wide(static_cast<size_t>(length), u'x');
        SetLastError(0);
        EXPECT_EQ(print(*file, u"%s", wide.c_str()), length < 102400) << length;
        EXPECT_EQ(GetLastError(), length < 102400 ? DWORD{0} : DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(size_on_disk(kPath), length < 102400 ? 2u * wide.size() : 0u);
    }
    host::fail_call(host::CallKind::Allocation, 1);
    EXPECT_FALSE(print(*file, "%600d", 1));
    host::clear_failures();
    EXPECT_TRUE(file->CloseAndDelete(FALSE));
    EXPECT_FALSE(print(*file, "closed"));
    destroy_object(file);
}

TEST_F(FileTest, WritesNothingTwiceBehindAFailure) {
    const auto limit_files = [](rlim_t bytes) {
        rlimit limit;
        getrlimit(RLIMIT_FSIZE, &limit);
        limit.rlim_cur = std::min(bytes, limit.rlim_max);
        setrlimit(RLIMIT_FSIZE, &limit);
    };
    signal(SIGXFSZ, SIG_IGN);
    std::string first(32700, 'x');
    for (size_t i = 0; i < first.size(); i += 100) first.replace(i, 6, std::to_string(100000 + i));
    for (DWORD more : {100u, 70000u}) {
        File* file = NewFile(kPath, 0x1001);
        const std::string second(more, 'y');
        EXPECT_TRUE(file->Write(first.data(), 32700));
        limit_files(700);  // within a piece of 512 bytes
        EXPECT_FALSE(file->Write(second.data(), more) || file->Flush());
        limit_files(RLIM_INFINITY);
        LONG position = 0;
        EXPECT_TRUE(file->GetPosition(&position) && position == 32700);
        EXPECT_TRUE(file->Write(second.data(), more) && file->Close());
        EXPECT_TRUE(content(kPath) == first + second) << more;
        destroy_object(file);
    }
}

TEST_F(FileTest, HasNoNameBehindAFailedOpen) {
    process_state().resource_module = host::driver_module();
    for (const WCHAR* path : {u"C:\\Windows", u""}) {
        for (int kind : {0, 1, 2}) {
            File file;
            EXPECT_TRUE(file.Create(kPath, FALSE, nullptr));
            host::machine().temp_folder = u"C:\\none\\";
            EXPECT_FALSE(kind == 0   ? file.Create(path, FALSE, nullptr)
                         : kind == 1 ? file.OpenAlways(path, FALSE)
                                     : file.OpenRead(path, FALSE));
            EXPECT_TRUE(!*file.GetName() && !file.IsOpen() && file.CloseAndDelete(FALSE) && FileExists(kPath));
        }
    }
    const Text create = u"Could not create the file ", open = u"Could not open the file ",
               denied = u"C:\\Windows. Access is denied.", none = u". The path was not found.";
    EXPECT_EQ(shown(), (std::vector{create + denied, open + denied, open + denied, create + u"C:\\none\\" + none,
                                    open + u"C:\\none\\" + none, open + none}));
    host::machine().temp_folder = u"C:\\Windows\\Temp\\";
    File file;
    EXPECT_TRUE(file.OpenAlways(u"", FALSE) && Text(file.GetName()).find(u"\\Temp\\~KV") != Text::npos);
    EXPECT_TRUE(file.CloseAndDelete(FALSE));
    EXPECT_FALSE(file.OpenRead(file.GetName(), FALSE));
    EXPECT_NE(shown().back().find(u"\\Temp\\~KV"), Text::npos) << "its own name is told";
    process_state().resource_module = nullptr;
}

TEST_F(FileTest, CopiesWhatIsAskedForOrSaysThatItIsNotThere) {
    const WCHAR* source = u"C:\\Windows\\Temp\\b";
    write_file(host::host_path(source), "0123456789");
    HANDLE other = CreateFileW(source, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    const std::tuple<LONG, LONG, BOOL, std::string> cases[] = {{4, 3, TRUE, "456"},     {4, 6, TRUE, "456789"},
                                                               {4, 7, FALSE, "456789"}, {4, -1, TRUE, "456789"},
                                                               {12, 1, FALSE, ""},      {12, -1, TRUE, ""}};
    for (const auto& [offset, count, copied, text] : cases) {
        File file;
        EXPECT_TRUE(file.Create(kPath, FALSE, nullptr));
        SetLastError(0);
        EXPECT_EQ(file.CopyFromFile(other, offset, count, FALSE), copied) << offset << ' ' << count;
        EXPECT_EQ(GetLastError(), copied ? DWORD{0} : DWORD{ERROR_HANDLE_EOF});
        EXPECT_TRUE(file.Close());
        EXPECT_EQ(content(kPath), text);
    }
    CloseHandle(other);
    DeleteFileW(source);
}

// Every call of every kind failing in its turn: the result says so, nothing leaks, no file stays.
TEST_F(FileTest, SurvivesEachFailingCall) {
    fail_each_call({host::CallKind::Allocation, host::CallKind::File}, [&](const Failed& failed) {
        File* file = NewFile(kPath, 0x1001);
        const std::string data(70000, 'x');
        const bool good = file && file->Write(data.data(), 70000) && file->push_position() && file->Seek(1) &&
                          file->Write("y", 1) && file->pop_position() && file->Write("z", 1) && file->Close();
        const std::string function = failed();
        const bool buffers = function.starts_with("Global");  // without its buffer a file still works
        EXPECT_TRUE(good == function.empty() || buffers) << function;
        EXPECT_TRUE(!file || file->CloseAndDelete(TRUE));
        destroy_object(file);
        EXPECT_FALSE(FileExists(kPath));
    });
}

}  // namespace
}  // namespace kv::test
