#include "filter/rules/effect_words.h"

#include <csignal>

#include "filter/rules/function_traits.h"
#include "filter/rules/quantity.h"
#include "filter/rules/status.h"
#include "filter/rules/value_words.h"

namespace filter {

namespace {

const std::vector<std::string> known_effects = {"answer", "delay",   "hold",  "rate", "short",
                                                "flip",   "zero",    "stale", "lose", "omit",
                                                "repeat", "reverse", "set",   "log",  "kill"};

constexpr struct {
    const char *name;
    int number;
} signals[] = {
    {"SIGKILL", SIGKILL}, {"SIGSEGV", SIGSEGV}, {"SIGABRT", SIGABRT}, {"SIGTERM", SIGTERM}, {"SIGSTOP", SIGSTOP}};

std::string signal_name(uint64_t number) {
    for (const auto &signal : signals)
        if (static_cast<uint64_t>(signal.number) == number)
            return signal.name;
    return "SIGKILL";
}

std::string status_name_alone(int32_t status) {
    const std::string text = status_text(status);
    return text.substr(0, text.find(" ("));
}

std::string range_text(const std::string &low, const std::string &high) {
    return low == high ? low : low + ".." + high;
}

std::string place_words(const Effect &effect) {
    if (effect.where == Where::random)
        return " at random";
    return std::string(effect.where == Where::image ? " at image " : " at ") + size_text(effect.offset);
}

std::string amount_words(const Effect &effect) {
    return effect.percent ? std::to_string(effect.low) + "%" : size_text(effect.low);
}

std::string data_words(const Rule &rule) {
    const bool writes = rule.functions[fn_stspi_write_image];
    const bool reads = rule.functions.count() > (writes ? 1 : 0);
    return !writes  ? "the data that was read"
           : !reads ? "the data on its way to the plug-in"
                    : "the data that was read, or is on its way to the plug-in";
}

class EffectReader {
public:
    EffectReader(WordReader &words, FunctionChoice &functions, Place place,
                 const std::vector<std::string> &selector_words)
        : m_words(words), m_functions(functions), m_place(place), m_selector_words(selector_words) {}

    Effect read() {
        const Word word = m_words.take("an effect");
        if (word.text == "answer") {
            m_effect.kind = EffectKind::answer;
            m_effect.status = status_in(m_words.take("a status"), {});
        } else if (word.text == "delay") {
            m_effect.kind = EffectKind::delay;
            read_delay();
        } else if (word.text == "hold") {
            m_effect.kind = EffectKind::hold;
            read_hold();
        } else if (word.text == "rate") {
            m_effect.kind = EffectKind::rate;
            m_functions.keep_ability(word, ability_short, "moves no data");
            read_rate();
        } else if (word.text == "short") {
            m_effect.kind = EffectKind::short_count;
            read_short(word);
        } else if (word.text == "flip") {
            m_effect.kind = EffectKind::flip;
            m_functions.keep_ability(word, ability_change_read | ability_change_written, "carries no data to change");
            read_flip();
        } else if (word.text == "zero") {
            m_effect.kind = EffectKind::zero;
            m_functions.keep_ability(word, ability_change_read | ability_change_written, "carries no data to change");
            read_zero();
        } else if (word.text == "stale") {
            m_effect.kind = EffectKind::stale;
            m_functions.keep_ability(word, ability_stale, "gives nothing that could be stale");
        } else if (word.text == "lose") {
            m_effect.kind = EffectKind::lose;
            m_functions.keep_ability(word, ability_lose, "has nothing that could be lost without its caller seeing it");
        } else if (word.text == "omit" || word.text == "repeat" || word.text == "reverse") {
            m_effect.kind = word.text == "omit"     ? EffectKind::omit
                            : word.text == "repeat" ? EffectKind::repeat
                                                    : EffectKind::reverse;
            m_functions.keep_ability(word, ability_list, "gives no entries of a list");
        } else if (word.text == "set") {
            m_effect.kind = EffectKind::set;
            read_set();
        } else if (word.text == "log") {
            m_effect.kind = EffectKind::log;
            m_functions.keep_subject(word, subject_session, "has no session to send a message to");
            m_effect.text = m_words.take("the message").text;
        } else if (word.text == "kill") {
            m_effect.kind = EffectKind::kill;
            read_kill();
        } else {
            std::vector<std::string> known = known_effects;
            known.insert(known.end(), m_selector_words.begin(), m_selector_words.end());
            throw Mistake(word, in_quotes(word.text) + " is neither a selector nor an effect",
                          did_you_mean(word.text, known));
        }
        return m_effect;
    }

private:
    void read_delay() {
        const Word word = m_words.take("a time");
        const size_t dots = word.text.find("..");
        m_effect.low = duration_in(word, word.text.substr(0, dots));
        m_effect.high = dots == std::string::npos ? m_effect.low : duration_in(word, word.text.substr(dots + 2));
        if (m_effect.low > m_effect.high)
            throw Mistake(word, in_quotes(word.text) + " holds no time", "");
    }

