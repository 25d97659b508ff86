#include "reader/jpeg_reader.h"

#include <cmath>
#include <csetjmp>
#include <cstdio>
// needs size_t and FILE declared before it
#include <jpeglib.h>

namespace kvjob {

// Every call into the library stands in a function of its own that holds nothing to destroy: an error jumps out of it.
struct JpegReader::State {
    jpeg_error_mgr errors;  // first: the library hands out its address
    std::jmp_buf jump;
    jpeg_decompress_struct decoder;
    char message[JMSG_LENGTH_MAX] = {};
    bool created = false, started = false;

    static State& of(j_common_ptr info) { return *reinterpret_cast<State*>(info->err); }

    void install() {
        decoder.err = jpeg_std_error(&errors);
        errors.error_exit = [](j_common_ptr info) {
            State& state = of(info);
            state.errors.format_message(info, state.message);
            std::longjmp(state.jump, 1);
        };
        errors.emit_message = [](j_common_ptr info, int level) {
            if (level >= 0) return;  // only a trace
            State& state = of(info);
            if (!state.message[0]) state.errors.format_message(info, state.message);
        };
        errors.output_message = [](j_common_ptr) {};
    }

    bool sound() const { return !message[0]; }

    bool read_header(Bytes stream) {
        if (setjmp(jump)) return false;
        jpeg_create_decompress(&decoder);
        created = true;
        jpeg_mem_src(&decoder, stream.data(), stream.size());
        jpeg_read_header(&decoder, TRUE);
        return sound();
    }
    bool start() {
        if (setjmp(jump)) return false;
        decoder.out_color_space = JCS_EXT_BGRA;
        jpeg_start_decompress(&decoder);
        started = true;
        return sound();
    }
    bool read_row(uint32_t* row) {
        if (setjmp(jump)) return false;
        auto* bytes = reinterpret_cast<JSAMPROW>(row);
        jpeg_read_scanlines(&decoder, &bytes, 1);
        return sound();
    }
    bool finish() {
        if (setjmp(jump)) return false;
        jpeg_finish_decompress(&decoder);
        return sound();
    }
};

JpegReader::JpegReader(Bytes stream) : state_(std::make_unique<State>()) {
    if (stream.empty()) throw BodyFault("JPEG: no data");
    state_->install();
    try {
        if (!state_->read_header(stream)) fail();
        const jpeg_decompress_struct& decoder = state_->decoder;
        if (decoder.num_components != 1 && decoder.num_components != 3)
            throw BodyFault("JPEG: neither grey nor colour");
        if (decoder.progressive_mode || jpeg_has_multiple_scans(&state_->decoder)) {
            throw BodyFault("JPEG: not a baseline stream");  // its memory would not be bounded by a row
        }
    } catch (const BodyFault&) {
        if (state_->created) jpeg_destroy_decompress(&state_->decoder);
        throw;
    }
}

JpegReader::~JpegReader() { jpeg_destroy_decompress(&state_->decoder); }

void JpegReader::fail() const { throw BodyFault(std::string("JPEG: ") + state_->message); }

int32_t JpegReader::width() const { return static_cast<int32_t>(state_->decoder.image_width); }
int32_t JpegReader::height() const { return static_cast<int32_t>(state_->decoder.image_height); }
bool JpegReader::grey() const { return state_->decoder.num_components == 1; }

int JpegReader::flat_error() const {
    constexpr double kStepsPerLevel = 8, kMostOfChroma = 1.772;  // what blue takes from its difference
    const jpeg_decompress_struct& decoder = state_->decoder;
    double error = 0;
    for (int i = 0; i < decoder.num_components; ++i) {
        const int number = decoder.comp_info[i].quant_tbl_no;  // as the stream has it
        const JQUANT_TBL* table = number < NUM_QUANT_TBLS ? decoder.quant_tbl_ptrs[number] : nullptr;
        const double half_step = table ? table->quantval[0] / kStepsPerLevel / 2 : 0;
        if (i == 0) error += half_step;
        if (i == 2) error += half_step * kMostOfChroma;
    }
    return static_cast<int>(std::ceil(error)) + (grey() ? 0 : 2);  // and two roundings
}

void JpegReader::read_row(uint32_t* row) {
    if (!state_->started && !state_->start()) fail();
    if (!state_->read_row(row)) fail();
}

void JpegReader::finish() {
    if (!state_->finish()) fail();
    if (state_->decoder.src->bytes_in_buffer != 0) throw BodyFault("JPEG: bytes behind its end");
}

}  // namespace kvjob
