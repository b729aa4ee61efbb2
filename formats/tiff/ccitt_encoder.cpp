// ccitt_encoder.cpp - encodes 1-bit rows with the run-length codes of ITU-T T.4 and T.6.
//
// A row is turned into its changing elements first, which are found by counting zeros in
// words; modes and runs then follow from the elements of two lines.

#include "formats/tiff/ccitt_encoder.h"

#include "formats/tiff/ccitt_bit_writer.h"
#include "formats/tiff/ccitt_dense.h"

#include <algorithm>

uint8_t* ccitt_bit_sink::drain(const uint8_t* next)
{
    const auto count = static_cast<int32_t>(next - buffer_.bytes());
    if (lsb_first_) tiff_rvrsbyt(buffer_.bytes(), static_cast<size_t>(count));
    if (!failed_ && count > 0) failed_ = img_write_mem(file_, buffer_.bytes(), count) != count;
    return buffer_.bytes();
}

namespace {

constexpr uint32_t word_bits = ccitt_word_bits;
constexpr uint32_t longest_make_up = 2560;
constexpr uint32_t closing_elements = 4;

// Code words by colour and run: terminating codes, and make-up codes by run / 64.
struct encoding_table {
    std::array<ccitt_word, 64> terminating{};
    std::array<ccitt_word, longest_make_up / 64 + 1> make_up{};
};

constexpr encoding_table tif_initbwxlt(ccitt_color color)
{
    encoding_table table;
    for (const ccitt_run_code& code : ccitt_codes_of(color)) {
        const auto run = static_cast<size_t>(code.run);
        if (run < 64)
            table.terminating[run] = code.word;
        else if (run <= longest_make_up)
            table.make_up[run / 64] = code.word;
    }
    return table;
}
constexpr std::array<encoding_table, 2> run_words = {tif_initbwxlt(ccitt_white),
                                                     tif_initbwxlt(ccitt_black)};

// Code words of the vertical modes, by a1 - b1 + 3.
constexpr auto make_vertical_words()
{
    std::array<ccitt_word, 7> words{};
    for (const ccitt_mode_row& row : ccitt_modes)
        if (row.mode == ccitt_mode::vertical)
            words[static_cast<size_t>(row.offset + 3)] = ccitt_word_of(row.code);
    return words;
}
constexpr auto vertical_words = make_vertical_words();

constexpr ccitt_word word_of_mode(ccitt_mode mode)
{
    for (const ccitt_mode_row& row : ccitt_modes)
        if (row.mode == mode) return ccitt_word_of(row.code);
    return {};
}
constexpr ccitt_word pass_word = word_of_mode(ccitt_mode::pass);
constexpr ccitt_word horizontal_word = word_of_mode(ccitt_mode::horizontal);
constexpr ccitt_word eol_word = ccitt_word_of(ccitt_end_of_line);

// Code words of a whole run but for its make-up codes of 2560, at most 26 bits.
struct run_code {
    uint32_t bits;
    uint32_t length;
};

inline run_code xltrlength(uint32_t run, uint32_t color)
{
    const encoding_table& table = run_words[color];
    const ccitt_word end = table.terminating[run % 64];
    if (run < 64) return {end.bits, end.length};
    const ccitt_word start = table.make_up[run / 64];
    return {uint32_t{start.bits} << end.length | end.bits, uint32_t{start.length} + end.length};
}

// The code words of two runs below 64, the first one of a colour, in one look-up: length in the
// lowest five bits.
using pair_table = std::array<uint32_t, 64 * 64>;

constexpr pair_table make_pairs(ccitt_color color)
{
    const encoding_table& first = run_words[color];
    const encoding_table& second = run_words[color ^ 1];
    pair_table table{};
    for (uint32_t i = 0; i < table.size(); ++i) {
        const ccitt_word a = first.terminating[i / 64], b = second.terminating[i % 64];
        table[i] = (uint32_t{a.bits} << b.length | b.bits) << 5 |
                   (uint32_t{a.length} + uint32_t{b.length});
    }
    return table;
}
constexpr std::array<pair_table, 2> pair_words = {make_pairs(ccitt_white), make_pairs(ccitt_black)};

// Vertical modes by a1 - b1 + 3, then the pass mode.
constexpr uint32_t pass_index = vertical_words.size();
constexpr auto make_mode_words()
{
    std::array<ccitt_word, pass_index + 1> words{};
    std::copy(vertical_words.begin(), vertical_words.end(), words.begin());
    words[pass_index] = pass_word;
    return words;
}
constexpr auto mode_words = make_mode_words();

// What T.6 has for a line from a0 on: one of mode_words, or a horizontal mode and its runs.
struct line_step {
    uint32_t index;
    uint32_t color;
    uint32_t runs[2];
};

// A line of many changes, coded from words. The word in work is the one that a0 lies in;
// positions are counted from it on.
class dense_line {
public:
    static constexpr uint32_t horizontal = pass_index + 1, elsewhere = pass_index + 2;

