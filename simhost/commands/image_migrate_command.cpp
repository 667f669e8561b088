// simhost image migrate: the images of an LSU are taken from one store to another.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "base/escaped_text.h"
#include "simhost/commands/image_options.h"
#include "simhost/host/image_root.h"
#include "simhost/host/image_transfer.h"
#include "simhost/report/quantities.h"

namespace {

constexpr char another_is_there[] = "another image of that name is there; --replace puts this one in its place";

struct MigrateOptions {
    ImageOptions image;
    std::string from;
    std::string to;
    std::vector<std::string> names;
    bool replace = false;
    uint64_t chunk_bytes = default_chunk_bytes;
};

class Migration {
public:
    Migration(ImageStore &store, const MigrateOptions &options, Report &report)
        : m_store(store), m_options(options), m_report(report) {}

    void run();

private:
    enum class Outcome { copied, there_already };

    Outcome migrate(const std::string &name);
    bool is_there_already(const std::string &name, uint64_t size, std::string &out_hash);
    bool is_the_same_there(const std::string &name, uint64_t size, std::string &out_hash);
    bool has_come(const std::string &name, uint64_t size);
    void copy(const std::string &name, uint64_t size);
    void tell(const std::string &name, uint64_t size, const std::string &hash, Outcome outcome);
    void demand_two_places();
    bool is_seen_in_both(const std::string &name);

    std::string hash_from(const std::string &name, uint64_t size) {
        use_image_root(m_options.from);
        return hash_of_image(m_store, name, size, m_options.chunk_bytes);
    }
    std::string hash_to(const std::string &name, uint64_t size) {
        use_image_root(m_options.to);
        return hash_of_image(m_store, name, size, m_options.chunk_bytes);
    }

