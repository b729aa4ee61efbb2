// ccitt_test.cpp - the fax coders against plain versions, on sound and on damaged data.

#include "formats/tiff/ccitt_decoder.h"
#include "formats/tiff/ccitt_encoder.h"
#include "tests/builders/plain_ccitt.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using plain::byte_string;
using plain::pixels;
using plain::row_maker;

// Random rounds of a comparison; more of them with TREVOLAN_TEST_ROUNDS.
int rounds()
{
    const char* wanted = std::getenv("TREVOLAN_TEST_ROUNDS");
    return wanted ? std::atoi(wanted) : 1500;
}

constexpr uint32_t all_codes[] = {tiff_huffman, tiff_group3, tiff_group3_2d, tiff_group4};

struct delivery {
    int32_t index;
    int32_t byte_count;
    byte_string bytes;
    bool operator==(const delivery&) const = default;
};

struct outcome {
    int32_t result = 0;
    std::vector<delivery> rows;
};

int32_t collect(void* context, uint8_t* row, int32_t index, int32_t byte_count)
{
    static_cast<outcome*>(context)->rows.push_back(
        {index, byte_count, byte_string(row, row + byte_count)});
    return 0;
}

// Pixels as a DIB row, 1 bits white.
byte_string dib_row(const pixels& row)
{
    byte_string bytes((row.size() + 31) / 32 * 4, 0xFF);
    for (size_t i = 0; i < row.size(); ++i)
        if (row[i]) bytes[i / 8] &= static_cast<uint8_t>(~(128 >> i % 8));
    return bytes;
}

outcome decode(const byte_string& data, const ccitt_options& options, int32_t rows)
{
    outcome out;
    ccitt_decoder decoder(options);
    reset_mem_io_bounded(data.data(), static_cast<uint32_t>(data.size()));
    out.result = decoder.decode_strip(memory_file, rows, 0, {collect, &out});
    return out;
}

outcome plain_decode(const std::string& digits, const ccitt_options& options, int32_t rows)
{
    using result = plain::decoder::result;
    plain::decoder decoder(digits, options.width);
    outcome out;
    for (int32_t i = 0; i < rows; ++i) {
        const result r = options.compression == tiff_group4 ? decoder.next_row_g4()
                         : options.compression == tiff_group3_2d
                             ? decoder.next_row_g3_2d()
                             : decoder.next_row_1d(options.compression == tiff_huffman);
        if (r == result::error) out.result = err_format;
        if (r != result::row) break;
        const byte_string bytes = dib_row(decoder.row());
        out.rows.push_back({i, static_cast<int32_t>(bytes.size()), bytes});
    }
    return out;
}

void append_fill(std::string& digits, size_t unit)
{
    while (digits.size() % unit != 0)
        digits += '0';
}

// Rows as a stream of the code, by the plain encoder.
std::string plain_encode(const std::vector<pixels>& rows, uint32_t compression, row_maker& maker)
{
    const std::string eol(ccitt_end_of_line);
    std::string digits;
    pixels reference(rows.empty() ? 0 : rows[0].size());
    for (const pixels& row : rows) {
        switch (compression) {
        case tiff_huffman:
            digits += plain::encode_row_1d(row);
            append_fill(digits, 8);
            break;
        case tiff_group3:
            digits += std::string(maker.number(3) * 5, '0') + eol + plain::encode_row_1d(row);
            break;
        case tiff_group3_2d:
            digits += eol;
            digits += maker.number(2) ? "1" + plain::encode_row_1d(row)
                                      : "0" + plain::encode_row_2d(row, reference);
            break;
        default: digits += plain::encode_row_2d(row, reference);
        }
        reference = row;
    }
    return digits;
}

std::vector<pixels> make_rows(row_maker& maker, size_t width, size_t count)
{
    std::vector<pixels> rows;
    pixels above(width);
    for (size_t i = 0; i < count; ++i)
        rows.push_back(above = maker.next(above));
    return rows;
}

