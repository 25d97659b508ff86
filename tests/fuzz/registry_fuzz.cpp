// Any keys and values in the registry: papers, trays, settings, names of jobs, the outbox, and what is offered of them.

#include "settings/device_settings.h"
#include "settings/job_name.h"
#include "settings/outbox.h"
#include "settings/paper_table.h"
#include "settings/paper_trays.h"
#include "support/reg_key.h"
#include "tests/fuzz/fuzz_input.h"
#include "ui/capabilities.h"
#include "ui/settings_model.h"

namespace kv {
namespace {

using WideText = std::basic_string<WCHAR>;

constexpr const WCHAR* kValueNames[] = {TEXT("ID"),
                                        TEXT("Width"),
                                        TEXT("Height"),
                                        TEXT("Units"),
                                        TEXT("PaperSize"),
                                        TEXT("Orientation"),
                                        TEXT("Resolution"),
                                        TEXT("PaperName"),
                                        TEXT("PaperWidth"),
                                        TEXT("PaperHeight"),
                                        TEXT("BitDepth"),
                                        TEXT("MarginLeft"),
                                        TEXT("MarginTop"),
                                        TEXT("MarginRight"),
                                        TEXT("MarginBottom"),
                                        TEXT("ShowDlg"),
                                        TEXT("Compression"),
                                        TEXT("DefaultFont"),
                                        TEXT("PathEscapes"),
                                        TEXT("AutoEm"),
                                        TEXT("ResDownSampMono"),
                                        TEXT("ResDownSamp"),
                                        TEXT("JpegQuality"),
                                        TEXT("KvAction"),
                                        TEXT("Outbox"),
                                        TEXT("300"),
                                        TEXT("32766"),
                                        TEXT("JobName"),
                                        TEXT("")};

WideText key_path(FuzzInput& in) {
    const WideText product = kProductKeyPath;
    switch (in.u8() % 6) {
        case 0:
            return product;
        case 1:
            return product + TEXT("\\CustomPapers\\") + in.text();
        case 2:
            return product + TEXT("\\PaperTrays");
        case 3:
            return product + TEXT("\\KarvoPrinters\\P");
        case 4:
            return product + TEXT("\\KarvoPrinters\\P\\PrinterDriverData");
        default:
            return product + TEXT("\\") + in.text();
    }
}

void write_value(FuzzInput& in) {
    static constexpr DWORD kTypes[] = {REG_SZ, REG_DWORD, REG_DWORD, REG_EXPAND_SZ, REG_BINARY, 0, 7, 11};
    const HKEY root = in.u8() % 2 ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    CRegKey key;
    if (!key.Create(KEY_READ | KEY_WRITE, root, key_path(in).c_str())) return;
    const DWORD which = in.u8();
    const WideText name = which < std::size(kValueNames) ? kValueNames[which] : in.text();
    const DWORD type = in.pick(kTypes);
    const std::vector<BYTE> data = type == REG_DWORD && in.u8() % 8 ? in.bytes(4) : in.bytes(in.u8() * 4);
    key.write(name.c_str(), type, data.data(), static_cast<DWORD>(data.size()));
}

void check_papers() {
    CCustomPaperList papers;
    papers.Load();
    for (size_t i = 0; i < papers.count(); ++i) {
        require(papers[i].id != 0 && text_length(papers[i].name) < std::size(papers[i].name));
        require(paper_tenths(papers[i].width) >= 0);
    }
    const WORD fresh = NewCustomPaperId(papers);
    require(fresh >= 300 && fresh < 32767);
}

void check_trays() {
    PaperTrays trays;
    GetPaperTrays(TEXT("P"), trays);
    for (size_t i = 0; i < trays.count; ++i) {
        require(trays.entries[i].bin >= 300 && trays.entries[i].bin < 32767 && !trays.entries[i].name.empty());
        require(trays.find(trays.entries[i].bin) == &trays.entries[i]);  // each once
    }
}

// The room for an answer is that of what was said to be needed.
void check_capabilities() {
    for (WORD capability = 0; capability < 40; ++capability) {
        const DWORD count = device_capability(TEXT("P"), capability, nullptr);
        if (count == kNoSuchCapability || count > 70000) continue;
        const std::unique_ptr<BYTE[]> room(new BYTE[size_t{count} * 128 + 16]());
        require(device_capability(TEXT("P"), capability, room.get()) == count);
    }
    for (const Setting setting : {Setting::Paper, Setting::Tray, Setting::Resolution}) {
        Choices choices;
        list_choices(TEXT("P"), setting, 12345, choices);
    }
}

void run(FuzzInput& in) {
    host::reset_all();
    host::set_messages_quiet(true);
    host::machine().integrity = 0x3000;  // may write the machine's keys
    host::machine().administrator = in.u8() % 2;
    for (int left = 40; left > 0 && !in.empty(); --left) write_value(in);
    check_papers();
    check_trays();
    host::Printer printer;
    printer.name = u"P";
    printer.jobs[1] = u"http://example.org/a title.doc";
    const HANDLE handle = host::open_printer(printer);
    DriverDevMode settings;
    LoadDeviceSettings(handle, nullptr, TEXT("P"), nullptr, settings);
    require(settings.dmFormName[CCHFORMNAME - 1] == 0);
    PathText name, outbox;
    GetJobName(TEXT("P"), handle, 1, TEXT("Title"), name);
    read_outbox(outbox);
    require(outbox.empty() || is_full_path(outbox.c_str()));
    host::close_printer(handle);
    check_capabilities();
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::FuzzInput in(data, size);
    kv::run(in);
    return 0;
}
