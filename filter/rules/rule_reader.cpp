#include "filter/rules/rule_reader.h"

#include <charconv>
#include <csignal>
#include <functional>
#include <initializer_list>

#include "filter/rules/function_traits.h"
#include "filter/rules/pattern.h"
#include "filter/rules/quantity.h"
#include "filter/rules/status.h"

namespace filter {

namespace {

const std::vector<std::string> selector_words = {"server", "host",   "lsu",  "image", "mount", "offset",
                                                 "length", "bytes",  "call", "calls", "every", "first",
                                                 "after",  "before", "for",  "while", "each",  "returned"};
const std::vector<std::string> effect_words = {"answer", "delay", "hold",   "rate",    "short", "flip", "zero", "stale",
                                               "lose",   "omit",  "repeat", "reverse", "set",   "log",  "kill"};

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

constexpr struct {
    const char *name;
    int number;
} signals[] = {
    {"SIGKILL", SIGKILL}, {"SIGSEGV", SIGSEGV}, {"SIGABRT", SIGABRT}, {"SIGTERM", SIGTERM}, {"SIGSTOP", SIGSTOP}};

class RuleReader {
public:
    RuleReader(WordReader &words, size_t line) : m_words(words) { m_rule.line = line; }

    Rule read() {
        read_functions();
        while (read_selector())
            continue;
        read_effect();
        m_words.demand_end();
        check_place();
        for (const Word &word : m_words.all())
            m_rule.text += (m_rule.text.empty() ? "" : " ") + (word.quoted ? in_quotes(word.text) : word.text);
        return m_rule;
    }

private:
    // ---- functions ----

    void read_functions() {
        m_functions_word = m_words.take("the name of an entry point");
        std::string rest = m_functions_word.text;
        while (!rest.empty()) {
            const size_t comma = rest.find(',');
            const std::string pattern = rest.substr(0, comma);
            rest = comma == std::string::npos ? "" : rest.substr(comma + 1);
            std::bitset<function_count> found;
            for (unsigned function = 0; function < function_count; ++function)
                found[function] = matches(pattern, function_names[function]) || matches(pattern, short_name(function));
            if (found.none())
                throw Mistake(
                    m_functions_word,
                    in_quotes(pattern) + (has_wildcard(pattern) ? " matches no entry point" : " is no entry point"),
                    did_you_mean(pattern, known_functions(pattern)));
            m_rule.functions |= found;
            if (!has_wildcard(pattern))
                m_named |= found;
        }
        if (m_rule.functions.none())
            throw Mistake(m_functions_word, "the name of an entry point is missing", "");
    }

    static std::vector<std::string> known_functions(const std::string &pattern) {
        std::vector<std::string> names;
        for (unsigned function = 0; function < function_count; ++function)
            names.push_back(pattern.substr(0, 6) == "stspi_" ? function_names[function] : short_name(function));
        return names;
    }

    // Leaves only functions of which this is true. A function that was named, and not merely matched, must stay.
    void keep(const Word &word, const std::function<bool(unsigned)> &fits, const std::string &otherwise) {
        for (unsigned function = 0; function < function_count; ++function) {
            if (!m_rule.functions[function] || fits(function))
                continue;
            if (m_named[function])
                throw Mistake(word, std::string(function_names[function]) + " " + otherwise, "");
            m_rule.functions.reset(function);
        }
        if (m_rule.functions.none())
            throw Mistake(word, "none of " + in_quotes(m_functions_word.text) + " is left: each one " + otherwise, "");
    }

    void keep_subject(const Word &word, uint32_t subject, const std::string &otherwise) {
        keep(
            word, [&](unsigned function) { return (traits(function).subjects & subject) != 0; }, otherwise);
    }

    void keep_ability(const Word &word, uint32_t ability, const std::string &otherwise) {
        keep(
            word, [&](unsigned function) { return (traits(function).abilities & ability) != 0; }, otherwise);
    }

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
            keep_subject(word, subject_extent, "moves no data");
            auto &interval = word.text == "offset"   ? m_rule.offset
                             : word.text == "length" ? m_rule.length
                                                     : m_rule.bytes;
            demand_first(word, !interval.has_value());
            interval = read_comparison();
            return true;
        }
        return read_window(word);
    }