    dense_line(const ccitt_change_word* coding, const ccitt_change_word* reference, uint32_t width)
        : coding_(coding), reference_(reference), left_(width)
    {
        load();
    }
    bool ended() const { return left_ == 0; }

    // The index of the next mode, and a0 goes behind it, without a branch that depends on which
    // one it is. For horizontal, and for elsewhere, where this word alone does not tell the
    // mode, nothing is done.
    uint32_t next_near()
    {
        const ccitt_machine_word a1_on = coding_word_ & ahead_, b1_on = above_ & ahead_;
        if (a1_on == 0 || b1_on == 0) [[unlikely]]
            return elsewhere;
        const uint32_t offset = ccitt_trailing_zeros(a1_on) - ccitt_trailing_zeros(b1_on) + 3;
        const ccitt_machine_word behind_b1 = b1_on ^ (0 - b1_on);
        // Where b2 is when it comes in front of a1.
        const ccitt_machine_word passed = (above_ ^ all_above_) & behind_b1 & (a1_on - 1) & ~a1_on;
        if (offset >= pass_index && passed == 0) return horizontal;
        const ccitt_machine_word turns = passed != 0 ? 0 : ones;
        const ccitt_machine_word at_a1 = a1_on & (0 - a1_on);
        a0_ = ccitt_trailing_zeros(passed | at_a1);
        // A pass mode goes on to b1 here: the next b1 is found from there as from b2.
        ahead_ = passed != 0 ? behind_b1 : a1_on ^ (0 - a1_on);
        above_ ^= all_above_ & turns;
        color_ ^= turns & 1;
        return passed != 0 ? pass_index : offset;
    }

    // The runs of a horizontal mode; false, and nothing done, where they leave the word.
    bool runs_near(line_step& step)
    {
        const ccitt_machine_word a1_on = coding_word_ & ahead_, a2_on = a1_on & (a1_on - 1);
        if (a2_on == 0) [[unlikely]]
            return false;
        const uint32_t a1 = ccitt_trailing_zeros(a1_on), a2 = ccitt_trailing_zeros(a2_on);
        step = {horizontal, color_, {a1 - a0_, a2 - a1}};
        a0_ = a2;
        ahead_ = a2_on ^ (0 - a2_on);
        return true;
    }

    // The next mode wherever its elements are.
    line_step next_far()
    {
        const uint32_t a1 = find(coding_, 0, coding_word_ & ahead_, color_);
        const uint32_t b1 = find(reference_, 0, above_ & ahead_, color_);
        line_step step = {a1 - b1 + 3, color_, {}};
        if (const uint32_t b2 = find_behind(reference_, b1); b2 < a1) {
            step.index = pass_index;
            go_to(b2);
        } else if (step.index < pass_index) {
            color_ ^= 1;
            go_to(a1);
        } else {
            const uint32_t a2 = find_behind(coding_, a1);
            step = {horizontal, color_, {a1 - a0_, a2 - a1}};
            go_to(a2);
        }
        return step;
    }

private:
    static constexpr ccitt_machine_word ones = ~ccitt_machine_word{0};

    void load()
    {
        coding_word_ = coding_->from[0] | coding_->from[1];
        above_ = reference_->from[color_];
        all_above_ = reference_->from[0] ^ reference_->from[1];
    }
    void go_to(uint32_t position)
    {
        if (position >= left_) {
            left_ = 0;
            return;
        }
        const uint32_t words = position / word_bits;
        coding_ += words;
        reference_ += words;
        left_ -= words * word_bits;
        a0_ = position % word_bits;
        ahead_ = ones << a0_ << 1;
        load();
    }
    // The first change from these bits of a word on; at most the width.
    uint32_t find(const ccitt_change_word* line, uint32_t word, ccitt_machine_word bits,
                  uint32_t color) const
    {
        while (bits == 0)
            bits = line[++word].from[color];
        return std::min(word * word_bits + ccitt_trailing_zeros(bits), left_);
    }
    // The one behind a change from the colour of a0.
    uint32_t find_behind(const ccitt_change_word* line, uint32_t change) const
    {
        if (change >= left_) return left_;
        const uint32_t word = change / word_bits, other = color_ ^ 1;
        return find(line, word, line[word].from[other] & ones << change % word_bits, other);
    }

