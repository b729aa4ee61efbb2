// core_test.cpp - the image table, the settings and the pipelines through the exports.

#include "tests/builders/bmp_builder.h"
#include "tests/support/images.h"
#include "tests/support/open_file.h"

#include <algorithm>

namespace {

int32_t make_image(int32_t width = 4, int32_t height = 4, int bits = 8)
{
    test_dib dib(width, height, bits);
    dib.fill_random(static_cast<uint32_t>(width * height + bits));
    return dib.create();
}

byte_vector ramp_file(int32_t width, int32_t height)
{
    bmp_builder bmp;
    bmp.width = width;
    bmp.height = height;
    for (int i = 0; i < 256; ++i)
        bmp.colors.push_back(static_cast<uint32_t>(i * 0x010101));
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < (width + 3) / 4 * 4; ++x)
            bmp.data.push_back(static_cast<uint8_t>(10 * (height - 1 - y) + x));
    return bmp.build();
}

int32_t load(const byte_vector& file)
{
    return IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0);
}

int32_t type_of(const byte_vector& file)
{
    return IMGX_get_filetype_mem(file.data(), static_cast<uint32_t>(file.size()));
}

} // namespace

TEST(image_table, gives_the_lowest_free_handle)
{
    EXPECT_EQ(make_image(), 0);
    EXPECT_EQ(make_image(), 1);
    EXPECT_EQ(make_image(), 2);
    EXPECT_EQ(IMG_delete_bitmap(1), 0);
    EXPECT_EQ(IMG_delete_bitmap(1), -13);
    EXPECT_EQ(make_image(), 1);
    EXPECT_EQ(IMG_delete_bitmap(2), 0);
    EXPECT_EQ(IMG_delete_bitmap(0), 0);
    EXPECT_EQ(IMG_delete_bitmap(1), 0);
    EXPECT_EQ(make_image(), 0);
    EXPECT_EQ(IMG_delete_bitmap(0), 0);
}

TEST(image_table, every_export_refuses_dead_handles)
{
    const image_guard live(make_image());
    int32_t n = 0;
    char buffer[2000];
    const temp_file file(".bmp");
    for (int32_t handle : {-2, -5, INT32_MIN, 1, 64, INT32_MAX}) {
        SCOPED_TRACE(handle);
        EXPECT_EQ(IMG_delete_bitmap(handle), -13);
        EXPECT_EQ(IMG_bitmap_info(handle, &n, &n, &n), -13);
        EXPECT_EQ(IMGLOW_get_bitmap_header(handle, buffer), -13);
        EXPECT_EQ(IMG_get_croprect(handle, &n, &n, &n, &n), -13);
        EXPECT_EQ(IMG_set_croprect(handle, 0, 0, 1, 1), -13);
        EXPECT_EQ(IMGLOW_set_rop(handle, 0), -13);
        EXPECT_EQ(IMGX_set_print_tone(handle, 0, 0, 0), -13);
        EXPECT_EQ(IMG_save_bitmap(handle, file.name(), 1), -13);
        EXPECT_EQ(IMG_save_bitmap_mem(handle, buffer, 1), -13);
        EXPECT_EQ(IMGX_save_bitmap_mem(handle, buffer, sizeof buffer, 1), -13);
    }
    EXPECT_EQ(IMG_delete_bitmap(-1), -1);
    EXPECT_TRUE(file.bytes().empty());
}

