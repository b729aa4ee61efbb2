// picture.cpp - pictures in memory and the files that they come from.

#include "tool/picture.h"

#include "platform/host.h"
#include "tool/failure.h"
#include "tool/progress.h"

namespace {

struct measures {
    int32_t width = 0, height = 0, bits = 0;
};

measures measure(int32_t handle)
{
    measures m;
    IMG_bitmap_info(handle, &m.width, &m.height, &m.bits);
    return m;
}

const file_texts& default_texts()
{
    static const file_texts texts = current_texts();
    return texts;
}

std::string reading_page(int32_t page)
{
    return "reading page " + std::to_string(page);
}

} // namespace

int32_t picture::width() const
{
    return measure(handle_).width;
}

int32_t picture::height() const
{
    return measure(handle_).height;
}

int32_t picture::bits() const
{
    return measure(handle_).bits;
}

file_texts current_texts()
{
    char name[200];
    char date[40];
    IMGLOW_get_bitmap_name(name, date);
    return {name, date};
}

void set_texts(const file_texts& texts)
{
    IMGLOW_set_bitmap_name(texts.name.c_str(), texts.date.c_str());
}

source_file::source_file(std::string name, int32_t offset)
    : name_(std::move(name)), offset_(offset), file_(host_open_reading(name_))
{
    default_texts(); // taken before the first page can replace them
    if (file_ == HFILE_ERROR) throw failure{name_, "opening", code_open};
}

int32_t source_file::pages()
{
    host_seek(file_, offset_);
    return require(IMGX_get_pages_fd(file_), name_, "counting pages");
}

void source_file::require_page(int32_t page)
{
    if (page > 1 && page > pages()) throw failure{name_, reading_page(page), code_page};
}

IMGX_PAGE_INFO source_file::page_info(int32_t page)
{
    IMGX_PAGE_INFO info;
    require(IMGX_get_page_info(file_, offset_, page - 1, &info), name_, reading_page(page));
    return info;
}

picture source_file::load(int32_t page)
{
    set_texts(default_texts());
    progress_phase("reading");
    return picture(
        require(IMG_decompress_bitmap_fd(file_, offset_, page - 1), name_, reading_page(page)));
}

int32_t source_file::stream(int32_t page, IMG_PUT_RASTER put_raster, IMG_PRIVATE private_data,
                            IMG_SET_HEADER set_header)
{
    return IMGLOW_decompress_bitmap(file_, offset_, page - 1, put_raster, private_data, set_header);
}

picture source_file::load_fax(int32_t width, int32_t height, int32_t code, int32_t fill_order)
{
    set_texts(default_texts());
    progress_phase("reading");
    host_seek(file_, offset_);
    return picture(require(IMG_decompress_fax(file_, width, height, code, fill_order), name_,
                           "decoding fax data"));
}

void source_file::close()
{
    if (file_ != HFILE_ERROR) host_close(file_);
    file_ = HFILE_ERROR;
}
