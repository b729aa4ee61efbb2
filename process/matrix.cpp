// matrix.cpp - convolution with one of nine built-in kernels or the client's.

#include "process/matrix.h"

#include "color/color_gray.h"
#include "core/dib_rows.h"
#include "core/image.h"
#include "process/filter_strips.h"

#include <algorithm>
#include <emmintrin.h>

namespace {

uint8_t clamp_byte(int32_t v)
{
    return static_cast<uint8_t>(std::clamp(v, 0, 255));
}

// INTENDED: kernel 8 leaves out the left and the centre of its middle row.
// clang-format off
constexpr kernel_3x3 built_in_kernels[] = {
    {{ 0,  1,  0,    1, -4,  1,    0,  1,  0}},
    {{-1, -1, -1,   -1,  8, -1,   -1, -1, -1}},
    {{-1, -1, -1,    2,  2,  2,   -1, -1, -1}},
    {{-1,  2, -1,   -1,  2, -1,   -1,  2, -1}},
    {{-1, -1,  2,   -1,  2, -1,    2, -1, -1}},
    {{ 2, -1, -1,   -1,  2, -1,   -1, -1,  2}},
    {{ 0, -1,  0,   -1,  5, -1,    0, -1,  0}},
    {{ 1,  1,  1,    0,  0,  1,    1,  1,  1}},
    {{-1,  0, -1,    0,  4,  0,   -1,  0, -1}},
};
// clang-format on

// Type 0 is the client's kernel, 1 to 9 are built in; false for any other type.
bool find_kernel(int32_t type, const signed char* custom, kernel_3x3& kernel)
{
    if (type < 0 || type > 9) return false;
    if (type > 0) {
        kernel = built_in_kernels[type - 1];
        return true;
    }
    if (!custom) return false;
    std::copy_n(custom, 9, kernel.weights);
    return true;
}

} // namespace

namespace {

// The weights that are not 0, two by two, with the addresses that they weigh at position 0.
// An odd one has a partner of weight 0.
struct tap_pairs {
    const uint8_t* from[10];
    __m128i weights[5];
    int32_t count = 0;

    tap_pairs(const kernel_3x3& kernel, const matrix_rows& in, int32_t step)
    {
        const uint8_t* rows[] = {in.below, in.row, in.above};
        int32_t taps = 0, pair[2] = {};
        for (int32_t k = 0; k < 9; ++k) {
            if (kernel.weights[k] == 0) continue;
            from[taps] = rows[k / 3] + (k % 3 - 1) * step;
            pair[taps & 1] = kernel.weights[k];
            if (++taps % 2 == 0) add(pair[0], pair[1]);
        }
        if (taps % 2) {
            from[taps] = from[taps - 1];
            add(pair[0], 0);
        }
    }

private:
    void add(int32_t first, int32_t second)
    {
        weights[count++] = _mm_set1_epi32(
            static_cast<int32_t>((static_cast<uint32_t>(second) << 16) | (first & 0xFFFF)));
    }
};

// Sixteen values by multiply-add of word pairs; sums have 32 bits, saturation clamps them.
inline __m128i sixteen_values(const tap_pairs& taps, int32_t p)
{
    const __m128i zero = _mm_setzero_si128();
    __m128i sums[4] = {zero, zero, zero, zero};
    for (int32_t i = 0; i < taps.count; ++i) {
        const auto load = [&](int32_t tap) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(taps.from[tap] + p));
        };
        const __m128i a = load(2 * i), b = load(2 * i + 1), w = taps.weights[i];
        const __m128i low = _mm_unpacklo_epi8(a, b), high = _mm_unpackhi_epi8(a, b);
        const auto add = [&](__m128i& sum, __m128i words) {
            sum = _mm_add_epi32(sum, _mm_madd_epi16(words, w));
        };
        add(sums[0], _mm_unpacklo_epi8(low, zero));
        add(sums[1], _mm_unpackhi_epi8(low, zero));
        add(sums[2], _mm_unpacklo_epi8(high, zero));
        add(sums[3], _mm_unpackhi_epi8(high, zero));
    }
    return _mm_packus_epi16(_mm_packs_epi32(sums[0], sums[1]), _mm_packs_epi32(sums[2], sums[3]));
}

} // namespace

void apply_matrix_bytes(const kernel_3x3& kernel, const matrix_rows& in, uint8_t* out,
                        int32_t first, int32_t last, int32_t step)
{
    const tap_pairs taps(kernel, in, step);
    int32_t p = first;
    for (; p + 16 <= last; p += 16)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + p), sixteen_values(taps, p));
    const int32_t* k = kernel.weights;
    for (; p < last; ++p) {
        const int32_t sum = k[0] * in.below[p - step] + k[1] * in.below[p] +
                            k[2] * in.below[p + step] + k[3] * in.row[p - step] + k[4] * in.row[p] +
                            k[5] * in.row[p + step] + k[6] * in.above[p - step] +
                            k[7] * in.above[p] + k[8] * in.above[p + step];
        out[p] = clamp_byte(sum);
    }
}

