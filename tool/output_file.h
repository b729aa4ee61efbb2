// output_file.h - a file that appears only when it is complete.
#pragma once

#include "core/image.h"

#include <string>

/// Pages are written to a temporary file beside the final one; commit puts it in its place.
/// Whatever ends earlier, also by Ctrl-C, leaves an existing file as it was.
class output_file {
public:
    enum class start { empty, copy_of_existing };

    output_file(std::string name, const IMGX_TYPE_INFO& type, start from);
    ~output_file();
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;

    const std::string& name() const { return name_; }
    /// Saves an image: the first one into the empty file, any other as a further page.
    void add(int32_t handle);
    void commit();

private:
    void begin(bool with_pages_of_existing) const;
    void discard();

    std::string name_;
    std::string final_name_; // what name_ leads to when it is a link
    std::string temporary_name_;
    IMGX_TYPE_INFO type_;
    bool unfinished_ = false;
};
