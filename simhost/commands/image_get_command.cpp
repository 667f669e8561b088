// simhost image get: an image becomes a file or a stream.
#include <fmt/format.h>
#include <unistd.h>

#include "base/escaped_text.h"
#include "simhost/commands/image_options.h"
#include "simhost/host/data_sink.h"
#include "simhost/host/image_transfer.h"
#include "simhost/report/quantities.h"

namespace {

struct GetOptions {
    ImageOptions image;
    std::string name;
    std::string file;  // empty: standard output, if that is no terminal
    bool replace = false;
    bool force = false;
    uint64_t chunk_bytes = default_chunk_bytes;
};

void get(ImageStore &store, DataSink &sink, const GetOptions &options, Report &report) {
    const uint64_t size = store.info(options.name).size_bytes;
    OpenImage image(store, options.name, OpenImage::How::read);
    const Transfer read = read_image(image, size, options.chunk_bytes,
                                     [&sink](const char *data, size_t length, uint64_t) { sink.write(data, length); });
    image.close();
    if (read.bytes != size)
        throw BadAnswer(fmt::format("the image's properties tell {} bytes, {} could be read", size, read.bytes));
    sink.finish();
    report.line("{}  {} in {}, {}, xxh128 {}", printable(options.name), bytes_in_words(read.bytes),
                format_duration(read.seconds), format_rate(read.bytes, read.seconds), read.hash);
    report.result()["name"] = options.name;
    report.result()["file"] = sink.name();
    report.result()["size_bytes"] = read.bytes;
    report.result()["bytes"] = read.bytes;  // as the first release calls it
    report.result()["seconds"] = read.seconds;
    report.result()["xxh128"] = read.hash;
}

}  // namespace

void add_image_get_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<GetOptions>();
    CLI::App *command = add_command(app, "get", "Write an image to a file or to standard output");
    command->add_option("IMAGE", options->name, "The image's name")->required();
    CLI::Option *file = command->add_option("FILE", options->file, "Where to write it (default: -, standard output)");
    command->add_option("-o,--output", options->file, "The same as FILE")->type_name("FILE")->excludes(file);
    command->add_flag("--force", options->force, "Write it to a terminal, too");
    command->add_flag("--replace", options->replace, "Write over a file that is there");
    add_chunk_option(*command, options->chunk_bytes);
    add_progress_option(*command, line.output);
    add_image_options(*command, options->image, line);
    command->footer(
        "A file appears under its name when all of the image has been written to it.\n"
        "Nothing is written to a terminal, unless FILE is - or --force is given.");
    command->callback([options, &line] {
        const bool to_standard_output = options->file.empty() || options->file == "-";
        if (line.output.json && to_standard_output)
            throw CLI::ValidationError("--json", "standard output takes the image; name a FILE");
        line.command = "image get";
        line.action = [options, &line](Workbench &bench) {
            if (options->file.empty() && !options->force && isatty(fileno(bench.report.own_output())) != 0)
                throw UsageError("standard output is a terminal: name a FILE, or give - or --force");
            DataSink sink(options->file.empty() ? "-" : options->file, options->replace, bench.report.own_output());
            if (sink.is_standard_output())
                bench.report.answer_is_data();
            with_images(bench, line.host, options->image,
                        [&](ImageStore &store) { get(store, sink, *options, bench.report); });
        };
    });
}