    void read_hold() {
        if (m_words.take_if("until"))
            m_effect.text = take_path(m_words);
        else if (m_words.take_if("for") && !m_words.take_if("ever"))
            throw Mistake(m_words.take("\"ever\""), "a call is held until a file exists or for ever",
                          "for a time, use delay");
    }

    void read_rate() {
        const Word word = m_words.take("bytes a second");
        std::string number = word.text;
        if (number.size() > 2 && number.substr(number.size() - 2) == "/s")
            number.resize(number.size() - 2);
        m_effect.low = size_in(word, number);
        if (m_effect.low == 0)
            throw Mistake(word, "a rate of 0 would never end", "use hold for ever");
    }

    void read_short(const Word &effect) {
        m_functions.keep_ability(effect, m_place == Place::after ? ability_count : ability_short,
                                 m_place == Place::after ? "tells no count of bytes" : "moves no data");
        const Word word = m_words.take("a number of bytes");
        if (!word.text.empty() && word.text.back() == '%') {
            m_effect.percent = true;
            const auto percent = parse_number(word.text.substr(0, word.text.size() - 1));
            if (!percent || *percent > 100)
                throw Mistake(word, in_quotes(word.text) + " is no share of the bytes",
                              "write whole percents, 0% to 100%");
            m_effect.low = *percent;
        } else {
            m_effect.low = size_in(word, word.text);
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
            m_effect.bit = static_cast<int>(*bit);
        }
        if (!m_words.take_if("at"))
            throw Mistake(m_words.take("\"at\""), "\"at\" belongs before the place", "");
        read_place_in_data();
    }

    void read_zero() {
        if (m_words.at_end() || m_words.take_if("all"))
            return;
        const Word word = m_words.take("a number of bytes");
        m_effect.low = size_in(word, word.text);
        if (m_effect.low == 0)
            throw Mistake(word, "0 bytes change nothing", "");
        if (m_words.take_if("at"))
            read_place_in_data();
    }

    void read_place_in_data() {
        if (m_words.take_if("random")) {
            m_effect.where = Where::random;
            return;
        }
        m_effect.where = m_words.take_if("image") ? Where::image : Where::call;
        const Word word = m_words.take("a place");
        m_effect.offset = size_in(word, word.text);
    }

    void read_set() {
        const Word name = m_words.take("the name of a field");
        std::vector<std::string> known;
        for (unsigned function = 0; function < function_count; ++function)
            if (m_functions.has(function))
                for (const Field &field : fields(function))
                    known.emplace_back(field.name);
        const std::string help = did_you_mean(name.text, known);
        bool exists = false;
        for (const std::string &each : known)
            exists = exists || each == name.text;
        if (!exists && !known.empty())
            throw Mistake(name, "there is no field " + in_quotes(name.text), help);
        m_functions.keep(
            name, [&](unsigned function) { return find_field(function, name.text) != nullptr; },
            "has no field " + in_quotes(name.text));
        m_effect.text = name.text;
        const Word value = m_words.take("a value");
        m_effect.value = value.text;
        for (unsigned function = 0; function < function_count; ++function) {
            const Field *field = m_functions.has(function) ? find_field(function, name.text) : nullptr;
            if (field == nullptr)
                continue;
            if (field->is_text && value.text.size() >= field->size)
                throw Mistake(value, "the text does not fit its field of " + std::to_string(field->size) + " bytes",
                              "");
            if (!field->is_text)
                m_effect.low = fitting(value, size_in(value, value.text), field->size);
        }
    }

    static uint64_t fitting(const Word &word, uint64_t value, size_t bytes) {
        if (bytes < 8 && value >> (8 * bytes) != 0)
            throw Mistake(word, in_quotes(word.text) + " does not fit a field of " + std::to_string(bytes) + " bytes",
                          "");
        return value;
    }

