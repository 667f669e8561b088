// All histories of up to three calls over a tiny world: two arrays, and one call of each kind that can come to anything.
#include <vector>

#include "conformance/explore/history_maker.h"

namespace conformance {

using model::Call;
using model::Operation;

namespace {

// What a history's handle is, is said by the latest call that could have opened it.
enum class Needs : uint8_t { nothing, server, list };

struct Letter {
    Call call;
    Needs needs = Needs::nothing;
    bool opens_server = false;
    bool opens_list = false;
};

Letter letter(Operation operation, Needs needs, const char *name = nullptr) {
    Letter one;
    one.call.operation = operation;
    one.needs = needs;
    if (name != nullptr)
        one.call.name = name;
    one.opens_server = operation == Operation::open_server || operation == Operation::create_server ||
                       operation == Operation::open_target_server;
    one.opens_list = operation == Operation::open_lsu_list || operation == Operation::open_dynamic_lsu_list;
    one.call.session = 0;
    return one;
}

std::vector<Letter> alphabet() {
    std::vector<Letter> letters = {letter(Operation::open_server, Needs::nothing, "Kelvarpool:h1"),
                                   letter(Operation::open_server, Needs::nothing, "Kelvarpool:"),
                                   letter(Operation::open_server, Needs::nothing, "copan:arr1"),
                                   letter(Operation::open_server, Needs::nothing, "copan:arr2"),
                                   letter(Operation::open_server, Needs::nothing, "none:x"),
                                   letter(Operation::create_server, Needs::nothing, "Kelvarpool:h1"),
                                   letter(Operation::open_target_server, Needs::server, "copan:arr1"),
                                   letter(Operation::close_server, Needs::server),
                                   letter(Operation::get_server_prop, Needs::server),
                                   letter(Operation::get_server_prop_byname, Needs::nothing, "copan:arr1"),
                                   letter(Operation::open_lsu_list, Needs::server),
                                   letter(Operation::open_dynamic_lsu_list, Needs::server, "{own}1"),
                                   letter(Operation::list_lsu, Needs::list),
                                   letter(Operation::close_lsu_list, Needs::list),
                                   letter(Operation::get_lsu_prop_byname, Needs::server, "{own}1"),
                                   letter(Operation::get_lsu_prop_byname, Needs::server, "{own}1:d1"),
                                   letter(Operation::get_lsu_prop_byname, Needs::server, "vol1"),
                                   letter(Operation::mount_lsu, Needs::server, "{own}1:d1"),
                                   letter(Operation::mount_lsu, Needs::server, "none"),
                                   letter(Operation::create_image, Needs::server, "vol1"),
                                   letter(Operation::open_image_list, Needs::server, "{own}1"),
                                   letter(Operation::claim, Needs::nothing, "copan"),
                                   letter(Operation::terminate, Needs::nothing),
                                   letter(Operation::set_mask, Needs::nothing)};
    for (Letter &one : letters) {
        if (one.call.operation == Operation::create_server) {
            one.call.hosts = {"h1"};
            one.call.numbers[0] = 1;
        } else if (one.call.operation == Operation::mount_lsu) {
            one.call.text = "{work}/m/v";
            one.call.numbers[0] = 1;
        } else if (one.call.operation == Operation::create_image) {
            one.call.text = "image";
        } else if (one.call.operation == Operation::set_mask) {
            one.call.numbers[0] = 1;
        }
    }
    return letters;
}

const std::vector<Letter> &letters() {
    static const std::vector<Letter> all = alphabet();
    return all;
}

}  // namespace

uint64_t small_histories() {
    const uint64_t count = letters().size();
    return count + count * count + count * count * count;
}

uint64_t first_after_small() {
    const uint64_t count = letters().size();
    return small_histories() + count * count * count;
}

History small_history(uint64_t number) {
    const uint64_t count = letters().size();
    size_t length = 1;
    for (uint64_t of_length = count; number >= of_length; of_length *= count, ++length)
        number -= of_length;
    History history;
    history.files["Kelvarpool"] = {"ENCLOSURE = {own}1;\n", "\tDISKS = d1,d2;\n", "\tHOSTS = h1;\n",
                                   "\tDISK_SIZE = 7;\n", "\tSTORAGE_DIR = {work}/s;\n"};
    history.files["copan"] = {"STORAGE_SERVER = arr1;\n", "\tVOLUMES = vol1;\n", "\tSTORAGE_DIR = {work}/c;\n"};
    int server = 0;
    int list = 0;
    for (size_t i = 0; i < length; ++i, number /= count) {
        const Letter &one = letters()[number % count];
        Call call = one.call;
        call.id = static_cast<int>(i) + 1;
        call.handle = one.needs == Needs::server ? server : one.needs == Needs::list ? list : 0;
        call.by_slot = i % 2 == 1;
        call.fill = i % 2 == 0 ? 0xa5 : 0x5a;
        if (one.opens_server)
            server = call.id;
        if (one.opens_list)
            list = call.id;
        history.calls.push_back(call);
    }
    return history;
}

}  // namespace conformance
