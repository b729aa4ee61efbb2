// dialogs.h - what the viewer asks and tells the user.
#pragma once

#include "viewer/document.h"

#include <optional>
#include <string>

/// Asks for a file to open.
std::optional<std::string> ask_file_to_open(HWND owner);

struct save_choice {
    std::string path;
    save_type type;
};

enum class save_purpose {
    picture,   // may replace a file, and asks
    add_page,  // offers only types that hold several pages
    scan_pages // may make other files than the one that is named: the caller asks
};

/// Asks for a name and a type.
std::optional<save_choice> ask_file_to_save(HWND owner, const std::string& suggestion,
                                            save_purpose purpose);

/// False when a file exists that the user rather keeps; ? in the name stands for any letter.
bool may_replace(HWND owner, const std::string& pattern);

/// Asks for a name with a fixed extension, such as "emf".
std::optional<std::string> ask_name(HWND owner, const char* title, const char* extension);

struct tone_choice {
    int32_t contrast = 0, brightness = 0;
};

std::optional<tone_choice> ask_tone(HWND owner);
std::optional<print_settings> ask_print_settings(HWND owner, const print_settings& present);

/// Says something that needs no decision.
void tell(HWND owner, const std::string& text);

/// "The picture cannot be saved: the disk is full." - what failed and why, in plain words.
void tell_error(HWND owner, const std::string& what_failed, int32_t code);

/// False when the user rather keeps the changes.
bool may_lose_changes(HWND owner, const document& picture);
