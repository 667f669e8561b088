#include "stsimage/rados/rados_draft.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>
#include <vector>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/rados/rados_image.h"
#include "stsimage/random_id.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

// Somebody else may be quicker, again and again.
constexpr int most_attempts_to_change = 1000;

}  // namespace

RadosDraft::RadosDraft(NameTable draft_table, std::string draft_name)
    : table(std::move(draft_table)),
      name(std::move(draft_name)),
      shown_path(table.path_of(name)),
      writes(std::make_unique<Transfers>(table.pool())) {}

RadosDraft::~RadosDraft() {
    try {
        give_up();
    } catch (const std::exception &) {
        // What is left is found by others.
    }
}

void RadosDraft::give_up() {
    if (!table.pool().is_ours()) {
        static_cast<void>(writes.release());  // nothing would ever complete them
        return;
    }
    writes->finish();
    table.pool().forget_draft(claim.id);
    if (claimed == Claimed::no)
        return;
    int result = 0;
    if (table.give_up(name, claim, result) == Change::done)
        table.clear(table.shard_of(name), {claim.id, unknown_size});
    else if (result == -ECANCELED && claimed == Claimed::yes)
        remove_parts(table.pool(), claim.id,
                     unknown_size);  // taken away: what was written since then is in nobody's notes
}

int32_t RadosDraft::begin() {
    const QuotedText shown(shown_path);
    if (!make_random_id(claim.id))
        return fail_system(errno, "cannot get a random number for %s", shown.c_str());
    if (const int result = table.pool().announce(); result < 0)
        return fail_system(errno_of(result), "cannot announce this writer in %s", QuotedText(table.path()).c_str());
    claim.writer = table.pool().own_number();
    table.pool().note_draft(claim.id);
    for (int attempt = 0; attempt < most_attempts_to_change; ++attempt) {
        std::optional<ImageEntry> image;
        std::optional<Claim> other;
        if (const int result = table.find(name, image, other); result < 0)
            return fail_system(errno_of(result), "cannot look for %s%s", shown.c_str(), note_of(result));
        if (other) {
            bool lives = true;
            if (const int result = table.ask_whether_lives(*other, lives); result < 0)
                return fail_system(errno_of(result), "cannot see whether %s is being written", shown.c_str());
            if (lives)
                return fail(STSIMG_E_BUSY, "%s is being written already", shown.c_str());
        }
        int result = 0;
        switch (table.claim(name, claim, other, result)) {
            case Change::done:
                claimed = Claimed::yes;
                if (other) {
                    const CallPatience own_patience;
                    table.clear(table.shard_of(name), {other->id, unknown_size});
                }
                return 0;
            case Change::refused:
                break;
            case Change::unknown:
                claimed = Claimed::unknown;
                return fail_system(errno_of(result), "cannot claim %s", shown.c_str());
            case Change::failed:
                return fail_system(errno_of(result), "cannot claim %s", shown.c_str());
        }
    }
    return fail(STSIMG_E_BUSY, "%s is wanted by too many writers", shown.c_str());
}

bool RadosDraft::write(const void *data, size_t length, uint64_t place) {
    if (!table.pool().demand_ours())
        return false;
    const auto *bytes = static_cast<const char *>(data);
    size = std::max(size, place + length);
    while (length > 0) {
        const uint64_t share = std::min<uint64_t>(length, part_size - place % part_size);
        if (pending.length() > 0 && (place != pending_place + pending.length() || place % part_size == 0))
            if (const int result = send_pending(); result < 0) {
                errno = errno_of(result);
                return false;
            }
        if (pending.length() == 0) {
            if (!keep_span(place / part_size))
                return false;
            pending_place = place;
        }
        pending.append(bytes, static_cast<unsigned>(share));
        bytes += share;
        place += share;
        length -= share;
    }
    return true;
}

int RadosDraft::send_pending() {
    // After a time without the cluster the others take this process for dead until it tells them again.
    table.pool().announce();
    if (time_left_for_call().count() == 0)
        return -ETIME;
    librados::bufferlist data;
    data.swap(pending);
    return writes->start([&](auto &io, auto *done) {
        return io.aio_write(part_object(claim.id, pending_place / part_size), done, data, data.length(),
                            pending_place % part_size);
    });
}

bool RadosDraft::keep_span(uint64_t part) {
    const uint64_t span = part / parts_per_span;
    if (span == 0 || spans.count(span) != 0)
        return true;
    if (const int result = note_span(table.pool(), claim.id, span); result < 0) {
        errno = errno_of(result);
        return false;
    }
    spans.insert(span);
    return true;
}

bool RadosDraft::flush() {
    if (!table.pool().demand_ours())
        return false;
    const int sent = pending.length() > 0 ? send_pending() : 0;
    const int finished = writes->finish();
    const int result = finished < 0 ? finished : sent;
    errno = errno_of(result);
    return result >= 0;
}

ssize_t RadosDraft::read(iovec *buffers, int count, uint64_t place) {
    if (!flush())
        return -1;
    ssize_t total = 0;
    for (int i = 0; i < count; ++i) {
        const uint64_t length = std::min<uint64_t>(buffers[i].iov_len, place < size ? size - place : 0);
        if (!read_range(static_cast<char *>(buffers[i].iov_base), length, place))
            return -1;
        total += static_cast<ssize_t>(length);
        place += length;
    }
    return total;
}

