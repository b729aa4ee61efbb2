// ccitt_test.cpp - the fax coders against plain versions, on sound and on damaged data.

#include "formats/tiff/ccitt_decoder.h"
#include "formats/tiff/ccitt_encoder.h"
#include "tests/builders/plain_ccitt.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

using plain::byte_string;
using plain::eol;
using plain::pixels;
using plain::row_maker;

// Random rounds of a comparison; more of them with TREVOLAN_TEST_ROUNDS.
int rounds()
{
    const char* wanted = std::getenv("TREVOLAN_TEST_ROUNDS");
    return wanted ? std::atoi(wanted) : 1500;
}

struct outcome {
    int32_t result = 0;
    std::vector<byte_string> rows;
};

void use(const byte_string& data)
{
    reset_mem_io_bounded(data.data(), static_cast<uint32_t>(data.size()));
}

int32_t collect(void* context, uint8_t* row, int32_t, int32_t byte_count)
{
    static_cast<outcome*>(context)->rows.emplace_back(row, row + byte_count);
    return 0;
}

outcome decode(const byte_string& data, const ccitt_options& options, int32_t rows)
{
    outcome out;
    ccitt_decoder decoder(options);
    use(data);
    out.result = decoder.decode_strip(memory_file, rows, 0, {collect, &out});
    return out;
}

outcome plain_decode(const std::string& digits, const ccitt_options& options, int32_t rows)
{
    using result = plain::decoder::result;
    plain::decoder decoder(digits, options.width);
    outcome out;
    while (rows-- > 0) {
        const result r = decoder.next_row(options.compression);
        if (r == result::error) out.result = err_format;
        if (r != result::row) break;
        out.rows.push_back(plain::packed(decoder.row, options.photometric == 0));
    }
    return out;
}

// One of the things that happen to data on their way, or noise instead of them.
void damage(std::string& digits, row_maker& maker)
{
    const auto place = [&] { return maker.number(static_cast<uint32_t>(digits.size()) + 1); };
    switch (maker.number(5)) {
    case 0: digits.resize(place()); break;
    case 1: digits.insert(place(), eol); break;
    case 2: digits.insert(place(), maker.number(40), maker.number(2) ? '0' : '1'); break;
    case 3: digits.erase(place(), maker.number(20)); break;
    default:
        for (uint32_t i = maker.number(maker.number(2) ? 20 : 2000); i > 0 && !digits.empty(); --i)
            digits[place() % digits.size()] ^= 1;
    }
}

} // namespace

TEST(ccitt_decoder, equals_the_plain_decoder)
{
    row_maker maker(20);
    for (int round = 0; round < rounds(); ++round) {
        const uint32_t compression = plain::all_codes[maker.number(4)];
        const size_t width = 1 + maker.number(round % 50 == 0 ? 22000 : 200);
        ccitt_options options{static_cast<int32_t>(width), compression, 1 + maker.number(2)};
        options.photometric = maker.number(2);
        const auto rows = maker.page(width, 1 + maker.number(12));
        std::string digits = plain::encode(rows, compression, 1 + maker.number(5));
        const bool sound = maker.number(3) == 0;
        for (uint32_t i = sound ? 0 : 1 + maker.number(2); i > 0; --i)
            damage(digits, maker);
        digits = plain::filled_up(digits, 8);
        SCOPED_TRACE(testing::Message() << "round " << round << ", compression " << compression
                                        << ", width " << width << ", data " << digits);
        const auto wanted = static_cast<int32_t>(rows.size());
        const outcome expected = plain_decode(digits, options, wanted);
        const outcome got =
            decode(plain::bytes_of(digits, options.fill_order == 2), options, wanted);
        ASSERT_EQ(got.result, expected.result);
        ASSERT_TRUE(got.rows == expected.rows);
        for (size_t i = 0; sound && i < rows.size(); ++i)
            ASSERT_EQ(got.rows.at(i), plain::packed(rows[i], options.photometric == 0));
    }
}

TEST(ccitt_decoder, damaged_rows)
{
    const std::string white = plain::digits_of_run(8, false); // a row of 8 white pixels
    const auto times = [](int count, const std::string& what) {
        std::string all;
        while (count-- > 0)
            all += what;
        return all;
    };
    const auto codes = [&](int count) { return times(count, "0111"); }; // white 2, no EOL
    const struct {
        const char* fault;
        uint32_t compression;
        std::string digits;
        int32_t result;
        size_t rows;
    } cases[] = {
        {"run too long", tiff_huffman, plain::digits_of_run(9, false), err_format, 0},
        {"run too long", tiff_group3, plain::digits_of_run(9, false), 0, 1},
        {"run much too long", tiff_huffman, times(900000, "000000011111") + white, err_format, 0},
        {"EOL inside a row", tiff_huffman, "1000 11 " + eol + "1000", 0, 1},
        {"EOL behind a make-up code", tiff_huffman, "11011" + eol + "1000", err_format, 0},
        {"EOL after 2000 codes", tiff_group3, white + codes(1999) + eol, 0, 1},
        {"EOL after 2001 codes", tiff_group3, white + codes(2000) + eol, err_format, 0},
        {"EOL after 2001 codes", tiff_group3_2d, codes(2000) + eol + "1" + white, 0, 1},
        {"EOL after 2002 codes", tiff_group3_2d, codes(2001) + eol + "1" + white, 0, 0},
        {"no mode", tiff_group4, "001 1000 11 0000001", 0, 0},
        {"no mode", tiff_group3_2d, eol + "0 001 1000 11 0000001" + eol + "1" + white, 0, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.fault << ", compression " << c.compression);
        const outcome got = decode(plain::bytes_of(c.digits), {8, c.compression}, 1);
        EXPECT_EQ(got.result, c.result);
        EXPECT_EQ(got.rows.size(), c.rows);
    }
}

