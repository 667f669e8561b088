#include "filter/rules/settings.h"

#include "filter/rules/quantity.h"
#include "filter/rules/rule_reader.h"
#include "filter/rules/word_reader.h"

namespace filter {

namespace {

class SettingsReader {
public:
    explicit SettingsReader(Settings &settings) : m_settings(settings) { m_settings.sections.emplace_back(); }

    void read_line(size_t number, std::string_view line) {
        m_line = number;
        try {
            if (line.find('\0') != std::string_view::npos)
                throw Mistake({}, "the line holds a NUL byte", "");
            const LineWords words = split_words(line);
            if (!words.mistake.empty())
                throw Mistake({"", true, words.column, 1}, words.mistake, "");
            if (!words.words.empty())
                read_words(WordReader(words.words));
        } catch (const Mistake &mistake) {
            m_settings.errors.push_back({number, mistake.word.column == 0 ? 1 : mistake.word.column,
                                         mistake.word.length == 0 ? 1 : mistake.word.length, mistake.what(),
                                         mistake.help});
        }
    }

private:
    void read_words(WordReader words) {
        const Word first = words.take("a word");
        if (first.text == "plugin")
            read_plugin(words);
        else if (first.text == "journal")
            read_journal(words);
        else if (first.text == "ledger")
            read_ledger(words);
        else if (first.text == "seed")
            read_seed(words);
        else if (first.text == "on")
            section().rules.push_back(read_rule(words, m_line));
        else
            throw Mistake(first,
                          "a line begins with plugin, journal, ledger, seed or on, not with " + in_quotes(first.text),
                          did_you_mean(first.text, {"plugin", "journal", "ledger", "seed", "on"}));
        words.demand_end();
    }

    void read_plugin(WordReader &words) {
        const Word path = words.take("the path of a plug-in");
        demand_absolute(path);
        if (!section().plugin.empty())
            m_settings.sections.emplace_back();
        section().plugin = path.text;
        section().plugin_line = m_line;
    }

    void read_journal(WordReader &words) {
        const Word path = words.take("the path of the journal");
        demand_absolute(path);
        demand_first(section().journal.empty(), path, "journal");
        section().journal = path.text;
        section().journal_line = m_line;
        while (!words.at_end())
            read_journal_option(words.take("a size"));
    }

    void read_journal_option(const Word &word) {
        if (word.text == "growing" || word.text == "ring")
            section().journal_grows = word.text == "growing";
        else if (word.text == "sizes")
            section().journal_data = JournalData::sizes;
        else if (word.text == "hashes")
            section().journal_data = JournalData::hashes;
        else if (word.text == "bytes")
            section().journal_data = JournalData::bytes;
        else if (word.text == "output")
            section().journal_output = true;
        else if (const auto size = parse_size(word.text); size && *size > 0)
            section().journal_bytes = *size;
        else
            throw Mistake(word, in_quotes(word.text) + " is neither a size nor an option of the journal",
                          did_you_mean(word.text, {"ring", "growing", "sizes", "hashes", "bytes", "output"}));
    }

    void read_ledger(WordReader &words) {
        const Word path = words.take("the path of the ledger");
        demand_absolute(path);
        demand_first(section().ledger.empty(), path, "ledger");
        section().ledger = path.text;
    }

    void read_seed(WordReader &words) {
        const Word word = words.take("a number");
        const auto number = parse_number(word.text);
        if (!number)
            throw Mistake(word, in_quotes(word.text) + " is no number", "");
        demand_first(!section().has_seed, word, "seed");
        section().seed = *number;
        section().has_seed = true;
    }

    static void demand_absolute(const Word &path) {
        if (path.text.empty() || path.text.front() != '/')
            throw Mistake(path, "the path " + in_quotes(path.text) + " is not absolute",
                          "a daemon's working directory is anybody's guess: begin the path with '/'");
    }

    static void demand_first(bool first, const Word &word, const char *what) {
        if (!first)
            throw Mistake(word, std::string("a second ") + what + " line", "");
    }

    Section &section() { return m_settings.sections.back(); }

    Settings &m_settings;
    size_t m_line = 0;
};

}  // namespace

Settings read_settings(std::string_view text) {
    Settings settings;
    SettingsReader reader(settings);
    size_t number = 0;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        reader.read_line(++number, text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return settings;
}

std::string finding_text(const std::string &file, const Finding &finding) {
    return file + ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column) +
           ": error: " + finding.text + (finding.help.empty() ? "" : " (" + finding.help + ")");
}

}  // namespace filter
