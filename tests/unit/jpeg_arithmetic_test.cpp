// jpeg_arithmetic_test.cpp - the fast transforms, conversions and quotients against plain
// arithmetic, over the inputs that matter and over millions of random ones; the search for a
// stream.

#include "formats/jpeg/jpeg_color.h"
#include "formats/jpeg/jpeg_fdct.h"
#include "formats/jpeg/jpeg_idct.h"
#include "formats/jpeg/jpeg_reader.h"
#include "tests/builders/plain_jpeg.h"

namespace {

// A tenth of the blocks under the sanitizers, which slow them down tenfold.
#ifdef __SANITIZE_ADDRESS__
constexpr int thousands = 100;
#else
constexpr int thousands = 1000;
#endif

bool idct_is_plain(const plain_jpeg::block& b)
{
    static const auto order = jpeg_builder::zigzag();
    jpeg_coefficients fast{};
    for (size_t k = 0; k < 64; ++k) {
        const size_t i = order[k];
        fast.values[i % 8 * 8 + i / 8] = b[i];
        fast.magnitude += std::abs(b[i]);
        if (b[i] != 0) fast.last = k;
    }
    int8_t samples[64];
    jpeg_idct(fast, samples, 8);
    const auto wanted = plain_jpeg::inverse_dct(b);
    return std::equal(samples, samples + 64, wanted.begin());
}

// A sample's share in a coefficient, along one side.
double wave(size_t sample, size_t k)
{
    static const double pi = std::acos(-1.0);
    const double angle = static_cast<double>((2 * sample + 1) * k) * pi / 16;
    return std::cos(angle) / (k == 0 ? std::sqrt(8.0) : 2.0);
}

int32_t open_at(const byte_vector& data, uint32_t offset)
{
    io_scope scope;
    reset_mem_io_bounded(data.data(), uint32_t(data.size()));
    const row_sink sink{[](const void*, IMG_PRIVATE, int32_t, int32_t) -> int32_t { return 0; },
                        [](const BITMAPINFOHEADER*, IMG_PRIVATE) -> int32_t { return 1; }, 0};
    return open_jpg_at(offset, sink, memory_file, nullptr);
}

// Noise of the n-th of eight ranges; the last is nothing but extremes.
template <size_t count> void make_noise(int16_t (&samples)[count], std::mt19937& random, int n)
{
    for (int16_t& s : samples)
        s = n % 8 == 7 ? (random() & 1 ? 127 : -128) : random() % (2u << n % 8) - (1 << n % 8);
}

} // namespace

TEST(jpeg_idct, equals_the_plain_form)
{
    for (size_t i = 0; i < 64; ++i)
        for (int value = -32768; value <= 32767; value += i == 0 ? 3 : 61) {
            plain_jpeg::block b{};
            b[i] = value;
            ASSERT_TRUE(idct_is_plain(b)) << i << ": " << value;
        }
    // The sum of absolute values at the limit of 16-bit arithmetic, over every pair of
    // positions, and over a row, a column or all of them with random signs: what drives values
    // in between to their extremes.
    for (size_t n = 0; n < 64 * 64 * 16; ++n) {
        const int part = std::array{1, 4000, 8000, 15999}[n % 4];
        plain_jpeg::block b{};
        b[n / 16 % 64] = n & 4 ? -part : part;
        b[n / 1024] += (n & 8 ? 1 : -1) * (idct_16_bit_magnitude - part);
        ASSERT_TRUE(idct_is_plain(b)) << n;
    }
    std::mt19937 random(1);
    for (int n = 0; n < 2300 * thousands; ++n) {
        plain_jpeg::block b{};
        const size_t kind = random() % 20, line = random() % 8;
        const int value = idct_16_bit_magnitude / (kind == 0 ? 64 : 8);
        for (size_t i = 0; i < 64 && kind < 3; ++i)
            if (kind == 0 || (kind == 1 ? i / 8 : i % 8) == line)
                b[i] = random() & 1 ? value : -value;
        const uint32_t range = 2u << random() % 16;
        for (uint32_t left = kind < 3 ? 0 : random() % 64 + 1; left > 0; --left)
            b[random() % (n & 1 ? 64 : 28)] = int(random() % range - range / 2);
        ASSERT_TRUE(idct_is_plain(b)) << n;
    }
}

