#pragma once
// The messages of the dispatcher's pipe. One request and one reply a transaction; all integers are little-endian, texts
// are UTF-16 with a terminating 0.

#include "platform/win32.h"

namespace kv {

enum DispatchCode : DWORD {
    kDispatchStartDoc = 1,   // StartDocHeader, document name, printer name, name of the user interface's library
    kDispatchEndDoc = 2,     // EndDocHeader, full path of the job file, which is the dispatcher's from then on
    kDispatchAbort = 3,      // the dispatcher's job id
    kDispatchJobPath = 200,  // nothing; the reply is the path that the job file must have
    kDispatchPrepare = 205,  // nothing: a document is coming
};

// The reply to StartDoc is the dispatcher's id of the job, 0 when it is refused; the other replies say nothing.
using DispatchReply = DWORD;
inline constexpr DWORD kJobPathReplySize = 520;  // bytes: 260 units with the terminator

inline constexpr DWORD kDispatchFormat = 0x0C040002;  // in front of the headers
inline constexpr WORD kProductFamily = 1;

#pragma pack(push, 2)
struct StartDocHeader {
    DWORD format;
    DWORD spooler_job_id;
    WORD product_family, product;
    DWORD ShowDlg;
    WORD KvAction;
};
struct EndDocHeader {
    DWORD format;
    DWORD job_id;
    DWORD one, another_one;
};
#pragma pack(pop)
static_assert(sizeof(StartDocHeader) == 18 && sizeof(EndDocHeader) == 16);

}  // namespace kv