TEST(exports, null_addresses_give_a_code)
{
    const image_guard image(make_image());
    BITMAPINFOHEADER header{};
    EXPECT_EQ(IMG_decompress_bitmap(nullptr), -2);
    EXPECT_EQ(IMG_decompress_bitmap(""), -2);
    EXPECT_EQ(IMG_decompress_bitmap("."), -2);
    EXPECT_EQ(IMG_decompress_bitmap("no such file.bmp"), -2);
    EXPECT_EQ(IMGLOW_get_filetype(nullptr), -2);
    EXPECT_EQ(IMGLOW_get_pages(""), -2);
    EXPECT_EQ(IMG_decompress_bitmap_mem(nullptr, 0), -1);
    EXPECT_EQ(IMGX_decompress_bitmap_mem(nullptr, 5, 0), -1);
    EXPECT_EQ(IMGLOW_decompress_bitmap_mem("BM", 0, nullptr, 0, nullptr), -1);
    EXPECT_EQ(IMG_create_handle(nullptr), -1);
    EXPECT_EQ(IMG_save_bitmap(image, nullptr, 1), -6);
    EXPECT_EQ(IMG_save_bitmap(image, "no such directory/x.bmp", 1), -6);
    EXPECT_EQ(IMG_save_bitmap_mem(image, nullptr, 1), -1);
    EXPECT_EQ(IMGLOW_save_bitmap_mem(nullptr, &header, 1, nullptr, 0), -1);
    EXPECT_EQ(IMGLOW_get_bitmap_header(image, nullptr), -1);
    EXPECT_GT(IMG_bitmap_info(image, nullptr, nullptr, nullptr), 0);
}

TEST(image_object, header_copy_has_the_full_colour_table)
{
    for (int bits : {1, 4, 8, 24}) {
        const image_guard image(make_image(3, 2, bits));
        byte_vector buffer(1100, 0xEE);
        EXPECT_EQ(IMGLOW_get_bitmap_header(image, buffer.data()), 0);
        const size_t used = 40 + (bits == 24 ? 0 : size_t{4} << bits);
        EXPECT_EQ(buffer[used], 0xEE) << bits;
        EXPECT_EQ(byte_vector(buffer.begin() + static_cast<std::ptrdiff_t>(used), buffer.end()),
                  byte_vector(1100 - used, 0xEE));
    }
}

// As they are before any test; a TIFF that one loads replaces them.
const struct texts_at_start {
    char name[200], date[40];
    texts_at_start() { IMGLOW_get_bitmap_name(name, date); }
} at_start;

TEST(settings, texts_are_cut_at_their_buffers)
{
    char name[200], date[40], old_name[200], old_date[40];
    IMGLOW_get_bitmap_name(old_name, old_date);
    EXPECT_STREQ(at_start.name, "Trevolan imaging library 4.0");
    EXPECT_STREQ(at_start.date, "11-24-1992");
    const std::string text(300, 'x');
    EXPECT_EQ(IMGLOW_set_bitmap_name(text.c_str(), text.c_str()), 0);
    IMGLOW_get_bitmap_name(name, date);
    EXPECT_EQ(std::string(name), std::string(199, 'x'));
    EXPECT_EQ(std::string(date), std::string(39, 'x'));
    IMGLOW_set_bitmap_name(old_name, old_date);
    std::memset(date, 0x77, sizeof date);
    IMGLOW_get_bitmap_name(name, date);
    EXPECT_STREQ(name, old_name);
    EXPECT_STREQ(date, old_date);
    EXPECT_EQ(date[11], 0x77) << "11 bytes are room enough for this date";
}

TEST(detection, first_test_that_holds_wins)
{
    const struct {
        const char* what;
        byte_vector bytes;
        int32_t expected;
    } rows[] = {
        {"PCX before the others", {0x0A, 0x05, 0x01, 0x08}, 2},
        {"Targa", {0, 0, 2, 0}, 3},
        {"Targa with a map", {0, 1, 9, 0}, 3},
        {"not Targa: map type 2, so a metafile", {0, 2, 2, 0}, 6},
        {"GIF", {'G', 'I', 'F', '8'}, 4},
        {"WordPerfect", {0xFF, 'W', 'P', 'C'}, 5},
        {"JPEG before Targa", {0xFF, 0xD8, 2, 0}, 13},
        {"placeable metafile", {0xD7, 0xCD, 0xC6, 0x9A}, 6},
        {"second byte 2", {0, 2}, 6},
        {"first byte 1", {1, 5, 0, 0}, 6},
        {"DCX", {0xB1, 0x68, 0xDE, 0x3A}, 11},
        {"EPS", {0xC5, 0xD0, 0xD3, 0xC6}, 14},
        {"nothing", {'h', 'e', 'l', 'l', 'o'}, -7},
        {"one byte", {'x'}, -7},
        {"one byte of PCX", {10}, 2},
    };
    for (const auto& r : rows)
        EXPECT_EQ(type_of(r.bytes), r.expected) << r.what;
    for (size_t at : {512, 521, 522, 523, 524}) {
        byte_vector pict(540, 0x55);
        pict[at] = 0x11;
        EXPECT_EQ(type_of(pict), at == 522 || at == 523 ? 15 : -7) << at;
        pict.resize(at + 1);
        EXPECT_EQ(type_of(pict), at == 522 || at == 523 ? 15 : -7) << "cut behind " << at;
    }
}

