#include "stsimage/s3/s3_draft.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <optional>

#include "stsimage/call_patience.h"
#include "stsimage/last_error.h"
#include "stsimage/process_end.h"
#include "stsimage/quoted_text.h"
#include "stsimage/random_id.h"
#include "stsimage/s3/image_log.h"
#include "stsimage/s3/loose_parts.h"
#include "stsimage/s3/s3_image.h"
#include "stspi/stsimg.h"

namespace stsimage::s3 {

namespace {

// Somebody else may be quicker, again and again.
constexpr int most_attempts_to_change = 100;

std::string cannot(const char *what, const std::string &path) {
    return std::string("cannot ").append(what).append(" ").append(QuotedText(path).c_str());
}

}  // namespace

S3Draft::S3Draft(NameTable draft_table, std::string draft_name)
    : table(std::move(draft_table)),
      name(std::move(draft_name)),
      shown_path(table.path_of(name)),
      uploads(std::make_unique<ParallelRequests>()) {}

S3Draft::~S3Draft() {
    if (!table.bucket().is_ours()) {
        keep_for_ever(std::move(uploads));
        return;
    }
    try {
        uploads->finish();
        if (claimed != Claimed::no)
            give_up();
    } catch (const std::exception &) {
        // What is left is found by others.
    }
    table.root().presence().forget_draft(claim.id);
}

int32_t S3Draft::begin() {
    if (!make_random_id(claim.id))
        return fail_system(errno, "cannot get a random number for %s", QuotedText(shown_path).c_str());
    if (const Answer answer = table.root().presence().announce(); !answer.ok())
        return tell(answer, cannot("announce this writer of", shown_path));
    claim.process = table.root().presence().process();
    claim.lease_seconds = table.bucket().settings().lease_seconds;
    table.root().presence().note_draft(claim.id);
    if (const int32_t status = claim_name(); status != 0)
        return status;
    // What is noted is known to have been claimed.
    if (const Answer answer = note_loose(table, name, claim.id, LooseKind::draft); !answer.ok())
        return tell(answer, cannot("note", shown_path));
    return 0;
}

int32_t S3Draft::claim_name() {
    for (int attempt = 0; attempt < most_attempts_to_change; ++attempt) {
        if (const Answer answer = table.find(name, seen); !answer.ok())
            return tell(answer, cannot("look for", shown_path));
        if (const int32_t status = refuse_if_written(); status != 0)
            return status;
        const std::optional<Claim> dead = seen.record.claim;
        NameRecord next = seen.record.following();
        next.leaving = false;
        next.claim = claim;
        Answer answer;
        switch (table.change(name, seen, next, answer)) {
            case Change::done:
                claimed = Claimed::yes;
                if (dead) {
                    const CallPatience own_patience;
                    remove_parts(table.bucket(), dead->id);
                }
                return 0;
            case Change::refused:
                break;
            case Change::unknown:
                claimed = Claimed::unknown;
                return tell(answer, cannot("claim", shown_path));
            case Change::failed:
                return tell(answer, cannot("claim", shown_path));
        }
    }
    return fail(STSIMG_E_BUSY, "%s is wanted by too many writers", QuotedText(shown_path).c_str());
}

int32_t S3Draft::refuse_if_written() {
    const QuotedText shown(shown_path);
    if (!is_free(seen))
        return fail(STSIMG_E_BUSY, "%s is being taken away", shown.c_str());
    if (!seen.record.claim)
        return 0;
    bool lives = true;
    if (const Answer answer = table.root().presence().ask_whether_lives(*seen.record.claim, lives); !answer.ok())
        return tell(answer, std::string("cannot see whether ").append(shown.c_str()).append(" is being written"));
    return lives ? fail(STSIMG_E_BUSY, "%s is being written already", shown.c_str()) : 0;
}

// Whether it tells of a failure, which errno has then.
bool S3Draft::fails(const Answer &answer) {
    if (answer.ok())
        return false;
    errno = errno_of(answer);
    return true;
}

bool S3Draft::write(const void *data, size_t length, uint64_t place) {
    const auto *bytes = static_cast<const char *>(data);
    while (length > 0) {
        // What has not been sent can still be changed where it is.
        const ExtentMap::Run run = extents.find(place, length);
        size_t share = std::min<uint64_t>(length, part_size - pending->size());
        if (run.is_written && run.log_place >= pending_place) {
            share = run.length;
            std::memcpy(pending->data() + (run.log_place - pending_place), bytes, share);
        } else {
            extents.assign(place, share, pending_place + pending->size());
            if (!append(bytes, share))
                return false;
        }
        bytes += share;
        place += share;
        length -= share;
        size = std::max(size, place);
    }
    return true;
}

// What fits in the pending part.
bool S3Draft::append(const char *data, size_t length) {
    if (pending->empty())
        pending->reserve(part_size);
    pending->append(data, length);
    if (pending->size() < part_size)
        return true;
    if (!table.bucket().is_ours()) {
        errno = ENOTCONN;
        return false;
    }
    send_part();
    return !fails(uploads->failure());
}

void S3Draft::send_part() {
    const uint64_t part = pending_place / part_size;
    uploads->start(
        [&bucket = table.bucket(), key = part_key(claim.id, part), data = pending] { return bucket.put(key, *data); });
    sent.emplace_back(part, pending);
    if (sent.size() > ParallelRequests::most_at_once)
        sent.pop_front();
    pending_place += pending->size();
    pending = std::make_shared<std::string>();
}

ssize_t S3Draft::read(iovec *buffers, int count, uint64_t place) {
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

bool S3Draft::read_range(char *target, uint64_t length, uint64_t place) {
    while (length > 0) {
        const ExtentMap::Run run = extents.find(place, length);
        if (!run.is_written)
            std::memset(target, 0, run.length);
        else if (!read_log(target, run.length, run.log_place))
            return false;
        target += run.length;
        place += run.length;
        length -= run.length;
    }
    return true;
}

bool S3Draft::read_log(char *target, uint64_t length, uint64_t place) {
    while (length > 0) {
        if (place >= pending_place) {
            std::memcpy(target, pending->data() + (place - pending_place), length);
            return true;
        }
        const uint64_t part = place / part_size;
        const uint64_t share = std::min(length, part_size - place % part_size);
        const auto in_memory =
            std::find_if(sent.begin(), sent.end(), [part](const auto &one) { return one.first == part; });
        if (in_memory != sent.end()) {
            std::memcpy(target, in_memory->second->data() + place % part_size, share);
        } else {
            const Answer answer = table.bucket().get_range(part_key(claim.id, part), place % part_size, share);
            if (fails(answer))
                return false;
            if (answer.body.size() != share) {
                errno = EIO;
                return false;
            }
            std::memcpy(target, answer.body.data(), share);
        }
        target += share;
        place += share;
        length -= share;
    }
    return true;
}

bool S3Draft::cut(uint64_t place) {
    extents.cut(place);
    size = place;
    return true;
}

// The service copies whole parts by itself; what its log ends with becomes the pending one.
int32_t S3Draft::copy(StoredImage &source) {
    auto &image = static_cast<S3Image &>(source);
    const ImageEntry &entry = image.image();
    pending_place = entry.map_place - entry.map_place % part_size;
    for (uint64_t part = 0; part < pending_place / part_size; ++part)
        if (!uploads
                 ->start([&bucket = table.bucket(), from = part_key(entry.id, part), to = part_key(claim.id, part)] {
                     return bucket.copy(from, to);
                 })
                 .ok())
            break;
    const Answer &copied = uploads->finish();
    if (!copied.ok())
        return tell(copied, cannot("copy for writing", shown_path));
    pending->reserve(part_size);
    pending->resize(entry.map_place - pending_place);
    if (!image.read_log(pending->data(), pending->size(), pending_place))
        return fail_system(errno, "cannot copy for writing %s", QuotedText(shown_path).c_str());
    extents = image.map();
    size = entry.size;
    return 0;
}

int32_t S3Draft::publish() {
    const QuotedText shown(shown_path);
    if (!table.bucket().is_ours())
        return fail_system(ENOTCONN, "cannot write the data of %s", shown.c_str());
    const std::string map = extents.bytes();
    const uint64_t map_place = pending_place + pending->size();
    for (size_t begin = 0, share = 0; begin < map.size(); begin += share) {
        share = std::min<size_t>(map.size() - begin, part_size - pending->size());
        if (!append(map.data() + begin, share))
            break;  // finish() tells why
    }
    const uint64_t log_length = map_place + map.size();
    if (!pending->empty())
        send_part();
    if (const Answer &answer = uploads->finish(); !answer.ok())
        return tell(answer, cannot("write the data of", shown_path));
    const ImageEntry image{claim.id, size, log_length, map_place, sha256_in_hexadecimal(map)};
    for (int attempt = 0; attempt < most_attempts_to_change; ++attempt) {
        if (attempt > 0)
            if (const Answer answer = table.find(name, seen); !answer.ok())
                return tell(answer, cannot("publish", shown_path));
        if (!is_claim_ours())
            return fail(STS_E_SYSTEM, "%s has been taken from this writer, who seemed dead", shown.c_str());
        NameRecord next = seen.record.following();
        if (next.image)
            if (const Answer answer = note_loose(table, name, next.image->id, LooseKind::image); !answer.ok())
                return tell(answer, cannot("publish", shown_path));
        next.claim.reset();
        next.image = image;
        Answer answer;
        switch (table.change(name, seen, next, answer)) {
            case Change::done:
                claimed = Claimed::no;
                forget_loose(table.bucket(), claim.id, LooseKind::draft);
                return 0;
            case Change::refused:
                break;  // the image of that name has been deleted meanwhile, say
            case Change::unknown:
                return settle(answer);
            case Change::failed:
                return tell(answer, cannot("publish", shown_path));
        }
    }
    return fail(STS_E_SYSTEM, "%s is being changed too often to be published", shown.c_str());
}

// Ends the claim in the record seen. Done as well when there is none of ours, in a record that was just looked at.
Change S3Draft::end_claim() {
    for (int attempt = 0; attempt < most_attempts_to_change; ++attempt) {
        NameRecord next = seen.record.following();
        next.claim.reset();
        Answer answer;
        const Change change = is_claim_ours() ? table.change(name, seen, next, answer) : Change::refused;
        if (change == Change::done || change == Change::failed)
            return change;
        if (!table.find(name, seen).ok())
            return Change::unknown;
        if (!is_claim_ours())
            return Change::refused;
    }
    return Change::unknown;
}

// What was not answered may still be done, now or later. Once the claim is gone it cannot be done any more: if that can be had,
// all is as it was.
int32_t S3Draft::settle(const Answer &unanswered) {
    const Change ended = end_claim();
    if (ended == Change::done) {
        claimed = Claimed::no;
        remove_parts(table.bucket(), claim.id);
        return tell(unanswered, cannot("publish", shown_path));
    }
    if (ended == Change::refused && is_image_ours()) {
        claimed = Claimed::no;
        forget_loose(table.bucket(), claim.id, LooseKind::draft);
        return 0;
    }
    claimed = Claimed::unknown;
    tell(unanswered, std::string(QuotedText(shown_path).c_str()).append(" may have been published or not"));
    return STSIMG_E_OUTCOME_UNKNOWN;
}

void S3Draft::give_up() {
    const Change ended = end_claim();
    const bool was_taken = ended == Change::refused && claimed == Claimed::yes && !is_image_ours();
    if (ended == Change::done || was_taken)
        remove_parts(table.bucket(), claim.id);
}

}  // namespace stsimage::s3
