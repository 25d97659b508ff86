#include "printhost/image_mender.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace kvprint {
namespace {

using Buffer = Held<fz_buffer, fz_drop_buffer>;
using Reader = Held<fz_stream, fz_drop_stream>;

class LexBuffer {
public:
    explicit LexBuffer(fz_context* context) : context_(context) {
        with_errors(context, [&] { pdf_lexbuf_init(context_, &buffer_, PDF_LEXBUF_SMALL); });
    }
    ~LexBuffer() { pdf_lexbuf_fin(context_, &buffer_); }
    LexBuffer(const LexBuffer&) = delete;
    LexBuffer& operator=(const LexBuffer&) = delete;

    pdf_lexbuf* get() { return &buffer_; }

private:
    fz_context* context_;
    pdf_lexbuf buffer_ = {};
};

bool is_white(char byte) { return std::strchr(" \t\r\n\f", byte) != nullptr; }  // and a zero

// Contents that are searched for images between BI and EI.
class InlineImages {
public:
    InlineImages(fz_context* context, pdf_document* document, pdf_obj* resources, fz_buffer* contents)
        : context_(context), document_(document), resources_(resources), words_(context) {
        reader_ = make_held<Reader>(context_, [&] { return fz_open_buffer(context_, contents); });
        bytes_ = reinterpret_cast<char*>(contents->data);
        size_ = contents->len;
    }

    size_t blank_those_that_fail() {
        size_t blanked = 0;
        while (find_next()) {
            const size_t start = at_ - 2;
            const bool good = loads();
            at_ = find_end();
            if (!good) {
                std::fill(bytes_ + start, bytes_ + at_, ' ');
                ++blanked;
            }
            with_errors(context_, [&] { fz_seek(context_, reader_.get(), static_cast<int64_t>(at_), SEEK_SET); });
        }
        return blanked;
    }

private:
    // Behind the next BI.
    bool find_next() {
        pdf_token word = PDF_TOK_NULL;
        bool found = false;
        while (word != PDF_TOK_EOF && !found) {
            with_errors(context_, [&] {
                word = pdf_lex(context_, reader_.get(), words_.get());
                found = word == PDF_TOK_KEYWORD && std::strcmp(words_.get()->scratch, "BI") == 0;
                at_ = static_cast<size_t>(fz_tell(context_, reader_.get()));
            });
        }
        return found;
    }

    bool loads() {
        pdf_obj* description = nullptr;
        fz_image* image = nullptr;
        bool good = true;
        try {
            with_errors(context_, [&] {
                description = pdf_parse_dict(context_, document_, reader_.get(), words_.get());
                at_ = static_cast<size_t>(fz_tell(context_, reader_.get()));
                fz_read_byte(context_, reader_.get());
                image = pdf_load_inline_image(context_, document_, resources_, description, reader_.get());
                at_ = static_cast<size_t>(fz_tell(context_, reader_.get()));
            });
        } catch (const LibraryFault&) {
            good = false;
        }
        fz_drop_image(context_, image);
        pdf_drop_obj(context_, description);
        return good;
    }

    // Behind EI as a word of its own.
    size_t find_end() const {
        const std::string_view all(bytes_, size_);
        for (size_t end = at_; (end = all.find("EI", end)) != std::string_view::npos; ++end) {
            const size_t behind = end + 2;
            if (end > 0 && is_white(all[end - 1]) && (behind == size_ || is_white(all[behind]))) return behind;
        }
        return size_;
    }