// One of the things that happen to data on their way, or noise instead of them.
void damage(std::string& digits, row_maker& maker)
{
    const auto place = [&] { return maker.number(static_cast<uint32_t>(digits.size()) + 1); };
    switch (maker.number(6)) {
    case 0: digits.resize(place()); break;
    case 1: digits.insert(place(), std::string(ccitt_end_of_line)); break;
    case 2:
        digits.insert(place(), std::string(maker.number(40), maker.number(2) ? '0' : '1'));
        break;
    case 3: digits.erase(place(), maker.number(20)); break;
    case 4:
        for (char& digit : digits)
            digit = maker.number(5) < 2 ? '1' : '0';
        break;
    default:
        for (uint32_t i = maker.number(20); i > 0 && !digits.empty(); --i)
            digits[place() % digits.size()] ^= 1;
    }
}

} // namespace

TEST(ccitt_decoder, equals_the_plain_decoder)
{
    row_maker maker(20);
    for (int round = 0; round < rounds(); ++round) {
        const uint32_t compression = all_codes[maker.number(4)];
        const int32_t width = static_cast<int32_t>(1 + maker.number(round % 50 == 0 ? 9000 : 200));
        const ccitt_options options{width, compression, 1 + maker.number(2)};
        const auto rows = make_rows(maker, static_cast<size_t>(width), 1 + maker.number(12));
        std::string digits = plain_encode(rows, compression, maker);
        const bool sound = maker.number(3) == 0;
        for (uint32_t i = sound ? 0 : 1 + maker.number(2); i > 0; --i)
            damage(digits, maker);
        append_fill(digits, 8);
        SCOPED_TRACE(testing::Message() << "round " << round << ", compression " << compression
                                        << ", width " << width << ", data " << digits);
        const int32_t wanted = static_cast<int32_t>(rows.size());
        const outcome expected = plain_decode(digits, options, wanted);
        const outcome got =
            decode(plain::bytes_of(digits, options.fill_order == 2), options, wanted);
        ASSERT_EQ(got.result, expected.result);
        ASSERT_EQ(got.rows.size(), expected.rows.size());
        ASSERT_TRUE(got.rows == expected.rows);
        if (!sound) continue;
        ASSERT_EQ(got.rows.size(), rows.size());
        for (size_t i = 0; i < rows.size(); ++i)
            ASSERT_EQ(got.rows[i].bytes, dib_row(rows[i]));
    }
}

TEST(ccitt_decoder, damaged_rows)
{
    const std::string eol(ccitt_end_of_line);
    const std::string white = plain::digits_of_run(8, false); // a row of 8 white pixels
    const std::string code = "0111";                          // white 2, no EOL
    const auto times = [](int count, const std::string& what) {
        std::string all;
        for (int i = 0; i < count; ++i)
            all += what;
        return all;
    };
    const struct {
        const char* fault;
        uint32_t compression;
        std::string digits;
        int32_t result;
        size_t rows;
    } cases[] = {
        {"sound", tiff_huffman, white, 0, 1},
        {"run too long", tiff_huffman, plain::digits_of_run(9, false), err_format, 0},
        {"run too long", tiff_group3, plain::digits_of_run(9, false), 0, 1},
        {"run much too long", tiff_huffman, times(900000, "000000011111") + white, err_format, 0},
        {"no data", tiff_huffman, "", err_format, 0},
        {"no data", tiff_group3, "", err_format, 0},
        {"no data", tiff_group3_2d, "", 0, 0},
        {"no data", tiff_group4, "", 0, 0},
        {"EOL inside a row", tiff_huffman, "1000 11 " + eol + "1000", 0, 1},
        {"EOL behind a make-up code", tiff_huffman, "11011" + eol + "1000", err_format, 0},
        {"EOL after 2000 codes", tiff_group3, white + times(1999, code) + eol, 0, 1},
        {"EOL after 2001 codes", tiff_group3, white + times(2000, code) + eol, err_format, 0},
        {"EOL after 2001 codes", tiff_group3_2d, times(2000, code) + eol + "1" + white, 0, 1},
        {"EOL after 2002 codes", tiff_group3_2d, times(2001, code) + eol + "1" + white, 0, 0},
        {"no mode", tiff_group4, "001 1000 11 0000001", 0, 0},
        {"no mode", tiff_group3_2d, eol + "0 001 1000 11 0000001" + eol + "1" + white, 0, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.fault << ", compression " << c.compression);
        const outcome got = decode(plain::bytes_of(c.digits), {8, c.compression}, 1);
        EXPECT_EQ(got.result, c.result);
        ASSERT_EQ(got.rows.size(), c.rows);
    }
    // The row without a mode ends at the width, in the colour that it has got to.
    const outcome black = decode(plain::bytes_of(eol + "0 010 1 00000001"), {8, tiff_group3_2d}, 1);
    ASSERT_EQ(black.rows.size(), 1u);
    EXPECT_EQ(black.rows[0].bytes, (byte_string{0xFE, 0xFF, 0xFF, 0xFF}));
}

