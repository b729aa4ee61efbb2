// fax_test.cpp - raw fax data from a file, through the exports.

#include "platform/win32.h"
#include "tests/builders/plain_ccitt.h"
#include "tests/support/images.h"

namespace {

using plain::pixels;

constexpr int32_t fax_1d = 1, fax_2d = 2, fax_g4 = 4;

std::string coded(const std::vector<pixels>& rows, int32_t type)
{
    std::string digits;
    pixels reference(rows[0].size());
    bool first = true;
    for (const pixels& row : rows) {
        if (type != fax_g4) digits += ccitt_end_of_line;
        if (type == fax_2d) digits += first ? '1' : '0';
        const bool one_dimensional = type == fax_1d || (type == fax_2d && first);
        digits +=
            one_dimensional ? plain::encode_row_1d(row) : plain::encode_row_2d(row, reference);
        reference = row;
        first = false;
    }
    return digits;
}

std::vector<pixels> sample_rows(size_t width, size_t count)
{
    plain::row_maker maker(5);
    std::vector<pixels> rows;
    pixels above(width);
    for (size_t i = 0; i < count; ++i)
        rows.push_back(above = maker.next(above));
    return rows;
}

// Decodes bytes that lie behind a few others in a file.
int32_t decompress(const byte_vector& data, int32_t width, int32_t height, int32_t type,
                   int32_t fill_order)
{
    const temp_file file(".fax");
    byte_vector bytes = {1, 2, 3};
    bytes.insert(bytes.end(), data.begin(), data.end());
    write_file(file.name(), bytes);
    OFSTRUCT opened;
    const HFILE source = OpenFile(file.name(), &opened, OF_READ);
    EXPECT_NE(source, HFILE_ERROR);
    _llseek(source, 3, FILE_BEGIN);
    const int32_t handle = IMG_decompress_fax(source, width, height, type, fill_order);
    _lclose(source);
    return handle;
}

// Rows of the picture that are not those given; rows beyond them must be black.
std::vector<size_t> wrong_rows(const image_copy& picture, const std::vector<pixels>& rows)
{
    std::vector<size_t> wrong;
    for (size_t y = 0; y < static_cast<size_t>(picture.height); ++y)
        for (size_t x = 0; x < static_cast<size_t>(picture.width); ++x) {
            const bool black = y >= rows.size() || rows[y][x];
            const uint32_t color = picture.color(static_cast<int32_t>(x), static_cast<int32_t>(y));
            if (color == (black ? 0u : 0xFFFFFFu)) continue;
            wrong.push_back(y);
            break;
        }
    return wrong;
}

int32_t IMG_STD cancel(IMG_PRIVATE, int32_t)
{
    return -50;
}

} // namespace

TEST(fax, decodes_every_type_in_both_fill_orders)
{
    for (int32_t type : {fax_1d, fax_2d, fax_g4, 0, 77})
        for (int32_t fill_order : {1, 2})
            for (size_t width : {1u, 63u, 1728u, 20100u}) {
                SCOPED_TRACE(testing::Message() << type << ", " << fill_order << ", " << width);
                const auto rows = sample_rows(width, 9);
                const auto as_type = type == 0 || type == 77 ? fax_1d : type;
                const byte_vector data = plain::bytes_of(coded(rows, as_type), fill_order == 2);
                const image_guard image(
                    decompress(data, static_cast<int32_t>(width), 9, type, fill_order));
                ASSERT_GE(image, 0);
                const image_copy picture = copy_image(image);
                EXPECT_EQ(picture.bits, 1);
                EXPECT_EQ(wrong_rows(picture, rows), std::vector<size_t>());
            }
}

TEST(fax, rows_that_are_not_reached_are_black)
{
    const auto rows = sample_rows(100, 3);
    const struct {
        const char* what;
        int32_t type;
        std::string tail;
    } cases[] = {
        {"Group 4 data end", fax_g4, ""},
        {"Group 4 end mark", fax_g4, "000000000001000000000001"},
        {"Group 3 data end", fax_1d, ""},
        {"return to control", fax_1d, "000000000001000000000001000000000001"},
        {"two-dimensional data end", fax_2d, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const byte_vector data = plain::bytes_of(coded(rows, c.type) + c.tail);
        const image_guard image(decompress(data, 100, 10, c.type, 1));
        ASSERT_GE(image, 0);
        EXPECT_EQ(wrong_rows(copy_image(image), rows), std::vector<size_t>());
    }
    const image_guard empty(decompress({}, 8, 2, fax_g4, 1));
    ASSERT_GE(empty, 0);
    EXPECT_EQ(wrong_rows(copy_image(empty), {}), std::vector<size_t>());
}

TEST(fax, refuses_sizes_that_no_image_has)
{
    EXPECT_EQ(decompress({}, 0, 5, fax_g4, 1), -3);
    EXPECT_EQ(decompress({}, 5, -1, fax_g4, 1), -3);
    EXPECT_EQ(decompress({}, 0x7FFFFFFF, 0x7FFFFFFF, fax_g4, 1), -1);
}

TEST(fax, a_cancelling_status_callback_does_not_end_it)
{
    const auto rows = sample_rows(64, 2);
    IMG_set_statusbar(0, cancel, 1);
    const image_guard image(decompress(plain::bytes_of(coded(rows, fax_g4)), 64, 2, fax_g4, 1));
    IMG_set_statusbar(0, nullptr, 0);
    EXPECT_GE(image, 0);
}
