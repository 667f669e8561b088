#include "filter/handle_names.h"

namespace filter {

HandleMap::Shard &HandleMap::shard_of(const void *handle) {
    const auto number = reinterpret_cast<uintptr_t>(handle);
    return m_shards[(number >> 4 ^ number >> 12) % m_shards.size()];
}

void HandleMap::add(HandleKind kind, const void *handle, HandleNames names) {
    auto shared = std::make_shared<const HandleNames>(std::move(names));
    Shard &shard = shard_of(handle);
    const std::lock_guard guard(shard.lock);
    shard.of(kind)[handle] = std::move(shared);
}

void HandleMap::remove(HandleKind kind, const void *handle) {
    Shard &shard = shard_of(handle);
    const std::lock_guard guard(shard.lock);
    shard.of(kind).erase(handle);
}

HandleMap::Names HandleMap::find(HandleKind kind, const void *handle) {
    Shard &shard = shard_of(handle);
    const std::lock_guard guard(shard.lock);
    const auto &names = shard.of(kind);
    const auto found = names.find(handle);
    return found == names.end() ? nullptr : found->second;
}

void HandleMap::lock_all() {
    for (Shard &shard : m_shards)
        shard.lock.lock();
}

void HandleMap::unlock_all() {
    for (Shard &shard : m_shards)
        shard.lock.unlock();
}

}  // namespace filter
