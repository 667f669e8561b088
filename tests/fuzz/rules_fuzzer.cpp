// Settings of the filter: whatever is read is told in words, and a rule written down again is the same rule.
#include <cstdlib>
#include <string>

#include "filter/rules/effect_words.h"
#include "filter/rules/hidden_rules.h"
#include "filter/rules/pattern.h"
#include "filter/rules/sentence.h"
#include "filter/rules/settings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const filter::Settings settings = filter::read_settings(text);
    if (settings.sections.empty())
        std::abort();
    for (const filter::Finding &finding : settings.errors)
        if (finding.line == 0 || finding.column == 0 || finding.text.empty())
            std::abort();
    for (const filter::Section &section : settings.sections)
        for (size_t i = 0; i < section.rules.size(); ++i) {
            const filter::Rule &rule = section.rules[i];
            if (rule.functions.none() || filter::rule_sentence(rule).empty() ||
                filter::effect_words(rule.effect).empty())
                std::abort();
            const auto hidden = filter::hidden_by(section.rules, i);
            if (hidden && *hidden >= i)
                std::abort();
            for (const auto &pattern : rule.names)
                if (pattern)
                    filter::matches(*pattern, text.substr(0, 64));
        }
    return 0;
}
