// simhost run: a whole backup cycle, every call shown.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <memory>

#include "base/escaped_text.h"
#include "base/private_directory.h"
#include "base/text_field.h"
#include "simhost/commands/command_line.h"
#include "simhost/commands/kept_things.h"
#include "simhost/host/directory_cleanup.h"
#include "simhost/host/image_root.h"
#include "simhost/host/image_transfer.h"
#include "simhost/host/mount_point.h"
#include "simhost/host/server.h"
#include "simhost/report/quantities.h"

namespace {

struct RunOptions {
    ServerOptions server;
    std::string pool;
    std::string volume;
    std::string mount_point;
    std::string lsu;
    std::string image;
    std::string data = "-";
    uint64_t chunk_bytes = default_chunk_bytes;
    bool keep = false;
};

// Deletes an image that the cycle made, or may have made, on the way out of a failure.
class ImageCleanup {
public:
    ImageCleanup(ImageStore &store, const std::string &name) : m_store(store), m_name(name) {}
    ImageCleanup(const ImageCleanup &) = delete;
    ImageCleanup &operator=(const ImageCleanup &) = delete;
    ~ImageCleanup() {
        if (m_may_be_there)
            m_store.discard(m_name);
    }
    void may_be_there() { m_may_be_there = true; }
    void done() { m_may_be_there = false; }

private:
    ImageStore &m_store;
    std::string m_name;
    bool m_may_be_there = false;
};

// An entry without a name cannot be used: "pool:" would name something else than its volume.
std::string choose(const std::vector<std::string> &names, const std::string &wanted, const char *what,
                   const char *option, const std::string &why_none, Report &report) {
    if (names.empty())
        throw BadAnswer(why_none);
    const bool has_nameless = std::find(names.begin(), names.end(), "") != names.end();
    const std::string nameless = fmt::format("stspi_list_lsu answered success and stored no {} name", what);
    if (wanted.empty() && names.front().empty())
        throw BadAnswer(nameless);
    if (has_nameless)
        report.warn(nameless);
    if (wanted.empty())
        return names.front();
    if (std::find(names.begin(), names.end(), wanted) == names.end())
        throw BadAnswer(fmt::format("the plug-in lists no {} {} (see {}); it lists: {}", what, in_quotes(wanted),
                                    option, joined(names)));
    return wanted;
}

// The listed identifier of a disk that was named instead of its volume. Gives other names back as they are.
std::string listed_volume(Server &server, const std::string &pool, const std::vector<std::string> &volumes,
                          const std::string &wanted) {
    if (wanted.empty() || std::find(volumes.begin(), volumes.end(), wanted) != volumes.end())
        return wanted;
    const auto is_wanted = [&](const std::string &volume) {
        return field_text(server.lsu_info(pool + ':' + volume).lsu_name) == wanted;
    };
    const auto found = std::find_if(volumes.begin(), volumes.end(), is_wanted);
    return found == volumes.end() ? wanted : *found;
}

void refuse_foreign_options(const RunOptions &options, ServerKind kind) {
    if (kind == ServerKind::disk_array && !options.lsu.empty())
        throw UsageError("--lsu is for Copan arrays; this server is a disk array: use --pool and --volume");
    if (kind == ServerKind::copan && (!options.pool.empty() || !options.volume.empty() ||
                                      !options.mount_point.empty() || !options.server.hosts.empty()))
        throw UsageError(
            "--pool, --volume, --mount-point and --hosts are for disk arrays; this server is a Copan array: use --lsu");
}

std::string unused_image_name() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return fmt::format("simhost-{}-{}", getpid(), now.tv_sec * 1000000 + now.tv_nsec / 1000);
}

Transfer write(ImageStore &store, DataSource &source, const std::string &name, const RunOptions &options,
               ImageCleanup &cleanup) {
    OpenImage image(store, name, OpenImage::How::create);
    Transfer written = write_image(image, source, options.chunk_bytes);
    // Closing puts the image in its place, even when it then answers that it failed.
    if (!options.keep)
        cleanup.may_be_there();
    image.close();
    return written;
}

Transfer read_back(ImageStore &store, DataSource &source, const std::string &name, uint64_t total,
                   uint64_t chunk_bytes) {
    OpenImage image(store, name, OpenImage::How::read);
    Transfer read = compare_image(image, source, total, chunk_bytes);
    image.close();
    return read;
}