    fz_context* context_;
    pdf_document* document_;
    pdf_obj* resources_;
    LexBuffer words_;
    Reader reader_;
    char* bytes_ = nullptr;
    size_t size_ = 0, at_ = 0;
};

// One that fails when it is decoded, in the name of its coding where that is what is wrong.
fz_image* make_broken(fz_context* context, bool jpeg_2000) {
    fz_compressed_buffer* data = fz_malloc_struct(context, fz_compressed_buffer);
    fz_try(context) { data->buffer = fz_new_buffer(context, 1); }
    fz_catch(context) {
        fz_free(context, data);
        fz_rethrow(context);
    }
    data->params.type = jpeg_2000 ? FZ_IMAGE_JPX : FZ_IMAGE_PNG;
    return fz_new_image_from_compressed_buffer(context, 1, 1, 8, fz_device_gray(context), 96, 96, 0, 0, nullptr,
                                               nullptr, data, nullptr);
}

bool is_jpeg_2000(fz_context* context, pdf_obj* image) {
    return pdf_name_eq(context, pdf_dict_get(context, image, PDF_NAME(Filter)), PDF_NAME(JPXDecode));
}

// Such data are decoded when the image is loaded, which is not to be done twice: they begin with one of these.
bool begins_as_jpeg_2000(fz_context* context, pdf_obj* image) {
    constexpr unsigned char kFile[] = {0, 0, 0, 12, 'j', 'P', ' ', ' '}, kCodes[] = {0xFF, 0x4F, 0xFF, 0x51};
    unsigned char start[sizeof kFile] = {};
    fz_stream* data = pdf_open_raw_stream(context, image);
    fz_try(context) { fz_read(context, data, start, sizeof start); }
    fz_always(context) { fz_drop_stream(context, data); }
    fz_catch(context) { fz_rethrow(context); }
    return std::memcmp(start, kFile, sizeof kFile) == 0 || std::memcmp(start, kCodes, sizeof kCodes) == 0;
}

// A description that is worth to be tried before the page is drawn. Throws as MuPDF does.
bool is_odd(fz_context* context, pdf_obj* image) {
    constexpr int kMostPixels = 1 << 16, kMostBits = 16;
    const int width = pdf_dict_get_int(context, image, PDF_NAME(Width));
    const int height = pdf_dict_get_int(context, image, PDF_NAME(Height));
    const int bits = pdf_dict_get_int(context, image, PDF_NAME(BitsPerComponent));
    if (!pdf_is_stream(context, image)) return true;
    if (is_jpeg_2000(context, image)) return !begins_as_jpeg_2000(context, image);
    const bool coloured =
        pdf_dict_get(context, image, PDF_NAME(ColorSpace)) || pdf_dict_get_bool(context, image, PDF_NAME(ImageMask));
    return width < 1 || height < 1 || width > kMostPixels || height > kMostPixels || bits < 0 || bits > kMostBits ||
           !coloured;
}

}  // namespace

void ImageMender::look_at(pdf_obj* resources) {
    look_at_all(resources);
    while (!to_visit_.empty()) {
        const int number = to_visit_.back();
        to_visit_.pop_back();
        pdf_obj* object = nullptr;
        try {
            with_errors(context_, [&] { object = pdf_load_object(context_, document_, number); });
            look_at_all(pdf_dict_get(context_, object, PDF_NAME(Resources)));
        } catch (const LibraryFault&) {  // told where it is drawn
        }
        pdf_drop_obj(context_, object);
    }
}

void ImageMender::look_at_all(pdf_obj* resources) {
    for (pdf_obj* kind : {PDF_NAME(XObject), PDF_NAME(Pattern)}) {
        try {
            pdf_obj* named = nullptr;
            int count = 0;
            with_errors(context_, [&] {
                named = pdf_dict_get(context_, resources, kind);
                count = pdf_dict_len(context_, named);
            });
            for (int i = 0; i < count; ++i) look_at_one(pdf_dict_get_val(context_, named, i));
        } catch (const LibraryFault&) {
        }
    }
}

void ImageMender::look_at_one(pdf_obj* object) {
    const int number = pdf_to_num(context_, object);
    if (number < 1 || !visited_.insert(number).second) return;
    bool is_image = false, odd = false;
    with_errors(context_, [&] {
        is_image = pdf_name_eq(context_, pdf_dict_get(context_, object, PDF_NAME(Subtype)), PDF_NAME(Image));
        odd = is_image && is_odd(context_, object);
    });
    if (odd) try_image(object);
    if (!is_image) to_visit_.push_back(number);
}

void ImageMender::try_image(pdf_obj* image) {
    try {
        with_errors(context_, [&] { fz_drop_image(context_, pdf_load_image(context_, document_, image)); });
    } catch (const LibraryFault&) {
        broken_.push_back(make_held<Held<fz_image, fz_drop_image>>(
            context_, [&] { return make_broken(context_, is_jpeg_2000(context_, image)); }));
        with_errors(context_, [&] { pdf_store_item(context_, image, broken_.back().get(), sizeof(fz_image)); });
    }
}

size_t blank_inline_images(fz_context* context, pdf_document* document, pdf_obj* page) {
    pdf_obj *resources = nullptr, *stream = nullptr;
    const Buffer contents = make_held<Buffer>(context, [&] {
        resources = pdf_dict_get_inheritable(context, page, PDF_NAME(Resources));
        pdf_obj* all = pdf_dict_get(context, page, PDF_NAME(Contents));
        fz_stream* reader = pdf_open_contents_stream(context, document, all);
        fz_buffer* read = nullptr;
        fz_var(read);
        fz_try(context) { read = fz_read_all(context, reader, 0); }
        fz_always(context) { fz_drop_stream(context, reader); }
        fz_catch(context) { fz_rethrow(context); }
        return read;
    });
    const size_t blanked = InlineImages(context, document, resources, contents.get()).blank_those_that_fail();
    if (blanked == 0) return 0;
    with_errors(context, [&] {
        stream = pdf_add_stream(context, document, contents.get(), nullptr, 0);
        pdf_dict_put_drop(context, page, PDF_NAME(Contents), stream);
    });
    return blanked;
}

}  // namespace kvprint