TEST(ccitt_decoder, reference_line_over_strips)
{
    const std::string stripes = "001 0111 10 1"; // 2 white, 3 black, then white
    const std::string repeat = "111";            // as the row above
    const byte_string white = {0xFF, 0xFF, 0xFF, 0xFF};
    const byte_string striped = {0xC7, 0xFF, 0xFF, 0xFF};
    for (bool interchange : {false, true}) {
        SCOPED_TRACE(interchange);
        ccitt_options options{8, tiff_group4};
        options.interchange = interchange;
        ccitt_decoder decoder(options);
        outcome out;
        const byte_string strips[] = {plain::bytes_of(stripes), plain::bytes_of(repeat),
                                      plain::bytes_of(repeat)};
        const int32_t first_rows[] = {0, 1, 0};
        for (size_t i = 0; i < 3; ++i) {
            reset_mem_io_bounded(strips[i].data(), static_cast<uint32_t>(strips[i].size()));
            ASSERT_EQ(decoder.decode_strip(memory_file, 1, first_rows[i], {collect, &out}), 0);
        }
        ASSERT_EQ(out.rows.size(), 3u);
        EXPECT_EQ(out.rows[0].bytes, striped);
        EXPECT_EQ(out.rows[1].bytes, interchange ? white : striped);
        EXPECT_EQ(out.rows[2].bytes, white) << "a new page";
    }
}

TEST(ccitt_decoder, long_rows_come_whole)
{
    for (int32_t width : {20000, 20001, 80001})
        for (uint32_t compression : {tiff_group4, tiff_group3_2d, tiff_group3}) {
            SCOPED_TRACE(testing::Message() << width << ", compression " << compression);
            ccitt_options options{width, compression};
            options.photometric = photometric_white_is_zero;
            row_maker maker(1);
            const std::vector<pixels> rows = {pixels(static_cast<size_t>(width))};
            const outcome got =
                decode(plain::bytes_of(plain_encode(rows, compression, maker)), options, 1);
            ASSERT_EQ(got.rows.size(), 1u);
            const auto bytes = static_cast<size_t>((width + 31) / 32 * 4);
            EXPECT_EQ(got.rows[0].bytes, byte_string(bytes, 0)) << "white, inverted";
        }
}

TEST(ccitt_decoder, passes_on_the_result_of_its_output)
{
    const auto refuse = [](void*, uint8_t*, int32_t index, int32_t) {
        return index == 6 ? -50 : 0;
    };
    for (uint32_t compression : all_codes) {
        row_maker maker(2);
        const byte_string data =
            plain::bytes_of(plain_encode(make_rows(maker, 50, 4), compression, maker));
        reset_mem_io_bounded(data.data(), static_cast<uint32_t>(data.size()));
        ccitt_decoder decoder({50, compression});
        EXPECT_EQ(decoder.decode_strip(memory_file, 4, 5, {refuse, nullptr}), -50);
    }
}

TEST(ccitt_decoder, white_rows_of_group_4_fit_no_other_code)
{
    // One bit each; as modified Huffman 8 of them make a row of 9 pixels.
    const byte_string data(2000, 0xFF);
    for (uint32_t named : all_codes)
        for (int32_t rows : {400, 16000}) {
            if (named == tiff_huffman) continue; // the name stands
            reset_mem_io_bounded(data.data(), 2000);
            EXPECT_EQ(ccitt_fitting_compression(memory_file, {9, named}, rows), int{tiff_group4});
        }
}

