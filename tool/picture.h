// picture.h - pictures in memory and the files that they come from.
#pragma once

#include "core/image.h"

#include <string>
#include <utility>

/// Owner of one image handle.
class picture {
public:
    explicit picture(int32_t handle) : handle_(handle) {}
    picture(picture&& other) noexcept : handle_(std::exchange(other.handle_, none)) {}
    picture& operator=(picture&& other) noexcept
    {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~picture()
    {
        if (handle_ != none) IMG_delete_bitmap(handle_);
    }
    int32_t handle() const { return handle_; }
    int32_t width() const;
    int32_t height() const;
    int32_t bits() const;

private:
    static constexpr int32_t none = -1;
    int32_t handle_;
};

/// The texts that a save writes into files that have room for them.
struct file_texts {
    std::string name;
    std::string date;
};
file_texts current_texts();
void set_texts(const file_texts& texts);

/// A file that pictures are read from. Pages are counted from 1, as users do.
class source_file {
public:
    /// Throws a failure when the file cannot be opened.
    source_file(std::string name, int32_t offset);
    ~source_file() { close(); }
    source_file(const source_file&) = delete;
    source_file& operator=(const source_file&) = delete;

    const std::string& name() const { return name_; }
    int32_t pages();
    /// Throws a failure for a page behind the last; formats without pages take any number.
    void require_page(int32_t page);
    IMGX_PAGE_INFO page_info(int32_t page);
    /// Loads a page; the texts become those of the page, or the library's own.
    picture load(int32_t page);
    /// Streams a page to callbacks; the library's result, negative ones too.
    int32_t stream(int32_t page, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                   IMG_SET_HEADER set_header);
    /// Raw fax data from the offset on.
    picture load_fax(int32_t width, int32_t height, int32_t code, int32_t fill_order);
    void close();

private:
    std::string name_;
    int32_t offset_;
    HFILE file_;
};
