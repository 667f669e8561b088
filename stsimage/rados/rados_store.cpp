#include "stsimage/rados/rados_store.h"

#include <optional>
#include <string>
#include <utility>

#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stsimage/rados/rados_draft.h"
#include "stsimage/rados/rados_image.h"
#include "stsimage/rados/rados_names.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr int most_attempts_to_remove = 1000;

}  // namespace

int32_t RadosStore::open_lsu(std::string_view location, std::string_view lsu, WhenMissing when_missing,
                             std::unique_ptr<Store> &out_store) {
    std::shared_ptr<Pool> pool;
    if (const int32_t status = Pool::connect(location, pool); status != 0)
        return status;
    NameTable table(std::move(pool), std::string(lsu));
    bool there = false;
    int result = table.ask_whether_there(there);
    if (result == 0 && !there) {
        if (when_missing == WhenMissing::fail)
            return fail(STS_E_NOT_FOUND, "there is no LSU %s", QuotedText(table.path()).c_str());
        result = table.make();
    }
    if (result < 0)
        return fail_system(errno_of(result), "cannot open the LSU %s", QuotedText(table.path()).c_str());
    out_store = std::make_unique<RadosStore>(std::move(table));
    return 0;
}

int32_t RadosStore::begin(std::string_view name, std::unique_ptr<Draft> &out_draft) {
    auto draft = std::make_unique<RadosDraft>(table, std::string(name));
    if (const int32_t status = draft->begin(); status != 0)
        return status;
    out_draft = std::move(draft);
    return 0;
}

int32_t RadosStore::open(std::string_view name, std::unique_ptr<StoredImage> &out_image) {
    auto image = std::make_unique<RadosImage>(table, std::string(name));
    if (const int32_t status = image->open(); status != 0)
        return status;
    out_image = std::move(image);
    return 0;
}

int32_t RadosStore::remove(std::string_view name) {
    const std::string path = table.path_of(name);
    std::optional<ImageEntry> unanswered;  // an image whose removal was not answered
    for (int attempt = 0; attempt < most_attempts_to_remove; ++attempt) {
        std::optional<ImageEntry> image;
        std::optional<Claim> claim;
        int result = table.find(name, image, claim);
        if (result == 0 && unanswered && (!image || image->id != unanswered->id))
            return 0;  // it was done all the same
        if (result == 0 && !image)
            return fail(STS_E_NOT_FOUND, "there is no image %s in %s", QuotedText(name).c_str(),
                        QuotedText(table.path()).c_str());
        const Change change = result < 0 ? Change::failed : table.remove(name, *image, result);
        if (change == Change::done) {
            table.clear(table.shard_of(name), {image->id, image->size});
            return 0;
        }
        if (change == Change::unknown && !unanswered) {
            unanswered = image;
            continue;
        }
        if (change == Change::refused)
            continue;
        const int32_t status =
            fail_system(errno_of(result), "cannot delete %s%s", QuotedText(path).c_str(), note_of(result));
        return unanswered ? STSIMG_E_OUTCOME_UNKNOWN : status;
    }
    const int32_t status = fail(STS_E_SYSTEM, "%s is being changed too often to be deleted", QuotedText(path).c_str());
    return unanswered ? STSIMG_E_OUTCOME_UNKNOWN : status;
}

int32_t RadosStore::list(std::unique_ptr<NameList> &out_names) {
    out_names = std::make_unique<RadosNames>(table);
    return 0;
}

}  // namespace stsimage