bool RadosDraft::read_range(char *target, uint64_t length, uint64_t place) {
    while (length > 0) {
        const uint64_t share = std::min(length, part_size - place % part_size);
        librados::bufferlist data;
        const int result = table.pool().ask([&](auto &io) {
            return io.read(part_object(claim.id, place / part_size), data, share, place % part_size);
        });
        if (result < 0 && result != -ENOENT) {
            errno = errno_of(result);
            return false;
        }
        data.begin().copy(data.length(), target);
        std::memset(target + data.length(), 0, share - data.length());
        target += share;
        place += share;
        length -= share;
    }
    return true;
}

bool RadosDraft::cut(uint64_t place) {
    if (!flush())
        return false;
    const uint64_t last = size / part_size;
    for (uint64_t part = place / part_size; part <= last; ++part) {
        const bool whole = part * part_size >= place && part != 0;
        librados::ObjectWriteOperation operation;
        operation.assert_exists();
        if (whole)
            operation.remove();
        else
            operation.truncate(place % part_size);
        const int result =
            table.pool().ask([&](auto &io) { return io.operate(part_object(claim.id, part), &operation); });
        if (result < 0 && result != -ENOENT) {
            errno = errno_of(result);
            return false;
        }
    }
    size = place;
    return true;
}

// The cluster copies the parts by itself.
int32_t RadosDraft::copy(StoredImage &source) {
    const ImageEntry &image = static_cast<RadosImage &>(source).image();
    Pool &pool = table.pool();
    std::vector<uint64_t> noted;
    int result = list_spans(pool, image.id, noted);
    Transfers copies(pool);
    for (const uint64_t span : noted) {
        if (result >= 0 && span != 0)
            result = note_span(pool, claim.id, span);
        spans.insert(span);
        const uint64_t end = std::min((span + 1) * parts_per_span, image.size / part_size + 1);
        for (uint64_t part = span * parts_per_span; result >= 0 && part < end; ++part) {
            librados::ObjectWriteOperation operation;
            result = copies.start([&](auto &io, auto *done) {
                operation.copy_from(part_object(image.id, part), io, 0, 0);
                return io.aio_operate(part_object(claim.id, part), done, &operation);
            });
        }
    }
    const int finished = copies.finish();
    if (result >= 0)
        result = finished;
    // What nobody watches may have been cleared away meanwhile, and would be copied as zeros.
    if (result >= 0)
        result = static_cast<RadosImage &>(source).check_watch();
    if (result < 0)
        return fail_system(errno_of(result), "cannot copy %s for writing", QuotedText(shown_path).c_str());
    size = image.size;
    return 0;
}

int32_t RadosDraft::publish() {
    const QuotedText shown(shown_path);
    if (!flush())
        return fail_system(errno, "cannot write the data of %s", shown.c_str());
    for (int attempt = 0; attempt < most_attempts_to_change; ++attempt) {
        std::optional<ImageEntry> earlier;
        std::optional<Claim> current;
        if (const int result = table.find(name, earlier, current); result < 0)
            return tell_not_published(result);
        if (!current || current->id != claim.id)
            return fail(STS_E_SYSTEM, "%s has been taken from this writer, who seemed dead", shown.c_str());
        int result = 0;
        switch (table.publish(name, claim, {claim.id, size}, earlier, result)) {
            case Change::done:
                claimed = Claimed::no;
                remove_replaced(earlier);
                return 0;
            case Change::refused:
                break;  // the image of that name has been deleted meanwhile, say
            case Change::unknown:
                return settle_after_time_out(result);
            case Change::failed:
                return tell_not_published(result);
        }
    }
    return fail(STS_E_SYSTEM, "%s is being changed too often to be published", shown.c_str());
}

int32_t RadosDraft::tell_not_published(int result) {
    return fail_system(errno_of(result), "cannot publish %s%s", QuotedText(shown_path).c_str(), note_of(result));
}

// What was not answered may still be done, now or later. Once the claim is gone it cannot be done any more: if that can be had,
// all is as it was.
int32_t RadosDraft::settle_after_time_out(int result) {
    int giving_up = 0;
    const Change given_up = table.give_up(name, claim, giving_up);
    if (given_up == Change::done) {
        claimed = Claimed::no;
        table.clear(table.shard_of(name), {claim.id, unknown_size});
        return tell_not_published(result);
    }
    claimed = Claimed::unknown;
    std::optional<ImageEntry> image;
    std::optional<Claim> current;
    if (given_up == Change::refused && table.find(name, image, current) == 0 && image && image->id == claim.id) {
        claimed = Claimed::no;
        return 0;
    }
    fail_system(errno_of(result), "%s may have been published or not", QuotedText(shown_path).c_str());
    return STSIMG_E_OUTCOME_UNKNOWN;
}

// As far as it goes: what is left behind is noted, and found by whoever lists the LSU.
void RadosDraft::remove_replaced(const std::optional<ImageEntry> &replaced) {
    if (replaced)
        table.clear(table.shard_of(name), {replaced->id, replaced->size});
}

}  // namespace stsimage
