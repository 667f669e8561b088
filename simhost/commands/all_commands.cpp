#include "simhost/commands/all_commands.h"

#include <memory>
#include <stdexcept>
#include <string>

#include "simhost/commands/help_formatter.h"

// Each command: the word before it, if any, and its own name. Help lists them in this order; the source beside,
// [GROUP_]NAME_command.cpp, defines add_[GROUP_]NAME_command.
#define SIMHOST_COMMANDS(COMMAND, COMMAND_OF) \
    COMMAND(run)                              \
    COMMAND(claim)                            \
    COMMAND(server)                           \
    COMMAND(pools)                            \
    COMMAND(volumes)                          \
    COMMAND(lsu)                              \
    COMMAND(mount)                            \
    COMMAND(umount)                           \
    COMMAND_OF(image, put)                    \
    COMMAND_OF(image, get)                    \
    COMMAND_OF(image, ls)                     \
    COMMAND_OF(image, stat)                   \
    COMMAND_OF(image, rm)                     \
    COMMAND_OF(image, copy)                   \
    COMMAND_OF(image, migrate)                \
    COMMAND_OF(image, fsck)                   \
    COMMAND(probe)                            \
    COMMAND(init)                             \
    COMMAND(check)                            \
    COMMAND(show)                             \
    COMMAND(diff)                             \
    COMMAND_OF(faults, check)                 \
    COMMAND_OF(faults, explain)               \
    COMMAND_OF(faults, status)                \
    COMMAND_OF(faults, apply)                 \
    COMMAND_OF(faults, init)                  \
    COMMAND(sweep)                            \
    COMMAND(load)                             \
    COMMAND_OF(load, init)                    \
    COMMAND_OF(load, check)                   \
    COMMAND_OF(load, compare)                 \
    COMMAND_OF(journal, show)                 \
    COMMAND_OF(journal, stats)                \
    COMMAND_OF(journal, export)               \
    COMMAND_OF(journal, diff)                 \
    COMMAND(replay)                           \
    COMMAND(minimize)                         \
    COMMAND(help)

#define DECLARE(name)           void add_##name##_command(CLI::App &app, CommandLine &line);
#define DECLARE_OF(group, name) DECLARE(group##_##name)
SIMHOST_COMMANDS(DECLARE, DECLARE_OF)
#undef DECLARE
#undef DECLARE_OF

namespace {

struct Group {
    const char *name;
    const char *description;
};

constexpr Group groups[] = {
    {"image", "Work with the images of an LSU"},
    {"faults", "Work with rules for trouble on demand"},
    {"journal", "Read the journal of a plug-in's calls"},
};

// Each group is made where its first command stands, unless it is a command itself.
CLI::App &group_of(CLI::App &app, const char *name) {
    for (CLI::App *known : app.get_subcommands([name](const CLI::App *command) { return command->get_name() == name; }))
        return *known;
    for (const Group &group : groups)
        if (std::string(group.name) == name) {
            CLI::App *made = add_command(app, name, group.description);
            made->require_subcommand(1);
            return *made;
        }
    throw std::logic_error(std::string(name) + " is no group of commands");
}

}  // namespace

void add_commands(CLI::App &app, CommandLine &line) {
    app.set_help_flag("-h,--help", "Show this help and end");
    app.formatter(std::make_shared<HelpFormatter>());
    app.require_subcommand(1);
#define ADD(name)           add_##name##_command(app, line);
#define ADD_OF(group, name) add_##group##_##name##_command(group_of(app, #group), line);
    SIMHOST_COMMANDS(ADD, ADD_OF)
#undef ADD
#undef ADD_OF
    app.footer(
        "Exit status: 0 all is well, 1 the answer is bad, 2 the command or its input\n"
        "cannot be used, 3 all is well but for warnings (with --strict).\n"
        "\"simhost help COMMAND\" tells the options of a command.");
}
