#include "settings/paper_table.h"

#include <algorithm>
#include <iterator>

#include "support/assert.h"
#include "support/process_state.h"
#include "support/reg_key.h"
#include "support/trace.h"

namespace kv {
namespace {

// By id; 48 and 49 are not papers of the system.
constexpr PaperRecord kStandardPapers[] = {
    // clang-format off
    {1, 1, 215900, 279400, TEXT("Letter")},
    {2, 1, 215900, 279400, TEXT("Letter Small")},
    {3, 1, 279400, 431800, TEXT("Tabloid")},
    {4, 1, 279400, 431800, TEXT("Ledger")},
    {5, 1, 215900, 355600, TEXT("Legal")},
    {6, 1, 139700, 215900, TEXT("Statement")},
    {7, 1, 184150, 266700, TEXT("Executive")},
    {8, 2, 297000, 420000, TEXT("A3")},
    {9, 2, 210000, 297000, TEXT("A4")},
    {10, 2, 210000, 297000, TEXT("A4 Small")},
    {11, 2, 148000, 210000, TEXT("A5")},
    {12, 2, 257000, 364000, TEXT("B4 (JIS)")},
    {13, 2, 182000, 257000, TEXT("B5 (JIS)")},
    {14, 1, 215900, 330200, TEXT("Folio")},
    {15, 2, 215000, 275000, TEXT("Quarto")},
    {16, 1, 254000, 355600, TEXT("10x14")},
    {17, 1, 279400, 431800, TEXT("11x17")},
    {18, 1, 215900, 279400, TEXT("Note")},
    {19, 1, 98425, 225425, TEXT("Envelope #9")},
    {20, 1, 104775, 241300, TEXT("Envelope #10")},
    {21, 1, 114300, 263525, TEXT("Envelope #11")},
    {22, 1, 120650, 279400, TEXT("Envelope #12")},
    {23, 1, 127000, 292100, TEXT("Envelope #14")},
    {24, 1, 431800, 558800, TEXT("C size sheet")},
    {25, 1, 558800, 863600, TEXT("D size sheet")},
    {26, 1, 863600, 1117600, TEXT("E size sheet")},
    {27, 2, 110000, 220000, TEXT("Envelope DL")},
    {28, 2, 162000, 229000, TEXT("Envelope C5")},
    {29, 2, 324000, 458000, TEXT("Envelope C3")},
    {30, 2, 229000, 324000, TEXT("Envelope C4")},
    {31, 2, 114000, 162000, TEXT("Envelope C6")},
    {32, 2, 114000, 229000, TEXT("Envelope C65")},
    {33, 2, 250000, 353000, TEXT("Envelope B4")},
    {34, 2, 176000, 250000, TEXT("Envelope B5")},
    {35, 2, 125000, 176000, TEXT("Envelope B6")},
    {36, 2, 110000, 230000, TEXT("Envelope Italy")},
    {37, 1, 98425, 190500, TEXT("Envelope Monarch")},
    {38, 1, 92075, 165100, TEXT("6 3/4 Envelope")},
    {39, 1, 279400, 377825, TEXT("US Std Fanfold")},
    {40, 1, 215900, 304800, TEXT("German Std Fanfold")},
    {41, 1, 215900, 330200, TEXT("German Legal Fanfold")},
    {42, 2, 250000, 353000, TEXT("B4 (ISO)")},
    {43, 2, 100000, 148000, TEXT("Japanese Postcard")},
    {44, 1, 228600, 279400, TEXT("9x11")},
    {45, 1, 254000, 279400, TEXT("10x11")},
    {46, 1, 279400, 381000, TEXT("11x15")},
    {47, 2, 220000, 220000, TEXT("Envelope Invite")},
    {50, 1, 241300, 304800, TEXT("Letter Extra")},
    {51, 1, 241300, 381000, TEXT("Legal Extra")},
    {52, 1, 296926, 457200, TEXT("Tabloid Extra")},
    {53, 2, 235458, 322326, TEXT("A4 Extra")},
    {54, 1, 215900, 279400, TEXT("Letter Transverse")},
    {55, 2, 210000, 297000, TEXT("A4 Transverse")},
    {56, 1, 241300, 304800, TEXT("Letter Extra Transverse")},
    {57, 2, 227000, 356000, TEXT("SuperA/SuperA/A4")},
    {58, 2, 305000, 487000, TEXT("SuperB/SuperB/A3")},
    {59, 1, 215900, 322326, TEXT("Letter Plus")},
    {60, 2, 210000, 330000, TEXT("A4 Plus")},
    {61, 2, 148000, 210000, TEXT("A5 Transverse")},
    {62, 2, 182000, 257000, TEXT("B5 (JIS) Transverse")},
    {63, 2, 322000, 445000, TEXT("A3 Extra")},
    {64, 2, 174000, 235000, TEXT("A5 Extra")},
    {65, 2, 201000, 276000, TEXT("B5 (ISO) Extra")},
    {66, 2, 420000, 594000, TEXT("A2")},
    {67, 2, 297000, 420000, TEXT("A3 Transverse")},
    {68, 2, 322000, 445000, TEXT("A3 Extra Transverse")},
    // clang-format on
};
static_assert(std::size(kStandardPapers) == 66);

// Ids of custom papers go up to what a device mode can say, 32766.
constexpr WORD kFirstCustomId = 300;
constexpr size_t kMostCustomIds = 32467;
static_assert(kFirstCustomId + kMostCustomIds == 32767);

}  // namespace

bool CPaperList::FindById(WORD id, WORD* index) const {
    if (id == 0) return false;
    for (WORD i = 0; i < count_; ++i) {
        if (records_[i].id != id) continue;
        *index = i;
        return true;
    }
    return false;
}

bool CPaperList::FindByName(const WCHAR* name, WORD* index) const {
    if (!name || !*name) return false;
    for (WORD i = 0; i < count_; ++i) {
        if (!same_text_ignoring_case(records_[i].name, name)) continue;
        *index = i;
        return true;
    }
    return false;
}

const PaperRecord* CPaperList::GetDefault() const {
    WORD index = 0;
    if (FindById(process_state().default_paper, &index)) return &records_[index];
    return count_ ? &records_[0] : nullptr;
}

CStdPaperList::CStdPaperList() : CPaperList(kStandardPapers, static_cast<WORD>(std::size(kStandardPapers))) {}

bool CStdPaperList::FindById(WORD id, WORD* index) const {
    if (id >= 1 && id <= 47) {
        *index = static_cast<WORD>(id - 1);
    } else if (id >= 50 && id <= 68) {
        *index = static_cast<WORD>(id - 3);
    } else {
        return false;
    }
    KV_ASSERT(kStandardPapers[*index].id == id);
    return true;
}

const PaperRecord* find_standard_paper(WORD id) {
    WORD index = 0;
    return CStdPaperList().FindById(id, &index) ? &kStandardPapers[index] : nullptr;
}

SHORT paper_tenths(LONG micrometres) { return static_cast<SHORT>(std::clamp<LONG>(micrometres / 100, 0, 32767)); }

WORD NewCustomPaperId(const CPaperList& list) {
    HeapArray<WORD> ids;
    size_t taken = 0;
    if (list.count() && !ids.alloc(list.count(), kQuietly)) return kFirstCustomId;
    for (size_t i = 0; i < list.count(); ++i) {
        if (list[i].id >= kFirstCustomId) ids[taken++] = list[i].id;
    }
    if (taken == 0 || taken >= kMostCustomIds) return kFirstCustomId;
    std::sort(ids.get(), ids.get() + taken);
    WORD free_id = kFirstCustomId;
    for (size_t i = 0; i < taken && ids[i] <= free_id; ++i) {
        if (ids[i] == free_id) ++free_id;  // ids may repeat
    }
    KV_ASSERT(free_id >= kFirstCustomId && free_id < kFirstCustomId + kMostCustomIds);
    return free_id;
}

void CCustomPaperList::Load() {
    count_ = 0;
    records_ = nullptr;
    owned_.reset();
    TextBuffer<512> path(kProductKeyPath);
    path.append(TEXT("\\CustomPapers"));
    CRegKey papers;
    if (!papers.Open(kProductKeyRead, HKEY_CURRENT_USER, path.c_str()) || papers.subkey_count() == 0) return;
    DWORD room = std::min<DWORD>(papers.subkey_count(), 0xFFFF);
    if (!owned_.alloc(room, kQuietly)) return;
    records_ = owned_.get();
    bool without_id = false;
    for (DWORD i = 0; count_ < room; ++i) {
        const WCHAR* name = papers.EnumSubkeyName(i);
        if (!name) break;
        CRegKey paper;
        if (!paper.Open(KEY_READ, papers.handle(), name)) continue;
        PaperRecord& record = owned_[count_];
        copy_text(record.name, std::size(record.name), name);
        record.id = LOWORD(paper.ReadDword(TEXT("ID"), 0));
        record.width = static_cast<LONG>(paper.ReadDword(TEXT("Width"), 0));
        record.height = static_cast<LONG>(paper.ReadDword(TEXT("Height"), 0));
        without_id |= record.id == 0;
        if (record.width == 0 || record.height == 0) continue;
        DWORD units = paper.ReadDword(TEXT("Units"), process_state().default_units);
        record.units = static_cast<WORD>(units >= 3 ? 1 : units);
        ++count_;
    }
    KV_ASSERT(count_ <= room);
    papers.Close();
    KV_TRACE(Settings, Info, "%u custom papers%s", count_, without_id ? ", ids are given" : "");
    if (without_id) assign_ids();
}

void CCustomPaperList::assign_ids() {
    KV_ASSERT(records_ == owned_.get());
    for (size_t i = 0; i < count_; ++i) {
        if (owned_[i].id == 0) owned_[i].id = NewCustomPaperId(*this);
        KV_ASSERT(owned_[i].id >= 1);
    }
    TextBuffer<512> path(kProductKeyPath);
    path.append(TEXT("\\CustomPapers"));
    CRegKey papers, paper;
    if (!papers.Open(KEY_READ | KEY_WRITE, HKEY_CURRENT_USER, path.c_str())) return;
    for (size_t i = 0; i < count_; ++i) {
        if (paper.Open(KEY_READ | KEY_WRITE, papers.handle(), owned_[i].name)) {
            paper.WriteDword(TEXT("ID"), owned_[i].id);
        }
    }
}

}  // namespace kv
