// The calls that one stream of a load makes, to be made again in a bare loop: the same entry points in the same order, of the
// same images, with as many bytes at the same places.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simhost/host/entry_points.h"
#include "simhost/load/loaded_call.h"
#include "stspi/stsimg.h"

struct RecordedCall {
    LoadedCall call;
    uint32_t image;  // index among the definitions
    uint64_t offset;
    uint64_t length;
};

class RecordedCalls {
public:
    // Of a stream that has one image open at a time and makes no copies and no mounts. One recording at a time; entry must
    // outlive it.
    explicit RecordedCalls(const EntryPoints &entry);

    // Entry points that record and hand on.
    EntryPoints recording() const;
    size_t size() const { return m_calls.size(); }

    // Makes the calls again, on a server of that name for the host mediaA and an LSU. Ends the program when a call answers what
    // the recorded one did not.
    void repeat(const std::string &server, const std::string &lsu);
    // Deletes every image that was created.
    void clear(const std::string &server, const std::string &lsu);

    void note(LoadedCall call, const sts_image_definition_t *definition, uint64_t offset, uint64_t length,
              int32_t status);

private:
    const EntryPoints &m_entry;
    std::vector<RecordedCall> m_calls;
    std::vector<int32_t> m_statuses;
    std::vector<sts_image_definition_t> m_definitions;
    std::vector<char> m_bytes;  // of a write, or for a read
};
