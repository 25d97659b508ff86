#pragma once
// A buffered file with a small stack of positions. Failures are reported to the user and returned; the object
// stays usable. Positions are signed 32-bit byte offsets.

#include "support/global_obj.h"
#include "support/text.h"

namespace kv {

// Bytes: positions are signed 32-bit.
inline constexpr DWORD kLongestFile = 0x7FFFFFFF;

class File {
public:
    File() = default;
    // Writes what is buffered.
    virtual ~File() { File::Close(); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // Appends count bytes from offset of another open file (all bytes after offset for -1) in pieces of 512,
    // restores that file's position, and cuts this file behind them when asked. FALSE when there are fewer bytes.
    virtual BOOL CopyFromFile(HANDLE other, LONG offset, LONG count, BOOL truncate_afterwards);
    // A new or emptied file for reading and writing. Missing folders are created; an empty path makes a new
    // temporary file. After an open that failed, of whichever kind, the object has no name.
    virtual BOOL Create(const WCHAR* path, BOOL quiet, SECURITY_ATTRIBUTES* security);
    // Ends write buffering until the file is opened again. bytes_read may be less than n at the end.
    virtual BOOL Read(void* buffer, DWORD n, DWORD* bytes_read);
    // FALSE when buffered data could not be written; the file is closed all the same.
    virtual BOOL Close();
    virtual BOOL CloseAndDelete(BOOL quiet);
    // Until the file is opened again no failure is shown: for who goes on after one that the user has seen.
    void be_quiet() { quiet_ = true; }
    virtual BOOL Flush();
    virtual BOOL GetPosition(LONG* position);
    virtual const WCHAR* GetName() const { return name_.c_str(); }
    // -1 not open, 0 read-only, 1 read and write.
    virtual LONG GetMode() const { return mode_; }
    // Buffered bytes included; -1 on failure.
    virtual LONG GetSize();
    virtual BOOL IsOpen() const { return handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE; }
    virtual BOOL OpenRead(const WCHAR* path, BOOL quiet);
    // Creates a missing file, and a new temporary one for an empty path.
    virtual BOOL OpenAlways(const WCHAR* path, BOOL quiet);
    // Writes a formatted text without its terminator. The 8-bit form formats as printf does, the other as format_text.
    // FALSE when the text takes more than 204800 bytes (last error 122); nothing is written then.
    virtual BOOL printfV(const char* format, va_list arguments);
    virtual BOOL printfV(const WCHAR* format, va_list arguments);
    virtual BOOL Seek(LONG position);
    // Cuts the file at the current position.
    virtual BOOL SetEndOfFile();
    // On failure the buffer keeps what came before and has not reached the disk, and nothing of these bytes.
    virtual BOOL Write(const void* data, DWORD n);

    // Four positions at most: FALSE when the stack is full (empty).
    BOOL push_position();
    BOOL pop_position();

private:
    BOOL open(const WCHAR* path, DWORD access, DWORD disposition, SECURITY_ATTRIBUTES* security, LONG mode);
    BOOL open_or_temporary(const WCHAR* path, DWORD disposition, SECURITY_ATTRIBUTES* security, UINT message,
                           BOOL quiet);
    BOOL fail_open(UINT message, const WCHAR* path, DWORD error, BOOL quiet);
    void close_handle();
    // `written` receives what reached the disk, also on failure.
    BOOL write_through(const BYTE* data, DWORD n, DWORD* written);
    BOOL end_buffering();
    BOOL fail(UINT message);
    template <class Unit, class Format>
    BOOL write_formatted(Format format);

    // Bytes. A full buffer is written piece by piece: what a failing call has put on the disk is known to the piece.
    static constexpr DWORD kBufferSize = 32768, kFlushPiece = 512;
    static_assert(kBufferSize % kFlushPiece == 0);

    LONG position_ = -1;  // -1: the system must be asked
    LONG mode_ = -1;
    bool buffered_ = false, quiet_ = false;
    HANDLE handle_ = INVALID_HANDLE_VALUE;
    PathText name_;
    CGlobalObj buffer_;
    DWORD fill_ = 0;
    DWORD depth_ = 0;
    LONG saved_[4] = {};
};

enum : UINT { kFileReadWrite = 0x1, kFileOpenAlways = 0x2, kFileCreate = 0x1000 };

// An open file, or null: kFileCreate creates, kFileReadWrite or kFileOpenAlways open or create, otherwise the file
// is opened for reading. Freed with destroy_object.
File* NewFile(const WCHAR* path, UINT flags, SECURITY_ATTRIBUTES* security = nullptr);

}  // namespace kv
