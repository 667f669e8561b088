#include "conformance/explore/history_maker.h"

#include <algorithm>

#include "conformance/calls/entry_points.h"
#include "conformance/explore/chance.h"
#include "conformance/explore/configuration_maker.h"
#include "conformance/explore/name_picker.h"
#include "conformance/model/command.h"

namespace conformance {

using model::Call;
using model::Operation;

namespace {

using Texts = std::vector<std::string>;

const std::vector<int32_t> library_answers = {0, 0, 0, 0, 2060001, 2060013, 2060017, 2061107, -1, 1, 77777777};
const std::vector<uint64_t> odd_numbers = {0,
                                           1,
                                           2,
                                           6,
                                           7,
                                           8,
                                           9,
                                           10,
                                           12,
                                           13,
                                           255,
                                           256,
                                           257,
                                           264,
                                           32767,
                                           65535,
                                           65536,
                                           65537,
                                           0x7fffffff,
                                           0x80000000,
                                           0xffffffff,
                                           0x100000000,
                                           0x100000001,
                                           0x100000009,
                                           0x123456789abcdef0,
                                           ~uint64_t{0},
                                           ~uint64_t{0} - 7};
const std::vector<uint64_t> masks = {0, 1, 8, 9, 0xff, 0xf6, 0x100, 0xff00, 0x80000001, 0xffffffff, 4, 2};

class Maker {
public:
    Maker(uint64_t seed, uint64_t number, size_t most_calls) : chance_(seed, number), most_calls_(most_calls) {}

    History make() {
        if (!chance_.one_in(20))
            history_.files["Kelvarpool"] = disk_array_file(chance_, picker_.names);
        if (!chance_.one_in(20))
            history_.files["copan"] = copan_file(chance_, picker_.names);
        if (chance_.one_in(4))
            history_.files[chance_.pick(Texts{"lab", "lab", "", "Copan", "kelvarpool"})] =
                copan_file(chance_, picker_.names);
        if (chance_.one_in(3))
            set_mask();
        // Few calls at first, so that most are about the same handle.
        const size_t count = 2 + chance_.below(chance_.one_in(3) ? most_calls_ : std::min<size_t>(most_calls_, 10));
        const bool has_threads = chance_.one_in(12);
        open_server();
        while (history_.calls.size() < count)
            add_call();
        if (has_threads)
            add_threads();
        return std::move(history_);
    }

private:
    Call &call(Operation operation) {
        Call &added = history_.calls.emplace_back();
        added.operation = operation;
        added.id = static_cast<int>(history_.calls.size());
        added.by_slot = chance_.one_in(2);
        added.fill = chance_.one_in(2) ? 0xa5 : 0x5a;
        if (chance_.one_in(10))
            added.fill = chance_.one_in(2) ? 0x00 : 0xff;
        if (chance_.one_in(8))
            added.ignored = chance_.pick(std::vector<uint64_t>{0, 0, 1, ~uint64_t{0}});
        return added;
    }

    int session() {
        return chance_.one_in(12) ? model::NULL_SESSION : static_cast<int>(chance_.below(model::SESSIONS));
    }
    uint64_t number() { return chance_.one_in(3) ? chance_.bits() >> chance_.below(64) : chance_.pick(odd_numbers); }

    int recent(const std::vector<int> &ids) {
        if (ids.empty() || chance_.one_in(60))
            return 0;
        return chance_.one_in(2) ? ids.back() : chance_.pick(ids);
    }

    std::optional<std::string> optional(const std::string &text) {
        return chance_.one_in(60) ? std::nullopt : std::optional(text);
    }

    void set_mask() {
        Call &one = call(Operation::set_mask);
        one.session = static_cast<int>(chance_.below(model::SESSIONS));
        one.numbers[0] = chance_.pick(masks);
    }

    void set_config() {
        Call &one = call(Operation::set_config);
        one.name = chance_.pick(Texts{"Kelvarpool", "copan", "lab"});
        if (chance_.one_in(3))
            return;
        std::string text;
        for (const std::string &line :
             *one.name == "Kelvarpool" ? disk_array_file(chance_, picker_.names) : copan_file(chance_, picker_.names))
            text += line;
        history_.calls.back().text = text;
    }

