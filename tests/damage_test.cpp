// damage_test.cpp - BMP, GIF, Targa, PCX, DCX, PICT, WPG and WMF files cut at every byte and with
// fields that lie.

#include "tests/builders/gif_builder.h"
#include "tests/builders/pict_builder.h"
#include "tests/builders/targa_builder.h"
#include "tests/builders/wmf_builder.h"
#include "tests/builders/wpg_builder.h"

namespace {

// Few colours in short runs, saved by the library.
byte_vector saved(int32_t type, int32_t bits)
{
    return save_bytes(image_guard(random_picture(9, 6, bits, 3).create()), type);
}

byte_vector gif_file()
{
    return gif_builder("89a", {0, 0xFF, 0xFF00, 0xFFFFFF})
        .extension(0xFE, "comment")
        .pixels(3, 2, 2, {1, 2, 3, 0, 1, 2}, {1, 2, 3, 4})
        .finish();
}

byte_vector wmf_runs()
{
    return wmf_builder().draw(0x0F43, wmf_runs_of_nine()).finish();
}

byte_vector wpg_2()
{
    const byte_vector runs = {0x7D, 3, 0x82, 1, 2, 3, 0x7E, 2, 9, 9, 9, 8, 8, 8, 7, 7, 7};
    return wpg_builder(2).bitmap_2(3, 2, 8, 1, runs);
}

} // namespace

TEST(damage, files_cut_anywhere_give_a_code_or_their_first_rows)
{
    constexpr std::pair<int, int> kinds[] = {{1, 4},  {1, 24}, {12, 4}, {12, 8}, {3, 8},
                                             {3, 24}, {2, 4},  {2, 8},  {2, 24}, {5, 8},
                                             {6, 4},  {11, 8}, {15, 8}, {15, 24}};
    for (int mode : {0, 1}) {
        const mode_scope scope(mode);
        expect_cuts_are_survived(gif_file());
        expect_cuts_are_survived(wmf_runs());
        expect_cuts_are_survived(wpg_2());
        for (auto [type, bits] : kinds) {
            SCOPED_TRACE(testing::Message() << type << ", " << bits << " bits");
            // A DCX file without its table has no page.
            expect_cuts_are_survived(saved(type, bits), type == 11 ? -11 : 0);
        }
    }
}