void demand_same(const Transfer &written, const Transfer &read) {
    if (read.bytes != written.bytes)
        throw BadAnswer(fmt::format("the image differs from the data: {} bytes were written, {} read back",
                                    written.bytes, read.bytes));
    const bool same_hash = read.hash == written.hash;
    if (same_hash && read.first_difference)
        throw BadAnswer(fmt::format("the file changed at byte {} while it was backed up", *read.first_difference));
    if (!same_hash && read.first_difference)
        throw BadAnswer(fmt::format("the image differs from the data, first at byte {}", *read.first_difference));
    if (!same_hash)
        throw BadAnswer(fmt::format("the image differs from the data: xxh128 {} was written, {} read back",
                                    written.hash, read.hash));
}

void demand_known(ImageStore &store, const std::string &image, uint64_t size) {
    const std::vector<std::string> images = store.list();
    if (std::find(images.begin(), images.end(), image) == images.end())
        throw BadAnswer(
            fmt::format("the image {} is not among the images of {}", in_quotes(image), in_quotes(store.lsu_name())));
    const sts_image_info_t info = store.info(image);
    if (info.size_bytes != size)
        throw BadAnswer(fmt::format("the image's properties tell {} bytes, {} were written", info.size_bytes, size));
}

void tell_transfer(Report &report, const char *label, const char *key, const Transfer &transfer) {
    report.line("{:<15}{} in {}, {}, xxh128 {}", label, bytes_in_words(transfer.bytes),
                format_duration(transfer.seconds), format_rate(transfer.bytes, transfer.seconds), transfer.hash);
    report.result()[key] = {{"size_bytes", transfer.bytes},
                            {"bytes", transfer.bytes},  // as the first release calls it
                            {"seconds", transfer.seconds},
                            {"xxh128", transfer.hash}};
}

struct Outcome {
    Transfer written;
    Transfer read;
};

// Writes, reads back, compares, looks the image up in list and properties, deletes.
Outcome cycle_image(Server &server, DataSource &source, const RunOptions &options, const std::string &lsu,
                    Report &report) {
    ImageStore store(server, lsu);
    const std::string image = options.image.empty() ? unused_image_name() : options.image;
    report.result()["image"] = {{"lsu", lsu}, {"name", image}};
    if (!options.image.empty() && store.has(image))
        throw UsageError(fmt::format("the image {} is there already; the cycle would replace it", in_quotes(image)));
    ImageCleanup cleanup(store, image);
    const Transfer written = write(store, source, image, options, cleanup);
    const Transfer read = read_back(store, source, image, written.bytes, options.chunk_bytes);
    demand_same(written, read);
    demand_known(store, image, written.bytes);
    if (!options.keep)
        store.remove(image);
    cleanup.done();
    return {written, read};
}

Outcome cycle_disk_array(Server &server, DataSource &source, const RunOptions &options,
                         const std::string &private_directory, Report &report) {
    const std::string pool = choose(server.list_lsus(), options.pool, "pool", "--pool", server.why_no_lsus(), report);
    server.lsu_info(pool);
    const std::vector<std::string> volumes = server.list_volumes(pool);
    const std::string volume = choose(volumes, listed_volume(server, pool, volumes, options.volume), "volume",
                                      "--volume", fmt::format("the pool {} has no disks", in_quotes(pool)), report);
    MountPoint mount_point(options.mount_point.empty() ? private_directory + "/volume" : options.mount_point);
    const std::string lsu = pool + ':' + volume;
    server.mount(lsu, mount_point.path());
    if (options.keep)
        mount_point.keep();
    if (mount_point.target().empty())
        throw BadAnswer(fmt::format("the mount succeeded, but {} is no link", printable(mount_point.path())));
    report.result()["mount"] = {{"lsu", lsu}, {"mount_point", mount_point.path()}, {"directory", mount_point.target()}};
    Outcome outcome = cycle_image(server, source, options, pool, report);
    server.unmount(lsu);
    return outcome;
}

Outcome cycle_copan(Server &server, DataSource &source, const RunOptions &options, Report &report) {
    const std::string lsu = choose(server.list_lsus(), options.lsu, "LSU", "--lsu", server.why_no_lsus(), report);
    server.lsu_info(lsu);
    return cycle_image(server, source, options, lsu, report);
}