    const ccitt_change_word* coding_;
    const ccitt_change_word* reference_;
    uint32_t left_; // the width; 0: ended
    uint32_t a0_ = 0;
    uint32_t color_ = ccitt_white;
    ccitt_machine_word ahead_ = ones;    // where a1 and b1 are looked for
    ccitt_machine_word coding_word_ = 0; // changes of the coding line
    ccitt_machine_word above_ = 0;       // of the reference line, those that can be b1
    ccitt_machine_word all_above_ = 0;
};

class image_encoder {
public:
    image_encoder(HFILE sink, const BITMAPINFOHEADER* header, const row_source& rows,
                  const ccitt_encoder_options& options)
        : options_(options), header_(*header), rows_(rows), sink_(sink, options.fill_order == 2),
          width_(static_cast<uint32_t>(options.width))
    {
    }

    int32_t prepare();
    int32_t encode();

private:
    int32_t fetch_row(int32_t index);
    uint32_t find_changes(uint32_t* elements) const;
    void close(uint32_t* elements, uint32_t count) const;
    void encode_row_1d(ccitt_bit_packer& packer);
    void encode_row(ccitt_bit_packer& packer);
    void choose_form();
    void encode_list_g4(ccitt_bit_packer& packer);
    void encode_words_g4(ccitt_bit_packer& packer);
    void end_row(ccitt_bit_packer& packer, bool last_row);
    void put_run(ccitt_bit_packer& packer, uint32_t run, uint32_t color);
    void put_runs(ccitt_bit_packer& packer, ccitt_word before, uint32_t first, uint32_t second,
                  uint32_t color);
    void puteol(ccitt_bit_packer& packer);

    bool is_group4() const { return options_.compression == tiff_group4; }
    uint32_t* coding() const { return coding_.as<uint32_t>() + 1; }
    uint32_t* reference() const { return reference_.as<uint32_t>() + 1; }
    ccitt_change_word* coding_words() const { return coding_words_.as<ccitt_change_word>(); }
    ccitt_change_word* reference_words() const { return reference_words_.as<ccitt_change_word>(); }