TEST(ccitt_decoder, reference_line_over_strips)
{
    const byte_string white = {0xFF, 0xFF, 0xFF, 0xFF};
    const struct {
        std::string stripes; // of a strip of one row
        std::string repeat;  // as the row above
        byte_string striped;
    } cases[] = {
        {"001 0111 10 1", "111", {0xC7, 0xFF, 0xFF, 0xFF}}, // 2 white, 3 black, then white
        {"001 000111 010 001 0111 11 1", "11111", {0xB3, 0xFF, 0xFF, 0xFF}}, // a change each 2
    };
    for (const auto& c : cases) {
        for (bool interchange : {false, true}) {
            ccitt_options options{8, tiff_group4};
            options.interchange = interchange;
            ccitt_decoder decoder(options);
            outcome out;
            for (auto [digits, first_row] :
                 {std::pair(&c.stripes, 0), {&c.repeat, 1}, {&c.repeat, 0}}) {
                const byte_string data = plain::bytes_of(*digits);
                use(data);
                ASSERT_EQ(decoder.decode_strip(memory_file, 1, first_row, {collect, &out}), 0);
            }
            // The last one begins a new page.
            EXPECT_EQ(out.rows, (std::vector{c.striped, interchange ? white : c.striped, white}));
        }
    }
}

TEST(ccitt_decoder, finds_the_code_that_fits)
{
    row_maker maker(3);
    byte_string noise(2000);
    for (uint8_t& byte : noise)
        byte = static_cast<uint8_t>(maker.number(256));
    // White rows of Group 4, which as modified Huffman are rows of 9 pixels, 8 bits each.
    const byte_string white(2000, 0xFF);
    const auto fitting = [](const byte_string& data, const ccitt_options& options, int32_t rows) {
        use(data);
        const int32_t code = ccitt_fitting_compression(memory_file, options, rows);
        EXPECT_EQ(img_tell(memory_file), 0);
        return static_cast<uint32_t>(code);
    };
    for (uint32_t named : plain::all_codes) {
        EXPECT_EQ(fitting(noise, {1000, named}, 100), named);
        const uint32_t meant = named == tiff_huffman ? tiff_huffman : tiff_group4;
        EXPECT_EQ(fitting(white, {9, named}, 400), meant);
        EXPECT_EQ(fitting(white, {9, named}, 16000), meant);
    }
}

namespace {

int32_t IMG_C give_row(IMG_PRIVATE context, void* destination, int32_t index, int32_t byte_count)
{
    const auto& row = (*reinterpret_cast<const std::vector<pixels>*>(context))[size_t(index)];
    // Padding is the source's affair and may hold anything.
    byte_string bytes = plain::packed(row);
    if (row.size() % 8 != 0) bytes[row.size() / 8] &= 0xFF << (8 - row.size() % 8);
    EXPECT_EQ(byte_count, static_cast<int32_t>(bytes.size()));
    std::copy(bytes.begin(), bytes.end(), static_cast<uint8_t*>(destination));
    return 0;
}

byte_string encode(const std::vector<pixels>& rows, const ccitt_encoder_options& options)
{
    BITMAPINFOHEADER header{};
    header.biWidth = static_cast<LONG>(rows[0].size());
    header.biHeight = static_cast<LONG>(rows.size());
    header.biBitCount = 1;
    byte_string out(1 << 20);
    use(out);
    const row_source source{give_row, reinterpret_cast<IMG_PRIVATE>(&rows)};
    EXPECT_EQ(ccitt_encode_image(memory_file, &header, source, options), 0);
    out.resize(static_cast<size_t>(img_tell(memory_file)));
    return out;
}

} // namespace

TEST(ccitt_encoder, writes_the_described_bits)
{
    row_maker maker(21);
    constexpr tiff_compression written[] = {tiff_huffman, tiff_group3, tiff_group4};
    for (int round = 0; round < rounds(); ++round) {
        const size_t width = 1 + maker.number(round % 50 == 0 ? 22000 : 200);
        const auto rows = maker.page(width, 1 + maker.number(12));
        ccitt_encoder_options options{written[maker.number(3)], static_cast<int32_t>(width)};
        options.fill_order = 1 + maker.number(2);
        options.end_codes = static_cast<int32_t>(maker.number(5));
        // Fax lines of another width than the image's: filled up with white, or cut.
        if (options.compression == tiff_group3 && maker.number(2)) options.width = 1728;
        SCOPED_TRACE(testing::Message() << "round " << round << ", compression "
                                        << options.compression << ", width " << width);
        const std::string digits = plain::written(
            rows, options.compression, static_cast<size_t>(options.width), options.end_codes);
        ASSERT_EQ(encode(rows, options), plain::bytes_of(digits, options.fill_order == 2));
    }
}
