#pragma once
// What the Macintosh's script and language ids and the code pages of legacy names stand for. 0: nothing.

#include "platform/win32.h"

namespace kv {

UINT macintosh_code_page(WORD script);
LANGID macintosh_language(WORD language);
// The language whose texts a legacy code page is made for.
LANGID language_of_code_page(UINT code_page);

}  // namespace kv