TEST(ccitt_decoder, finds_the_code_that_fits)
{
    row_maker maker(3);
    // Nothing fits noise: the tag stands.
    byte_string noise(2000);
    for (uint8_t& byte : noise)
        byte = static_cast<uint8_t>(maker.number(256));
    for (uint32_t named : all_codes) {
        reset_mem_io_bounded(noise.data(), 2000);
        EXPECT_EQ(ccitt_fitting_compression(memory_file, {1000, named}, 100),
                  static_cast<int32_t>(named));
    }
    for (uint32_t is : all_codes)
        for (uint32_t named : all_codes) {
            SCOPED_TRACE(testing::Message() << "is " << is << ", named " << named);
            const auto rows = make_rows(maker, 1000, 100);
            std::string digits = plain_encode(rows, is, maker);
            const byte_string data = plain::bytes_of(digits + std::string(8, '0'));
            reset_mem_io_bounded(data.data(), static_cast<uint32_t>(data.size()));
            EXPECT_EQ(ccitt_fitting_compression(memory_file, {1000, named}, 100),
                      static_cast<int32_t>(is));
            EXPECT_EQ(img_tell(memory_file), 0);
        }
}

namespace {

struct image_rows {
    BITMAPINFOHEADER header{};
    std::vector<byte_string> rows;
    int32_t failing_row = -1;

    explicit image_rows(const std::vector<pixels>& from)
    {
        header.biSize = sizeof header;
        header.biWidth = static_cast<LONG>(from[0].size());
        header.biHeight = static_cast<LONG>(from.size());
        header.biPlanes = 1;
        header.biBitCount = 1;
        for (const pixels& row : from)
            rows.push_back(dib_row(row));
    }
};

int32_t IMG_C give_row(IMG_PRIVATE context, void* destination, int32_t index, int32_t byte_count)
{
    const auto& image = *reinterpret_cast<const image_rows*>(context);
    if (index == image.failing_row) return -77;
    const byte_string& row = image.rows[static_cast<size_t>(index)];
    EXPECT_EQ(byte_count, static_cast<int32_t>(row.size()));
    std::copy(row.begin(), row.end(), static_cast<uint8_t*>(destination));
    // Padding is the source's affair and may hold anything.
    const auto width = static_cast<size_t>(image.header.biWidth);
    if (width % 8 != 0) static_cast<uint8_t*>(destination)[width / 8] &= 0xFF << (8 - width % 8);
    return 0;
}

// What the encoder writes; the result of the call if it is negative stands alone in error.
byte_string encode(const image_rows& image, const ccitt_encoder_options& options,
                   int32_t* error = nullptr, size_t capacity = 1 << 20)
{
    byte_string out(capacity);
    reset_mem_io_bounded(out.data(), static_cast<uint32_t>(out.size()));
    const row_source source{give_row, reinterpret_cast<IMG_PRIVATE>(&image)};
    const int32_t result = ccitt_encode_image(memory_file, &image.header, source, options);
    if (error)
        *error = result;
    else
        EXPECT_EQ(result, 0);
    out.resize(static_cast<size_t>(img_tell(memory_file)));
    return out;
}

// The stream as its description has it.
std::string expected_digits(const std::vector<pixels>& rows, const ccitt_encoder_options& options)
{
    const auto end_word = [](std::string& digits) { append_fill(digits += '0', 16); };
    const std::string eol_word = "0000" + std::string(ccitt_end_of_line);
    std::string digits;
    pixels reference(static_cast<size_t>(options.width));
    if (options.compression == tiff_group3) end_word(digits), digits += eol_word;
    for (size_t i = 0; i < rows.size(); ++i) {
        pixels row = rows[i];
        row.resize(static_cast<size_t>(options.width));
        if (options.compression == tiff_group4) {
            digits += plain::encode_row_2d(row, reference);
        } else {
            digits += plain::encode_row_1d(row);
            if (options.compression == tiff_huffman)
                append_fill(digits, 8);
            else
                end_word(digits);
            if (options.compression == tiff_group3 && i + 1 < rows.size()) digits += eol_word;
        }
        reference = row;
    }
    if (options.compression == tiff_group4)
        for (int i = 0; i < options.end_codes; ++i)
            digits += ccitt_end_of_line;
    return digits;
}

} // namespace