    void read_name(const Word &word, const NameWord &name) {
        static const char *const what[name_kinds] = {"server", "host", "LSU", "image", "mount point"};
        keep_subject(word, name.subject, std::string("knows no ") + what[name.kind]);
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
            m_rule.calls = {1, count ? read_positive() : 1};
        } else if (word.text == "every") {
            m_words.take("");
            demand_first(word, m_rule.every == 1);
            m_rule.every = read_positive();
        } else if (word.text == "for") {
            m_words.take("");
            demand_first(word, m_rule.for_ns == UINT64_MAX);
            m_rule.for_ns = read_duration();
        } else if (word.text == "while") {
            m_words.take("");
            demand_first(word, m_rule.while_file.empty());
            m_rule.while_file = read_path();
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
            m_rule.chance = read_chance(word);
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
            m_rule.calls.low = read_positive();
            if (m_rule.calls.low != UINT64_MAX)
                ++m_rule.calls.low;
        } else if (word.text == "after" && parse_duration(m_words.peek().text)) {
            demand_first(word, m_rule.after_ns == 0);
            m_rule.after_ns = read_duration();
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
        m_rule.returned_status = status(what, {"error"});
        m_rule.returned = m_rule.returned_status == 0 ? Returned::success : Returned::status;
    }

    double read_chance(const Word &word) {
        const std::string number = word.text.substr(0, word.text.size() - 1);
        double percent = 0;
        const char *end = number.data() + number.size();
        const auto [stop, error] = std::from_chars(number.data(), end, percent, std::chars_format::fixed);
        if (number.empty() || error != std::errc() || stop != end || !(percent >= 0 && percent <= 100))
            throw Mistake(word, in_quotes(word.text) + " is no share of calls", "write 0% to 100%, such as 2% or 0.5%");
        return percent / 100;
    }

    Interval read_comparison() {
        Word word = m_words.take("a comparison, such as > 10G,");
        size_t sign = word.text.find_first_not_of("<>=");
        const std::string operation = word.text.substr(0, sign);
        if (sign == std::string::npos) {
            word = m_words.take("a size");
            sign = 0;
        }
        const std::string number = word.text.substr(sign);
        const size_t dots = number.find("..");
        if (operation.empty() && dots != std::string::npos) {
            const uint64_t low = size(word, number.substr(0, dots));
            const uint64_t high = dots + 2 == number.size() ? UINT64_MAX : size(word, number.substr(dots + 2));
            if (low > high)
                throw Mistake(word, in_quotes(number) + " holds no number", "");
            return {low, high};
        }
        const uint64_t value = size(word, number);
        if (operation.empty() || operation == "=" || operation == "==")
            return {value, value};
        if (operation == ">=")
            return {value, UINT64_MAX};
        if (operation == "<=")
            return {0, value};
        if (operation == ">" && value != UINT64_MAX)
            return {value + 1, UINT64_MAX};
        if (operation == "<" && value != 0)
            return {0, value - 1};
        throw Mistake(word, in_quotes(operation + " " + number) + " holds no number", "");
    }

    // ---- effects ----

    void read_effect() {
        const Word word = m_words.take("an effect");
        Effect &effect = m_rule.effect;
        if (word.text == "answer") {
            effect.kind = EffectKind::answer;
            effect.status = status(m_words.take("a status"), {});
        } else if (word.text == "delay") {
            effect.kind = EffectKind::delay;
            read_delay();
        } else if (word.text == "hold") {
            effect.kind = EffectKind::hold;
            read_hold();
        } else if (word.text == "rate") {
            effect.kind = EffectKind::rate;
            keep_ability(word, ability_short, "moves no data");
            read_rate();
        } else if (word.text == "short") {
            effect.kind = EffectKind::short_count;
            read_short(word);
        } else if (word.text == "flip") {
            effect.kind = EffectKind::flip;
            keep_ability(word, ability_change_read | ability_change_written, "carries no data to change");
            read_flip();
        } else if (word.text == "zero") {
            effect.kind = EffectKind::zero;
            keep_ability(word, ability_change_read | ability_change_written, "carries no data to change");
            read_zero();
        } else if (word.text == "stale") {
            effect.kind = EffectKind::stale;
            keep_ability(word, ability_stale, "gives nothing that could be stale");
        } else if (word.text == "lose") {
            effect.kind = EffectKind::lose;
            keep_ability(word, ability_lose, "has nothing that could be lost without its caller seeing it");
        } else if (word.text == "omit" || word.text == "repeat" || word.text == "reverse") {
            effect.kind = word.text == "omit"     ? EffectKind::omit
                          : word.text == "repeat" ? EffectKind::repeat
                                                  : EffectKind::reverse;
            keep_ability(word, ability_list, "gives no entries of a list");
        } else if (word.text == "set") {
            effect.kind = EffectKind::set;
            read_set();
        } else if (word.text == "log") {
            effect.kind = EffectKind::log;
            keep_subject(word, subject_session, "has no session to send a message to");
            effect.text = m_words.take("the message").text;
        } else if (word.text == "kill") {
            effect.kind = EffectKind::kill;
            read_kill();
        } else {
            std::vector<std::string> known = effect_words;
            known.insert(known.end(), selector_words.begin(), selector_words.end());
            throw Mistake(word, in_quotes(word.text) + " is neither a selector nor an effect",
                          did_you_mean(word.text, known));
        }
        m_effect_word = word;
    }

