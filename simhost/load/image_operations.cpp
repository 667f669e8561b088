#include "simhost/load/image_operations.h"

#include <fmt/format.h>

#include <algorithm>

#include "simhost/host/record_field.h"
#include "simhost/load/property_judge.h"

namespace {

// Mostly at a block's begin, where a block tells most; else anywhere.
uint64_t part_begin(uint64_t drawn, uint64_t size) {
    const uint64_t place = drawn % size;
    return (drawn >> 62) == 0 ? place : place / block_bytes * block_bytes;
}

}  // namespace

ImageOperations::ImageOperations(StreamCalls &stream)
    : m_stream(stream),
      m_judge(stream),
      m_blocks(stream.workload().seed, stream.workload().chunk_bytes, stream.workload().compressible_percent) {}

const sts_image_definition_t *ImageOperations::definition(uint64_t image) {
    set_field(m_definition.name, m_stream.ledger().name(image), "the image name");
    return &m_definition;
}

int32_t ImageOperations::close(uint64_t image, sts_image_handle_t handle) {
    const int32_t status = m_stream.calls().call(LoadedCall::close_image, image, 0, 0,
                                                 [&] { return m_stream.entry().close_image(handle); });
    m_stream.closed_handle();
    return status;
}

// ---- writing

sts_image_handle_t ImageOperations::create(uint64_t image) {
    sts_image_handle_t handle = nullptr;
    const sts_image_definition_t *name = definition(image);
    const int32_t status = m_stream.calls().call(LoadedCall::create_image, image, 0, 0, [&] {
        return m_stream.entry().create_image(m_stream.lsu(), name, 0, &handle);
    });
    if (status != 0) {
        m_stream.failed(LoadedCall::create_image, status, image);
        return nullptr;
    }
    m_stream.opened_handle();
    return handle;
}

ImageOperations::Written ImageOperations::write(uint64_t image, sts_image_handle_t handle, const Content &content) {
    const uint64_t middle = content.size / 2;
    for (uint64_t offset = 0; offset < content.size;) {
        const uint64_t length = std::min(m_stream.workload().chunk_bytes, content.size - offset);
        const char *bytes = m_blocks.data(content, offset, length);
        uint64_t written = 0;
        const int32_t status = m_stream.calls().call(LoadedCall::write_image, image, offset, length, [&] {
            return m_stream.entry().write_image(handle, nullptr, bytes, length, offset, &written);
        });
        if (status != 0) {
            m_stream.failed(LoadedCall::write_image, status, image);
            return Written::failed;
        }
        if (written != length) {
            m_stream.broken(PromiseKind::short_count, image,
                            fmt::format("a write of {} bytes at {} says that it wrote {}", length, offset, written));
            return Written::less;
        }
        m_stream.state().bytes_written.fetch_add(length, std::memory_order_relaxed);
        if (offset <= middle && middle < offset + length)
            m_judge.look_by_name(image);
        offset += length;
    }
    return Written::all;
}

// Whatever the close answers, an image whose writing failed must not be there. With rules of faults in force the image library
// may not know that a write failed: then the close makes an image of what it has, and who wrote it takes it away.
void ImageOperations::finish(uint64_t image, sts_image_handle_t handle, Written written) {
    if (written == Written::less || (written == Written::failed && m_stream.target().is_filtered())) {
        // Where the plug-in was not asked to write, its close may well publish a part.
        m_stream.ledger().begin_spoilt(image);
        close(image, handle);
        expire(image);
        return;
    }
    if (written == Written::failed) {
        if (close(image, handle) == 0) {
            m_stream.broken(PromiseKind::visible_failed, image,
                            "its writing failed, and its close says that all is well");
            m_stream.ledger().begin_closing(image);
            expire(image);
            return;
        }
        m_stream.ledger().keep_as_it_was(image);
        m_judge.look_by_name(image);
        return;
    }
    m_stream.ledger().begin_closing(image);
    const int32_t status = close(image, handle);
    if (status == 0) {
        m_stream.ledger().acknowledge_content(image);
        return;
    }
    m_stream.change_failed(LoadedCall::close_image, status, image);
    settle(image);
}

