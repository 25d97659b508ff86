// Which pages and which of their parts are printed: boxes, turns, units, annotations, optional content, passwords.

#include <mupdf/fitz.h>

#include "tests/printhost/print_fixture.h"

namespace kvprint {
namespace {

class Pages : public Print {
protected:
    // The paper's size and the rectangles that are filled, of a page with the entries and one square in its middle.
    std::string printed(const std::string& entries, const std::string& options = "") {
        pdf.page_entries = entries;
        std::string text = pdf.text();
        text.replace(text.find("/Catalog"), 8, "/Catalog " + catalog);  // the table of objects is made anew
        workspace.write("in.pdf", text);
        job(options);
        const std::string info = run(workspace, "kvjob", "info out.kv").output;
        const size_t end = info.find(" pixels"), start = info.rfind(": ", end) + 2;
        std::string all = info.substr(start, end - start);
        const std::string dump = run(workspace, "kvjob", "dump out.kv").output;
        for (size_t at = 0; (at = dump.find("rect=[", at)) != std::string::npos; ++at) {
            all += ' ' + dump.substr(at + 5, dump.find(']', at) - at - 4);
        }
        return all;
    }

    std::string catalog;  // further entries of the catalog
};

// 144 dots per inch: a point is two pixels.
TEST_F(Pages, BoxesTurnsAndUnits) {
    pdf.pages = {"252 252 108 108 re f"};
    const std::string boxes =
        "/MediaBox [0 0 720 720] /CropBox [180 180 540 540] /BleedBox [144 144 576 576] /TrimBox [216 216 540 540] "
        "/ArtBox [216 252 396 468] ";
    const std::string whole = "/MediaBox [0 0 720 720]", low = "/MediaBox [216 180 720 540]";
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"", boxes, "720 x 720 [144, 360, 360, 576]"},
        {"--box crop", boxes, "720 x 720 [144, 360, 360, 576]"},
        {"--box media", boxes, "1440 x 1440 [504, 720, 720, 936]"},
        {"--box bleed", boxes, "864 x 864 [216, 432, 432, 648]"},
        {"--box trim", boxes, "648 x 648 [72, 360, 288, 576]"},
        {"--box art", boxes, "360 x 432 [72, 216, 288, 432]"},
        {"--box trim", whole, "1440 x 1440 [504, 720, 720, 936]"},
        {"", whole + " /CropBox [-36 -36 900 540]", "1440 x 1080 [504, 360, 720, 576]"},
        {"", "/MediaBox [720 540 0 0]", "1440 x 1080 [504, 360, 720, 576]"},
        {"", low + " /Rotate 90", "720 x 1008 [144, 72, 360, 288]"},
        {"", low + " /Rotate -90", "720 x 1008 [360, 720, 576, 936]"},
        {"", low + " /Rotate 180", "1008 x 720 [720, 144, 936, 360]"},
        {"", low + " /UserUnit 2", "2016 x 1440 [144, 720, 576, 1152]"},
    };
    for (const auto& [options, entries, expected] : cases) {
        EXPECT_EQ(printed(entries, options), expected) << options << ' ' << entries;
    }
}

// Flags: 2 hidden, 4 print, 32 no view.
TEST_F(Pages, AnnotationsThatAreToBePrinted) {
    pdf.pages = {"250 250 100 100 re f"};
    catalog = "/AcroForm << /Fields [11 0 R] >>";
    const std::string alone = "1440 x 1440 [500, 740, 700, 940]", with = alone + " [0, 1240, 200, 1440]";
    const std::tuple<const char*, const char*, const char*, std::string> cases[] = {
        {"/Stamp", " /F 4", "", with},
        {"/Stamp", " /F 36", "", with},
        {"/Stamp", " /F 4", "--annotations all", with},
        {"/Stamp", " /F 4", "--annotations none", alone},
        {"/Stamp", " /F 0", "", alone},
        {"/Stamp", " /F 32", "", alone},
        {"/Stamp", " /F 6", "", alone},
        {"/Widget /FT /Tx /T (a)", " /F 4", "", with},
        {"/Widget /FT /Sig /T (a) /V << /Type /Sig /Filter /F /ByteRange [0 1 2 3] /Contents <00> >>", " /F 4", "",
         with},
        {"/Popup", " /F 4", "", alone},
    };
    for (const auto& [kind, flags, options, expected] : cases) {
        pdf.objects = {
            pdf_stream("/Type /XObject /Subtype /Form /BBox [0 0 100 100]", "0 0 100 100 re f"),
            std::string("<< /Type /Annot /Rect [0 0 100 100] /AP << /N 10 0 R >> /Subtype ") + kind + flags + " >>"};
        EXPECT_EQ(printed("/Annots [11 0 R]", options), expected) << kind << ' ' << flags << ' ' << options;
    }
}