    void read_delay() {
        const Word word = m_words.take("a time");
        const size_t dots = word.text.find("..");
        m_rule.effect.low = duration(word, word.text.substr(0, dots));
        m_rule.effect.high = dots == std::string::npos ? m_rule.effect.low : duration(word, word.text.substr(dots + 2));
        if (m_rule.effect.low > m_rule.effect.high)
            throw Mistake(word, in_quotes(word.text) + " holds no time", "");
    }

    void read_hold() {
        if (m_words.take_if("until"))
            m_rule.effect.text = read_path();
        else if (m_words.take_if("for") && !m_words.take_if("ever"))
            throw Mistake(m_words.take("\"ever\""), "a call is held until a file exists or for ever",
                          "for a time, use delay");
    }

    void read_rate() {
        const Word word = m_words.take("bytes a second");
        std::string number = word.text;
        if (number.size() > 2 && number.substr(number.size() - 2) == "/s")
            number.resize(number.size() - 2);
        m_rule.effect.low = size(word, number);
        if (m_rule.effect.low == 0)
            throw Mistake(word, "a rate of 0 would never end", "use hold for ever");
    }

    void read_short(const Word &effect) {
        keep_ability(effect, m_rule.place == Place::after ? ability_count : ability_short,
                     m_rule.place == Place::after ? "tells no count of bytes" : "moves no data");
        const Word word = m_words.take("a number of bytes");
        if (!word.text.empty() && word.text.back() == '%') {
            m_rule.effect.percent = true;
            m_rule.effect.low = static_cast<uint64_t>(read_chance(word) * 100);
        } else {
            m_rule.effect.low = size(word, word.text);
        }
    }

    void read_flip() {
        if (!m_words.take_if("bit"))
            throw Mistake(m_words.take("\"bit\""), "flip takes a bit: flip bit 7 at 1000, flip bit at random", "");
        if (m_words.peek().text != "at") {
            const Word word = m_words.take("the number of a bit");
            const auto bit = parse_number(word.text);
            if (!bit || *bit > 7)
                throw Mistake(word, in_quotes(word.text) + " is no bit of a byte", "write 0 to 7");
            m_rule.effect.bit = static_cast<int>(*bit);
        }
        if (!m_words.take_if("at"))
            throw Mistake(m_words.take("\"at\""), "\"at\" belongs before the place", "");
        read_place_in_data();
    }

    void read_zero() {
        if (m_words.at_end() || m_words.take_if("all"))
            return;
        const Word word = m_words.take("a number of bytes");
        m_rule.effect.low = size(word, word.text);
        if (m_rule.effect.low == 0)
            throw Mistake(word, "0 bytes change nothing", "");
        if (m_words.take_if("at"))
            read_place_in_data();
    }

    void read_place_in_data() {
        if (m_words.take_if("random")) {
            m_rule.effect.where = Where::random;
            return;
        }
        m_rule.effect.where = m_words.take_if("image") ? Where::image : Where::call;
        const Word word = m_words.take("a place");
        m_rule.effect.offset = size(word, word.text);
    }

    void read_set() {
        const Word name = m_words.take("the name of a field");
        std::vector<std::string> known;
        for (unsigned function = 0; function < function_count; ++function)
            if (m_rule.functions[function])
                for (const Field &field : fields(function))
                    known.emplace_back(field.name);
        const std::string help = did_you_mean(name.text, known);
        bool exists = false;
        for (const std::string &each : known)
            exists = exists || each == name.text;
        if (!exists && !known.empty())
            throw Mistake(name, "there is no field " + in_quotes(name.text), help);
        keep(
            name, [&](unsigned function) { return find_field(function, name.text) != nullptr; },
            "has no field " + in_quotes(name.text));
        m_rule.effect.text = name.text;
        const Word value = m_words.take("a value");
        m_rule.effect.value = value.text;
        for (unsigned function = 0; function < function_count; ++function) {
            const Field *field = m_rule.functions[function] ? find_field(function, name.text) : nullptr;
            if (field == nullptr)
                continue;
            if (field->type == FieldType::text && value.text.size() >= field->size)
                throw Mistake(value, "the text does not fit its field of " + std::to_string(field->size) + " bytes",
                              "");
            if (field->type != FieldType::text)
                m_rule.effect.low = fitting(value, size(value, value.text), field->size);
        }
    }

