#pragma once
// One registry key: opened or created, enumerated, read and written, closed on destruction.

#include "support/memory.h"
#include "support/text.h"

namespace kv {

class CRegKey {
public:
    CRegKey() = default;
    ~CRegKey() { Close(); }
    CRegKey(const CRegKey&) = delete;
    CRegKey& operator=(const CRegKey&) = delete;

    // Closes a key opened before. The bits of the 64-bit view are dropped on a 32-bit system.
    BOOL Open(REGSAM access, HKEY root, const WCHAR* subkey);
    // Creates missing keys. Below HKEY_LOCAL_MACHINE and HKEY_USERS it takes high integrity.
    BOOL Create(REGSAM access, HKEY root, const WCHAR* subkey);
    void Close();
    bool is_open() const { return key_ != nullptr; }
    HKEY handle() const { return key_; }
    DWORD subkey_count() const { return subkeys_; }

    // Null past the end. Each result is valid until the next call on this key.
    const WCHAR* EnumValueName(DWORD index);
    const WCHAR* EnumSubkeyName(DWORD index);
    // The text of a REG_SZ or REG_EXPAND_SZ value as it stands, else null.
    const WCHAR* ReadString(const WCHAR* name);
    // The same without memory of its own. FALSE, and an empty path, also when the text is longer.
    BOOL read_path(const WCHAR* name, PathText& path);
    // The value of a 4-byte REG_DWORD, else fallback.
    DWORD ReadDword(const WCHAR* name, DWORD fallback);
    // Data of any type and of at most capacity bytes; size receives its length. FALSE for larger data.
    BOOL read_raw(const WCHAR* name, void* data, DWORD capacity, DWORD* size);
    BOOL WriteDword(const WCHAR* name, DWORD value);
    BOOL write(const WCHAR* name, DWORD type, const void* data, DWORD size);
    BOOL write_string(const WCHAR* name, const WCHAR* text);
    BOOL DeleteValue(const WCHAR* name);
    BOOL ValueExists(const WCHAR* name);

private:
    BOOL refresh();
    BOOL opened();
    // `capacity` is bytes.
    LSTATUS query_text(const WCHAR* name, WCHAR* target, DWORD capacity);

    HKEY key_ = nullptr;
    DWORD subkeys_ = 0, values_ = 0;
    // WCHAR, WCHAR, bytes: what the key's names and data need, and what is allocated when they are asked for.
    DWORD longest_subkey_ = 1, longest_value_ = 1, longest_data_ = 2;
    DWORD subkey_room_ = 0, value_room_ = 0, data_room_ = 0;
    HeapArray<WCHAR> subkey_name_, value_name_;
    HeapArray<BYTE> data_;
};

inline constexpr const WCHAR* kProductKeyPath = TEXT("Software\\Velmora Software\\Karvo12");
inline constexpr REGSAM kProductKeyRead = 0x20119, kProductKeyCreate = 0x6011F;
inline constexpr REGSAM kPrinterKeyRead = 0x20019, kPrinterKeyCreate = 0x6001F;

// The product key of the machine (HKEY_LOCAL_MACHINE) or the user (HKEY_CURRENT_USER).
BOOL open_product_key(CRegKey& key, HKEY root);
BOOL create_product_key(CRegKey& key, HKEY root);
// Of the machine in the view of 32 bits, where the product of that width has it, so that both widths see one key.
REGSAM printer_key_access(HKEY root, REGSAM access);
BOOL open_printer_key(CRegKey& key, HKEY root, const WCHAR* printer);
BOOL create_printer_key(CRegKey& key, HKEY root, const WCHAR* printer);
// The printer key's path: below "KarvoPrinters", the printer's name with backslashes turned into commas.
void GetPrinterSettingsKeyPath(const WCHAR* printer, TextBuffer<512>& path);

}  // namespace kv
