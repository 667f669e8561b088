#include "conformance/model/reached.h"

#include <cstdlib>
#include <iterator>
#include <unordered_map>

namespace conformance::model {

namespace {

constexpr const char *part_names[] = {"LSU properties: Copan LSU",
                                      "LSU properties: Copan LSU without a name",
                                      "LSU properties: disk",
                                      "LSU properties: leading colon",
                                      "LSU properties: no server",
                                      "LSU properties: null argument",
                                      "LSU properties: null record",
                                      "LSU properties: path",
                                      "LSU properties: path that cannot be asked",
                                      "LSU properties: pool",
                                      "LSU properties: pool without hosts",
                                      "LSU properties: unknown Copan LSU",
                                      "LSU properties: unknown disk",
                                      "LSU properties: unknown pool",
                                      "claim: claimed",
                                      "claim: not claimed",
                                      "close list",
                                      "close list: null handle",
                                      "close: null handle",
                                      "close: server",
                                      "close: with a list open",
                                      "copan: directory cannot be made",
                                      "copan: line without '='",
                                      "copan: name without colon",
                                      "copan: no section of that name",
                                      "copan: read",
                                      "copan: storage cannot be made",
                                      "copy: done",
                                      "copy: read fails",
                                      "copy: refused",
                                      "copy: write fails",
                                      "create: hosts",
                                      "create: negative count",
                                      "create: no hosts",
                                      "create: not a disk array",
                                      "create: not claimed",
                                      "create: null host",
                                      "create: null hosts",
                                      "create: null out",
                                      "file: disk group",
                                      "file: enclosure",
                                      "file: invalid line",
                                      "file: pool with a disk group's hosts",
                                      "file: volumes before any disk group",
                                      "image: Copan LSU",
                                      "image: Copan LSU without a directory",
                                      "image: LSU name as it is",
                                      "image: handed on",
                                      "image: null argument",
                                      "image: unknown Copan LSU",
                                      "init2: registered",
                                      "init2: too old",
                                      "init: registered",
                                      "init: too old",
                                      "ioctl: acknowledged",
                                      "ioctl: not supported",
                                      "list: end",
                                      "list: name",
                                      "list: null argument",
                                      "list: opening had failed",
                                      "load_process",
                                      "mount: done",
                                      "mount: fails as the file says",
                                      "mount: it cannot be removed",
                                      "mount: leading colon",
                                      "mount: link cannot be made",
                                      "mount: no disk array",
                                      "mount: null argument",
                                      "mount: parents cannot be made",
                                      "mount: refused",
                                      "mount: something is there already",
                                      "mount: storage below /tmp",
                                      "mount: storage cannot be made",
                                      "mount: unknown pool",
                                      "not supported",
                                      "open list: Copan array",
                                      "open list: disk array without hosts",
                                      "open list: no server",
                                      "open list: null argument",
                                      "open list: pools",
                                      "open volumes: no disk array",
                                      "open volumes: null argument",
                                      "open volumes: pool",
                                      "open volumes: unknown pool",
                                      "open: Copan array",
                                      "open: disk array",
                                      "open: not claimed",
                                      "open: null host",
                                      "open: null out",
                                      "open: unknown Copan array",
                                      "server properties by name: Copan array",
                                      "server properties by name: disk array",
                                      "server properties by name: not claimed",
                                      "server properties by name: null argument",
                                      "server properties by name: unknown Copan array",
                                      "server properties: Copan array",
                                      "server properties: disk array",
                                      "server properties: no server",
                                      "server properties: null argument",
                                      "target: Copan array",
                                      "target: disk array",
                                      "target: not claimed",
                                      "target: null argument",
                                      "target: null host",
                                      "target: unknown Copan array",
                                      "terminate",
                                      "unmount"};

unsigned *counts_by_part = nullptr;

}  // namespace

const std::vector<std::string> &parts() {
    static const std::vector<std::string> all(std::begin(part_names), std::end(part_names));
    return all;
}

void reached(const char *part) {
    static const std::unordered_map<std::string, size_t> places = [] {
        std::unordered_map<std::string, size_t> map;
        for (const std::string &one : parts())
            map.emplace(one, map.size());
        return map;
    }();
    const auto place = places.find(part);
    if (place == places.end())
        std::abort();
    if (counts_by_part != nullptr)
        __atomic_fetch_add(&counts_by_part[place->second], 1, __ATOMIC_RELAXED);
}

void count_reached_in(unsigned *counts) { counts_by_part = counts; }

}  // namespace conformance::model
