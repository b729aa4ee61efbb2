// twain_session.cpp - the triplets of an acquisition.

#include "scan/twain_session.h"

#include "core/codec.h"
#include "core/image_object.h"
#include "core/settings.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace twain;

namespace {

constexpr char manager_name[] = "TWAIN32.DLL";
constexpr UINT directory_bytes = 160;

// Handles below this are error values of old sources, not memory.
constexpr uintptr_t lowest_memory_handle = 32;

// The source manager must lie in the Windows directory; it is then loaded by its name.
bool manager_is_installed()
{
    char path[directory_bytes + sizeof manager_name + 1];
    const UINT length = GetWindowsDirectoryA(path, directory_bytes);
    if (length == 0 || length >= directory_bytes) return false;
    path[length] = '\\';
    std::memcpy(path + length + 1, manager_name, sizeof manager_name);
    OFSTRUCT opened;
    return OpenFile(path, &opened, OF_EXIST) != HFILE_ERROR;
}

// A packed DIB as a source sends it: fewer colours than its depth has may come, and none of
// what it announces is trusted.
struct sent_dib {
    BITMAPINFOHEADER* header;
    uint64_t table_bytes, row_bytes;

    explicit sent_dib(void* block) : header(static_cast<BITMAPINFOHEADER*>(block)) {}

    bool is_complete(size_t block_bytes)
    {
        if (block_bytes < sizeof *header || header->biSize < sizeof *header ||
            header->biSize > block_bytes)
            return false;
        const int64_t height = std::abs(int64_t{header->biHeight});
        if (!dib_fits(header->biWidth, height, header->biBitCount)) return false;
        table_bytes = header->biClrUsed ? uint64_t{header->biClrUsed} * sizeof(RGBQUAD)
                                        : static_cast<uint64_t>(Palette_Size(header));
        row_bytes = static_cast<uint64_t>(size_for_long(header->biWidth, header->biBitCount)) *
                    static_cast<uint64_t>(height);
        return header->biSize + table_bytes + row_bytes <= block_bytes;
    }
    uint64_t full_table_bytes() const { return static_cast<uint64_t>(Palette_Size(header)); }
};

// The same DIB with as many colours as its depth has, black where none came.
int32_t create_with_full_table(const sent_dib& dib)
{
    const auto head = sizeof *dib.header + static_cast<size_t>(dib.full_table_bytes());
    global_block full(GlobalAlloc(GHND, head + static_cast<size_t>(dib.row_bytes)));
    auto* to = full.lock<uint8_t>();
    if (!to) return err_memory;
    const uint8_t* colors = reinterpret_cast<const uint8_t*>(dib.header) + dib.header->biSize;
    auto* header = reinterpret_cast<BITMAPINFOHEADER*>(to);
    *header = *dib.header;
    header->biSize = sizeof *header;
    header->biClrUsed = 0;
    std::memcpy(to + sizeof *header, colors,
                static_cast<size_t>(std::min(dib.table_bytes, dib.full_table_bytes())));
    std::memcpy(to + head, colors + dib.table_bytes, static_cast<size_t>(dib.row_bytes));
    return IMG_create_handle(to);
}

// INTENDED: images keep dots per inch where a DIB has pixels per metre, and classic scans
// take the source's numbers as they are.
void set_dots_per_inch(BITMAPINFOHEADER* dib)
{
    if (!interchange_mode()) return;
    dib->biXPelsPerMeter = static_cast<LONG>(dib->biXPelsPerMeter * 0.0254 + 0.5);
    dib->biYPelsPerMeter = static_cast<LONG>(dib->biYPelsPerMeter * 0.0254 + 0.5);
}

// Copies the DIB into a new image and frees the source's block.
int32_t take_dib(HGLOBAL handle)
{
    global_block block(handle);
    sent_dib dib(block.lock<void>());
    if (!dib.header || !dib.is_complete(GlobalSize(handle))) return err_memory;
    set_dots_per_inch(dib.header);
    return dib.table_bytes == dib.full_table_bytes() ? IMG_create_handle(dib.header)
                                                     : create_with_full_table(dib);
}

} // namespace

uint16_t twain_session::to_manager(uint16_t argument, uint16_t message, void* data)
{
    return lpDSM_Entry_(&appID_, nullptr, group_control, argument, message, data);
}

uint16_t twain_session::to_source(uint32_t group, uint16_t argument, uint16_t message, void* data)
{
    return lpDSM_Entry_(&appID_, &dsID_, group, argument, message, data);
}

