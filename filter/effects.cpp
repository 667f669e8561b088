#include "filter/effects.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>

#include "base/number_field.h"
#include "base/text_field.h"
#include "filter/caller_memory.h"
#include "filter/chance.h"
#include "filter/ledger/wall_clock.h"
#include "filter/pause.h"
#include "filter/rules/function_traits.h"
#include "stspi/stspi.h"

namespace filter {

namespace {

void end_process(uint64_t signal) {
    kill(getpid(), static_cast<int>(signal));
    // Of a signal that is handled, or stops: the call goes on.
}

uint64_t shortened(const Effect &effect, uint64_t bytes) {
    if (effect.percent)
        return bytes / 100 * effect.low + bytes % 100 * effect.low / 100;
    return std::min(bytes, effect.low);
}

}  // namespace

bool Effects::before(const Firing &firing, int32_t &status, bool &acted) {
    const Effect &effect = firing.active->rule->effect;
    acted = true;
    switch (effect.kind) {
        case EffectKind::answer:
            status = effect.status;
            return true;
        case EffectKind::lose:
            status = 0;
            acted = pretend();
            return acted;
        case EffectKind::delay:
            wait_for(number_between(firing.draw, effect.low, effect.high));
            return false;
        case EffectKind::hold:
            wait_for_file(effect.text);
            return false;
        case EffectKind::rate:
            keep_pace(*firing.active, m_call.length());
            return false;
        case EffectKind::short_count:
            acted = shorten(effect);
            return false;
        case EffectKind::flip:
        case EffectKind::zero:
            acted = change_written(firing);
            return false;
        case EffectKind::log:
            acted = log(effect);
            return false;
        case EffectKind::kill:
            end_process(effect.low);
            return false;
        default:
            acted = false;
            return false;
    }
}

void Effects::prepare_after(const Firing &firing) {
    if (firing.active->rule->effect.kind != EffectKind::stale || !m_kept.empty())
        return;
    const Result result = result_of(m_call.function());
    const auto *memory = pointer<const unsigned char>(m_call.argument(static_cast<unsigned>(result.argument)));
    if (memory != nullptr)
        m_kept.assign(memory, memory + (result.size != 0 ? result.size : m_call.length()));
}

bool Effects::after(const Firing &firing, int32_t &status, ListEntries &entries) {
    const Effect &effect = firing.active->rule->effect;
    switch (effect.kind) {
        case EffectKind::answer:
            status = effect.status;
            return true;
        case EffectKind::delay:
            wait_for(number_between(firing.draw, effect.low, effect.high));
            return true;
        case EffectKind::hold:
            wait_for_file(effect.text);
            return true;
        case EffectKind::rate: {
            const uint64_t *count = m_call.count();
            keep_pace(*firing.active, count != nullptr && status == 0 ? *count : m_call.length());
            return true;
        }
        case EffectKind::short_count:
            return tell_less(effect, status);
        case EffectKind::flip:
        case EffectKind::zero:
            return change_read(firing, status);
        case EffectKind::stale:
            return restore(status);
        case EffectKind::omit:
            if (status != 0)
                return false;
            status = entries.omit();
            return true;
        case EffectKind::repeat:
            return status == 0 && entries.repeat();
        case EffectKind::reverse:
            return status == 0 && entries.reverse(status);
        case EffectKind::set:
            return set_field(effect, status);
        case EffectKind::log:
            return log(effect);
        case EffectKind::kill:
            end_process(effect.low);
            return true;
        default:
            return false;
    }
}

// Leaves behind what the call would have.
bool Effects::pretend() {
    if (uint64_t *count = m_call.count())
        *count = m_call.length();
    if (m_call.function() == fn_stspi_mount_lsu) {
        char *result = pointer<char>(m_call.argument(4));
        if (result == nullptr)
            return false;
        const std::string text = std::string(m_call.name(name_lsu)) + "," + std::string(m_call.name(name_mount_point));
        copy_text(result, STS_MOUNT_RESULT_SIZE, text.c_str());
    }
    return true;
}

bool Effects::change(const Firing &firing, unsigned char *data, uint64_t size) const {
    const Effect &effect = firing.active->rule->effect;
    if (size == 0)
        return false;
    uint64_t place = effect.offset;
    if (effect.where == Where::random) {
        place = number_between(firing.draw, 0, size - 1);
    } else if (effect.where == Where::image) {
        // The bytes of the image that this call carries begin at its offset; the change may begin before them.
        const uint64_t offset = m_call.offset();
        if (effect.kind == EffectKind::zero && place < offset) {
            const uint64_t end = effect.low > UINT64_MAX - place ? UINT64_MAX : place + effect.low;
            if (end <= offset)
                return false;
            std::memset(data, 0, std::min(size, end - offset));
            return true;
        }
        if (place < offset)
            return false;
        place -= offset;
    }
    if (place >= size)
        return false;
    if (effect.kind == EffectKind::flip) {
        const int bit = effect.bit >= 0 ? effect.bit : static_cast<int>(number_between(mixed(firing.draw, 2), 0, 7));
        data[place] = static_cast<unsigned char>(data[place] ^ (1U << bit));
    } else {
        const uint64_t bytes = effect.low == 0 ? size : effect.low;
        std::memset(data + place, 0, std::min(size - place, bytes));
    }
    return true;
}

// The caller's data is the caller's: a copy is changed, and passed on in its place.
bool Effects::change_written(const Firing &firing) {
    constexpr unsigned buffer = 2;
    if (m_written.empty()) {
        const auto *data = pointer<const unsigned char>(m_call.argument(buffer));
        if (data == nullptr || m_call.length() == 0)
            return false;
        m_written.assign(data, data + m_call.length());
    }
    if (!change(firing, m_written.data(), std::min<uint64_t>(m_call.length(), m_written.size())))
        return false;
    m_call.set_argument(buffer, reinterpret_cast<uint64_t>(m_written.data()));
    return true;
}

bool Effects::change_read(const Firing &firing, int32_t status) {
    auto *data = pointer<unsigned char>(m_call.argument(1));
    const uint64_t *count = m_call.count();
    return status == 0 && data != nullptr && count != nullptr &&
           change(firing, data, std::min(*count, m_call.length()));
}

bool Effects::shorten(const Effect &effect) {
    const int number = m_call.length_argument();
    const uint64_t less = shortened(effect, m_call.length());
    if (number < 0 || less == m_call.length())
        return false;
    m_call.set_argument(static_cast<unsigned>(number), less);
    return true;
}

bool Effects::tell_less(const Effect &effect, int32_t status) {
    uint64_t *count = m_call.count();
    if (status != 0 || count == nullptr)
        return false;
    const uint64_t less = shortened(effect, *count);
    const bool acted = less != *count;
    *count = less;
    return acted;
}

// What all processes move together keeps to the rate: each call waits until its own bytes are through.
void Effects::keep_pace(ActiveRule &active, uint64_t bytes) {
    SharedNumber &free_at = active.slot->free_at;
    const uint64_t rate = active.rule->effect.low;
    const uint64_t takes = bytes / rate * 1000000000 +
                           static_cast<uint64_t>(static_cast<double>(bytes % rate) * 1e9 / static_cast<double>(rate));
    constexpr uint64_t longest = uint64_t{1} << 50;  // 13 days: what is beyond is a number from a boot long ago
    uint64_t before = free_at.load();
    uint64_t end = 0;
    do {
        const uint64_t now = monotonic_ns();
        const uint64_t begin = before > now && before - now < longest ? before : now;
        end = begin + std::min(takes, longest);
    } while (!free_at.compare_exchange_weak(before, end));
    wait_until(end);
}

bool Effects::restore(int32_t status) {
    const Result result = result_of(m_call.function());
    auto *memory = pointer<unsigned char>(m_call.argument(static_cast<unsigned>(result.argument)));
    if (status != 0 || memory == nullptr || m_kept.empty())
        return false;
    size_t size = m_kept.size();
    if (const uint64_t *count = m_call.count())
        size = std::min<uint64_t>(size, *count);
    std::memcpy(memory, m_kept.data(), size);
    return true;
}

bool Effects::set_field(const Effect &effect, int32_t status) {
    const Field *field = find_field(m_call.function(), effect.text);
    auto *record = field == nullptr ? nullptr : pointer<char>(m_call.argument(field->argument));
    if (status != 0 || record == nullptr)
        return false;
    if (field->is_text)
        copy_text(record + field->offset, field->size, effect.value.c_str());
    else
        put_number(record + field->offset, field->size, effect.low);
    return true;
}

bool Effects::log(const Effect &effect) {
    const sts_session_def_v7_t *session = m_call.session();
    if (session == nullptr || session->log_function == nullptr || (session->log_mask & STS_LOG_MASK_ERROR) == 0)
        return false;
    session->log_function(session->log_context, effect.text.c_str(), STS_LOG_LEVEL_ERROR);
    return true;
}

}  // namespace filter
