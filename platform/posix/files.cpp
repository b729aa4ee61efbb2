// files.cpp - the file calls. An HFILE is a file descriptor.

#include "platform/posix/fault_state.h"
#include "platform/posix/win32_subset.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Windows opens no directory with OpenFile; here open(2) would.
bool is_directory(int file)
{
    struct stat status {};
    return fstat(file, &status) == 0 && S_ISDIR(status.st_mode);
}

int open_retrying(const char* name, int flags)
{
    int file;
    do
        file = open(name, flags | O_CLOEXEC, 0666);
    while (file < 0 && errno == EINTR);
    return file;
}

int open_flags(UINT mode)
{
    if (mode & OF_CREATE) return O_RDWR | O_CREAT | O_TRUNC;
    if (mode & OF_READWRITE) return O_RDWR;
    return mode & OF_WRITE ? O_WRONLY : O_RDONLY;
}

} // namespace

HFILE OpenFile(LPCSTR name, OFSTRUCT* reopen, UINT mode)
{
    reopen->cBytes = sizeof(OFSTRUCT);
    std::snprintf(reopen->szPathName, sizeof reopen->szPathName, "%s", name);
    const int file = open_retrying(name, open_flags(mode));
    if (file < 0) return HFILE_ERROR;
    if (is_directory(file)) {
        close(file);
        return HFILE_ERROR;
    }
    // OF_EXIST only asks: the file is opened and closed again, and the handle tells that it
    // is there.
    if (mode & OF_EXIST) close(file);
    return file;
}

UINT _lread(HFILE file, void* buffer, UINT count)
{
    switch (fault_state().next_read()) {
    case fault_counter::transfer::failed: return static_cast<UINT>(HFILE_ERROR);
    case fault_counter::transfer::cut: count = 0; break;
    case fault_counter::transfer::whole: break;
    }
    UINT total = 0;
    while (total < count) {
        const ssize_t got = read(file, static_cast<char*>(buffer) + total, count - total);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && total == 0) return static_cast<UINT>(HFILE_ERROR);
        if (got <= 0) break;
        total += static_cast<UINT>(got);
    }
    return total;
}

UINT _lwrite(HFILE file, const char* buffer, UINT count)
{
    switch (fault_state().next_write()) {
    case fault_counter::transfer::failed: return static_cast<UINT>(HFILE_ERROR);
    case fault_counter::transfer::cut: count /= 2; break;
    case fault_counter::transfer::whole: break;
    }
    UINT total = 0;
    while (total < count) {
        const ssize_t put = write(file, buffer + total, count - total);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0 && total == 0) return static_cast<UINT>(HFILE_ERROR);
        if (put <= 0) break;
        total += static_cast<UINT>(put);
    }
    return total;
}

LONG _llseek(HFILE file, LONG offset, int origin)
{
    static constexpr int origins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (origin < 0 || origin > 2) return HFILE_ERROR;
    const off_t position = lseek(file, offset, origins[origin]);
    if (position > INT32_MAX) return HFILE_ERROR;
    return static_cast<LONG>(position);
}

HFILE _lclose(HFILE file)
{
    return close(file) == 0 ? 0 : HFILE_ERROR;
}