// Images of the cycle are for the cycle alone, unless a place for them was chosen.
std::string image_root(const HostOptions &options, const std::string &private_directory) {
    if (!options.image_root.empty())
        return lasting_image_root(options.image_root);
    const char *chosen = std::getenv("STSIMAGE_ROOT");
    return chosen == nullptr ? private_directory : chosen;
}

HostOptions with_private_image_root(HostOptions options, const std::string &private_directory) {
    options.image_root = image_root(options, private_directory);
    return options;
}

// What the cycle could not remove stays, and with it the directory.
PrivateDirectory make_private_directory() {
    try {
        return {"simhost", AtEnd::remove_if_empty};
    } catch (const std::runtime_error &failure) {
        throw UsageError(failure.what());
    }
}

void run(const RunOptions &options, const HostOptions &host_options, Workbench &bench) {
    bench.report.show_calls();
    DataSource source(options.data);
    if (source.is_terminal())
        fmt::print(stderr, "simhost: reading the data from the terminal; Ctrl-D ends it\n");
    PrivateDirectory private_directory = make_private_directory();
    DirectoryCleanup directories(bench.report, DirectoryCleanup::Remaining::warn);
    if (options.keep) {
        private_directory.keep();
        directories.keep();
    }
    Host host(with_private_image_root(host_options, private_directory.path()), bench.report, bench.captured);
    bench.report.result()["plugin"] = host.plugin_path();
    bench.report.result()["server"] = options.server.server;
    refuse_foreign_options(options, kind_of_server(host, options.server.server));
    demand_claim(host, options.server.server);
    Server server(host, options.server.server, options.server.hosts_or_default());
    const std::string images = image_root(host_options, private_directory.path());
    Outcome outcome;
    try {
        outcome = server.kind() == ServerKind::disk_array
                      ? cycle_disk_array(server, source, options, private_directory.path(), bench.report)
                      : cycle_copan(server, source, options, bench.report);
    } catch (...) {
        if (options.keep)
            tell_kept_things(bench.report, images);
        throw;
    }
    server.close();
    host.terminate();
    bench.report.line("");
    tell_transfer(bench.report, "written", "written", outcome.written);
    tell_transfer(bench.report, "read back", "read", outcome.read);
    bench.report.line("verdict        what was read back is what was written");
    bench.report.result()["verdict"] = "identical";
    if (options.keep)
        tell_kept_things(bench.report, images);
}

}  // namespace

void add_run_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<RunOptions>();
    CLI::App *command = add_command(app, "run", "Perform a whole backup cycle and compare what is read back");
    command->add_option("FILE", options->data, "Data to back up (default: -, standard input)");
    add_server_options(*command, options->server);
    command->add_option("--pool", options->pool, "Pool to use (default: the first listed)")->type_name("NAME");
    command->add_option("--volume", options->volume, "Volume to mount (default: the pool's first)")->type_name("NAME");
    command
        ->add_option("--mount-point", options->mount_point,
                     "Where to mount it; nothing may stand there (default: below a fresh private directory)")
        ->type_name("PATH");
    command->add_option("--lsu", options->lsu, "LSU of a Copan array to use (default: the first listed)")
        ->type_name("NAME");
    command->add_option("--image", options->image, "Name of the image (default: a fresh one)")->type_name("NAME");
    add_chunk_option(*command, options->chunk_bytes);
    command->add_flag("--keep", options->keep, "Leave the image, the mount and the directories in place");
    add_host_options(*command, line.host);
    add_progress_option(*command, line.output);
    add_output_options(*command, line.output);
    command->footer(
        "The cycle: claim, open, list, properties, mount (disk arrays), create an image,\n"
        "write, read back, compare, list, properties, delete, close. Each call is shown\n"
        "with its status and the time it took. Whatever the cycle made is taken away\n"
        "again, also after a failure or Ctrl-C. Without --image-root and STSIMAGE_ROOT\n"
        "the images are kept below a fresh private directory.");
    command->callback([options, &line] {
        line.command = "run";
        line.action = [options, &line](Workbench &bench) { run(*options, line.host, bench); };
    });
}
