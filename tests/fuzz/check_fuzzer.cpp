// Any bytes, checked as either kind of file: the checker reports them without a crash, and agrees with the plug-in; and
// on a file that it calls good every call that the file promises works.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>

#include "simhost/check/json_report.h"
#include "simhost/check/mend.h"
#include "simhost/check/text_report.h"
#include "tests/fuzz/promised_calls.h"
#include "tests/fuzz/well_formed_file.h"
#include "tests/support/plugin_listing.h"

namespace {

void demand_none(const char *what, const std::vector<std::string> &lines) {
    for (const std::string &line : lines)
        std::fprintf(stderr, "%s: %s\n", what, line.c_str());
    if (!lines.empty())
        std::abort();
}

// How many of the inputs got as far as the calls, told at the end: a run in which none did shows nothing.
struct Tally {
    uint64_t files = 0;
    uint64_t good_files = 0;
    ~Tally() {
        std::fprintf(stderr, "%llu files checked, %llu of them good and tried\n",
                     static_cast<unsigned long long>(files), static_cast<unsigned long long>(good_files));
    }
};
Tally tally;

void check(const std::string &bytes, Grammar grammar) {
    const CheckedFile file = check_file("fuzz.sim", bytes, grammar);
    demand_none("disagreement", disagreements(file));
    demand_none("broken promise", broken_promises(file));
    bool is_good = false;
    demand_none("broken call", broken_calls(file, is_good));
    tally.files += 1;
    tally.good_files += is_good ? 1 : 0;
    if (findings_text(file, true).empty() != file.findings.empty())
        std::abort();
    // Slow, and without much to find: on a part of the inputs, chosen by their content.
    if (std::hash<std::string>()(bytes) % 256 == 0) {
        // Mending ends, and leaves nothing that can be mended.
        const Mend mend = mended("fuzz.sim", bytes, grammar);
        if (mended("fuzz.sim", mend.bytes, grammar).bytes != mend.bytes)
            demand_none("mended twice", {mend.bytes});
        sarif_log({file}, {}, {"0", 0}).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        file_json(file).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
}

}  // namespace

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t most);

// Good files are rare among random ones: many inputs begin as one anew, to be changed by the mutations that follow, if any do.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t most, unsigned seed) {
    std::mt19937 engine(seed);
    if (engine() % 3 != 0)
        return LLVMFuzzerMutate(data, size, most);
    const std::string text = well_formed_file(engine);
    if (text.size() > most)
        return LLVMFuzzerMutate(data, size, most);
    std::copy(text.begin(), text.end(), data);
    return text.size();
}

// The size decides on the grammar: one check an execution is faster, and an input is easily made to fit the other.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    check(bytes, size % 2 == 0 ? Grammar::array : Grammar::copan);
    return 0;
}
