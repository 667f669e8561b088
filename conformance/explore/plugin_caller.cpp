#include "conformance/explore/plugin_caller.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstring>
#include <stdexcept>

#include "conformance/calls/entry_points.h"
#include "conformance/calls/image_calls.h"
#include "conformance/watch/call_note.h"

namespace conformance {

using model::Call;
using model::Operation;

namespace {

constexpr uint64_t context_base = 0xc0de5e5500000000;

thread_local CallListener *the_listener = nullptr;

// The call that runs on this thread: what it says and calls is put there.
struct Running {
    Observed *observed = nullptr;
    const Call *call = nullptr;
    size_t library_calls = 0;
};
thread_local Running running;

void keep_message(uint64_t context, const char *text, int32_t level) {
    if (running.observed == nullptr) {
        // Nobody waits for it: whoever called finds its messages missing.
        return;
    }
    const uint64_t index = context - context_base;
    running.observed->messages.push_back(
        {index < model::SESSIONS ? static_cast<int>(index) : -2, text == nullptr ? "(null)" : text, level});
    if (the_listener != nullptr)
        the_listener->message(level, text == nullptr ? "" : text);
}

int32_t answer_for(const ImageCall &library) {
    if (running.observed == nullptr)
        return 0;
    running.observed->library.push_back(library);
    const Call &call = *running.call;
    const bool is_first = running.library_calls++ == 0;
    const bool copies = call.operation == Operation::copy_extent || call.operation == Operation::include_in_image;
    if (copies) {
        const uint64_t place = library.arguments[is_first ? 4 : 5];
        const uint64_t count = is_first ? call.library_count : call.library_count_2;
        std::memcpy(reinterpret_cast<void *>(place), &count, sizeof count);  // NOLINT(performance-no-int-to-ptr)
    }
    return is_first ? call.library_status : call.library_status_2;
}

size_t record_size(Operation operation) {
    switch (operation) {
        case Operation::init:
            return sizeof(sts_registration_t);
        case Operation::init2:
            return sizeof(sts_registration2_t);
        case Operation::get_server_prop:
        case Operation::get_server_prop_byname:
            return sizeof(sts_server_info_t);
        case Operation::get_lsu_prop_byname:
            return sizeof(sts_lsu_info_v9_t);
        case Operation::list_lsu:
            return STS_LSU_NAME_SIZE;
        case Operation::mount_lsu:
            return STS_MOUNT_RESULT_SIZE;
        default:
            return 0;
    }
}

std::string terminated(const std::string &text) { return text + '\0'; }

// The name in its field, with something else behind its end.
std::string lsu_record(uint64_t handle, const Call &call) {
    std::string record(sizeof(stsp_lsu_v7_t), static_cast<char>(call.fill));
    std::memcpy(record.data(), &handle, sizeof handle);
    const std::string name = call.name.value_or("").substr(0, STS_LSU_NAME_SIZE);
    std::memcpy(&record[offsetof(stsp_lsu_v7_t, lsu_name)], name.c_str(),
                name.size() < STS_LSU_NAME_SIZE ? name.size() + 1 : name.size());
    return record;
}

std::string host_records(const Call &call) {
    std::string records(call.hosts.size() * sizeof(sts_host_t), static_cast<char>(call.fill));
    for (size_t i = 0; i < call.hosts.size(); ++i) {
        const std::string name = call.hosts[i].substr(0, STS_HOST_RECORD_SIZE - 1);
        std::memcpy(&records[i * sizeof(sts_host_t)], name.c_str(), name.size() + 1);
    }
    return records;
}

std::string damage_of(const GuardedArgument &argument, const char *what, bool may_change) {
    if (argument.is_margin_changed())
        return fmt::format("bytes before the {}", what);
    return !may_change && argument.is_changed() ? what : "";
}

}  // namespace

PluginCaller::PluginCaller(const std::string &path) : library_(path, RTLD_NOW | RTLD_LOCAL) {
    images().answer = answer_for;
    for (const std::string &name : exported_names())
        functions_[name][0] = reinterpret_cast<uint64_t>(library_.symbol(name));
    const auto add_slots = [&](const std::vector<SlotName> &slots, const void *table) {
        for (const SlotName &slot : slots)
            if (slot.entry_point != nullptr && table != nullptr)
                std::memcpy(&functions_[slot.entry_point][1], static_cast<const sts_entry_point_t *>(table) + slot.slot,
                            sizeof(uint64_t));
    };
    add_slots(conformance::first_table(), first_table());
    add_slots(conformance::second_table(), second_table());
    arguments_[0] = std::make_unique<Arguments>();
    for (size_t i = 0; i < sessions_.size(); ++i) {
        sts_session_def_v7_t &session = sessions_before_[i];
        std::memset(&session, 0xa5, sizeof session);
        session.log_context = context_base + i;
        session.log_function = keep_message;
        session.log_mask = 0xff;
        sessions_[i] = std::make_unique<GuardedArgument>();
        sessions_[i]->put({reinterpret_cast<const char *>(&session), sizeof session});
    }
}

PluginCaller::~PluginCaller() { images().answer = nullptr; }

bool PluginCaller::sessions_are_unwritten() const {
    for (size_t i = 0; i < sessions_.size(); ++i) {
        // All of its bytes, those between the fields too.
        const std::string before(reinterpret_cast<const char *>(&sessions_before_[i]), sizeof sessions_before_[i]);
        if (sessions_[i]->is_margin_changed() || before != sessions_[i]->bytes())
            return false;
    }
    return true;
}

uint64_t PluginCaller::function(const std::string &entry_point, bool by_slot) const {
    const auto found = functions_.find(entry_point);
    if (found == functions_.end())
        return 0;
    const auto &[symbol, slot] = found->second;
    return by_slot && slot != 0 ? slot : symbol;
}

// The first slot that does not lead where its name says, "" for none.
std::string PluginCaller::wrong_slot() const {
    const auto wrong_in = [&](const std::vector<SlotName> &slots, const void *table, const char *name) -> std::string {
        for (const SlotName &slot : slots) {
            uint64_t address = 0;
            if (table != nullptr)
                std::memcpy(&address, static_cast<const sts_entry_point_t *>(table) + slot.slot, sizeof address);
            if (address != (slot.entry_point == nullptr ? 0 : functions_.at(slot.entry_point)[0]))
                return fmt::format("slot {} of the {} table is not {}", slot.slot, name,
                                   slot.entry_point == nullptr ? "null" : slot.entry_point);
        }
        return {};
    };
    const std::string first = wrong_in(conformance::first_table(), first_table(), "first");
    return first.empty() ? wrong_in(conformance::second_table(), second_table(), "second") : first;
}

uint64_t PluginCaller::handle(int id) {
    const std::lock_guard lock(mutex_);
    const auto found = handles_.find(id);
    return found == handles_.end() ? 0 : found->second;
}

uint64_t PluginCaller::name_word(const Call &call, Arguments &arguments) const {
    return call.name ? arguments.name.put(terminated(*call.name)) : 0;
}

PluginCaller::Words PluginCaller::server_words(const Call &call, Arguments &arguments) {
    const uint64_t session = call.session == model::NULL_SESSION
                                 ? 0
                                 : reinterpret_cast<uint64_t>(sessions_[static_cast<size_t>(call.session)]->data());
    const uint64_t name = name_word(call, arguments);
    const uint64_t record = call.null_record ? 0 : arguments.record.put(record_size(call.operation), call.fill);
    const uint64_t out = call.null_out ? 0 : arguments.out.put({reinterpret_cast<const char *>(&UNSTORED), 8});
    switch (call.operation) {
        case Operation::init:
            return {call.numbers[0], call.ignored, record};
        case Operation::init2:
            return {call.numbers[0], record};
        case Operation::claim:
            return {name};
        case Operation::ioctl:
            return {call.ignored, call.numbers[0]};
        case Operation::open_server:
            return {session, name, call.ignored, call.ignored, out};
        case Operation::create_server:
            return {session,
                    name,
                    call.ignored,
                    call.ignored,
                    call.null_record ? 0 : arguments.lsu.put(host_records(call)),
                    call.numbers[0],
                    out};
        case Operation::open_target_server:
            return {handle(call.handle), name, call.ignored, call.ignored, out};
        case Operation::close_server:
            return {handle(call.handle)};
        case Operation::get_server_prop:
            return {handle(call.handle), record};
        case Operation::get_server_prop_byname:
            return {session, name, record};
        default:
            return {};
    }
}

PluginCaller::Words PluginCaller::lsu_words(const Call &call, Arguments &arguments) {
    const uint64_t own = handle(call.handle);
    const uint64_t lsu = call.null_record ? 0 : arguments.lsu.put(lsu_record(own, call));
    const uint64_t out = call.null_out ? 0 : arguments.out.put({reinterpret_cast<const char *>(&UNSTORED), 8});
    const size_t size = record_size(call.operation);
    const uint64_t record = call.null_out || size == 0 ? 0 : arguments.record.put(size, call.fill);
    switch (call.operation) {
        case Operation::open_lsu_list:
            return {own, call.ignored, out};
        case Operation::open_dynamic_lsu_list:
            return {lsu, out};
        case Operation::list_lsu:
            return {own, record};
        case Operation::close_lsu_list:
            return {own};
        case Operation::get_lsu_prop_byname:
            return {lsu, record};
        case Operation::mount_lsu:
            return {lsu, call.text ? arguments.text.put(terminated(*call.text)) : 0, call.numbers[0], call.numbers[1],
                    record};
        default:
            return {};
    }
}

PluginCaller::Words PluginCaller::image_words(const Call &call, Arguments &arguments) {
    const auto &numbers = call.numbers;
    if (call.operation >= Operation::close_image && call.operation <= Operation::write_image)
        return {numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], ~numbers[0]};
    const uint64_t out = call.null_out ? 0 : arguments.out.put({reinterpret_cast<const char *>(&UNSTORED), 8});
    if (call.operation == Operation::copy_extent)
        return {numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], call.ignored, out};
    if (call.operation == Operation::include_in_image)
        return {numbers[0], numbers[1], numbers[2], numbers[3], numbers[4]};
    const uint64_t lsu = call.null_record ? 0 : arguments.lsu.put(lsu_record(handle(call.handle), call));
    const uint64_t definition = call.text ? arguments.text.put(terminated(*call.text)) : 0;
    switch (call.operation) {
        case Operation::create_image:
        case Operation::open_image:
            return {lsu, definition, numbers[0], out};
        case Operation::delete_image:
            return {lsu, definition, numbers[0]};
        case Operation::open_image_list:
            return {lsu, numbers[0], out};
        default:
            return {lsu, definition, out};
    }
}

