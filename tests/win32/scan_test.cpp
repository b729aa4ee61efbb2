// scan_test.cpp - acquisition through a scripted source manager and through the system's own.

#include "scan/twain.h"
#include "tests/support/images.h"
#include "tests/win32/twain/mock_manager.h"

#include <gtest/gtest.h>

using namespace twain;

namespace {

std::string windows_file(const char* name)
{
    char directory[MAX_PATH];
    GetWindowsDirectoryA(directory, sizeof directory);
    return std::string(directory) + "\\" + name;
}

std::string program_file(const char* name)
{
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, sizeof path);
    const std::string whole(path);
    return whole.substr(0, whole.find_last_of('\\') + 1) + name;
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
    scripted_scan() : file_(program_file("twain32_mock.dll"), windows_file("TWAIN32.DLL"))
    {
        library_ = LoadLibraryA("TWAIN32.DLL");
        const auto get = reinterpret_cast<mock_get_function>(
            reinterpret_cast<void*>(GetProcAddress(library_, "mock_get")));
        state = get();
        *state = mock_state();
        state->events[0] = mock_event::transfer_ready;
    }
    ~scripted_scan() override
    {
        EXPECT_FALSE(state->manager_open) << "the manager stayed open";
        EXPECT_FALSE(state->source_open) << "the source stayed open";
        EXPECT_FALSE(state->enabled) << "the source stayed enabled";
        FreeLibrary(library_);
        EXPECT_EQ(GetModuleHandleA("TWAIN32.DLL"), nullptr) << "the manager stayed loaded";
        // No image may be left: the lowest handle is free.
        test_dib dib(1, 1, 1);
        const int32_t next = dib.create();
        EXPECT_EQ(next, 0) << "an image leaked";
        IMG_delete_bitmap(next);
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
        }
    }
    void refuse(uint16_t argument, uint16_t message, uint16_t code = return_failure)
    {
        state->fail_argument = argument;
        state->fail_message = message;
        state->fail_code = code;
    }
    // "argument/message" of every call, events left out.
    std::string sequence() const
    {
        std::string text;
        for (int i = 0; i < state->call_count; ++i) {
            const mock_call& call = state->calls[i];
            if (call.argument == argument_event) continue;
            char entry[32];
            std::snprintf(entry, sizeof entry, "%x/%x ", call.argument, call.message);
            text += entry;
        }
        return text;
    }
    const mock_call* find(uint16_t argument, uint16_t message) const
    {
        for (int i = 0; i < state->call_count; ++i)
            if (state->calls[i].argument == argument && state->calls[i].message == message)
                return &state->calls[i];
        return nullptr;
    }

    mock_state* state;

private:
    installed_file file_;
    HMODULE library_;
};

void expect_page(int32_t handle, int page)
{
    const image_copy copy = copy_image(handle);
    ASSERT_EQ(copy.width, mock_width);
    ASSERT_EQ(copy.height, mock_height);
    for (int y = 0; y < mock_height; ++y)
        for (int x = 0; x < mock_width; ++x)
            ASSERT_EQ(copy.color(x, y), mock_pixel(page, x, y) ? 0xFFFFFFu : 0u)
                << page << ": " << x << ", " << y;
}

bool file_exists(const std::string& name)
{
    return GetFileAttributesA(name.c_str()) != INVALID_FILE_ATTRIBUTES;
}

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

TEST_F(scripted_scan, one_page_takes_every_step_in_order)
{
    const image_guard image(IMG_scan_acquire(nullptr, 1));
    expect_page(image, 0);
    EXPECT_EQ(sequence(), "4/301 3/401 101/1 101/6 9/502 104/1 5/701 9/501 3/402 4/302 ");
}

TEST_F(scripted_scan, identity_and_proposal_are_as_published)
{
    const int32_t handle = IMG_scan_acquire(reinterpret_cast<HWND>(0x1234), 1);
    IMG_delete_bitmap(handle);
    identity caller;
    std::memcpy(&caller, state->calls[0].origin, sizeof caller);
    EXPECT_EQ(caller.id, 0u);
    const std::vector<int> numbers = {caller.number.major,    caller.number.minor,
                                      caller.number.language, caller.number.country,
                                      caller.protocol_major,  caller.protocol_minor};
    EXPECT_EQ(numbers, (std::vector<int>{1, 0, 13, 1, 1, 0}));
    EXPECT_EQ(caller.supported_groups, 3u);
    EXPECT_STREQ(caller.number.info, "Trevolan vers 4.0");
    EXPECT_STREQ(caller.manufacturer, "Trevolan");
    EXPECT_STREQ(caller.product_family, "Trevolan DLL");
    EXPECT_STREQ(caller.product_name, "Application");
    uint32_t parent;
    std::memcpy(&parent, state->calls[0].data, 4);
    EXPECT_EQ(parent, 0x1234u);
    EXPECT_FALSE(find(argument_identity, message_open_source)->to_source);

    image_info proposal;
    std::memcpy(&proposal, find(argument_image_info, message_set)->data, sizeof proposal);
    EXPECT_EQ(proposal.x_resolution.whole, 300);
    EXPECT_EQ(proposal.y_resolution.fraction, 1);
    EXPECT_EQ(proposal.width, 2000);
    EXPECT_EQ(proposal.length, 3000);
    EXPECT_EQ(proposal.samples_per_pixel, 1);
    EXPECT_EQ(proposal.bits_per_sample[0], 1);
    EXPECT_EQ(proposal.planar, 1);

    user_interface shown;
    std::memcpy(&shown, find(argument_user_interface, message_enable_source)->data, sizeof shown);
    EXPECT_EQ(shown.show_ui, 1);
    EXPECT_EQ(shown.parent, reinterpret_cast<HWND>(0x1234));
}