uint8_t matrix_value_across(const kernel_3x3& kernel, const matrix_rows& in, int32_t p,
                            int32_t stride)
{
    const uint8_t* rows[] = {in.below, in.row, in.above, in.above_next};
    int32_t sum = 0;
    for (int32_t k = 0; k < 9; ++k) {
        const int32_t at = p + 3 * (k % 3 - 1);
        sum += kernel.weights[k] * (at < stride ? rows[k / 3][at] : rows[k / 3 + 1][at - stride]);
    }
    return clamp_byte(sum);
}

namespace {

// The rows of a DIB that are filtered in place.
struct raster {
    uint8_t* rows;
    int32_t stride, height, bits_per_pixel;

    uint8_t* row(int32_t r) const { return rows + size_t(r) * size_t(stride); }
};

class matrix_pass {
public:
    explicit matrix_pass(const kernel_3x3& kernel) : kernel_(kernel) {}

    /// Takes the working memory; run() then cannot fail.  0, or err_memory.
    int32_t begin(int32_t stride, int32_t height)
    {
        plan_ = strip_plan(stride, height, 3);
        return window_.begin(stride, plan_);
    }

    void run(const raster& image)
    {
        window_.attach(image.rows);
        for (int32_t first = 0; first < image.height;) {
            const filter_strip strip = plan_.at(first);
            if (image.bits_per_pixel == 24)
                apply_matrix24(image, strip);
            else
                apply_matrix8(image, strip);
            first += strip.count;
        }
    }

private:
    // Rows around row r. INTENDED: above the top row of the picture lies that row again.
    matrix_rows rows_around(const filter_strip& strip, int32_t r) const
    {
        const int32_t last = strip.first + strip.count - 1;
        const bool at_top = last + 1 == plan_.height();
        const auto slot_above = [&](int32_t row) {
            if (row <= last) return row;
            if (at_top) return last;
            // The slot after the one above the strip is never filled.
            return row == last + 1 ? strip.above : no_row;
        };
        return {window_.original(r == strip.first ? strip.below : r - 1), window_.original(r),
                window_.original(slot_above(r + 1)), window_.original(slot_above(r + 2))};
    }

    void apply_matrix8(const raster& image, const filter_strip& strip)
    {
        for (int32_t r = strip.first; r < strip.first + strip.count; ++r) {
            window_.load(r);
            apply_matrix_bytes(kernel_, rows_around(strip, r), image.row(r), 1, image.stride - 1,
                               1);
        }
    }

    void apply_matrix24(const raster& image, const filter_strip& strip);

    kernel_3x3 kernel_;
    strip_plan plan_{4, 1, 3};
    row_window window_;
};

// INTENDED: positions run from byte 3 of a row to byte 0 of the next, with the rows taken as
// they lie in memory one after another. So the right neighbours of a row's last bytes are
// the first bytes of the next row, and byte 0 of every row of a strip but its first gets the
// value of the position before it.
void matrix_pass::apply_matrix24(const raster& image, const filter_strip& strip)
{
    const int32_t stride = image.stride;
    uint8_t byte_0 = 0;
    for (int32_t r = strip.first; r < strip.first + strip.count; ++r) {
        window_.load(r);
        const matrix_rows in = rows_around(strip, r);
        uint8_t* out = image.row(r);
        apply_matrix_bytes(kernel_, in, out, 3, stride - 3, 3);
        for (int32_t p = std::max(3, stride - 3); p < stride; ++p)
            out[p] = matrix_value_across(kernel_, in, p, stride);
        if (r > strip.first) out[0] = byte_0;
        byte_0 = matrix_value_across(kernel_, in, stride, stride);
    }
}

// A palette image in colours becomes grey first; both changes arrive together or not at all.
int32_t filter_as_gray(dib_lock& image, matrix_pass& pass)
{
    new_dib grey(image.header());
    if (int32_t err = make_gray_dib(image, grey); err < 0) return err;
    if (int32_t err = pass.begin(grey.stride(), image->height); err < 0) return err;
    pass.run({grey.row(0), grey.stride(), image->height, 8});
    grey.install(image, saved_colors::forget);
    return 0;
}

int32_t image_processing_matrix(int32_t handle, int32_t type, const signed char* custom)
{
    io_scope scope;
    dib_lock image(handle);
    if (image.error()) return image.error();
    kernel_3x3 kernel;
    if (!find_kernel(type, custom, kernel)) return err_memory;
    const int32_t bits = image.header()->biBitCount;
    if (bits == 1) return err_unsupported;
    matrix_pass pass(kernel);
    if (bits != 24 && has_color(image.header())) return filter_as_gray(image, pass);
    // INTENDED: a grey picture of 4 bits stays as it is.
    if (bits == 4) return 0;
    const auto stride = static_cast<int32_t>(image->bytes_per_line);
    if (int32_t err = pass.begin(stride, image->height); err < 0) return err;
    pass.run({image.row(0), stride, image->height, bits});
    return 0;
}

} // namespace

int32_t IMG_STD IMG_process_bitmap(int32_t handle, int32_t type, const signed char* kernel)
{
    return image_processing_matrix(handle, type, kernel);
}
