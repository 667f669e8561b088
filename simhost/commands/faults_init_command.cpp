// simhost faults init: a file of rules to start from.
#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "base/escaped_text.h"
#include "simhost/commands/command_line.h"
#include "simhost/host/data_sink.h"
#include "simhost/host/plugin_library.h"

namespace {

constexpr char starting_rules[] =
    R"(# Trouble on demand. Each rule: on WHICH CALLS, when, and what is to happen.
# "simhost faults explain FILE" tells the rules as sentences, "simhost faults status FILE" what became of them.

plugin {}
#journal /var/tmp/calls.stspi 64M
seed 42

# Full pool: no more than 10 GiB fit.
#on write_image   bytes > 10G           answer STSIMG_E_NO_SPACE
# The image is there all the same.
#on close_image   call 2   after        answer STS_E_SYSTEM
# The retry test: then it works.
#on open_server   calls 1..2            answer STS_E_NO_SERVER
# Slow disk.
#on *_image       2% of calls           delay 5ms..50ms
# Bit rot.
#on read_image    every 100             flip bit 7 at 1000
# A list that lacks an entry.
#on list_lsu      lsu "pool2"           omit
)";

struct FaultsInitOptions {
    std::string file = "-";
    std::string plugin;
    bool replace = false;
};

void write_rules(const FaultsInitOptions &options, Report &report) {
    const std::string plugin = options.plugin.empty() ? default_plugin_path() : options.plugin;
    const std::string text = fmt::format(starting_rules, std::filesystem::absolute(plugin).string());
    if (options.file == "-") {
        report.result()["text"] = text;
        report.line("{}", text.substr(0, text.size() - 1));
        return;
    }
    DataSink file(options.file, options.replace, report.own_output());
    file.write(text.data(), text.size());
    file.finish();
    report.line("wrote {}; take a '#' away to put a rule into force", printable(options.file));
    report.result() = {{"file", options.file}, {"text", text}};
}

}  // namespace

void add_faults_init_command(CLI::App &app, CommandLine &line) {
    auto options = std::make_shared<FaultsInitOptions>();
    CLI::App *command = add_command(app, "init", "Write a file of rules to start from");
    command->add_option("FILE", options->file, "Where to write it (default: standard output)");
    command
        ->add_option("-p,--plugin", options->plugin,
                     "Plug-in to wrap (default: the libstspi_kelvarpool.so that was built or installed with this "
                     "program)")
        ->type_name("FILE");
    command->add_flag("--replace", options->replace, "Write over a file that is there");
    add_json_option(*command, line.output);
    command->callback([options, &line] {
        line.command = "faults init";
        line.action = [options](Workbench &bench) { write_rules(*options, bench.report); };
    });
}
