// Every effect at every function, before and after the call: what the plug-in was given, what the caller got, byte for
// byte. What is to be expected is worked out here, out of the call without a rule.
#include <algorithm>
#include <cstdio>

#include "filter/rules/function_traits.h"
#include "filter/rules/settings.h"
#include "tests/filter/standard_calls.h"

using namespace filter;

namespace {

std::vector<std::string> messages;

void keep_message(uint64_t, const char *message, int32_t) { messages.emplace_back(message); }

struct Made {
    int32_t status = 0;
    CallerMemory memory;
    uint64_t begin = 0;            // where the memory lay at the time
    std::vector<NotedCall> calls;  // that reached the plug-in
    std::vector<std::string> messages;
};

// The call behind the filter with one rule, which comes into force when everything is open.
Made made_with(const std::string &rule, unsigned function) {
    const Filtered filtered(rule);
    Made made;
    made.begin = word(&made.memory);
    const OpenHandles open = open_all(filtered, made.memory);
    made.memory.session.log_function = keep_message;
    made.memory.session.log_mask = STS_LOG_MASK_ERROR;
    filtered.make_file("armed");
    filtered.recorded->count = 0;
    messages.clear();
    made.status = make(filtered, function, standard_call(function, made.memory, open));
    made.calls.assign(filtered.recorded->calls, filtered.recorded->calls + filtered.recorded->count);
    made.messages = messages;
    return made;
}

struct EffectCase {
    const char *name;
    const char *place;
    const char *words;
};

const EffectCase cases[] = {
    {"answer", "before", "answer 4711"},
    {"answer", "after", "answer 4711"},
    {"delay", "before", "delay 1us..2us"},
    {"delay", "after", "delay 1us"},
    {"hold", "before", "hold until $DIR/armed"},
    {"hold", "after", "hold until $DIR/armed"},
    {"rate", "before", "rate 1T/s"},
    {"rate", "after", "rate 1T/s"},
    {"short", "before", "short 13"},
    {"short", "after", "short 25%"},
    {"flip", "before", "flip bit 7 at 100"},
    {"flip", "after", "flip bit 7 at image 1100"},
    {"zero", "before", "zero 10 at 100"},
    {"zero", "after", "zero 10 at image 1100"},
    {"stale", "before", "stale"},
    {"stale", "after", "stale"},
    {"lose", "before", "lose"},
    {"lose", "after", "lose"},
    {"omit", "before", "omit"},
    {"omit", "after", "omit"},
    {"repeat", "before", "repeat"},
    {"repeat", "after", "repeat"},
    {"reverse", "before", "reverse"},
    {"reverse", "after", "reverse"},
    {"set name", "after", "set name other"},
    {"set capacity", "after", "set capacity_bytes 1T"},
    {"set type", "after", "set server_type 7"},
    {"set size", "after", "set size_bytes 5"},
    {"set label", "after", "set label other"},
    {"set result", "after", "set result other"},
    {"set read", "after", "set bytes_read 5"},
    {"set written", "after", "set bytes_written 5"},
    {"log", "before", "log \"out of order\""},
    {"log", "after", "log \"out of order\""},
};

bool is_one_of(unsigned function, std::initializer_list<unsigned> list) {
    return std::find(list.begin(), list.end(), function) != list.end();
}

bool moves(unsigned function) {
    return is_one_of(function,
                     {fn_stspi_read_image, fn_stspi_write_image, fn_stspi_copy_extent, fn_stspi_include_in_image});
}
bool lists(unsigned function) { return is_one_of(function, {fn_stspi_list_lsu, fn_stspi_list_image}); }
bool is_unknown(unsigned function) {
    StandardCall call = {};
    CallerMemory memory;
    call = standard_call(function, memory, {});
    return call.words[7] == 8;
}

// Whether the effect has a meaning there: the table that docs/faults.md prints.
bool makes_sense(const EffectCase &effect, unsigned function) {
    const std::string name = effect.name;
    const bool after = std::string(effect.place) == "after";
    if (name == "answer" || name == "delay" || name == "hold")
        return true;
    if (name == "rate")
        return moves(function);
    if (name == "short")
        return moves(function) && (!after || function != fn_stspi_include_in_image);
    if (name == "flip" || name == "zero")
        return function == (after ? fn_stspi_read_image : fn_stspi_write_image);
    if (name == "stale")
        return after &&
               (lists(function) ||
                is_one_of(function, {fn_stspi_read_image, fn_stspi_get_lsu_prop_byname, fn_stspi_get_server_prop,
                                     fn_stspi_get_server_prop_byname, fn_stspi_get_image_prop,
                                     fn_stspi_get_image_prop_byname, fn_stspi_mount_lsu}));
    if (name == "lose")
        return !after && is_one_of(function, {fn_stspi_write_image, fn_stspi_copy_extent, fn_stspi_include_in_image,
                                              fn_stspi_close_image, fn_stspi_close_image_list, fn_stspi_close_lsu_list,
                                              fn_stspi_close_server, fn_stspi_delete_image, fn_stspi_mount_lsu,
                                              fn_stspi_unmount_lsu, fn_stspi_terminate});
    if (name == "omit" || name == "repeat" || name == "reverse")
        return after && lists(function);
    if (name == "set name")
        return lists(function) || is_one_of(function, {fn_stspi_get_image_prop, fn_stspi_get_image_prop_byname});
    if (name == "set capacity")
        return function == fn_stspi_get_lsu_prop_byname;
    if (name == "set type")
        return is_one_of(function, {fn_stspi_get_server_prop, fn_stspi_get_server_prop_byname});
    if (name == "set size")
        return is_one_of(function, {fn_stspi_get_image_prop, fn_stspi_get_image_prop_byname});
    if (name == "set label")
        return function == fn_stspi_init;
    if (name == "set result")
        return function == fn_stspi_mount_lsu;
    if (name == "set read")
        return function == fn_stspi_read_image;
    if (name == "set written")
        return is_one_of(function, {fn_stspi_write_image, fn_stspi_copy_extent});
    return name == "log" && !is_unknown(function) &&
           !is_one_of(function, {fn_stspi_init, fn_stspi_init2, fn_load_process, fn_stspi_claim, fn_stspi_terminate});
}

// What the rule makes of the call without one.
void spoil(const EffectCase &effect, unsigned function, const CallerMemory &untouched, Made &made) {
    const std::string name = effect.name;
    const bool after = std::string(effect.place) == "after";
    CallerMemory &memory = made.memory;
    if (name == "answer") {
        made.status = 4711;
        if (!after) {
            made.calls.clear();
            made.memory = untouched;
        }
    } else if (name == "short") {
        const int argument = function == fn_stspi_read_image ? 2 : function == fn_stspi_write_image ? 3 : 4;
        if (!after)
            made.calls[0].registers[argument] = 13;
        if (function != fn_stspi_include_in_image)
            memory.count = after ? 50 : 13;
        if (!after && function == fn_stspi_read_image)
            std::copy(untouched.data + 13, std::end(untouched.data), memory.data + 13);
        if (!after && function == fn_stspi_write_image)
            std::memset(made.calls[0].written + 13, 0, sizeof made.calls[0].written - 13);
    } else if (name == "flip") {
        char *data = after ? memory.data : made.calls[0].written;
        data[100] = static_cast<char>(data[100] ^ 0x80);
    } else if (name == "zero") {
        std::memset((after ? memory.data : made.calls[0].written) + 100, 0, 10);
    } else if (name == "stale") {
        memory = untouched;
        memory.count = made.memory.count;
        if (function == fn_stspi_read_image)
            memory.count = 200;
    } else if (name == "lose") {
        made.calls.clear();
        memory = untouched;
        if (is_one_of(function, {fn_stspi_write_image, fn_stspi_copy_extent}))
            memory.count = 200;
        if (function == fn_stspi_mount_lsu)
            std::strcpy(memory.name, "pool1:volume1,/mnt/point");
    } else if (name == "omit") {
        made.calls.push_back(made.calls[0]);
        std::strcpy(memory.name, "entry2");
    } else if (name == "reverse") {
        made.calls.resize(4, made.calls[0]);
        std::strcpy(memory.name, "entry3");
    } else if (name == "set name") {
        std::strcpy(lists(function) ? memory.name : memory.image_info.name, "other");
    } else if (name == "set capacity") {
        memory.lsu_info.capacity_bytes = uint64_t{1} << 40;
    } else if (name == "set type") {
        memory.server_info.server_type = 7;
    } else if (name == "set size") {
        memory.image_info.size_bytes = 5;
    } else if (name == "set label") {
        std::strcpy(memory.registration.label, "other");
    } else if (name == "set result") {
        std::strcpy(memory.name, "other");
    } else if (name == "set read" || name == "set written") {
        memory.count = 5;
    } else if (name == "log") {
        made.messages.emplace_back("out of order");
    }
}

// Addresses differ from one load to the next, and those inside the caller's memory from one memory to the next.
uint64_t comparable(uint64_t value, const Made &made) {
    return value >= made.begin && value < made.begin + sizeof made.memory ? value - made.begin : value;
}

void expect_same_calls(const Made &expected, const Made &got, bool changed_data) {
    ASSERT_EQ(got.calls.size(), expected.calls.size());
    for (size_t i = 0; i < got.calls.size(); ++i) {
        const NotedCall &left = expected.calls[i];
        const NotedCall &right = got.calls[i];
        EXPECT_EQ(left.function, right.function);
        for (size_t at = 0; at < 6; ++at)
            if (!changed_data || at != 2) {
                EXPECT_EQ(comparable(left.registers[at], expected), comparable(right.registers[at], got)) << at;
            }
        // Of a function with fixed arguments no more of the stack is its own.
        const int arguments = traits(left.function).arguments;
        for (size_t at = 0; at < (arguments < 0 ? 2U : arguments > 6 ? 1U : 0U); ++at)
            EXPECT_EQ(comparable(left.stack[at], expected), comparable(right.stack[at], got)) << at;
        for (size_t at = 0; at < 8; ++at)
            EXPECT_EQ(left.vectors[at], right.vectors[at]) << at;
        EXPECT_EQ(std::string(left.written, sizeof left.written), std::string(right.written, sizeof right.written));
    }
}

void expect_same(Made expected, Made got, bool changed_data) {
    EXPECT_EQ(got.status, expected.status);
    EXPECT_EQ(got.messages, expected.messages);
    expect_same_calls(expected, got, changed_data);
    // Tables and sessions are where they are.
    got.memory.registration.entry_points = expected.memory.registration.entry_points;
    got.memory.registration2.entry_points = expected.memory.registration2.entry_points;
    const auto *left = reinterpret_cast<const unsigned char *>(&expected.memory);
    const auto *right = reinterpret_cast<const unsigned char *>(&got.memory);
    for (size_t at = 0; at < sizeof expected.memory; ++at)
        ASSERT_EQ(left[at], right[at]) << "byte " << at << " of the caller's memory";
}

std::string rule_for(const EffectCase &effect, unsigned function) {
    return std::string("on ") + function_names[function] + " while $DIR/armed " + effect.place + " " + effect.words;
}

bool is_accepted(const std::string &rule) {
    std::string text = rule;
    for (size_t at = text.find("$DIR"); at != std::string::npos; at = text.find("$DIR"))
        text.replace(at, 4, "/tmp");
    return read_settings(text).errors.empty();
}

class EveryFunction : public testing::TestWithParam<unsigned> {};

}  // namespace

