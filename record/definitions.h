#pragma once
// The definitions that a job has so far: drawing refers to them by identifier.

#include "record/definition_table.h"

namespace kv {

struct Definitions {
    DefinitionTable brushes, fonts, font_files;
    DWORD document_number = 0;  // tells this document from every other of the process; 0 while nobody asked

    void clear_definitions();
};

}  // namespace kv
