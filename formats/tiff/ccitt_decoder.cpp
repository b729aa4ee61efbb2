// ccitt_decoder.cpp - decodes the run-length codes of ITU-T T.4 and T.6.
//
// Damaged data: bits that begin no code are passed over one by one until a code is found;
// one-dimensional data end with an error where a row cannot be completed, two-dimensional
// data end quietly, with the rows so far.

#include "formats/tiff/ccitt_decoder.h"

#include "formats/tiff/ccitt_lookup.h"

#include <algorithm>

namespace {

// No row is wider; sums of a position and a clamped run stay below 2^32.
constexpr uint32_t widest_row = 0x7FFF0000;

// INTENDED: an EOL must come within this many codes. Held by ccitt_decoder.damaged_rows.
constexpr int32_t eol_search_codes = 2000;

constexpr uint32_t word_bits = ccitt_word_bits;
constexpr uint32_t horizontal_bits = 3;
constexpr uint32_t horizontal_code = 1;
constexpr uint32_t pass_bits = 4;
constexpr uint32_t pairs_per_refill = ccitt_bit_window::refilled_bits / ccitt_pair_look_ahead;
constexpr uint32_t look_ups_per_refill = ccitt_bit_window::refilled_bits / ccitt_longest_code;
static_assert(look_ups_per_refill >= 1);

} // namespace

bool ccitt_changes::grow(uint32_t elements)
{
    constexpr uint32_t first_room = 4096;
    if (elements <= room_) return true;
    const uint32_t wanted = std::max({elements, first_room, room_ * 2});
    const uint64_t bytes = (uint64_t{1} + wanted + closing_entries) * sizeof(uint32_t);
    if (bytes > SIZE_MAX) return false;
    scratch_block bigger(static_cast<size_t>(bytes));
    if (!bigger) return false;
    if (block_) std::memcpy(bigger.bytes(), block_.bytes(), block_.size());
    bigger.as<uint32_t>()[0] = 0;
    block_.swap(bigger);
    room_ = wanted;
    return true;
}

void ccitt_changes::close(uint32_t count, uint32_t width)
{
    for (uint32_t i = 0; i < closing_entries; ++i)
        elements()[count + i] = width;
}

void ccitt_changes::swap(ccitt_changes& other)
{
    block_.swap(other.block_);
    std::swap(room_, other.room_);
}

// A line while it is decoded, in the routine's own variables: its changing elements go to
// the coding list, its pixels to the toggled words.
struct ccitt_decoder::line_state {
    uint32_t* elements;
    ccitt_machine_word* toggles;
    uint32_t count = 0;
    bool in_words = false;      // all of it is in pixels_ instead
    uint32_t last = UINT32_MAX; // last element
    uint32_t end = 0;           // where the runs of a one-dimensional row ended
    uint32_t word = UINT32_MAX; // of the last change; this: there was none
    ccitt_machine_word turned = 0;

    // A second change at the same position takes the first one back: a run without pixels
    // joins its neighbours, so that the list holds true changing elements only.
    template <bool keeps_changes> void change(uint32_t position)
    {
        // The word in work is kept here and stored with every change: loading it back each
        // time would make every change wait for the one before.
        const uint32_t at = position / word_bits;
        turned = (at == word ? turned : 0) ^ ~ccitt_machine_word{0} >> position % word_bits;
        word = at;
        toggles[at] = turned;
        if constexpr (!keeps_changes) return;
        if (position == last) [[unlikely]] {
            --count;
            last = count > 0 ? elements[count - 1] : UINT32_MAX;
        } else {
            elements[count++] = position;
            last = position;
        }
    }
};

ccitt_decoder::ccitt_decoder(const ccitt_options& options)
    : options_(options), width_(static_cast<uint32_t>(std::max(options.width, 0)))
{
}

int32_t ccitt_decoder::decode_strip(HFILE file, int32_t rows, int32_t first_row,
                                    const row_output& output)
{
    if (int32_t err = prepare(file, first_row); err < 0) return err;
    switch (options_.compression) {
    case tiff_group4: return decode_g4_huff_strip(rows, first_row, output);
    case tiff_group3_2d: return decode_g4_huff_strip_2d(rows, first_row, output);
    default: return decode_g3_huff_strip(rows, first_row, output);
    }
}