void ImageOperations::backup(uint64_t image, uint64_t size) {
    const Content content = {image, m_stream.state().generation.fetch_add(1) + 1, size};
    m_stream.ledger().begin_writing(image, content);
    sts_image_handle_t handle = create(image);
    if (handle == nullptr)
        m_stream.ledger().keep_as_it_was(image);
    else
        finish(image, handle, write(image, handle, content));
}

ImageOperations::Written ImageOperations::copy_content(uint64_t source, sts_image_handle_t from, uint64_t target,
                                                       sts_image_handle_t to, const Content &content) {
    for (uint64_t offset = 0; offset < content.size;) {
        const uint64_t length = std::min(m_stream.workload().chunk_bytes, content.size - offset);
        uint64_t copied = 0;
        const int32_t status = m_stream.calls().call(LoadedCall::copy_extent, target, offset, length, [&] {
            return m_stream.entry().copy_extent(to, offset, from, offset, length, nullptr, &copied);
        });
        m_stream.state().bytes_written.fetch_add(copied, std::memory_order_relaxed);
        if (status != 0) {
            m_stream.failed(LoadedCall::copy_extent, status, target);
            return Written::failed;
        }
        if (copied < length && ends_at(source, from, offset + copied)) {
            judge_end(source, from, content, offset + copied);
            return Written::less;
        }
        if (copied != length) {
            m_stream.broken(PromiseKind::short_count, target,
                            fmt::format("a copy of {} bytes at {} says that it copied {}", length, offset, copied));
            return Written::less;
        }
        offset += length;
    }
    return Written::all;
}

void ImageOperations::copy(uint64_t source, uint64_t target) {
    Reading reading;
    if (source == target || !open_for_reading(source, reading))
        return;
    const Content content = reading.before.content;
    m_stream.ledger().begin_writing(target, content);
    sts_image_handle_t handle = create(target);
    const Written written =
        handle == nullptr ? Written::failed : copy_content(source, reading.handle, target, handle, content);
    close_reading(source, reading.handle);
    if (handle == nullptr)
        m_stream.ledger().keep_as_it_was(target);
    else
        finish(target, handle, written);
}

void ImageOperations::expire(uint64_t image) {
    const ImageRecord record = m_stream.ledger().read(image);
    if (record.must_not_be_there()) {
        m_judge.look_by_name(image);
        return;
    }
    // From here on it may be gone, whatever it was.
    if (record.state != ImageState::spoilt)
        m_stream.ledger().begin_deleting(image);
    const sts_image_definition_t *name = definition(image);
    const int32_t status = m_stream.calls().call(
        LoadedCall::delete_image, image, 0, 0, [&] { return m_stream.entry().delete_image(m_stream.lsu(), name, 0); });
    if (status == 0) {
        m_stream.ledger().acknowledge_deletion(image);
        m_judge.look_by_name(image);
        return;
    }
    if (status == STS_E_NOT_FOUND) {
        if (record.must_be_there())
            m_stream.broken(PromiseKind::lost_image, image, "it was acknowledged, and a deletion does not find it");
        m_stream.ledger().found_nothing(image);
        return;
    }
    m_stream.change_failed(LoadedCall::delete_image, status, image);
    settle(image);
}

// ---- reading

void ImageOperations::complain_of_missing(uint64_t image, const Reading &reading, int32_t status) {
    if (status != STS_E_NOT_FOUND) {
        m_stream.failed(LoadedCall::open_image, status, image);
        return;
    }
    if (reading.before.word == reading.after.word && reading.before.must_be_there())
        m_stream.broken(PromiseKind::lost_image, image, "it was acknowledged, and stspi_open_image does not find it");
}

