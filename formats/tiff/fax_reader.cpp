// fax_reader.cpp - raw fax data, without any container, into a new image.

#include "core/load.h"
#include "formats/tiff/ccitt_decoder.h"

namespace {

struct fax_output {
    load_context* context;
    int32_t row_bytes;
};

// INTENDED: the row goes to the image in its own length, and what the image makes of it,
// a cancelling status callback too, does not end the decoding.
int32_t fax_raster_to_dib(void* context, uint8_t* row, int32_t row_index, int32_t)
{
    const auto& output = *static_cast<const fax_output*>(context);
    raster_to_dib(row, reinterpret_cast<IMG_PRIVATE>(output.context), row_index, output.row_bytes);
    return 0;
}

ccitt_options fax_options(int32_t width, int32_t type, int32_t fill_order)
{
    const uint32_t compression = type == 4 ? tiff_group4 : type == 2 ? tiff_group3_2d : tiff_group3;
    return {.width = width,
            .compression = compression,
            .fill_order = static_cast<uint32_t>(fill_order)};
}

int32_t begin_fax_image(load_context& context, int32_t width, int32_t height)
{
    if (width < 1 || height < 1) return err_format;
    if (!dib_fits(width, height, 1)) return err_memory;
    dib_header header;
    header.set(width, height, 1);
    header.colors[0] = {0, 0, 0, 0};
    header.colors[1] = {255, 255, 255, 0};
    return fill_dib_struct(&header.info, reinterpret_cast<IMG_PRIVATE>(&context));
}

} // namespace

int32_t IMG_STD IMG_decompress_fax(HFILE source, int32_t width, int32_t height, int32_t type,
                                   int32_t fill_order)
{
    io_scope scope;
    return load_new_image([&](load_context& context) -> int32_t {
        if (int32_t err = begin_fax_image(context, width, height); err < 0) return err;
        fax_output output{&context, size_for_long(width, 1)};
        ccitt_decoder decoder(fax_options(width, type, fill_order));
        const int32_t result =
            decoder.decode_strip(source, height, 0, {fax_raster_to_dib, &output});
        // INTENDED: damage is not reported; the picture holds the rows up to it.
        return result == err_memory ? err_memory : 1;
    });
}
