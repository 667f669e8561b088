#include "tests/filter/random_rules.h"

#include <vector>

#include "filter/rules/settings.h"

namespace {

using Words = std::vector<const char *>;

const char *one_of(std::mt19937_64 &engine, const Words &words) { return words[engine() % words.size()]; }

// Some of them more than once: what draws, and what is called most.
const Words functions = {"*",
                         "*_image",
                         "read_image",
                         "write_image",
                         "list_lsu",
                         "list_image",
                         "close_image",
                         "get_lsu_prop_byname",
                         "open_server,*prop*",
                         "*_lsu*",
                         "write_image",
                         "read_image",
                         "create_image,open_image",
                         "*server*",
                         "delete_image"};
const Words names = {"",
                     "",
                     "server \"copan:*\"",
                     "lsu \"pool*\"",
                     "lsu \"vol*[ac]\"",
                     "image \"t*-image1\"",
                     "image *",
                     "host host*",
                     "offset > 100",
                     "length 100..2K",
                     "bytes > 4K",
                     "returned error",
                     "returned 0",
                     "image t?-image[!2]"};
const Words windows = {"",
                       "",
                       "call 2",
                       "calls 2..4",
                       "after call 3",
                       "every 2",
                       "first 3",
                       "each thread first 2",
                       "25% of calls",
                       "50% of calls",
                       "75% of calls",
                       "for 1h",
                       "while /nowhere",
                       "while /"};
const Words effects = {"answer STS_E_SYSTEM",
                       "after answer STS_E_NO_SERVER",
                       "answer 0",
                       "delay 10us..90us",
                       "after delay 20us",
                       "log \"by rule\"",
                       "short 100",
                       "short 50%",
                       "after short 50%",
                       "flip bit 3 at 5",
                       "flip at random",
                       "flip bit 7 at image 10",
                       "zero 10 at 20",
                       "zero all",
                       "stale",
                       "lose",
                       "omit",
                       "repeat",
                       "reverse",
                       "rate 900M/s",
                       "after set lsu_class 7",
                       "after set name other",
                       "after set size_bytes 5",
                       "after set bytes_read 3"};

}  // namespace

std::string random_rules(std::mt19937_64 &engine, const std::string &selector, bool kills) {
    std::string text;
    for (uint64_t count = 1 + engine() % 8; count > 0;) {
        std::string rule = "on ";
        rule += one_of(engine, functions);
        rule += ' ' + selector + ' ';
        rule += one_of(engine, names);
        rule += ' ';
        rule += one_of(engine, windows);
        rule += ' ';
        rule += kills && engine() % 32 == 0 ? "kill" : one_of(engine, effects);
        rule += '\n';
        if (!filter::read_settings(rule).errors.empty())
            continue;
        text += rule;
        --count;
    }
    return text;
}