int32_t ccitt_decoder::prepare(HFILE file, int32_t first_row)
{
    if (options_.width < 1) return err_format;
    if (width_ > widest_row) return err_memory;
    const bool first_strip = !row_;
    if (first_strip) {
        row_bytes_ = size_for_long(options_.width, 1);
        row_words_ = (width_ + word_bits - 1) / word_bits;
        const size_t bytes = size_t{row_words_} * sizeof(ccitt_machine_word);
        if (!source_.allocate() || !toggles_.allocate(bytes) || !coding_.grow(2) ||
            !reference_.grow(2) || !row_.allocate(bytes) || !pixels_.allocate(bytes) ||
            !allocate_rows(reference_words_, sizeof(ccitt_change_word), size_t{row_words_} + 1))
            return err_memory;
    }
    std::memset(toggles_.bytes(), 0, toggles_.size());
    // INTENDED: the reference line lives on from strip to strip; T.6 as TIFF 6.0 section 11
    // uses it starts every strip with a white one, which interchange mode follows.
    if (first_strip || first_row == 0 || options_.interchange) {
        reference_.close(0, width_);
        reference_count_ = 0;
        has_words_ = false;
    }
    window_ = source_.start(file, options_.fill_order == 2);
    return 0;
}

ccitt_machine_word ccitt_decoder::white_bits() const
{
    return options_.photometric == photometric_white_is_zero ? 0 : ~ccitt_machine_word{0};
}

ccitt_decoder::line_state ccitt_decoder::begin_line()
{
    return {coding_.elements(), toggles_.as<ccitt_machine_word>()};
}

// Paints a line of two-dimensional data and makes it the reference line.
void ccitt_decoder::end_line(const line_state& line)
{
    has_words_ = line.in_words;
    if (has_words_) {
        auto* const pixels = pixels_.as<ccitt_machine_word>();
        reference_count_ =
            ccitt_find_changes(pixels, width_, reference_words_.as<ccitt_change_word>());
        paint_words();
        return;
    }
    reference_count_ = line.count;
    coding_.close(line.count, width_);
    coding_.swap(reference_);
    wrthl_all(line);
}

// One-dimensional rows, compressions 2 and 3.
int32_t ccitt_decoder::decode_g3_huff_strip(int32_t rows, int32_t first_row,
                                            const row_output& output)
{
    for (int32_t i = 0; i < rows; ++i) {
        line_state line = begin_line();
        if (decode_row_1d<false>(line) != row_end::complete) return err_format;
        if (is_huffman()) {
            if (line.end != width_) return err_format;
            window_.align_to_byte();
        } else if (find_eol(eol_search_codes) == eol_search::too_far) {
            // A row that is complete when the data end counts as ended.
            return err_format;
        }
        wrthl_all(line);
        if (int32_t err = output.put(row_.bytes(), first_row + i, row_bytes_); err < 0) return err;
    }
    return 0;
}

int32_t ccitt_decoder::decode_g4_huff_strip(int32_t rows, int32_t first_row,
                                            const row_output& output)
{
    for (int32_t i = 0; i < rows; ++i) {
        line_state line = begin_line();
        const row_end end = decode_row_2d(line);
        if (end == row_end::no_memory) return err_memory;
        if (end != row_end::complete) return 0;
        end_line(line);
        if (int32_t err = output.put(row_.bytes(), first_row + i, row_bytes_); err < 0) return err;
    }
    return 0;
}

// Group 3 two-dimensional: every row behind an EOL and a tag bit.
int32_t ccitt_decoder::decode_g4_huff_strip_2d(int32_t rows, int32_t first_row,
                                               const row_output& output)
{
    for (int32_t i = 0; i < rows; ++i) {
        // One code in front of the codes that the search counts.
        if (find_eol(1 + eol_search_codes) != eol_search::found) return 0;
        line_state line = begin_line();
        const row_end end = decode_tagged_row(line);
        if (end == row_end::no_memory) return err_memory;
        if (end == row_end::data_end) return 0;
        end_line(line);
        if (int32_t err = output.put(row_.bytes(), first_row + i, row_bytes_); err < 0) return err;
    }
    return 0;
}

