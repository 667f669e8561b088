#include "tests/cluster/failing_operations.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <rados/librados.hpp>
#include <set>
#include <string>

namespace failing_operations {

namespace {

thread_local bool counts = false;
thread_local int count = 0;
thread_local int failing = 0;
thread_local How failing_how = How::refused;
thread_local bool stays = false;

int error_of(How how) { return how == How::refused ? -EIO : -ETIMEDOUT; }

// Counts an operation, and tells whether it is to fail.
bool fails() { return counts && (++count == failing || (stays && failing != 0 && count > failing)); }

// librados' own function of the same name as the one that calls this.
[[gnu::noinline]] void *function_of_librados() {
    static void *const library = dlopen("librados.so.2", RTLD_NOW);
    Dl_info caller{};
    if (library != nullptr && dladdr(__builtin_return_address(0), &caller) != 0 && caller.dli_sname != nullptr)
        if (void *const found = dlsym(library, caller.dli_sname); found != nullptr)
            return found;
    std::fprintf(stderr, "an operation of librados is not found: %s\n", dlerror());
    std::abort();
}

template <class Result, class... Arguments>
Result perform(void *function, Arguments... arguments) {
    const auto real = reinterpret_cast<Result (*)(Arguments...)>(function);
    if (!fails())
        return real(arguments...);
    if (failing_how == How::unanswered)
        real(arguments...);
    return error_of(failing_how);
}

// For one that goes on by itself: how it ends is asked for by another call.
template <class... Arguments>
int start(void *function, Arguments... arguments) {
    if (fails() && failing_how != How::unanswered)
        return error_of(failing_how);
    return reinterpret_cast<int (*)(Arguments...)>(function)(arguments...);
}

}  // namespace

Scope::Scope(int n, How how, bool from_then_on) {
    count = 0;
    failing = n;
    failing_how = how;
    stays = from_then_on;
    counts = true;
}

Scope::~Scope() { counts = false; }

int Scope::counted() { return count; }

}  // namespace failing_operations

// References are pointers to the functions that are called.
namespace librados {

using failing_operations::function_of_librados;
using failing_operations::perform;
using failing_operations::start;
using Values = std::map<std::string, bufferlist>;

int IoCtx::operate(const std::string &object, ObjectWriteOperation *operation) {
    return perform<int>(function_of_librados(), this, &object, operation);
}
int IoCtx::operate(const std::string &object, ObjectReadOperation *operation, bufferlist *data) {
    return perform<int>(function_of_librados(), this, &object, operation, data);
}
int IoCtx::create(const std::string &object, bool exclusive) {
    return perform<int>(function_of_librados(), this, &object, exclusive);
}
int IoCtx::remove(const std::string &object) { return perform<int>(function_of_librados(), this, &object); }
int IoCtx::stat(const std::string &object, uint64_t *size, time_t *time) {
    return perform<int>(function_of_librados(), this, &object, size, time);
}
int IoCtx::read(const std::string &object, bufferlist &data, size_t length, uint64_t place) {
    return perform<int>(function_of_librados(), this, &object, &data, length, place);
}
int IoCtx::omap_get_vals_by_keys(const std::string &object, const std::set<std::string> &keys, Values *values) {
    return perform<int>(function_of_librados(), this, &object, &keys, values);
}
int IoCtx::omap_rm_keys(const std::string &object, const std::set<std::string> &keys) {
    return perform<int>(function_of_librados(), this, &object, &keys);
}
int IoCtx::list_watchers(const std::string &object, std::list<obj_watch_t> *watchers) {
    return perform<int>(function_of_librados(), this, &object, watchers);
}
int IoCtx::watch3(const std::string &object, uint64_t *handle, WatchCtx2 *context, uint32_t timeout) {
    return perform<int>(function_of_librados(), this, &object, handle, context, timeout);
}
// Whatever the cluster says, this end gives the watch up.
int IoCtx::unwatch2(uint64_t handle) {
    const int result = reinterpret_cast<int (*)(IoCtx *, uint64_t)>(function_of_librados())(this, handle);
    return perform<int>(reinterpret_cast<void *>(+[](int given) { return given; }), result);
}

int IoCtx::aio_write(const std::string &object, AioCompletion *done, const bufferlist &data, size_t length,
                     uint64_t place) {
    return start(function_of_librados(), this, &object, done, &data, length, place);
}
int IoCtx::aio_read(const std::string &object, AioCompletion *done, bufferlist *data, size_t length, uint64_t place) {
    return start(function_of_librados(), this, &object, done, data, length, place);
}
int IoCtx::aio_operate(const std::string &object, AioCompletion *done, ObjectWriteOperation *operation) {
    return start(function_of_librados(), this, &object, done, operation);
}
int IoCtx::aio_remove(const std::string &object, AioCompletion *done) {
    return start(function_of_librados(), this, &object, done);
}
int AioCompletion::get_return_value() { return perform<int>(function_of_librados(), this); }

}  // namespace librados
