#include "journal/reader.h"

#include <algorithm>

namespace journal {

namespace {

constexpr size_t WINDOW = 2 * MAX_RECORD_SIZE;

struct Opening {
    uint32_t mark;
    uint32_t length;
};

template <typename Value>
Value load(std::string_view bytes, size_t offset = 0) {
    Value value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

}  // namespace

Reader::Reader(std::unique_ptr<ByteSource> source, const std::string &name)
    : source_(std::move(source)), window_(std::min<uint64_t>(WINDOW, source_->size() + 1)) {
    alignas(FileHeader) char bytes[sizeof(FileHeader)] = {};
    if (source_->read(0, bytes, sizeof bytes) != sizeof bytes || std::memcmp(bytes, FILE_MAGIC, sizeof FILE_MAGIC) != 0)
        throw ReadError(name + ": not a journal");
    const auto &header = *reinterpret_cast<const FileHeader *>(bytes);
    if (header.version == FOREIGN_VERSION)
        throw ReadError(name + ": a journal of a machine of the other byte order");
    if (header.version != FORMAT_VERSION)
        throw ReadError(name + ": a journal of version " + std::to_string(header.version) + ", this program reads " +
                        std::to_string(FORMAT_VERSION));
    set_bounds(header, name);

    facts_.about.resize(std::min<uint64_t>(header.about_size, HEADER_SIZE - ABOUT_OFFSET));
    facts_.about.resize(source_->read(ABOUT_OFFSET, facts_.about.data(), facts_.about.size()));
}

void Reader::set_bounds(const FileHeader &header, const std::string &name) {
    facts_.mode = header.mode;
    facts_.capacity = header.capacity;
    facts_.wall_ns = header.wall_ns;
    facts_.monotonic_ns = header.monotonic_ns;
    facts_.lost = header.lost.load(std::memory_order_relaxed);
    nonce_ = header.nonce;
    const uint64_t cursor = header.cursor.load(std::memory_order_acquire) & ~uint64_t{RECORD_ALIGNMENT - 1};
    if ((facts_.mode != Mode::growing && facts_.mode != Mode::ring) || facts_.capacity < MIN_CAPACITY ||
        facts_.capacity > MAX_CAPACITY || facts_.capacity % RECORD_ALIGNMENT != 0 || cursor > uint64_t{1} << 62)
        throw ReadError(name + ": the head of the journal is damaged");

    stored_ = source_->size() > HEADER_SIZE ? std::min(source_->size() - HEADER_SIZE, facts_.capacity) : 0;
    stored_ &= ~uint64_t{RECORD_ALIGNMENT - 1};
    if (facts_.mode == Mode::ring && cursor > facts_.capacity) {
        begin_ = place_ = cursor - facts_.capacity;
        synchronised_ = false;
        damage_.overwritten = true;
        damage_.truncated = stored_ < facts_.capacity;
        end_ = cursor;
    } else {
        // A growing journal's cursor can stand beyond what found room.
        const uint64_t used = std::min(cursor, facts_.capacity);
        const uint64_t room = std::min(used, header.allocated.load(std::memory_order_relaxed));
        end_ = std::min(room, stored_);
        damage_.truncated = stored_ < room;
    }
}

std::string_view Reader::bytes_at(uint64_t place, uint64_t wanted) {
    const uint64_t offset = place % facts_.capacity;
    const uint64_t available = offset < stored_ ? stored_ - offset : 0;
    wanted = std::min(wanted, available);
    if (offset < window_offset_ || offset + wanted > window_offset_ + window_size_) {
        window_offset_ = offset;
        window_size_ =
            source_->read(HEADER_SIZE + offset, window_.data(), std::min<uint64_t>(window_.size(), available));
    }
    const size_t begin = static_cast<size_t>(offset - window_offset_);
    if (begin >= window_size_)
        return {};
    return {window_.data() + begin, window_size_ - begin};
}

void Reader::note_damage(uint64_t place) {
    if (damage_.torn == 0 && damage_.skipped_bytes == 0)
        damage_.first_place = place;
}

void Reader::skip(uint64_t bytes) {
    // No record is longer than that: more without one is damage, also at the start of a ring.
    if (place_ - begin_ > MAX_RECORD_SIZE)
        synchronised_ = true;
    if (synchronised_) {
        note_damage(place_);
        damage_.skipped_bytes += bytes;
    }
    place_ += bytes;
}

bool Reader::next(RecordView &record) {
    while (place_ < end_) {
        const uint64_t round_end = std::min(end_, place_ - place_ % facts_.capacity + facts_.capacity);
        const uint64_t left = round_end - place_;
        const std::string_view head = bytes_at(place_, std::min<uint64_t>(left, sizeof(RecordHead)));
        if (head.size() < sizeof(Opening)) {
            skip(left);  // the file is shorter than it should be
            continue;
        }
        const auto opening = load<Opening>(head);
        if (opening.mark != mark_of(place_, nonce_) || opening.length % RECORD_ALIGNMENT != 0 ||
            opening.length < sizeof opening || opening.length > std::min<uint64_t>(left, MAX_RECORD_SIZE)) {
            skip(RECORD_ALIGNMENT);
            continue;
        }
        synchronised_ = true;
        const uint64_t place = place_;
        place_ += opening.length;
        constexpr size_t checked_from = offsetof(RecordHead, check) + sizeof(uint64_t);
        if (opening.length < checked_from)
            continue;  // padding
        const std::string_view bytes = bytes_at(place, opening.length);
        if (bytes.size() >= checked_from && load<uint64_t>(bytes, offsetof(RecordHead, check)) == PADDING)
            continue;
        if (opening.length < sizeof(RecordHead) || bytes.size() < opening.length ||
            load<uint64_t>(bytes, offsetof(RecordHead, check)) !=
                check_of(bytes.data() + checked_from, opening.length - checked_from, place, nonce_)) {
            note_damage(place);
            ++damage_.torn;
            continue;
        }
        record.place = place;
        record.head = load<RecordHead>(bytes);
        record.items = bytes.substr(sizeof(RecordHead), opening.length - sizeof(RecordHead));
        return true;
    }
    return false;
}

}  // namespace journal