ccitt_decoder::row_end ccitt_decoder::decode_tagged_row(line_state& line)
{
    window_.refill(source_);
    if (source_.ended(window_)) return row_end::data_end;
    const bool one_dimensional = window_.peek(1) != 0;
    window_.consume(1);
    if (one_dimensional) return decode_row_1d<true>(line);
    const row_end end = decode_row_2d(line);
    // INTENDED: where no mode can be read the row ends at the width, in the colour that it
    // has got to, and the next EOL is looked for.
    return end == row_end::no_memory ? end : row_end::complete;
}

template <bool keeps_changes>
ccitt_decoder::row_end ccitt_decoder::decode_row_1d(line_state& result)
{
    const uint32_t width = width_;
    ccitt_bit_window window = window_;
    line_state line = result;
    uint32_t position = 0;
    uint32_t color = ccitt_white;
    uint32_t made_up = 0; // of the run being read, at most width + 1
    row_end end = row_end::complete;
    while (position < width && end == row_end::complete) {
        if constexpr (keeps_changes) {
            if (line.count + 2 * look_ups_per_refill > coding_.room()) {
                if (!coding_.grow(line.count + 2 * look_ups_per_refill)) return row_end::no_memory;
                line.elements = coding_.elements();
            }
        }
        window.refill(source_);
        for (uint32_t i = 0; i < look_ups_per_refill && position < width; ++i) {
            const ccitt_run_entry entry = ccitt_run_tables[color][window.peek(ccitt_longest_code)];
            const ccitt_kind kind = entry.kind();
            if (kind == ccitt_kind::pair) {
                position += made_up + entry.first_run();
                made_up = 0;
                if (position >= width) {
                    // The second code belongs to what follows the row.
                    window.consume(entry.first_length());
                    break;
                }
                window.consume(entry.length());
                line.change<keeps_changes>(position);
                position += entry.second_run();
                if (position < width) line.change<keeps_changes>(position);
            } else if (kind >= ccitt_kind::single) {
                window.consume(entry.length());
                position += made_up + entry.first_run();
                made_up = 0;
                if (position < width) line.change<keeps_changes>(position);
                color ^= 1;
            } else if (kind == ccitt_kind::make_up) {
                window.consume(entry.length());
                made_up = std::min(made_up + entry.first_run(), width + 1);
            } else if (i > 0) {
                break; // a fault is looked at in a full window
            } else {
                // In front of a Group 3 row stand fill bits and the EOL.
                if (is_huffman() || position > 0) ++faults_;
                if (kind == ccitt_kind::eol)
                    window.consume(entry.length());
                else if (!source_.skip_unknown(window))
                    end = row_end::data_end;
                break;
            }
        }
    }
    line.end = position;
    if (position != width) ++faults_;
    result = line;
    window_ = window;
    return end;
}

// In the form that suits the reference line.
ccitt_decoder::row_end ccitt_decoder::decode_row_2d(line_state& line)
{
    auto* const words = reference_words_.as<ccitt_change_word>();
    line.in_words = ccitt_suits_words(reference_count_, width_, has_words_);
    if (line.in_words && !has_words_) {
        ccitt_changes_of_list(reference_.elements(), reference_count_, width_, words);
    } else if (!line.in_words && has_words_) {
        if (!reference_.grow(reference_count_)) return row_end::no_memory;
        ccitt_list_changes(words, width_, reference_.elements());
        reference_.close(reference_count_, width_);
    }
    has_words_ = line.in_words;
    return has_words_ ? decode_words_2d() : decode_list_2d(line);
}