bool ImageOperations::open_for_reading(uint64_t image, Reading &reading) {
    reading.before = m_stream.ledger().read(image);
    const sts_image_definition_t *name = definition(image);
    const int32_t status = m_stream.calls().call(LoadedCall::open_image, image, 0, 0, [&] {
        return m_stream.entry().open_image(m_stream.lsu(), name, STSIMG_MODE_READ, &reading.handle);
    });
    reading.after = m_stream.ledger().read(image);
    if (status != 0) {
        complain_of_missing(image, reading, status);
        return false;
    }
    m_stream.opened_handle();
    if (reading.before.word == reading.after.word && reading.before.must_not_be_there()) {
        m_judge.judge_presence(image, reading.before, "stspi_open_image");
        close_reading(image, reading.handle);
        return false;
    }
    return true;
}

void ImageOperations::close_reading(uint64_t image, sts_image_handle_t handle) {
    const int32_t status = close(image, handle);
    if (status != 0)
        m_stream.failed(LoadedCall::close_image, status, image);
}

int32_t ImageOperations::read_call(uint64_t image, sts_image_handle_t handle, char *buffer, uint64_t length,
                                   uint64_t offset, uint64_t *got) {
    return m_stream.calls().call(LoadedCall::read_image, image, offset, length,
                                 [&] { return m_stream.entry().read_image(handle, buffer, length, offset, got); });
}

// While its owner changes an image, what it holds is what its first block says, if that is of its owner's making.
std::optional<Content> ImageOperations::expected_content(uint64_t image, const Reading &reading) {
    if (reading.before.word == reading.after.word && reading.before.state == ImageState::present)
        return reading.before.content;
    // What rules did to its writing meanwhile, nobody knows.
    if (m_stream.target().is_filtered() &&
        (reading.before.word != reading.after.word || reading.before.state == ImageState::spoilt))
        return std::nullopt;
    const uint64_t length = std::min<uint64_t>(block_bytes, m_stream.workload().chunk_bytes);
    char *buffer = m_blocks.read_buffer(0, length);
    uint64_t got = 0;
    const int32_t status = read_call(image, reading.handle, buffer, length, 0, &got);
    if (status != 0)
        m_stream.failed(LoadedCall::read_image, status, image);
    const auto told = status == 0 ? told_content(m_stream.workload().seed, buffer, got) : std::nullopt;
    if (!told)
        return std::nullopt;
    if (reading.before.word == reading.after.word && !reading.before.may_hold(*told)) {
        m_judge.judge_content(image, reading.before, *told);
        return std::nullopt;
    }
    return told;
}

bool ImageOperations::ends_at(uint64_t image, sts_image_handle_t handle, uint64_t offset) {
    return !m_judge.has_byte(image, handle, offset).value_or(true);
}

// An older content, or another image's, may be shorter.
void ImageOperations::judge_end(uint64_t image, sts_image_handle_t handle, const Content &content, uint64_t offset) {
    const uint64_t length = std::min<uint64_t>(block_bytes, m_stream.workload().chunk_bytes);
    uint64_t got = 0;
    char *buffer = m_blocks.read_buffer(0, length);
    const int32_t status = read_call(image, handle, buffer, length, 0, &got);
    const auto told = status == 0 ? told_content(m_stream.workload().seed, buffer, got) : std::nullopt;
    const PromiseKind kind = !told || *told == content      ? PromiseKind::lost_block
                             : told->image == content.image ? PromiseKind::stale_block
                                                            : PromiseKind::foreign_block;
    m_stream.broken(
        kind, image,
        fmt::format(
            "it ends at {}, not at {}{}", offset, content.size,
            told ? fmt::format(", and holds generation {} of image number {}", told->generation, told->image) : ""));
}

// The first block tells, or the last one when it is the first that is stale.
bool ImageOperations::has_right_block(uint64_t image, sts_image_handle_t handle, const Content &content,
                                      uint64_t stale_offset) {
    // What is left of a block behind its end may be too little to tell.
    const uint64_t last = content.size - std::min<uint64_t>(content.size, block_identity_bytes);
    const uint64_t offset = stale_offset != 0 ? 0 : last / block_bytes * block_bytes;
    return offset != stale_offset && check_block(image, handle, content, offset) == PromiseKind::count;
}