TEST_F(scripted_scan, a_failure_at_each_step_closes_what_was_opened)
{
    const struct {
        const char* step;
        uint16_t argument, message;
        int32_t expected;
        const char* sequence;
    } rows[] = {
        {"manager", argument_parent, message_open_manager, -16, "4/301 "},
        {"source", argument_identity, message_open_source, -16, "4/301 3/401 4/302 "},
        {"enable", argument_user_interface, message_enable_source, -16,
         "4/301 3/401 101/1 101/6 9/502 3/402 4/302 "},
        {"end of transfer", argument_pending_transfers, message_end_transfer, 0,
         "4/301 3/401 101/1 101/6 9/502 104/1 5/701 9/501 3/402 4/302 "},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.step);
        *state = mock_state();
        state->events[0] = mock_event::transfer_ready;
        refuse(r.argument, r.message);
        const int32_t result = IMG_scan_acquire(nullptr, 0);
        EXPECT_EQ(result, r.expected);
        EXPECT_EQ(sequence(), r.sequence);
        if (result >= 0) IMG_delete_bitmap(result);
    }
}

TEST_F(scripted_scan, pictures_that_are_none)
{
    const struct {
        mock_picture picture;
        int32_t expected;
    } rows[] = {{mock_picture::cancel, -18},
                {mock_picture::failure, -1},
                {mock_picture::small_handle, -1},
                {mock_picture::cut_block, -1},
                {mock_picture::no_dib, -1}};
    for (const auto& r : rows) {
        *state = mock_state();
        state->events[0] = mock_event::transfer_ready;
        state->pictures[0] = r.picture;
        EXPECT_EQ(IMG_scan_acquire(nullptr, 1), r.expected);
    }
}

TEST_F(scripted_scan, source_events)
{
    const struct {
        const char* what;
        mock_event events[4];
        int32_t expected;
    } rows[] = {
        {"close request", {mock_event::close_request}, -18},
        {"events of others first",
         {mock_event::not_for_source, mock_event::handled, mock_event::transfer_ready},
         0},
        {"the source disappears", {mock_event::handled, mock_event::failure}, -18},
        {"the program ends", {mock_event::quit}, -18},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        *state = mock_state();
        std::copy(std::begin(r.events), std::end(r.events), state->events);
        const int32_t result = IMG_scan_acquire(nullptr, 1);
        EXPECT_EQ(result, r.expected);
        if (result >= 0) IMG_delete_bitmap(result);
    }
    MSG message;
    bool quit = false;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE))
        quit |= message.message == WM_QUIT;
    EXPECT_TRUE(quit) << "the program's own loop must learn that it is to end";
}

TEST_F(scripted_scan, one_page_drops_the_others_that_are_pending)
{
    state->pages = 3;
    const image_guard image(IMG_scan_acquire(nullptr, 1));
    expect_page(image, 0);
    EXPECT_EQ(sequence(),
              "4/301 3/401 101/1 101/6 9/502 104/1 5/701 5/701 5/701 9/501 3/402 4/302 ");
}

TEST_F(scripted_scan, pages_into_numbered_files)
{
    state->pages = 3;
    write_file("scan_00000001.img", {1, 2, 3});
    EXPECT_GE(IMG_scan_pages(nullptr, "scan_", 1, 1), 0);
    EXPECT_EQ(sequence(), "4/301 3/401 101/1 101/6 9/502 101/1 104/1 5/701 104/1 5/701 104/1 5/701 "
                          "9/501 3/402 4/302 ");
    for (int page = 0; page < 3; ++page) {
        const std::string name = "scan_0000000" + std::to_string(page) + ".img";
        const image_guard image(IMG_decompress_bitmap(name.c_str()));
        expect_page(image, page);
        std::remove(name.c_str());
    }
    *state = mock_state();
    state->events[0] = mock_event::transfer_ready;
    EXPECT_GE(IMG_scan_pages(nullptr, nullptr, 1, 1), 0);
    EXPECT_TRUE(file_exists("00000000.img"));
    std::remove("00000000.img");
}