TEST(damage, fields_that_lie_give_their_code)
{
    const byte_vector pcx = saved(2, 8), wmf = saved(6, 8), wpg = saved(5, 8), pict = saved(15, 8);
    const byte_vector gif = gif_builder("89a", {}, 7).pixels(1, 1, 2, {1}), targa = targa_builder();
    const struct {
        const char* lie;
        byte_vector file;
        size_t at;
        byte_vector bytes;
        int32_t code;
    } rows[] = {
        {"GIF: no width", gif, 18, {0}, -3},
        {"GIF: no height", gif, 20, {0}, -3},
        {"GIF: too large", gif, 18, {255, 255, 255, 255, 7}, -1},
        {"Targa: no width", targa, 12, {0}, -3},
        {"Targa: no height", targa, 14, {0}, -3},
        {"Targa: too large", targa, 12, {255, 255, 255, 255}, -1},
        {"Targa: 12 bits", targa, 16, {12}, -7},
        {"PCX: version", pcx, 1, {1}, -3},
        {"PCX: encoding", pcx, 2, {2}, -3},
        {"PCX: 3 bits", pcx, 3, {3}, -3},
        {"PCX: window upside down", pcx, 4, {200}, -3},
        {"PCX: more than there can be", pcx, 11, {0xFF}, -3},
        {"PCX: no planes", pcx, 65, {0}, -3},
        {"PCX: two planes of 8 bits", pcx, 65, {2}, -7},
        {"PCX: five planes", pcx, 65, {5}, -3},
        {"PCX: short planes", pcx, 66, {3}, -3},
        {"PICT: empty frame", pict, 518, {0, 0}, -3},
        {"PICT: 3 bits", pict, 594, {0, 3}, -3},
        {"WMF: no such header", wmf, 96, {13}, -3},
        {"WMF: header beyond the record", wmf, 96, {15, 39}, -3},
        {"WMF: no width", wmf, 100, {0}, -3},
        {"WMF: negative width", wmf, 100, {253, 255, 255, 255}, -3},
        {"WMF: width too large", wmf, 100, {255, 255, 255, 127}, -1},
        {"WMF: no height", wmf, 104, {0}, -3},
        {"WMF: lowest height", wmf, 104, {0, 0, 0, 128}, -3},
        {"WMF: more rows than there are", wmf, 104, {7}, -3},
        {"WMF: two planes", wmf, 108, {2}, -3},
        {"WMF: 2 bits", wmf, 110, {2}, -7},
        {"WMF: another format inside", wmf, 112, {4}, -7},
        {"WMF: runs of the other depth", wmf, 112, {2}, -7},
        {"WMF: colours beyond the record", wmf, 128, {0, 0, 0, 64}, -3},
        {"WPG: records inside the prefix", wpg, 4, {15}, -3},
        {"WPG: records behind the end", wpg, 6, {1}, -3},
        {"WPG: a document", wpg, 9, {10}, -7},
        {"WPG: a later version", wpg, 10, {3}, -7},
        {"WPG: encrypted", wpg, 12, {1}, -7},
        {"WPG: no width", wpg, 806, {0}, -3},
        {"WPG: a record shorter than its head", wpg, 802, {0, 128, 9, 0}, -3},
        {"WPG: more than there can be", wpg, 806, {0xFF, 0xFF, 0xFF, 0xEF}, -3},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(load_code(r.file), r.lie[0] == 'T' ? -12 : 0); // no pixels behind the header
        byte_vector file = r.file;
        std::copy(r.bytes.begin(), r.bytes.end(), file.begin() + ptrdiff_t(r.at));
        EXPECT_EQ(load_code(file), r.code) << r.lie;
    }
    // Enough data for a picture of that height, but no memory holds it.
    EXPECT_EQ(load_code(wpg_builder().bitmap(65535, 65535, 8, byte_vector(600, 0))), -1);
}

TEST(damage, two_colours_of_any_kind_come_back)
{
    for (int32_t type : {2, 5, 6, 11, 15})
        for (uint32_t first : {0xFFFFFFu, 0xC80A14u}) {
            SCOPED_TRACE(testing::Message() << type << " " << first);
            picture dib = random_picture(37, 11, 1, 3);
            dib.set_colors({first, first == 0xFFFFFF ? 0u : 77u});
            const image_guard image(dib.create());
            expect_same_colors(picture_of(save_bytes(image, type)), copy_image(image));
        }
}

TEST(damage, clients_and_sides_that_do_not_fit_end_the_call)
{
    const IMG_SET_HEADER accept = [](const BITMAPINFOHEADER*, IMG_PRIVATE) { return 0; };
    const IMG_SET_HEADER refuse = [](const BITMAPINFOHEADER*, IMG_PRIVATE) { return -66; };
    const auto stop = [](const void*, IMG_PRIVATE, int32_t row, int32_t) {
        return -55 * (row == 2);
    };
    const auto no_row = [](IMG_PRIVATE, void*, int32_t row, int32_t) { return -77 * (row == 4); };
    byte_vector room(70000);
    constexpr std::pair<int, int> sides[] = {{2, 65537}, {3, 65536},  {4, 65536}, {5, 65536},
                                             {6, 32768}, {11, 65537}, {15, 32768}};
    for (auto [type, side] : sides) {
        SCOPED_TRACE(type);
        const byte_vector file = saved(type, 8);
        const auto size = uint32_t(file.size());
        EXPECT_EQ(IMGX_stream_bitmap_mem(file.data(), size, 0, stop, 0, accept), -55);
        EXPECT_EQ(IMGX_stream_bitmap_mem(file.data(), size, 0, stop, 0, refuse), -66);
        picture dib(9, 6, 8);
        // GIF takes it for a failed write.
        EXPECT_EQ(IMGLOW_save_bitmap_mem(room.data(), dib.header(), type, no_row, 0),
                  type == 4 ? -9 : -77);
        const image_guard tall(picture(1, side, 8).create());
        EXPECT_EQ(IMGX_save_bitmap_mem(tall, room.data(), 70000, type), -7);
    }
}
