// The arguments of a recorded call, built anew: texts, records and buffers in memory of their own, handles as they are now.
#pragma once

#include <array>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "journal/replay/recorded_calls.h"
#include "stspi/sts_types.h"

// What a recorded handle is now; a value that is not known is given for one that the journal does not open.
using HandleNow = std::function<uint64_t(journal::HandleKind kind, uint64_t recorded)>;
// The session record that stands for a recorded one, from its log context, log function and mask.
using SessionNow = std::function<const sts_session_def_v7_t *(uint64_t context, uint64_t function, uint32_t mask)>;

class CallArguments {
public:
    // The step outlives this object.
    CallArguments(const RecordedStep &step, const std::string &data_directory, const HandleNow &handle_now,
                  const SessionNow &session_now);
    CallArguments(const CallArguments &) = delete;
    CallArguments &operator=(const CallArguments &) = delete;

    const uint64_t *words() const { return words_.data(); }
    // After the call: what stands in the place for a handle; 0 for none.
    uint64_t stored_handle() const;

private:
    using Items = std::vector<const RecordedItem *>;
    uint64_t pointer_to(std::string bytes);
    uint64_t room_for(uint64_t size);
    bool is_number_for_a_place(uint8_t argument, const Items &items) const;
    uint64_t place_for_handle(const journal::Argument &argument, const Items &items);
    uint64_t built(const journal::Argument &argument, const Items &items);
    uint64_t record_of(const journal::Argument &argument, const Items &items, size_t count);
    uint64_t data_of(const RecordedItem &item);
    uint64_t number_of_argument(uint8_t argument) const;
    void put_field(std::string &record, size_t base, const journal::Field &field, const RecordedItem &item);

    const RecordedStep &step_;
    const std::string &data_directory_;
    const HandleNow &handle_now_;
    const SessionNow &session_now_;
    std::array<uint64_t, 8> words_ = {};
    std::deque<std::string> memory_;
    std::vector<std::unique_ptr<void, void (*)(void *)>> rooms_;
    const uint64_t *handle_place_ = nullptr;
};