// A group's state for printing comes before that for the screen; groups that say nothing are as the document sets them.
TEST_F(Pages, OptionalContentAsItIsPrinted) {
    pdf.pages = {"/OC /G BDC 250 250 100 100 re f EMC 0 0 10 10 re f"};
    pdf.resources = "/Properties << /G 10 0 R >>";
    const std::string alone = "1440 x 1440 [0, 1420, 20, 1440]",
                      with = "1440 x 1440 [500, 740, 700, 940] [0, 1420, 20, 1440]";
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {"", "", with},
        {"", "/OFF [10 0 R]", alone},
        {"/Usage << /Print << /PrintState /OFF >> /View << /ViewState /ON >> >>",
         "/AS [<< /Event /Print /Category [/Print] /OCGs [10 0 R] >>]", alone},
        {"/Usage << /Print << /PrintState /ON >> /View << /ViewState /OFF >> >>",
         "/AS [<< /Event /Print /Category [/Print] /OCGs [10 0 R] >> << /Event /View /Category [/View] /OCGs [10 0 R] "
         ">>]",
         with},
    };
    for (const auto& [group, configuration, expected] : cases) {
        pdf.objects = {std::string("<< /Type /OCG /Name (G) ") + group + " >>"};
        catalog = std::string("/OCProperties << /OCGs [10 0 R] /D << /Order [10 0 R] ") + configuration + " >> >>";
        EXPECT_EQ(printed(""), expected) << group << configuration;
    }
}

std::string rc4(const std::string& key, std::string data) {
    fz_arc4 state;
    fz_arc4_init(&state, reinterpret_cast<const unsigned char*>(key.data()), key.size());
    auto* bytes = reinterpret_cast<unsigned char*>(data.data());
    fz_arc4_encrypt(&state, bytes, bytes, data.size());
    return data;
}
std::string md5(const std::string& data) {
    fz_md5 state;
    fz_md5_init(&state);
    fz_md5_update(&state, reinterpret_cast<const unsigned char*>(data.data()), data.size());
    std::string digest(16, '\0');
    fz_md5_final(&state, reinterpret_cast<unsigned char*>(digest.data()));
    return digest;
}
std::string hex(const std::string& bytes) {
    std::string text;
    char digits[3];
    for (const unsigned char byte : bytes) std::snprintf(digits, sizeof digits, "%02X", byte), text += digits;
    return text;
}

// One page, encrypted with 40 bits under a user password.
std::string encrypted(const std::string& password) {
    const std::string padding(
        "\x28\xBF\x4E\x5E\x4E\x75\x8A\x41\x64\x00\x4E\x56\xFF\xFA\x01\x08\x2E\x2E\x00\xB6\xD0\x68\x3E\x80\x2F\x0C\xA9"
        "\xFE"
        "\x64\x53\x69\x7A",
        32);
    const std::string owner(32, '\x11'), permissions("\xFC\xFF\xFF\xFF", 4), identifier(1, '\0');
    const std::string key = md5((password + padding).substr(0, 32) + owner + permissions + identifier).substr(0, 5);
    PdfText pdf;
    const std::string of_contents("\x0B\0\0\0\0", 5);  // object 11, generation 0
    pdf.pages = {rc4(md5(key + of_contents).substr(0, 10), "250 250 100 100 re f")};
    std::string text = pdf.text();
    return text.replace(text.find("/Root"), 5,
                        "/ID [<00><00>] /Encrypt << /Filter /Standard /V 1 /R 2 /P -4 /O <" + hex(owner) + "> /U <" +
                            hex(rc4(key, padding)) + "> >> /Root");
}

TEST_F(Pages, Passwords) {
    const std::string line = "kvprint: in.pdf: encrypted: ", missing = line + "it needs a password (--password)\n",
                      wrong = line + "the password does not fit\n";
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {"", "", ""},
        {"", "--password any", ""},  // the empty one opens it
        {"secret", "--password secret", ""},
        {"secret", "", missing},
        {"secret", "--password Secret", wrong},
        {"secret", "--password 'secret '", wrong},
    };
    for (const auto& [password, options, fault] : cases) {
        workspace.write("in.pdf", encrypted(password));
        const ProgramRun ended =
            run(workspace, "kvprint", std::string("in.pdf -o out.kv --set Resolution=144 ") + options);
        EXPECT_EQ(ended.errors, fault) << password << options;
        EXPECT_EQ(ended.exit_code, fault.empty() ? 0 : 1) << password << options;
        if (!fault.empty()) continue;
        EXPECT_NE(run(workspace, "kvjob", "dump out.kv").output.find("rect=[500, 740, 700, 940]"), std::string::npos);
    }
}

}  // namespace
}  // namespace kvprint
