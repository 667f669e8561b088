#include "stsimage/lsu_text.h"

#include <algorithm>

#include "stsimage/image_name.h"
#include "stsimage/last_error.h"
#include "stsimage/quoted_text.h"
#include "stspi/stsimg.h"

namespace stsimage {

int32_t refuse_lsu_text(std::string_view text, const char *why) {
    return fail(STSIMG_E_INVALID_LSU, "the LSU text %s %s", QuotedText(text).c_str(), why);
}

int32_t check_lsu_text(std::string_view text) {
    if (text.empty())
        return refuse_lsu_text(text, "is empty");
    if (text.size() > longest_lsu_text)
        return refuse_lsu_text(text, "is longer than 1023 bytes");
    if (has_control_character(text))
        return refuse_lsu_text(text, "has a control character");
    return 0;
}

int32_t normalize_lsu_text(std::string_view text, std::string &out_text) {
    out_text.clear();
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('/', begin), text.size());
        const std::string_view component = text.substr(begin, end - begin);
        if (component == "." || component == "..")
            return refuse_lsu_text(text, "has the component \".\" or \"..\"");
        if (!component.empty())
            out_text.append(out_text.empty() && text.front() != '/' ? "" : "/").append(component);
        begin = end + 1;
    }
    return out_text.empty() ? refuse_lsu_text(text, "names nothing") : 0;
}

}  // namespace stsimage
