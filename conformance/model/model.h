// The interface as a program: what each call must bring about, given what was called before.
//
// Written from the interface alone, to be read as its description: the parts of it are server_calls.cpp, lsu_calls.cpp and
// image_calls.cpp, above disk_array.h and copan_array.h. Calls are answered in the order in which they are made; calls that
// run at the same time must not depend on each other.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "conformance/model/call.h"
#include "conformance/model/copan_array.h"
#include "conformance/model/disk_array.h"
#include "conformance/model/expected.h"
#include "conformance/model/machine.h"

namespace conformance::model {

using Configuration = std::map<std::string, std::string>;  // file name without ".sim" -> text

// To whom simulators speak: the session of the latest server of their kind that stspi_open_server has opened, in all the time
// that the plug-in is loaded.
struct SimulatorSessions {
    int array = NULL_SESSION;
    int copan = NULL_SESSION;
};

class Model {
public:
    // Sessions begin with mask 0xff. The machine outlives the model.
    Model(Machine &machine, Configuration files, SimulatorSessions simulators = {});
    ~Model();

    // False when the call must not be made now, by the interface's rules: its handle is closed, say, or was never stored.
    bool allows(const Call &call) const;

    // Only for calls that are allowed.
    Expected answer(const Call &call);

    // Whether the call's handle has been opened and can still be used.
    bool is_open(int id) const;

    // What is open now, in an order in which it may be closed.
    std::vector<Call> closing_calls() const;

    const SimulatorSessions &simulators() const { return simulators_; }

    // LSU objects of Copan arrays that have been made: they are never released.
    size_t copan_lsus_made() const { return copan_lsus_made_; }

private:
    struct Server {
        enum Kind : uint8_t { single_host, multi_host, null_host } kind = single_host;
        std::string host_name;
        std::vector<std::string> hosts;
        int session = NULL_SESSION;
        std::shared_ptr<DiskArray> disk_array;
        std::shared_ptr<CopanArray> copan;
    };
    struct List {
        int server = 0;
        bool failed = false;  // its opening failed: it yields nothing but STS_E_INVALID_PARAMETER
        bool is_traced = true;
        std::vector<std::string> names;
        size_t cursor = 0;
    };
    class Bracket;

    // ---- model.cpp
    void claim(const Call &call, Expected &expected);
    void terminate(const Call &call, Expected &expected);
    void ioctl(const Call &call, Expected &expected);
    void unmount(const Call &call, Expected &expected);
    void not_supported(const Call &call, Expected &expected);
    void set_mask(const Call &call, Expected &expected);
    void set_config(const Call &call, Expected &expected);

    // ---- server_calls.cpp
    void init(const Call &call, Expected &expected);
    void init2(const Call &call, Expected &expected);
    void open_server(const Call &call, Expected &expected);
    void create_server(const Call &call, Expected &expected);
    void open_target_server(const Call &call, Expected &expected);
    void close_server(const Call &call, Expected &expected);
    void server_prop(const Call &call, Expected &expected);
    void server_prop_by_name(const Call &call, Expected &expected);
    void load_process(const Call &call, Expected &expected);
    bool is_claimed(const std::optional<std::string> &name) const;
    bool open_copan(const Call &call, Server &server, Expected &expected);
    std::shared_ptr<DiskArray> read_disk_array(const std::string &name, Expected &expected);

    // ---- lsu_calls.cpp
    void open_lsu_list(const Call &call, Expected &expected);
    void open_dynamic_lsu_list(const Call &call, Expected &expected);
    void list_lsu(const Call &call, Expected &expected);
    void close_lsu_list(const Call &call, Expected &expected);
    void lsu_prop(const Call &call, Expected &expected);
    void path_prop(const std::string &path, const Server &server, Expected &expected);
    void copan_prop(const std::string &name, const Server &server, Expected &expected);
    void disk_prop(const std::string &name, const Server &server, Expected &expected);
    void pool_prop(const std::string &name, const Server &server, Expected &expected);
    void mount_lsu(const Call &call, Expected &expected);

    // ---- image_calls.cpp
    void lsu_image_call(const Call &call, Expected &expected);
    void pass_through(const Call &call, Expected &expected);
    void copy(const Call &call, Expected &expected);

    bool may_mount(const Call &call) const;
    bool has_unknown_list(int id) const;
    bool has_fitting_path(const Call &call) const;

    // ---- messages
    void trace(int session, const std::string &text, Expected &expected) const {
        send(session, 0x1, 3, text, expected);
    }
    void error(int session, const std::string &text, Expected &expected) const {
        send(session, 0x8, 4, text, expected);
    }
    void send(int session, uint32_t mask_bit, int32_t level, const std::string &text, Expected &expected) const;
    // What simulators say: whatever the mask is.
    static void say(int session, const std::string &text, Expected &expected);

    const Server *server(int id) const;

    Machine &machine_;
    Configuration files_;
    std::array<uint32_t, SESSIONS> masks_;
    std::map<int, Server> servers_;
    std::map<int, List> lists_;
    SimulatorSessions simulators_;
    size_t copan_lsus_made_ = 0;
};

// Sends the entering line when it is made and the leaving line when it goes.
class Model::Bracket {
public:
    Bracket(const Model &model, int session, std::string entry_point, Expected &expected);
    ~Bracket();
    Bracket(const Bracket &) = delete;
    Bracket &operator=(const Bracket &) = delete;

private:
    const Model &model_;
    int session_;
    std::string entry_point_;
    Expected &expected_;
};

}  // namespace conformance::model