    ImageStore &m_store;
    const MigrateOptions &m_options;
    Report &m_report;
    bool m_are_two_places = false;  // something was in the one and not in the other
    uint64_t m_bytes = 0;
    double m_seconds = 0;
};

void Migration::run() {
    m_report.result()["from"] = m_options.from;
    m_report.result()["to"] = m_options.to;
    m_report.result()["images"] = Json::array();
    warn_of_local_lsu(m_store, keeps_directories_here(m_options.to) ? m_options.to : m_options.from);
    use_image_root(m_options.from);
    std::vector<std::string> names = m_options.names.empty() ? m_store.list() : m_options.names;
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    size_t bad = 0;
    size_t copied = 0;
    for (const std::string &name : names)
        try {
            if (migrate(name) == Outcome::copied)
                ++copied;
        } catch (const BadAnswer &failure) {
            m_report.error(fmt::format("{}: {}", printable(name), failure.what()));
            ++bad;
        }
    if (!m_are_two_places && bad < names.size())
        demand_two_places();
    m_report.result()["copied"] = copied;
    m_report.result()["bytes"] = m_bytes;
    m_report.result()["seconds"] = m_seconds;
    m_report.line("{} copied, {} in {}; {} there already", copied, bytes_in_words(m_bytes), format_duration(m_seconds),
                  names.size() - copied - bad);
    if (bad > 0)
        throw BadAnswer(fmt::format("{} of {} images were not migrated", bad, names.size()));
}

Migration::Outcome Migration::migrate(const std::string &name) {
    use_image_root(m_options.from);
    const uint64_t size = m_store.info(name).size_bytes;
    std::string hash;
    if (is_there_already(name, size, hash)) {
        tell(name, size, hash, Outcome::there_already);
        return Outcome::there_already;
    }
    m_are_two_places = true;
    copy(name, size);
    const std::string wanted = hash_from(name, size);
    hash = hash_to(name, size);
    if (hash != wanted)
        throw BadAnswer(fmt::format("the copy differs from its source: xxh128 {} instead of {}", hash, wanted));
    tell(name, size, hash, Outcome::copied);
    return Outcome::copied;
}

// Throws BadAnswer when something else bears the name there and is to stay.
bool Migration::is_there_already(const std::string &name, uint64_t size, std::string &out_hash) {
    use_image_root(m_options.to);
    if (!m_store.has(name))
        return false;
    if (is_the_same_there(name, size, out_hash))
        return true;
    m_are_two_places = true;
    if (!m_options.replace)
        throw BadAnswer(another_is_there);
    return false;
}

// The image that bears the name there must be one.
bool Migration::is_the_same_there(const std::string &name, uint64_t size, std::string &out_hash) {
    use_image_root(m_options.to);
    if (m_store.info(name).size_bytes != size)
        return false;
    out_hash = hash_to(name, size);
    return out_hash == hash_from(name, size);
}

// Whether a look shows the copy, though closing it did not say so.
bool Migration::has_come(const std::string &name, uint64_t size) {
    try {
        std::string hash;
        return is_the_same_there(name, size, hash);
    } catch (const BadAnswer &) {
        return false;
    }
}

void Migration::copy(const std::string &name, uint64_t size) {
    use_image_root(m_options.from);
    OpenImage source(m_store, name, OpenImage::How::read);
    use_image_root(m_options.to);
    OpenImage target(m_store, name, OpenImage::How::create);
    if (!m_options.replace && m_store.host().hides_unfinished_images() && m_store.has(name))
        throw BadAnswer(another_is_there);
    m_seconds += copy_image(source, target, size, m_options.chunk_bytes);
    try {
        target.close();
    } catch (const OutcomeUnknown &unknown) {
        if (!has_come(name, size))
            throw;
        m_report.warn(fmt::format("{}: {}; the copy is there", printable(name), unknown.what()));
    }
    source.close();
    m_bytes += size;
}

void Migration::tell(const std::string &name, uint64_t size, const std::string &hash, Outcome outcome) {
    const bool is_copied = outcome == Outcome::copied;
    m_report.line("{}  {}, {}, xxh128 {}", printable(name), is_copied ? "copied" : "there already",
                  bytes_in_words(size), hash);
    m_report.result()["images"].push_back(
        {{"name", name}, {"outcome", is_copied ? "copied" : "there already"}, {"size_bytes", size}, {"xxh128", hash}});
}

// Where an image library does not heed the roots, or both lead to one directory, everything is there already: of the source.
void Migration::demand_two_places() {
    if (is_seen_in_both(fmt::format("simhost-migrate-{}-{}", getpid(), time(nullptr))))
        throw UsageError(
            fmt::format("{} and {} are one place: an image that was made in the second is seen in the first",
                        in_quotes(m_options.from), in_quotes(m_options.to)));
}

// Makes an image of that name in the second place and takes it away again, whatever happens in between.
bool Migration::is_seen_in_both(const std::string &name) {
    use_image_root(m_options.to);
    OpenImage image(m_store, name, OpenImage::How::create);
    try {
        image.close();
        use_image_root(m_options.from);
        const bool is_seen = m_store.has(name);
        use_image_root(m_options.to);
        m_store.remove(name);
        return is_seen;
    } catch (...) {
        use_image_root(m_options.to);
        m_store.discard(name);
        throw;
    }
}

}  // namespace

void add_image_migrate_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<MigrateOptions>();
    CLI::App *command = add_command(app, "migrate", "Copy the images of an LSU from one store to another");
    command
        ->add_option("FROM", options->from,
                     "Where they are: as --image-root, a directory, rados:POOL[/PREFIX] or s3://BUCKET[/PREFIX]")
        ->required();
    command->add_option("TO", options->to, "Where to copy them")->required();
    command->add_option("IMAGE", options->names, "The images' names (default: all)");
    command->add_flag("--replace", options->replace, "Put them in place of other images of their names");
    add_chunk_option(*command, options->chunk_bytes);
    add_progress_option(*command, line.output);
    add_image_options(*command, options->image, line);
    command->footer(
        "Each copy is read back and compared by hash. An image that is there already and\n"
        "the same is left alone: a migration that was stopped goes on when it is run\n"
        "again. Nothing is deleted where the images were.");
    command->callback([options, &line] {
        line.command = "image migrate";
        line.action = [options, &line](Workbench &bench) {
            if (!line.host.image_root.empty())
                throw UsageError("FROM and TO say where the images are; --image-root is for other commands");
            if (options->from.empty() || options->to.empty())
                throw UsageError("FROM and TO name a directory, a pool or a bucket, and neither may be empty");
            HostOptions host = line.host;
            host.image_root = options->from;
            with_images(bench, host, options->image,
                        [&](ImageStore &store) { Migration(store, *options, bench.report).run(); });
        };
    });
}
