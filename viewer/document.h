// document.h - the picture that is open: its file, page and image handle.
#pragma once

#include "core/image.h"

#include <string>
#include <vector>

/// The library's codes that the viewer gives itself.
enum result_code : int32_t {
    code_memory = -1,
    code_open = -2,
    code_create = -6,
    code_unsupported = -7,
    code_write = -9,
    code_handle = -13,
    code_clipboard = -14,
    code_scan_cancelled = -18,
};

/// The name without its directory.
std::string file_name_of(const std::string& path);

/// A name that no file of a directory has; what is put there is removed at the end.
class temporary_file {
public:
    explicit temporary_file(const std::string& directory);
    ~temporary_file();
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;
    const char* name() const { return name_.c_str(); }
    /// False where the directory cannot be written.
    bool can_be_written() const { return can_be_written_; }

private:
    std::string name_;
    bool can_be_written_;
};

/// A file that is written under a name beside its own, so that what lies there is replaced
/// only by a whole one.
class replacement_file {
public:
    explicit replacement_file(const std::string& path);
    /// The name to write.
    const char* name() const { return written_.name(); }
    bool can_be_written() const { return written_.can_be_written(); }
    /// Gives it its own name.  0 or code_create.
    int32_t put_in_place() const;

private:
    std::string path_;
    temporary_file written_;
};

/// One row of the library's table of file types that can be written.
struct save_type {
    int32_t code;
    std::string description;
    std::string extension; // the usual one
    int32_t write_depths;  // sum of depths
    bool multi_page;
    bool scans_into_one_file; // with IMG_scan_pages; else each page gets a file
};

/// The types that pictures can be saved as.
std::vector<save_type> save_types();

/// Tone for printing and saving, kept over pages.
struct print_settings {
    int32_t gamma = 0, brightness = 0, dot_gain = 0, dither = 0;
};

class document {
public:
    document() = default;
    ~document() { close(); }
    document(const document&) = delete;
    document& operator=(const document&) = delete;

    bool is_open() const { return handle_ >= 0; }
    int32_t handle() const { return handle_; }
    int32_t page() const { return page_; }
    int32_t page_count() const { return page_count_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    int32_t bits() const { return bits_; }
    const std::string& path() const { return path_; }
    bool modified() const { return modified_; }
    /// False for what came from the clipboard or a scanner: nothing to go back to.
    bool has_file() const { return has_file_; }
    const print_settings& settings() const { return settings_; }

    /// All return 0, or the library's code; on failure what was open stays open.
    int32_t open(const std::string& path, int32_t page = 0);
    /// Takes over a handle that came from elsewhere, such as a scanner.
    int32_t adopt(int32_t handle, const std::string& title);
    void close();

    /// Runs an operation on the handle and shows the whole picture again.
    template <class Operation> int32_t change(Operation operation)
    {
        if (!is_open()) return code_handle;
        show_all();
        const int32_t result = operation(handle_);
        if (result >= 0) modified_ = true;
        read_size();
        show_all();
        return result;
    }

    /// Saves the whole picture under a name, which is that of the document from then on.
    int32_t save(const std::string& path, const save_type& type);
    /// Adds the whole picture to a file as a page, or makes the file.
    int32_t add_to(const std::string& path, const save_type& type);

    /// The picture as a packed DIB in a movable block for the clipboard; 0 on failure.
    HGLOBAL packed_dib();

    void set_print_settings(const print_settings& settings);

    /// Makes the crop rectangle the whole picture.
    void show_all();

private:
    void read_size();
    void take(int32_t handle, const std::string& path, int32_t page, int32_t page_count);

    int32_t handle_ = -1;
    std::string path_;
    int32_t page_ = 0, page_count_ = 0;
    int32_t width_ = 0, height_ = 0, bits_ = 0;
    bool modified_ = false;
    bool has_file_ = false;
    print_settings settings_;
};
