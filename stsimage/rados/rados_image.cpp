#include "stsimage/rados/rados_image.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>
#include <utility>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr uint64_t parts_ahead = 4;

// Shorter reads are random ones, or of tables, and say nothing about a stream.
constexpr uint64_t least_of_stream = uint64_t{64} * 1024;

// A name may be given to another image between looking and watching, again and again.
constexpr int most_looks = 1000;

}  // namespace

RadosImage::PartRead::PartRead(Pool &read_pool, const std::string &object)
    : pool(read_pool), refused(std::min(0, pool.start([&](auto &io) {
          return io.aio_read(object, target->completion.get(), &target->data, part_size, 0);
      }))) {}

RadosImage::PartRead::~PartRead() {
    // What is not ours must not even be looked at: a thread that was not forked may have its lock.
    if (refused == 0 && (!pool.is_ours() || (!target->completion->is_complete() && await() == -ENOTCONN)))
        keep_for_ever(target);
}

int RadosImage::PartRead::await() { return refused < 0 ? refused : pool.await(*target->completion); }

bool RadosImage::PartRead::is_to_be_asked_again(bool is_wanted) const {
    if (refused < 0)
        return true;
    if (!target->completion->is_complete())
        return false;
    const int result = target->completion->get_return_value();
    return result == -ETIMEDOUT || (is_wanted && result < 0 && result != -ENOENT);
}

RadosImage::RadosImage(NameTable image_table, std::string image_name)
    : table(std::move(image_table)), name(std::move(image_name)), shown_path(table.path_of(name)) {}

RadosImage::~RadosImage() {
    ahead.clear();
    try {
        end_reading();
    } catch (const std::exception &) {
        // What is left is found by others.
    }
}

void RadosImage::end_reading() {
    if (!watched || !table.pool().is_ours())
        return;
    table.pool().end_watch(watch_handle);
    // The last reader of an image that was replaced or deleted meanwhile takes its parts away.
    std::optional<Garbage> garbage;
    if (table.find_garbage(name, entry.id, garbage) == 0 && garbage)
        table.clear(table.shard_of(name), *garbage);
}

// Who would remove the parts looks for watches after the name has gone. So if the image still has its name when the watch
// stands, they stay.
int32_t RadosImage::open() {
    const QuotedText shown(shown_path);
    for (int look = 0; look < most_looks; ++look) {
        std::optional<ImageEntry> found;
        std::optional<Claim> claim;
        if (const int result = table.find(name, found, claim); result < 0)
            return fail_system(errno_of(result), "cannot look for %s%s", shown.c_str(), note_of(result));
        if (watched && found && found->id == entry.id)
            return 0;
        if (watched)
            table.pool().end_watch(watch_handle);
        watched = false;
        if (!found)
            return fail(STS_E_NOT_FOUND, "there is no image %s in %s", QuotedText(name).c_str(),
                        QuotedText(table.path()).c_str());
        entry = *found;
        const int result = table.pool().watch(part_object(entry.id, 0), watch_handle);
        watched = result == 0;
        if (result < 0 && result != -ENOENT)
            return fail_system(errno_of(result), "cannot open %s", shown.c_str());
    }
    return fail(STS_E_SYSTEM, "%s is being replaced too often to be opened", shown.c_str());
}

ssize_t RadosImage::read(iovec *buffers, int count, uint64_t place) {
    if (!table.pool().demand_ours())
        return -1;
    ssize_t total = 0;
    uint64_t wanted = 0;
    for (int i = 0; i < count; ++i)
        wanted += buffers[i].iov_len;
    const bool sequential = is_sequential(place, wanted);
    for (int i = 0; i < count; ++i) {
        const uint64_t left = place < entry.size ? entry.size - place : 0;
        const uint64_t length = std::min<uint64_t>(buffers[i].iov_len, left);
        if (!read_range(static_cast<char *>(buffers[i].iov_base), length, place, sequential))
            return -1;
        total += static_cast<ssize_t>(length);
        place += length;
    }
    return total;
}

bool RadosImage::is_sequential(uint64_t place, uint64_t length) {
    if (length < least_of_stream)
        return false;
    const std::lock_guard<std::mutex> lock(ahead_mutex);
    const bool sequential = place == end_of_last;
    end_of_last = place + length;
    return sequential;
}

bool RadosImage::read_range(char *target, uint64_t length, uint64_t place, bool sequential) {
    while (length > 0) {
        const uint64_t offset = place % part_size;
        const uint64_t share = std::min(length, part_size - offset);
        librados::bufferlist data;
        const int result = read_part(place / part_size, offset, share, sequential, data);
        if (result < 0) {
            errno = errno_of(result);
            return false;
        }
        const uint64_t got = std::min<uint64_t>(data.length(), share);
        data.begin().copy(static_cast<unsigned>(got), target);
        std::memset(target + got, 0, share - got);
        target += share;
        place += share;
        length -= share;
    }
    return true;
}

// A part that is not there has nothing written to it, unless it was cleared away.
int RadosImage::read_part(uint64_t part, uint64_t offset, uint64_t length, bool sequential,
                          librados::bufferlist &out_data) {
    int result;
    if (sequential) {
        const std::shared_ptr<PartRead> read = fetch_ahead(part);
        result = read->await();
        if (result >= 0 && offset < read->data().length())
            out_data.substr_of(read->data(), static_cast<unsigned>(offset),
                               static_cast<unsigned>(std::min(length, read->data().length() - offset)));
    } else {
        result =
            table.pool().ask([&](auto &io) { return io.read(part_object(entry.id, part), out_data, length, offset); });
    }
    return result != -ENOENT ? result : check_watch();
}

int RadosImage::check_watch() { return table.pool().is_watching(watch_handle) ? 0 : -EIDRM; }

std::shared_ptr<RadosImage::PartRead> RadosImage::start_reading(uint64_t part) {
    return std::make_shared<PartRead>(table.pool(), part_object(entry.id, part));
}

// Gives the part, and sees to it that those behind it are under way.
std::shared_ptr<RadosImage::PartRead> RadosImage::fetch_ahead(uint64_t part) {
    const std::lock_guard<std::mutex> lock(ahead_mutex);
    ahead.erase(ahead.begin(), ahead.lower_bound(part));
    ahead.erase(ahead.upper_bound(part + parts_ahead), ahead.end());
    const uint64_t end = std::min(part + parts_ahead, (entry.size - 1) / part_size) + 1;
    for (uint64_t next = part; next < end; ++next) {
        const auto place = ahead.lower_bound(next);
        if (place == ahead.end() || place->first != next)
            ahead.emplace_hint(place, next, start_reading(next));
        else if (place->second->is_to_be_asked_again(next == part))
            place->second = start_reading(next);
    }
    return ahead.at(part);
}

}  // namespace stsimage
