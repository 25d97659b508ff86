#pragma once
// Papers: the built-in table keyed by the system's paper ids, and the user's custom papers from the registry.
// Sizes are micrometres.

#include "support/assert.h"
#include "support/memory.h"
#include "support/text.h"

namespace kv {

struct PaperRecord {
    WORD id;
    WORD units;  // 1 inch-based, 2 metric
    LONG width, height;
    WCHAR name[64];
};
static_assert(sizeof(PaperRecord) == 140 && offsetof(PaperRecord, name) == 12);

class CPaperList {
public:
    virtual ~CPaperList() = default;
    // False for id 0 and for an id that the list does not hold.
    virtual bool FindById(WORD id, WORD* index) const;

    // The first record of the name, without regard to case; an empty name is never found.
    bool FindByName(const WCHAR* name, WORD* index) const;
    // The process-wide default paper when the list has it, else the first record, else null.
    const PaperRecord* GetDefault() const;
    WORD count() const { return count_; }
    const PaperRecord& operator[](size_t index) const {
        KV_ASSERT(index < count_);
        return records_[index];
    }

protected:
    CPaperList() = default;
    CPaperList(const PaperRecord* records, WORD count) : count_(count), records_(records) {}
    WORD count_ = 0;
    const PaperRecord* records_ = nullptr;
};

class CStdPaperList : public CPaperList {
public:
    CStdPaperList();
    bool FindById(WORD id, WORD* index) const override;
};

class CCustomPaperList : public CPaperList {
public:
    // Reads the user's custom papers and gives ids to those without, written back where possible. The list is
    // empty when there are none or memory is out.
    void Load();

private:
    void assign_ids();
    HeapArray<PaperRecord> owned_;
};

// The standard paper of an id, or null.
const PaperRecord* find_standard_paper(WORD id);
// Micrometres as tenths of a millimetre, within what a device mode can say.
SHORT paper_tenths(LONG micrometres);
// The first id from 300 upward that no paper of the list uses; 300 when 32467 ids or more are taken.
WORD NewCustomPaperId(const CPaperList& list);

}  // namespace kv