void twain_session::fill_identity()
{
    constexpr uint16_t language_english_usa = 13, country_usa = 1;
    appID_ = {};
    appID_.number = {1, 0, language_english_usa, country_usa, "Trevolan vers 4.0"};
    appID_.protocol_major = 1;
    appID_.supported_groups = group_control | group_image;
    lstrcpyA(appID_.manufacturer, "Trevolan");
    lstrcpyA(appID_.product_family, "Trevolan DLL");
    lstrcpyA(appID_.product_name, "Application");
}

bool twain_session::load_manager()
{
    if (!manager_is_installed()) return false;
    library_ = LoadLibraryA(manager_name);
    if (!library_) return false;
    lpDSM_Entry_ = reinterpret_cast<entry_function>(
        reinterpret_cast<void*>(GetProcAddress(library_, "DSM_Entry")));
    return lpDSM_Entry_ != nullptr;
}

int32_t twain_session::TWOpenDSM(HWND parent)
{
    if (manager_open_) return 1;
    parent_ = parent;
    fill_identity();
    if (!load_manager()) {
        TWCloseDSM();
        return err_scan_missing;
    }
    manager_open_ = to_manager(argument_parent, message_open_manager, &parent_) == return_success;
    if (manager_open_) return 1;
    TWCloseDSM();
    return err_scan_open;
}

int32_t twain_session::TWOpenDS()
{
    if (source_open_) return 1;
    // Without id and name the manager opens the default source or the one chosen last.
    dsID_.id = 0;
    dsID_.product_name[0] = 0;
    source_open_ = to_manager(argument_identity, message_open_source, &dsID_) == return_success;
    return source_open_ ? 1 : int32_t{err_scan_open};
}

int32_t twain_session::TWEnableDS(int32_t show_ui)
{
    // A proposal only: sources that know better keep their own settings, so neither result
    // matters, nor what the source tells of its present ones.
    image_info proposal{};
    proposal.x_resolution = proposal.y_resolution = {300, 1};
    proposal.width = 2000;
    proposal.length = 3000;
    proposal.samples_per_pixel = 1;
    proposal.bits_per_sample[0] = 1;
    proposal.planar = 1;
    image_info present = proposal;
    to_source(group_image, argument_image_info, message_get, &present);
    to_source(group_image, argument_image_info, message_set, &proposal);

    user_interface_ = {static_cast<uint16_t>(show_ui), 0, parent_};
    enabled_ = to_source(group_control, argument_user_interface, message_enable_source,
                         &user_interface_) == return_success;
    return enabled_;
}

void twain_session::TWDisableDS()
{
    if (enabled_)
        to_source(group_control, argument_user_interface, message_disable_source, &user_interface_);
    enabled_ = false;
}

void twain_session::TWCloseDS()
{
    if (source_open_) to_manager(argument_identity, message_close_source, &dsID_);
    source_open_ = false;
}

void twain_session::TWCloseDSM()
{
    if (manager_open_) to_manager(argument_parent, message_close_manager, &parent_);
    manager_open_ = false;
    lpDSM_Entry_ = nullptr;
    if (library_) FreeLibrary(library_);
    library_ = nullptr;
}

void twain_session::TWTerminate()
{
    TWDisableDS();
    TWCloseDS();
    TWCloseDSM();
}

void twain_session::select_source()
{
    identity chosen{};
    to_manager(argument_identity, message_get_default, &chosen);
    if (to_manager(argument_identity, message_user_select, &chosen) == return_success)
        dsID_ = chosen;
}

twain_session::event_result twain_session::process_event(MSG& message)
{
    event source_event{&message, 0};
    const uint16_t code =
        to_source(group_control, argument_event, message_process_event, &source_event);
    return {code == return_not_source_event, code == return_failure, source_event.source_message};
}

int32_t twain_session::GetCompleteImage()
{
    uint32_t handle = 0;
    const uint16_t code = to_source(group_image, argument_native_transfer, message_get, &handle);
    if (code == return_cancel) return err_scan_cancelled;
    if (code != return_transfer_done || handle < lowest_memory_handle) return err_memory;
    return take_dib(reinterpret_cast<HGLOBAL>(static_cast<uintptr_t>(handle)));
}

bool twain_session::describes_image()
{
    image_info info{};
    return to_source(group_image, argument_image_info, message_get, &info) == return_success;
}

uint16_t twain_session::end_transfer()
{
    pending_transfers pending{};
    const uint16_t code =
        to_source(group_control, argument_pending_transfers, message_end_transfer, &pending);
    return code == return_success ? pending.count : uint16_t{0};
}

void twain_session::reset_transfers()
{
    pending_transfers pending{};
    to_source(group_control, argument_pending_transfers, message_reset, &pending);
}
