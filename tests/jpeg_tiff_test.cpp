// jpeg_tiff_test.cpp - JPEG inside TIFF pages: tables in tags, strips, and whole streams.

#include "tests/builders/jpeg_tiff_builder.h"
#include "tests/builders/plain_jpeg.h"

namespace {

using jpeg_builder::entry, jpeg_builder::page, jpeg_builder::coded_picture, jpeg_builder::strips_of;

// Strip after strip by the plain decoder.
void expect_strips(const page& from, uint32_t flip = 0)
{
    std::vector<uint32_t> wanted;
    for (const coded_picture& p : from.strips)
        for (uint32_t color : plain_jpeg::colors(p))
            wanted.push_back(color ^ flip);
    EXPECT_TRUE(colors_of(picture_of(from.file())) == wanted);
}

} // namespace

TEST(jpeg_tiff, reads_strips_by_the_rules_of_the_mode)
{
    for (size_t components : {1, 3})
        for (size_t count : {1, 2, 5})
            for (const bool big : {false, true}) // the table offsets stay little-endian
                expect_strips({strips_of(components, count, 1, 1), big});
    // The horizontal factor is the second one; photometric values do not count.
    expect_strips({.strips = strips_of(3, 3, 2, 1), .more = {{530, 3, 1, 2}}});
    expect_strips({.strips = strips_of(1, 2, 1, 1), .more = {{262, 3, 0}}});

    const mode_scope on;
    expect_strips({.strips = strips_of(3, 3, 2, 1), .prefix = {}, .more = {{530, 3, 2, 1}}});
    // Without a tag it is 2x2.
    expect_strips({strips_of(3, 2, 2, 2, 2), true, true, {}, {{515, 3, 2}}});
    // A scan header before the data; white is 0.
    const byte_vector scan = {0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0};
    expect_strips({strips_of(1, 2, 1, 1), false, false, scan, {{262, 3, 0}}, true}, 0xFFFFFF);
}

TEST(jpeg_tiff, refuses_or_survives_what_does_not_fit)
{
    const auto code = [](const entry& field) {
        return load_code(page{.strips = strips_of(3, 1, 1, 1), .more = {field}}.file());
    };
    const uint32_t lost = 0x7FFF0000; // an array behind the file
    EXPECT_EQ(code({521, 4, lost}), -3);
    EXPECT_EQ(code({520, 4, lost}), -3);
    EXPECT_EQ(code({519, 4, lost}), 0); // tables of zeros: a grey picture
    EXPECT_EQ(code({530, 3, 1, 9}), -3);
    EXPECT_EQ(code({256, 4, 0x20000000}), -1);
    const byte_vector whole = page{strips_of(3, 2, 1, 1)}.file();
    for (size_t zeros = 0; zeros < whole.size(); ++zeros) { // strips, tables, then the directory
        byte_vector file = whole;
        std::fill_n(file.begin() + 8, std::min(zeros, file.size() - 8), uint8_t{0});
        const int32_t result = load_code(file);
        EXPECT_TRUE(result == 0 || result == -3 || result == -7) << zeros << ": " << result;
    }
    const mode_scope on;
    EXPECT_EQ(code({284, 3, 2}), -7); // strips of one component each
}

TEST(jpeg_tiff, reads_a_page_that_is_one_stream)
{
    // The page says 5 x 5; the stream says what it is, the page its resolution and, where
    // the standard counts, that white is 0.
    for (const bool standard : {false, true}) {
        coded_picture p(33, 21, 2, 2);
        p.components.resize(standard ? 1 : 3);
        const mode_scope mode(standard);
        tiff_builder tiff;
        tiff.shape(5, 5, 8, 1, 6, 0).set(282, 5, {200, 1}).set(283, 5, {100, 1});
        tiff.strip(jpeg_builder::stream(p)).set(513, 4, {8});
        const picture copy = picture_of(tiff.build());
        auto wanted = colors_of(picture_of(jpeg_builder::stream(p)));
        for (uint32_t& color : wanted)
            color ^= standard ? 0xFFFFFFu : 0;
        EXPECT_TRUE(colors_of(copy) == wanted);
        EXPECT_EQ(copy.resolution(), std::pair(200, 100));
    }
}
