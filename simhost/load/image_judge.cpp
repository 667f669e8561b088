#include "simhost/load/image_judge.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "simhost/host/record_field.h"
#include "simhost/load/data_blocks.h"

const sts_image_definition_t *ImageJudge::definition(uint64_t image) {
    set_field(m_definition.name, m_stream.ledger().name(image), "the image name");
    return &m_definition;
}

int32_t ImageJudge::properties_of(uint64_t image, sts_image_info_t &info) {
    const sts_image_definition_t *name = definition(image);
    return m_stream.calls().call(LoadedCall::get_image_prop_byname, image, 0, 0,
                                 [&] { return m_stream.entry().get_image_prop_byname(m_stream.lsu(), name, &info); });
}

std::optional<bool> ImageJudge::has_byte(uint64_t image, sts_image_handle_t handle, uint64_t offset) {
    char byte = 0;
    uint64_t got = 0;
    const int32_t status = m_stream.calls().call(LoadedCall::read_image, image, offset, 1, [&] {
        return m_stream.entry().read_image(handle, &byte, 1, offset, &got);
    });
    return status == 0 ? std::optional<bool>(got > 0) : std::nullopt;
}

ImageJudge::Inside ImageJudge::look_inside(uint64_t image, uint64_t right_size) {
    Inside inside;
    sts_image_handle_t handle = nullptr;
    const sts_image_definition_t *name = definition(image);
    const int32_t status = m_stream.calls().call(LoadedCall::open_image, image, 0, 0, [&] {
        return m_stream.entry().open_image(m_stream.lsu(), name, STSIMG_MODE_READ, &handle);
    });
    if (status != 0)
        return inside;
    m_stream.opened_handle();
    inside.opened = true;
    std::vector<char> block(block_bytes);
    uint64_t got = 0;
    const int32_t read = m_stream.calls().call(LoadedCall::read_image, image, 0, block_bytes, [&] {
        return m_stream.entry().read_image(handle, block.data(), block_bytes, 0, &got);
    });
    if (read == 0 && got <= block_bytes)
        inside.told = told_content(m_stream.workload().seed, block.data(), got);
    inside.has_last_byte =
        has_byte(image, handle, std::max<uint64_t>(inside.told ? inside.told->size : right_size, 1) - 1).value_or(true);
    m_stream.calls().call(LoadedCall::close_image, image, 0, 0, [&] { return m_stream.entry().close_image(handle); });
    m_stream.closed_handle();
    return inside;
}

void ImageJudge::judge_presence(uint64_t image, const ImageRecord &record, const char *how) {
    auto [kind, why] = [&record]() -> std::pair<PromiseKind, const char *> {
        switch (record.state) {
            case ImageState::deleted:
                return {PromiseKind::came_back, "it was deleted"};
            case ImageState::failed:
                return {PromiseKind::visible_failed, "its writing failed"};
            default:
                return {PromiseKind::visible_early, "it was not closed yet"};
        }
    }();
    const std::optional<Content> told = look_inside(image, 1).told;
    std::string holds;
    if (told) {
        holds = fmt::format("; it holds generation {} of image number {}", told->generation, told->image);
        const bool is_known = *told == record.coming || *told == record.content;
        if (!is_known && told->image != image)
            kind = PromiseKind::foreign_block;
        else if (!(*told == record.coming))
            kind = PromiseKind::came_back;
    }
    m_stream.broken(kind, image, fmt::format("{}, and {} finds it{}", why, how, holds));
}

void ImageJudge::judge_missing_in_list(uint64_t image, const ImageRecord &record) {
    sts_image_info_t info = {};
    if (properties_of(image, info) == STS_E_NOT_FOUND && m_stream.ledger().read(image).word == record.word)
        m_stream.broken(PromiseKind::lost_image, image,
                        "it was acknowledged, and neither a list nor stspi_get_image_prop_byname finds it");
    else
        m_stream.broken(PromiseKind::list_skips, image, "it was acknowledged, and the list lacks it");
}

void ImageJudge::judge_ghost_in_list(uint64_t image, const ImageRecord &record) {
    sts_image_info_t info = {};
    const int32_t status = properties_of(image, info);
    if (status == 0 && m_stream.ledger().read(image).word == record.word)
        judge_presence(image, record, "a list");
    else
        m_stream.broken(PromiseKind::list_ghost, image,
                        record.state == ImageState::writing ? "it is not closed yet, and the list gives it"
                                                            : "it is not there, and the list gives it");
}

void ImageJudge::judge_content(uint64_t image, const ImageRecord &record, const Content &told) {
    const bool is_foreign = told.image != record.content.image && told.image != record.coming.image;
    m_stream.broken(is_foreign ? PromiseKind::foreign_block : PromiseKind::stale_block, image,
                    is_foreign ? fmt::format("it holds image number {}", told.image)
                               : fmt::format("it holds generation {}", told.generation));
}

void ImageJudge::judge_size(uint64_t image, const ImageRecord &record, uint64_t size) {
    const uint64_t right = record.content.size;
    const Inside inside = look_inside(image, right);
    if (inside.opened && m_stream.ledger().read(image).word == record.word) {
        if (inside.told && !record.may_hold(*inside.told)) {
            judge_content(image, record, *inside.told);
            return;
        }
        if (!inside.has_last_byte) {
            m_stream.broken(PromiseKind::lost_block, image, fmt::format("it ends at {}, not at {}", size, right));
            return;
        }
    }
    m_stream.broken(PromiseKind::wrong_property, image,
                    fmt::format("its size is told as {}, it has {} bytes", size, right));
}

void ImageJudge::look_by_name(uint64_t image) {
    const ImageRecord before = m_stream.ledger().read(image);
    sts_image_info_t info = {};
    const int32_t status = properties_of(image, info);
    const ImageRecord after = m_stream.ledger().read(image);
    if (before.word != after.word)
        return;
    if (status == 0 && before.must_not_be_there())
        judge_presence(image, before, "stspi_get_image_prop_byname");
    if (status == STS_E_NOT_FOUND && before.must_be_there())
        m_stream.broken(PromiseKind::lost_image, image,
                        "it was acknowledged, and stspi_get_image_prop_byname does not find it");
    if (status != 0 && status != STS_E_NOT_FOUND)
        m_stream.failed(LoadedCall::get_image_prop_byname, status, image);
    const auto has_size = [&info](const Content &content) { return content.size == info.size_bytes; };
    if (status == 0 && before.must_be_there() && !has_size(before.content) &&
        !(before.state == ImageState::closing && has_size(before.coming)))
        judge_size(image, before, info.size_bytes);
}
