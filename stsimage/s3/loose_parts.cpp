#include "stsimage/s3/loose_parts.h"

#include <sstream>

#include "stsimage/s3/image_log.h"
#include "stsimage/s3/parallel_requests.h"

namespace stsimage::s3 {

namespace {

constexpr char loose[] = "loose/";

// A note of what still has its name so long after it was made is one that its writer could not take back.
constexpr std::time_t seconds_until_note_is_wrong = 3600;

bool read_note(const std::string &text, LooseParts &parts) {
    std::istringstream lines(text);
    std::string kind, more;
    if (!std::getline(lines, parts.lsu) || !std::getline(lines, parts.name) || !std::getline(lines, kind) ||
        std::getline(lines, more) || (kind != "draft" && kind != "image"))
        return false;
    parts.kind = kind == "draft" ? LooseKind::draft : LooseKind::image;
    return true;
}

}  // namespace

Answer note_loose(const NameTable &table, std::string_view name, const std::string &id, LooseKind kind) {
    return table.bucket().put(
        loose + id, table.lsu() + '\n' + std::string(name) + (kind == LooseKind::draft ? "\ndraft\n" : "\nimage\n"));
}

void forget_loose(Bucket &bucket, const std::string &id) { bucket.remove(loose + id); }

Answer remove_parts(Bucket &bucket, const std::string &id) {
    ParallelRequests removals;
    const Answer listed = bucket.list_all(parts_of(id), "", [&](const ListPage &page, std::time_t) {
        for (const ListedObject &object : page.objects)
            removals.start([&bucket, key = object.key] { return bucket.remove(key); });
        return Answer();
    });
    const Answer &removed = removals.finish();
    if (!listed.ok() || !removed.ok())
        return listed.ok() ? removed : listed;
    return bucket.remove(loose + id);
}

std::time_t seconds_until_loose(ImageRoot &root) {
    const Settings &settings = root.bucket().settings();
    return settings.lease_seconds + std::time_t{2} * settings.timeout_seconds;
}

Answer for_each_note(const std::shared_ptr<ImageRoot> &root,
                     const std::function<void(const std::string &, std::time_t)> &listener) {
    return root->bucket().list_all(loose, "", [&listener](const ListPage &page, std::time_t now) {
        for (const ListedObject &object : page.objects)
            listener(object.key.substr(sizeof loose - 1), now - object.modified);
        return Answer();
    });
}

bool look_at_note(const std::shared_ptr<ImageRoot> &root, const std::string &id, std::time_t age,
                  LooseParts &out_parts) {
    out_parts = LooseParts();
    out_parts.id = id;
    out_parts.age = age;
    const Answer note = root->bucket().get(loose + id);
    if (!note.ok() || !read_note(note.body, out_parts) ||
        !NameTable(root, out_parts.lsu).find(out_parts.name, out_parts.seen).ok())
        return false;
    const NameRecord &record = out_parts.seen.record;
    out_parts.has_name = record.image && record.image->id == id;
    out_parts.has_claim = record.claim && record.claim->id == id;
    if (out_parts.kind == LooseKind::image || out_parts.has_name || out_parts.has_claim)
        return true;
    // A draft that has come to its end, or an image that was published and lost its name since the note was read.
    const Answer again = root->bucket().get(loose + id);
    return again.ok() && again.body == note.body;
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

Change clear(const std::shared_ptr<ImageRoot> &root, const LooseParts &parts) {
    if (parts.has_claim) {
        SeenRecord seen = parts.seen;
        NameRecord next = seen.record.following();
        next.claim.reset();
        Answer answer;
        const Change change = NameTable(root, parts.lsu).change(parts.name, seen, next, answer);
        if (change != Change::done)
            return change;
    }
    return remove_parts(root->bucket(), parts.id).ok() ? Change::done : Change::failed;
}

void clear_loose_parts(const std::shared_ptr<ImageRoot> &root) {
    for_each_note(root, [&root](const std::string &id, std::time_t age) {
        LooseParts parts;
        if (age <= seconds_until_loose(*root) || !look_at_note(root, id, age, parts))
            return;
        if (parts.has_name && age > seconds_until_note_is_wrong)
            forget_loose(root->bucket(), id);
        else if (!is_in_use(root, parts))
            clear(root, parts);
    });
}

}  // namespace stsimage::s3