TEST(ccitt_encoder, writes_the_described_bits)
{
    row_maker maker(21);
    constexpr tiff_compression written[] = {tiff_huffman, tiff_group3, tiff_group4};
    for (int round = 0; round < rounds(); ++round) {
        const size_t width = 1 + maker.number(round % 50 == 0 ? 9000 : 200);
        const auto rows = make_rows(maker, width, 1 + maker.number(12));
        ccitt_encoder_options options{written[maker.number(3)], static_cast<int32_t>(width)};
        options.fill_order = 1 + maker.number(2);
        options.end_codes = static_cast<int32_t>(maker.number(5));
        // Fax lines of another width than the image's: filled up with white, or cut.
        if (options.compression == tiff_group3 && maker.number(2)) options.width = 1728;
        SCOPED_TRACE(testing::Message() << "round " << round << ", compression "
                                        << options.compression << ", width " << width);
        const byte_string got = encode(image_rows(rows), options);
        const std::string digits = expected_digits(rows, options);
        ASSERT_EQ(got, plain::bytes_of(digits, options.fill_order == 2));
    }
}

TEST(ccitt_encoder, group3_words)
{
    // A white run of 6 and fill up to a word, between EOLs that are words of their own.
    const pixels row(6);
    EXPECT_EQ(encode(image_rows({row, row}), {tiff_group3, 6}),
              (byte_string{0, 0, 0, 1, 0xE0, 0, 0, 1, 0xE0, 0}));
    // White 63 and black 13, 8 bits each: the word is complete and another one fills up.
    pixels whole_word(76);
    std::fill(whole_word.begin() + 63, whole_word.end(), true);
    EXPECT_EQ(encode(image_rows({whole_word, whole_word}), {tiff_group3, 76}),
              (byte_string{0, 0, 0, 1, 0x34, 0x04, 0, 0, 0, 1, 0x34, 0x04, 0, 0}));
    // Modified Huffman writes no stray byte there.
    EXPECT_EQ(encode(image_rows({whole_word, whole_word}), {tiff_huffman, 76}),
              (byte_string{0x34, 0x04, 0x34, 0x04}));
}

TEST(ccitt_encoder, failures)
{
    row_maker maker(4);
    const auto rows = make_rows(maker, 3000, 400);
    for (tiff_compression compression : {tiff_huffman, tiff_group3, tiff_group4}) {
        SCOPED_TRACE(compression);
        image_rows image(rows);
        const ccitt_encoder_options options{compression, 3000};
        int32_t error = 0;
        encode(image, options, &error, 40000);
        EXPECT_EQ(error, err_write);
        encode(image, options, &error, 10);
        EXPECT_EQ(error, err_write);
        image.failing_row = 399;
        encode(image, options, &error);
        EXPECT_EQ(error, -77);
        image.header.biBitCount = 8;
        EXPECT_EQ(encode(image, options, &error).size(), 0u);
        EXPECT_EQ(error, err_unsupported);
    }
}

TEST(ccitt_coders, long_images_come_back)
{
    row_maker maker(6);
    for (size_t width : {1728u, 100000u}) {
        const auto rows = make_rows(maker, width, 60);
        for (tiff_compression compression : {tiff_huffman, tiff_group3, tiff_group4}) {
            SCOPED_TRACE(testing::Message() << width << ", compression " << compression);
            const byte_string data =
                encode(image_rows(rows), {compression, static_cast<int32_t>(width)});
            const outcome got = decode(data, {static_cast<int32_t>(width), compression}, 60);
            ASSERT_EQ(got.rows.size(), 60u);
            for (size_t i = 0; i < rows.size(); ++i)
                ASSERT_EQ(got.rows[i].bytes, dib_row(rows[i]));
        }
    }
}
