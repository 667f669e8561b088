#include "stsimage/s3/name_table.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "stsimage/process_end.h"
#include "stsimage/random_id.h"

namespace stsimage::s3 {

namespace {

constexpr std::time_t seconds_until_taken_away = 3600;
constexpr auto longest_taking_away = std::chrono::seconds(60);
constexpr size_t longest_readable_lsu = 100;
constexpr int most_tries_of_conditions = 5;
constexpr char etag_of_nothing[] = "\"00000000000000000000000000000000\"";

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

}  // namespace

std::string key_of_lsu(const std::string &lsu) { return "lsu/" + component_of(lsu); }

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

// Writes what is there already.
Answer NameTable::try_condition(const Condition &condition, bool &out_holds) {
    Answer answer = bucket().put(key_of_lsu(lsu_text), lsu_text, condition);
    out_holds = answer.ok();
    if (answer.error == ECANCELED)
        answer.error = 0;
    return answer;
}

// What holds must be done, and what does not hold must not, in one of the forms.
Answer NameTable::try_conditions(bool &out_heeded, EtagForm &out_form) {
    out_heeded = false;
    bool is_absent = false;
    if (Answer answer = try_condition(Condition::absent(), is_absent); !answer.ok() || is_absent)
        return answer;
    Answer there = bucket().get(key_of_lsu(lsu_text));
    if (!there.ok())
        return there;
    for (const EtagForm form : {EtagForm::quoted, EtagForm::bare}) {
        bool is_right = false, is_wrong = false;
        if (Answer answer = try_condition(Condition::still(there.header("etag"), form), is_right); !answer.ok())
            return answer;
        if (!is_right)
            continue;
        Answer answer = try_condition(Condition::still(etag_of_nothing, form), is_wrong);
        out_heeded = answer.ok() && !is_wrong;
        out_form = form;
        return answer;
    }
    return {};
}

// A service that ignores conditions would let hosts overwrite each other's images without anybody's notice.
Answer NameTable::demand_conditions(EtagForm &out_form) {
    if (const auto known = root().etag_form()) {
        out_form = *known;
        return {};
    }
    bool is_heeded = false;
    Answer answer;
    // Where an ETag is not made of the data alone, another host that tries the same at this moment changes it.
    for (int attempt = 0; attempt < most_tries_of_conditions && answer.ok() && !is_heeded; ++attempt)
        answer = try_conditions(is_heeded, out_form);
    if (is_heeded) {
        root().note_etag_form(out_form);
    } else if (answer.ok()) {
        answer.error = ENOTSUP;
        answer.words = "the service at " + bucket().settings().endpoint +
                       " ignores If-None-Match or If-Match: hosts would overwrite each other's images";
    }
    return answer;
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
            answer.error = process_ends() ? ENOTCONN : EBADMSG;  // no hash can be had any more
            answer.words = "the record of the name is damaged";
        }
    }
    return answer;
}

Change NameTable::change(std::string_view name, SeenRecord &seen, const NameRecord &next, Answer &out_answer) {
    EtagForm form{};
    out_answer = demand_conditions(form);
    std::string mark;
    if (out_answer.ok() && !make_random_id(mark))
        out_answer.error = errno;
    if (!out_answer.ok())
        return Change::failed;
    NameRecord marked = next;
    marked.add_mark(mark);
    const Condition condition = seen.etag.empty() ? Condition::absent() : Condition::still(seen.etag, form);
    out_answer = bucket().put(key_of(name), text_of(marked), condition);
    if (out_answer.ok()) {
        seen = {marked, out_answer.header("etag"), 0};
        return Change::done;
    }
    const bool is_refused = out_answer.error == ECANCELED || (out_answer.error == ENOENT && !seen.etag.empty());
    if (!out_answer.unclear && !is_refused)
        return Change::failed;
    // An attempt that was not answered, or answered by a failure, may have been what made the condition fail; so may a proxy on
    // the way that sent the request twice. If the change of that number was another one, this one has not been done and never
    // will be.
    SeenRecord now;
    const Answer looked = find(name, now);
    const bool is_known = looked.ok();
    if (is_known && now.record.has_mark(mark)) {
        seen = now;
        return Change::done;
    }
    if (is_known && (!out_answer.unclear || now.record.remembers(next.change)))
        return Change::refused;
    if (!is_known && is_refused)
        out_answer = looked;
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
