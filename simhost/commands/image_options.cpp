#include "simhost/commands/image_options.h"

#include <fmt/format.h>

#include <ctime>

#include "base/escaped_text.h"
#include "base/text_field.h"
#include "simhost/commands/server_session.h"
#include "simhost/host/image_root.h"
#include "simhost/host/image_transfer.h"

void add_image_options(CLI::App &command, ImageOptions &options, CommandLine &line) {
    add_server_options(command, options.server);
    command
        .add_option("-l,--lsu", options.lsu,
                    "LSU that the image is on: a pool, /DIRECTORY (a mounted volume, say), or a Copan array's LSU")
        ->type_name("NAME")
        ->required();
    add_host_options(command, line.host);
    add_output_options(command, line.output);
}

void with_images(const Workbench &bench, const HostOptions &host_options, const ImageOptions &options,
                 const std::function<void(ImageStore &)> &work) {
    with_server(bench, host_options, options.server, [&](Server &server) {
        ImageStore store(server, options.lsu);
        bench.report.result()["lsu"] = options.lsu;
        work(store);
    });
}

void warn_of_unusable_lsu(ImageStore &store) {
    // A directory that is not there the library refuses.
    if (store.lsu_name().rfind('/', 0) == 0)
        return;
    if (const std::string why = store.why_not_usable(); !why.empty())
        store.host().report().warn(fmt::format("{} (the image library may store it all the same)", why));
}

void warn_of_local_lsu(ImageStore &store, const std::string &image_root) {
    if (store.is_directory() && keeps_directories_here(image_root))
        store.host().report().warn(fmt::format(
            "images on {} lie in a directory of this machine, not in {}; STSIMAGE_ABSOLUTE=store leads them there",
            in_quotes(store.lsu_name()), printable(image_root)));
}

void refuse_to_replace(ImageStore &store, const std::string &name) {
    if (store.has(name))
        throw UsageError(
            fmt::format("the image {} is there already; --replace puts another in its place", in_quotes(name)));
}

void refuse_what_came_meanwhile(ImageStore &store, const std::string &name) {
    if (store.host().hides_unfinished_images())
        refuse_to_replace(store, name);
}

std::string hash_of_image(ImageStore &store, const std::string &name, uint64_t size, uint64_t chunk_bytes) {
    OpenImage image(store, name, OpenImage::How::read);
    const Transfer read = read_image(image, size, chunk_bytes, [](const char *, size_t, uint64_t) {});
    image.close();
    return read.hash;
}

std::string format_time(int64_t seconds) {
    const time_t time = seconds;
    tm parts = {};
    char text[64];
    if (gmtime_r(&time, &parts) == nullptr || strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts) == 0)
        return fmt::format("{} seconds", seconds);
    return text;
}

Json image_to_json(const std::string &lsu, const sts_image_info_t &info) {
    return {{"lsu", lsu},
            {"name", field_text(info.name)},
            {"size_bytes", info.size_bytes},
            {"creation_time", info.creation_time}};
}
