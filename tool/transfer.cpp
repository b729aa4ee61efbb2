// transfer.cpp - from a page in memory to a page in a file.

#include "tool/transfer.h"

#include "tool/names.h"
#include "tool/type_table.h"

const IMGX_TYPE_INFO& output_type(const tool_settings& settings, const std::string& output)
{
    if (settings.to.empty()) {
        const IMGX_TYPE_INFO* by_name = type_of_file_name(output);
        if (!by_name)
            throw failure{output, "choosing a type by the name (--to chooses one)",
                          code_unsupported};
        return *by_name;
    }
    const IMGX_TYPE_INFO* type = type_of_text(settings.to);
    if (!type)
        throw usage_error{"--to: \"" + settings.to +
                          "\" is no file type; \"trevolan types\" lists them"};
    if (!can_write(*type))
        throw failure{output, std::string("writing ") + type->description, code_unsupported};
    return *type;
}

const IMGX_TYPE_INFO& type_like_input(source_file& source)
{
    const IMGX_PAGE_INFO page = source.page_info(1);
    const IMGX_TYPE_INFO* type = type_of_code(page.type);
    if (type && can_write(*type)) return *type;
    type = type_of_file_name("x." + first_word(page.extensions));
    if (!type) throw failure{source.name(), "writing its type again", code_unsupported};
    return *type;
}

void write_page(picture& image, const std::string& file, const IMGX_TYPE_INFO& type,
                const tool_settings& settings, output_file& output)
{
    apply_operations(settings.operations, image, file);
    fit_depth(image, type, settings.exact, file);
    file_texts texts = current_texts();
    if (settings.name) texts.name = *settings.name;
    if (settings.date) texts.date = *settings.date;
    set_texts(texts);
    output.add(image.handle());
}
