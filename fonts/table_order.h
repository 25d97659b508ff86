#pragma once
// The byte order of tables of fixed fields.

#include "fonts/sfnt.h"

namespace kv {

// Turns the numbers of a table around: of 'head', 'hhea', 'hmtx', 'maxp', 'OS/2', 'name', 'cmap' or 'post'. A table
// shorter than its fixed part is left alone, as is one of any other tag.
void swap_table(DWORD table_tag, std::span<BYTE> bytes, ByteOrder from);

// The size from which on a table of fixed fields has the fields that are read; 0 for any other.
DWORD least_size(DWORD table_tag);

// The bytes of a table that no other table may turn around: its own numbers and texts, of 'post' all; 0 for a table of
// which nothing is read.
DWORD convertible_size(DWORD table_tag, DWORD length);

}  // namespace kv
