// twain_session.h - the steps of one acquisition: source manager, source, transfers. The
// states follow the TWAIN description; whatever fails, terminate() brings a session back to
// the state in which nothing is open or loaded.
#pragma once

#include "core/errors.h"
#include "scan/twain.h"

class twain_session {
public:
    /// Loads and opens the source manager.  1, err_scan_missing, err_scan_open.
    int32_t TWOpenDSM(HWND parent);
    /// Opens the default source, or the one chosen last.  1 or err_scan_open.
    int32_t TWOpenDS();
    /// Proposes a 300 dpi 1-bit page and enables the source.  1, or 0 when it refuses.
    int32_t TWEnableDS(int32_t show_ui);
    void TWDisableDS();
    void TWCloseDS();
    void TWCloseDSM();
    /// All three, each only where there is something to end.
    void TWTerminate();

    /// The source manager's dialog; keeps what was chosen.
    void select_source();

    /// What a window message was to the source.
    struct event_result {
        bool not_for_source;     // to be translated and dispatched
        bool source_gone;        // the source no longer answers
        uint16_t source_message; // twain::message_…, or 0
    };
    event_result process_event(MSG& message);

    /// One transferred picture as a new image.  Its handle; err_scan_cancelled; err_memory for
    /// everything that gives no usable picture.
    int32_t GetCompleteImage();

    /// True when the source describes the picture that is ready.
    bool describes_image();

    /// Ends one transfer.  How many are pending; 0 also where the source fails.
    uint16_t end_transfer();
    /// Gives up every pending transfer.
    void reset_transfers();

    bool manager_open() const { return manager_open_; }
    bool source_open() const { return source_open_; }
    bool enabled() const { return enabled_; }

private:
    uint16_t to_manager(uint16_t argument, uint16_t message, void* data);
    uint16_t to_source(uint32_t group, uint16_t argument, uint16_t message, void* data);
    void fill_identity();
    bool load_manager();

    twain::entry_function lpDSM_Entry_ = nullptr;
    HMODULE library_ = nullptr;
    HWND parent_ = nullptr;
    twain::identity appID_{};
    twain::identity dsID_{};
    twain::user_interface user_interface_{};
    bool manager_open_ = false;
    bool source_open_ = false;
    bool enabled_ = false;
};
