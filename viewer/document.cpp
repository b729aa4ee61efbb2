// document.cpp - the picture that is open: its file, page and image handle.

#include "viewer/document.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int32_t bmp_file_header_bytes = 14;

// A file as the library's calls take it. The calls that take names end at 127 characters,
// as the system's OpenFile does.
class open_file {
public:
    explicit open_file(HFILE handle) : handle_(handle) {}
    ~open_file() { close(); }
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;

    explicit operator bool() const { return handle_ != HFILE_ERROR; }
    HFILE get() const { return handle_; }
    /// False when the system only now tells that the disk was full.
    bool close()
    {
        const bool closed = handle_ == HFILE_ERROR || _lclose(handle_) == 0;
        handle_ = HFILE_ERROR;
        return closed;
    }

private:
    HFILE handle_;
};

// Saves the crop rectangle into a block as a bitmap file and takes the file's header away.
// The bytes that are left, or 0 when it failed.
size_t save_packed(int32_t handle, HGLOBAL block)
{
    auto* file = static_cast<uint8_t*>(GlobalLock(block));
    if (!file) return 0;
    const int32_t saved =
        IMGX_save_bitmap_mem(handle, file, static_cast<uint32_t>(GlobalSize(block)), 1);
    const size_t bytes = static_cast<size_t>(std::max(saved, bmp_file_header_bytes)) -
                         static_cast<size_t>(bmp_file_header_bytes);
    std::memmove(file, file + bmp_file_header_bytes, bytes);
    GlobalUnlock(block);
    return bytes;
}

} // namespace

std::string file_name_of(const std::string& path)
{
    return path.substr(path.find_last_of("\\/") + 1);
}

temporary_file::temporary_file(const std::string& directory)
{
    char name[MAX_PATH] = "";
    GetTempFileNameA(directory.empty() ? "." : directory.c_str(), "tre", 0, name);
    name_ = name;
    // Types that hold pages would add to the file that is there now.
    can_be_written_ = DeleteFileA(name) != FALSE;
}

temporary_file::~temporary_file()
{
    DeleteFileA(name());
}

replacement_file::replacement_file(const std::string& path)
    : path_(path), written_(path.substr(0, path.size() - file_name_of(path).size()))
{
}

int32_t replacement_file::put_in_place() const
{
    return MoveFileExA(name(), path_.c_str(), MOVEFILE_REPLACE_EXISTING) ? 0 : int32_t{code_create};
}

std::vector<save_type> save_types()
{
    std::vector<save_type> types;
    IMGX_TYPE_INFO info;
    for (int32_t i = 0; IMGX_get_type_info(i, &info) == 0; ++i) {
        if (info.writes == 0) continue;
        std::string extension = info.extensions;
        extension.resize(std::min(extension.find(' '), extension.size()));
        types.push_back({info.code, info.description, extension, info.write_depths,
                         info.multi_page != 0, info.multi_page == 1});
    }
    return types;
}

void document::read_size()
{
    IMG_bitmap_info(handle_, &width_, &height_, &bits_);
}

void document::show_all()
{
    IMG_set_croprect(handle_, 0, 0, width_, height_);
}

void document::take(int32_t handle, const std::string& path, int32_t page, int32_t page_count)
{
    if (handle_ >= 0) IMG_delete_bitmap(handle_);
    handle_ = handle;
    path_ = path;
    page_ = page;
    page_count_ = page_count;
    modified_ = false;
    read_size();
    set_print_settings(settings_);
}

int32_t document::open(const std::string& path, int32_t page)
{
    const open_file file(_lopen(path.c_str(), OF_READ));
    if (!file) return code_open;
    const int32_t handle = IMG_decompress_bitmap_fd(file.get(), 0, page);
    if (handle < 0) return handle;
    _llseek(file.get(), 0, FILE_BEGIN);
    const int32_t pages = IMGX_get_pages_fd(file.get());
    take(handle, path, page, pages > 0 ? pages : 1);
    has_file_ = true;
    return 0;
}

int32_t document::adopt(int32_t handle, const std::string& title)
{
    if (handle < 0) return handle;
    take(handle, title, 0, 1);
    modified_ = true;
    has_file_ = false;
    return 0;
}

void document::close()
{
    if (handle_ >= 0) IMG_delete_bitmap(handle_);
    handle_ = -1;
    path_.clear();
    page_count_ = 0;
    modified_ = false;
}

int32_t document::save(const std::string& path, const save_type& type)
{
    const replacement_file file(path);
    int32_t result = add_to(file.name(), type);
    if (result >= 0) result = file.put_in_place();
    if (result < 0) return result;
    path_ = path;
    page_ = 0;
    page_count_ = 1;
    has_file_ = true;
    modified_ = false;
    return 0;
}

int32_t document::add_to(const std::string& path, const save_type& type)
{
    if (!is_open()) return code_handle;
    const HFILE existing = _lopen(path.c_str(), OF_READWRITE);
    open_file file(existing != HFILE_ERROR ? existing : _lcreat(path.c_str(), 0));
    if (!file) return code_create;
    show_all();
    const int32_t result = IMG_save_bitmap_fd(handle_, file.get(), type.code);
    return file.close() ? std::min(result, 0) : std::min<int32_t>(result, code_write);
}

HGLOBAL document::packed_dib()
{
    if (!is_open()) return nullptr;
    show_all();
    const size_t stride = (static_cast<size_t>(width_) * static_cast<size_t>(bits_) + 31) / 32 * 4;
    // In one block: a large picture finds no room for a copy beside it.
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, 2048 + stride * static_cast<size_t>(height_));
    if (!block) return nullptr;
    const size_t bytes = save_packed(handle_, block);
    HGLOBAL fitted = bytes ? GlobalReAlloc(block, bytes, GMEM_MOVEABLE) : nullptr;
    if (!fitted) GlobalFree(block);
    return fitted;
}

void document::set_print_settings(const print_settings& settings)
{
    settings_ = settings;
    if (!is_open()) return;
    IMGX_set_print_tone(handle_, settings.dot_gain, settings.gamma, settings.brightness);
    IMGX_set_print_dither(handle_, settings.dither);
}
