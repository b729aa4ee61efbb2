// open_file.h - a file opened for reading as clients do, closed at the end of its scope.
#pragma once

#include "platform/win32.h"

class open_file {
public:
    explicit open_file(const char* name, UINT mode = OF_READ)
    {
        OFSTRUCT opened;
        handle_ = OpenFile(name, &opened, mode);
    }
    ~open_file()
    {
        if (handle_ != HFILE_ERROR) _lclose(handle_);
    }
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;

    HFILE handle() const { return handle_; }
    void seek(LONG position) const { _llseek(handle_, position, FILE_BEGIN); }

private:
    HFILE handle_;
};