PromiseKind ImageOperations::check_block(uint64_t image, sts_image_handle_t handle, const Content &content,
                                         uint64_t offset) {
    const uint64_t length = std::min({content.size - offset, block_bytes, m_stream.workload().chunk_bytes});
    uint64_t got = 0;
    char *buffer = m_blocks.read_buffer(offset, length);
    if (read_call(image, handle, buffer, length, offset, &got) != 0 || got != length)
        return PromiseKind::foreign_block;
    const auto fault = m_blocks.check(buffer, content, offset, length, false);
    return fault ? fault->kind : PromiseKind::count;
}

bool ImageOperations::read_part(uint64_t image, sts_image_handle_t handle, const Content &content, uint64_t offset,
                                bool earlier_right) {
    const uint64_t length = std::min(m_stream.workload().chunk_bytes, content.size - offset);
    char *buffer = m_blocks.read_buffer(offset, length);
    uint64_t got = 0;
    const int32_t status = read_call(image, handle, buffer, length, offset, &got);
    if (status != 0) {
        m_stream.failed(LoadedCall::read_image, status, image);
        return false;
    }
    if (got > length) {
        m_stream.broken(PromiseKind::unfilled, image,
                        fmt::format("a read of {} bytes at {} brings {}", length, offset, got));
        return false;
    }
    m_stream.state().bytes_read.fetch_add(got, std::memory_order_relaxed);
    auto fault = m_blocks.check(buffer, content, offset, got, earlier_right);
    // Of a part of a block it cannot be told where it belongs; of the whole block perhaps.
    if (fault && fault->kind == PromiseKind::foreign_block)
        if (const PromiseKind kind = check_block(image, handle, content, fault->offset); kind != PromiseKind::count)
            fault->kind = kind;
    if (fault && fault->kind == PromiseKind::stale_block && has_right_block(image, handle, content, fault->offset))
        fault->kind = PromiseKind::mixed_generations;
    if (fault)
        m_stream.broken(fault->kind, image,
                        fmt::format("the block at {} of {} (generation {}): {}", fault->offset, content.size,
                                    content.generation, fault->what));
    else if (got < length && ends_at(image, handle, offset + got))
        judge_end(image, handle, content, offset + got);
    else if (got < length)
        m_stream.broken(PromiseKind::short_count, image,
                        fmt::format("a read of {} bytes at {} of {} brings {}", length, offset, content.size, got));
    return !fault && got == length;
}

void ImageOperations::read_all(uint64_t image, sts_image_handle_t handle, const Content &content) {
    for (uint64_t offset = 0; offset < content.size; offset += m_stream.workload().chunk_bytes)
        if (!read_part(image, handle, content, offset, offset > 0))
            return;
    char byte = 0;
    uint64_t got = 0;
    if (read_call(image, handle, &byte, 1, content.size, &got) == 0 && got != 0)
        m_stream.broken(PromiseKind::wrong_property, image,
                        fmt::format("it goes on behind its {} bytes", content.size));
}

void ImageOperations::restore(uint64_t image) {
    Reading reading;
    if (!open_for_reading(image, reading))
        return;
    if (const auto content = expected_content(image, reading))
        read_all(image, reading.handle, *content);
    else
        m_stream.state().unjudged.fetch_add(1, std::memory_order_relaxed);
    close_reading(image, reading.handle);
}

void ImageOperations::verify(uint64_t image, Draw &draw) {
    constexpr int parts = 4;
    uint64_t places[parts];
    for (uint64_t &place : places)
        place = draw.next();
    Reading reading;
    if (!open_for_reading(image, reading))
        return;
    const auto content = expected_content(image, reading);
    bool right = content.has_value();
    for (const uint64_t place : places)
        if (right)
            right = read_part(image, reading.handle, *content, part_begin(place, content->size), false);
    close_reading(image, reading.handle);
}

