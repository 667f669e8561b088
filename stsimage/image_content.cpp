#include "stsimage/image_content.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "base/invariant.h"
#include "stsimage/index_checksum.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr uint64_t checked_at_once = uint64_t{256} * 1024;
static_assert(group_size % checked_at_once == 0);

// Up to so many blocks are read in the quickest way.
constexpr uint64_t few_blocks = 2;

uint64_t blocks_touched(uint64_t offset, uint64_t length) {
    return (offset % block_size + length + block_size - 1) / block_size;
}

// Where the last block of an image ends in the file, or the header of an empty one: there the index begins.
uint64_t end_of_data(uint64_t image_size) {
    return image_size == 0 ? header_size : block_place((image_size - 1) / block_size) + block_size;
}

// Whether the places and sizes of a header fit each other: what is read must, and what is written does.
bool is_consistent(const ImageHeader &header) {
    return header.block_size == block_size && header.blocks_per_group == blocks_per_group &&
           header.image_size <= max_image_size && header.index_place == end_of_data(header.image_size) &&
           header.index_entries <= groups_of(header.image_size);
}

// Whether the entries are of different groups, in ascending order, of an image of so many groups.
bool is_ordered(const std::vector<IndexEntry> &index, uint64_t groups) {
    const auto unordered = [](const IndexEntry &one, const IndexEntry &next) { return one.group >= next.group; };
    return std::adjacent_find(index.begin(), index.end(), unordered) == index.end() &&
           (index.empty() || index.back().group < groups);
}

uint64_t bytes_in(const iovec *buffers, int buffer_count) {
    uint64_t bytes = 0;
    for (int i = 0; i < buffer_count; ++i)
        bytes += buffers[i].iov_len;
    return bytes;
}

int32_t check_layout(const ImageHeader &header, uint64_t file_size, const std::string &path) {
    if (!is_consistent(header))
        return fail(STSIMG_E_DAMAGED, "%s: the header at offset 0 contradicts itself", QuotedText(path).c_str());
    const uint64_t expected = header.index_place + header.index_entries * sizeof(IndexEntry);
    if (file_size < expected)
        return fail(STSIMG_E_TRUNCATED, "%s ends at offset %ju instead of %ju", QuotedText(path).c_str(),
                    uintmax_t{file_size}, uintmax_t{expected});
    if (file_size > expected)
        return fail(STSIMG_E_DAMAGED, "%s goes on after its end at offset %ju", QuotedText(path).c_str(),
                    uintmax_t{expected});
    return 0;
}

}  // namespace

int32_t read_header(StoredImage &file, ImageHeader &out_header) {
    const QuotedText shown(file.path());
    ImageHeader header;
    uint64_t size = 0;
    if (!file.ask_size(size))
        return fail_system(errno, "cannot ask for the size of %s", shown.c_str());
    const ssize_t got = file.read(&header, sizeof header, 0);
    if (got < 0)
        return fail_system(errno, "cannot read the header of %s", shown.c_str());
    if (static_cast<size_t>(got) < sizeof header.magic ||
        std::memcmp(header.magic, image_magic, sizeof image_magic) != 0)
        return fail(STSIMG_E_NOT_AN_IMAGE, "%s is no image: its bytes at offset 0 are not those of one", shown.c_str());
    if (static_cast<size_t>(got) < sizeof header)
        return fail(STSIMG_E_TRUNCATED, "%s ends at offset %zd, within its header", shown.c_str(), got);
    if (header.version != image_version)
        return fail(STSIMG_E_UNKNOWN_VERSION, "%s has format version %u at offset 8; only version %u is known",
                    shown.c_str(), uint32_t{header.version}, image_version);
    if (header.checksum != checksum_of_header(header))
        return fail(STSIMG_E_DAMAGED, "%s: the header at offset 0 does not match its checksum", shown.c_str());
    if (const int32_t status = check_layout(header, size, file.path()); status != 0)
        return status;
    out_header = header;
    return 0;
}

