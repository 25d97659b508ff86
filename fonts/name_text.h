#pragma once
// The names of a font: texts of either form, how good a candidate each is, and the slots that keep the best.

#include "support/memory.h"

namespace kv {

// A text as UTF-16, as 8-bit text of a code page, or both. Code page 0 is the system's ANSI code page. Both forms
// end at their first 0.
class NameText {
public:
    // Take over terminated arrays; what was held is replaced.
    void adopt_wide(HeapArray<WCHAR> units, UINT code_page);
    void adopt_ansi(HeapArray<char> bytes, UINT code_page);
    // FALSE when memory is out.
    BOOL assign(const NameText& other);
    BOOL assign_wide(const WCHAR* text);
    void reset();
    HeapArray<WCHAR> take_wide() { return std::move(wide_); }

    // Null while the text has no such form.
    const WCHAR* wide() const { return wide_.get(); }
    const char* ansi() const { return ansi_.get(); }
    UINT code_page() const { return code_page_; }
    bool empty() const { return !(wide_ && wide_[0]) && !(ansi_ && ansi_[0]); }

    // Make the missing form from the other one by the code page. FALSE when memory is out; the form stays missing
    // when the system cannot convert.
    BOOL ensure_wide();
    BOOL ensure_ansi();

private:
    HeapArray<WCHAR> wide_;
    HeapArray<char> ansi_;
    UINT code_page_ = 0;
};

enum class Fits { No, Yes, NoMemory };
// Whether each character of the text has a place in the code page.
Fits fits_code_page(const NameText& text, UINT code_page);

// From 0 (empty) to 5 (English and representable in code page 1252). -1 when memory is out.
int NameScore(const NameText& text, LANGID language, UINT ansi_code_page);
// The same without regard to the language, 0 to 4.
int unique_id_score(const NameText& text, UINT ansi_code_page);

struct NameSlot {
    NameText text;
    LANGID language = 0;
    int score = 0;
};

// The best candidate that came as 8-bit text and the best that came as UTF-16.
struct NamePair {
    NameSlot ansi, wide;
};

// What a font calls itself.
struct NameSet {
    NamePair family, full, postscript;
    NameSlot unique;  // carries no language

    void reset() { *this = NameSet(); }
    // Offers the text of a record to the slots of its name id (1 family, 3 unique identifier, 4 full, 6 PostScript).
    // A slot takes what scores higher than its own text. FALSE when memory is out.
    BOOL offer(WORD name_id, const NameText& text, LANGID language, UINT ansi_code_page);
    // Fills the missing slot of each pair from the other one, prefers English in both, and gives the unique
    // identifier a UTF-16 form. FALSE when memory is out.
    BOOL merge();
};

}  // namespace kv
