// Documents with text under failure: whatever call fails, the result is the documented one and nothing is left behind.

#include <filesystem>

#include "fonts/process_fonts.h"
#include "tests/common/fault_test.h"
#include "tests/common/text_test.h"

namespace kv::test {
namespace {

using engine::Font;
using engine::String;

FontPlan plan_of(const std::u16string& family) {
    FontPlan plan;
    plan.family = plan.full = family;
    plan.postscript = plan.unique = family;
    return plan;
}

struct TextFaults : FaultTest {
    // What text may do without: the job then names a font instead of carrying it, or lacks the text.
    static BOOL is_tolerated(engine::Device& target) {
        return reinterpret_cast<PDEVICE*>(target.handle())->failed == 0 && !host::failed_function().empty();
    }
    void print_text(engine::Device& target, Answers& note, std::u16string text, Font& font, POINTL at,
                    const RECTL* opaque = nullptr) {
        engine::Brush black = engine::Brush::solid(0), white = engine::Brush::solid(0xFFFFFF);
        engine::Clip clip = engine::Clip::rectangle({0, 0, 400, 1000});
        String string(font, text, at);
        string.set_batch(100);
        string.flAccel |= SO_DXDY;
        const BOOL drawn = target.text_out(string, font, &clip, black, opaque, opaque ? &white : nullptr);
        if (!drawn && is_tolerated(target)) return;
        note(drawn);
    }
    // Every kind of font for the first time.
    void print_page(engine::Device& target, Answers& note) {
        const RECTL box = {0, 0, 300, 300};
        note(target.start_page());
        Font installed(sans, 0, 20), other(stranger, 0, 30), turned(stranger, 0, 30, 90), member(collection, 1, 20);
        print_text(target, note, std::u16string(300, u'A'), installed, {10, 100});
        print_text(target, note, u"ABC", other, {10, 200}, &box);
        print_text(target, note, u"ABC", other, {100, 200});
        print_text(target, note, u"AB", turned, {300, 600});
        print_text(target, note, u"BA", member, {10, 300});
        note(target.send_page());
    }
    // The device has changed; the job knows this font already.
    void print_known(engine::Device& target, Answers& note) {
        Font other(stranger, 0, 30);
        note(target.start_page());
        print_text(target, note, u"ABC", other, {10, 200});
        note(target.send_page());
    }
    Script print() {
        return [this](engine::Device& target, Answers& note) {
            note(target.start_document(u"Faults", 3));
            print_page(target, note);
            target.reset(landscape());
            print_known(target, note);
            note(target.end_document());
        };
    }
    // Only what travels with its file: the rest of a document is the same.
    Script print_captured() {
        return [this](engine::Device& target, Answers& note) {
            Font other(stranger, 0, 30), member(collection, 1, 20);
            note(target.start_document(u"Faults", 3));
            note(target.start_page());
            print_text(target, note, u"ABC", other, {10, 200});
            print_text(target, note, u"BA", member, {10, 300});
            note(target.send_page());
            note(target.end_document());
            remove_captured();
        };
    }
    // Files of captured fonts stay for those who look at them.
    void remove_captured() {
        for (const std::string& name : temporary_files()) {
            if (name.ends_with(".ttf")) std::filesystem::remove(host::host_path(u"C:\\Windows\\Temp") + "/" + name);
        }
    }

    std::shared_ptr<engine::FontFile> sans = font_file(), stranger = font_file(plan_of(u"Stranger"));
    std::shared_ptr<engine::FontFile> collection =
        std::make_shared<engine::FontFile>(build_collection({plan_of(u"One"), plan_of(u"Two")}));

    void SetUp() override {
        FaultTest::SetUp();
        host::set_registry_string(HKEY_LOCAL_MACHINE, kFontsKey, u"Test Sans (TrueType)", u"test.ttf");
        release_process_fonts();
        create_process_fonts();
        before = host::live_objects();
    }
};

TEST_F(TextFaults, EveryCallOfADocument) {
    // The settings and the cache of installed fonts are only looked up.
    fail_each_call(print(), [](const FaultRun& run) {
        if (run.kind != host::CallKind::Registry) return;
        EXPECT_FALSE(run.answers.refused());
        EXPECT_FALSE(run.job.empty());
    });
    EXPECT_GT(failed_calls, 300u);
}

TEST_F(TextFaults, EveryWrite) { fail_each_write(print()); }

TEST_F(TextFaults, EveryCallOfADocumentWithCapturedFonts) {
    host::set_registry_dword(HKEY_CURRENT_USER, kProductKey, u"CaptureFonts", 1);
    set(u"Compression", 0x10);
    for (auto kind : {host::CallKind::Allocation, host::CallKind::File}) {
        fail_each_call_of(kind, print_captured(), {});
    }
}

}  // namespace
}  // namespace kv::test