    void open_server() {
        Call &one = call(Operation::open_server);
        one.session = session();
        one.name = optional(picker_.server_name());
        one.null_out = chance_.one_in(60);
        if (!one.null_out)
            servers_.push_back(one.id);
    }

    void create_server() {
        Call &one = call(Operation::create_server);
        one.session = session();
        one.name = chance_.one_in(4) ? optional(picker_.server_name()) : "Kelvarpool:" + picker_.host();
        one.null_out = chance_.one_in(60);
        one.null_record = chance_.one_in(40);
        const size_t count = chance_.below(5);
        for (size_t i = 0; i < count; ++i)
            one.hosts.push_back(
                chance_.one_in(8) ? chance_.pick(Texts{"", "none", long_text(chance_), nearly(chance_, picker_.host())})
                                  : picker_.host());
        one.numbers[0] = count;
        if (chance_.one_in(40))
            one.name = "Kelvarpool:";
        if (chance_.one_in(15)) {
            one.hosts.clear();
            one.numbers[0] =
                chance_.pick(std::vector<uint64_t>{0xffffffff, 0x80000000, 0xffffffffffffffff, 0x100000000});
        } else if (chance_.one_in(4)) {
            one.numbers[0] |= chance_.bits() << 32;  // the upper half of the register means nothing
        }
        if (!one.null_out)
            servers_.push_back(one.id);
    }

    void open_target() {
        Call &one = call(Operation::open_target_server);
        one.handle = recent(servers_);
        one.name = optional(picker_.server_name());
        one.null_out = chance_.one_in(40);
        if (!one.null_out)
            servers_.push_back(one.id);
    }

    void registration() {
        Call &one = call(chance_.one_in(2) ? Operation::init : Operation::init2);
        one.by_slot = false;
        one.numbers[0] = chance_.one_in(3) ? number() : 5 + chance_.below(6);
        one.library_status = chance_.pick(library_answers);
    }

    void simple_call() {
        switch (chance_.below(6)) {
            case 0:
                registration();
                break;
            case 1:
            case 2:
                call(Operation::claim).name = optional(picker_.server_name());
                break;
            case 3:
                call(Operation::ioctl).numbers[0] = chance_.one_in(2) ? chance_.below(15) : number();
                break;
            case 4: {
                Call &one = call(Operation::not_supported);
                one.text = chance_.pick(not_supported_entry_points());
                for (uint64_t &word : one.numbers)
                    word = number();
                break;
            }
            default:
                if (chance_.one_in(5)) {
                    const model::Command &command = chance_.pick(model::commands());
                    Call &one = call(Operation::load_process);
                    one.name = command.program;
                    one.text = command.argument;
                    one.by_slot = false;
                } else {
                    call(chance_.one_in(2) ? Operation::terminate : Operation::unmount_lsu);
                }
                break;
        }
    }

    void lsu_call(Operation operation, bool known_to_copan = false) {
        Call &one = call(operation);
        one.handle = recent(servers_);
        one.name =
            known_to_copan && !picker_.names.lsus.empty() ? chance_.pick(picker_.names.lsus) : picker_.lsu_name();
        one.null_record = chance_.one_in(60);
        one.null_out = chance_.one_in(60);
        if (operation == Operation::mount_lsu) {
            one.text = optional(picker_.mount_point());
            if (!chance_.one_in(4))
                one.name = (chance_.one_in(40) ? "" : picker_.pool()) + (chance_.one_in(3) ? "" : ":" + picker_.disk());
            // Only its 32 bits count.
            one.numbers[0] = chance_.one_in(4) ? number() : 1 + chance_.below(3);
            one.numbers[1] = number();
        }
        if (operation == Operation::open_dynamic_lsu_list) {
            if (!chance_.one_in(4))
                one.name = picker_.pool();
            if (!one.null_out)
                lists_.push_back(one.id);
        }
    }

    void list_call() {
        const size_t what = chance_.below(5);
        if (lists_.empty() || what == 0) {
            Call &one = call(Operation::open_lsu_list);
            one.handle = recent(servers_);
            one.null_out = chance_.one_in(60);
            if (!one.null_out)
                lists_.push_back(one.id);
        } else if (what == 1 && chance_.one_in(2)) {
            call(Operation::close_lsu_list).handle = recent(lists_);
        } else {
            Call &one = call(Operation::list_lsu);
            one.handle = recent(lists_);
            one.null_out = chance_.one_in(60);
        }
    }

