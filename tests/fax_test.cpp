// fax_test.cpp - raw fax data from a file, through the exports.

#include "tests/builders/plain_ccitt.h"
#include "tests/support/images.h"
#include "tests/support/open_file.h"

namespace {

// Decodes bytes that lie behind a few others in a file.
int32_t decompress(const std::string& digits, int32_t width, int32_t height, int32_t type,
                   int32_t fill_order = 1)
{
    const temp_file file(".fax");
    byte_vector bytes = plain::bytes_of(digits, fill_order == 2);
    bytes.insert(bytes.begin(), {1, 2, 3});
    write_file(file.name(), bytes);
    const open_file source(file.name());
    source.seek(3);
    return IMG_decompress_fax(source.handle(), width, height, type, fill_order);
}

int32_t IMG_STD cancel(IMG_PRIVATE, int32_t)
{
    return -50;
}

} // namespace

TEST(fax, every_type_comes_back_and_what_is_not_reached_is_black)
{
    const struct {
        int32_t type;
        uint32_t compression;
        std::string end_mark;
    } cases[] = {{1, tiff_group3, plain::eol},
                 {0, tiff_group3, ""},
                 {2, tiff_group3_2d, ""},
                 {4, tiff_group4, plain::eol}};
    for (const auto& c : cases)
        for (int32_t fill_order : {1, 2})
            for (size_t width : {1u, 63u, 1728u, 20100u})
                for (int end_marks : {0, 2, 6}) {
                    SCOPED_TRACE(testing::Message() << c.type << ", " << fill_order << ", " << width
                                                    << ", " << end_marks);
                    auto rows = plain::row_maker(5).page(width, 6);
                    std::string digits = plain::encode(rows, c.compression);
                    for (int i = 0; i < end_marks; ++i)
                        digits += c.end_mark;
                    rows.resize(8, plain::pixels(width, true));
                    const image_guard image(
                        decompress(digits, static_cast<int32_t>(width), 8, c.type, fill_order));
                    ASSERT_GE(image, 0);
                    expect_same_colors(copy_image(image),
                                       each_pixel(int32_t(width), 8, 1, {}, [&](int x, int y) {
                                           return !rows[size_t(y)][size_t(x)];
                                       }));
                }
}

TEST(fax, refuses_sizes_that_no_image_has)
{
    EXPECT_EQ(decompress("", 0, 5, 4), -3);
    EXPECT_EQ(decompress("", 5, -1, 4), -3);
    EXPECT_EQ(decompress("", 0x7FFFFFFF, 0x7FFFFFFF, 4), -1);
    IMG_set_statusbar(0, cancel, 1);
    const image_guard image(decompress("11", 8, 2, 4));
    EXPECT_GE(image, 0); // INTENDED: that does not end the decoding
}
