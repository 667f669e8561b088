// The operations on images, each of which keeps the ledger and holds what it sees against it.
#pragma once

#include "simhost/load/data_blocks.h"
#include "simhost/load/draw.h"
#include "simhost/load/image_judge.h"
#include "simhost/load/stream_calls.h"
#include "stspi/stsimg.h"

class ImageOperations {
public:
    explicit ImageOperations(StreamCalls &stream);

    // On images that the stream owns.
    void backup(uint64_t image, uint64_t size);
    void expire(uint64_t image);
    void copy(uint64_t source, uint64_t target);
    // What was under way when a process died or a call failed: finds out what became of it. False when that is refused.
    bool settle(uint64_t image);

    // On any image.
    void restore(uint64_t image);
    void verify(uint64_t image, Draw &draw);
    void properties(uint64_t image);

private:
    // What is there of an image that may hold its old content, a new one, or be gone. Complains of anything else, which is
    // cannot_tell.
    enum class Found { nothing, old_content, new_content, cannot_tell, refused };

    struct Reading {
        sts_image_handle_t handle = nullptr;
        ImageRecord before;
        ImageRecord after;  // once it was open
    };
    bool open_for_reading(uint64_t image, Reading &reading);
    void complain_of_missing(uint64_t image, const Reading &reading, int32_t status);
    // What an open image must hold; nothing when that cannot be told.
    std::optional<Content> expected_content(uint64_t image, const Reading &reading);
    // Reads a part and checks it. False when it is wrong or cannot be read.
    bool read_part(uint64_t image, sts_image_handle_t handle, const Content &content, uint64_t offset,
                   bool earlier_right);
    // Whether an open image has no byte there.
    bool ends_at(uint64_t image, sts_image_handle_t handle, uint64_t offset);
    // An open image ends at offset, before its content does.
    void judge_end(uint64_t image, sts_image_handle_t handle, const Content &content, uint64_t offset);
    // What is wrong with the block at an offset; PromiseKind::count: nothing. One that cannot be read whole is foreign.
    PromiseKind check_block(uint64_t image, sts_image_handle_t handle, const Content &content, uint64_t offset);
    // Whether another block of an image with a stale one is right.
    bool has_right_block(uint64_t image, sts_image_handle_t handle, const Content &content, uint64_t stale_offset);
    void read_all(uint64_t image, sts_image_handle_t handle, const Content &content);
    Found find_out(uint64_t image, const ImageRecord &record);
    int32_t read_call(uint64_t image, sts_image_handle_t handle, char *buffer, uint64_t length, uint64_t offset,
                      uint64_t *got);
    void close_reading(uint64_t image, sts_image_handle_t handle);

    sts_image_handle_t create(uint64_t image);
    // How far the writing of an image came: all of it; a call failed; a call that succeeded moved less than it must, of which the
    // plug-in knows nothing.
    enum class Written { all, failed, less };
    Written write(uint64_t image, sts_image_handle_t handle, const Content &content);
    Written copy_content(uint64_t source, sts_image_handle_t from, uint64_t target, sts_image_handle_t to,
                         const Content &content);
    void finish(uint64_t image, sts_image_handle_t handle, Written written);
    int32_t close(uint64_t image, sts_image_handle_t handle);
    const sts_image_definition_t *definition(uint64_t image);

    StreamCalls &m_stream;
    ImageJudge m_judge;
    DataBlocks m_blocks;
    sts_image_definition_t m_definition = {};
};
