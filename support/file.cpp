#include "support/file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "support/assert.h"
#include "support/memory.h"
#include "support/message.h"
#include "support/paths.h"
#include "support/trace.h"

namespace kv {

BOOL File::fail(UINT message) {
    if (!quiet_) report_file_error(message, name_.c_str(), GetLastError());
    return KV_FAIL(Support, "message %u: %s", message, TraceText(name_.c_str()).c_str());
}

BOOL File::open(const WCHAR* path, DWORD access, DWORD disposition, SECURITY_ATTRIBUTES* security, LONG mode) {
    KV_ASSERT(!File::IsOpen() && mode >= 0);
    handle_ = CreateFileW(path, access, FILE_SHARE_READ, security, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (!IsOpen()) return FALSE;
    name_.assign(path);
    mode_ = mode;
    position_ = 0;
    fill_ = depth_ = 0;
    quiet_ = false;
    // Without memory for the buffer the file works unbuffered.
    buffered_ = mode > 0 && buffer_.Alloc(kBufferSize);
    if (mode > 0) {
        KV_TRACE(Support, Info, "%s: %s", buffered_ ? "buffered" : "unbuffered", TraceText(path).c_str());
    }
    return TRUE;
}

BOOL File::fail_open(UINT message, const WCHAR* path, DWORD error, BOOL quiet) {
    if (!quiet) report_file_error(message, path, error);
    SetLastError(error);
    // The path may be the object's own name.
    const BOOL failed = KV_FAIL(Support, "not opened: %s", TraceText(path).c_str());
    name_.clear();
    return failed;
}

BOOL File::open_or_temporary(const WCHAR* path, DWORD disposition, SECURITY_ATTRIBUTES* security, UINT message,
                             BOOL quiet) {
    constexpr DWORD kAccess = GENERIC_READ | GENERIC_WRITE;
    PathText temporary, folder;
    if (IsOpen()) Close();
    if (!path || !*path) {
        if (!GetTempFolder(folder) || !CreateTempFile(folder.c_str(), temporary)) {
            return fail_open(message, folder.c_str(), GetLastError(), quiet);
        }
        path = temporary.c_str();
    }
    if (open(path, kAccess, disposition, security, 1)) return TRUE;
    DWORD error = GetLastError();
    if (error == ERROR_PATH_NOT_FOUND && disposition == CREATE_ALWAYS && create_folders_of(path)) {
        if (open(path, kAccess, disposition, security, 1)) return TRUE;
        error = GetLastError();
    }
    if (!temporary.empty()) DeleteFileW(temporary.c_str());
    return fail_open(message, path, error, quiet);
}

BOOL File::Create(const WCHAR* path, BOOL quiet, SECURITY_ATTRIBUTES* security) {
    return open_or_temporary(path, CREATE_ALWAYS, security, kMessageCreate, quiet);
}

BOOL File::OpenAlways(const WCHAR* path, BOOL quiet) {
    return open_or_temporary(path, OPEN_ALWAYS, nullptr, kMessageOpen, quiet);
}

BOOL File::OpenRead(const WCHAR* path, BOOL quiet) {
    if (IsOpen()) Close();
    return open(path, GENERIC_READ, OPEN_EXISTING, nullptr, 0) ? TRUE
                                                               : fail_open(kMessageOpen, path, GetLastError(), quiet);
}

BOOL File::write_through(const BYTE* data, DWORD n, DWORD* written) {
    *written = 0;
    if (n == 0) return TRUE;
    if (WriteFile(handle_, data, n, written, nullptr)) {
        if (*written == n) return TRUE;
        SetLastError(ERROR_DISK_FULL);
    }
    position_ = -1;
    return fail(kMessageWrite);
}

BOOL File::Flush() {
    if (!File::IsOpen()) return KV_FAIL(Support, "the file is not open");
    KV_ASSERT(fill_ <= kBufferSize && (buffered_ || fill_ == 0));
    for (DWORD done = 0, written = 0; done < fill_;) {
        const BOOL whole = write_through(buffer_.data() + done, std::min(kFlushPiece, fill_ - done), &written);
        done += written;
        KV_ASSERT(done <= fill_);
        if (!whole) {
            // What reached the disk leaves the buffer; the rest may be tried again.
            fill_ -= done;
            std::memmove(buffer_.data(), buffer_.data() + done, fill_);
            return FALSE;
        }
    }
    fill_ = 0;
    return TRUE;
}

BOOL File::Write(const void* data, DWORD n) {
    if (!IsOpen() || mode_ < 1) return KV_FAIL(Support, "the file is not open for writing");
    if (n == 0 || !data) return TRUE;
    const BYTE* bytes = static_cast<const BYTE*>(data);
    KV_ASSERT(fill_ < kBufferSize);
    LONG position = position_ < 0 ? -1 : static_cast<LONG>(static_cast<DWORD>(position_) + n);
    DWORD written = 0;
    if (!buffered_) {
        if (!write_through(bytes, n, &written)) return FALSE;
    } else if (n < kBufferSize - fill_) {
        KV_ASSERT(buffer_.size() >= kBufferSize);
        std::memcpy(buffer_.data() + fill_, bytes, n);
        fill_ += n;
    } else {
        DWORD top = kBufferSize - fill_;
        std::memcpy(buffer_.data() + fill_, bytes, top);
        fill_ = kBufferSize;
        if (!Flush()) {
            fill_ -= std::min(fill_, top);
            return FALSE;
        }
        DWORD straight = (n - top) / kBufferSize * kBufferSize;
        if (!write_through(bytes + top, straight, &written)) return FALSE;
        fill_ = n - top - straight;
        KV_ASSERT(fill_ < kBufferSize && straight % kBufferSize == 0);
        std::memcpy(buffer_.data(), bytes + top + straight, fill_);
    }
    position_ = position;
    return TRUE;
}

// format(target, units) gives the units of the whole text, or -1.
template <class Unit, class Format>
BOOL File::write_formatted(Format format) {
    // Bytes, the terminator included: what is formatted without a block, how blocks are rounded up, and the longest
    // one.
    constexpr size_t kSmall = 516, kStep = 4096, kLargest = 204800;
    static_assert(kLargest % kStep == 0 && kSmall < kStep);
    Unit small[kSmall / sizeof(Unit)];
    const auto length = static_cast<long long>(format(small, std::size(small)));
    if (length < 0) return FALSE;
    const auto bytes = static_cast<size_t>(length) * sizeof(Unit);
    if (bytes < kSmall) return Write(small, static_cast<DWORD>(bytes));
    const size_t size = (bytes + sizeof(Unit) + kStep - 1) / kStep * kStep;
    if (size > kLargest) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return KV_FAIL(Support, "a formatted text of %u bytes", static_cast<unsigned>(size));
    }
    KV_ASSERT(size > bytes && size % kStep == 0);
    CGlobalObj block;
    if (!block.Alloc(static_cast<DWORD>(size))) return FALSE;
    format(reinterpret_cast<Unit*>(block.data()), size / sizeof(Unit));
    return Write(block.data(), static_cast<DWORD>(bytes));
}

BOOL File::printfV(const char* format, va_list arguments) {
    return write_formatted<char>([&](char* target, size_t size) {
        va_list again;
        va_copy(again, arguments);
        const int length = std::vsnprintf(target, size, format, again);
        va_end(again);
        return length;
    });
}

BOOL File::printfV(const WCHAR* format, va_list arguments) {
    return write_formatted<WCHAR>(
        [&](WCHAR* target, size_t units) { return vformat_text(target, units, format, arguments); });
}

BOOL File::end_buffering() {
    if (!Flush()) return FALSE;
    if (buffered_) KV_TRACE(Support, Info, "no longer buffered: %s", TraceText(name_.c_str()).c_str());
    KV_ASSERT(fill_ == 0);
    buffered_ = false;
    return TRUE;
}

BOOL File::Read(void* buffer, DWORD n, DWORD* bytes_read) {
    *bytes_read = 0;
    if (!IsOpen()) return KV_FAIL(Support, "the file is not open");
    if (!end_buffering()) return FALSE;
    if (!ReadFile(handle_, buffer, n, bytes_read, nullptr)) {
        position_ = -1;
        return fail(kMessageRead);
    }
    if (position_ >= 0) position_ += static_cast<LONG>(*bytes_read);
    return TRUE;
}

BOOL File::GetPosition(LONG* position) {
    if (!IsOpen()) return KV_FAIL(Support, "the file is not open");
    if (position_ < 0) {
        DWORD at = SetFilePointer(handle_, 0, nullptr, FILE_CURRENT);
        if (at == INVALID_SET_FILE_POINTER) return fail(kMessagePosition);
        position_ = static_cast<LONG>(at + fill_);
    }
    *position = position_;
    return TRUE;
}

LONG File::GetSize() {
    if (!IsOpen()) return -1;
    DWORD size = GetFileSize(handle_, nullptr);
    if (size == INVALID_FILE_SIZE) {
        fail(kMessagePosition);
        return -1;
    }
    return static_cast<LONG>(size + fill_);
}

BOOL File::Seek(LONG position) {
    if (!IsOpen() || position < 0) return KV_FAIL(Support, "not open, or to position %d", static_cast<int>(position));
    if (LONG current = 0; GetPosition(&current) && current == position) return TRUE;
    if (!end_buffering()) return FALSE;
    if (SetFilePointer(handle_, position, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER) {
        position_ = -1;
        return fail(kMessagePosition);
    }
    position_ = position;
    return TRUE;
}

BOOL File::SetEndOfFile() {
    if (!IsOpen() || mode_ < 1) return KV_FAIL(Support, "the file is not open for writing");
    if (!Flush()) return FALSE;
    if (::SetEndOfFile(handle_)) return TRUE;
    if (!quiet_) report_system_error(TEXT("SetEndOfFile"), GetLastError());
    return KV_FAIL(Support, "not cut: %s", TraceText(name_.c_str()).c_str());
}

void File::close_handle() {
    if (File::IsOpen()) CloseHandle(handle_);
    handle_ = INVALID_HANDLE_VALUE;
    position_ = mode_ = -1;
    fill_ = depth_ = 0;
}

BOOL File::Close() {
    BOOL flushed = !File::IsOpen() || File::Flush();  // also while the object is being destroyed
    close_handle();
    return flushed;
}

BOOL File::CloseAndDelete(BOOL quiet) {
    buffer_.free();
    close_handle();
    if (name_.empty()) return TRUE;
    SetFileAttributesW(name_.c_str(), FILE_ATTRIBUTE_NORMAL);
    if (DeleteFileW(name_.c_str())) return TRUE;
    DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return TRUE;
    if (!quiet && !quiet_) report_file_error(kMessageDelete, name_.c_str(), error);
    return KV_FAIL(Support, "not deleted: %s", TraceText(name_.c_str()).c_str());
}

BOOL File::push_position() {
    KV_ASSERT(depth_ <= std::size(saved_));
    return depth_ < std::size(saved_) && GetPosition(&saved_[depth_]) ? (++depth_, TRUE) : FALSE;
}

BOOL File::pop_position() { return depth_ > 0 && Seek(saved_[--depth_]); }

BOOL File::CopyFromFile(HANDLE other, LONG offset, LONG count, BOOL truncate_afterwards) {
    DWORD size = GetFileSize(other, nullptr);
    if (size == INVALID_FILE_SIZE) {
        report_system_error(TEXT("GetFileSize"), GetLastError());
        return KV_FAIL(Support, "the other file has no size");
    }
    DWORD before = SetFilePointer(other, 0, nullptr, FILE_CURRENT);
    if (before == INVALID_SET_FILE_POINTER ||
        SetFilePointer(other, offset, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER) {
        report_system_error(TEXT("SetFilePointer"), GetLastError());
        return KV_FAIL(Support, "the other file has no position %d", static_cast<int>(offset));
    }
    DWORD start = static_cast<DWORD>(offset);
    DWORD left = count >= 0 ? static_cast<DWORD>(count) : start < size ? size - start : 0;
    HeapArray<BYTE> piece;
    BOOL ok = piece.alloc(kFlushPiece, TEXT("File::CopyFromFile"));
    while (ok && left > 0) {
        DWORD got = 0;
        const BOOL read = ReadFile(other, piece.get(), std::min(left, kFlushPiece), &got, nullptr);
        if (!read || got == 0) {
            if (read) SetLastError(ERROR_HANDLE_EOF);  // fewer bytes than asked for
            report_system_error(TEXT("ReadFile"), GetLastError());
            ok = KV_FAIL(Support, "%u bytes of the other file are missing", static_cast<unsigned>(left));
        } else {
            KV_ASSERT(got <= left);
            ok = Write(piece.get(), got);
            left -= got;
        }
    }
    SetFilePointer(other, static_cast<LONG>(before), nullptr, FILE_BEGIN);
    return ok && (!truncate_afterwards || SetEndOfFile());
}

File* NewFile(const WCHAR* path, UINT flags, SECURITY_ATTRIBUTES* security) {
    File* file = make_object_for<File>(TEXT("NewFile"));
    if (!file) return nullptr;
    if (flags & kFileCreate) {
        file->Create(path, FALSE, security);
    } else if (flags & (kFileReadWrite | kFileOpenAlways)) {
        file->OpenAlways(path, FALSE);
    } else {
        file->OpenRead(path, FALSE);
    }
    if (!file->IsOpen()) destroy_object(file);
    return file;
}

}  // namespace kv
