#include "stsimage/rados/rados_names.h"

#include <chrono>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/rados/image_parts.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

// A list must not take long because much was deleted.
constexpr std::chrono::seconds longest_clearing(2);

}  // namespace

int32_t RadosNames::next(std::string_view &out_name) {
    while (given == page.names.size()) {
        if (shard_ends) {
            ++shard;
            after.clear();
            shard_ends = false;
        }
        if (shard >= NameTable::shards)
            return fail(STS_E_NO_MORE_ENTRIES, "the list of images in %s is at its end",
                        QuotedText(table.path()).c_str());
        if (const int32_t status = read_page(); status != 0)
            return status;
    }
    out_name = page.names[given++];
    return 0;
}

int32_t RadosNames::read_page() {
    given = 0;
    const int result = table.pool().demand_ours() ? table.read_page(shard, after, page) : -errno;
    if (result < 0) {
        page = NameTable::Page();
        return fail_system(errno_of(result), "cannot list the images in %s", QuotedText(table.path()).c_str());
    }
    after = page.last_key;
    shard_ends = !page.more;
    clear_up();
    return 0;
}

// Does nothing more once the cluster did not answer something of it: the list shall come to its end.
void RadosNames::clear_up() {
    if (is_clearing_silent)
        return;
    const CallPatience own_patience;
    const auto now = std::chrono::steady_clock::now;
    const auto end = now() + longest_clearing;
    for (size_t number = 0; number < page.garbage.size() && now() < end && !is_call_limited(); ++number)
        table.clear(shard, page.garbage[number]);
    for (const auto &[name, claim] : page.claims) {
        if (now() >= end || is_call_limited())
            break;
        bool lives = true;
        int result = table.ask_whether_lives(claim, lives);
        if (result == 0 && !lives && table.give_up(name, claim, result) == Change::done)
            table.clear(shard, {claim.id, unknown_size});
    }
    is_clearing_silent = is_call_limited();
}

}  // namespace stsimage