TEST(load, image_inside_a_file_and_its_type)
{
    byte_vector bytes(100, 0x77);
    const byte_vector inner = ramp_file(5, 3);
    bytes.insert(bytes.end(), inner.begin(), inner.end());
    const temp_file file(".dat");
    write_file(file.name(), bytes);
    EXPECT_EQ(IMG_decompress_bitmap(file.name()), -7);
    EXPECT_EQ(IMGLOW_get_pages(file.name()), 1);

    const open_file opened(file.name());
    ASSERT_NE(opened.handle(), HFILE_ERROR);
    const image_guard image(IMG_decompress_bitmap_fd(opened.handle(), 100, 0));
    EXPECT_EQ(copy_image(image).pixel(4, 2), 24u);
    EXPECT_EQ(IMG_decompress_bitmap_fd(opened.handle(), 99, 0), -7);
    EXPECT_EQ(IMG_decompress_bitmap_fd(opened.handle(), INT32_MAX, 0), -7);
    opened.seek(100);
    EXPECT_EQ(IMGLOW_get_filetype_fd(opened.handle()), 1);
    EXPECT_EQ(IMG_decompress_bitmap_fd(opened.handle(), 100, -1), -11);
}

namespace {

// A low-level client that records what it is given and refuses on request.
struct row_client {
    int32_t headers = 0, rows = 0;
    int32_t refuse_header = 0, refuse_row = -1; // the result to give; the row to refuse
    std::vector<int32_t> order;
    BITMAPINFOHEADER header{};

    static int32_t IMG_C set_header(const BITMAPINFOHEADER* header, IMG_PRIVATE self)
    {
        auto& client = *reinterpret_cast<row_client*>(self);
        client.header = *header;
        ++client.headers;
        return client.refuse_header;
    }
    static int32_t IMG_C put_raster(const void*, IMG_PRIVATE self, int32_t row, int32_t)
    {
        auto& client = *reinterpret_cast<row_client*>(self);
        client.order.push_back(row);
        return client.rows++ == client.refuse_row ? -77 : 0;
    }
    int32_t run(const byte_vector& file)
    {
        return IMGX_stream_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0,
                                      put_raster, reinterpret_cast<IMG_PRIVATE>(this), set_header);
    }
};

} // namespace

TEST(load, low_level_clients_get_header_then_rows_and_may_refuse)
{
    byte_vector file = ramp_file(5, 3);
    file.resize(file.size() + 4096); // an unbounded entry may look ahead
    row_client client;
    EXPECT_GE(client.run(file), 0);
    EXPECT_EQ(client.headers, 1);
    EXPECT_EQ(client.order, (std::vector<int32_t>{2, 1, 0}));
    EXPECT_EQ(client.header.biSizeImage, 24u);

    row_client no_header;
    no_header.refuse_header = -55;
    EXPECT_EQ(no_header.run(file), -55);
    EXPECT_EQ(no_header.rows, 0);
    row_client one_row;
    one_row.refuse_row = 1;
    EXPECT_EQ(one_row.run(file), -77);
    EXPECT_EQ(one_row.rows, 2);
}

namespace {

struct status_client {
    int32_t calls = 0, height = 0, cancel_at = -1;
    int32_t delete_handle = -1; // image to delete from inside
    int32_t nested_load = 0;    // result of a load from inside

    static int32_t IMG_STD call(IMG_PRIVATE self, int32_t height)
    {
        auto& client = *reinterpret_cast<status_client*>(self);
        client.height = height;
        if (client.delete_handle >= 0) {
            IMG_delete_bitmap(client.delete_handle);
            client.delete_handle = -1;
            // Another image takes the handle at once.
            IMG_set_statusbar(0, nullptr, 0);
            client.nested_load = load(ramp_file(2, 2));
            IMG_set_statusbar(self, call, 1);
        }
        return client.calls++ == client.cancel_at ? -42 : 0;
    }
    void on() { IMG_set_statusbar(reinterpret_cast<IMG_PRIVATE>(this), call, 1); }
    ~status_client() { IMG_set_statusbar(0, nullptr, 0); }
};

} // namespace