    static uint64_t fitting(const Word &word, uint64_t value, size_t bytes) {
        if (bytes < 8 && value >> (8 * bytes) != 0)
            throw Mistake(word, in_quotes(word.text) + " does not fit a field of " + std::to_string(bytes) + " bytes",
                          "");
        return value;
    }

    void read_kill() {
        m_rule.effect.low = SIGKILL;
        if (m_words.at_end())
            return;
        const Word word = m_words.take("a signal");
        for (const auto &signal : signals)
            if (word.text == signal.name) {
                m_rule.effect.low = static_cast<uint64_t>(signal.number);
                return;
            }
        std::vector<std::string> known;
        for (const auto &signal : signals)
            known.emplace_back(signal.name);
        throw Mistake(word, in_quotes(word.text) + " is no signal for this", did_you_mean(word.text, known));
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
            keep_ability(m_effect_word, ability_count, "tells no count of bytes");
    }

    void check_place_of_data(bool explicit_before, bool explicit_after) {
        if (explicit_before)
            keep_ability(m_place_word, ability_change_written, "has its data after the call only");
        if (explicit_after || m_rule.returned != Returned::anything)
            keep_ability(m_place_word.column != 0 ? m_place_word : m_returned_word, ability_change_read,
                         "has its data before the call only");
        // With both kinds of functions each has its own place; the rule then shows the first's.
        bool reads = false;
        for (unsigned function = 0; function < function_count; ++function)
            reads = reads || (m_rule.functions[function] && (traits(function).abilities & ability_change_read) != 0);
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
            others = others || (m_rule.functions[function] && !asks_entry(function));
        if (!others && !must_be_before && m_place_word.column == 0)
            m_rule.place = Place::after;
        else
            keep(
                m_entry_word.column == 0 ? m_functions_word : m_entry_word,
                [&](unsigned function) { return !asks_entry(function); }, "knows its entry after the call only");
    }

    // ---- values ----

    static void demand_first(const Word &word, bool first) {
        if (!first)
            throw Mistake(word, "a second " + in_quotes(word.text), "");
    }

    uint64_t read_positive() {
        const Word word = m_words.take("a number");
        const auto number = parse_number(word.text);
        if (!number || *number == 0)
            throw Mistake(word, in_quotes(word.text) + " is no positive number", "");
        return *number;
    }

    static uint64_t size(const Word &word, const std::string &text) {
        const auto value = parse_size(text);
        if (!value)
            throw Mistake(word, in_quotes(text) + " is no size", "write 4096, 64K or 1.5G");
        return *value;
    }

    static uint64_t duration(const Word &word, const std::string &text) {
        const auto value = parse_duration(text);
        if (!value || *value > UINT64_MAX / 4)
            throw Mistake(word, in_quotes(text) + " is no time", "write 5ms, 2s or 1.5m");
        return *value;
    }

    uint64_t read_duration() {
        const Word word = m_words.take("a time");
        return duration(word, word.text);
    }

    std::string read_path() {
        const Word word = m_words.take("a path");
        if (word.text.empty() || word.text.front() != '/')
            throw Mistake(word, "the path " + in_quotes(word.text) + " is not absolute", "");
        return word.text;
    }

    static int32_t status(const Word &word, const std::vector<std::string> &more) {
        if (const auto number = parse_status(word.text))
            return *number;
        std::vector<std::string> known = status_names();
        known.insert(known.end(), more.begin(), more.end());
        throw Mistake(word, in_quotes(word.text) + " is no status", did_you_mean(word.text, known));
    }

    WordReader &m_words;
    Rule m_rule;
    std::bitset<function_count> m_named;
    Word m_functions_word;
    Word m_place_word;
    Word m_returned_word;
    Word m_entry_word;
    Word m_effect_word;
};

}  // namespace

Rule read_rule(WordReader &words, size_t line) { return RuleReader(words, line).read(); }

}  // namespace filter
