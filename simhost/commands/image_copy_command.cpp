// simhost image copy: an image is copied extent by extent, by the plug-in.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "simhost/commands/image_options.h"
#include "simhost/commands/server_session.h"
#include "simhost/host/image_root.h"
#include "simhost/host/image_transfer.h"
#include "simhost/report/quantities.h"

namespace {

struct CopyOptions {
    ImageOptions image;
    std::string source;
    std::string target;
    std::string target_lsu;
    std::string target_server;
    bool replace = false;
    uint64_t chunk_bytes = default_chunk_bytes;
};

void copy(ImageStore &source_store, ImageStore &target_store, const CopyOptions &options, Report &report) {
    warn_of_unusable_lsu(target_store);
    warn_of_local_lsu(target_store, current_image_root());
    if (!options.replace)
        refuse_to_replace(target_store, options.target);
    const uint64_t size = source_store.info(options.source).size_bytes;
    OpenImage source(source_store, options.source, OpenImage::How::read);
    OpenImage target(target_store, options.target, OpenImage::How::create);
    if (!options.replace)
        refuse_what_came_meanwhile(target_store, options.target);
    const double seconds = copy_image(source, target, size, options.chunk_bytes);
    target.close();
    source.close();
    const std::string wanted = hash_of_image(source_store, options.source, size, options.chunk_bytes);
    const std::string hash = hash_of_image(target_store, options.target, size, options.chunk_bytes);
    if (hash != wanted)
        throw BadAnswer(fmt::format("the copy differs from its source: xxh128 {} instead of {}", hash, wanted));
    report.line("{} -> {}  {} in {}, {}, xxh128 {}", printable(options.source), printable(options.target),
                bytes_in_words(size), format_duration(seconds), format_rate(size, seconds), hash);
    report.result()["source"] = {{"lsu", source_store.lsu_name()}, {"name", options.source}};
    report.result()["target"] = {{"lsu", target_store.lsu_name()}, {"name", options.target}};
    report.result()["size_bytes"] = size;
    report.result()["seconds"] = seconds;
    report.result()["xxh128"] = hash;
}

void copy_between(Server &server, const CopyOptions &options, Report &report) {
    ImageStore source_store(server, options.image.lsu);
    const std::string &target_lsu = options.target_lsu.empty() ? options.image.lsu : options.target_lsu;
    if (options.target_server.empty()) {
        ImageStore target_store(server, target_lsu);
        copy(source_store, target_store, options, report);
        return;
    }
    demand_claim(server.host(), options.target_server);
    Server target(server, options.target_server);
    ImageStore target_store(target, target_lsu);
    copy(source_store, target_store, options, report);
    target.close();
}

}  // namespace

void add_image_copy_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<CopyOptions>();
    CLI::App *command = add_command(app, "copy", "Copy an image, and compare the copy with its source");
    command->add_option("SOURCE", options->source, "The image's name")->required();
    command->add_option("TARGET", options->target, "The copy's name")->required();
    command->add_option("--to-lsu", options->target_lsu, "LSU to copy to (default: the same)")->type_name("NAME");
    command->add_option("--to-server", options->target_server, "Copan array to copy to (default: the same server)")
        ->type_name("NAME");
    command->add_flag("--replace", options->replace, "Put it in place of an image of that name");
    add_chunk_option(*command, options->chunk_bytes);
    add_progress_option(*command, line.output);
    add_image_options(*command, options->image, line);
    command->callback([options, &line] {
        line.command = "image copy";
        line.action = [options, &line](Workbench &bench) {
            with_server(bench, line.host, options->image.server,
                        [&](Server &server) { copy_between(server, *options, bench.report); });
        };
    });
}
