#include "stsimage/s3/s3_names.h"

#include <algorithm>
#include <chrono>

#include "stsimage/call_patience.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage::s3 {

namespace {

// A list must not take long because much was deleted.
constexpr size_t most_taken_away = 20;
constexpr std::chrono::seconds longest_sweep(2);

}  // namespace

int32_t S3Names::next(std::string_view &out_name) {
    while (given == page.names.size()) {
        if (has_begun && page.continuation.empty())
            return fail(STS_E_NO_MORE_ENTRIES, "the list of images in %s is at its end",
                        QuotedText(table.path()).c_str());
        if (const int32_t status = read_page(); status != 0)
            return status;
    }
    out_name = page.names[given++];
    return 0;
}

int32_t S3Names::read_page() {
    const std::string continuation = page.continuation;
    given = 0;
    if (const Answer answer = table.list(continuation, page); !answer.ok()) {
        page.names.clear();
        page.continuation = continuation;  // to be asked for again
        return tell(answer, std::string("cannot list the images in ") + QuotedText(table.path()).c_str());
    }
    clear_up();
    return 0;
}

void S3Names::clear_up() {
    const CallPatience own_patience;
    if (!has_begun)
        table.root().sweep(std::chrono::steady_clock::now() + longest_sweep);
    has_begun = true;
    for (size_t number = 0; number < std::min(page.left.size(), most_taken_away) && !is_call_limited(); ++number)
        table.take_away(page.left[number]);
}

}  // namespace stsimage::s3
