// mono_diffusion.cpp - serpentine error diffusion to 1 bit with the weights
//                8 4
//        2 4 8 4 2
//        1 2 4 2 1   over 42.
//
// Along a row each pixel waits for the one before it; everything else is done beside that
// chain, eight pixels at a time: a group of pixels is quantised, the shares of the group
// before it are sorted by weight, and those of the group before that are added to the rows
// ahead. Sums wrap, so their order makes no difference.

#include "color/mono_diffusion.h"

#include "color/grey_source.h"
#include "core/image.h"
#include "core/new_dib.h"

#include <array>
#include <emmintrin.h>

namespace {

constexpr int32_t group_size = 8;
constexpr int32_t white_from = 128;

// The four shares of one error, each truncated by itself, as 16-bit words: 8 parts of 42 in
// the lowest, then 4, 2 and 1.
constexpr uint64_t shares_of(int32_t value)
{
    const int32_t error = value >= white_from ? value - 255 : value;
    const int32_t parts[] = {8 * error / 42, 4 * error / 42, error / 21, error / 42};
    uint64_t shares = 0;
    for (int k = 0; k < 4; ++k)
        shares |= uint64_t{static_cast<uint16_t>(parts[k])} << 16 * k;
    return shares;
}

// Values outside the table come from wrapping only.
constexpr int32_t table_from = -256, table_size = 1280;
constexpr auto shares_table = [] {
    std::array<uint64_t, table_size> table{};
    for (int32_t i = 0; i < table_size; ++i)
        table[static_cast<size_t>(i)] = shares_of(i + table_from);
    return table;
}();

template <running_values mode> uint64_t find_shares(uint16_t running)
{
    const int32_t value =
        mode == running_values::wrap ? int32_t{running} : static_cast<int16_t>(running);
    const auto place = static_cast<uint32_t>(value - table_from);
    return place < table_size ? shares_table[place] : shares_of(value);
}

inline __m128i load(const void* p)
{
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}

inline void store(void* p, __m128i v)
{
    _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

// share[x - distance] + share[x + distance] of eight pixels
inline __m128i pair(const uint16_t* share, int32_t distance)
{
    return _mm_add_epi16(load(share - distance), load(share + distance));
}

// Bits of the running values: set from 128 on.
void white_bits(const uint16_t* values, int32_t width, running_values mode, uint8_t* bits)
{
    const __m128i limit = _mm_set1_epi16(white_from - 1), zero = _mm_setzero_si128();
    const bool wraps = mode == running_values::wrap;
    const auto black = [&](const uint16_t* p) {
        const __m128i v = load(p);
        // Without a sign, what is above the limit leaves something of it.
        return wraps ? _mm_cmpeq_epi16(_mm_subs_epu16(v, limit), zero)
                     : _mm_cmplt_epi16(v, _mm_add_epi16(limit, _mm_set1_epi16(1)));
    };
    // The sign of byte 0 belongs into bit 7 of the byte of eight pixels.
    const auto byte_of = [](int32_t mask) {
        mask = (mask & 0x0F) << 4 | (mask >> 4 & 0x0F);
        mask = (mask & 0x33) << 2 | (mask >> 2 & 0x33);
        return static_cast<uint8_t>((mask & 0x55) << 1 | (mask >> 1 & 0x55));
    };
    for (int32_t x = 0; x < width; x += group_size)
        bits[x / 8] = byte_of(~_mm_movemask_epi8(_mm_packs_epi16(black(values + x), zero)) & 0xFF);
    if (width % 8) bits[width / 8] &= static_cast<uint8_t>(0xFF00 >> width % 8);
}

} // namespace

// What the last pixels pass on along the row.
struct mono_diffusion::carried {
    uint32_t one_back = 0;     // to the next pixel, from the last one
    uint32_t two_back = 0;     // to the next pixel, from the one before the last
    uint32_t one_back_far = 0; // what the last pixel keeps for the one after the next
};

int32_t mono_diffusion::begin(int32_t width, running_values values)
{
    width_ = width;
    mode_ = values;
    const size_t groups = (size_t(width) + group_size - 1) / group_size;
    const size_t entries = groups * group_size + 2 * guard;
    if (!allocate_rows(values_, 3 * sizeof(uint16_t), entries)) return err_memory;
    if (!allocate_rows(errors_, 4 * sizeof(uint16_t) + sizeof(uint64_t), entries))
        return err_memory;
    std::memset(values_.bytes(), 0, values_.size());
    std::memset(errors_.bytes(), 0, errors_.size());
    for (size_t k = 0; k < 3; ++k)
        rows_[k] = values_.as<uint16_t>() + k * entries + guard;
    of_pixel_ = errors_.as<uint64_t>();
    for (size_t k = 0; k < 4; ++k)
        shares_[k] = errors_.as<uint16_t>() + (4 + k) * entries + guard;
    return 0;
}

void mono_diffusion::feed(int32_t ahead, const uint8_t* grey)
{
    uint16_t* row = rows_[ahead];
    const __m128i zero = _mm_setzero_si128();
    int32_t x = 0;
    for (; x + 16 <= width_; x += 16) {
        const __m128i v = load(grey + x);
        store(row + x, _mm_unpacklo_epi8(v, zero));
        store(row + x + 8, _mm_unpackhi_epi8(v, zero));
    }
    for (; x < width_; ++x)
        row[x] = grey[x];
}

template <running_values mode>
inline void mono_diffusion::quantise_group(int32_t group, int32_t direction, carried& from)
{
    const int32_t first = group * group_size;
    const int32_t count = width_ - first < group_size ? width_ - first : group_size;
    int32_t x = direction > 0 ? first : first + count - 1;
    uint16_t* row = rows_[0];
    for (int32_t i = 0; i < count; ++i, x += direction) {
        const auto value = static_cast<uint16_t>(row[x] + from.two_back + from.one_back);
        const uint64_t shares = find_shares<mode>(value);
        row[x] = value;
        of_pixel_[x] = shares;
        from.two_back = from.one_back_far;
        from.one_back = static_cast<uint32_t>(shares & 0xFFFF);
        from.one_back_far = static_cast<uint32_t>(shares >> 16 & 0xFFFF);
    }
}

// From the shares of each pixel to rows of each share. Pixels behind the row's end stay 0.
inline void mono_diffusion::split_group(int32_t group)
{
    const int32_t x = group * group_size;
    __m128i v[4], w[4];
    for (int k = 0; k < 4; ++k)
        v[k] = load(of_pixel_ + x + 2 * k);
    for (int k = 0; k < 2; ++k) {
        const __m128i low = _mm_unpacklo_epi16(v[2 * k], v[2 * k + 1]);
        const __m128i high = _mm_unpackhi_epi16(v[2 * k], v[2 * k + 1]);
        w[2 * k] = _mm_unpacklo_epi16(low, high);     // a, b of four pixels
        w[2 * k + 1] = _mm_unpackhi_epi16(low, high); // c, d
    }
    store(shares_[0] + x, _mm_unpacklo_epi64(w[0], w[2]));
    store(shares_[1] + x, _mm_unpackhi_epi64(w[0], w[2]));
    store(shares_[2] + x, _mm_unpacklo_epi64(w[1], w[3]));
    store(shares_[3] + x, _mm_unpackhi_epi64(w[1], w[3]));
}

inline void mono_diffusion::add_group(int32_t group)
{
    const int32_t x = group * group_size;
    const uint16_t *a = shares_[0] + x, *b = shares_[1] + x, *c = shares_[2] + x,
                   *d = shares_[3] + x;
    uint16_t *next = rows_[1] + x, *after = rows_[2] + x;
    const __m128i to_next = _mm_add_epi16(_mm_add_epi16(load(a), pair(b, 1)), pair(c, 2));
    const __m128i to_after = _mm_add_epi16(_mm_add_epi16(load(b), pair(c, 1)), pair(d, 2));
    store(next, _mm_add_epi16(load(next), to_next));
    store(after, _mm_add_epi16(load(after), to_after));
}

template <running_values mode> void mono_diffusion::dither_row(int32_t direction)
{
    const int32_t groups = (width_ + group_size - 1) / group_size;
    const auto group_at = [&](int32_t i) { return direction > 0 ? i : groups - 1 - i; };
    carried from;
    for (int32_t i = 0; i < groups + 2; ++i) {
        if (i < groups) quantise_group<mode>(group_at(i), direction, from);
        if (i >= 1 && i <= groups) split_group(group_at(i - 1));
        if (i >= 2) add_group(group_at(i - 2));
    }
}

void mono_diffusion::dither_raster(uint8_t* bits, int32_t row_number)
{
    const int32_t direction = row_number & 1 ? -1 : 1;
    if (mode_ == running_values::wrap)
        dither_row<running_values::wrap>(direction);
    else
        dither_row<running_values::keep_sign>(direction);
    white_bits(rows_[0], width_, mode_, bits);
    uint16_t* done = rows_[0];
    rows_[0] = rows_[1];
    rows_[1] = rows_[2];
    rows_[2] = done;
}

namespace {

int32_t diffusion_mono(int32_t handle)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    if (image.header()->biBitCount == 1) return err_unsupported;
    const int32_t width = image->width;
    scratch_block grey{size_t(width)};
    mono_diffusion diffusion;
    new_dib target(image.header());
    target.set_size(width, image->height, 1);
    create_dib_palette(target.header(), "tiff");
    if (!grey || diffusion.begin(width, present_running_values()) < 0 || target.create() < 0)
        return err_memory;

    const grey_source source(image.header(), grey_rule::percent);
    const auto feed = [&](int32_t ahead, int32_t r) {
        if (r >= image->height) return;
        source.fetch_gray_raster(image.row(r), grey.bytes(), width);
        diffusion.feed(ahead, grey.bytes());
    };
    for (int32_t r = 0; r < 3; ++r)
        feed(r, r);
    for (int32_t r = 0; r < image->height; ++r) {
        diffusion.dither_raster(target.row(r), r);
        feed(2, r + 3);
    }
    target.install(image, saved_colors::forget);
    return 0;
}

} // namespace

int32_t IMG_STD IMG_diffusion_mono(int32_t handle)
{
    return diffusion_mono(handle);
}
