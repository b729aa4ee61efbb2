// jpeg_scan.h - one interleaved scan from entropy-coded data to rows: the engine behind JPEG
// files and the JPEG strips of TIFF pages. They differ in where tables, factors and rows
// come from.
#pragma once

#include "core/codec.h"
#include "formats/jpeg/jpeg_block.h"

inline constexpr int32_t jpeg_max_components = 4;
inline constexpr int32_t jpeg_max_factor = 4; // B.2.2/T.81

/// How the samples become a row.
enum class jpeg_color_model { grey, ycc, rgb, ycck, adobe_cmyk, adobe_ycck };

/// What classic and interchange mode read differently in entropy-coded data.
enum class jpeg_rules { classic, interchange };

struct jpeg_scan_component {
    int32_t h, v;               // blocks of an MCU, 1 to 4; 0: not in the scan
    int32_t placed_h, placed_v; // factors by which its samples are laid over the pixels
    jpeg_block_coding coding;
};

struct jpeg_scan_plan {
    int32_t width, height; // of the rows to decode
    int32_t first_row;     // index of the first of them in the image
    int32_t row_bytes;     // given to put_raster
    jpeg_color_model model;
    jpeg_rules rules;
    int32_t h_max, v_max;     // an MCU is 8 h_max pixels wide and 8 v_max rows high
    int32_t restart_interval; // MCUs; 0 none
    int32_t skipped_bytes;    // before the first bits
    int32_t component_count;  // in the scan
    int32_t plane_count;      // those and the ones that the model wants besides
    jpeg_scan_component components[jpeg_max_components];
};

class jpeg_scan {
public:
    explicit jpeg_scan(const jpeg_scan_plan& plan) : plan_(plan) {}

    /// Takes the working memory.  0 or err_memory.
    int32_t allocate();

    /// Decodes from the source's position and delivers the rows.  0, err_corrupt (no data; in
    /// interchange mode also data that end early), err_format, or put_raster's result.
    int32_t decompress(HFILE file, const row_sink& sink);

private:
    struct plane {
        int8_t* samples;
        int8_t* expanded; // one row of a sample per pixel
        int32_t stride;
        int32_t column; // where the next block goes
    };

    void lay_out_planes();
    int32_t decode_mcu();
    int32_t decode_component(jpeg_scan_component& component, plane& to);
    int32_t restart_if_due(bool last_mcu);
    int32_t deliver_rows(int32_t first, const row_sink& sink);
    void convert_row(int32_t row);
    const int8_t* sample_row(int32_t component, int32_t row) const;
    const int8_t* full_row(int32_t component, int32_t row) const;

    jpeg_scan_plan plan_;
    plane planes_[jpeg_max_components];
    int32_t mcus_per_row_ = 0;
    int32_t mcus_since_restart_ = 0;
    jpeg_bit_reader reader_;
    scratch_block plane_memory_, work_memory_;
    uint8_t* input_ = nullptr;
    uint8_t* row_ = nullptr;
};