TEST_P(EveryFunction, IsPassedOnWholeWhereNoRuleFires) {
    const unsigned function = GetParam();
    const Made bare = made_with("", function);
    ASSERT_EQ(bare.calls.size(), 1U);
    for (const char *place : {"before", "after"}) {
        SCOPED_TRACE(place);
        expect_same(bare,
                    made_with(std::string("on ") + function_names[function] + " 0% " + place + " answer 1", function),
                    false);
    }
}

TEST_P(EveryFunction, SuffersEveryEffectThatMakesSenseThere) {
    const unsigned function = GetParam();
    const Made bare = made_with("", function);
    CallerMemory untouched;
    {
        const Filtered filtered("");
        open_all(filtered, untouched);
        untouched.session.log_function = keep_message;
        untouched.session.log_mask = STS_LOG_MASK_ERROR;
    }
    for (const EffectCase &effect : cases) {
        const std::string rule = rule_for(effect, function);
        SCOPED_TRACE(rule);
        ASSERT_EQ(is_accepted(rule), makes_sense(effect, function));
        if (!makes_sense(effect, function))
            continue;
        Made expected = bare;
        spoil(effect, function, untouched, expected);
        const std::string name = effect.name;
        const bool changed_data = function == fn_stspi_write_image && (name == "flip" || name == "zero");
        expect_same(expected, made_with(rule, function), changed_data);
    }
}

TEST_P(EveryFunction, EndsTheProcessBeforeOrAfter) {
    const unsigned function = GetParam();
    for (const bool after : {false, true}) {
        const std::string rule = std::string("on ") + function_names[function] + " while $DIR/armed " +
                                 (after ? "after" : "before") + " kill";
        SCOPED_TRACE(rule);
        EXPECT_EXIT(
            {
                const Filtered filtered(rule);
                CallerMemory memory;
                const OpenHandles open = open_all(filtered, memory);
                filtered.make_file("armed");
                filtered.recorded->on_call = [](const NotedCall &) { std::fputs("the plug-in was called\n", stderr); };
                make(filtered, function, standard_call(function, memory, open));
            },
            testing::KilledBySignal(SIGKILL), after ? "^the plug-in was called\n$" : "^$");
    }
}

INSTANTIATE_TEST_SUITE_P(Filter, EveryFunction, testing::Range(0U, static_cast<unsigned>(function_count)),
                         [](const auto &each) { return std::string(function_names[each.param]); });