TEST(status_callback, sees_every_row_and_cancels)
{
    const byte_vector file = ramp_file(6, 5);
    status_client client;
    client.on();
    const image_guard image(load(file));
    EXPECT_EQ(client.calls, 5);
    EXPECT_EQ(client.height, 5);
    byte_vector out(5000);
    EXPECT_GT(IMGX_save_bitmap_mem(image, out.data(), 5000, 1), 0);
    EXPECT_EQ(client.calls, 10);
    client.cancel_at = 12;
    EXPECT_EQ(IMGX_save_bitmap_mem(image, out.data(), 5000, 1), -42);
    client.cancel_at = client.calls;
    EXPECT_EQ(load(file), -42);
    IMG_set_statusbar(0, nullptr, 0);
    const image_guard next(load(file));
    EXPECT_EQ(next, image + 1) << "a cancelled load gives its handle back";
}

TEST(status_callback, may_delete_the_image_that_is_being_loaded_or_saved)
{
    const byte_vector file = ramp_file(6, 5);
    status_client client;
    client.delete_handle = 0; // the handle that this load gets
    client.on();
    EXPECT_EQ(load(file), -13);
    EXPECT_EQ(client.nested_load, 0);
    expect_same_colors(copy_image(0), copy_image(image_guard(load(ramp_file(2, 2)))));

    client.delete_handle = 0;
    byte_vector out(5000);
    const int32_t result = IMGX_save_bitmap_mem(0, out.data(), 5000, 1);
    EXPECT_GT(result, 0) << "the image that took its place is saved, row by row";
    IMG_set_statusbar(0, nullptr, 0);
    EXPECT_EQ(IMG_delete_bitmap(0), 0);
}

TEST(status_callback, may_give_the_image_that_is_being_loaded_another_dib)
{
    // The second operation's DIB can get the memory handle that the load's own had.
    struct turning {
        static int32_t IMG_STD call(IMG_PRIVATE, int32_t)
        {
            IMG_rotate_bitmap(0, 90);
            return std::min(IMG_rotate_bitmap(0, 90), 0);
        }
    };
    IMG_set_statusbar(0, turning::call, 1);
    EXPECT_EQ(load(ramp_file(60, 5)), -13);
    IMG_set_statusbar(0, nullptr, 0);
    EXPECT_EQ(image_guard(load(ramp_file(2, 2))), 0) << "the load gives its handle back";
}

TEST(status_callback, may_save_to_memory_and_ask_for_the_size)
{
    struct saving {
        int32_t small = IMG_create_handle(test_dib(1, 1, 24).packed());
        int32_t large = IMG_create_handle(test_dib(9, 9, 8).packed());
        byte_vector bytes = byte_vector(5000);
        int32_t size = 0;

        static int32_t IMG_STD call(IMG_PRIVATE self, int32_t)
        {
            auto& client = *reinterpret_cast<saving*>(self);
            IMG_set_statusbar(self, call, 0);
            IMG_save_bitmap_mem(client.small, client.bytes.data(), 1);
            client.size = get_save_filesize();
            return 0;
        }
    } client;
    byte_vector out(5000);
    IMG_set_statusbar(reinterpret_cast<IMG_PRIVATE>(&client), saving::call, 1);
    EXPECT_EQ(IMGX_save_bitmap_mem(client.large, out.data(), 5000, 1), 54 + 1024 + 9 * 12);
    EXPECT_EQ(client.size, 58);
    EXPECT_EQ(get_save_filesize(), 54 + 1024 + 9 * 12);
    IMG_delete_bitmap(client.small);
    IMG_delete_bitmap(client.large);
}