TEST_F(scripted_scan, pages_that_fail_end_the_run)
{
    const struct {
        const char* what;
        mock_picture second;
        const char* prefix;
        int32_t type, expected;
    } rows[] = {
        {"cancelled", mock_picture::cancel, "scan_", 1, -18},
        {"no picture", mock_picture::failure, "scan_", 1, -1},
        {"cannot be created", mock_picture::page, "no such directory\\x", 1, -6},
        {"depth that the type cannot hold", mock_picture::page, "scan_", 12, -7},
        {"one file without a name", mock_picture::page, nullptr, 10, -6},
        {"one file with an empty name", mock_picture::page, "", 0, -6},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        *state = mock_state();
        state->events[0] = mock_event::transfer_ready;
        state->pages = 3;
        state->pictures[1] = r.second;
        EXPECT_EQ(IMG_scan_pages(nullptr, r.prefix, r.type, 1), r.expected);
        std::remove("scan_00000000.img");
    }
    *state = mock_state();
    state->events[0] = mock_event::transfer_ready;
    refuse(argument_image_info, message_get);
    EXPECT_EQ(IMG_scan_pages(nullptr, "scan_", 1, 1), -18);
    EXPECT_NE(find(argument_pending_transfers, message_reset), nullptr);
}

TEST_F(scripted_scan, a_count_that_never_falls_comes_to_an_end)
{
    state->endless_pending = true;
    const int32_t handle = IMG_scan_acquire(nullptr, 1);
    EXPECT_GE(handle, 0);
    IMG_delete_bitmap(handle);
}

TEST_F(scripted_scan, choosing_a_source)
{
    EXPECT_EQ(IMG_scan_open_source(nullptr), 0);
    EXPECT_EQ(sequence(), "4/301 3/3 3/403 4/302 ");
    *state = mock_state();
    refuse(argument_identity, message_user_select, return_cancel);
    EXPECT_EQ(IMG_scan_open_source(nullptr), 0);
    refuse(argument_parent, message_open_manager);
    EXPECT_EQ(IMG_scan_open_source(nullptr), -16);
}

namespace {

// Wine's manager keeps a source loaded after closing it; only our own references are ours to
// give back, so the test takes the module down itself.
class unloaded_module {
public:
    explicit unloaded_module(const std::string& name) : name_(name) {}
    ~unloaded_module()
    {
        while (HMODULE module = GetModuleHandleA(name_.c_str()))
            FreeLibrary(module);
    }

private:
    std::string name_;
};

// A file moved out of sight for the length of a test.
class hidden_file {
public:
    explicit hidden_file(const std::string& name) : name_(name)
    {
        MoveFileA(name_.c_str(), (name_ + ".off").c_str());
    }
    ~hidden_file() { MoveFileA((name_ + ".off").c_str(), name_.c_str()); }

private:
    std::string name_;
};

// Wine's manager knows its two sources by name and opens the first that it finds: ours takes
// the place of one, and the other goes out of sight.
class system_scan : public testing::Test {
protected:
    system_scan()
        : manager_(windows_file("twain_32.dll"), windows_file("TWAIN32.DLL")),
          camera_(windows_file("twain_32\\gphoto2.ds")),
          scanner_(windows_file("twain_32\\sane.ds")),
          source_(program_file("test_source.ds"), windows_file("twain_32\\sane.ds")),
          module_(windows_file("twain_32\\sane.ds"))
    {
    }

private:
    installed_file manager_;
    hidden_file camera_, scanner_;
    installed_file source_;
    unloaded_module module_;
};

} // namespace

TEST_F(system_scan, one_page_through_the_systems_source_manager)
{
    SetEnvironmentVariableA("TREVOLAN_TEST_PAGES", "1");
    const image_guard image(IMG_scan_acquire(GetDesktopWindow(), 0));
    ASSERT_GE(image, 0);
    expect_page(image, 0);
}

TEST_F(system_scan, ten_pages_into_one_file)
{
    SetEnvironmentVariableA("TREVOLAN_TEST_PAGES", "10");
    const temp_file file(".tif");
    EXPECT_GE(IMG_scan_pages(GetDesktopWindow(), file.name(), 10, 0), 0);
    ASSERT_EQ(IMGLOW_get_pages(file.name()), 10);
    const byte_vector bytes = file.bytes();
    for (int page = 0; page < 10; ++page) {
        const image_guard image(
            IMGX_decompress_bitmap_mem(bytes.data(), static_cast<uint32_t>(bytes.size()), page));
        expect_page(image, page);
    }
}