    ccitt_encoder_options options_;
    BITMAPINFOHEADER header_;
    row_source rows_;
    ccitt_bit_sink sink_;
    uint32_t width_;
    int32_t source_bytes_ = 0; // of a row as get_raster gives it
    uint32_t row_words_ = 0;
    scratch_block row_;
    // Changing elements of the two lines, each behind one entry of 0.
    scratch_block coding_;
    scratch_block reference_;
    uint32_t reference_count_ = 0; // of elements
    // The lines in words, while has_words_.
    scratch_block pixels_;
    scratch_block coding_words_;
    scratch_block reference_words_;
    bool has_words_ = false;
};

int32_t image_encoder::prepare()
{
    if (header_.biBitCount != 1 || header_.biWidth < 1 || options_.width < 1)
        return err_unsupported;
    source_bytes_ = size_for_long(header_.biWidth, 1);
    row_words_ = (width_ + word_bits - 1) / word_bits;
    const size_t word_bytes = size_t{row_words_} * sizeof(ccitt_machine_word);
    const size_t row_bytes =
        std::max(word_bytes, static_cast<size_t>(source_bytes_)) + sizeof(ccitt_machine_word);
    // Every pixel can be a change, also those that fill the last word.
    const uint64_t line_bytes =
        (uint64_t{row_words_} * word_bits + 1 + closing_elements) * sizeof(uint32_t);
    if (line_bytes > SIZE_MAX) return err_memory;
    const auto line_size = static_cast<size_t>(line_bytes);
    if (!row_.allocate(row_bytes) || !coding_.allocate(line_size) || !sink_.allocate())
        return err_memory;
    const size_t words = size_t{row_words_} + 1;
    if (is_group4() && (!reference_.allocate(line_size) || !pixels_.allocate(word_bytes) ||
                        !allocate_rows(coding_words_, sizeof(ccitt_change_word), words) ||
                        !allocate_rows(reference_words_, sizeof(ccitt_change_word), words)))
        return err_memory;
    std::memset(row_.bytes(), 0xFF, row_.size());
    return 0;
}

int32_t image_encoder::encode()
{
    ccitt_bit_packer packer(sink_);
    if (is_group4()) {
        close(reference(), 0);
    }
    if (options_.compression == tiff_group3) puteol(packer);
    for (int32_t i = 0; i < header_.biHeight; ++i) {
        if (int32_t err = fetch_row(i); err < 0) return err;
        encode_row(packer);
        end_row(packer, i + 1 == header_.biHeight);
        if (sink_.failed()) return err_write;
    }
    if (is_group4()) {
        for (int32_t i = 0; i < options_.end_codes; ++i)
            packer.putbuff(eol_word.bits, eol_word.length, sink_);
        packer.align(8, sink_);
    }
    packer.flush(sink_);
    return sink_.failed() ? err_write : 0;
}

// One row of the image, white from its width on.
int32_t image_encoder::fetch_row(int32_t index)
{
    if (int32_t err = rows_.get(row_.bytes(), index, source_bytes_); err < 0) return err;
    const auto width = static_cast<uint32_t>(header_.biWidth);
    uint8_t* const bytes = row_.bytes();
    if (width % 8 != 0) bytes[width / 8] |= static_cast<uint8_t>(0xFF >> width % 8);
    const size_t used = (size_t{width} + 7) / 8;
    std::memset(bytes + used, 0xFF, static_cast<size_t>(source_bytes_) - used);
    return 0;
}

// The changing elements of the row in front of the coded width; returns how many.
uint32_t image_encoder::find_changes(uint32_t* elements) const
{
    constexpr auto top_bit = ccitt_machine_word{1} << (word_bits - 1);
    const uint8_t* from = row_.bytes();
    uint32_t* next = elements;
    ccitt_machine_word before = 0; // the pixel in front of the word, in the top bit
    for (uint32_t i = 0, position = 0; i < row_words_; ++i, position += word_bits) {
        const ccitt_machine_word black = ~ccitt_load_word(from);
        from += sizeof black;
        ccitt_machine_word changes = black ^ (black >> 1 | before);
        before = black << (word_bits - 1);
        while (changes != 0) {
            const auto zeros = static_cast<uint32_t>(std::countl_zero(changes));
            *next++ = position + zeros;
            changes ^= top_bit >> zeros;
        }
    }
    while (next != elements && next[-1] >= width_)
        --next;
    return static_cast<uint32_t>(next - elements);
}

// Makes a list complete, before it and behind it.
void image_encoder::close(uint32_t* elements, uint32_t count) const
{
    elements[-1] = 0;
    std::fill_n(elements + count, closing_elements, width_);
}

inline void image_encoder::put_run(ccitt_bit_packer& packer, uint32_t run, uint32_t color)
{
    constexpr ccitt_word longest = run_words[ccitt_white].make_up[longest_make_up / 64];
    while (run >= longest_make_up + 64)
        [[unlikely]]
        {
            packer.putbuff(longest.bits, longest.length, sink_);
            run -= longest_make_up;
        }
    const run_code code = xltrlength(run, color);
    packer.putbuff(code.bits, code.length, sink_);
}

// A run of a colour and one of the other, behind a code word or none.
inline void image_encoder::put_runs(ccitt_bit_packer& packer, ccitt_word before, uint32_t first,
                                    uint32_t second, uint32_t color)
{
    if ((first | second) < 64) [[likely]] {
        const uint32_t pair = pair_words[color][first * 64 + second];
        const uint32_t length = pair & 31;
        packer.putbuff(uint32_t{before.bits} << length | pair >> 5, before.length + length, sink_);
        return;
    }
    if (before.length != 0) packer.putbuff(before.bits, before.length, sink_);
    put_run(packer, first, color);
    put_run(packer, second, color ^ 1);
}

// Runs of both colours in turn, white first, up to the coded width.
void image_encoder::encode_row_1d(ccitt_bit_packer& result)
{
    ccitt_bit_packer packer = result;
    const uint32_t* element = coding();
    uint32_t position = 0;
    for (; element[0] < width_ && position < width_; element += 2) {
        put_runs(packer, {}, element[0] - position, element[1] - element[0], ccitt_white);
        position = element[1];
    }
    if (position < width_) put_run(packer, width_ - position, ccitt_white);
    result = packer;
}

// T.6 2.2, figure 6, with b1 as it is defined there, also behind a left offset: the first
// element right of a0 of the other kind.
void image_encoder::encode_list_g4(ccitt_bit_packer& result)
{
    ccitt_bit_packer packer = result;
    const uint32_t width = width_;
    const uint32_t* a1 = coding();
    const uint32_t* b1 = reference();
    uint32_t a0 = 0;
    uint32_t color = ccitt_white;
    while (a0 < width) {
        const uint32_t offset = *a1 - *b1 + 3;
        if (b1[1] < *a1) {
            packer.putbuff(pass_word.bits, pass_word.length, sink_);
            a0 = b1[1];
            b1 += 2;
            continue;
        }
        if (offset <= 6) {
            const ccitt_word word = vertical_words[offset];
            packer.putbuff(word.bits, word.length, sink_);
            a0 = *a1++;
            color ^= 1;
            // Branches, because they hide the loads.
            if (b1[-1] > a0) [[unlikely]]
                --b1;
            else
                ++b1;
        } else {
            put_runs(packer, horizontal_word, *a1 - a0, a1[1] - *a1, color);
            a0 = a1[1];
            a1 += 2;
        }
        if (a0 >= width) break;
        while (*b1 <= a0)
            b1 += 2;
    }
    result = packer;
}

// The same from words.
void image_encoder::encode_words_g4(ccitt_bit_packer& result)
{
    auto* const pixels = pixels_.as<ccitt_machine_word>();
    for (uint32_t i = 0; i < row_words_; ++i)
        pixels[i] = ~row_.as<ccitt_machine_word>()[i];
    tiff_rvrsbyt(pixels_.bytes(), pixels_.size());
    reference_count_ = ccitt_find_changes(pixels, width_, coding_words());
    ccitt_bit_packer packer = result;
    dense_line line(coding_words(), reference_words(), width_);
    while (!line.ended()) {
        const uint32_t index = line.next_near();
        if (index <= pass_index) [[likely]] {
            packer.putbuff(mode_words[index].bits, mode_words[index].length, sink_);
            continue;
        }
        line_step step;
        if (index != dense_line::horizontal || !line.runs_near(step)) step = line.next_far();
        if (step.index <= pass_index)
            packer.putbuff(mode_words[step.index].bits, mode_words[step.index].length, sink_);
        else
            put_runs(packer, horizontal_word, step.runs[0], step.runs[1], step.color);
    }
    result = packer;
    coding_words_.swap(reference_words_);
}

// Brings the row above into the form that suits it.
void image_encoder::choose_form()
{
    const bool had_words = has_words_;
    has_words_ = ccitt_suits_words(reference_count_, width_, had_words);
    if (has_words_ && !had_words) {
        ccitt_changes_of_list(reference(), reference_count_, width_, reference_words());
    } else if (had_words && !has_words_) {
        ccitt_list_changes(reference_words(), width_, reference());
        close(reference(), reference_count_);
    }
}

void image_encoder::encode_row(ccitt_bit_packer& packer)
{
    if (is_group4()) choose_form();
    if (has_words_) {
        encode_words_g4(packer);
        return;
    }
    const uint32_t count = find_changes(coding());
    close(coding(), count);
    if (!is_group4()) {
        encode_row_1d(packer);
        return;
    }
    encode_list_g4(packer);
    coding_.swap(reference_);
    reference_count_ = count;
}

// Every EOL is a whole 16-bit word, with 4 fill bits. INTENDED: the word in front is filled
// up with zeros first, and a whole word of zeros goes where one is complete, also at the
// very start. Held by ccitt_encoder.writes_the_described_bits.
void image_encoder::puteol(ccitt_bit_packer& packer)
{
    packer.putbuff(0, 1, sink_);
    packer.align(16, sink_);
    packer.putbuff(eol_word.bits, 16, sink_);
}

void image_encoder::end_row(ccitt_bit_packer& packer, bool last_row)
{
    if (options_.compression == tiff_huffman) {
        packer.align(8, sink_);
    } else if (options_.compression == tiff_group3 && last_row) {
        packer.putbuff(0, 1, sink_);
        packer.align(16, sink_);
    } else if (options_.compression == tiff_group3) {
        puteol(packer);
    }
}

} // namespace

int32_t ccitt_encode_image(HFILE sink, const BITMAPINFOHEADER* header, const row_source& rows,
                           const ccitt_encoder_options& options)
{
    image_encoder encoder(sink, header, rows, options);
    if (int32_t err = encoder.prepare(); err < 0) return err;
    return encoder.encode();
}

int32_t save_ccitt_g4(HFILE sink, const BITMAPINFOHEADER* header, IMG_GET_RASTER get_raster,
                      IMG_PRIVATE private_data, int32_t reverse)
{
    const uint32_t fill_order = reverse == 1 ? 2 : 1;
    return ccitt_encode_image(sink, header, {get_raster, private_data},
                              {tiff_group4, header->biWidth, fill_order});
}
