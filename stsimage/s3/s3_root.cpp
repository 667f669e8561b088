#include "stsimage/s3/s3_root.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/random_id.h"
#include "stsimage/s3/image_log.h"
#include "stsimage/s3/parallel_requests.h"
#include "stspi/stsimg.h"

namespace stsimage::s3 {

int32_t S3Root::open(std::string_view location, std::unique_ptr<StoreRoot> &out_root) {
    std::shared_ptr<ImageRoot> root;
    if (const int32_t status = ImageRoot::connect(location, root); status != 0)
        return status;
    out_root = std::make_unique<S3Root>(std::move(root));
    return 0;
}

Answer S3Root::find_lsus(std::vector<std::string> &out_lsus) {
    out_lsus.clear();
    Answer answer = root->bucket().list_all("lsu/", "", [&](const ListPage &page, std::time_t) {
        for (const ListedObject &object : page.objects) {
            // The key of a long one does not hold all of its text.
            Answer lsu = root->bucket().get(object.key);
            if (!lsu.ok())
                return lsu;
            if (object.key != key_of_lsu(lsu.body)) {  // without its text its images would seem to be nobody's
                lsu.error = EBADMSG;
                lsu.words = object.key + " does not hold the text of an LSU";
                return lsu;
            }
            out_lsus.push_back(std::move(lsu.body));
        }
        return Answer();
    });
    std::sort(out_lsus.begin(), out_lsus.end());
    return answer;
}

int32_t S3Root::list_lsus(std::vector<std::string> &out_lsus) {
    const Answer answer = find_lsus(out_lsus);
    if (!answer.ok())
        return tell(answer, std::string("cannot list the LSUs in ") + QuotedText(root->bucket().name()).c_str());
    return 0;
}

// Clears it when it is to be removed and may be. False when somebody else has come by it meanwhile.
bool S3Root::look_at(const LooseParts &parts, Disposal disposal, Leftover &out_leftover) {
    Leftover leftover{LeftoverKind::orphan, parts.lsu, parts.name, root->bucket().name() + ": " + parts_of(parts.id)};
    if (!parts.lsu.empty())
        leftover.kind = parts.kind == LooseKind::draft ? LeftoverKind::draft : LeftoverKind::deleted;
    std::time_t newest = 0, now = 0;
    root->bucket().list_all(parts_of(parts.id), "", [&](const ListPage &page, std::time_t date) {
        now = date;
        for (const ListedObject &object : page.objects) {
            leftover.stored_bytes += object.size;
            newest = std::max(newest, object.modified);
        }
        return Answer();
    });
    if (leftover.kind == LeftoverKind::orphan)
        leftover.in_use = now - newest <= seconds_until_loose(*root) || is_in_use(root, parts);
    else
        leftover.in_use = is_in_use(root, parts);
    const bool removes = disposal == Disposal::remove && !leftover.in_use;
    const Change cleared = removes ? clear(root, parts) : Change::failed;
    leftover.removed = cleared == Change::done;
    out_leftover = std::move(leftover);
    return cleared != Change::refused;
}

int32_t S3Root::find_leftovers(const std::string &lsu, Disposal disposal, const LeftoverListener &listener) {
    NameTable table(root, lsu);
    bool there = false;
    Answer answer = table.ask_whether_there(there);
    if (answer.ok() && !there)
        return fail(STS_E_NOT_FOUND, "there is no LSU %s", QuotedText(table.path()).c_str());
    bool wanted = true;
    if (answer.ok())
        answer = for_each_note(root, [&](LooseParts parts) {
            const auto known = lsu_of_id.find(parts.id);
            if (!wanted || (known != lsu_of_id.end() && known->second != lsu))
                return;
            const bool is_wanted = look_at_note(root, parts);
            if (!parts.lsu.empty())
                lsu_of_id[parts.id] = parts.lsu;
            Leftover leftover;
            if (is_wanted && parts.lsu == lsu && !parts.has_name && look_at(parts, disposal, leftover))
                wanted = listener(leftover);
        });
    return answer.ok() ? 0
                       : tell(answer, std::string("cannot look through the LSU ") + QuotedText(table.path()).c_str());
}

// Leaves those that no record of the LSU refers to.
Answer S3Root::forget_named(const std::string &lsu, std::set<std::string> &ids) {
    NameTable table(root, lsu);
    std::mutex ids_mutex;
    const auto forget_of = [&](const std::string &name) {
        SeenRecord seen;
        Answer answer = table.find(name, seen);
        const std::lock_guard<std::mutex> lock(ids_mutex);
        if (seen.record.image)
            ids.erase(seen.record.image->id);
        if (seen.record.claim)
            ids.erase(seen.record.claim->id);
        return answer;
    };
    ParallelRequests looks;
    NameTable::Page page;
    do {
        const std::string continuation = page.continuation;
        if (Answer answer = table.list(continuation, page); !answer.ok())
            return answer;
        page.names.insert(page.names.end(), page.others.begin(), page.others.end());
        for (const std::string &name : page.names)
            if (!looks.start([forget_of, name] { return forget_of(name); }).ok())
                break;
    } while (!page.continuation.empty() && looks.failure().ok());
    return looks.finish();
}

// A draft's name is claimed before it has parts, and an image that loses its name is noted before: so parts are listed first,
// then records looked at, and then notes.
Answer S3Root::find_ids_without_note(std::set<std::string> &out_ids) {
    out_ids.clear();
    const std::string images = parts_of("");
    Answer answer = root->bucket().list_all(images, "/", [&](const ListPage &page, std::time_t) {
        for (const std::string &folded : page.prefixes)
            if (std::string id = folded.substr(images.size(), folded.size() - images.size() - 1); is_random_id(id))
                out_ids.insert(std::move(id));
        return Answer();
    });
    std::vector<std::string> lsus;
    if (answer.ok() && !out_ids.empty())
        answer = find_lsus(lsus);
    for (const std::string &lsu : lsus)
        if (answer.ok())
            answer = forget_named(lsu, out_ids);
    if (answer.ok())
        answer = for_each_note(root, [&](const LooseParts &parts) { out_ids.erase(parts.id); });
    return answer;
}

int32_t S3Root::find_orphans(Disposal disposal, const LeftoverListener &listener) {
    std::set<std::string> orphans;
    if (const Answer answer = find_ids_without_note(orphans); !answer.ok())
        return tell(answer,
                    std::string("cannot look for parts of no image in ") + QuotedText(root->bucket().name()).c_str());
    for (const std::string &id : orphans) {
        LooseParts parts;
        parts.id = id;
        Leftover leftover;
        if (look_at(parts, disposal, leftover) && !listener(leftover))
            break;
    }
    return 0;
}

}  // namespace stsimage::s3
