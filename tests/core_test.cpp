// core_test.cpp - the image table, the settings and the pipelines through the exports.

#include "tests/builders/bmp_builder.h"
#include "tests/support/open_file.h"

#include <functional>

namespace {

int32_t make_image(int32_t width = 4, int32_t height = 4, int bits = 8)
{
    return random_picture(width, height, bits).create();
}

byte_vector ramp_file(int32_t width, int32_t height)
{
    bmp_builder bmp;
    bmp.width = width;
    bmp.height = height;
    for (int i = 0; i < 256; ++i)
        bmp.colors.push_back(i * 0x010101);
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < (width + 3) / 4 * 4; ++x)
            bmp.data.push_back(10 * (height - 1 - y) + x);
    return bmp.build();
}

int32_t type_of(const byte_vector& file)
{
    return IMGX_get_filetype_mem(file.data(), static_cast<uint32_t>(file.size()));
}

// The address of a client's function object as the value that its callback gets.
template <class Function> IMG_PRIVATE address_of(Function& function)
{
    return reinterpret_cast<IMG_PRIVATE>(&function);
}

// A low-level client: one function for the header, one for each row.
struct row_client {
    std::function<int32_t(const BITMAPINFOHEADER&)> on_header = [](auto&) { return 1; };
    std::function<int32_t(int32_t y, const uint8_t* row)> on_row;

    static int32_t IMG_C set_header(const BITMAPINFOHEADER* header, IMG_PRIVATE self)
    {
        return reinterpret_cast<row_client*>(self)->on_header(*header);
    }
    static int32_t IMG_C put_raster(const void* row, IMG_PRIVATE self, int32_t y, int32_t)
    {
        return reinterpret_cast<row_client*>(self)->on_row(y, static_cast<const uint8_t*>(row));
    }
    int32_t stream(const byte_vector& file)
    {
        return IMGX_stream_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), 0,
                                      put_raster, address_of(*this), set_header);
    }
};

// The status callback as a function of the height, on as long as the object lives.
class status_client {
public:
    explicit status_client(std::function<int32_t(int32_t)> on_step) : on_step_(std::move(on_step))
    {
        IMG_set_statusbar(address_of(on_step_), call, 1);
    }
    ~status_client() { IMG_set_statusbar(0, nullptr, 0); }
    status_client(const status_client&) = delete;
    status_client& operator=(const status_client&) = delete;

private:
    static int32_t IMG_STD call(IMG_PRIVATE function, int32_t height)
    {
        return (*reinterpret_cast<std::function<int32_t(int32_t)>*>(function))(height);
    }
    std::function<int32_t(int32_t)> on_step_;
};

} // namespace

TEST(image_table, gives_the_lowest_free_handle)
{
    std::vector<bool> taken(5000); // so many that the table has grown all its levels
    std::mt19937 random(11);
    for (int step = 0; step < 30000; ++step) {
        const int32_t lowest = std::find(taken.begin(), taken.end(), false) - taken.begin();
        const int32_t handle = random() % taken.size();
        if (lowest < 5000 && random() % 16 < (step / 10000 == 1 ? 4 : 13)) {
            ASSERT_EQ(make_image(1, 1, 1), lowest) << "step " << step;
            taken[lowest] = true;
        } else {
            ASSERT_EQ(IMG_delete_bitmap(handle), taken[handle] ? 0 : -13);
            taken[handle] = false;
        }
    }
    for (int32_t handle = 0; handle < 5000; ++handle)
        EXPECT_EQ(IMG_delete_bitmap(handle), taken[handle] ? 0 : -13);
    EXPECT_EQ(image_guard(make_image()), 0);
}

