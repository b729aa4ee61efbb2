// scan.cpp - the exported acquisition calls: choose a source, scan one page, scan pages into
// files. Each opens and closes the source manager itself and runs the window messages while
// the source is at work.

#include "core/format_table.h"
#include "scan/twain_session.h"

#include <cstdio>

namespace {

twain_session session;

// One acquisition runs at a time; a message that it dispatches may ask for another.
bool busy = false;

struct busy_scope {
    busy_scope() { busy = true; }
    ~busy_scope()
    {
        session.TWTerminate();
        busy = false;
    }
};

// More page files than that cannot be numbered.
constexpr int32_t max_pages = 100'000'000;
constexpr size_t path_bytes = 1024;

struct page_target {
    const char* prefix;
    int32_t type;

    bool one_file() const
    {
        const file_type* row = find_file_type(type);
        return row && row->opens == open_mode::append;
    }
};

// A source may count pending pages down slowly or not at all; it is asked no more often
// than it can have pages, then told to drop them.
void drop_pending()
{
    for (int32_t i = 0; i <= UINT16_MAX; ++i)
        if (session.end_transfer() == 0) return;
    session.reset_transfers();
}

int32_t TWTransferImage()
{
    const int32_t result = session.GetCompleteImage();
    drop_pending();
    session.TWTerminate();
    return result;
}

// Name of page number page; false where it does not fit. The file of an earlier run goes
// first, for types that would otherwise add to it.
bool page_name(const page_target& target, int32_t page, char (&name)[path_bytes])
{
    const int length = target.one_file() ? std::snprintf(name, path_bytes, "%s", target.prefix)
                       : target.prefix
                           ? std::snprintf(name, path_bytes, "%s%08d.img", target.prefix, int{page})
                           : std::snprintf(name, path_bytes, "%08d.img", int{page});
    if (length < 0 || static_cast<size_t>(length) >= path_bytes) return false;
    OFSTRUCT opened;
    if (!target.one_file() && OpenFile(name, &opened, OF_EXIST) != HFILE_ERROR)
        OpenFile(name, &opened, OF_DELETE);
    return true;
}

// Saves and deletes a scanned page.  0 or more, or the code.
int32_t save_page(int32_t handle, const page_target& target, int32_t page)
{
    char name[path_bytes];
    const int32_t result = page_name(target, page, name)
                               ? IMG_save_bitmap(handle, name, target.type)
                               : int32_t{err_create};
    IMG_delete_bitmap(handle);
    return result;
}

// The last page's handle, which is deleted already, or what went wrong with it.
int32_t transfer_pages(const page_target& target)
{
    if (!session.describes_image()) {
        session.reset_transfers();
        return err_scan_cancelled;
    }
    for (int32_t page = 0; page < max_pages; ++page) {
        const int32_t handle = session.GetCompleteImage();
        const int32_t saved = handle < 0 ? int32_t{err_scan_open} : save_page(handle, target, page);
        const uint16_t pending = session.end_transfer();
        if (saved < 0 && pending != 0) session.reset_transfers();
        if (handle < 0) return handle;
        if (saved < 0) return saved;
        if (pending == 0) return handle;
    }
    session.reset_transfers();
    return err_create;
}

int32_t TWTransferPages(const page_target& target)
{
    const int32_t result = transfer_pages(target);
    session.TWTerminate();
    return result;
}

// Runs the message loop until the source has delivered, given up or gone.
template <class Transfer> int32_t run_source(Transfer transfer)
{
    int32_t result = err_scan_cancelled;
    MSG message;
    while (session.manager_open()) {
        const BOOL got = GetMessageA(&message, nullptr, 0, 0);
        if (got <= 0) {
            session.TWTerminate();
            // The program is to end: its own loop must learn that too.
            if (got == 0) PostQuitMessage(static_cast<int>(message.wParam));
            return result;
        }
        const twain_session::event_result event = session.process_event(message);
        if (event.not_for_source) {
            TranslateMessage(&message);
            DispatchMessageA(&message);
        }
        if (event.source_message == twain::message_transfer_ready)
            result = transfer();
        else if (event.source_message == twain::message_close_request || event.source_gone)
            session.TWTerminate();
    }
    return result;
}

template <class Transfer> int32_t acquire(HWND parent, int32_t show_ui, Transfer transfer)
{
    if (busy) return err_scan_open;
    const busy_scope scope; // whatever fails, everything is closed at its end
    if (int32_t opened = session.TWOpenDSM(parent); opened != 1) return opened;
    if (session.TWOpenDS() < 0) return err_scan_open;
    if (!session.TWEnableDS(show_ui)) return err_scan_open;
    return run_source(transfer);
}

} // namespace

int32_t IMG_STD IMG_scan_open_source(HWND window)
{
    if (busy) return err_scan_open;
    const busy_scope scope;
    if (int32_t opened = session.TWOpenDSM(window); opened < 0) return opened;
    session.select_source();
    return 0;
}

int32_t IMG_STD IMG_scan_acquire(HWND window, int32_t show_ui)
{
    return acquire(window, show_ui, TWTransferImage);
}

int32_t IMG_STD IMG_scan_pages(HWND window, const char* prefix, int32_t type, int32_t show_ui)
{
    const page_target target{prefix, type};
    // Pages that go into one file need its name.
    if (target.one_file() && (!prefix || !*prefix)) return err_create;
    return acquire(window, show_ui, [&target] { return TWTransferPages(target); });
}