ImageContent::ImageContent(StoredImage &stored, Draft *written, const ImageHeader &image_header)
    : file(stored), draft(written), header(image_header), tables(file, draft, header.seed) {}

int32_t ImageContent::make(Draft &draft, std::string_view server_name, std::unique_ptr<ImageContent> &out_content) {
    ImageHeader header{};
    std::memcpy(header.magic, image_magic, sizeof image_magic);
    header.version = image_version;
    header.block_size = block_size;
    header.blocks_per_group = blocks_per_group;
    header.creation_time = std::time(nullptr);
    server_name.copy(header.server_name, server_name_size - 1);
    uint64_t seed = 0;
    if (getrandom(&seed, sizeof seed, 0) != static_cast<ssize_t>(sizeof seed))
        return fail_system(errno, "cannot get a random number for %s", QuotedText(draft.path()).c_str());
    header.seed = seed;
    out_content.reset(new ImageContent(draft, &draft, header));
    return 0;
}

int32_t ImageContent::load(StoredImage &file, std::unique_ptr<ImageContent> &out_content) {
    return load(file, nullptr, out_content);
}

int32_t ImageContent::load_to_change(Draft &draft, std::unique_ptr<ImageContent> &out_content) {
    if (const int32_t status = load(draft, &draft, out_content); status != 0)
        return status;
    const uint64_t end = out_content->header.index_place;
    if (!draft.cut(end))
        return fail_system(errno, "cannot cut %s at offset %ju", QuotedText(draft.path()).c_str(), uintmax_t{end});
    return 0;
}

int32_t ImageContent::load(StoredImage &file, Draft *draft, std::unique_ptr<ImageContent> &out_content) {
    ImageHeader header{};
    if (const int32_t status = read_header(file, header); status != 0)
        return status;
    std::unique_ptr<ImageContent> content(new ImageContent(file, draft, header));
    if (const int32_t status = content->tables.load_index(header.index_place, header.index_entries,
                                                          groups_of(header.image_size), header.index_checksum);
        status != 0)
        return status;
    out_content = std::move(content);
    return 0;
}

int32_t ImageContent::read(char *buffer, uint64_t length, uint64_t offset) {
    if (holding)
        if (const int32_t status = release_held(); status != 0)
            return status;
    while (length > 0) {
        // Parts that the processor's cache still holds when they are checked.
        const uint64_t part = std::min(length, checked_at_once - offset % checked_at_once);
        if (const int32_t status = read_group_part(buffer, part, offset); status != 0)
            return status;
        buffer += part;
        offset += part;
        length -= part;
    }
    return 0;
}

// Reads a range within one group: a short one as it is, a longer one as runs of blocks that are stored and runs of gaps.
int32_t ImageContent::read_group_part(char *buffer, uint64_t length, uint64_t offset) {
    STS_INVARIANT(length > 0 && offset % group_size + length <= group_size);
    std::shared_ptr<ChecksumTable> table;
    if (const int32_t status = tables.find(offset / block_size / blocks_per_group, table); status != 0)
        return status;
    if (table == nullptr) {
        std::memset(buffer, 0, length);
        return 0;
    }
    if (blocks_touched(offset, length) <= few_blocks)
        return read_few(*table, buffer, length, offset);
    const auto stored = [&table](uint64_t block) { return (*table)[block % blocks_per_group] != 0; };
    const uint64_t end = offset + length;
    while (offset < end) {
        const uint64_t first = offset / block_size;
        uint64_t next = first + 1;
        while (next * block_size < end && stored(next) == stored(first))
            ++next;
        const uint64_t part = std::min(next * block_size, end) - offset;
        int32_t status = 0;
        if (!stored(first))
            std::memset(buffer, 0, part);
        else if (next - first <= few_blocks)
            status = read_few(*table, buffer, part, offset);
        else
            status = read_many(*table, buffer, part, offset);
        if (status != 0)
            return status;
        buffer += part;
        offset += part;
    }
    return 0;
}

