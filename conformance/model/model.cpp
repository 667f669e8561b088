#include "conformance/model/model.h"

#include <algorithm>

#include "conformance/model/reached.h"
#include "conformance/model/record.h"
#include "conformance/model/text_rules.h"
#include "stspi/stspi.h"

namespace conformance::model {

Model::Model(Machine &machine, Configuration files, SimulatorSessions simulators)
    : machine_(machine), files_(std::move(files)), simulators_(simulators) {
    masks_.fill(0xff);
}

Model::~Model() = default;

Model::Bracket::Bracket(const Model &model, int session, std::string entry_point, Expected &expected)
    : model_(model), session_(session), entry_point_(std::move(entry_point)), expected_(expected) {
    model_.trace(session_, "++++ Entering " + entry_point_ + "\n", expected_);
}

Model::Bracket::~Bracket() { model_.trace(session_, "---- Leaving " + entry_point_ + "\n", expected_); }

void Model::send(int session, uint32_t mask_bit, int32_t level, const std::string &text, Expected &expected) const {
    if (session != NULL_SESSION && (masks_[static_cast<size_t>(session)] & mask_bit) != 0)
        expected.messages.push_back({session, text, level});
}

void Model::say(int session, const std::string &text, Expected &expected) {
    if (session != NULL_SESSION)
        expected.messages.push_back({session, text, STS_LOG_LEVEL_ERROR});
}

const Model::Server *Model::server(int id) const {
    const auto found = servers_.find(id);
    return found == servers_.end() ? nullptr : &found->second;
}

bool Model::is_open(int id) const { return servers_.count(id) != 0 || lists_.count(id) != 0; }

bool Model::allows(const Call &call) const {
    switch (call.operation) {
        case Operation::list_lsu:
        case Operation::close_lsu_list:
            return call.handle == 0 || lists_.count(call.handle) != 0;
        case Operation::mount_lsu:
            return call.handle == 0 || (servers_.count(call.handle) != 0 && may_mount(call));
        case Operation::open_target_server:
        case Operation::open_lsu_list:
        case Operation::open_dynamic_lsu_list:
            return (call.handle == 0 || servers_.count(call.handle) != 0) && (call.null_out || !is_open(call.id));
        case Operation::close_server:
            return call.handle == 0 || (servers_.count(call.handle) != 0 && !has_unknown_list(call.handle));
        case Operation::get_server_prop:
            return call.handle == 0 || servers_.count(call.handle) != 0;
        case Operation::get_lsu_prop_byname:
        case Operation::create_image:
        case Operation::open_image:
        case Operation::delete_image:
        case Operation::open_image_list:
        case Operation::get_image_prop_byname:
            return call.handle == 0 || (servers_.count(call.handle) != 0 && has_fitting_path(call));
        case Operation::open_server:
        case Operation::create_server:
            return call.null_out || !is_open(call.id);
        default:
            return true;
    }
}

// Where a pool without a storage directory of its own would be put.
bool Model::may_mount(const Call &call) const {
    const Server &on = *server(call.handle);
    const std::string name = before_colon(call.name.value_or(""));
    const Pool *pool = on.disk_array ? on.disk_array->pool(name) : nullptr;
    return pool == nullptr || !pool->storage_directory.empty() || machine_.may_make("/tmp/" + name);
}

// A list whose opening failed before it knew its server does not go with it: who closes the server first has lost it.
bool Model::has_unknown_list(int id) const {
    return std::any_of(lists_.begin(), lists_.end(),
                       [&](const auto &one) { return one.second.server == id && !one.second.is_traced; });
}

// What becomes of an LSU whose directory does not fit its field is left open.
bool Model::has_fitting_path(const Call &call) const {
    const Server &on = *server(call.handle);
    return !on.copan || on.copan->path_of(call.name.value_or("")).size() < STS_LSU_NAME_SIZE;
}

std::vector<Call> Model::closing_calls() const {
    std::vector<Call> calls;
    calls.reserve(lists_.size() + servers_.size());
    const auto close = [&](Operation operation, int id) {
        Call &call = calls.emplace_back();
        call.operation = operation;
        call.handle = id;
    };
    for (const auto &[id, list] : lists_)
        close(Operation::close_lsu_list, id);
    for (const auto &[id, server] : servers_)
        close(Operation::close_server, id);
    return calls;
}

void Model::claim(const Call &call, Expected &expected) {
    expected.status = is_claimed(call.name) ? 0 : STS_E_NOT_CLAIMED;
    reached(expected.status == 0 ? "claim: claimed" : "claim: not claimed");
}

void Model::terminate(const Call &, Expected &expected) {
    reached("terminate");
    expected.status = STS_E_NOT_SUPPORTED;
    expected.library.push_back({"stsimg_terminate"});
}

void Model::ioctl(const Call &call, Expected &expected) {
    const auto command = static_cast<int32_t>(static_cast<uint32_t>(call.numbers[0]));
    expected.status = command >= 1 && command <= 12 && command != 8 ? 0 : STS_E_NOT_SUPPORTED;
    reached(expected.status == 0 ? "ioctl: acknowledged" : "ioctl: not supported");
}

void Model::unmount(const Call &, Expected &) { reached("unmount"); }

void Model::not_supported(const Call &, Expected &expected) {
    reached("not supported");
    expected.status = STS_E_NOT_SUPPORTED;
}

void Model::set_mask(const Call &call, Expected &) {
    masks_[static_cast<size_t>(call.session)] = static_cast<uint32_t>(call.numbers[0]);
}

void Model::set_config(const Call &call, Expected &) {
    if (call.text)
        files_[*call.name] = *call.text;
    else
        files_.erase(*call.name);
}

Expected Model::answer(const Call &call) {
    // In the order of the operations.
    static constexpr std::array<void (Model::*)(const Call &, Expected &), OPERATIONS> answers = {
        &Model::init,
        &Model::init2,
        &Model::claim,
        &Model::terminate,
        &Model::ioctl,
        &Model::open_server,
        &Model::create_server,
        &Model::open_target_server,
        &Model::close_server,
        &Model::server_prop,
        &Model::server_prop_by_name,
        &Model::open_lsu_list,
        &Model::open_dynamic_lsu_list,
        &Model::list_lsu,
        &Model::close_lsu_list,
        &Model::lsu_prop,
        &Model::mount_lsu,
        &Model::unmount,
        &Model::lsu_image_call,
        &Model::lsu_image_call,
        &Model::lsu_image_call,
        &Model::lsu_image_call,
        &Model::lsu_image_call,
        &Model::pass_through,
        &Model::pass_through,
        &Model::pass_through,
        &Model::pass_through,
        &Model::pass_through,
        &Model::pass_through,
        &Model::copy,
        &Model::copy,
        &Model::not_supported,
        &Model::load_process,
        &Model::set_mask,
        &Model::set_config};
    Expected expected;
    (this->*answers[static_cast<size_t>(call.operation)])(call, expected);
    return expected;
}

}  // namespace conformance::model