ccitt_decoder::row_end ccitt_decoder::decode_list_2d(line_state& result)
{
    const uint32_t width = width_;
    ccitt_bit_window window = window_;
    line_state line = result;
    const uint32_t* b1 = reference_.elements();
    uint32_t a0 = 0; // in front of the first mode it stands for the element before the row
    uint32_t color = ccitt_white;
    row_end end = row_end::complete;
    const auto vertical = [&](int32_t offset) __attribute__((always_inline))
    {
        const int32_t a1 = static_cast<int32_t>(*b1) + offset;
        // Only damaged data lead left of a0.
        if (a1 >= static_cast<int32_t>(a0)) [[likely]]
            a0 = static_cast<uint32_t>(a1);
        if (a0 >= width) return false;
        line.change<true>(a0);
        color ^= 1;
        // b1 is the first element right of a0 of the other kind. After a left offset
        // the one before can lie there.
        if (b1[-1] > a0) [[unlikely]]
            --b1;
        else
            ++b1;
        while (*b1 <= a0)
            [[unlikely]] b1 += 2;
        return true;
    };
    for (;;) {
        // Room for the modes of one window and for a horizontal mode behind them.
        const uint32_t most = line.count + 2 * pairs_per_refill + 2;
        if (most > coding_.room()) {
            if (!coding_.grow(most)) return row_end::no_memory;
            line.elements = coding_.elements();
        }
        window.refill(source_);
        for (uint32_t i = 0; i < pairs_per_refill; ++i) {
            const ccitt_mode_pair& modes = ccitt_mode_pairs[window.peek(ccitt_pair_look_ahead)];
            if (modes.verticals == 0) break;
            const ccitt_bit_window before = window;
            if (modes.verticals == 1) {
                window.consume(modes.first_length);
                if (!vertical(modes.first.offset)) goto row_done;
                break;
            }
            window.consume(modes.length);
            if (!vertical(modes.first.offset)) {
                window = before;
                window.consume(modes.first_length);
                goto row_done;
            }
            if (!vertical(modes.second.offset)) goto row_done;
        }
        window.refill(source_);
        const ccitt_mode_entry mode = ccitt_mode_table[window.peek(ccitt_longest_mode)];
        if (mode.mode == ccitt_mode::vertical) continue;
        if (mode.mode == ccitt_mode::horizontal) {
            // The lengths as constants: the next look-up does not wait for the last one.
            window.consume(horizontal_bits);
            uint32_t runs[2] = {0, 0};
            if (!read_runs(window, color, runs)) {
                end = row_end::data_end;
                break;
            }
            a0 += runs[0];
            if (a0 >= width) break;
            line.change<true>(a0);
            a0 += runs[1];
            if (a0 >= width) break;
            line.change<true>(a0);
            while (*b1 <= a0)
                b1 += 2;
        } else if (mode.mode == ccitt_mode::pass) {
            window.consume(pass_bits);
            a0 = b1[1];
            if (a0 >= width) break;
            b1 += 2;
        } else {
            end = row_end::no_mode;
            break;
        }
    }
row_done:
    if (end != row_end::complete) ++faults_;
    result = line;
    window_ = window;
    return end;
}

ccitt_decoder::row_end ccitt_decoder::decode_words_2d()
{
    ccitt_bit_window window = window_;
    ccitt_dense_line line(reference_words_.as<ccitt_change_word>(),
                          pixels_.as<ccitt_machine_word>(), width_);
    row_end end = row_end::complete;
    for (;;) {
        window.refill(source_);
        for (uint32_t i = 0; i < pairs_per_refill; ++i) {
            const ccitt_mode_pair& modes = ccitt_mode_pairs[window.peek(ccitt_pair_look_ahead)];
            if (modes.first_length == 0) break;
            const ccitt_bit_window before = window;
            window.consume(modes.length);
            if (!line.move(modes.first) && !line.move_far(modes.first)) {
                window = before;
                window.consume(modes.first_length);
                goto row_done;
            }
            if (modes.length == modes.first_length) break;
            if (!line.move(modes.second) && !line.move_far(modes.second)) goto row_done;
        }
        window.refill(source_);
        while (window.peek(horizontal_bits) == horizontal_code) {
            window.consume(horizontal_bits);
            const uint32_t color = line.color();
            const ccitt_run_entry entry = ccitt_run_tables[color][window.peek(ccitt_longest_code)];
            uint32_t runs[2] = {entry.first_run(), entry.second_run()};
            if (entry.kind() == ccitt_kind::pair) [[likely]] {
                window.consume(entry.length());
            } else {
                ccitt_bit_window own = window; // so that the other one stays in registers
                runs[0] = runs[1] = 0;
                const bool found = read_runs(own, color, runs);
                window = own;
                if (!found) {
                    end = row_end::data_end;
                    goto row_done;
                }
            }
            if (!line.add_runs(runs[0], runs[1])) goto row_done;
            window.refill(source_);
        }
        if (ccitt_mode_table[window.peek(ccitt_longest_mode)].mode == ccitt_mode::none) {
            end = row_end::no_mode;
            break;
        }
    }
row_done:
    if (end != row_end::complete) ++faults_;
    line.finish();
    window_ = window;
    return end;
}