// Reads few blocks, stored or not, in one transfer: straight to the caller's buffer if they are whole ones, and otherwise by
// way of a buffer of our own, since only a whole block can be checked. The checksums are fetched into the processor's cache
// during the transfer, which is what a small random read would otherwise wait for.
int32_t ImageContent::read_few(const ChecksumTable &table, char *buffer, uint64_t length, uint64_t offset) {
    alignas(64) char edges[few_blocks * block_size];
    const uint64_t first = offset / block_size;
    const uint64_t count = blocks_touched(offset, length);
    const bool whole = length == count * block_size;
    char *const data = whole ? buffer : edges;
    __builtin_prefetch(&table[first % blocks_per_group]);
    iovec part{data, count * block_size};
    if (const int32_t status = transfer(&part, 1, first, count); status != 0)
        return status;
    for (uint64_t done = 0; done < count; ++done) {
        char *const block_data = data + done * block_size;
        if (table[(first + done) % blocks_per_group] == 0)
            std::memset(block_data, 0, block_size);
        else if (const int32_t status = check(table, block_data, first + done, 1); status != 0)
            return status;
    }
    if (!whole)
        std::memcpy(buffer, edges + offset % block_size, length);
    return 0;
}

// Reads more than few stored blocks in one transfer; only those at the edges go by way of a buffer of our own.
int32_t ImageContent::read_many(const ChecksumTable &table, char *buffer, uint64_t length, uint64_t offset) {
    alignas(64) char head[block_size];
    alignas(64) char tail[block_size];
    const uint64_t first = offset / block_size;
    const uint64_t head_length = (block_size - offset % block_size) % block_size;
    const uint64_t tail_length = (offset + length) % block_size;
    const uint64_t whole = (length - head_length - tail_length) / block_size;
    STS_INVARIANT(head_length + whole * block_size + tail_length == length);
    iovec parts[3];
    int used = 0;
    if (head_length > 0)
        parts[used++] = {head, block_size};
    parts[used++] = {buffer + head_length, whole * block_size};
    if (tail_length > 0)
        parts[used++] = {tail, block_size};
    if (const int32_t status = transfer(parts, used, first, blocks_touched(offset, length)); status != 0)
        return status;
    uint64_t block = first;
    if (head_length > 0)
        if (const int32_t status = check(table, head, block++, 1); status != 0)
            return status;
    if (const int32_t status = check(table, buffer + head_length, block, whole); status != 0)
        return status;
    if (tail_length > 0)
        if (const int32_t status = check(table, tail, block + whole, 1); status != 0)
            return status;
    std::memcpy(buffer, head + block_size - head_length, head_length);
    std::memcpy(buffer + length - tail_length, tail, tail_length);
    return 0;
}

// Fills buffers with so many blocks of the file. Changes the array.
int32_t ImageContent::transfer(iovec *buffers, int buffer_count, uint64_t first, uint64_t count) const {
    STS_INVARIANT(bytes_in(buffers, buffer_count) == count * block_size);
    const uint64_t place = block_place(first);
    const ssize_t got = file.read(buffers, buffer_count, place);
    if (got < 0)
        return fail_system(errno, "cannot read %s at offset %ju", QuotedText(file.path()).c_str(), uintmax_t{place});
    if (static_cast<uint64_t>(got) < count * block_size)
        return fail(STSIMG_E_TRUNCATED, "%s ends at offset %ju, within its data", QuotedText(file.path()).c_str(),
                    uintmax_t{place + static_cast<uint64_t>(got)});
    return 0;
}

int32_t ImageContent::check(const ChecksumTable &table, const char *data, uint64_t first, uint64_t count) const {
    for (uint64_t block = first; block < first + count; ++block, data += block_size)
        if (checksum_of_block(data, header.seed, block) != table[block % blocks_per_group])
            return fail(STSIMG_E_DAMAGED, "%s: the data block at offset %ju does not match its checksum",
                        QuotedText(file.path()).c_str(), uintmax_t{block_place(block)});
    return 0;
}

