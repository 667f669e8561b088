// simhost image stat: the properties of one image.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "simhost/commands/image_options.h"
#include "simhost/host/image_transfer.h"
#include "simhost/report/quantities.h"

namespace {

struct StatOptions {
    ImageOptions image;
    std::string name;
    bool hash = false;
};

void stat_image(ImageStore &store, const StatOptions &options, Report &report) {
    const sts_image_info_t info = store.info(options.name);
    report.line("{:<10}{}", "image", printable(field_text(info.name)));
    report.line("{:<10}{}", "size", bytes_in_words(info.size_bytes));
    report.line("{:<10}{}", "created", format_time(info.creation_time));
    report.result()["image"] = image_to_json(store.lsu_name(), info);
    if (!options.hash)
        return;
    OpenImage image(store, options.name, OpenImage::How::read);
    const Transfer read =
        read_image(image, info.size_bytes, default_chunk_bytes, [](const char *, size_t, uint64_t) {});
    image.close();
    if (read.bytes != info.size_bytes)
        throw BadAnswer(fmt::format("{} bytes could be read", read.bytes));
    report.line("{:<10}{}", "xxh128", read.hash);
    report.result()["image"]["xxh128"] = read.hash;
}

}  // namespace

void add_image_stat_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<StatOptions>();
    CLI::App *command = add_command(app, "stat", "Show the properties of one image");
    command->add_option("IMAGE", options->name, "The image's name")->required();
    command->add_flag("--hash", options->hash, "Read all of it and show its hash (XXH3, 128 bits)");
    add_progress_option(*command, line.output);
    add_image_options(*command, options->image, line);
    command->callback([options, &line] {
        line.command = "image stat";
        line.action = [options, &line](Workbench &bench) {
            with_images(bench, line.host, options->image,
                        [&](ImageStore &store) { stat_image(store, *options, bench.report); });
        };
    });
}
