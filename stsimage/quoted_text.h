// Text of unknown origin, made fit for a message.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace stsimage {

// The text in double quotes; control characters, '"', '\' and bytes from 0x7f on as \xNN, long texts cut with "...". Lives
// in the object, so that a message can be made when memory is short.
class QuotedText {
public:
    explicit QuotedText(std::string_view text);
    const char *c_str() const { return buffer.data(); }

private:
    static constexpr size_t longest = 2000;  // characters between the quotes: a path of an LSU and an image fits
    std::array<char, longest + 6> buffer;
};

}  // namespace stsimage