int32_t ImageContent::write(const char *data, uint64_t length, uint64_t offset) {
    if (length == 0)
        return 0;  // nothing written: the image does not grow to offset either
    const uint64_t end = offset + length;
    while (offset < end) {
        const uint64_t block = offset / block_size;
        const uint64_t left = end - offset;
        uint64_t part;
        int32_t status;
        if (offset % block_size == 0 && left >= block_size) {
            const uint64_t count = std::min(left / block_size, blocks_per_group - block % blocks_per_group);
            part = count * block_size;
            status = write_whole_blocks(data, block, count);
        } else {
            part = std::min(left, block_size - offset % block_size);
            status = write_within_block(data, part, offset);
        }
        if (status != 0)
            return status;
        data += part;
        offset += part;
    }
    header.image_size = std::max<uint64_t>(header.image_size, end);
    return 0;
}

// Blocks of one group.
int32_t ImageContent::write_whole_blocks(const char *data, uint64_t first, uint64_t count) {
    STS_INVARIANT(count > 0 && first % blocks_per_group + count <= blocks_per_group);
    if (holding && held_block >= first && held_block < first + count)
        holding = false;  // overwritten
    ChecksumTable *table = nullptr;
    if (const int32_t status = tables.change(first / blocks_per_group, table); status != 0)
        return status;
    for (uint64_t done = 0; done < count; ++done)
        (*table)[(first + done) % blocks_per_group] =
            checksum_of_block(data + done * block_size, header.seed, first + done);
    const uint64_t place = block_place(first);
    const bool ends_group = (first + count) % blocks_per_group == 0;
    if (!draft->write(data, count * block_size, place) ||
        (ends_group && !draft->start_write_back(place + count * block_size - group_size, group_size)))
        return fail_system(errno, "cannot write %s at offset %ju", QuotedText(file.path()).c_str(), uintmax_t{place});
    return 0;
}

int32_t ImageContent::write_within_block(const char *data, uint64_t length, uint64_t offset) {
    STS_INVARIANT(offset % block_size + length <= block_size);
    const uint64_t block = offset / block_size;
    if (!holding || held_block != block)
        if (const int32_t status = hold(block); status != 0)
            return status;
    std::memcpy(held_data.data() + offset % block_size, data, length);
    return 0;
}

int32_t ImageContent::hold(uint64_t block) {
    if (holding)
        if (const int32_t status = release_held(); status != 0)
            return status;
    std::shared_ptr<ChecksumTable> table;
    if (const int32_t status = tables.find(block / blocks_per_group, table); status != 0)
        return status;
    if (table == nullptr || (*table)[block % blocks_per_group] == 0)
        held_data.fill(0);
    else if (const int32_t status = read_few(*table, held_data.data(), block_size, block * block_size); status != 0)
        return status;
    held_block = block;
    holding = true;
    return 0;
}

int32_t ImageContent::release_held() {
    holding = false;
    return write_whole_blocks(held_data.data(), held_block, 1);
}

int32_t ImageContent::finish() {
    if (holding)
        if (const int32_t status = release_held(); status != 0)
            return status;
    std::vector<IndexEntry> index;
    if (const int32_t status = tables.flush(index); status != 0)
        return status;
    header.index_place = end_of_data(header.image_size);
    header.index_entries = index.size();
    IndexChecksum sum(header.seed);
    sum.add(index.data(), index.size());
    header.index_checksum = sum.value();
    header.checksum = checksum_of_header(header);
    STS_INVARIANT(is_consistent(header) && is_ordered(index, groups_of(header.image_size)));
    if (!draft->write(index.data(), index.size() * sizeof(IndexEntry), header.index_place) ||
        !draft->write(&header, sizeof header, 0))
        return fail_system(errno, "cannot write the index and header of %s", QuotedText(file.path()).c_str());
    return 0;
}

}  // namespace stsimage