TEST(load, inner_loads_nest_to_any_depth)
{
    // Every row of every load but the innermost starts another load from memory.
    struct nesting {
        int32_t depth = 0;
        int32_t rows = 0;

        int32_t run()
        {
            // Rows too long for one piece of the reader, which so needs its memory again.
            const byte_vector file = ramp_file(200000, 2);
            ++depth;
            const int32_t result =
                IMGX_stream_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0,
                                       put_raster, reinterpret_cast<IMG_PRIVATE>(this), set_header);
            --depth;
            return std::min(result, 0);
        }
        static int32_t IMG_C set_header(const BITMAPINFOHEADER*, IMG_PRIVATE) { return 1; }
        static int32_t IMG_C put_raster(const void* row, IMG_PRIVATE self, int32_t y, int32_t)
        {
            auto& outer = *reinterpret_cast<nesting*>(self);
            ++outer.rows;
            if (y == 1 && outer.depth < 40)
                if (const int32_t err = outer.run(); err < 0) return err;
            return *static_cast<const uint8_t*>(row) == 10 * y ? 0 : -42;
        }
    };
    nesting outermost;
    EXPECT_EQ(outermost.run(), 0);
    EXPECT_EQ(outermost.rows, 80);
}

TEST(load, inner_loads_keep_the_outer_memory_stream)
{
    // put_raster loads another image from memory in the middle of a load from memory.
    struct nesting {
        static int32_t IMG_C set_header(const BITMAPINFOHEADER*, IMG_PRIVATE) { return 1; }
        static int32_t IMG_C put_raster(const void* row, IMG_PRIVATE self, int32_t, int32_t)
        {
            auto& pixels = *reinterpret_cast<byte_vector*>(self);
            pixels.push_back(*static_cast<const uint8_t*>(row));
            const image_guard inner(load(ramp_file(9, 9)));
            return inner < 0 ? inner : 0;
        }
    };
    // Rows too long for one piece of the reader, so that it reads on after the inner load.
    byte_vector file = ramp_file(200000, 3);
    file.resize(file.size() + 4096);
    byte_vector pixels;
    EXPECT_GE(IMGLOW_decompress_bitmap_mem(file.data(), 0, nesting::put_raster,
                                           reinterpret_cast<IMG_PRIVATE>(&pixels),
                                           nesting::set_header),
              0);
    EXPECT_EQ(pixels, (byte_vector{20, 10, 0}));
}

TEST(create_handle, takes_packed_dibs_of_either_row_order)
{
    test_dib dib(3, 2, 24);
    dib.fill_random(1);
    const image_guard up(dib.create());
    dib.header()->biHeight = -2;
    const image_guard down(dib.create());
    for (int32_t x = 0; x < 3; ++x) {
        EXPECT_EQ(copy_image(up).pixel(x, 0), copy_image(down).pixel(x, 1));
        EXPECT_EQ(copy_image(up).pixel(x, 1), copy_image(down).pixel(x, 0));
    }
    dib.header()->biHeight = 2;
    dib.header()->biCompression = 1;
    EXPECT_EQ(dib.create(), -7);
    dib.header()->biCompression = 0;
    dib.header()->biBitCount = 16;
    EXPECT_EQ(dib.create(), -7);
    dib.header()->biBitCount = 24;
    dib.header()->biWidth = INT32_MAX;
    EXPECT_EQ(dib.create(), -7);
}

TEST(save, crop_counts_from_the_top_in_files_and_from_the_bottom_in_memory)
{
    const image_guard image(load(ramp_file(12, 10)));
    IMG_set_croprect(image, 2, 3, 4, 5);
    const temp_file file(".bmp");
    EXPECT_EQ(IMG_save_bitmap(image, file.name(), -1), 0);
    const image_guard top(IMG_decompress_bitmap(file.name()));
    EXPECT_EQ(copy_image(top).width, 4);
    EXPECT_EQ(copy_image(top).height, 5);
    EXPECT_EQ(copy_image(top).pixel(0, 0), 32u);
    EXPECT_EQ(copy_image(top).pixel(3, 4), 75u);

    byte_vector memory(5000);
    EXPECT_EQ(IMG_save_bitmap_mem(image, memory.data(), 1), 0);
    memory.resize(static_cast<size_t>(get_save_filesize()));
    const image_guard bottom(load(memory));
    EXPECT_EQ(copy_image(bottom).pixel(0, 0), 22u); // rows 2 to 6: three are left below
    EXPECT_EQ(copy_image(bottom).pixel(3, 4), 65u);
}

