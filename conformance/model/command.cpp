#include "conformance/model/command.h"

namespace conformance::model {

const std::vector<Command> &commands() {
    // Both texts are joined without a blank, split at blanks, and no shell's business. What cannot be started gives 0.
    static const std::vector<Command> all = {{"/bin/true", "", 0, ""},
                                             {"/bin/false", "", 256, ""},
                                             {"/bin/echo", " a  b", 0, "a b\n"},
                                             {"/bin/echo", " 'a  b'", 0, "a  b\n"},
                                             {"/bin/echo", " \"a  b\" 'c'", 0, "a  b c\n"},
                                             {"/bin/echo", " %s%d", 0, "%s%d\n"},
                                             {"/bin/echo", " $HOME;*", 0, "$HOME;*\n"},
                                             {"/bin/echo", "x", 0, ""},
                                             {"/bin/echo x", "y", 0, "xy\n"},
                                             {"/bin/sh", " -c 'exit 7'", 1792, ""},
                                             {"/bin/sh", " -c 'exit 255'", 65280, ""},
                                             {"/bin/sh", " -c 'kill -9 $$'", 9, ""},
                                             {"/no/such/program", "", 0, ""},
                                             {"/tmp", "", 0, ""},
                                             {"/dev/null", "", 0, ""},
                                             {" ", " ", 0, ""},
                                             {"", "", 0, ""},
                                             {"", " ", 0, ""},
                                             {std::nullopt, "", 0, ""},
                                             {std::nullopt, " x", 0, ""},
                                             {"/bin/false", std::nullopt, 0, ""},
                                             {std::nullopt, std::nullopt, 0, ""}};
    return all;
}

}  // namespace conformance::model
