// A pool of a cluster, and in it the namespace that belongs to one root of images.
//
// No operation takes longer than the time-out of STSIMAGE_RADOS_TIMEOUT (30 seconds). A pool that is full answers at once. The
// configuration is the one that programs of the cluster read too: CEPH_CONF or /etc/ceph/ceph.conf.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <rados/librados.hpp>
#include <set>
#include <string>
#include <string_view>

#include "stsimage/call_patience.h"
#include "stsimage/process_end.h"

namespace stsimage {

// What tells who writes: a process is in the cluster under a number that is never given again.
using ProcessNumber = uint64_t;

class Pool {
public:
    // The location is POOL[/PREFIX]. A process has one connection for each, made when first asked for and kept to its end; a
    // process that was forked makes its own.
    static int32_t connect(std::string_view location, std::shared_ptr<Pool> &out_pool);

    Pool() = default;
    Pool(const Pool &) = delete;
    Pool &operator=(const Pool &) = delete;

    // Asks one thing of the pool, operation(io), for any thread. Gives what librados gave, or -ETIME where nothing was asked since
    // the call has no time left (call_patience.h).
    template <class Operation>
    int ask(Operation operation) {
        if (time_left_for_call().count() == 0)
            return -ETIME;
        return heed(start(operation));
    }

    // The same for what does not wait, or belongs to no call. -ENOTCONN: not ours, see is_ours().
    template <class Operation>
    int start(Operation operation) {
        const UnderWay under_way;
        return is_ours() ? operation(context) : -ENOTCONN;
    }

    // Waits for what was started, and gives what librados gives. -ENOTCONN: not ours, nothing would complete it.
    int await(librados::AioCompletion &completion) const {
        const UnderWay under_way;
        if (!is_ours())
            return -ENOTCONN;
        completion.wait_for_complete();
        return heed(completion.get_return_value());
    }

    // Notes that something which was asked for earlier was not answered in its time. Gives the same.
    int heed(int result) const {
        if (result == -ETIMEDOUT)
            note_time_out(timeout);
        return result;
    }

    // For messages.
    const std::string &name() const { return shown_name; }

    // Whether this is the process that has made the connection, and does not end. One that was forked from it has none of the threads
    // that serve it, nor has one that ends: it would wait for ever.
    bool is_ours() const;

    // The same; sets errno when not.
    bool demand_ours() const;

    ProcessNumber own_number() const { return number; }

    // Lets every process of every host see that this one lives, from now to its end. When it dies, or cannot reach the cluster,
    // that ends after STSIMAGE_RADOS_LEASE seconds (30). Gives 0 or what librados gave.
    int announce();

    // Whether a process lives. Gives 0 or what librados gave.
    int ask_whether_lives(ProcessNumber process, bool &out_lives);

    // Watches an object, which keeps it from being cleared away, as announce() does this process.
    int watch(const std::string &object, uint64_t &out_watch);

    // Ends that, even where the pool cannot be told.
    void end_watch(uint64_t watch);

    // Whether the object has surely been watched up to now. A process that stood still for longer than its lease has lost the watch
    // before librados tells so.
    bool is_watching(uint64_t watch);

    // The drafts of this process. A claim of its own for any other is left from one that could not give it up.
    void note_draft(const std::string &id);
    void forget_draft(const std::string &id);
    bool has_draft(const std::string &id);

    // LSUs that are known to be there. They never go.
    bool knows_lsu(const std::string &lsu);
    void note_lsu(const std::string &lsu);

private:
    int32_t open(const std::string &pool, const std::string &prefix);
    int32_t configure();

    librados::Rados cluster;
    librados::IoCtx context;
    std::string shown_name;
    ProcessNumber number = 0;
    pid_t maker = 0;
    uint32_t lease_seconds = 0;
    std::chrono::seconds timeout{0};
    std::mutex announcing;  // may be had for as long as operations of the cluster take
    bool announced = false;
    uint64_t announcement = 0;
    int last_announcing = 0;
    std::chrono::steady_clock::time_point announced_at;

    std::mutex mutex;
    std::set<std::string> drafts;
    std::set<std::string> lsus;
};

// The errno value for what librados gave. What lasted as long as the time-out has a number that does not call for another attempt.
int errno_of(int result);

}  // namespace stsimage
