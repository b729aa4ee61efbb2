// pages.cpp - the join, split and fax commands.

#include "tool/names.h"
#include "tool/progress.h"
#include "tool/transfer.h"
#include "tool/type_table.h"

int run_join(const join_request& request, const tool_settings& settings)
{
    return guarded([&] {
        const IMGX_TYPE_INFO& type = output_type(settings, request.output);
        if (!can_add_pages(type))
            throw failure{request.output,
                          std::string("several pages in one file of ") + type.description,
                          code_unsupported};
        output_file output(request.output, type,
                           settings.append ? output_file::start::copy_of_existing
                                           : output_file::start::empty);
        for (const std::string& input : request.inputs) {
            progress_file(input);
            source_file source(input, settings.offset);
            const int32_t count = source.pages();
            for (int32_t page = 1; page <= count; ++page) {
                picture image = source.load(page);
                write_page(image, input, type, settings, output);
            }
        }
        output.commit();
    });
}

int run_split(const split_request& request, const tool_settings& settings)
{
    return guarded([&] {
        progress_file(request.input);
        source_file source(request.input, settings.offset);
        const IMGX_TYPE_INFO& type =
            settings.to.empty() ? type_like_input(source) : output_type(settings, request.prefix);
        const int32_t count = source.pages();
        for (int32_t page = 1; page <= count; ++page) {
            const std::string name =
                request.prefix + padded_number(page, count) + "." + usual_extension(type);
            picture image = source.load(page);
            output_file output(name, type, output_file::start::empty);
            write_page(image, request.input, type, settings, output);
            output.commit();
        }
    });
}

int run_fax(const fax_request& request, const tool_settings& settings)
{
    return guarded([&] {
        progress_file(request.input);
        const IMGX_TYPE_INFO& type = output_type(settings, request.output);
        source_file source(request.input, settings.offset);
        picture image =
            source.load_fax(request.width, request.height, request.code, request.fill_order);
        source.close();
        output_file output(request.output, type,
                           settings.append ? output_file::start::copy_of_existing
                                           : output_file::start::empty);
        write_page(image, request.input, type, settings, output);
        output.commit();
    });
}
