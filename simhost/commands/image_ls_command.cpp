// simhost image ls: the images of an LSU.
#include <fmt/format.h>

#include <algorithm>

#include "base/escaped_text.h"
#include "simhost/commands/image_options.h"
#include "simhost/report/quantities.h"
#include "simhost/report/text_table.h"

namespace {

void list_images(ImageStore &store, Report &report) {
    std::vector<std::string> names = store.list(ImageStore::Unused::is_empty);
    // The library lists them in no order.
    std::sort(names.begin(), names.end());
    report.result()["images"] = Json::array();
    TextTable table({"IMAGE", ">BYTES", "CREATED"});
    size_t bad = 0;
    for (const std::string &name : names)
        try {
            const sts_image_info_t info = store.info(name);
            table.add({printable(name), bytes_in_table(info.size_bytes), format_time(info.creation_time)});
            report.result()["images"].push_back(image_to_json(store.lsu_name(), info));
        } catch (const BadAnswer &failure) {
            // One damaged image must not hide the others.
            report.error(fmt::format("{}: {}", printable(name), failure.what()));
            table.add({printable(name), "?", "?"});
            report.result()["images"].push_back({{"lsu", store.lsu_name()}, {"name", name}});
            ++bad;
        }
    if (!names.empty())
        report.lines(table.lines());
    if (bad > 0)
        throw BadAnswer(fmt::format("{} of {} images cannot be described", bad, names.size()));
}

}  // namespace

void add_image_ls_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<ImageOptions>();
    CLI::App *command = add_command(app, "ls", "List the images of an LSU");
    add_image_options(*command, *options, line);
    command->callback([options, &line] {
        line.command = "image ls";
        line.action = [options, &line](Workbench &bench) {
            with_images(bench, line.host, *options, [&](ImageStore &store) { list_images(store, bench.report); });
        };
    });
}
