// progress.h - the progress bar on the terminal, and cancelling through the same callback.
#pragma once

#include <cstdint>
#include <string>

/// Installs the library's status callback. The bar is shown on standard error, when that is
/// a terminal, from half a second after the work on a file began.
void progress_start(bool show_bar);

/// The work on a file begins.
void progress_file(const std::string& file);

/// A load or save begins: counts its rows from 0.
void progress_phase(const std::string& what);

/// Counts one of `total` steps (rows, files) of the phase.  0, or code_cancelled.
int32_t progress_step(int32_t total);

/// Takes the bar off the line, so that something else can be written.
void progress_clear();

/// Throws a failure when Ctrl-C was pressed; for work that has no callback.
void throw_if_cancelled(const std::string& file, const std::string& action);
