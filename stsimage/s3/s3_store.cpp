#include "stsimage/s3/s3_store.h"

#include <cerrno>
#include <string>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/s3/loose_parts.h"
#include "stsimage/s3/s3_draft.h"
#include "stsimage/s3/s3_image.h"
#include "stsimage/s3/s3_names.h"
#include "stspi/stsimg.h"

namespace stsimage::s3 {

namespace {

constexpr int most_attempts_to_remove = 100;

}  // namespace

int32_t S3Store::open_lsu(std::string_view location, std::string_view lsu, WhenMissing when_missing,
                          std::unique_ptr<Store> &out_store) {
    std::shared_ptr<ImageRoot> root;
    if (const int32_t status = ImageRoot::connect(location, root); status != 0)
        return status;
    NameTable table(std::move(root), std::string(lsu));
    bool there = false;
    Answer answer = table.ask_whether_there(there);
    if (answer.code == "NoSuchBucket")
        return fail(STS_E_NOT_FOUND, "the service has no bucket for %s", QuotedText(table.bucket().name()).c_str());
    if (answer.ok() && !there) {
        if (when_missing == WhenMissing::fail)
            return fail(STS_E_NOT_FOUND, "there is no LSU %s", QuotedText(table.path()).c_str());
        answer = table.make();
    }
    if (!answer.ok())
        return tell(answer, std::string("cannot open the LSU ") + QuotedText(table.path()).c_str());
    out_store = std::make_unique<S3Store>(std::move(table));
    return 0;
}

int32_t S3Store::begin(std::string_view name, std::unique_ptr<Draft> &out_draft) {
    auto draft = std::make_unique<S3Draft>(table, std::string(name));
    if (const int32_t status = draft->begin(); status != 0)
        return status;
    out_draft = std::move(draft);
    return 0;
}

int32_t S3Store::open(std::string_view name, std::unique_ptr<StoredImage> &out_image) {
    auto image = std::make_unique<S3Image>(table, std::string(name));
    if (const int32_t status = image->open(); status != 0)
        return status;
    out_image = std::move(image);
    return 0;
}

int32_t S3Store::remove(std::string_view name) {
    const std::string cannot_delete = std::string("cannot delete ") + QuotedText(table.path_of(name)).c_str();
    std::string unanswered;  // the image whose removal was not answered
    for (int attempt = 0; attempt < most_attempts_to_remove; ++attempt) {
        SeenRecord seen;
        Answer answer = table.find(name, seen);
        const bool is_known = answer.ok();
        if (is_known && !unanswered.empty() && (!seen.record.image || seen.record.image->id != unanswered))
            return 0;  // it was done all the same
        if (is_known && !seen.record.image)
            return fail(STS_E_NOT_FOUND, "there is no image %s in %s", QuotedText(name).c_str(),
                        QuotedText(table.path()).c_str());
        if (is_known)
            answer = note_loose(table, name, seen.record.image->id, LooseKind::image);
        Change change = Change::failed;
        if (answer.ok()) {
            const std::string id = seen.record.image->id;
            NameRecord next = seen.record.following();
            next.image.reset();
            change = table.change(name, seen, next, answer);
            if (change == Change::done)
                return 0;
            if (change == Change::unknown && unanswered.empty()) {
                unanswered = id;
                continue;
            }
        }
        if (change == Change::refused)
            continue;
        const int32_t status = tell(answer, cannot_delete);
        return unanswered.empty() ? status : STSIMG_E_OUTCOME_UNKNOWN;
    }
    const int32_t status =
        fail(STS_E_SYSTEM, "%s is being changed too often to be deleted", QuotedText(table.path_of(name)).c_str());
    return unanswered.empty() ? status : STSIMG_E_OUTCOME_UNKNOWN;
}

int32_t S3Store::list(std::unique_ptr<NameList> &out_names) {
    out_names = std::make_unique<S3Names>(table);
    return 0;
}

}  // namespace stsimage::s3
