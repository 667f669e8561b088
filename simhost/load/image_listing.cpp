#include "simhost/load/image_listing.h"

#include <unordered_map>
#include <vector>

#include "base/text_field.h"
#include "simhost/load/image_judge.h"

namespace {

struct Expected {
    uint64_t image;
    ImageRecord before;
};

// The images of all streams whose place is this stream's.
std::vector<Expected> images_here(StreamCalls &stream) {
    std::vector<Expected> images;
    const Workload &workload = stream.workload();
    for (unsigned other = 0; other < workload.total_streams(); ++other) {
        if (stream.target().place_of(other).lsu != stream.place().lsu)
            continue;
        const uint64_t first = stream.run().first_image(other);
        for (uint64_t image = first; image < first + workload.images; ++image)
            images.push_back({image, stream.ledger().read(image)});
    }
    return images;
}

bool take_list(StreamCalls &stream, sts_image_list_handle_t list, std::unordered_map<uint64_t, unsigned> &given) {
    sts_image_definition_t definition = {};
    for (;;) {
        const int32_t status =
            stream.calls().call(LoadedCall::list_image, [&] { return stream.entry().list_image(list, &definition); });
        if (status == STS_E_NO_MORE_ENTRIES)
            return true;
        if (status != 0) {
            stream.failed(LoadedCall::list_image, status);
            return false;
        }
        const uint64_t image = stream.ledger().image_of(field_text(definition.name));
        if (image < stream.ledger().images())
            ++given[image];
    }
}

void compare(StreamCalls &stream, const std::vector<Expected> &images, std::unordered_map<uint64_t, unsigned> &given) {
    ImageJudge judge(stream);
    for (const Expected &expected : images) {
        if (stream.ledger().read(expected.image).word != expected.before.word)
            continue;
        const auto found = given.find(expected.image);
        const unsigned times = found == given.end() ? 0 : found->second;
        if (times == 0 && expected.before.must_be_there())
            judge.judge_missing_in_list(expected.image, expected.before);
        else if (times > 0 && expected.before.must_not_be_there())
            judge.judge_ghost_in_list(expected.image, expected.before);
        else if (times > 1)
            stream.broken(PromiseKind::list_repeats, expected.image, "the list gives it more than once");
    }
}

}  // namespace

void list_images(StreamCalls &stream) {
    const std::vector<Expected> images = images_here(stream);
    sts_image_list_handle_t list = nullptr;
    const int32_t status = stream.calls().call(LoadedCall::open_image_list,
                                               [&] { return stream.entry().open_image_list(stream.lsu(), 0, &list); });
    std::unordered_map<uint64_t, unsigned> given;
    bool complete = status == 0;
    if (complete) {
        stream.opened_handle();
        complete = take_list(stream, list, given);
        const int32_t closed =
            stream.calls().call(LoadedCall::close_image_list, [&] { return stream.entry().close_image_list(list); });
        stream.closed_handle();
        if (closed != 0)
            stream.failed(LoadedCall::close_image_list, closed);
    } else if (status == STS_E_NOT_FOUND) {
        // An LSU on which no image was ever put may be unknown to the image library.
        complete = true;
    } else {
        stream.failed(LoadedCall::open_image_list, status);
    }
    if (complete)
        compare(stream, images, given);
}
