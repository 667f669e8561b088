#include "stsimage/rados/image_parts.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <list>
#include <map>
#include <memory>
#include <set>

#include "stsimage/call_patience.h"
#include "stsimage/rados/transfers.h"

namespace stsimage {

namespace {

constexpr uint64_t spans_at_once = 1000;

std::string span_key(uint64_t span) {
    char key[17];
    std::snprintf(key, sizeof key, "%016" PRIx64, span);
    return key;
}

}  // namespace

std::string part_object(const std::string &id, uint64_t part) {
    const std::string first = "image/" + id;
    return part == 0 ? first : first + "." + span_key(part);
}

std::string id_of_part(const std::string &object) {
    const std::string prefix = part_object("", 0);
    if (object.compare(0, prefix.size(), prefix) != 0)
        return "";
    return object.substr(prefix.size(), object.find('.') - prefix.size());
}

int note_span(Pool &pool, const std::string &id, uint64_t span) {
    librados::ObjectWriteOperation note;
    note.create(false);
    note.omap_set({{span_key(span), librados::bufferlist()}});
    return pool.ask([&](auto &io) { return io.operate(part_object(id, 0), &note); });
}

int list_spans(Pool &pool, const std::string &id, std::vector<uint64_t> &out_spans) {
    out_spans.assign(1, 0);
    std::string after;
    for (bool more = true; more;) {
        std::map<std::string, librados::bufferlist> found;
        librados::ObjectReadOperation look;
        int found_result = 0;
        look.omap_get_vals2(after, spans_at_once, &found, &more, &found_result);
        const int result = pool.ask([&](auto &io) { return io.operate(part_object(id, 0), &look, nullptr); });
        if (result < 0)
            return result;
        for (const auto &entry : found)
            out_spans.push_back(std::strtoull(entry.first.c_str(), nullptr, 16));
        if (found.empty())
            break;
        after = found.rbegin()->first;
    }
    return 0;
}

int remove_parts(Pool &pool, const std::string &id, uint64_t size) {
    std::vector<uint64_t> spans;
    if (const int result = list_spans(pool, id, spans); result < 0 && result != -ENOENT)
        return result;
    const uint64_t parts = size == unknown_size ? unknown_size : size / part_size + 1;
    Transfers removals(pool);
    for (const uint64_t span : spans)
        for (uint64_t part = span * parts_per_span; part < (span + 1) * parts_per_span; ++part) {
            if (part == 0 || part >= parts)
                continue;
            if (time_left_for_call().count() == 0)
                return -ETIME;
            const int result =
                removals.start([&](auto &io, auto *done) { return io.aio_remove(part_object(id, part), done); });
            if (result < 0 && result != -ENOENT)
                return result;
        }
    if (const int result = removals.finish(); result < 0 && result != -ENOENT)
        return result;
    const int result = pool.ask([&](auto &io) { return io.remove(part_object(id, 0)); });
    return result == -ENOENT ? 0 : result;
}

int ask_whether_read(Pool &pool, const std::string &id, bool &out_read) {
    std::list<obj_watch_t> watchers;
    const int result = pool.ask([&](auto &io) { return io.list_watchers(part_object(id, 0), &watchers); });
    out_read = !watchers.empty();
    return result;
}

}  // namespace stsimage