    void read_kill() {
        m_effect.low = SIGKILL;
        if (m_words.at_end())
            return;
        const Word word = m_words.take("a signal");
        for (const auto &signal : signals)
            if (word.text == signal.name) {
                m_effect.low = static_cast<uint64_t>(signal.number);
                return;
            }
        std::vector<std::string> known;
        for (const auto &signal : signals)
            known.emplace_back(signal.name);
        throw Mistake(word, in_quotes(word.text) + " is no signal for this", did_you_mean(word.text, known));
    }

    WordReader &m_words;
    FunctionChoice &m_functions;
    Place m_place;
    const std::vector<std::string> &m_selector_words;
    Effect m_effect;
};

}  // namespace

Effect read_effect(WordReader &words, FunctionChoice &functions, Place place,
                   const std::vector<std::string> &selector_words) {
    return EffectReader(words, functions, place, selector_words).read();
}

std::string effect_words(const Effect &effect) {
    switch (effect.kind) {
        case EffectKind::answer:
            return "answer " + status_name_alone(effect.status);
        case EffectKind::delay:
            return "delay " + range_text(duration_text(effect.low), duration_text(effect.high));
        case EffectKind::hold:
            return effect.text.empty() ? "hold for ever" : "hold until " + effect.text;
        case EffectKind::rate:
            return "rate " + size_text(effect.low) + "/s";
        case EffectKind::short_count:
            return "short " + amount_words(effect);
        case EffectKind::flip:
            return "flip bit" + (effect.bit < 0 ? "" : " " + std::to_string(effect.bit)) + place_words(effect);
        case EffectKind::zero:
            return effect.low == 0 ? "zero all" : "zero " + size_text(effect.low) + place_words(effect);
        case EffectKind::stale:
            return "stale";
        case EffectKind::lose:
            return "lose";
        case EffectKind::omit:
            return "omit";
        case EffectKind::repeat:
            return "repeat";
        case EffectKind::reverse:
            return "reverse";
        case EffectKind::set:
            return "set " + effect.text + " " + in_quotes(effect.value);
        case EffectKind::log:
            return "log " + in_quotes(effect.text);
        case EffectKind::kill:
            return effect.low == SIGKILL ? "kill" : "kill " + signal_name(effect.low);
    }
    return "";
}

std::string effect_sentence(const Rule &rule) {
    const Effect &effect = rule.effect;
    const bool after = rule.place == Place::after;
    const std::string when = after ? "after it was made" : "before it is made";
    switch (effect.kind) {
        case EffectKind::answer:
            return after ? "is made and then answered with " + status_text(effect.status)
                         : "is not made and answered with " + status_text(effect.status);
        case EffectKind::delay:
            return "waits " + range_text(duration_text(effect.low), duration_text(effect.high)) + " " + when;
        case EffectKind::hold:
            return "is held " + when +
                   (effect.text.empty() ? std::string(" for ever") : " until " + in_quotes(effect.text) + " exists");
        case EffectKind::rate:
            return "is slowed down to " + size_text(effect.low) + " bytes a second " + when;
        case EffectKind::short_count:
            return after ? "tells at most " + amount_words(effect) + " of the bytes that it moved"
                         : "moves at most " + amount_words(effect) + " of the bytes";
        case EffectKind::flip:
            return "has " + (effect.bit < 0 ? std::string("a bit") : "bit " + std::to_string(effect.bit)) +
                   place_words(effect) + " turned over in " + data_words(rule);
        case EffectKind::zero:
            return "has " +
                   (effect.low == 0 ? std::string("all bytes")
                                    : size_text(effect.low) + " bytes" + place_words(effect)) +
                   " set to zero in " + data_words(rule);
        case EffectKind::stale:
            return "is made, and its caller finds what was there before";
        case EffectKind::lose:
            return "is not made, yet told as done";
        case EffectKind::omit:
            return "skips an entry of the list";
        case EffectKind::repeat:
            return "gives an entry that the next call gives again";
        case EffectKind::reverse:
            return "turns the rest of the list round";
        case EffectKind::set:
            return "is made, and its " + effect.text + " set to " + in_quotes(effect.value);
        case EffectKind::log:
            return "sends the message " + in_quotes(effect.text) + " to the session " + when;
        case EffectKind::kill:
            return "ends the process by " + signal_name(effect.low) + " " + when;
    }
    return "";
}

}  // namespace filter
