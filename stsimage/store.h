// What the calls need of the place where images lie, and nothing else.
//
// A store keeps named runs of bytes for one LSU. It knows nothing of what is in them: format, checksums and index lie above
// it (image_content.h), so that what any store gives back is checked in the same way. What it must see to:
//
//  - a name is given in one step, to a run that is whole and on stable storage: no reader sees anything else;
//  - one draft a name among all processes and hosts; the drafts of those that died are cleared by whoever comes next;
//  - a run that is open for reading stays as it was, whatever becomes of its name.
//
// Calls that give a status leave its text, as everywhere (last_error.h). Transfers tell their trouble by errno instead, and
// whoever asked for them says what of the image it was. Trouble that another attempt may overcome has the numbers that
// last_failure_passes() knows; a store that has waited long enough by itself must not use these.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "stsimage/draft.h"
#include "stsimage/name_list.h"
#include "stsimage/stored_image.h"

namespace stsimage {

// Outlives the drafts that it has given; open images and lists stand on their own.
class Store {
public:
    virtual ~Store() = default;

    // A new draft of this name; an image that bears it stays until the draft is published. STSIMG_E_BUSY when there is a draft
    // already whose writer lives.
    virtual int32_t begin(std::string_view name, std::unique_ptr<Draft> &out_draft) = 0;

    // Opens what bears the name, whatever is in it. STS_E_NOT_FOUND when there is nothing.
    virtual int32_t open(std::string_view name, std::unique_ptr<StoredImage> &out_image) = 0;

    // Takes what bears the name away, whatever is in it, durably. STS_E_NOT_FOUND when there is nothing.
    virtual int32_t remove(std::string_view name) = 0;

    virtual int32_t list(std::unique_ptr<NameList> &out_names) = 0;
};

enum class WhenMissing { fail, make };

}  // namespace stsimage
