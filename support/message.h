#pragma once
// What the user must see, through one facility: a message box with an error icon, in the foreground, under
// an arrow cursor. Nothing is shown where the settings want silence and where nobody would see the box and close it: in
// session 0 and on a window station that is not visible. None of these changes the thread's last error.

#include "platform/win32.h"

namespace kv {

// Texts of the resource library, by their numbers there.
enum MessageNumber : UINT {
    kMessageFolder = 12139,    // a folder that cannot be made
    kMessageCreate = 12140,    // and these: a file that cannot be made,
    kMessageDelete = 12141,    // deleted,
    kMessageText = 12144,      // (shows a text of the driver as it stands)
    kMessageOpen = 12151,      // opened,
    kMessageRead = 12154,      // read,
    kMessagePosition = 12156,  // or asked for its size or position
    kMessageWrite = 12160,     // or written
};

// Nothing of the product's is to be seen where this is false.
bool may_show_windows();

enum class MessageKind { Error, Information };

void show_message(const WCHAR* text, MessageKind kind = MessageKind::Error);
// "Out of memory (%s)." naming the operation, or "Out of memory." without a name.
void report_out_of_memory(const WCHAR* operation);
// The operation's name with the system's text of the error.
void report_system_error(const WCHAR* operation, DWORD error);
// A numbered message of the resource module, whose "%s" take the arguments in order. When the text is missing, number
// kMessageText shows its argument, the others "An error of type %d occurred."
void report_message(UINT number, const WCHAR* first, const WCHAR* second = nullptr,
                    MessageKind kind = MessageKind::Error);
// A numbered message about a file: its name and the system's text of the error.
void report_file_error(UINT number, const WCHAR* file, DWORD error);

}  // namespace kv
