// What all image commands share.
#pragma once

#include <functional>
#include <string>

#include "simhost/commands/command_line.h"
#include "simhost/host/image.h"

struct ImageOptions {
    ServerOptions server;
    std::string lsu;
};

// Adds --server, --hosts, --lsu and the options of the host and of the output.
void add_image_options(CLI::App &command, ImageOptions &options, CommandLine &line);

// Opens the server and gives its LSU's images to the work.
void with_images(const Workbench &bench, const HostOptions &host_options, const ImageOptions &options,
                 const std::function<void(ImageStore &)> &work);

// Warns when the server does not offer the LSU to its hosts: the image library takes images for it all the same.
void warn_of_unusable_lsu(ImageStore &store);

// Warns when images on the LSU stay on this machine, though they are to be in a store that many share.
void warn_of_local_lsu(ImageStore &store, const std::string &image_root);

// Throws UsageError when the image is there and must not be replaced.
void refuse_to_replace(ImageStore &store, const std::string &name);

// The same when the image has been created: now that its name is taken, nobody else can put one there any more. Another image
// library may show it already, and is not asked.
void refuse_what_came_meanwhile(ImageStore &store, const std::string &name);

// The hash of all of an image, read for it.
std::string hash_of_image(ImageStore &store, const std::string &name, uint64_t size, uint64_t chunk_bytes);

// "2026-11-20 18:52:17 UTC".
std::string format_time(int64_t seconds);

Json image_to_json(const std::string &lsu, const sts_image_info_t &info);