TEST(save, crop_columns_round_up_to_bytes)
{
    test_dib dib(32, 1, 1);
    for (int x = 0; x < 32; ++x)
        dib.set_pixel(x, 0, static_cast<uint32_t>(x / 8 & 1));
    const image_guard image(dib.create());
    IMG_set_croprect(image, 1, 0, 9, 1);
    const temp_file file(".bmp");
    EXPECT_EQ(IMG_save_bitmap(image, file.name(), 1), 0);
    const image_guard cropped(IMG_decompress_bitmap(file.name()));
    EXPECT_EQ(copy_image(cropped).pixel(0, 0), 1u); // column 8
    EXPECT_EQ(copy_image(cropped).pixel(8, 0), 0u); // column 16
}

TEST(save, crop_is_cut_to_the_image)
{
    const image_guard image(load(ramp_file(12, 10)));
    const struct {
        int32_t x, y, width, height, expected_width, expected_height;
    } rows[] = {
        {8, 8, 100, 100, 4, 2},
        {-3, -2, 5, 4, 2, 2},
        {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX, 0, 0},
        {0, 0, INT32_MAX, INT32_MAX, 12, 10},
        {12, 0, 1, 1, 0, 0},
        {0, 0, 0, 5, 0, 0},
        {3, 3, -1, 5, 0, 0},
        {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, 0, 0},
    };
    for (const auto& r : rows) {
        IMG_set_croprect(image, r.x, r.y, r.width, r.height);
        const temp_file file(".bmp");
        if (r.expected_width == 0) {
            EXPECT_EQ(IMG_save_bitmap(image, file.name(), 1), -1);
            continue;
        }
        EXPECT_EQ(IMG_save_bitmap(image, file.name(), 1), 0);
        const image_guard cut(IMG_decompress_bitmap(file.name()));
        EXPECT_EQ(copy_image(cut).width, r.expected_width);
        EXPECT_EQ(copy_image(cut).height, r.expected_height);
    }
}

TEST(save, type_follows_the_last_three_letters)
{
    const image_guard image(make_image());
    const struct {
        const char* extension;
        int32_t result;
    } rows[] = {{".bmp", 0}, {".BMP", 0}, {"xBmP", 0}, {".xyz", -7}, {".b", -7}};
    for (const auto& r : rows) {
        const temp_file file(r.extension);
        write_file(file.name(), {1, 2, 3});
        EXPECT_EQ(IMG_save_bitmap(image, file.name(), -1), r.result) << r.extension;
        EXPECT_EQ(file.bytes().empty(), r.result != 0) << "an unknown type leaves an empty file";
    }
    for (int32_t type : {-2, 18, 99, INT32_MAX}) {
        byte_vector out(100);
        EXPECT_EQ(IMGX_save_bitmap_mem(image, out.data(), 100, type), -7) << type;
    }
}

TEST(save, memory_that_is_too_small_is_full)
{
    const image_guard image(make_image(20, 20));
    byte_vector out(2000, 0xCC);
    const int32_t size = IMGX_save_bitmap_mem(image, out.data(), 2000, 1);
    ASSERT_GT(size, 0);
    for (int32_t capacity : {0, 1, 54, size / 2, size - 1}) {
        byte_vector small(static_cast<size_t>(capacity) + 8, 0xCC);
        EXPECT_EQ(IMGX_save_bitmap_mem(image, small.data(), static_cast<uint32_t>(capacity), 1),
                  -9);
        for (size_t i = static_cast<size_t>(capacity); i < small.size(); ++i)
            EXPECT_EQ(small[i], 0xCC);
    }
    EXPECT_EQ(IMGX_save_bitmap_mem(image, out.data(), static_cast<uint32_t>(size), 1), size);
}

namespace {

int32_t IMG_C grey_rows(IMG_PRIVATE stop_at, void* row, int32_t row_index, int32_t byte_count)
{
    std::memset(row, row_index, static_cast<size_t>(byte_count));
    return row_index == stop_at ? -31 : 0;
}

// The client's header is its own again once the save has begun.
int32_t IMG_C rows_and_another_size(IMG_PRIVATE header, void* row, int32_t row_index,
                                    int32_t byte_count)
{
    auto* const own = reinterpret_cast<BITMAPINFOHEADER*>(header);
    own->biWidth = own->biHeight = 1;
    return grey_rows(-1, row, row_index, byte_count);
}

} // namespace

