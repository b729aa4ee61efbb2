// codec.h - what every format's test does: load bytes, save to bytes, cut a file everywhere.
#pragma once

#include "tests/support/images.h"

/// Bytes of numbers in either order, for builders.
inline void add_le(byte_vector& to, uint64_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        to.push_back(i < 8 ? static_cast<uint8_t>(value >> 8 * i) : uint8_t{0});
}
inline void add_be(byte_vector& to, uint64_t value, int bytes)
{
    for (int i = bytes; i-- > 0;)
        to.push_back(i < 8 ? static_cast<uint8_t>(value >> 8 * i) : uint8_t{0});
}
inline void add_le(byte_vector& to, std::initializer_list<int64_t> list, int bytes)
{
    for (const int64_t value : list)
        add_le(to, static_cast<uint64_t>(value), bytes);
}
inline void add_be(byte_vector& to, std::initializer_list<int64_t> list, int bytes)
{
    for (const int64_t value : list)
        add_be(to, static_cast<uint64_t>(value), bytes);
}
inline void add_bytes(byte_vector& to, const byte_vector& more)
{
    to.insert(to.end(), more.begin(), more.end());
}

inline int32_t load_bytes(const byte_vector& file, int32_t page = 0)
{
    return IMGX_decompress_bitmap_mem(file.data(), static_cast<uint32_t>(file.size()), page);
}

/// The picture in the bytes, nothing left behind; width 0 when it cannot be read.
inline picture picture_of(const byte_vector& file, int32_t page = 0)
{
    const int32_t handle = load_bytes(file, page);
    EXPECT_GE(handle, 0);
    if (handle < 0) return {};
    const image_guard image(handle);
    return copy_image(image);
}

inline byte_vector save_bytes(int32_t handle, int32_t type)
{
    byte_vector file(size_t{1} << 22);
    const int32_t size = IMGX_save_bitmap_mem(handle, file.data(), 1 << 22, type);
    EXPECT_GE(size, 0);
    file.resize(static_cast<size_t>(std::max(size, 0)));
    return file;
}

/// One mode up to the end of a block; tests begin and end in classic mode.
class mode_scope {
public:
    explicit mode_scope(int interchange = 1) { IMGX_set_interchange(interchange); }
    ~mode_scope() { IMGX_set_interchange(0); }
};

/// The code of a load that fails.
inline int32_t load_code(const byte_vector& file, int32_t page = 0)
{
    const int32_t handle = load_bytes(file, page);
    if (handle < 0) return handle;
    IMG_delete_bitmap(handle);
    return 0;
}

inline values colors_in(const byte_vector& file, int32_t page = 0)
{
    return colors_of(picture_of(file, page));
}
inline values values_in(const byte_vector& file, int32_t page = 0)
{
    return values_of(picture_of(file, page));
}

/// Loads the file cut at every byte: a documented code, or a picture of the right size with 0 for
/// every bit that is not there.
inline void expect_cuts_are_survived(const byte_vector& file, int32_t other_code = 0)
{
    const picture whole = picture_of(file);
    for (size_t size = 1; size < file.size(); ++size) {
        SCOPED_TRACE(testing::Message() << "cut at " << size);
        const byte_vector cut(file.begin(), file.begin() + static_cast<ptrdiff_t>(size));
        const int32_t code = load_code(cut);
        ASSERT_TRUE(code == 0 || code == -3 || code == -7 || code == -12 || code == other_code)
            << code;
        if (code < 0) continue;
        const picture part = picture_of(cut);
        ASSERT_EQ(part.width, whole.width);
        ASSERT_EQ(part.height, whole.height);
        for (int32_t y = 0; y < whole.height; ++y)
            for (int32_t x = 0; x < whole.width; ++x)
                ASSERT_EQ(part.pixel(x, y) & ~whole.pixel(x, y), 0u) << x << ", " << y;
    }
}
