#include "simhost/commands/command_line.h"

#include <fmt/format.h>

#include <stdexcept>

#include "base/escaped_text.h"
#include "base/nearest_word.h"
#include "simhost/host/image_transfer.h"
#include "simhost/host/server.h"
#include "simhost/report/quantities.h"

CLI::App *add_command(CLI::App &app, const char *name, const char *description) {
    CLI::App *command = app.add_subcommand(name, description);
    command->group("Commands");
    return command;
}

CLI::Option *add_json_option(CLI::App &command, OutputOptions &options) {
    return command.add_flag("--json", options.json, "Answer with one JSON document on standard output");
}

void add_output_options(CLI::App &command, OutputOptions &options) {
    command.add_flag("-v,--verbose", options.verbose, "Show every call and the plug-in's log messages");
    add_json_option(command, options);
    command.add_flag("--strict", options.strict, "End with status 3 when all is well but for warnings");
}

void add_filter_options(CLI::App &command, FilterOptions &options) {
    CLI::Option *faults =
        command
            .add_option("--faults", options.faults,
                        "Rules for trouble on demand, which the filter in front of the plug-in carries out")
            ->type_name("FILE");
    command.add_flag("--expect-all", options.expect_all, "End with status 1 when one of these rules never fired")
        ->needs(faults);
    command.add_option("--record", options.record, "Journal to write of every call; an older one is replaced")
        ->type_name("FILE");
}

void add_plugin_options(CLI::App &command, HostOptions &options) {
    command
        .add_option(
            "-p,--plugin", options.plugin,
            "Plug-in to load (default: the libstspi_kelvarpool.so that was built or installed with this program)")
        ->type_name("FILE");
    command
        .add_option("--image-library", options.image_library,
                    "Image library to load for the plug-in (default: the one it finds itself)")
        ->type_name("FILE");
    command
        .add_option("--image-root", options.image_root,
                    "Where the substitute image library keeps images of LSUs whose text is not a path: a directory, or "
                    "rados:POOL[/PREFIX] or s3://BUCKET[/PREFIX] (default: $STSIMAGE_ROOT, or the library's own)")
        ->type_name("DIR");
    add_config_dir_option(command, options.config_dir,
                          "Directory with the .sim files (default: $SIMHOST_CONFIG_DIR, or /etc/quillmere)");
}

void add_config_dir_option(CLI::App &command, std::string &config_dir, const char *description) {
    command
        .add_option_function<std::string>(
            "-c,--config-dir",
            [&config_dir](std::string directory) {
                if (const std::string mistake = CLI::ExistingDirectory(directory); !mistake.empty())
                    throw CLI::ValidationError("--config-dir", mistake);
                config_dir = directory;
            },
            description)
        ->type_name("DIR")
        ->envname("SIMHOST_CONFIG_DIR");
}

void add_host_options(CLI::App &command, HostOptions &options) {
    add_plugin_options(command, options);
    add_filter_options(command, options.filter);
}

void add_progress_option(CLI::App &command, OutputOptions &options) {
    command.add_flag_callback(
        "--no-progress", [&options] { options.progress = false; }, "Draw no progress bar");
}

void add_chunk_option(CLI::App &command, uint64_t &chunk_bytes) {
    command
        .add_option_function<std::string>(
            "--chunk",
            [&chunk_bytes](const std::string &text) {
                try {
                    chunk_bytes = parse_byte_count(text);
                } catch (const std::invalid_argument &failure) {
                    throw CLI::ValidationError("--chunk", failure.what());
                }
                if (chunk_bytes == 0 || chunk_bytes > largest_chunk_bytes)
                    throw CLI::ValidationError("--chunk", "must be from 1 to 1G");
            },
            "Bytes of one read or write call, with K, M or G (default: 1M)")
        ->type_name("SIZE");
}

std::vector<std::string> ServerOptions::hosts_or_default() const {
    return hosts.empty() ? std::vector<std::string>{host_part(server)} : hosts;
}

void add_server_options(CLI::App &command, ServerOptions &options) {
    command
        .add_option("-s,--server", options.server,
                    "Server to open, PREFIX:HOST; PREFIX.sim describes it. \"Kelvarpool:...\" is a disk array, any "
                    "other a Copan array (default: $SIMHOST_SERVER)")
        ->type_name("NAME")
        ->envname("SIMHOST_SERVER")
        ->required();
    command
        .add_option("--hosts", options.hosts,
                    "Hosts to open a disk array for, separated by commas (default: HOST of the server's name)")
        ->type_name("HOST,...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(CLI::Validator([](const std::string &name) { return name.empty() ? "a host has no name" : ""; }, ""));
}

std::string unknown_word(const CLI::App &command, const std::string &word) {
    std::vector<std::string> known;
    const char *what = "unexpected argument";
    if (word.rfind('-', 0) == 0) {
        what = "unknown option";
        for (const CLI::Option *option : command.get_options())
            for (const std::string &name : option->get_lnames())
                known.push_back("--" + name);
    } else if (!command.get_subcommands(nullptr).empty()) {
        what = "unknown command";
        for (const CLI::App *subcommand : command.get_subcommands(nullptr))
            known.push_back(subcommand->get_name());
    }
    const std::string nearest = nearest_word(word, known);
    return fmt::format("{} {}{}", what, in_quotes(word),
                       nearest.empty() ? "" : fmt::format("; did you mean {}?", nearest));
}

std::string usage_error_text(const CLI::App &app, const CLI::ParseError &failure) {
    const CLI::App *command = &app;
    std::string words = "simhost";
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        words += ' ' + command->get_name();
    }
    // What CLI11 misses first hides what it did not understand.
    std::string text = failure.what();
    if (const std::vector<std::string> unknown = command->remaining(); !unknown.empty())
        text = unknown_word(*command, unknown.front());
    else if (command->get_require_subcommand_min() > 0)
        text = "a command is missing";
    else if (text == "--server is required")
        text += ": name one, PREFIX:HOST, here or in the environment as SIMHOST_SERVER";
    return fmt::format("simhost: {}\nRun \"{} --help\" for more information.\n", visible(text), words);
}
