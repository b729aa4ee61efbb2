// transfer.h - what convert, join, split and fax have in common: from a page in memory to a
// page in a file.
#pragma once

#include "tool/failure.h"
#include "tool/output_file.h"
#include "tool/settings.h"

/// The type of an output file: what --to names, else what the file name's extension chooses.
/// Throws a usage_error for an unknown name in --to, a failure for one that cannot be written.
const IMGX_TYPE_INFO& output_type(const tool_settings& settings, const std::string& output);

/// The same where --to is missing and the name says nothing: the input's own type, or one
/// like it that can be written.
const IMGX_TYPE_INFO& type_like_input(source_file& source);

/// Operations, texts and depth, then into the file.
void write_page(picture& image, const std::string& file, const IMGX_TYPE_INFO& type,
                const tool_settings& settings, output_file& output);

/// Runs work that belongs to one file: prints a failure.  The exit code.
template <class Work> int guarded(Work work)
{
    try {
        work();
        return exit_done;
    } catch (const failure& what) {
        report(what);
        return what.code == code_cancelled ? exit_cancelled : exit_failed;
    }
}
