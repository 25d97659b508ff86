#pragma once
// Collects the full names that a font has for Windows, in every language.

#include "fonts/ttf.h"

namespace kv {

class CTtfFullNameReader : public CTtf {
public:
    ~CTtfFullNameReader() override { free_names(); }
    void Reset() override;
    void release() override;
    // Exchanges the directory entries of 'name' and 'cmap' in the image where 'name' comes first: which names count
    // depends on the character map.
    BOOL ParseFont() override;

    // After a parse: different names (whatever their letter case), sorted.
    DWORD full_name_count() const { return count_; }
    const WCHAR* full_name(DWORD index) const { return names_[index].text; }

protected:
    bool WantTable(DWORD table_tag) const override;
    BOOL OnNameRecord(const NameRecord& record, const NameText& text, LANGID language) override;
    BOOL ParseName(CTtfTable* table) override;

private:
    struct FullName {
        WCHAR* text;  // owned
        DWORD order;  // of the record
    };

    void put_cmap_before_name();
    BOOL collect(const NameText& text);
    void sort_names();
    void free_names();

    HeapArray<FullName> names_;
    DWORD count_ = 0, capacity_ = 0;
    DWORD counted_ = 0;
    bool collecting_ = false;
};

}  // namespace kv
