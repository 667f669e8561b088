// simhost image put: a file or a stream becomes an image.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "simhost/commands/image_options.h"
#include "simhost/host/image_root.h"
#include "simhost/host/image_transfer.h"
#include "simhost/report/quantities.h"

namespace {

struct PutOptions {
    ImageOptions image;
    std::string name;
    std::string file = "-";
    bool replace = false;
    uint64_t chunk_bytes = default_chunk_bytes;
};

void put(ImageStore &store, DataSource &source, const PutOptions &options, Report &report) {
    warn_of_unusable_lsu(store);
    warn_of_local_lsu(store, current_image_root());
    if (!options.replace)
        refuse_to_replace(store, options.name);
    OpenImage image(store, options.name, OpenImage::How::create);
    if (!options.replace)
        refuse_what_came_meanwhile(store, options.name);
    const Transfer written = write_image(image, source, options.chunk_bytes);
    image.close();
    report.line("{}  {} in {}, {}, xxh128 {}", printable(options.name), bytes_in_words(written.bytes),
                format_duration(written.seconds), format_rate(written.bytes, written.seconds), written.hash);
    report.result()["name"] = options.name;
    report.result()["size_bytes"] = written.bytes;
    report.result()["bytes"] = written.bytes;  // as the first release calls it
    report.result()["seconds"] = written.seconds;
    report.result()["xxh128"] = written.hash;
}

}  // namespace

void add_image_put_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<PutOptions>();
    CLI::App *command = add_command(app, "put", "Make an image of a file or of standard input");
    command->add_option("IMAGE", options->name, "The image's name")->required();
    command->add_option("FILE", options->file, "Data to put into it (default: -, standard input)");
    command->add_flag("--replace", options->replace, "Put it in place of an image of that name");
    add_chunk_option(*command, options->chunk_bytes);
    add_progress_option(*command, line.output);
    add_image_options(*command, options->image, line);
    command->callback([options, &line] {
        line.command = "image put";
        line.action = [options, &line](Workbench &bench) {
            DataSource source(options->file);
            with_images(bench, line.host, options->image,
                        [&](ImageStore &store) { put(store, source, *options, bench.report); });
        };
    });
}