TEST(image_table, every_export_refuses_dead_handles)
{
    const image_guard live(make_image());
    int32_t n = 0;
    char buffer[2000];
    const temp_file file(".bmp");
    for (const int32_t handle : {-2, -5, INT32_MIN, 1, 64, INT32_MAX}) {
        SCOPED_TRACE(handle);
        EXPECT_EQ(IMG_delete_bitmap(handle), -13);
        EXPECT_EQ(IMG_bitmap_info(handle, &n, &n, &n), -13);
        EXPECT_EQ(IMGLOW_get_bitmap_header(handle, buffer), -13);
        EXPECT_EQ(IMG_get_croprect(handle, &n, &n, &n, &n), -13);
        EXPECT_EQ(IMG_set_croprect(handle, 0, 0, 1, 1), -13);
        EXPECT_EQ(IMGLOW_set_rop(handle, 0), -13);
        EXPECT_EQ(IMGX_crop_bitmap(handle, 0, 0, 1, 1), -13);
        EXPECT_EQ(IMGX_set_print_tone(handle, 0, 0, 0), -13);
        EXPECT_EQ(IMGX_set_print_dither(handle, 0), -13);
        EXPECT_EQ(IMG_save_bitmap(handle, file.name(), 1), -13);
        EXPECT_EQ(IMG_save_bitmap_mem(handle, buffer, 1), -13);
        EXPECT_EQ(IMGX_save_bitmap_mem(handle, buffer, sizeof buffer, 1), -13);
    }
    EXPECT_EQ(IMG_delete_bitmap(-1), -1);
    EXPECT_TRUE(file.bytes().empty());
}