TEST(jpeg_fdct, divides_as_the_mode_says)
{
    std::mt19937 random(3);
    for (int n = 0; n < 255 * 8; ++n) {
        std::array<uint8_t, 64> table, ones;
        table.fill(n / 8 + 1);
        ones.fill(1);
        jpeg_divisors classic, undivided, nearest;
        classic.set(table, quotient::truncated);
        undivided.set(ones, quotient::truncated);
        nearest.set(table, quotient::nearest);
        int16_t samples[64], whole[64], truncated[64], rounded[64];
        make_noise(samples, random, n);
        jpeg_dct_and_quantise({samples, 8, 0}, undivided, whole);
        jpeg_dct_and_quantise({samples, 8, 0}, classic, truncated);
        jpeg_dct_and_quantise({samples, 8, 0}, nearest, rounded);
        for (size_t i = 0; i < 64; ++i) {
            ASSERT_EQ(truncated[i], whole[i] / table[i]);
            double exact = 0; // A.3.3/T.81
            for (size_t s = 0; s < 64; ++s)
                exact += samples[s] * wave(s % 8, i % 8) * wave(s / 8, i / 8);
            ASSERT_NEAR(rounded[i], exact / table[i], 0.5 + 0.6 / table[i]);
        }
    }
}

TEST(jpeg_fdct, takes_two_blocks_as_one)
{
    const struct {
        const char* name;
        bool usable;
        decltype(&jpeg_dct_and_quantise_two) transform;
    } forms[] = {
        {"each", true, jpeg_dct_and_quantise_each},
        {"avx2", __builtin_cpu_supports("avx2") != 0, jpeg_dct_and_quantise_avx2},
    };
    std::mt19937 random(4);
    for (int n = 0; n < 20 * thousands; ++n) {
        int16_t samples[8 * 24], expected[128];
        make_noise(samples, random, n);
        std::array<uint8_t, 64> table;
        for (uint8_t& q : table)
            q = random() % (n & 8 ? 8 : 255) + 1;
        jpeg_divisors divisors;
        divisors.set(table, n & 16 ? quotient::nearest : quotient::truncated);
        const int16_t* const first = samples + (n & 32 ? 16 : 0);
        const ptrdiff_t next = n & 32 ? -13 : 9;
        jpeg_dct_and_quantise({first, 24, 0}, divisors, expected);
        jpeg_dct_and_quantise({first + next, 24, 0}, divisors, expected + 64);
        for (const auto& form : forms) {
            int16_t actual[128];
            if (!form.usable) continue;
            form.transform({first, 24, next}, divisors, actual);
            ASSERT_TRUE(std::equal(expected, expected + 128, actual)) << form.name << n;
        }
    }
}

TEST(jpeg_color, equals_the_plain_form)
{
    // Every pair of chroma samples, with luminance of all sorts.
    constexpr int32_t width = 1 << 16;
    std::vector<int8_t> planes[3];
    for (auto& plane : planes)
        plane.resize(width + jpeg_row_slack);
    for (size_t i = 0; i < width; ++i) {
        planes[0][i] = int8_t(i * 2654435761u >> 13);
        planes[1][i] = int8_t(i >> 8);
        planes[2][i] = int8_t(i);
    }
    for (const auto step : {chroma_step::one, chroma_step::two}) {
        std::vector<uint8_t> expected;
        for (size_t x = 0; x < width; ++x) {
            const size_t c = x / static_cast<size_t>(step);
            const uint32_t color = plain_jpeg::color_of({planes[0][x], planes[1][c], planes[2][c]});
            for (int shift : {0, 8, 16})
                expected.push_back(color >> shift);
        }
        for (const auto row : {jpeg_ycc_row_sse2, jpeg_ycc_row_avx2}) {
            if (row == jpeg_ycc_row_avx2 && !__builtin_cpu_supports("avx2")) continue;
            std::vector<uint8_t> actual(expected.size() + jpeg_row_slack);
            row(planes[0].data(), planes[1].data(), planes[2].data(), step, actual.data(), width);
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), actual.begin()));
        }
    }
}

TEST(jpeg_stream, is_found_within_1001_positions)
{
    const byte_vector file = jpeg_builder::stream(jpeg_builder::coded_picture(16, 16, 1, 1));
    for (size_t leading : {0, 1, 1000, 1001}) {
        const byte_vector before(70000 + leading, 0xFF); // farther than buffers reach
        const byte_vector data = jpeg_builder::joined({before, file});
        EXPECT_EQ(open_at(data, 70000), leading > 1000 ? -3 : 0) << leading;
    }
    EXPECT_EQ(open_at({0xFF}, 0), -3);
    EXPECT_EQ(open_at(file, uint32_t(file.size())), -12);
    EXPECT_EQ(open_at(file, 0x80000000u), -12);
}
