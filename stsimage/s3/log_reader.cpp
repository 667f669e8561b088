#include "stsimage/s3/log_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "stsimage/call_patience.h"
#include "stsimage/process_end.h"
#include "stsimage/s3/background.h"
#include "stsimage/s3/image_log.h"

namespace stsimage::s3 {

namespace {

constexpr uint64_t window_size = uint64_t{256} * 1024;
constexpr size_t most_windows = 8;
constexpr uint64_t parts_ahead = 4;

// Shorter reads are random ones, or of tables, and say nothing about a stream.
constexpr uint64_t least_of_stream = uint64_t{64} * 1024;

// What was answered stays as it is, unless it is what is wanted now.
bool is_to_be_asked_again(const std::shared_future<Answer> &part, bool is_wanted) {
    if (part.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        return false;
    try {
        return is_wanted ? !part.get().ok() : part.get().waited_in_vain.count() > 0;
    } catch (const std::exception &) {
        return true;  // there was no memory for it, say
    }
}

}  // namespace

LogReader::LogReader(Bucket &log_bucket, std::string log_id, uint64_t length)
    : bucket(log_bucket), id(std::move(log_id)), log_length(length), ahead(std::make_unique<Parts>()) {}

LogReader::~LogReader() {
    if (!bucket.is_ours())
        keep_for_ever(std::move(ahead));
}

bool LogReader::read(char *target, uint64_t length, uint64_t place) {
    const bool sequential = is_sequential(place, length);
    while (length > 0) {
        SharedAnswer found;
        uint64_t begin = place;  // of what is fetched
        uint64_t share = std::min(length, part_size - place % part_size);
        if (sequential) {
            begin = place - place % part_size;
            found = fetch_part(place / part_size);
        } else if (length >= window_size) {
            found = fetch(place, share);
        } else {
            begin = place - place % window_size;
            share = std::min(share, window_size - place % window_size);
            found = fetch_window(place / window_size);
        }
        if (!found->ok()) {
            if (found->waited_in_vain.count() > 0)
                note_time_out(found->waited_in_vain);
            errno = found->error == ENOENT ? EIDRM : errno_of(*found);
            return false;
        }
        const std::string &data = found->body;
        const uint64_t skipped = std::min<uint64_t>(place - begin, data.size());
        const uint64_t got = std::min<uint64_t>(share, data.size() - skipped);
        data.copy(target, got, skipped);
        std::memset(target + got, 0, share - got);
        target += share;
        place += share;
        length -= share;
    }
    return true;
}

bool LogReader::is_sequential(uint64_t place, uint64_t length) {
    if (length < least_of_stream)
        return false;
    const std::lock_guard<std::mutex> lock(mutex);
    const bool sequential = place == end_of_last;
    end_of_last = place + length;
    return sequential;
}

LogReader::SharedAnswer LogReader::fetch(uint64_t place, uint64_t length) {
    return std::make_shared<const Answer>(bucket.get_range(part_key(id, place / part_size), place % part_size, length));
}

LogReader::SharedAnswer LogReader::fetch_window(uint64_t window) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        if (const auto known = windows.find(window); known != windows.end()) {
            known->second.last_use = ++uses;
            return known->second.data;
        }
    }
    const uint64_t place = window * window_size;
    SharedAnswer data = fetch(place, std::min(window_size, log_length - std::min(log_length, place)));
    if (!data->ok())
        return data;
    const std::lock_guard<std::mutex> lock(mutex);
    if (windows.size() >= most_windows)
        windows.erase(std::min_element(windows.begin(), windows.end(), [](const auto &one, const auto &other) {
            return one.second.last_use < other.second.last_use;
        }));
    windows[window] = {data, ++uses};
    return data;
}

std::shared_future<Answer> LogReader::start_fetching(uint64_t part) {
    const uint64_t length = std::min(part_size, log_length - part * part_size);
    return start_in_background([this, length, key = part_key(id, part)] { return bucket.get_range(key, 0, length); })
        .share();
}

// Gives the part, and sees to it that those behind it are under way.
LogReader::SharedAnswer LogReader::fetch_part(uint64_t part) {
    std::shared_future<Answer> wanted;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ahead->erase(ahead->begin(), ahead->lower_bound(part));
        ahead->erase(ahead->upper_bound(part + parts_ahead), ahead->end());
        const uint64_t parts = log_length / part_size + (log_length % part_size != 0 ? 1 : 0);
        for (uint64_t next = part; next < std::min(part + parts_ahead + 1, parts); ++next) {
            const auto place = ahead->lower_bound(next);
            if (place == ahead->end() || place->first != next)
                ahead->emplace_hint(place, next, start_fetching(next));
            else if (is_to_be_asked_again(place->second, next == part))
                place->second = start_fetching(next);
        }
        wanted = ahead->at(part);
    }
    return {std::make_shared<std::shared_future<Answer>>(wanted), &wanted.get()};
}

}  // namespace stsimage::s3
