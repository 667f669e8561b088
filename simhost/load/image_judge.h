// What the ledger says of an image, held against what is seen of it by name. Where they differ, the image itself is looked at,
// so that what is wrong gets its right name: a size may be told wrong, or the image may end too early.
#pragma once

#include <optional>

#include "simhost/load/stream_calls.h"
#include "stspi/stsimg.h"

class ImageJudge {
public:
    explicit ImageJudge(StreamCalls &stream) : m_stream(stream) {}

    // Asks for the properties of an image, and complains of what is wrong with that.
    void look_by_name(uint64_t image);

    // An image must not be there, and is. how: what found it.
    void judge_presence(uint64_t image, const ImageRecord &record, const char *how);
    // A list lacks an image that must be there, or gives one that must not.
    void judge_missing_in_list(uint64_t image, const ImageRecord &record);
    void judge_ghost_in_list(uint64_t image, const ImageRecord &record);
    // An image begins with a content that the record does not allow.
    void judge_content(uint64_t image, const ImageRecord &record, const Content &told);

    // Whether an open image has a byte there; nothing when that cannot be told.
    std::optional<bool> has_byte(uint64_t image, sts_image_handle_t handle, uint64_t offset);

private:
    // What an image is found to hold.
    struct Inside {
        bool opened = false;
        std::optional<Content> told;  // by its first block
        bool has_last_byte = true;    // of what it is told to hold, or else of the size that it should have
    };
    Inside look_inside(uint64_t image, uint64_t right_size);
    void judge_size(uint64_t image, const ImageRecord &record, uint64_t size);
    int32_t properties_of(uint64_t image, sts_image_info_t &info);
    const sts_image_definition_t *definition(uint64_t image);

    StreamCalls &m_stream;
    sts_image_definition_t m_definition = {};
};
