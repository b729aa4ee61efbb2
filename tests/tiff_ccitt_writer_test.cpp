// tiff_ccitt_writer_test.cpp - TIFF pages of fax codes: what stands in the file, pages behind
// each other, failures.

#include "tests/builders/plain_ccitt.h"
#include "tests/support/codec.h"

namespace {

constexpr int32_t huffman = 7, group3 = 8, group4 = 10;

struct interchange {
    interchange() { IMGX_set_interchange(1); }
    ~interchange() { IMGX_set_interchange(0); }
};

uint32_t field(const byte_vector& file, size_t at, int bytes)
{
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i)
        value |= uint32_t{file[at + size_t(i)]} << 8 * i;
    return value;
}

// Value of a tag of the first page, whose directory stands at 8; -1 where there is none.
int64_t tag(const byte_vector& file, uint32_t number)
{
    for (uint32_t i = 0; i < field(file, 8, 2); ++i) {
        const size_t entry = 10 + size_t{12} * i;
        if (field(file, entry, 2) == number)
            return field(file, entry + 8, field(file, entry + 2, 2) == 3 ? 2 : 4);
    }
    return -1;
}

byte_vector image_data(const byte_vector& file)
{
    const auto start = file.begin() + static_cast<ptrdiff_t>(tag(file, 273));
    return {start, start + static_cast<ptrdiff_t>(tag(file, 279))};
}

test_dib white_page(int32_t width, int32_t height)
{
    test_dib dib(width, height, 1);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            dib.set_pixel(x, y, 1);
    return dib;
}

} // namespace

TEST(tiff_ccitt_writer, tags_and_data_of_a_page)
{
    test_dib dib = white_page(100, 2);
    dib.set_pixel(99, 0, 0);
    const image_guard image(dib.create());
    const std::string eol(ccitt_end_of_line);
    const std::string eols_4 = eol + eol + eol + eol;
    const std::string row = plain::digits_of_run(99, false) + plain::digits_of_run(1, true);
    const std::string wide = row + plain::digits_of_run(1628, false);
    const std::string white = plain::digits_of_run(1728, false);
    const auto words = [](std::string digits) { // a Group 3 row filled up to 16-bit words
        digits += '0';
        while (digits.size() % 16 != 0)
            digits += '0';
        return digits;
    };
    // The black pixel one left of the end, the row's end; then white to the end, one right.
    const std::string g4_rows = "010 1 011";
    const struct {
        int32_t type;
        bool interchange;
        uint32_t width, compression, fill_order;
        int64_t t4_options;
        byte_vector data;
    } cases[] = {
        {huffman, false, 100, 2, 1, -1,
         [&] {
             byte_vector all = plain::bytes_of(row);
             add_bytes(all, plain::bytes_of(plain::digits_of_run(100, false)));
             return all;
         }()},
        {group3, false, 1728, 3, 2, 4,
         plain::bytes_of(words("") + "0000" + eol + words(wide) + "0000" + eol + words(white),
                         true)},
        {group3, true, 100, 3, 2, 4,
         plain::bytes_of(words("") + "0000" + eol + words(row) + "0000" + eol +
                             words(plain::digits_of_run(100, false)),
                         true)},
        {group4, false, 100, 4, 2, -1, plain::bytes_of(g4_rows + eols_4, true)},
        {group4, true, 100, 4, 2, -1, plain::bytes_of(g4_rows + eol + eol, true)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << ", mode " << c.interchange);
        IMGX_set_interchange(c.interchange);
        const byte_vector file = save_bytes(image, c.type);
        IMGX_set_interchange(0);
        EXPECT_EQ(tag(file, 256), c.width);
        EXPECT_EQ(tag(file, 259), c.compression);
        EXPECT_EQ(tag(file, 262), 0) << "white is zero";
        EXPECT_EQ(tag(file, 266), c.fill_order);
        EXPECT_EQ(tag(file, 292), c.t4_options);
        EXPECT_EQ(image_data(file), c.data);
        EXPECT_EQ(static_cast<size_t>(tag(file, 273) + tag(file, 279)), file.size());
    }
}

TEST(tiff_ccitt_writer, pages_behind_each_other)
{
    const temp_file file(".tif");
    test_dib first(40, 12, 1), second(1728, 30, 1);
    first.fill_random(1, 3);
    second.fill_random(2, 9);
    const image_guard images[] = {image_guard(first.create()), image_guard(second.create())};
    const interchange on;
    const int32_t types[] = {group3, huffman, group4, group3, group3, group4, huffman};
    int32_t pages = 0;
    for (int32_t type : types) {
        ASSERT_EQ(IMG_save_bitmap(images[pages % 2], file.name(), type), 0);
        ++pages;
    }
    EXPECT_EQ(IMGLOW_get_pages(file.name()), pages);
    const byte_vector bytes = file.bytes();
    for (int32_t page = 0; page < pages; ++page) {
        SCOPED_TRACE(page);
        for (int mode : {1, 0}) {
            IMGX_set_interchange(mode);
            expect_same_colors(picture_of(bytes, page), copy_image(images[page % 2]));
        }
    }
}

TEST(tiff_ccitt_writer, every_cut_of_a_file_is_survived)
{
    // Not Group 4: its rows may end quietly in front of the first one.
    test_dib dib(70, 9, 1);
    dib.fill_random(3, 4);
    const image_guard image(dib.create());
    for (int mode : {0, 1})
        for (int32_t type : {huffman, group3}) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", mode " << mode);
            IMGX_set_interchange(mode);
            expect_cuts_are_survived(save_bytes(image, type));
            IMGX_set_interchange(0);
        }
}
