// fax_test.cpp - raw fax data from a file, through the exports.

#include "platform/win32.h"
#include "tests/builders/plain_ccitt.h"
#include "tests/support/images.h"

namespace {

using plain::pixels;

constexpr int32_t fax_g4 = 4;

uint32_t code_of(int32_t type)
{
    return type == fax_g4 ? tiff_group4 : type == 2 ? tiff_group3_2d : tiff_group3;
}

// Decodes bytes that lie behind a few others in a file.
int32_t decompress(const byte_vector& data, int32_t width, int32_t height, int32_t type,
                   int32_t fill_order = 1)
{
    const temp_file file(".fax");
    byte_vector bytes = {1, 2, 3};
    bytes.insert(bytes.end(), data.begin(), data.end());
    write_file(file.name(), bytes);
    OFSTRUCT opened;
    const HFILE source = OpenFile(file.name(), &opened, OF_READ);
    _llseek(source, 3, FILE_BEGIN);
    const int32_t handle = IMG_decompress_fax(source, width, height, type, fill_order);
    _lclose(source);
    return handle;
}

// Rows beyond those given must be black.
void expect_rows(int32_t handle, const std::vector<pixels>& rows)
{
    ASSERT_GE(handle, 0);
    const image_guard image(handle);
    const image_copy picture = copy_image(image);
    EXPECT_EQ(picture.bits, 1);
    for (int32_t y = 0; y < picture.height; ++y)
        for (int32_t x = 0; x < picture.width; ++x) {
            const auto row = static_cast<size_t>(y);
            const bool black = row >= rows.size() || rows[row][static_cast<size_t>(x)];
            ASSERT_EQ(picture.color(x, y), black ? 0u : 0xFFFFFFu) << x << ", " << y;
        }
}

int32_t IMG_STD cancel(IMG_PRIVATE, int32_t)
{
    return -50;
}

} // namespace

TEST(fax, decodes_every_type_in_both_fill_orders)
{
    for (int32_t type : {1, 2, fax_g4, 0, 77})
        for (int32_t fill_order : {1, 2})
            for (size_t width : {1u, 63u, 1728u, 20100u}) {
                SCOPED_TRACE(testing::Message() << type << ", " << fill_order << ", " << width);
                const auto rows = plain::row_maker(5).page(width, 9);
                const std::string digits = plain::encode(rows, code_of(type));
                expect_rows(decompress(plain::bytes_of(digits, fill_order == 2),
                                       static_cast<int32_t>(width), 9, type, fill_order),
                            rows);
            }
}

TEST(fax, rows_that_are_not_reached_are_black)
{
    const auto rows = plain::row_maker(5).page(100, 3);
    for (int32_t type : {1, 2, fax_g4})
        for (int eols : {0, 2, 6}) { // the data end, with an end mark or without
            std::string digits = plain::encode(rows, code_of(type));
            for (int i = 0; i < eols; ++i)
                digits += plain::eol + (type == 2 ? "1" : "");
            expect_rows(decompress(plain::bytes_of(digits), 100, 10, type), rows);
        }
    expect_rows(decompress({}, 8, 2, fax_g4), {});
    IMG_set_statusbar(0, cancel, 1);
    const image_guard image(decompress(plain::bytes_of("11"), 8, 2, fax_g4));
    EXPECT_GE(image, 0); // INTENDED: that does not end the decoding
}

TEST(fax, refuses_sizes_that_no_image_has)
{
    EXPECT_EQ(decompress({}, 0, 5, fax_g4), -3);
    EXPECT_EQ(decompress({}, 5, -1, fax_g4), -3);
    EXPECT_EQ(decompress({}, 0x7FFFFFFF, 0x7FFFFFFF, fax_g4), -1);
}
