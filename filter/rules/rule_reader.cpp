#include "filter/rules/rule_reader.h"

#include "filter/rules/effect_words.h"
#include "filter/rules/function_choice.h"
#include "filter/rules/function_traits.h"
#include "filter/rules/quantity.h"
#include "filter/rules/value_words.h"

namespace filter {

namespace {

const std::vector<std::string> selector_words = {"server", "host",   "lsu",  "image", "mount", "offset",
                                                 "length", "bytes",  "call", "calls", "every", "first",
                                                 "after",  "before", "for",  "while", "each",  "returned"};
struct NameWord {
    const char *word;
    NameKind kind;
    Subject subject;
};
constexpr NameWord name_words[] = {{"server", name_server, subject_server},
                                   {"host", name_host, subject_host},
                                   {"lsu", name_lsu, subject_lsu},
                                   {"image", name_image, subject_image},
                                   {"mount", name_mount_point, subject_mount_point}};

class RuleReader {
public:
    RuleReader(WordReader &words, size_t line) : m_words(words), m_functions(words) { m_rule.line = line; }

    Rule read() {
        while (read_selector())
            continue;
        m_effect_word = m_words.peek();
        m_rule.effect = read_effect(m_words, m_functions, m_rule.place, selector_words);
        m_words.demand_end();
        check_place();
        m_rule.functions = m_functions.functions();
        for (const Word &word : m_words.all())
            m_rule.text += (m_rule.text.empty() ? "" : " ") + (word.quoted ? in_quotes(word.text) : word.text);
        return m_rule;
    }

private:
    // ---- selectors ----

    // False when what comes next is none.
    bool read_selector() {
        const Word word = m_words.peek();
        if (word.column == 0 || word.quoted)
            return false;
        for (const NameWord &name : name_words)
            if (word.text == name.word) {
                m_words.take("");
                read_name(word, name);
                return true;
            }
        if (word.text == "offset" || word.text == "length" || word.text == "bytes") {
            m_words.take("");
            m_functions.keep_subject(word, subject_extent, "moves no data");
            auto &interval = word.text == "offset"   ? m_rule.offset
                             : word.text == "length" ? m_rule.length
                                                     : m_rule.bytes;
            demand_first(word, !interval.has_value());
            interval = take_comparison(m_words);
            return true;
        }
        return read_window(word);
    }

    void read_name(const Word &word, const NameWord &name) {
        static const char *const what[name_kinds] = {"server", "host", "LSU", "image", "mount point"};
        m_functions.keep_subject(word, name.subject, std::string("knows no ") + what[name.kind]);
        demand_first(word, !m_rule.names[name.kind].has_value());
        m_rule.names[name.kind] = m_words.take("a pattern").text;
        if (name.kind == name_lsu || name.kind == name_image)
            m_entry_word = word;
    }

    bool read_window(const Word &word) {
        if (word.text == "call" || word.text == "calls") {
            m_words.take("");
            read_calls(word);
        } else if (word.text == "first") {
            m_words.take("");
            demand_first(word, m_rule.calls == Interval{1, UINT64_MAX});
            const auto count = parse_number(m_words.peek().text);
            m_rule.calls = {1, count ? take_positive(m_words) : 1};
        } else if (word.text == "every") {
            m_words.take("");
            demand_first(word, m_rule.every == 1);
            m_rule.every = take_positive(m_words);
        } else if (word.text == "for") {
            m_words.take("");
            demand_first(word, m_rule.for_ns == UINT64_MAX);
            m_rule.for_ns = take_duration(m_words);
        } else if (word.text == "while") {
            m_words.take("");
            demand_first(word, m_rule.while_file.empty());
            m_rule.while_file = take_path(m_words);
            m_words.take_if("exists");
        } else if (word.text == "each") {
            m_words.take("");
            read_each(word);
        } else if (word.text == "returned") {
            m_words.take("");
            read_returned(word);
        } else if (word.text == "before" || word.text == "after") {
            m_words.take("");
            read_before_or_after(word);
        } else if (!word.text.empty() && word.text.back() == '%') {
            m_words.take("");
            demand_first(word, !m_rule.chance.has_value());
            m_rule.chance = share_in(word);
            if (m_words.take_if("of") && !m_words.take_if("calls"))
                throw Mistake(m_words.take("\"calls\""), "\"calls\" belongs behind \"of\"", "");
        } else {
            return false;
        }
        return true;
    }

    void read_calls(const Word &word) {
        demand_first(word, m_rule.calls == Interval{1, UINT64_MAX});
        const Word numbers = m_words.take("a number of a call");
        const size_t dots = numbers.text.find("..");
        const auto first = parse_number(numbers.text.substr(0, dots));
        const std::string end = dots == std::string::npos ? numbers.text : numbers.text.substr(dots + 2);
        const auto last = end.empty() ? UINT64_MAX : parse_number(end);
        if (!first || !last || *first == 0 || *first > *last)
            throw Mistake(numbers, in_quotes(numbers.text) + " tells no calls",
                          "write 3, 3..5 or 3.. ; calls count from 1");
        m_rule.calls = {*first, *last};
    }