TEST(exports, addresses_and_names_that_lead_nowhere_give_a_code)
{
    const image_guard image(make_image());
    BITMAPINFOHEADER header{};
    for (const char* name : {static_cast<const char*>(nullptr), "", ".", "no such file.bmp"}) {
        EXPECT_EQ(IMG_decompress_bitmap(name), -2);
        EXPECT_EQ(IMGLOW_get_filetype(name), -2);
        EXPECT_EQ(IMGLOW_get_pages(name), -2);
    }
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

// As they are before any test; a TIFF that one loads replaces them.
const struct texts_at_start {
    char name[200], date[40];
    texts_at_start() { IMGLOW_get_bitmap_name(name, date); }
} at_start;

TEST(settings, texts_are_cut_at_their_buffers)
{
    EXPECT_STREQ(at_start.name, "Trevolan imaging library 4.0");
    EXPECT_STREQ(at_start.date, "11-24-1992");
    char name[200], date[40];
    const std::string text(300, 'x');
    EXPECT_EQ(IMGLOW_set_bitmap_name(text.c_str(), text.c_str()), 0);
    IMGLOW_get_bitmap_name(name, date);
    EXPECT_EQ(std::string(name), std::string(199, 'x'));
    EXPECT_EQ(std::string(date), std::string(39, 'x'));
    IMGLOW_set_bitmap_name(at_start.name, at_start.date);
    IMGLOW_get_bitmap_name(name, date);
    EXPECT_STREQ(name, at_start.name);
    EXPECT_EQ(date[11], 'x') << "11 bytes are room enough for this date";
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

TEST(load, low_level_clients_get_header_then_rows_and_may_refuse)
{
    byte_vector file = ramp_file(5, 3);
    std::vector<int32_t> order;
    row_client client;
    client.on_header = [&](const BITMAPINFOHEADER& header) {
        order.push_back(header.biSizeImage);
        return 1;
    };
    client.on_row = [&](int32_t y, const uint8_t*) {
        order.push_back(y);
        return y == 0 ? -77 : 0;
    };
    EXPECT_EQ(client.stream(file), -77);
    EXPECT_EQ(order, (std::vector<int32_t>{24, 2, 1, 0}));
    client.on_header = [](auto&) { return -55; };
    EXPECT_EQ(client.stream(file), -55);
    EXPECT_EQ(order.size(), 4u);
}

TEST(load, inner_loads_nest_to_any_depth)
{
    // Every row of every load but the innermost starts another load from memory. Rows too long
    // for one piece of the reader, which so needs its own memory again.
    byte_vector file = ramp_file(200000, 2);
    file.resize(file.size() + 4096); // the unbounded entry may look ahead
    int32_t depth = 0, rows = 0;
    row_client client;
    client.on_row = [&](int32_t y, const uint8_t* row) {
        ++rows;
        if (y == 1 && depth < 40) {
            ++depth;
            EXPECT_GE(depth == 39 ? image_guard(load_bytes(file)) : client.stream(file), 0);
        }
        return *row == 10 * y ? 0 : -42;
    };
    EXPECT_GE(IMGLOW_decompress_bitmap_mem(file.data(), 0, row_client::put_raster,
                                           address_of(client), row_client::set_header),
              0);
    EXPECT_EQ(rows, 2 * 39);
}

TEST(status_callback, sees_every_row_and_cancels)
{
    const byte_vector file = ramp_file(6, 5);
    byte_vector out(5000);
    int32_t calls = 0, cancel_at = -1;
    const status_client status([&](int32_t height) {
        EXPECT_EQ(height, 5);
        return calls++ == cancel_at ? -42 : 0;
    });
    const image_guard image(load_bytes(file));
    EXPECT_EQ(calls, 5);
    EXPECT_GT(IMGX_save_bitmap_mem(image, out.data(), 5000, 1), 0);
    EXPECT_EQ(calls, 10);
    cancel_at = 12;
    EXPECT_EQ(IMGX_save_bitmap_mem(image, out.data(), 5000, 1), -42);
    cancel_at = calls;
    EXPECT_EQ(load_bytes(file), -42);
    EXPECT_EQ(image_guard(load_bytes(file)), image + 1) << "a cancelled load frees its handle";
}

TEST(status_callback, may_delete_the_image_that_is_being_loaded_or_saved)
{
    const byte_vector file = ramp_file(6, 5), other = ramp_file(2, 2);
    bool done = false;
    const auto replace_image_0 = [&](int32_t) {
        if (std::exchange(done, true)) return 0;
        IMG_delete_bitmap(0);
        EXPECT_EQ(load_bytes(other), 0) << "another image takes the handle at once";
        return 0;
    };
    {
        const status_client status(replace_image_0);
        EXPECT_EQ(load_bytes(file), -13);
        expect_same_colors(copy_image(0), picture_of(other));
        done = false;
        byte_vector out(5000);
        EXPECT_GT(IMGX_save_bitmap_mem(0, out.data(), 5000, 1), 0) << "the other image's rows";
    }
    EXPECT_EQ(IMG_delete_bitmap(0), 0);
}

TEST(status_callback, may_give_the_image_that_is_being_loaded_another_dib)
{
    {
        // The second operation's DIB can get the memory handle that the load's own had.
        const status_client status([](int32_t) {
            IMG_rotate_bitmap(0, 90);
            return std::min(IMG_rotate_bitmap(0, 90), 0);
        });
        EXPECT_EQ(load_bytes(ramp_file(60, 5)), -13);
    }
    EXPECT_EQ(image_guard(load_bytes(ramp_file(2, 2))), 0) << "the load gives its handle back";
}

TEST(status_callback, may_save_to_memory_and_ask_for_the_size)
{
    const image_guard small(make_image(1, 1, 24)), large(make_image(9, 9, 8));
    byte_vector inner(100), out(5000);
    bool inside = false;
    const status_client status([&](int32_t) {
        if (std::exchange(inside, true)) return 0;
        IMG_save_bitmap_mem(small, inner.data(), 1);
        EXPECT_EQ(get_save_filesize(), 58);
        return 0;
    });
    EXPECT_EQ(IMGX_save_bitmap_mem(large, out.data(), 5000, 1), 54 + 1024 + 9 * 12);
    EXPECT_EQ(get_save_filesize(), 54 + 1024 + 9 * 12);
    EXPECT_TRUE(inside);
}

TEST(create_handle, takes_packed_dibs_of_either_row_order)
{
    picture dib = random_picture(3, 2, 24);
    const image_guard up(dib.create());
    dib.header()->biHeight = -2;
    const image_guard down(dib.create());
    for (int32_t x = 0; x < 3; ++x)
        for (const int32_t y : {0, 1})
            EXPECT_EQ(copy_image(up).pixel(x, y), copy_image(down).pixel(x, 1 - y));
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

TEST(crop_bitmap, takes_exactly_the_pixels_of_the_rectangle)
{
    for (const int32_t bits : {1, 4, 8, 24})
        for (const int32_t x : {0, 1, 5, 7, 8, 13})
            for (const int32_t width : {1, 2, 7, 8, 9, 20}) {
                SCOPED_TRACE(testing::Message() << bits << " bits, x " << x << ", width " << width);
                const image_guard image(make_image(33, 9, bits));
                const picture from = copy_image(image);
                ASSERT_EQ(IMGX_crop_bitmap(image, x, 2, width, 5), 0);
                const picture to = copy_image(image);
                ASSERT_EQ(to.width, width);
                ASSERT_EQ(to.height, 5);
                // With zeros behind its rows.
                const picture cut = each_pixel(width, 5, bits, {}, [&](int32_t column, int32_t y) {
                    return from.pixel(x + column, y + 2);
                });
                EXPECT_TRUE(std::ranges::equal(to.rows(), cut.rows()));
            }
}

TEST(crop_bitmap, refuses_what_does_not_lie_inside)
{
    const image_guard image(make_image(33, 9, 1));
    const int32_t rows[][4] = {
        {0, 0, 0, 9},   {-1, 0, 3, 3}, {0, -1, 3, 3},
        {1, 0, 33, 9},  {0, 1, 33, 9}, {5, 5, INT32_MAX, INT32_MAX},
        {3, 3, -1, -1},
    };
    for (const auto& [x, y, width, height] : rows)
        EXPECT_EQ(IMGX_crop_bitmap(image, x, y, width, height), -1) << x << ", " << y;
    EXPECT_EQ(IMGX_crop_bitmap(image, 0, 0, 33, 9), 0);
}

TEST(save, crop_is_cut_to_the_image_and_counts_from_the_bottom_in_memory)
{
    const image_guard image(load_bytes(ramp_file(12, 10)));
    const int32_t big = INT32_MAX;
    const struct {
        int32_t x, y, width, height, cut_width, cut_height;
        uint32_t in_file, in_memory; // the first pixel: ten times its row, and its column
    } rows[] = {
        {2, 3, 4, 5, 4, 5, 32, 22},
        {8, 8, 100, 100, 4, 2, 88, 8},
        {-3, -2, 5, 4, 2, 2, 0, 80},
        {0, 0, big, big, 12, 10, 0, 0},
        {INT32_MIN, INT32_MIN, big, big, 0, 0, 0, 0},
        {12, 0, 1, 1, 0, 0, 0, 0},
        {0, 0, 0, 5, 0, 0, 0, 0},
        {3, 3, -1, 5, 0, 0, 0, 0},
        {big, big, big, big, 0, 0, 0, 0},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << r.x << ", " << r.y);
        IMG_set_croprect(image, r.x, r.y, r.width, r.height);
        const temp_file file(".bmp");
        EXPECT_EQ(IMG_save_bitmap(image, file.name(), -1), r.cut_width == 0 ? -1 : 0);
        if (r.cut_width == 0) continue;
        const picture top = picture_of(file.bytes());
        EXPECT_EQ(top.width, r.cut_width);
        EXPECT_EQ(top.height, r.cut_height);
        EXPECT_EQ(top.pixel(0, 0), r.in_file);
        byte_vector memory(5000);
        EXPECT_EQ(IMG_save_bitmap_mem(image, memory.data(), 1), 0);
        memory.resize(get_save_filesize());
        EXPECT_EQ(picture_of(memory).pixel(0, 0), r.in_memory);
    }
    picture dib(32, 1, 1); // columns round up to bytes
    dib.row(0)[1] = dib.row(0)[3] = 0xFF;
    const image_guard bits(dib.create());
    IMG_set_croprect(bits, 1, 0, 9, 1);
    const picture cropped = picture_of(save_bytes(bits, 1));
    EXPECT_EQ(cropped.pixel(0, 0), 1u); // column 8
    EXPECT_EQ(cropped.pixel(8, 0), 0u); // column 16
}

TEST(save, type_follows_the_last_three_letters)
{
    const image_guard image(make_image());
    const std::pair<const char*, int32_t> rows[] = {
        {".bmp", 0}, {".BMP", 0}, {"xBmP", 0}, {".xyz", -7}, {".b", -7}};
    for (const auto& [extension, result] : rows) {
        const temp_file file(extension);
        write_file(file.name(), {1, 2, 3});
        EXPECT_EQ(IMG_save_bitmap(image, file.name(), -1), result) << extension;
        EXPECT_EQ(file.bytes().empty(), result != 0) << "an unknown type leaves an empty file";
    }
    for (const int32_t type : {-2, 18, 99, INT32_MAX}) {
        byte_vector out(100);
        EXPECT_EQ(IMGX_save_bitmap_mem(image, out.data(), 100, type), -7) << type;
    }
}

TEST(save, memory_that_is_too_small_is_full)
{
    const image_guard image(make_image(20, 20));
    const auto size = static_cast<uint32_t>(save_bytes(image, 1).size());
    for (const uint32_t capacity : {0u, 1u, 54u, size / 2, size - 1, size}) {
        byte_vector out(capacity + 8, 0xCC);
        EXPECT_EQ(IMGX_save_bitmap_mem(image, out.data(), capacity, 1),
                  capacity == size ? static_cast<int32_t>(size) : -9);
        EXPECT_EQ(byte_vector(out.end() - 8, out.end()), byte_vector(8, 0xCC));
    }
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
    picture dib(7, 4, 8);
    byte_vector out(3000);
    const auto save = [&](IMG_PRIVATE stop_at) {
        return IMGLOW_save_bitmap_mem(out.data(), dib.header(), 1, grey_rows, stop_at);
    };
    EXPECT_EQ(save(-1), 0);
    EXPECT_EQ(picture_of(out).pixel(3, 2), 2u);
    EXPECT_EQ(save(2), -31);
    const temp_file file(".bmp");
    {
        const open_file opened(file.name(), OF_CREATE);
        EXPECT_EQ(IMGLOW_save_bitmap(opened.handle(), dib.header(), 1, grey_rows, -1), 0);
    }
    const byte_vector bytes = file.bytes();
    const image_guard image(IMG_decompress_bitmap_mem(bytes.data(), 0));
    EXPECT_TRUE(copy_image(image) == picture_of(out));
    dib.header()->biBitCount = 16;
    EXPECT_EQ(save(-1), -7);
    dib.header()->biBitCount = 8;
    dib.header()->biHeight = -4;
    EXPECT_EQ(save(-1), -1);
}

TEST(save, a_callback_that_reuses_its_header_changes_nothing)
{
    for (int32_t type : {0, 1, 2, 3, 4, 5, 6, 9, 11, 12, 13, 14, 15}) {
        picture dib(7, 4, 8);
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
    for (const int bits : {8, 24}) {
        picture dib(3, 1, bits);
        const uint32_t levels[] = {0, 64, 255};
        for (int x = 0; x < 3; ++x)
            dib.set_pixel(x, 0, bits == 8 ? levels[x] : levels[x] * 0x010101);
        const image_guard image(dib.create());
        // 255 sqrt(64 / 255) = 127.7; dot gain belongs to the printer and is left out.
        EXPECT_EQ(IMGX_set_print_tone(image, 100, 200, 5), 0);
        const temp_file file(".bmp");
        EXPECT_EQ(IMG_save_bitmap(image, file.name(), 1), 0);
        EXPECT_EQ(colors_of(picture_of(file.bytes())),
                  (std::vector<uint32_t>{0x0A0A0A, 0x8A8A8A, 0xFFFFFF}));
        EXPECT_EQ(copy_image(image).color(1, 0), 0x404040u);
        for (const int32_t extreme : {INT32_MIN, INT32_MAX}) {
            IMGX_set_print_tone(image, extreme, extreme, extreme);
            EXPECT_EQ(IMG_save_bitmap(image, file.name(), 1), 0);
        }
    }
}
