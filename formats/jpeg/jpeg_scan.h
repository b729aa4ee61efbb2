// jpeg_scan.h - from entropy-coded data to rows: the engine behind JPEG files and the JPEG
// strips of TIFF pages. They differ in where tables, factors and rows come from.
//
// As a rule one scan holds all components. Where each scan holds some of them (A.2/T.81), all
// scans are read side by side, a band of rows at a time, so that no picture is kept.
#pragma once

#include "core/codec.h"
#include "formats/jpeg/jpeg_block.h"

inline constexpr int32_t jpeg_max_components = 4;
inline constexpr int32_t jpeg_max_factor = 4; // B.2.2/T.81

/// How the samples become a row.
enum class jpeg_color_model { grey, inverted_grey, ycc, rgb, ycck, adobe_cmyk, adobe_ycck };

/// What classic and interchange mode read differently in entropy-coded data.
enum class jpeg_rules { classic, interchange };

struct jpeg_scan_component {
    int32_t h, v;               // blocks of an MCU, 1 to 4; 0: not in the scan
    int32_t placed_h, placed_v; // factors by which its samples are laid over the pixels
    jpeg_block_coding coding;
};

/// The components of one scan and where its data start.
struct jpeg_scan_part {
    int32_t position; // in the source, or jpeg_bit_reader::read_on
    int32_t component_count;
    int32_t components[jpeg_max_components]; // indices, in the order of the scan
    int32_t restart_interval;                // MCUs; 0 none
};

struct jpeg_scan_plan {
    int32_t width, height; // of the rows to decode
    int32_t first_row;     // index of the first of them in the image
    int32_t row_bytes;     // given to put_raster
    jpeg_color_model model;
    jpeg_rules rules;
    int32_t h_max, v_max;  // an MCU is 8 h_max pixels wide and 8 v_max rows high
    int32_t skipped_bytes; // before the first bits
    int32_t part_count;    // scans, 1 as a rule
    int32_t plane_count;   // components of the scans, and what the model wants besides
    jpeg_scan_part parts[jpeg_max_components];
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

    // What a scan's data have been read up to.
    struct part_state {
        jpeg_bit_reader reader;
        int32_t mcus_since_restart;
    };

    void lay_out_planes();
    bool start_parts(HFILE file);
    int32_t decode_band(int32_t part, int32_t first_row);
    int32_t decode_blocks_alone(int32_t part, int32_t first_row);
    int32_t decode_mcu(int32_t part);
    int32_t decode_component(jpeg_bit_reader& reader, jpeg_scan_component& component, plane& to);
    int32_t restart_if_due(int32_t part, bool last_mcu);
    int32_t deliver_rows(int32_t first, const row_sink& sink);
    void convert_row(int32_t row);
    const int8_t* sample_row(int32_t component, int32_t row) const;
    const int8_t* full_row(int32_t component, int32_t row) const;

    jpeg_scan_plan plan_;
    plane planes_[jpeg_max_components];
    int32_t mcus_per_row_ = 0;
    part_state states_[jpeg_max_components];
    scratch_block plane_memory_, work_memory_;
    uint8_t* input_ = nullptr;
    uint8_t* row_ = nullptr;
};
