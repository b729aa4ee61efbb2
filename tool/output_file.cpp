// output_file.cpp - a file that appears only when it is complete.

#include "tool/output_file.h"

#include "platform/host.h"
#include "tool/failure.h"
#include "tool/names.h"
#include "tool/progress.h"

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

// A link's target is replaced, not the link.
std::string final_target(const std::string& name)
{
    std::error_code error;
    if (!fs::is_symlink(to_path(name), error)) return name;
    const fs::path target = fs::canonical(to_path(name), error);
    return error ? name : to_text(target);
}

std::string temporary_beside(const std::string& name)
{
    const fs::path path = to_path(name);
    // Names end at 255 bytes or characters: of a long one a part does, cut between letters.
    std::string part = to_text(path.filename());
    constexpr size_t longest = 200;
    size_t end = std::min(part.size(), longest);
    while (end > 0 && end < part.size() && (part[end] & 0xC0) == 0x80)
        --end;
    part.resize(end);
    const std::string own = "." + part + "." + std::to_string(host_process_id()) + ".tmp";
    return to_text(path.parent_path() / to_path(own));
}

// A writer of pages adds none to such a file: it writes over those that are there.
bool is_big_endian_tiff(const std::string& name)
{
    char start[2] = {};
    std::ifstream(to_path(name), std::ios::binary).read(start, sizeof start);
    return start[0] == 'M' && start[1] == 'M';
}

} // namespace

output_file::output_file(std::string name, const IMGX_TYPE_INFO& type, start from)
    : name_(std::move(name)), final_name_(final_target(name_)),
      temporary_name_(temporary_beside(final_name_)), type_(type)
{
    std::error_code error;
    const fs::file_status existing = fs::status(to_path(final_name_), error);
    if (fs::exists(existing) && !fs::is_regular_file(existing))
        throw failure{name_, "creating (it is not a plain file)", code_create};
    unfinished_ = true;
    host_guard_file(temporary_name_);
    try {
        begin(from == start::copy_of_existing && fs::exists(existing));
    } catch (...) {
        discard(); // there is no object yet whose destructor would do it
        throw;
    }
}

void output_file::begin(bool with_pages_of_existing) const
{
    if (!with_pages_of_existing) {
        const HFILE file = host_create_new(temporary_name_);
        if (file == HFILE_ERROR) throw failure{name_, "creating", code_create};
        host_close(file);
        return;
    }
    const HFILE present = host_open_reading(final_name_);
    if (present == HFILE_ERROR) throw failure{name_, "adding a page", code_open};
    IMGX_PAGE_INFO info;
    const int32_t result = IMGX_get_page_info(present, 0, 0, &info);
    host_close(present);
    require(result, name_, "adding a page");
    if (std::string(info.extensions) != type_.extensions)
        throw failure{name_, std::string("adding a page of ") + type_.description,
                      code_unsupported};
    if (is_big_endian_tiff(final_name_))
        throw failure{name_, "adding a page to a big-endian TIFF", code_unsupported};
    std::error_code error;
    fs::copy_file(to_path(final_name_), to_path(temporary_name_), error);
    if (error) throw failure{name_, "copying", code_write};
}

output_file::~output_file()
{
    discard();
}

void output_file::add(int32_t handle)
{
    progress_phase("writing");
    const HFILE file = host_open_updating(temporary_name_);
    if (file == HFILE_ERROR) throw failure{name_, "writing", code_create};
    int32_t result = IMG_save_bitmap_fd(handle, file, type_.code);
    // Some file systems tell only now that the disk was full.
    if (!host_close(file) && result >= 0) result = code_write;
    require(result, name_, std::string("writing ") + type_.description);
}

void output_file::commit()
{
    throw_if_cancelled(name_, "writing");
    std::error_code error;
    const fs::path target = to_path(final_name_);
    const fs::file_status existing = fs::status(target, error);
    if (fs::exists(existing))
        fs::permissions(to_path(temporary_name_), existing.permissions(), error);
    fs::rename(to_path(temporary_name_), target, error);
    if (error) throw failure{name_, "replacing", code_create};
    unfinished_ = false;
    host_guard_file({});
}

void output_file::discard()
{
    if (!unfinished_) return;
    unfinished_ = false;
    std::error_code ignored;
    fs::remove(to_path(temporary_name_), ignored);
    host_guard_file({});
}