PluginCaller::Words PluginCaller::words_of(const Call &call, Arguments &arguments) {
    if (call.operation == Operation::not_supported)
        return {call.numbers[0], call.numbers[1], call.numbers[2], call.numbers[3], call.numbers[4]};
    if (call.operation == Operation::load_process)
        return {name_word(call, arguments), call.text ? arguments.text.put(terminated(*call.text)) : 0};
    if (call.operation >= Operation::create_image && call.operation <= Operation::include_in_image)
        return image_words(call, arguments);
    if (call.operation >= Operation::open_lsu_list && call.operation <= Operation::unmount_lsu)
        return lsu_words(call, arguments);
    return server_words(call, arguments);
}

Observed PluginCaller::make(const Call &call, size_t thread) {
    if (call.operation == Operation::set_mask) {
        sts_session_def_v7_t &before = sessions_before_[static_cast<size_t>(call.session)];
        before.log_mask = static_cast<uint32_t>(call.numbers[0]);
        sessions_[static_cast<size_t>(call.session)]->put({reinterpret_cast<const char *>(&before), sizeof before});
        return {};
    }
    Observed observed;
    // Other threads' when they are needed: each mapping makes each fork slower.
    if (!arguments_[thread])
        arguments_[thread] = std::make_unique<Arguments>();
    Arguments &arguments = *arguments_[thread];
    for (GuardedArgument *one : {&arguments.lsu, &arguments.record, &arguments.out, &arguments.name, &arguments.text})
        one->put({});
    const Words words = words_of(call, arguments);
    observed.definition = arguments.text.address();
    observed.out = call.null_out ? 0 : arguments.out.address();
    const std::string entry_point = model::entry_point_name(call);
    const uint64_t address = function(entry_point, call.by_slot);
    if (address == 0) {
        observed.damage = "there is no such entry point";
        return observed;
    }
    running = {&observed, &call, 0};
    the_listener = listener_;
    if (listener_ != nullptr)
        listener_->entering(entry_point, words.data());
    // All registers and then some: what a call has no argument for does it no harm.
    using Function = int32_t(uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t);
    {
        const CallNote note(entry_point);
        observed.status = reinterpret_cast<Function *>(address)(  // NOLINT(performance-no-int-to-ptr)
            words[0], words[1], words[2], words[3], words[4], words[5], words[6], 0);
    }
    if (listener_ != nullptr)
        listener_->left(entry_point, words.data(), observed.status);
    running = {};

    uint64_t stored = UNSTORED;
    if (const std::string out = arguments.out.bytes(); out.size() == sizeof stored)
        std::memcpy(&stored, out.data(), sizeof stored);
    observed.count = stored;
    if (stored != UNSTORED)
        observed.stored = stored;
    if (call.id != 0 && observed.stored && call.operation < Operation::create_image) {
        const std::lock_guard lock(mutex_);
        handles_[call.id] = stored;
    }
    if (call.operation == Operation::init || call.operation == Operation::init2)
        observed.wrong_slot = wrong_slot();
    observed.record = arguments.record.bytes();
    for (const std::string &damage :
         {damage_of(arguments.lsu, "LSU or host records", false), damage_of(arguments.record, "record", true),
          damage_of(arguments.out, "place for the result", true), damage_of(arguments.name, "name", false),
          damage_of(arguments.text, "text", false)})
        if (observed.damage.empty())
            observed.damage = damage;
    return observed;
}

}  // namespace conformance