// A run of this colour and one of the other, from a window that holds the first code.
inline bool ccitt_decoder::read_runs(ccitt_bit_window& window, uint32_t color, uint32_t (&runs)[2])
{
    for (;; window.refill(source_)) {
        const ccitt_run_entry entry = ccitt_run_tables[color][window.peek(ccitt_longest_code)];
        switch (entry.kind()) {
        case ccitt_kind::pair:
            window.consume(entry.length());
            runs[0] += entry.first_run();
            runs[1] = entry.second_run();
            return true;
        case ccitt_kind::single:
        case ccitt_kind::made:
            window.consume(entry.length());
            runs[0] += entry.first_run();
            return read_run(window, color ^ 1, runs[1]);
        case ccitt_kind::make_up:
            window.consume(entry.length());
            runs[0] = std::min(runs[0] + entry.first_run(), width_ + 1);
            break;
        case ccitt_kind::eol:
            ++faults_;
            window.consume(entry.length());
            break;
        case ccitt_kind::none:
            ++faults_;
            if (!source_.skip_unknown(window)) return false;
        }
    }
}

inline bool ccitt_decoder::read_run(ccitt_bit_window& window, uint32_t color, uint32_t& run)
{
    for (;;) {
        window.refill(source_);
        const ccitt_run_entry entry = ccitt_run_tables[color][window.peek(ccitt_longest_code)];
        switch (entry.kind()) {
        case ccitt_kind::pair:
            window.consume(entry.first_length());
            run += entry.first_run();
            return true;
        case ccitt_kind::single:
        case ccitt_kind::made:
            window.consume(entry.length());
            run += entry.first_run();
            return true;
        case ccitt_kind::make_up:
            window.consume(entry.length());
            run = std::min(run + entry.first_run(), width_ + 1);
            break;
        case ccitt_kind::eol:
            ++faults_;
            window.consume(entry.length());
            break;
        case ccitt_kind::none:
            ++faults_;
            if (!source_.skip_unknown(window)) return false;
        }
    }
}

// The next code of a colour: its run length, ccitt_eol_run, or -1 at the end of the data.
int32_t ccitt_decoder::getmcode(uint32_t color)
{
    for (;;) {
        window_.refill(source_);
        const ccitt_run_entry entry = ccitt_run_tables[color][window_.peek(ccitt_longest_code)];
        if (entry.kind() != ccitt_kind::none) {
            window_.consume(entry.first_length());
            return static_cast<int32_t>(entry.first_run());
        }
        if (!source_.skip_unknown(window_)) return -1;
    }
}

ccitt_decoder::eol_search ccitt_decoder::find_eol(int32_t codes)
{
    for (int32_t i = 0; i < codes; ++i) {
        const int32_t code = getmcode(ccitt_white);
        if (code < 0) return eol_search::data_end;
        if (code == ccitt_eol_run) return eol_search::found;
        ++faults_;
    }
    return eol_search::too_far;
}

// Writes out the row that was decoded in words.
void ccitt_decoder::paint_words()
{
    const auto* const pixels = pixels_.as<ccitt_machine_word>();
    auto* const row = row_.as<ccitt_machine_word>();
    const ccitt_machine_word white = white_bits();
    for (uint32_t i = 0; i < row_words_; ++i)
        row[i] = pixels[i] ^ white;
    tiff_rvrsbyt(row_.bytes(), row_.size());
}

// Paints the row: every change of colour turns over all bits behind it.
void ccitt_decoder::wrthl_all(const line_state& line)
{
    auto* const toggles = toggles_.as<ccitt_machine_word>();
    uint8_t* to = row_.bytes();
    const ccitt_machine_word white = white_bits();
    if (line.word == UINT32_MAX) { // no change at all
        std::memset(to, static_cast<int>(white & 0xFF), row_.size());
        return;
    }
    ccitt_machine_word before = white; // all bits: the last pixel of the word in front
    for (uint32_t i = 0, words = row_words_; i < words; ++i, to += sizeof before) {
        const ccitt_machine_word turned = toggles[i];
        ccitt_store_word(to, turned ^ before);
        before ^= 0 - (turned & 1);
    }
    std::memset(toggles, 0, toggles_.size());
    // Padding is white.
    if (const uint32_t used = width_ % word_bits; used != 0) {
        to -= sizeof before;
        const ccitt_machine_word padding = ~ccitt_machine_word{0} >> used;
        ccitt_store_word(to, (ccitt_load_word(to) & ~padding) | (white & padding));
    }
}