    void read_before_or_after(const Word &word) {
        if (word.text == "after" && (m_words.peek().text == "call" || m_words.peek().text == "calls")) {
            const Word call = m_words.take("");
            demand_first(call, m_rule.calls == Interval{1, UINT64_MAX});
            m_rule.calls.low = take_positive(m_words);
            if (m_rule.calls.low != UINT64_MAX)
                ++m_rule.calls.low;
        } else if (word.text == "after" && parse_duration(m_words.peek().text)) {
            demand_first(word, m_rule.after_ns == 0);
            m_rule.after_ns = take_duration(m_words);
        } else {
            demand_first(word, m_place_word.column == 0);
            m_place_word = word;
            m_rule.place = word.text == "after" ? Place::after : Place::before;
        }
    }

    void read_each(const Word &word) {
        demand_first(word, m_rule.each == Each::all);
        const Word who = m_words.take("\"thread\" or \"process\"");
        if (who.text != "thread" && who.text != "process")
            throw Mistake(who, "each counts by thread or process, not by " + in_quotes(who.text), "");
        m_rule.each = who.text == "thread" ? Each::thread : Each::process;
    }

    void read_returned(const Word &word) {
        demand_first(word, m_rule.returned == Returned::anything);
        m_returned_word = word;
        const Word what = m_words.take("a status");
        if (what.text == "error") {
            m_rule.returned = Returned::error;
            return;
        }
        m_rule.returned_status = status_in(what, {"error"});
        m_rule.returned = m_rule.returned_status == 0 ? Returned::success : Returned::status;
    }

    // ---- before or after ----

    void check_place() {
        const EffectKind kind = m_rule.effect.kind;
        const bool explicit_before = m_place_word.column != 0 && m_rule.place == Place::before;
        const bool explicit_after = m_place_word.column != 0 && m_rule.place == Place::after;
        const bool always_after = kind == EffectKind::stale || kind == EffectKind::set || kind == EffectKind::omit ||
                                  kind == EffectKind::repeat || kind == EffectKind::reverse;
        if (always_after && explicit_before)
            throw Mistake(m_place_word,
                          m_effect_word.text + " changes what comes back, which is not there before the call", "");
        if (kind == EffectKind::lose && explicit_after)
            throw Mistake(m_place_word, "lose keeps the call from being made, which is too late after it", "");
        if (kind == EffectKind::flip || kind == EffectKind::zero) {
            check_place_of_data(explicit_before, explicit_after);
            return;
        }
        if (always_after)
            m_rule.place = Place::after;
        if (m_rule.returned != Returned::anything) {
            if (explicit_before || kind == EffectKind::lose)
                throw Mistake(m_returned_word, "what came back is known after the call only", "");
            m_rule.place = Place::after;
        }
        check_entries(explicit_before || kind == EffectKind::lose);
        if (kind == EffectKind::short_count && m_rule.place == Place::after)
            m_functions.keep_ability(m_effect_word, ability_count, "tells no count of bytes");
    }

    void check_place_of_data(bool explicit_before, bool explicit_after) {
        if (explicit_before)
            m_functions.keep_ability(m_place_word, ability_change_written, "has its data after the call only");
        if (explicit_after || m_rule.returned != Returned::anything)
            m_functions.keep_ability(m_place_word.column != 0 ? m_place_word : m_returned_word, ability_change_read,
                                     "has its data before the call only");
        // With both kinds of functions each has its own place; the rule then shows the first's.
        bool reads = false;
        for (unsigned function = 0; function < function_count; ++function)
            reads = reads || (m_functions.has(function) && (traits(function).abilities & ability_change_read) != 0);
        m_rule.place = reads ? Place::after : Place::before;
    }

    // The entry of a list is known after the call.
    void check_entries(bool must_be_before) {
        if (m_rule.place == Place::after)
            return;
        const auto asks_entry = [this](unsigned function) {
            return (m_rule.names[name_lsu] && is_entry_name(function, name_lsu)) ||
                   (m_rule.names[name_image] && is_entry_name(function, name_image));
        };
        bool others = false;
        for (unsigned function = 0; function < function_count; ++function)
            others = others || (m_functions.has(function) && !asks_entry(function));
        if (!others && !must_be_before && m_place_word.column == 0)
            m_rule.place = Place::after;
        else
            m_functions.keep(
                m_entry_word.column == 0 ? m_functions.word() : m_entry_word,
                [&](unsigned function) { return !asks_entry(function); }, "knows its entry after the call only");
    }

    static void demand_first(const Word &word, bool first) {
        if (!first)
            throw Mistake(word, "a second " + in_quotes(word.text), "");
    }

    WordReader &m_words;
    FunctionChoice m_functions;
    Rule m_rule;
    Word m_place_word;
    Word m_returned_word;
    Word m_entry_word;
    Word m_effect_word;
};

}  // namespace

Rule read_rule(WordReader &words, size_t line) { return RuleReader(words, line).read(); }

}  // namespace filter
