// simhost image rm: images are deleted.
#include <fmt/format.h>

#include "base/escaped_text.h"
#include "simhost/commands/image_options.h"

namespace {

struct RmOptions {
    ImageOptions image;
    std::vector<std::string> names;
};

// Why not all images are known to be deleted.
std::string why_not_all(size_t bad, size_t unknown, size_t all) {
    if (bad == 0)
        return fmt::format("whether {} of {} images {} deleted is not known", unknown, all,
                           unknown == 1 ? "was" : "were");
    const std::string text = fmt::format("{} of {} images could not be deleted", bad, all);
    return unknown == 0 ? text : fmt::format("{}, of {} it is not known", text, unknown);
}

void remove_images(ImageStore &store, const RmOptions &options, Report &report) {
    report.result()["deleted"] = Json::array();
    report.result()["unknown"] = Json::array();
    size_t bad = 0;
    size_t unknown = 0;
    for (const std::string &name : options.names)
        try {
            store.remove(name);
            report.line("deleted {}", printable(name));
            report.result()["deleted"].push_back(name);
        } catch (const OutcomeUnknown &failure) {
            report.error(fmt::format("whether {} was deleted is not known: {}", printable(name), failure.what()));
            report.result()["unknown"].push_back(name);
            ++unknown;
        } catch (const BadAnswer &failure) {
            report.error(fmt::format("{}: {}", printable(name), failure.what()));
            ++bad;
        }
    if (bad + unknown > 0)
        throw BadAnswer(why_not_all(bad, unknown, options.names.size()));
}

}  // namespace

void add_image_rm_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<RmOptions>();
    CLI::App *command = add_command(app, "rm", "Delete images");
    command->add_option("IMAGE", options->names, "The images' names")->required();
    add_image_options(*command, options->image, line);
    command->callback([options, &line] {
        line.command = "image rm";
        line.action = [options, &line](Workbench &bench) {
            with_images(bench, line.host, options->image,
                        [&](ImageStore &store) { remove_images(store, *options, bench.report); });
        };
    });
}