    void image_call() {
        const auto operation = static_cast<Operation>(static_cast<size_t>(Operation::create_image) + chance_.below(13));
        if (operation <= Operation::get_image_prop_byname) {
            lsu_call(operation, chance_.one_in(2));
            Call &one = history_.calls.back();
            one.text = optional("image");
            one.numbers[0] = number();
            one.library_status = chance_.pick(library_answers);
            return;
        }
        Call &one = call(operation);
        for (uint64_t &word : one.numbers)
            word = number();
        one.library_status = chance_.pick(library_answers);
        if (operation != Operation::copy_extent && operation != Operation::include_in_image)
            return;
        one.null_out = chance_.one_in(30);
        one.numbers[4] = chance_.one_in(6) ? chance_.pick(std::vector<uint64_t>{0, 0x80000000, 0xffffffff, 0x100000010})
                                           : chance_.below(100000);
        one.library_status_2 = chance_.pick(library_answers);
        one.library_count = chance_.one_in(3) ? chance_.below(one.numbers[4] + 1) : one.numbers[4];
        one.library_count_2 = chance_.one_in(3) ? number() : one.library_count;
    }

    void property_call() {
        switch (chance_.below(5)) {
            case 0: {
                Call &one = call(Operation::get_server_prop);
                one.handle = recent(servers_);
                one.null_record = chance_.one_in(60);
                break;
            }
            case 1: {
                Call &one = call(Operation::get_server_prop_byname);
                one.session = session();
                one.name = optional(picker_.server_name());
                one.null_record = chance_.one_in(60);
                break;
            }
            default:
                lsu_call(Operation::get_lsu_prop_byname);
                break;
        }
    }

    void add_call() {
        switch (chance_.below(20)) {
            case 0:
                open_server();
                break;
            case 1:
            case 2:
                create_server();
                break;
            case 3:
                open_target();
                break;
            case 4:
                call(Operation::close_server).handle = recent(servers_);
                break;
            case 5:
                chance_.one_in(3) ? set_config() : set_mask();
                break;
            case 6:
            case 7:
                simple_call();
                break;
            case 8:
            case 9:
            case 10:
                property_call();
                break;
            case 11:
            case 12:
                lsu_call(Operation::mount_lsu);
                break;
            case 13:
                lsu_call(Operation::open_dynamic_lsu_list);
                break;
            case 14:
            case 15:
            case 16:
                image_call();
                break;
            default:
                list_call();
                break;
        }
    }

    // Calls of several threads at once, of the kinds that need not wait for each other: each thread has lists of its own.
    void add_threads() {
        if (servers_.empty())
            return;
        const size_t threads = 2 + chance_.below(2);
        for (size_t thread = 1; thread <= threads; ++thread) {
            std::vector<int> own;
            const size_t count = 3 + chance_.below(12);
            for (size_t i = 0; i < count; ++i) {
                switch (chance_.below(5)) {
                    case 0: {
                        Call &one = call(Operation::open_lsu_list);
                        one.handle = chance_.pick(servers_);
                        own.push_back(one.id);
                        break;
                    }
                    case 1:
                        property_call();
                        if (history_.calls.back().operation == Operation::get_lsu_prop_byname)
                            history_.calls.back().name = picker_.pool();
                        break;
                    case 2:
                        call(Operation::claim).name = picker_.server_name();
                        break;
                    case 3:
                        image_call();
                        break;
                    default: {
                        Call &one = call(chance_.one_in(6) ? Operation::close_lsu_list : Operation::list_lsu);
                        one.handle = own.empty() ? 0 : chance_.pick(own);
                        break;
                    }
                }
                history_.calls.back().thread = static_cast<int>(thread);
            }
        }
    }

    Chance chance_;
    size_t most_calls_;
    History history_;
    NamePicker picker_{chance_};
    std::vector<int> servers_;
    std::vector<int> lists_;
};

}  // namespace

History make_history(uint64_t seed, uint64_t number, size_t most_calls) {
    const uint64_t before_long_ones = small_histories() - (first_after_small() - small_histories());
    if (number < before_long_ones)
        return small_history(number);
    if (number < first_after_small() && (number - before_long_ones) % 2 == 0)
        return small_history(before_long_ones + (number - before_long_ones) / 2);
    return Maker(seed, number, most_calls).make();
}

}  // namespace conformance