void ImageOperations::properties(uint64_t image) {
    m_judge.look_by_name(image);
    sts_lsu_info_v9_t lsu = {};
    const int32_t lsu_status = m_stream.calls().call(
        LoadedCall::get_lsu_prop_byname, [&] { return m_stream.entry().get_lsu_prop_byname(m_stream.lsu(), &lsu); });
    if (lsu_status != 0)
        m_stream.failed(LoadedCall::get_lsu_prop_byname, lsu_status);
    else if (const std::string change = changed_property(m_stream.place().info, lsu); !change.empty())
        m_stream.broken(PromiseKind::wrong_property, no_image, "of the LSU, " + change);
    sts_server_info_t server = {};
    const int32_t server_status = m_stream.calls().call(
        LoadedCall::get_server_prop, [&] { return m_stream.entry().get_server_prop(m_stream.lsu()->server, &server); });
    if (server_status != 0)
        m_stream.failed(LoadedCall::get_server_prop, server_status);
    else if (const std::string change = changed_property(m_stream.target().server_info, server); !change.empty())
        m_stream.broken(PromiseKind::wrong_property, no_image, "of the server, " + change);
}

ImageOperations::Found ImageOperations::find_out(uint64_t image, const ImageRecord &record) {
    sts_image_handle_t handle = nullptr;
    const sts_image_definition_t *name = definition(image);
    const int32_t status = m_stream.calls().call(LoadedCall::open_image, image, 0, 0, [&] {
        return m_stream.entry().open_image(m_stream.lsu(), name, STSIMG_MODE_READ, &handle);
    });
    if (status == STS_E_NOT_FOUND)
        return Found::nothing;
    if (status != 0) {
        m_stream.failed(LoadedCall::open_image, status, image);
        return Found::refused;
    }
    m_stream.opened_handle();
    const uint64_t length = std::min<uint64_t>(block_bytes, m_stream.workload().chunk_bytes);
    char *buffer = m_blocks.read_buffer(0, length);
    uint64_t got = 0;
    const int32_t read = read_call(image, handle, buffer, length, 0, &got);
    const auto holds = [&](const Content &content) {
        const uint64_t part = std::min(length, content.size);
        return read == 0 && got == part && !m_blocks.check(buffer, content, 0, part, false);
    };
    Found found = read == 0 ? Found::cannot_tell : Found::refused;
    if (record.state == ImageState::closing && holds(record.coming))
        found = Found::new_content;
    else if (record.had_content && holds(record.content))
        found = Found::old_content;
    else if (read == 0 && record.state == ImageState::spoilt)
        found = Found::cannot_tell;
    else if (read == 0 && record.state != ImageState::writing)
        m_stream.broken(PromiseKind::foreign_block, image, "it holds neither its old content nor its new one");
    else if (read == 0 && record.had_content)
        m_stream.broken(PromiseKind::visible_failed, image,
                        "its replacement was not closed, and it does not hold what it held");
    else if (read == 0)
        m_stream.broken(PromiseKind::visible_failed, image, "it was not closed when its process died, and it is there");
    else
        m_stream.failed(LoadedCall::read_image, read, image);
    if (found == Found::new_content || found == Found::old_content)
        read_all(image, handle, found == Found::new_content ? record.coming : record.content);
    close_reading(image, handle);
    return found;
}

bool ImageOperations::settle(uint64_t image) {
    const ImageRecord record = m_stream.ledger().read(image);
    if (!record.is_under_way())
        return true;
    const Found found = find_out(image, record);
    if (found == Found::refused)
        return false;
    UnknownCounts &unknown = m_stream.run().unknown();
    unknown.total.fetch_add(1);
    switch (found) {
        case Found::new_content:
            unknown.new_content.fetch_add(1);
            m_stream.ledger().acknowledge_content(image);
            break;
        case Found::old_content:
            unknown.old_content.fetch_add(1);
            m_stream.ledger().keep_as_it_was(image);
            break;
        case Found::cannot_tell:
            // Out of the way, so that the next backup begins anew.
            m_stream.calls().call(LoadedCall::delete_image, image, 0, 0,
                                  [&] { return m_stream.entry().delete_image(m_stream.lsu(), definition(image), 0); });
            m_stream.ledger().found_nothing(image);
            break;
        default:
            unknown.nothing.fetch_add(1);
            if (record.must_be_there())
                m_stream.broken(PromiseKind::lost_image, image,
                                "it was acknowledged, its replacement was not, and it is gone");
            m_stream.ledger().found_nothing(image);
    }
    return true;
}
