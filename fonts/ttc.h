#pragma once
// Splits a collection of fonts in memory into readers of its members.

#include "fonts/ttf.h"

namespace kv {

class CTtc {
public:
    CTtc() = default;
    CTtc(const CTtc&) = delete;
    CTtc& operator=(const CTtc&) = delete;

    // Forgets the bytes and the members.
    virtual void reset();
    // Destroys the members.
    virtual void release();
    virtual ~CTtc() { CTtc::release(); }

    // Reads a whole file and splits it. TRUE when the file was read, whatever became of the split.
    BOOL load_from_file(const WCHAR* path);
    // Splits bytes that stay alive and writable. FALSE only for null bytes or size 0.
    BOOL set_data(BYTE* bytes, DWORD size);
    // Makes the table offsets of each member relative to its offset table, in the bytes: they are no collection file
    // afterwards and cannot be split again. FALSE for a damaged header, and when memory is out; there are no members
    // then. A collection of more than 4096 members is damaged.
    BOOL Split();

    // Null at the end.
    CTtf* first_member();
    CTtf* next_member();
    // Of all members together, and of other readers of them. Beyond it a parse fails.
    ReadBudget& budget() { return budget_; }

private:
    static constexpr DWORD kMostMembers = 4096;
    // A sound collection's members read less than a tenth of it; those of a small one may share more than it has.
    static constexpr uint64_t kFreeBudget = 4 * ReadBudget::kOnePass;

    BOOL split_member(const CollectionHeader& header, DWORD index);

    CGlobalObj buffer_;
    std::span<BYTE> bytes_;
    ReadBudget budget_{0};
    CTtf* members_ = nullptr;
    DWORD constructed_ = 0, count_ = 0, cursor_ = 0;
};

}  // namespace kv
