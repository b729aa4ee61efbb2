// scan_test.cpp - acquisition through a scripted source manager and through the system's own,
// by the exported calls and by the viewer's menu.

#include "scan/twain.h"
#include "tests/win32/twain/mock_manager.h"
#include "tests/win32/viewer_driver.h"

using namespace twain;

namespace {

std::string windows_file(const char* name)
{
    char directory[MAX_PATH];
    GetWindowsDirectoryA(directory, sizeof directory);
    return std::string(directory) + "\\" + name;
}

// A file copied for the length of a test.
class installed_file {
public:
    installed_file(const std::string& from, const std::string& to) : to_(to)
    {
        EXPECT_TRUE(CopyFileA(from.c_str(), to.c_str(), FALSE)) << from;
    }
    ~installed_file() { EXPECT_TRUE(DeleteFileA(to_.c_str())) << to_ << " is still in use"; }

private:
    std::string to_;
};

class scripted_scan : public testing::Test {
protected:
    scripted_scan() { *state = {}; }
    ~scripted_scan() override
    {
        EXPECT_EQ(state->open, 0) << "manager or source stayed open";
        EXPECT_EQ(GetModuleHandleA("TWAIN32.DLL"), nullptr) << "the manager stayed loaded";
        // The lowest handle is free.
        EXPECT_EQ(image_guard(picture(1, 1, 1).create()), 0) << "an image leaked";
        forget_events();
    }
    // Not the paint requests of other tests' window, which come again and again.
    static void forget_events()
    {
        MSG message;
        while (PeekMessageA(&message, nullptr, WM_APP, WM_APP, PM_REMOVE)) {
        }
    }

    mock_state* const state = mock_script();

private:
    const installed_file file_{program_file("twain32_mock.dll"), windows_file("TWAIN32.DLL")};
};

void expect_page(int32_t handle, int page)
{
    const picture copy = copy_image(handle);
    ASSERT_EQ(copy.width, mock_width);
    ASSERT_EQ(copy.height, mock_height);
    for (int y = 0; y < mock_height; ++y)
        for (int x = 0; x < mock_width; ++x)
            ASSERT_EQ(copy.color(x, y), mock_pixel(page, x, y) ? 0xFFFFFFu : 0u)
                << page << ": " << x << ", " << y;
}

void expect_pages(const temp_file& file, int pages)
{
    ASSERT_EQ(IMGLOW_get_pages(file.name()), pages);
    const byte_vector bytes = file.bytes();
    for (int page = 0; page < pages; ++page)
        expect_page(image_guard(IMGX_decompress_bitmap_mem(
                        bytes.data(), static_cast<uint32_t>(bytes.size()), page)),
                    page);
}

const mock_state no_manager{argument_parent, message_open_manager};
const std::string opened = "4/301 3/401 >101/1 >101/6 >9/502 ";
const std::string closed = ">9/501 3/402 4/302 ";
const std::string one_page = opened + ">104/1 >5/701 " + closed;

} // namespace

TEST(scan, without_a_source_manager)
{
    DeleteFileA(windows_file("TWAIN32.DLL").c_str());
    EXPECT_EQ(IMG_scan_open_source(nullptr), -17);
    EXPECT_EQ(IMG_scan_acquire(nullptr, 1), -17);
    EXPECT_EQ(IMG_scan_pages(nullptr, nullptr, 1, 1), -17);
    // A library of that name that is no source manager.
    const installed_file other(program_file("trevolan.dll"), windows_file("TWAIN32.DLL"));
    EXPECT_EQ(IMG_scan_acquire(nullptr, 1), -17);
}

TEST_F(scripted_scan, one_page_with_the_published_data)
{
    const auto parent = reinterpret_cast<HWND>(0x1234);
    expect_page(image_guard(IMG_scan_acquire(parent, 1)), 0);
    EXPECT_EQ(state->calls, one_page);
    identity caller{};
    caller.number = {1, 0, 13, 1, "Trevolan vers 4.0"};
    caller.protocol_major = 1;
    caller.supported_groups = 3;
    std::strcpy(caller.manufacturer, "Trevolan");
    std::strcpy(caller.product_family, "Trevolan DLL");
    std::strcpy(caller.product_name, "Application");
    EXPECT_EQ(std::memcmp(&state->caller, &caller, sizeof caller), 0);
    image_info proposal{};
    proposal.x_resolution = proposal.y_resolution = {300, 1};
    proposal.width = 2000;
    proposal.length = 3000;
    proposal.samples_per_pixel = proposal.bits_per_sample[0] = 1;
    proposal.planar = 1;
    EXPECT_EQ(std::memcmp(&state->proposal, &proposal, sizeof proposal), 0);
    EXPECT_EQ(state->parent, parent);
    EXPECT_EQ(state->shown.parent, parent);
    EXPECT_EQ(state->shown.show_ui, 1);
}

