// ccitt_decoder.h - decodes the run-length codes of ITU-T T.4 (modified Huffman, Group 3)
// and T.6 (Group 4), strip by strip, into 1-bit DIB rows.
#pragma once

#include "formats/tiff/ccitt_dense.h"
#include "formats/tiff/tiff_struct.h"

/// What a page of fax codes needs to be decoded; the values are those of the TIFF tags.
struct ccitt_options {
    int32_t width;            // 1 or more, pixels
    uint32_t compression;     // tiff_huffman, tiff_group3, tiff_group3_2d or tiff_group4
    uint32_t fill_order = 1;  // 2: bit 0 of a byte comes first
    uint32_t photometric = 1; // 0: every bit of a row inverted
    bool interchange = false; // reference line white at the start of a strip
};

/// The changing elements of a line (T.4 4.2.1.1): rising positions, white to black first,
/// then at least four entries equal to the width.
class ccitt_changes {
public:
    static constexpr uint32_t closing_entries = 4;

    /// False when memory ran out. The elements stay, at a new address.
    bool grow(uint32_t elements);

    /// elements()[-1] can be read and is 0.
    uint32_t* elements() const { return block_.as<uint32_t>() + 1; }
    /// Elements that there is room for, closing entries not counted.
    uint32_t room() const { return room_; }
    void close(uint32_t count, uint32_t width);
    void swap(ccitt_changes& other);

private:
    scratch_block block_;
    uint32_t room_ = 0;
};

/// One page's decoder. Rows come out with 1 bits for white, (width + 7) / 8 bytes padded
/// with white to a multiple of 4.
class ccitt_decoder {
public:
    explicit ccitt_decoder(const ccitt_options& options);

    /// Decodes up to rows rows from the source's current position; they are numbered from
    /// first_row, and the first strip of a page has first_row 0. Reads ahead of what it
    /// decodes: the caller positions the source again for the next strip.
    /// Returns 0, also where damaged two-dimensional data end a strip early; err_format for
    /// damaged one-dimensional data; err_memory; a negative result of output.
    int32_t decode_strip(HFILE file, int32_t rows, int32_t first_row, const row_output& output);

    /// How often, since the decoder was made, the data were not as the code has them: unknown
    /// codes, EOLs inside rows, rows of a wrong length.
    uint32_t faults() const { return faults_; }

private:
    enum class row_end { complete, data_end, no_mode, no_memory };
    enum class eol_search { found, data_end, too_far };
    struct line_state;

    int32_t prepare(HFILE file, int32_t first_row);
    int32_t decode_g3_huff_strip(int32_t rows, int32_t first_row, const row_output& output);
    int32_t decode_g4_huff_strip(int32_t rows, int32_t first_row, const row_output& output);
    int32_t decode_g4_huff_strip_2d(int32_t rows, int32_t first_row, const row_output& output);
    line_state begin_line();
    template <bool keeps_changes> row_end decode_row_1d(line_state& result);
    row_end decode_row_2d(line_state& line);
    row_end decode_list_2d(line_state& result);
    row_end decode_words_2d();
    row_end decode_tagged_row(line_state& line);
    bool read_runs(ccitt_bit_window& window, uint32_t color, uint32_t (&runs)[2]);
    bool read_run(ccitt_bit_window& window, uint32_t color, uint32_t& run);
    int32_t getmcode(uint32_t color);
    eol_search find_eol(int32_t codes);
    void end_line(const line_state& line);
    void paint_words();
    void wrthl_all(const line_state& line);
    ccitt_machine_word white_bits() const;

    bool is_huffman() const { return options_.compression == tiff_huffman; }

    ccitt_options options_;
    uint32_t width_;
    int32_t row_bytes_ = 0;
    uint32_t row_words_ = 0;
    uint32_t faults_ = 0;
    ccitt_bit_source source_;
    ccitt_bit_window window_;
    ccitt_changes coding_;
    ccitt_changes reference_;
    // The lines in words, while has_words_.
    scratch_block pixels_;
    scratch_block reference_words_;
    bool has_words_ = false;
    uint32_t reference_count_ = 0; // of changing elements
    // Where the colour changes in the line so far, all bits of a word from there on are
    // turned over; all 0 between rows.
    scratch_block toggles_;
    scratch_block row_;
};

/// The compression whose codes fit the data at the source's position: options.compression
/// unless its first rows are damaged and another one's are not. Leaves the source there.
/// For pages whose tag names the wrong code; the strip layout of a page can depend on it.
///   rows  that the first strip has
/// Returns a tiff_compression, or err_memory.
int32_t ccitt_fitting_compression(HFILE file, const ccitt_options& options, int32_t rows);