TEST(save, low_level_clients_supply_rows_and_may_refuse)
{
    test_dib dib(7, 4, 8);
    byte_vector out(3000);
    EXPECT_EQ(IMGLOW_save_bitmap_mem(out.data(), dib.header(), 1, grey_rows, -1), 0);
    out.resize(static_cast<size_t>(get_save_filesize()));
    const image_guard image(load(out));
    EXPECT_EQ(copy_image(image).pixel(3, 2), 2u);
    EXPECT_EQ(IMGLOW_save_bitmap_mem(out.data(), dib.header(), 1, grey_rows, 2), -31);
    dib.header()->biBitCount = 16;
    EXPECT_EQ(IMGLOW_save_bitmap_mem(out.data(), dib.header(), 1, grey_rows, -1), -7);
    dib.header()->biBitCount = 8;
    dib.header()->biHeight = -4;
    EXPECT_EQ(IMGLOW_save_bitmap_mem(out.data(), dib.header(), 1, grey_rows, -1), -1);
}

TEST(save, a_callback_that_reuses_its_header_changes_nothing)
{
    for (int32_t type : {0, 1, 2, 3, 4, 5, 6, 9, 11, 12, 13, 14, 15}) {
        test_dib dib(7, 4, 8);
        byte_vector expected(20000), got(20000);
        EXPECT_EQ(IMGLOW_save_bitmap_mem(expected.data(), dib.header(), type, grey_rows, -1), 0);
        EXPECT_EQ(IMGLOW_save_bitmap_mem(got.data(), dib.header(), type, rows_and_another_size,
                                         reinterpret_cast<IMG_PRIVATE>(dib.header())),
                  0);
        EXPECT_EQ(got, expected) << "type " << type;
    }
}

TEST(save, print_tone_reaches_files_but_not_memory)
{
    for (int bits : {8, 24}) {
        test_dib dib(3, 1, bits);
        const uint32_t levels[] = {0, 64, 255};
        for (int x = 0; x < 3; ++x)
            dib.set_pixel(x, 0, bits == 8 ? levels[x] : levels[x] * 0x010101);
        const image_guard image(dib.create());
        // 255 sqrt(64 / 255) = 127.7; dot gain belongs to the printer and is left out.
        EXPECT_EQ(IMGX_set_print_tone(image, 100, 200, 5), 0);
        const temp_file file(".bmp");
        EXPECT_EQ(IMG_save_bitmap(image, file.name(), 1), 0);
        const image_guard toned(IMG_decompress_bitmap(file.name()));
        const image_copy copy = copy_image(toned);
        EXPECT_EQ(copy.color(0, 0), 0x0A0A0Au);
        EXPECT_EQ(copy.color(1, 0), 0x8A8A8Au);
        EXPECT_EQ(copy.color(2, 0), 0xFFFFFFu);
        EXPECT_EQ(copy_image(image).color(1, 0), 0x404040u);
        for (int32_t extreme : {INT32_MIN, INT32_MAX}) {
            IMGX_set_print_tone(image, extreme, extreme, extreme);
            EXPECT_EQ(IMG_save_bitmap(image, file.name(), 1), 0);
        }
    }
}

TEST(type_table, tells_every_code_once)
{
    IMGX_TYPE_INFO info;
    int32_t rows = 0;
    for (; IMGX_get_type_info(rows, &info) == 0; ++rows) {
        EXPECT_EQ(info.code, rows);
        EXPECT_GT(std::strlen(info.name), 2u);
        EXPECT_EQ(info.writes != 0, info.write_depths != 0) << info.name;
    }
    EXPECT_EQ(rows, 18);
    EXPECT_EQ(IMGX_get_type_info(-1, &info), -7);
    EXPECT_STRNE(IMGX_error_text(-13), IMGX_error_text(-1));
    EXPECT_STREQ(IMGX_version(), "4.0.0");
}
