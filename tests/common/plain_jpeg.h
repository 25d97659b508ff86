#pragma once
// The JPEG library called as plainly as can be, to compare with.

// clang-format off
#include <cstdio>  // what jpeglib.h takes for granted
#include <jpeglib.h>
// clang-format on

#include <cstdlib>
#include <vector>

namespace kv::test {

// samples: the top row first, gray or red, green, blue.
inline std::vector<unsigned char> plain_jpeg(const std::vector<unsigned char>& samples, unsigned width, unsigned height,
                                             bool gray, int quality) {
    jpeg_compress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* stream = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &stream, &size);
    jpeg.image_width = width;
    jpeg.image_height = height;
    jpeg.input_components = gray ? 1 : 3;
    jpeg.in_color_space = gray ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, quality, TRUE);
    jpeg.dct_method = JDCT_FLOAT;
    jpeg.optimize_coding = TRUE;
    jpeg_start_compress(&jpeg, TRUE);
    while (jpeg.next_scanline < height) {
        JSAMPROW row = const_cast<JSAMPROW>(samples.data()) + samples.size() / height * jpeg.next_scanline;
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    std::vector<unsigned char> bytes(stream, stream + size);
    std::free(stream);
    return bytes;
}

}  // namespace kv::test
