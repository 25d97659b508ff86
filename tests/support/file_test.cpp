#include "support/file.h"

#include <filesystem>

#include "support/memory.h"
#include "support/paths.h"
#include "tests/common/host_test.h"
#include "tests/common/workspace.h"

namespace kv::test {
namespace {

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
}

TEST_F(FileTest, WritesWhatIsBufferedWhenItGoes) {
    File* file = NewFile(kPath, 0x1001);
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

TEST_F(FileTest, ReportsAFailedOpenWithNumberedTexts) {
    EXPECT_FALSE(NewFile(u"C:\\Windows", 0x1001));
    EXPECT_FALSE(NewFile(u"C:\\Windows\\Temp\\missing", 0));
    ASSERT_EQ(shown().size(), 2u);
    EXPECT_TRUE(shown()[1].starts_with(u"An error of type 12151")) << "no resource module is set here";
}

// One failure is one message, and names what failed.
TEST_F(FileTest, NamesWhatRanOutOfMemory) {
    host::fail_call(host::CallKind::Allocation, 1);
    EXPECT_FALSE(NewFile(kPath, 0x1001));
    File* file = NewFile(kPath, 0x1001);
    ASSERT_TRUE(file);
    HANDLE other =
        CreateFileW(u"C:\\Windows\\Temp\\b", GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    host::fail_call(host::CallKind::Allocation, 1);
    EXPECT_FALSE(file->CopyFromFile(other, 0, -1, FALSE));
    EXPECT_EQ(shown(),
              (std::vector<std::u16string>{u"Out of memory (NewFile).", u"Out of memory (File::CopyFromFile)."}));
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
