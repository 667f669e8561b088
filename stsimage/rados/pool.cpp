#include "stsimage/rados/pool.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <list>
#include <thread>
#include <utility>

#include "stsimage/last_error.h"
#include "stsimage/own_connections.h"
#include "stsimage/quoted_text.h"
#include "stsimage/rados/completion.h"
#include "stsimage/root_prefix.h"
#include "stsimage/seconds_setting.h"
#include "stspi/stsimg.h"

namespace stsimage {

namespace {

constexpr char writers_object[] = "writers";  // every process that has written watches it

class SilentWatch : public librados::WatchCtx2 {
public:
    void handle_notify(uint64_t, uint64_t, uint64_t, librados::bufferlist &) override {}
    void handle_error(uint64_t, int) override {}
};

// Watches may tell of an end when everything else is gone.
SilentWatch &silent_watch() {
    static auto *const watch = new SilentWatch;
    return *watch;
}

// librados lets no write to a pipe behind standard error wait. The pipe may be the caller's standard output too, whose writes
// would fail when it is full.
class StandardErrorAsItIs {
public:
    StandardErrorAsItIs() : flags(fcntl(STDERR_FILENO, F_GETFL)) {}
    StandardErrorAsItIs(const StandardErrorAsItIs &) = delete;
    StandardErrorAsItIs &operator=(const StandardErrorAsItIs &) = delete;
    ~StandardErrorAsItIs() {
        if (flags >= 0)
            fcntl(STDERR_FILENO, F_SETFL, flags);
    }

private:
    const int flags;
};

int set_up(librados::Rados &cluster, const char *user) {
    const StandardErrorAsItIs as_it_is;
    return cluster.init(user);
}

// A connection has a random number of its own in the cluster, and librados draws it from what the calling thread has left of
// its random sequence. Processes that are forked one after the other go on with the same sequence: with one number they would
// cut each other's connections off. A new thread begins a sequence of its own.
int connect_under_a_number_of_its_own(librados::Rados &cluster) {
    int result = 0;
    std::thread([&] { result = cluster.connect(); }).join();
    return result;
}

struct OwnCluster {
    librados::Rados *connection;
    pid_t maker;
    OwnCluster *before;
};
std::atomic<OwnCluster *> last_cluster{nullptr};  // never taken down

// The threads of librados use what is taken down when the process ends, such as the library for cryptography: whatever they are at,
// they must have ended by then.
void shut_down_clusters() {
    for (const OwnCluster *cluster = last_cluster; cluster != nullptr; cluster = cluster->before)
        if (cluster->maker == getpid())
            cluster->connection->shutdown();
}

void shut_down_with_process(librados::Rados &connection) {
    auto *const cluster = new OwnCluster{&connection, getpid(), last_cluster};
    while (!last_cluster.compare_exchange_weak(cluster->before, cluster))
        continue;
}

// A process may end while it connects for the first time: libcrypto has to be there still. Once it has connected, there is more that has
// to be.
enum class Stage { before_connecting, connected };
template <Stage>
void heed_process_end_once(std::chrono::milliseconds longest) {
    static const bool heeded = (heed_process_end(longest, shut_down_clusters), true);
    static_cast<void>(heeded);
}

}  // namespace

int errno_of(int result) {
    switch (-result) {
        case ETIMEDOUT:
            return ETIME;
        case ENOENT:
            return ENXIO;
        case ESTALE:
            return EIO;
        default:
            return -result;
    }
}

int32_t Pool::connect(std::string_view location, std::shared_ptr<Pool> &out_pool) {
    return OwnConnections<Pool>::find(location, out_pool, [location](std::shared_ptr<Pool> &out_opened) {
        const size_t slash = std::min(location.find('/'), location.size());
        const std::string pool(location.substr(0, slash));
        const std::string prefix = normalize_prefix(location.substr(slash));
        if (pool.empty())
            return fail(STSIMG_E_INVALID_LSU, "STSIMAGE_ROOT names no pool: rados:POOL[/PREFIX] is expected");
        const UnderWay under_way;
        if (process_ends())
            return fail(STS_E_SYSTEM, "cannot connect to a cluster any more: the process ends");
        auto made = std::make_shared<Pool>();
        const int32_t status = made->open(pool, prefix);
        if (status == 0)
            out_opened = std::move(made);
        return status;
    });
}

int32_t Pool::open(const std::string &pool, const std::string &prefix) {
    shown_name = "rados:" + pool + (prefix.empty() ? "" : "/" + prefix);
    maker = getpid();
    if (const int32_t status = configure(); status != 0)
        return status;
    const std::chrono::milliseconds longest_operation = timeout + std::chrono::seconds(1);
    OPENSSL_init_crypto(0, nullptr);
    heed_process_end_once<Stage::before_connecting>(longest_operation);
    if (const int result = connect_under_a_number_of_its_own(cluster); result < 0)
        return fail_system(errno_of(result), "cannot connect to the cluster of %s", QuotedText(shown_name).c_str());
    heed_process_end_once<Stage::connected>(longest_operation);
    if (const int result = cluster.ioctx_create(pool.c_str(), context); result == -ENOENT)
        return fail(STS_E_NOT_FOUND, "the cluster has no pool %s", QuotedText(pool).c_str());
    else if (result < 0)
        return fail_system(errno_of(result), "cannot open the pool %s", QuotedText(pool).c_str());
    context.set_namespace(prefix.empty() ? "stsimage" : "stsimage/" + prefix);
    context.set_pool_full_try();
    number = cluster.get_instance_id();
    shut_down_with_process(cluster);
    return 0;
}

int32_t Pool::configure() {
    uint32_t timeout_seconds = 0;
    if (const int32_t status = read_seconds("STSIMAGE_RADOS_TIMEOUT", 1, 30, timeout_seconds); status != 0)
        return status;
    timeout = std::chrono::seconds(timeout_seconds);
    if (const int32_t status = read_seconds("STSIMAGE_RADOS_LEASE", 5, 30, lease_seconds); status != 0)
        return status;
    const char *const user = std::getenv("STSIMAGE_RADOS_USER");
    if (const int result = set_up(cluster, user != nullptr && *user != '\0' ? user : nullptr); result < 0)
        return fail_system(errno_of(result), "cannot set up librados for %s", QuotedText(shown_name).c_str());
    if (const int result = cluster.conf_read_file(nullptr); result < 0)
        return fail(STS_E_SYSTEM, "cannot read the cluster's configuration (CEPH_CONF, /etc/ceph/ceph.conf)");
    const std::string seconds = std::to_string(timeout_seconds);
    // Without these an operation waits for ever.
    for (const char *option : {"rados_osd_op_timeout", "rados_mon_op_timeout", "client_mount_timeout"})
        if (const int result = cluster.conf_set(option, seconds.c_str()); result < 0)
            return fail_system(errno_of(result), "librados does not take the time-out %s", option);
    // Watches are renewed at this rate; left alone it would be the whole of a short lease.
    cluster.conf_set("objecter_tick_interval", std::to_string(std::min(5u, lease_seconds / 5)).c_str());
    // A library must not print.
    for (const char *option : {"log_to_stderr", "err_to_stderr"})
        cluster.conf_set(option, "false");
    return 0;
}

bool Pool::is_ours() const { return maker == getpid() && !process_ends(); }

bool Pool::demand_ours() const {
    if (is_ours())
        return true;
    errno = ENOTCONN;
    return false;
}

int Pool::watch(const std::string &object, uint64_t &out_watch) {
    return ask([&](auto &io) { return io.watch3(object, &out_watch, &silent_watch(), lease_seconds); });
}

void Pool::end_watch(uint64_t watch) {
    if (ask([watch](auto &io) { return io.unwatch2(watch); }) == -ETIME)
        start([watch](auto &io) { return io.aio_unwatch(watch, make_completion().get()); });
}

bool Pool::is_watching(uint64_t watch) {
    const int milliseconds = start([watch](auto &io) { return io.watch_check(watch); });
    return milliseconds >= 0 && static_cast<uint64_t>(milliseconds) < uint64_t{lease_seconds} * 1000;
}

int Pool::announce() {
    const auto begun = std::chrono::steady_clock::now();
    const std::lock_guard<std::mutex> lock(announcing);
    if (announced && start([this](auto &io) { return io.watch_check(announcement); }) >= 0)
        return 0;
    // Of callers that have waited for each other one has tried, or each would wait for the time-out after the other.
    if (!announced && last_announcing < 0 && announced_at >= begun)
        return heed(last_announcing);
    if (announced)
        end_watch(announcement);
    announced = false;
    int result = watch(writers_object, announcement);
    if (result == -ENOENT) {
        result = ask([](auto &io) { return io.create(writers_object, false); });
        if (result == 0)
            result = watch(writers_object, announcement);
    }
    announced = result == 0;
    last_announcing = result;
    announced_at = std::chrono::steady_clock::now();
    return result;
}

int Pool::ask_whether_lives(ProcessNumber process, bool &out_lives) {
    std::list<obj_watch_t> watchers;
    const int result = ask([&](auto &io) { return io.list_watchers(writers_object, &watchers); });
    if (result < 0 && result != -ENOENT)
        return result;
    out_lives = std::any_of(watchers.begin(), watchers.end(), [process](const obj_watch_t &watcher) {
        return static_cast<ProcessNumber>(watcher.watcher_id) == process;
    });
    return 0;
}

void Pool::note_draft(const std::string &id) {
    const std::lock_guard<std::mutex> lock(mutex);
    drafts.insert(id);
}

void Pool::forget_draft(const std::string &id) {
    const std::lock_guard<std::mutex> lock(mutex);
    drafts.erase(id);
}

bool Pool::has_draft(const std::string &id) {
    const std::lock_guard<std::mutex> lock(mutex);
    return drafts.count(id) != 0;
}

bool Pool::knows_lsu(const std::string &lsu) {
    const std::lock_guard<std::mutex> lock(mutex);
    return lsus.count(lsu) != 0;
}

void Pool::note_lsu(const std::string &lsu) {
    const std::lock_guard<std::mutex> lock(mutex);
    lsus.insert(lsu);
}

}  // namespace stsimage
