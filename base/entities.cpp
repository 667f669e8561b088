#include "base/entities.h"

namespace {

const char *entity(char character) {
    switch (character) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return nullptr;
    }
}

}  // namespace

std::string with_entities(std::string_view text, std::string_view quotation_marks) {
    std::string result;
    result.reserve(text.size());
    for (const char character : text) {
        const char *replacement = entity(character);
        const bool stays =
            (character == '"' || character == '\'') && quotation_marks.find(character) == std::string_view::npos;
        if (replacement == nullptr || stays)
            result += character;
        else
            result += replacement;
    }
    return result;
}