TEST_F(scripted_scan, what_fails_is_told_and_closes_what_was_opened)
{
    using enum mock_event;
    const struct {
        uint16_t argument, message; // refused
        mock_event events[4];
        mock_picture picture;
        int32_t expected;
        std::string calls;
    } rows[] = {
        {argument_parent, message_open_manager, {}, {}, -16, "4/301 "},
        {argument_identity, message_open_source, {}, {}, -16, "4/301 3/401 4/302 "},
        {argument_user_interface, message_enable_source, {}, {}, -16, opened + "3/402 4/302 "},
        {argument_pending_transfers, message_end_transfer, {transfer_ready}, {}, 0, one_page},
        {0, 0, {close_request}, {}, -18, opened + closed},
        {0, 0, {not_for_source, handled, transfer_ready}, {}, 0, ""},
        {0, 0, {handled, source_gone}, {}, -18, opened + closed},
        {0, 0, {transfer_ready}, mock_picture::cancel, -18, ""},
        {0, 0, {transfer_ready}, mock_picture::failure, -1, ""},
        {0, 0, {transfer_ready}, mock_picture::small_handle, -1, ""},
        {0, 0, {transfer_ready}, mock_picture::cut_block, -1, ""},
        {0, 0, {transfer_ready}, mock_picture::no_dib, -1, ""},
        {0, 0, {transfer_ready}, mock_picture::huge_table, -1, ""},
        {0, 0, {transfer_ready}, mock_picture::short_table, 0, ""},
        {0, 0, {quit}, {}, -18, opened + closed},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(&r - rows);
        *state = {r.argument, r.message};
        std::copy(std::begin(r.events), std::end(r.events), state->events);
        state->pictures[0] = r.picture;
        forget_events();
        const image_guard result(IMG_scan_acquire(nullptr, 0));
        EXPECT_EQ(result, r.expected);
        if (result >= 0) expect_page(result, 0);
        EXPECT_TRUE(r.calls.empty() || r.calls == state->calls) << state->calls;
        EXPECT_EQ(state->open, 0);
    }
    EXPECT_EQ(state->next_event, 1) << "nothing is asked of the source once the program ends";
    // The program's own loop must learn that it is to end.
    MSG message;
    ASSERT_TRUE(PeekMessageA(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.wParam, 3U);
}

TEST_F(scripted_scan, one_page_drops_the_others_that_are_pending)
{
    *state = {.pages = 3};
    expect_page(image_guard(IMG_scan_acquire(nullptr, 1)), 0);
    EXPECT_EQ(state->calls, opened + ">104/1 >5/701 >5/701 >5/701 " + closed);
    // A count that never falls comes to an end.
    *state = {.endless_pending = true};
    EXPECT_EQ(image_guard(IMG_scan_acquire(nullptr, 1)), 0);
}

TEST_F(scripted_scan, pages_into_numbered_files_end_with_the_first_that_fails)
{
    const std::string names[] = {"scan_00000000.img", "scan_00000001.img", "scan_00000002.img"};
    write_file(names[1], {1, 2, 3});
    *state = {.pages = 3};
    EXPECT_EQ(IMG_scan_pages(nullptr, "scan_", 1, 1), 0);
    EXPECT_EQ(state->calls, opened + ">101/1 >104/1 >5/701 >104/1 >5/701 >104/1 >5/701 " + closed);
    for (int page = 0; page < 3; ++page)
        expect_page(image_guard(IMG_decompress_bitmap(names[page].c_str())), page);
    const struct {
        mock_picture second;
        const char* prefix;
        int32_t type, expected;
    } rows[] = {
        {mock_picture::cancel, "scan_", 1, -18},
        {mock_picture::failure, "scan_", 1, -1},
        {{}, "no such directory\\x", 1, -6},
        {{}, "scan_", 12, -7}, // of more than 1 bit
        {{}, nullptr, 10, -6},
        {{}, "", 0, -6}, // one file needs its name
        {{}, nullptr, 1, 0},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(&r - rows);
        *state = {.pictures = {{}, r.second}, .pages = 3};
        EXPECT_EQ(IMG_scan_pages(nullptr, r.prefix, r.type, 1), r.expected);
    }
    for (const std::string& name : names) {
        std::remove(name.c_str());
        EXPECT_EQ(std::remove(name.substr(5).c_str()), 0) << "there is no prefix";
    }
    *state = {.fail_argument = argument_image_info, .fail_message = message_get};
    EXPECT_EQ(IMG_scan_pages(nullptr, "scan_", 1, 1), -18);
    EXPECT_EQ(state->calls, opened + ">101/1 >5/7 " + closed);
}

TEST_F(scripted_scan, interchange_turns_metres_to_inches_and_files_are_replaced)
{
    const std::string name = "scan_00000000.img";
    for (const int interchange : {0, 1}) {
        IMGX_set_interchange(interchange);
        for (int run = 0; run < 2; ++run) {
            *state = {};
            EXPECT_EQ(IMG_scan_pages(nullptr, "scan_", 9, 1), 0);
        }
        EXPECT_EQ(IMGLOW_get_pages(name.c_str()), 1) << "LZW pages could be added";
        *state = {};
        const picture copy = copy_image(image_guard(IMG_scan_acquire(nullptr, 1)));
        EXPECT_EQ(copy.resolution(), interchange ? std::pair(300, 200) : std::pair(11811, 7874));
    }
    std::remove(name.c_str());
}

TEST_F(scripted_scan, choosing_a_source)
{
    EXPECT_EQ(IMG_scan_open_source(nullptr), 0);
    EXPECT_STREQ(state->calls, "4/301 3/3 3/403 4/302 ");
    *state = {.fail_argument = argument_identity,
              .fail_message = message_user_select,
              .fail_code = return_cancel};
    EXPECT_EQ(IMG_scan_open_source(nullptr), 0);
    *state = no_manager;
    EXPECT_EQ(IMG_scan_open_source(nullptr), -16);
}

TEST_F(scripted_scan, by_the_menu_of_the_viewer)
{
    const temp_file file(".tif"), saved(".tif"), pages(".tif");
    const test_picture old(20, 30, 8);
    for (const temp_file* f : {&file, &pages})
        ASSERT_GE(IMG_save_bitmap(old.handle, f->name(), 0), 0);
    const viewer_driver viewer(file.name());
    ASSERT_TRUE(viewer.title_becomes("20 x 30"));
    viewer.command(IDM_SCAN_SELECT);
    EXPECT_STREQ(state->calls, "4/301 3/3 3/403 4/302 ");

    // A scan that the user gives up is told in passing, and leaves the picture alone.
    *state = {.pictures = {mock_picture::cancel}};
    viewer.command(IDM_SCAN_PAGE);
    EXPECT_TRUE(viewer.status_becomes("Scanning was cancelled."));
    EXPECT_TRUE(viewer.title_becomes("20 x 30"));
    *state = no_manager;
    viewer.post(IDM_SCAN_PAGE);
    EXPECT_TRUE(viewer.says("Scanning did not succeed"));

    *state = {};
    viewer.command(IDM_SCAN_PAGE);
    EXPECT_TRUE(viewer.title_becomes("Scanned page* - 75 x 40, 1 bit"));
    EXPECT_EQ(state->calls, one_page);
    EXPECT_EQ(state->parent, viewer.frame());
    ASSERT_TRUE(viewer.name_file(IDM_SAVE_AS, saved.name()));
    EXPECT_TRUE(viewer.status_becomes("Saved as"));
    expect_pages(saved, 1);

    // Nothing is scanned that could not be kept.
    *state = {};
    ASSERT_TRUE(viewer.name_file(IDM_SCAN_PAGES, "Z:\\proc\\page.tif"));
    EXPECT_TRUE(viewer.says("Scanning did not succeed"));
    EXPECT_STREQ(state->calls, "");
    // The pages take the place of the file when they have come, and only when it is wished.
    for (const bool replace : {false, true}) {
        *state = {.pages = 3};
        ASSERT_TRUE(viewer.name_file(IDM_SCAN_PAGES, pages.name()));
        ASSERT_TRUE(viewer.says("Replace it?", replace ? IDOK : IDCANCEL));
    }
    EXPECT_TRUE(viewer.status_becomes("Scanned 3 pages into"));
    expect_pages(pages, 3);
    EXPECT_EQ(viewer.close(), 0U);
}

// Wine's manager knows its two sources by name and opens the first that it finds: ours takes
// the place of one, and the other goes out of sight.
TEST(system_scan, pages_through_the_systems_source_manager)
{
    const std::string camera = windows_file("twain_32\\gphoto2.ds");
    const std::string scanner = windows_file("twain_32\\sane.ds");
    for (const std::string& name : {camera, scanner})
        MoveFileA(name.c_str(), (name + ".off").c_str());
    {
        const installed_file manager(windows_file("twain_32.dll"), windows_file("TWAIN32.DLL"));
        const installed_file source(program_file("twain32_mock.dll"), scanner);
        mock_state* const state = mock_script();
        *state = {};
        expect_page(image_guard(IMG_scan_acquire(GetDesktopWindow(), 0)), 0);
        *state = {.pages = 10};
        const temp_file file(".tif");
        EXPECT_GE(IMG_scan_pages(GetDesktopWindow(), file.name(), 10, 0), 0);
        expect_pages(file, 10);
        EXPECT_EQ(state->open, 0);
        // Wine's manager keeps a source loaded after closing it.
        while (HMODULE module = GetModuleHandleA(scanner.c_str()))
            FreeLibrary(module);
    }
    for (const std::string& name : {camera, scanner})
        MoveFileA((name + ".off").c_str(), name.c_str());
}
