#include "stsimage/s3/name_table.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <utility>

namespace stsimage::s3 {

namespace {

constexpr std::time_t seconds_until_taken_away = 3600;
constexpr auto longest_taking_away = std::chrono::seconds(60);
constexpr size_t longest_readable_lsu = 100;

// An LSU as a component of keys. Long ones, of which keys could not hold the whole, end in a hash of it.
std::string component_of(const std::string &lsu) {
    std::string component = encode_component(lsu);
    if (component.size() < longest_readable_lsu)
        return component;
    return component.substr(0, longest_readable_lsu - 65) + "~" + sha256_in_hexadecimal(lsu);
}

std::string decoded(std::string_view text) {
    std::string plain;
    for (size_t place = 0; place < text.size(); ++place) {
        if (text[place] != '%' || place + 2 >= text.size()) {
            plain += text[place];
            continue;
        }
        plain += static_cast<char>(std::strtol(std::string(text.substr(place + 1, 2)).c_str(), nullptr, 16));
        place += 2;
    }
    return plain;
}

std::string key_of_lsu(const std::string &lsu) { return "lsu/" + component_of(lsu); }

}  // namespace

NameTable::NameTable(std::shared_ptr<ImageRoot> table_root, std::string table_lsu)
    : image_root(std::move(table_root)), lsu_text(std::move(table_lsu)) {}

std::string NameTable::key_of(std::string_view name) const {
    return "names/" + component_of(lsu_text) + "/" + encode_component(name);
}

Answer NameTable::ask_whether_there(bool &out_there) {
    out_there = root().knows_lsu(lsu_text);
    if (out_there)
        return {};
    Answer answer = bucket().get(key_of_lsu(lsu_text));
    out_there = answer.ok();
    if (out_there)
        root().note_lsu(lsu_text);
    else if (answer.error == ENOENT && answer.code != "NoSuchBucket")
        answer.error = 0;
    return answer;
}

Answer NameTable::make() {
    for (size_t end = 0; end != lsu_text.npos;) {
        end = lsu_text.find('/', end + 1);
        const std::string above = lsu_text.substr(0, end);
        Answer answer = bucket().put(key_of_lsu(above), above);
        if (!answer.ok())
            return answer;
        root().note_lsu(above);
    }
    return {};
}

// Writes what is there already, under conditions that do not hold.
Answer NameTable::ask_whether_conditions_hold(bool &out_hold) {
    out_hold = true;
    for (const Condition &wrong : {Condition::absent(), Condition::still("\"00000000000000000000000000000000\"")}) {
        Answer answer = bucket().put(key_of_lsu(lsu_text), lsu_text, wrong);
        if (answer.ok())
            out_hold = false;
        else if (answer.error != ECANCELED)
            return answer;
    }
    return {};
}

Answer NameTable::find(std::string_view name, SeenRecord &out_seen) {
    out_seen = SeenRecord();
    Answer answer = bucket().get(key_of(name));
    if (answer.error == ENOENT && answer.code != "NoSuchBucket")
        answer.error = 0;
    else if (answer.ok()) {
        out_seen.etag = answer.header("etag");
        out_seen.age = answer.age();
        if (!read_record(answer.body, out_seen.record) || out_seen.etag.empty()) {
            answer.error = EBADMSG;
            answer.words = "the record of the name is damaged";
        }
    }
    return answer;
}

Change NameTable::change(std::string_view name, SeenRecord &seen, const NameRecord &next, Answer &out_answer) {
    const std::string text = text_of(next);
    const Condition condition = seen.etag.empty() ? Condition::absent() : Condition::still(seen.etag);
    out_answer = bucket().put(key_of(name), text, condition);
    if (out_answer.ok()) {
        seen = {next, out_answer.header("etag"), 0};
        return Change::done;
    }
    const bool is_refused = out_answer.error == ECANCELED || (out_answer.error == ENOENT && !seen.etag.empty());
    if (!out_answer.unclear)
        return is_refused ? Change::refused : Change::failed;
    // An attempt that was not answered may have been what made the condition fail. If the next change was another one, this one
    // has not been done and never will be.
    SeenRecord now;
    if (find(name, now).ok()) {
        if (text_of(now.record) == text && !now.etag.empty()) {
            seen = now;
            return Change::done;
        }
        if (now.record.change == next.change)
            return Change::refused;
    }
    return Change::unknown;
}

Answer NameTable::list(const std::string &continuation, Page &out_page) {
    out_page = Page();
    const std::string beginning = key_of("");
    ListPage page;
    Answer answer = bucket().list(beginning, "", continuation, page);
    const std::time_t now = answer.date();
    for (const ListedObject &object : page.objects) {
        std::string name = decoded(std::string_view(object.key).substr(beginning.size()));
        if (object.size < least_size_with_image && now > object.modified + seconds_until_taken_away)
            out_page.left.push_back(name);
        (object.size >= least_size_with_image ? out_page.names : out_page.others).push_back(std::move(name));
    }
    out_page.continuation = page.continuation;
    return answer;
}

// A deletion has no condition. So others are told to keep away first, and it is done soon or not at all.
void NameTable::take_away(std::string_view name) {
    const auto begun = std::chrono::steady_clock::now();
    SeenRecord seen;
    if (!find(name, seen).ok() || seen.etag.empty() || seen.record.image || seen.record.claim || !is_free(seen))
        return;
    NameRecord leaving = seen.record.following();
    leaving.leaving = true;
    Answer answer;
    if (change(name, seen, leaving, answer) != Change::done)
        return;
    if (std::chrono::steady_clock::now() - begun < longest_taking_away)
        bucket().remove(key_of(name));
}

}  // namespace stsimage::s3
