// Any bytes, checked as either kind of file: the checker reports them without a crash, and agrees with the plug-in.
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "simhost/check/json_report.h"
#include "simhost/check/text_report.h"
#include "tests/support/plugin_listing.h"

namespace {

void demand_none(const char *what, const std::vector<std::string> &lines) {
    for (const std::string &line : lines)
        std::fprintf(stderr, "%s: %s\n", what, line.c_str());
    if (!lines.empty())
        std::abort();
}

void check(const std::string &bytes, Grammar grammar) {
    const CheckedFile file = check_file("fuzz.sim", bytes, grammar);
    demand_none("disagreement", disagreements(file));
    demand_none("broken promise", broken_promises(file));
    if (findings_text(file, true).empty() != file.findings.empty())
        std::abort();
    // Slow, and without much to find: on a part of the inputs, chosen by their content.
    if (std::hash<std::string>()(bytes) % 256 == 0) {
        sarif_log({file}, "0").dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        file_json(file).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
}

}  // namespace

// The size decides on the grammar: one check an execution is faster, and an input is easily made to fit the other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    check(bytes, size % 2 == 0 ? Grammar::array : Grammar::copan);
    return 0;
}
