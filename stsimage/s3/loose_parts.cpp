#include "stsimage/s3/loose_parts.h"

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <string_view>
#include <utility>

#include "stsimage/random_id.h"
#include "stsimage/s3/image_log.h"
#include "stsimage/s3/parallel_requests.h"

namespace stsimage::s3 {

namespace {

constexpr char loose[] = "loose/";
constexpr std::string_view draft_ending = ".draft";

// A note of what still has its name so long after it was made is one that its writer could not take back.
constexpr std::time_t seconds_until_note_is_wrong = 3600;

std::string key_of_note(const std::string &id, LooseKind kind) {
    return std::string(loose).append(id).append(kind == LooseKind::draft ? draft_ending : "");
}

LooseParts parts_of_note(const ListedObject &note, std::time_t now) {
    LooseParts parts;
    parts.id = note.key.substr(sizeof loose - 1);
    const size_t length = parts.id.size() - std::min(parts.id.size(), draft_ending.size());
    if (parts.id.compare(length, parts.id.npos, draft_ending) == 0) {
        parts.id.resize(length);
        parts.kind = LooseKind::draft;
    }
    parts.age = now - note.modified;
    return parts;
}

bool read_note(const std::string &text, LooseParts &parts) {
    std::istringstream lines(text);
    std::string more;
    return std::getline(lines, parts.lsu) && std::getline(lines, parts.name) && !std::getline(lines, more);
}

}  // namespace

Answer note_loose(const NameTable &table, std::string_view name, const std::string &id, LooseKind kind) {
    return table.bucket().put(key_of_note(id, kind), table.lsu() + '\n' + std::string(name) + '\n');
}

void forget_loose(Bucket &bucket, const std::string &id, LooseKind kind) { bucket.remove(key_of_note(id, kind)); }

// The notes are taken away last, so that what is left of it can be found.
Answer remove_parts(Bucket &bucket, const std::string &id, Deadline deadline) {
    ParallelRequests removals;
    const Answer listed = bucket.list_all(parts_of(id), "", [&](const ListPage &page, std::time_t) {
        Answer answer;
        for (const ListedObject &object : page.objects) {
            if (std::chrono::steady_clock::now() >= deadline || removals.is_unanswered()) {
                answer.error = ETIME;
                break;
            }
            removals.start([&bucket, key = object.key] { return bucket.remove(key); });
        }
        return answer;
    });
    const Answer &removed = removals.finish();
    if (!listed.ok() || !removed.ok())
        return listed.ok() ? removed : listed;
    Answer forgotten = bucket.remove(key_of_note(id, LooseKind::draft));
    return forgotten.ok() ? bucket.remove(key_of_note(id, LooseKind::image)) : forgotten;
}

std::time_t seconds_until_loose(ImageRoot &root) {
    const Settings &settings = root.bucket().settings();
    return settings.lease_seconds + std::time_t{2} * settings.timeout_seconds;
}

Answer for_each_note(const std::shared_ptr<ImageRoot> &root, const std::function<void(LooseParts)> &listener) {
    return root->bucket().list_all(loose, "", [&listener](const ListPage &page, std::time_t now) {
        for (const ListedObject &object : page.objects)
            if (LooseParts parts = parts_of_note(object, now); is_random_id(parts.id))
                listener(std::move(parts));
        return Answer();
    });
}

bool look_at_note(const std::shared_ptr<ImageRoot> &root, LooseParts &parts) {
    const Answer note = root->bucket().get(key_of_note(parts.id, parts.kind));
    if (!note.ok() || !read_note(note.body, parts) || !NameTable(root, parts.lsu).find(parts.name, parts.seen).ok())
        return false;
    const NameRecord &record = parts.seen.record;
    parts.has_name = record.image && record.image->id == parts.id;
    parts.has_claim = record.claim && record.claim->id == parts.id;
    if (parts.kind == LooseKind::image || parts.has_name || parts.has_claim)
        return true;
    // A draft that has come to its end, or an image that was published and has lost its name, which is noted before.
    return root->bucket().get(key_of_note(parts.id, LooseKind::image)).error == ENOENT;
}

bool is_in_use(const std::shared_ptr<ImageRoot> &root, const LooseParts &parts) {
    bool is_used = true;
    if (parts.has_claim) {
        const Answer answer = root->presence().ask_whether_lives(*parts.seen.record.claim, is_used);
        return !answer.ok() || is_used;
    }
    if (parts.has_name || parts.kind == LooseKind::draft)
        return parts.has_name;
    if (!parts.lsu.empty() && parts.age <= seconds_until_loose(*root))
        return true;
    const Answer answer = root->presence().ask_whether_read(parts.id, is_used);
    return !answer.ok() || is_used;
}

Change clear(const std::shared_ptr<ImageRoot> &root, const LooseParts &parts, Deadline deadline) {
    if (parts.has_claim) {
        SeenRecord seen = parts.seen;
        NameRecord next = seen.record.following();
        next.claim.reset();
        Answer answer;
        const Change change = NameTable(root, parts.lsu).change(parts.name, seen, next, answer);
        if (change != Change::done)
            return change;
    }
    return remove_parts(root->bucket(), parts.id, deadline).ok() ? Change::done : Change::failed;
}

void clear_loose_parts(const std::shared_ptr<ImageRoot> &root, Deadline deadline) {
    for_each_note(root, [&root, deadline](LooseParts parts) {
        if (std::chrono::steady_clock::now() >= deadline || parts.age <= seconds_until_loose(*root) ||
            !look_at_note(root, parts))
            return;
        if (parts.has_name && parts.age > seconds_until_note_is_wrong)
            forget_loose(root->bucket(), parts.id, parts.kind);
        else if (!is_in_use(root, parts))
            clear(root, parts, deadline);
    });
}

}  // namespace stsimage::s3
