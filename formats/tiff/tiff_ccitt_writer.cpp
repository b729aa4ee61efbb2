// tiff_ccitt_writer.cpp - TIFF pages of modified Huffman, Group 3 and Group 4 codes.
//
// Standard: TIFF 6.0 sections 10 and 11, ITU-T T.4 and T.6.

#include "formats/tiff/tiff_ccitt_writer.h"

#include "core/settings.h"
#include "formats/tiff/ccitt_encoder.h"
#include "formats/tiff/tiff_writer.h"

namespace {

constexpr int32_t fax_line_width = 1728; // T.4 table 1, ISO A4 at normal width

int32_t save_page(HFILE sink, const BITMAPINFOHEADER* header, const row_source& rows,
                  const ccitt_encoder_options& options)
{
    if (header->biBitCount != 1) return err_unsupported;
    tiff_page_writer page(sink, header);
    if (int32_t err = page.start_page(options.compression, options.width); err < 0) return err;
    if (int32_t err = ccitt_encode_image(sink, header, rows, options); err < 0) return err;
    return page.finish_page();
}

} // namespace

int32_t save_tiff_file_huff(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                            IMG_PRIVATE private_data, int32_t compression)
{
    const bool is_group3 = compression == tiff_group3;
    ccitt_encoder_options options{is_group3 ? tiff_group3 : tiff_huffman, header->biWidth};
    options.fill_order = is_group3 ? 2 : 1;
    // INTENDED: classic Group 3 pages have the width of a fax line, whatever the image's is.
    if (is_group3 && !interchange_mode()) options.width = fax_line_width;
    return save_page(sink, header, {get_raster, private_data}, options);
}

int32_t save_tiff_file_mh(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                          IMG_PRIVATE private_data)
{
    return save_tiff_file_huff(sink, header, get_raster, private_data, tiff_huffman);
}

int32_t save_tiff_file_g3(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                          IMG_PRIVATE private_data)
{
    return save_tiff_file_huff(sink, header, get_raster, private_data, tiff_group3);
}

int32_t save_tiff_file_g4(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                          IMG_PRIVATE private_data)
{
    ccitt_encoder_options options{tiff_group4, header->biWidth};
    options.fill_order = 2;
    // INTENDED: classic Group 4 data end with four EOLs; T.6 has two.
    if (interchange_mode()) options.end_codes = 2;
    return save_page(sink, header, {get_raster, private_data}, options);
}
