#include "printhost/installed_fonts.h"

#include <fontconfig/fontconfig.h>

#include <map>
#include <memory>

#include "platform/host/control.h"

namespace kvprint {
namespace {

const std::u16string kFontsKey = u"Software\\Microsoft\\Windows NT\\CurrentVersion\\Fonts";

struct Destroy {
    void operator()(FcConfig* config) const { FcConfigDestroy(config); }
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
    void operator()(FcObjectSet* set) const { FcObjectSetDestroy(set); }
    void operator()(FcFontSet* set) const { FcFontSetDestroy(set); }
};
template <class T>
using Owned = std::unique_ptr<T, Destroy>;

std::string text_of(FcPattern* font, const char* property) {
    FcChar8* text = nullptr;
    return FcPatternGetString(font, property, 0, &text) == FcResultMatch ? reinterpret_cast<const char*>(text) : "";
}

std::string small_letters(std::string text) {
    for (char& letter : text) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    }
    return text;
}

std::u16string widen(const std::string& text) {
    std::u16string wide(text.size(), u'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                                           static_cast<int>(wide.size()));
    wide.resize(static_cast<size_t>(std::max(length, 0)));
    return wide;
}

bool is_of_a_file(FcPattern* font) {
    constexpr int kInstance = 16;  // the bits above name an instance of a variable font
    int member = 0;
    FcPatternGetInteger(font, FC_INDEX, 0, &member);
    const std::string format = text_of(font, FC_FONTFORMAT), file = text_of(font, FC_FILE);
    const std::string ending = small_letters(file.substr(file.find_last_of('.') + 1));
    return (format == "TrueType" || format == "CFF") && member >> kInstance == 0 &&
           (ending == "ttf" || ending == "otf" || ending == "ttc" || ending == "otc");
}

}  // namespace

InstalledFonts::InstalledFonts() {
    const Owned<FcConfig> config(FcInitLoadConfigAndFonts());
    const Owned<FcPattern> all(FcPatternCreate());
    const Owned<FcObjectSet> properties(FcObjectSetBuild(FC_FILE, FC_INDEX, FC_FULLNAME, FC_POSTSCRIPT_NAME,
                                                         FC_FONTFORMAT, static_cast<char*>(nullptr)));
    const Owned<FcFontSet> fonts(FcFontList(config.get(), all.get(), properties.get()));
    if (!fonts) return;
    std::map<std::string, std::map<int, std::string>> files;  // the full names of the members
    for (int i = 0; i < fonts->nfont; ++i) {
        FcPattern* font = fonts->fonts[i];
        const std::string full = text_of(font, FC_FULLNAME);
        if (full.empty() || !is_of_a_file(font)) continue;
        int member = 0;
        FcPatternGetInteger(font, FC_INDEX, 0, &member);
        files[text_of(font, FC_FILE)][member] = full;
        names_.insert(small_letters(full));
        names_.insert(small_letters(text_of(font, FC_POSTSCRIPT_NAME)));
    }
    for (const auto& [file, members] : files) {
        std::string display;
        for (const auto& [member, full] : members) display += (display.empty() ? "" : " & ") + full;
        kv::host::set_registry_string(HKEY_LOCAL_MACHINE, kFontsKey, widen(display + " (TrueType)"),
                                      kv::host::win32_path(file));
    }
}

bool InstalledFonts::has(const std::string& name) const { return names_.contains(small_letters(name)); }

}  // namespace kvprint
